#include "link/socket_manager.h"

#include <chrono>
#include <thread>

#include "tarndll.h"

namespace Orvek {

namespace {
using Clock = std::chrono::steady_clock;

// Datagrams sorted into the queues before a receive looks for its own: enough for a burst
// from every unit on the endpoint, few enough that a stream faster than the host cannot hold
// the caller (the rest waits in the socket, in order).
constexpr std::size_t kReceiveBatch = 256;
// A drain empties a full socket buffer of data packets, yet ends under a flood.
constexpr std::size_t kDrainLimit = 16384;
} // namespace

// Registers a wait for one unit for as long as a receive_from runs (also while it waits for
// its turn at the lock), so that interrupt(address) finds it.
class SocketManager::WaitRegistration {
public:
    WaitRegistration(SocketManager& manager, const std::string& address)
        : manager(manager), address(address) {
        std::lock_guard<std::mutex> lock(manager.waitMutex);
        ++manager.waits[address].waiters;
    }
    ~WaitRegistration() {
        std::lock_guard<std::mutex> lock(manager.waitMutex);
        auto found = manager.waits.find(address);
        if (--found->second.waiters == 0) {
            manager.waits.erase(found);
        }
    }

private:
    SocketManager& manager;
    const std::string& address;
};

SocketManager::SocketManager() : messenger(std::make_unique<UDPMessenger>()) {}

SocketManager::~SocketManager() {
    messenger->releaseSocket();
}

int SocketManager::bind_socket(uint16_t port, unsigned long bufferSize) {
    std::lock_guard<std::mutex> lock(mutex);
    const int result = messenger->bind_socket(port, bufferSize);
    if (result == ERR_OK) {
        queues.setUnitPort(port);
    }
    return result;
}

int SocketManager::releaseSocket() {
    std::lock_guard<std::mutex> lock(mutex);
    return messenger->releaseSocket();
}

int SocketManager::get_port() {
    std::lock_guard<std::mutex> lock(mutex);
    return messenger->getPort();
}

int SocketManager::get_buffer_size() {
    std::lock_guard<std::mutex> lock(mutex);
    return messenger->getBufferSize();
}

int SocketManager::get_bytes_in_buffer() {
    std::lock_guard<std::mutex> lock(mutex);
    return messenger->available_bytes();
}

std::string SocketManager::get_current_bound_address() {
    std::lock_guard<std::mutex> lock(mutex);
    return messenger->getBoundAddress();
}

std::string SocketManager::get_current_dst_ip() {
    std::lock_guard<std::mutex> lock(mutex);
    return currentDstIp;
}

void SocketManager::set_current_dst_ip(const std::string& address) {
    std::lock_guard<std::mutex> lock(mutex);
    currentDstIp = address;
    queues.address(address);
}

int SocketManager::send_to(const std::string& address, const std::vector<char>& bytes) {
    std::lock_guard<std::mutex> lock(mutex);
    queues.address(address);
    return messenger->send_to(address, bytes);
}

bool SocketManager::interrupted(const std::string& address) {
    std::lock_guard<std::mutex> lock(waitMutex);
    auto found = waits.find(address);
    return found != waits.end() && found->second.interrupted;
}

// Without the lock: the wait to be ended holds it. The flag is the waiter's own; waking the
// messenger only makes the wait in progress look at its flag (another unit's wait re-arms and
// goes on).
void SocketManager::interrupt(const std::string& address) {
    {
        std::lock_guard<std::mutex> lock(waitMutex);
        auto found = waits.find(address);
        if (found == waits.end()) {
            return;
        }
        found->second.interrupted = true;
    }
    messenger->interrupt();
}

int SocketManager::receive_from(std::vector<char>& out, const std::string& address, int timeoutMs,
                                int pollMs) {
    WaitRegistration registration(*this, address);
    // Waiting for another unit's exchange to end is part of this wait: an interrupt ends it.
    // Short try_lock steps rather than a timed lock, which thread checkers cannot follow.
    while (!mutex.try_lock()) {
        if (interrupted(address)) {
            return ERR_NO_RESPONSE;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    std::lock_guard<std::mutex> lock(mutex, std::adopt_lock);
    queues.address(address);
    messenger->receive_waiting(queues, kReceiveBatch);
    if (queues.take(address, out)) {
        return ERR_OK;
    }
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    Clock::time_point now;
    do {
        // Armed before the flag is read: an interrupt after the check still ends the wait.
        messenger->armWait();
        if (interrupted(address)) {
            return ERR_NO_RESPONSE;
        }
        now = Clock::now();
        const long long remaining =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count();
        const int wait = now >= deadline || remaining < 1 ? 1 : static_cast<int>(remaining);
        const int received =
            messenger->receive_into(queues, wait, pollMs, UDPMessenger::Wait::Continue);
        if (queues.take(address, out)) {
            return ERR_OK;
        }
        if (received == ERR_SOCKET) {
            return ERR_SOCKET; // closed or failing socket: nothing can arrive before the deadline
        }
    } while (!(deadline < now));
    return ERR_NO_RESPONSE;
}

int SocketManager::receive_from_any(std::vector<char>& out, std::string& source, int timeoutMs,
                                    int pollMs) {
    std::lock_guard<std::mutex> lock(mutex);
    messenger->receive_waiting(queues, kReceiveBatch);
    std::string unit;
    if (!queues.firstWaiting(unit)) {
        messenger->receive_into(queues, timeoutMs, pollMs);
        if (!queues.firstWaiting(unit)) {
            return ERR_NO_RESPONSE;
        }
    }
    source = unit;
    queues.take(unit, out);
    return ERR_OK;
}

int SocketManager::receive_from_any(std::string& out, std::string& source, int timeoutMs,
                                    int pollMs) {
    std::vector<char> datagram;
    const int result = receive_from_any(datagram, source, timeoutMs, pollMs);
    out.assign(datagram.begin(), datagram.end());
    return result;
}

std::size_t SocketManager::drain(const std::string& address) {
    std::lock_guard<std::mutex> lock(mutex);
    messenger->receive_waiting(queues, kDrainLimit);
    return queues.drop(address);
}

void SocketManager::forget(const std::string& address) {
    std::lock_guard<std::mutex> lock(mutex);
    queues.forget(address);
}

ReceiveQueues::Counters SocketManager::counters() {
    std::lock_guard<std::mutex> lock(mutex);
    return queues.counters();
}

} // namespace Orvek
