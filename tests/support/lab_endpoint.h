#pragma once
// Helpers shared by the lab tests that drive the library's endpoint.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "lab_namespace.h"
#include "link/socket_manager.h"

namespace tarnlab {

// A socket manager bound to `port` on the host side with the library's usual 8 MiB buffer.
inline std::shared_ptr<Orvek::SocketManager> boundEndpoint(uint16_t port) {
    auto endpoint = std::make_shared<Orvek::SocketManager>();
    return endpoint->bind_socket(port, 8388608) == 0 ? endpoint : nullptr;
}

// A lab test with an endpoint bound to its own port (so that `ctest -j` stays deterministic),
// with the first unit address selected as a task selects its unit.
template <uint16_t Port> class EndpointTest : public ::testing::Test {
protected:
    static constexpr uint16_t port = Port;
    void SetUp() override {
        TARN_REQUIRE_LAB_HOST_SIDE();
        endpoint = boundEndpoint(Port);
        ASSERT_NE(endpoint, nullptr) << "cannot bind port " << Port;
        endpoint->set_current_dst_ip("192.168.1.10");
    }
    std::shared_ptr<Orvek::SocketManager> endpoint;
};

// Waits (bounded) until the host socket holds a datagram, so that a test can rely on data
// having arrived before it calls a receive.
inline bool waitForWaitingBytes(Orvek::SocketManager& endpoint,
                                std::chrono::milliseconds timeout = std::chrono::seconds(2)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (endpoint.get_bytes_in_buffer() <= 0) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

inline double millisecondsBetween(std::chrono::steady_clock::time_point from,
                                  std::chrono::steady_clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

} // namespace tarnlab
