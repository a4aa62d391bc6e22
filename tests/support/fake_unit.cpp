#include "fake_unit.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <future>
#include <map>
#include <stdexcept>
#include <thread>

#include "lab_namespace.h"

namespace tarnlab {

namespace {

// Converts a kernel receive timestamp (wall clock) into the steady clock the tests use.
Clock::time_point steadyFromRealtime(const timespec& stamp) {
    const auto realNow = std::chrono::system_clock::now();
    const auto steadyNow = Clock::now();
    const auto stamped = std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(
            std::chrono::seconds(stamp.tv_sec) + std::chrono::nanoseconds(stamp.tv_nsec)));
    return steadyNow - std::chrono::duration_cast<Clock::duration>(realNow - stamped);
}

sockaddr_in socketAddress(const std::string& address, uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &result.sin_addr);
    return result;
}

struct Outgoing {
    Clock::time_point due;
    std::uint64_t sequence;
    Reply reply;
    sockaddr_in destination;
};

} // namespace

struct FakeUnit::Worker {
    std::string address;
    uint16_t port;

    mutable std::mutex lock;
    mutable std::condition_variable arrived;
    Script script;
    std::vector<Datagram> log;
    std::vector<Datagram> sentLog;
    std::vector<Reply> toHost;
    bool stopping = false;

    int wakeRead = -1;
    int wakeWrite = -1;
    std::thread thread;

    void wake() {
        const char byte = 1;
        [[maybe_unused]] const ssize_t written = write(wakeWrite, &byte, 1);
    }

    void run(std::promise<std::string>& ready);
};

void FakeUnit::Worker::run(std::promise<std::string>& ready) {
    const std::string entered = enterUnitsNamespace();
    if (!entered.empty()) {
        ready.set_value(entered);
        return;
    }
    std::map<std::string, int> sockets; // by local address; all closed at the end
    auto socketFor = [&](const std::string& local, std::string& error) {
        auto found = sockets.find(local);
        if (found != sockets.end()) {
            return found->second;
        }
        const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_UDP);
        if (fd < 0) {
            error = std::string("socket: ") + std::strerror(errno);
            return -1;
        }
        const int one = 1;
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        setsockopt(fd, SOL_SOCKET, SO_TIMESTAMPNS, &one, sizeof one);
        const int buffer = 4 << 20;
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
        sockaddr_in bound = socketAddress(local, port);
        if (bind(fd, reinterpret_cast<sockaddr*>(&bound), sizeof bound) != 0) {
            error = "bind " + local + ":" + std::to_string(port) + ": " + std::strerror(errno);
            close(fd);
            return -1;
        }
        sockets[local] = fd;
        return fd;
    };
    std::string error;
    const int own = socketFor(address, error);
    ready.set_value(own < 0 ? error : std::string());
    if (own < 0) {
        return;
    }

    std::vector<Outgoing> pending;
    std::uint64_t sequence = 0;
    std::vector<char> buffer(65536);
    const sockaddr_in host = socketAddress(hostAddress, port);

    for (;;) {
        int timeout = -1;
        if (!pending.empty()) {
            const auto next =
                std::min_element(pending.begin(), pending.end(),
                                 [](const Outgoing& a, const Outgoing& b) { return a.due < b.due; })
                    ->due;
            const auto left =
                std::chrono::duration_cast<std::chrono::microseconds>(next - Clock::now());
            timeout = left.count() <= 0 ? 0 : static_cast<int>((left.count() + 999) / 1000);
        }
        pollfd fds[2] = {{own, POLLIN, 0}, {wakeRead, POLLIN, 0}};
        poll(fds, 2, timeout);
        if (fds[1].revents & POLLIN) {
            char drained[64];
            while (read(wakeRead, drained, sizeof drained) > 0) {
            }
        }
        {
            std::lock_guard<std::mutex> guard(lock);
            if (stopping) {
                break;
            }
            for (Reply& reply : toHost) {
                pending.push_back({Clock::now() + reply.delay, sequence++, std::move(reply), host});
            }
            toHost.clear();
        }
        // Every datagram waiting, in arrival order.
        for (;;) {
            sockaddr_in sender{};
            iovec data{buffer.data(), buffer.size()};
            alignas(cmsghdr) char control[256];
            msghdr message{};
            message.msg_name = &sender;
            message.msg_namelen = sizeof sender;
            message.msg_iov = &data;
            message.msg_iovlen = 1;
            message.msg_control = control;
            message.msg_controllen = sizeof control;
            const ssize_t got = recvmsg(own, &message, MSG_DONTWAIT);
            if (got < 0) {
                break;
            }
            Datagram request;
            request.at = Clock::now();
            for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
                 header = CMSG_NXTHDR(&message, header)) {
                if (header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_TIMESTAMPNS) {
                    timespec stamp{};
                    std::memcpy(&stamp, CMSG_DATA(header), sizeof stamp);
                    request.at = steadyFromRealtime(stamp);
                }
            }
            request.bytes.assign(buffer.data(), static_cast<std::size_t>(got));
            char from[INET_ADDRSTRLEN] = {};
            inet_ntop(AF_INET, &sender.sin_addr, from, sizeof from);
            request.from = from;
            Script current;
            {
                std::lock_guard<std::mutex> guard(lock);
                log.push_back(request);
                current = script;
            }
            arrived.notify_all();
            if (current) {
                for (Reply& reply : current(request)) {
                    pending.push_back(
                        {request.at + reply.delay, sequence++, std::move(reply), sender});
                }
            }
        }
        // Everything due, earliest first.
        std::sort(pending.begin(), pending.end(), [](const Outgoing& a, const Outgoing& b) {
            return a.due != b.due ? a.due < b.due : a.sequence < b.sequence;
        });
        const auto now = Clock::now();
        std::size_t sent = 0;
        for (; sent < pending.size() && pending[sent].due <= now; ++sent) {
            const Outgoing& out = pending[sent];
            const int fd = out.reply.from.empty() ? own : socketFor(out.reply.from, error);
            if (fd >= 0) {
                const auto at = Clock::now();
                sendto(fd, out.reply.bytes.data(), out.reply.bytes.size(), 0,
                       reinterpret_cast<const sockaddr*>(&out.destination), sizeof out.destination);
                std::lock_guard<std::mutex> guard(lock);
                sentLog.push_back(
                    {out.reply.bytes, out.reply.from.empty() ? address : out.reply.from, at});
            } else {
                std::fprintf(stderr, "fake unit %s: cannot reply from %s: %s\n", address.c_str(),
                             out.reply.from.c_str(), error.c_str());
            }
        }
        pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(sent));
    }
    for (const auto& entry : sockets) {
        close(entry.second);
    }
}

FakeUnit::FakeUnit(std::string address, uint16_t port, Script script)
    : unitAddress(std::move(address)), unitPort(port), worker(std::make_unique<Worker>()) {
    worker->address = unitAddress;
    worker->port = port;
    worker->script = std::move(script);
    int fds[2];
    if (pipe(fds) != 0) {
        throw std::runtime_error("fake unit: cannot create its wake-up pipe");
    }
    fcntl(fds[0], F_SETFL, O_NONBLOCK);
    fcntl(fds[1], F_SETFL, O_NONBLOCK);
    worker->wakeRead = fds[0];
    worker->wakeWrite = fds[1];
    std::promise<std::string> ready;
    std::future<std::string> started = ready.get_future();
    Worker* self = worker.get();
    worker->thread =
        std::thread([self, promise = std::move(ready)]() mutable { self->run(promise); });
    const std::string failure = started.get();
    if (!failure.empty()) {
        worker->thread.join();
        close(worker->wakeRead);
        close(worker->wakeWrite);
        throw std::runtime_error("fake unit " + unitAddress + ":" + std::to_string(port) + ": " +
                                 failure);
    }
}

FakeUnit::~FakeUnit() {
    stop();
    close(worker->wakeRead);
    close(worker->wakeWrite);
}

void FakeUnit::stop() {
    {
        std::lock_guard<std::mutex> guard(worker->lock);
        worker->stopping = true;
    }
    worker->wake();
    if (worker->thread.joinable()) {
        worker->thread.join();
    }
}

void FakeUnit::setScript(Script script) {
    std::lock_guard<std::mutex> guard(worker->lock);
    worker->script = std::move(script);
}

void FakeUnit::sendToHost(const Reply& datagram) {
    {
        std::lock_guard<std::mutex> guard(worker->lock);
        worker->toHost.push_back(datagram);
    }
    worker->wake();
}

std::vector<Datagram> FakeUnit::received() const {
    std::lock_guard<std::mutex> guard(worker->lock);
    return worker->log;
}

std::size_t FakeUnit::receivedCount() const {
    std::lock_guard<std::mutex> guard(worker->lock);
    return worker->log.size();
}

std::size_t FakeUnit::countReceived(const std::string& bytes) const {
    std::lock_guard<std::mutex> guard(worker->lock);
    return static_cast<std::size_t>(
        std::count_if(worker->log.begin(), worker->log.end(),
                      [&](const Datagram& datagram) { return datagram.bytes == bytes; }));
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

std::vector<Datagram> FakeUnit::sent() const {
    std::lock_guard<std::mutex> guard(worker->lock);
    return worker->sentLog;
}

Script silentScript() {
    return [](const Datagram&) { return Replies{}; };
}

Script constantScript(std::string reply) {
    return [reply](const Datagram&) { return Replies{Reply(reply)}; };
}

// --- PromScript

struct PromScript::State {
    std::mutex lock;
    std::vector<int> memory;
    std::map<int, int> readCounts;
    std::map<int, int> writeCounts;
    ReadHook readHook;
    std::function<bool(int, int)> acceptWrite;
    std::string version = "1a";
};

PromScript::PromScript(std::vector<int> image, std::size_t capacity)
    : state(std::make_shared<State>()) {
    state->memory.assign(std::max(capacity, image.size()), 0xFF);
    std::copy(image.begin(), image.end(), state->memory.begin());
}

void PromScript::onRead(ReadHook hook) {
    std::lock_guard<std::mutex> guard(state->lock);
    state->readHook = std::move(hook);
}

void PromScript::onWrite(std::function<bool(int, int)> accept) {
    std::lock_guard<std::mutex> guard(state->lock);
    state->acceptWrite = std::move(accept);
}

void PromScript::setVersionReply(std::string reply) {
    std::lock_guard<std::mutex> guard(state->lock);
    state->version = std::move(reply);
}

Script PromScript::script() const {
    std::shared_ptr<State> shared = state;
    return [shared](const Datagram& request) -> Replies {
        const std::string prompt = "\r\n>";
        const std::string& text = request.bytes;
        if (text == "Q\n" || text == "ZB601\n" || text == "ZB600\n") {
            return {Reply(prompt)};
        }
        std::unique_lock<std::mutex> guard(shared->lock);
        if (text == "V\n") {
            return {Reply(shared->version)};
        }
        unsigned address = 0;
        unsigned value = 0;
        char end = 0;
        if (text.size() == 6 && std::sscanf(text.c_str(), "E%4x%c", &address, &end) == 2 &&
            end == '\n') {
            const int at = static_cast<int>(address);
            const int number = ++shared->readCounts[at];
            char normal[4];
            std::snprintf(normal, sizeof normal, "%02x",
                          at < static_cast<int>(shared->memory.size()) ? shared->memory[at] : 0xFF);
            ReadHook hook = shared->readHook;
            guard.unlock();
            if (!hook) {
                return {Reply(normal)};
            }
            const std::optional<std::string> reply = hook(at, number, normal);
            return reply ? Replies{Reply(*reply)} : Replies{};
        }
        if (text.size() == 8 &&
            std::sscanf(text.c_str(), "E%4x%2x%c", &address, &value, &end) == 3 && end == '\n') {
            const int at = static_cast<int>(address);
            ++shared->writeCounts[at];
            const auto accept = shared->acceptWrite;
            guard.unlock();
            const bool accepted = !accept || accept(at, static_cast<int>(value));
            guard.lock();
            if (accepted && at < static_cast<int>(shared->memory.size())) {
                shared->memory[at] = static_cast<int>(value);
            }
            return {Reply(prompt)};
        }
        return {};
    };
}

std::vector<int> PromScript::memory() const {
    std::lock_guard<std::mutex> guard(state->lock);
    return state->memory;
}

int PromScript::reads(int address) const {
    std::lock_guard<std::mutex> guard(state->lock);
    auto found = state->readCounts.find(address);
    return found == state->readCounts.end() ? 0 : found->second;
}

int PromScript::writes(int address) const {
    std::lock_guard<std::mutex> guard(state->lock);
    auto found = state->writeCounts.find(address);
    return found == state->writeCounts.end() ? 0 : found->second;
}

} // namespace tarnlab
