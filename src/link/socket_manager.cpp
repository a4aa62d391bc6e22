#include "link/socket_manager.h"

#include <chrono>

#include "tarndll.h"

namespace Orvek {

namespace {
using Clock = std::chrono::steady_clock;
} // namespace

SocketManager::SocketManager() : messenger(std::make_unique<UDPMessenger>()) {}

SocketManager::~SocketManager() {
    messenger->releaseSocket();
    messenger.reset();
    queues.clear();
}

int SocketManager::bind_socket(uint16_t port, unsigned long bufferSize) {
    std::lock_guard<std::mutex> lock(mutex);
    return messenger->bind_socket(port, bufferSize);
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
}

int SocketManager::send_to(const std::string& address, const std::vector<char>& bytes) {
    std::lock_guard<std::mutex> lock(mutex);
    return messenger->send_to(address, bytes);
}

int SocketManager::send_to(const std::string& address, const std::string& message) {
    return send_to(address, std::vector<char>(message.begin(), message.end()));
}

// Deliberately without the lock: the receive to be ended holds it for its whole wait. The
// messenger lives as long as the manager, and its flag and wake-up pipe are safe to touch
// from any thread.
void SocketManager::interrupt() {
    messenger->interrupt();
}

bool SocketManager::takeFrom(const std::string& address, std::vector<char>& out) {
    auto& queue = queues[address];
    if (queue.empty()) {
        return false;
    }
    out = std::move(queue.front());
    queue.pop_front();
    return true;
}

int SocketManager::receive_from(std::vector<char>& out, const std::string& address, int timeoutMs,
                                int pollMs) {
    std::lock_guard<std::mutex> lock(mutex);
    // Armed once for the whole wait, so an interrupt between two of the receives below is not
    // lost.
    messenger->armWait();
    receive_waiting_unlocked();
    if (takeFrom(address, out)) {
        return ERR_OK;
    }
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    Clock::time_point now;
    do {
        now = Clock::now();
        const long long remaining =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count();
        const int wait = now >= deadline || remaining < 1 ? 1 : static_cast<int>(remaining);
        // A datagram from another sender is simply queued for it.
        const int received = receive_any_unlocked(wait, pollMs, UDPMessenger::Wait::Continue);
        if (takeFrom(address, out)) {
            return ERR_OK;
        }
        if (received == ERR_SOCKET) {
            return ERR_SOCKET; // closed or failing socket: nothing can arrive before the deadline
        }
        if (messenger->waitInterrupted()) {
            return ERR_NO_RESPONSE;
        }
    } while (!(deadline < now));
    return ERR_NO_RESPONSE;
}

int SocketManager::receive_from(std::string& out, const std::string& address, int timeoutMs,
                                int pollMs) {
    std::vector<char> datagram;
    const int result = receive_from(datagram, address, timeoutMs, pollMs);
    out.assign(datagram.begin(), datagram.end());
    return result;
}

int SocketManager::receive_from_any(std::vector<char>& out, std::string& source, int timeoutMs,
                                    int pollMs) {
    std::lock_guard<std::mutex> lock(mutex);
    receive_waiting_unlocked();
    auto firstWaiting = [this] {
        for (auto it = queues.begin(); it != queues.end(); ++it) {
            if (!it->second.empty()) {
                return it;
            }
        }
        return queues.end();
    };
    auto found = firstWaiting();
    if (found == queues.end()) {
        receive_any_unlocked(timeoutMs, pollMs);
        found = firstWaiting();
        if (found == queues.end()) {
            return ERR_NO_RESPONSE;
        }
    }
    source = found->first;
    out = std::move(found->second.front());
    found->second.pop_front();
    return ERR_OK;
}

int SocketManager::receive_from_any(std::string& out, std::string& source, int timeoutMs,
                                    int pollMs) {
    std::vector<char> datagram;
    const int result = receive_from_any(datagram, source, timeoutMs, pollMs);
    out.assign(datagram.begin(), datagram.end());
    return result;
}

void SocketManager::flush_buffers() {
    std::lock_guard<std::mutex> lock(mutex);
    receive_waiting_unlocked();
    queues.clear();
}

int SocketManager::discard_from(const std::string& address) {
    std::lock_guard<std::mutex> lock(mutex);
    receive_waiting_unlocked();
    auto found = queues.find(address);
    if (found == queues.end()) {
        return 0;
    }
    const int discarded = static_cast<int>(found->second.size());
    found->second.clear();
    return discarded;
}

int SocketManager::receive_waiting_unlocked() {
    return messenger->receive_waiting(queues);
}

int SocketManager::receive_any_unlocked(int timeoutMs, int pollMs, UDPMessenger::Wait wait) {
    return messenger->receive_into(queues, timeoutMs, pollMs, wait);
}

} // namespace Orvek
