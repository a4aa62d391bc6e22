#pragma once
// Helpers shared by the lab tests that drive the library's endpoint.
#include <chrono>
#include <memory>

#include "lab_namespace.h"
#include "link/socket_manager.h"

namespace tarnlab {

// A socket manager bound to `port` on the host side with the library's usual 8 MiB buffer.
inline std::shared_ptr<Orvek::SocketManager> boundEndpoint(uint16_t port) {
    auto endpoint = std::make_shared<Orvek::SocketManager>();
    return endpoint->bind_socket(port, 8388608) == 0 ? endpoint : nullptr;
}

inline double millisecondsBetween(std::chrono::steady_clock::time_point from,
                                  std::chrono::steady_clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

} // namespace tarnlab
