#include "fake_unit.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>
#include <thread>

#include "lab_namespace.h"

namespace tarnlab {

namespace {

sockaddr_in socketAddress(const std::string& address, uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &result.sin_addr);
    return result;
}

// The kernel's receive timestamp (wall clock) on the steady clock, so that measured gaps
// between arrivals do not depend on when the unit's thread got to run.
Clock::time_point arrivalTime(msghdr& message) {
    const cmsghdr* header = CMSG_FIRSTHDR(&message);
    // A stamp of another size (an emulator passing the host's layout through) is not read.
    if (header == nullptr || header->cmsg_type != SCM_TIMESTAMPNS ||
        header->cmsg_len != CMSG_LEN(sizeof(timespec)))
        return Clock::now();
    timespec stamp{};
    std::memcpy(&stamp, CMSG_DATA(header), sizeof stamp);
    const auto age = std::chrono::system_clock::now().time_since_epoch() -
                     std::chrono::seconds(stamp.tv_sec) - std::chrono::nanoseconds(stamp.tv_nsec);
    return Clock::now() - std::chrono::duration_cast<Clock::duration>(age);
}

} // namespace

struct FakeUnit::Worker {
    int fd = -1;
    sockaddr_in host{};
    std::atomic<bool> stopping{false};
    std::thread thread;

    mutable std::mutex lock; // guards everything below
    mutable std::condition_variable arrived;
    Script script;
    std::vector<Datagram> log;
    std::vector<Datagram> sentLog;
    // Datagrams and their destinations by due time; equal times keep their order.
    std::multimap<Clock::time_point, std::pair<std::string, sockaddr_in>> pending;

    void send(const std::string& bytes, const sockaddr_in& to) {
        sentLog.push_back({bytes, Clock::now()});
        sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
               sizeof to);
    }
    void run();
};

void FakeUnit::Worker::run() {
    std::vector<char> buffer(65536);
    alignas(cmsghdr) char control[64];
    while (!stopping) {
        iovec data{buffer.data(), buffer.size()};
        sockaddr_in sender{};
        msghdr message{&sender, sizeof sender, &data, 1, control, sizeof control, 0};
        pollfd readable{fd, POLLIN, 0};
        // A short step bounds how late a stop or a delayed datagram is noticed.
        const ssize_t got = poll(&readable, 1, 1) > 0 ? recvmsg(fd, &message, MSG_DONTWAIT) : -1;
        if (got >= 0) {
            const Datagram request{std::string(buffer.data(), static_cast<std::size_t>(got)),
                                   arrivalTime(message)};
            std::unique_lock<std::mutex> guard(lock);
            log.push_back(request);
            const Script current = script;
            guard.unlock();
            arrived.notify_all();
            const Replies replies = current ? current(request) : Replies{};
            guard.lock();
            for (const Reply& reply : replies)
                pending.emplace(request.at + reply.delay, std::make_pair(reply.bytes, sender));
        }
        std::lock_guard<std::mutex> guard(lock);
        while (!pending.empty() && pending.begin()->first <= Clock::now()) {
            send(pending.begin()->second.first, pending.begin()->second.second);
            pending.erase(pending.begin());
        }
    }
}

FakeUnit::FakeUnit(const std::string& address, uint16_t port, Script script)
    : worker(std::make_unique<Worker>()) {
    worker->host = socketAddress(hostAddress, port);
    worker->script = std::move(script);
    std::string failure;
    // Made inside the units namespace, the socket stays there for the unit's own thread.
    UnitsThread opener([&] {
        worker->fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
        const int one = 1;
        const int buffer = 4 << 20;
        setsockopt(worker->fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        setsockopt(worker->fd, SOL_SOCKET, SO_TIMESTAMPNS, &one, sizeof one);
        setsockopt(worker->fd, SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
        const sockaddr_in local = socketAddress(address, port);
        if (bind(worker->fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0)
            failure = "bind " + address + ":" + std::to_string(port) + ": " + std::strerror(errno);
    });
    opener.join();
    if (failure.empty())
        failure = opener.error();
    if (!failure.empty()) {
        close(worker->fd);
        throw std::runtime_error("fake unit " + address + ": " + failure);
    }
    worker->thread = std::thread([self = worker.get()] { self->run(); });
}

FakeUnit::~FakeUnit() {
    worker->stopping = true;
    worker->thread.join();
    close(worker->fd);
}

void FakeUnit::setScript(Script script) {
    std::lock_guard<std::mutex> guard(worker->lock);
    worker->script = std::move(script);
}

void FakeUnit::sendToHost(const Reply& datagram) {
    std::lock_guard<std::mutex> guard(worker->lock);
    if (datagram.delay.count() > 0)
        worker->pending.emplace(Clock::now() + datagram.delay,
                                std::make_pair(datagram.bytes, worker->host));
    else
        worker->send(datagram.bytes, worker->host);
}

std::vector<Datagram> FakeUnit::received() const {
    std::lock_guard<std::mutex> guard(worker->lock);
    return worker->log;
}

std::vector<Datagram> FakeUnit::sent() const {
    std::lock_guard<std::mutex> guard(worker->lock);
    return worker->sentLog;
}

std::size_t FakeUnit::countReceived(const std::string& bytes) const {
    const std::vector<Datagram> log = received();
    return static_cast<std::size_t>(
        std::count_if(log.begin(), log.end(), [&](const Datagram& d) { return d.bytes == bytes; }));
}

bool FakeUnit::waitForReceived(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> guard(worker->lock);
    return worker->arrived.wait_for(guard, timeout, [&] { return worker->log.size() >= count; });
}

void FakeUnit::clearReceived() {
    std::lock_guard<std::mutex> guard(worker->lock);
    worker->log.clear();
    worker->sentLog.clear();
}

Script silentScript() {
    return [](const Datagram&) { return Replies{}; };
}

Script constantScript(std::string reply) {
    return [reply](const Datagram&) { return Replies{Reply(reply)}; };
}

struct PromScript::State {
    std::mutex lock;
    std::vector<int> memory;
    std::vector<int> readCounts;
};

PromScript::PromScript(std::vector<int> image, std::size_t capacity)
    : state(std::make_shared<State>()) {
    image.resize(std::max(capacity, image.size()), 0xFF);
    state->memory = std::move(image);
    state->readCounts.assign(state->memory.size(), 0);
}

Script PromScript::script() const {
    return [state = state](const Datagram& request) -> Replies {
        const std::string& text = request.bytes;
        if (text == "V\n")
            return {Reply("1a")};
        if (text == "Q\n" || text == "ZB601\n" || text == "ZB600\n")
            return {Reply("\r\n>")};
        unsigned address = 0;
        unsigned value = 0;
        const bool read = text.size() == 6 && std::sscanf(text.c_str(), "E%4x", &address) == 1;
        const bool write =
            text.size() == 8 && std::sscanf(text.c_str(), "E%4x%2x", &address, &value) == 2;
        if (!(read || write) || text.back() != '\n' || address >= state->memory.size())
            return {};
        std::lock_guard<std::mutex> guard(state->lock);
        if (write) {
            state->memory[address] = static_cast<int>(value);
            return {Reply("\r\n>")};
        }
        ++state->readCounts[address];
        char hex[4];
        std::snprintf(hex, sizeof hex, "%02x", state->memory[address]);
        return {Reply(hex)};
    };
}

std::vector<int> PromScript::memory() const {
    std::lock_guard<std::mutex> guard(state->lock);
    return state->memory;
}

int PromScript::reads(int address) const {
    std::lock_guard<std::mutex> guard(state->lock);
    return address >= 0 && address < static_cast<int>(state->readCounts.size())
               ? state->readCounts[static_cast<std::size_t>(address)]
               : 0;
}

} // namespace tarnlab
