#pragma once
// Small helpers shared by the link's lab tests.
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "link/socket_manager.h"

namespace tarnlab {

// A socket manager bound to `port` on the host side with the library's usual 8 MiB buffer.
inline std::shared_ptr<Orvek::SocketManager> boundEndpoint(uint16_t port) {
    auto endpoint = std::make_shared<Orvek::SocketManager>();
    if (endpoint->bind_socket(port, 8388608) != 0) {
        return nullptr;
    }
    return endpoint;
}

// Waits (bounded) until the host socket holds a datagram, so that a test can rely on data
// having arrived before it calls a receive.
inline bool waitForWaitingBytes(Orvek::SocketManager& endpoint,
                                std::chrono::milliseconds timeout = std::chrono::seconds(2)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (endpoint.get_bytes_in_buffer() <= 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

inline double millisecondsBetween(std::chrono::steady_clock::time_point from,
                                  std::chrono::steady_clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

} // namespace tarnlab
