#pragma once
// A non-blocking IPv4 UDP socket owned by one object (closed on destruction).
#include <netinet/in.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Orvek {
namespace Sim {

class UdpSocket {
public:
    UdpSocket() = default;
    ~UdpSocket();
    UdpSocket(UdpSocket&& other) noexcept;
    UdpSocket& operator=(UdpSocket&& other) noexcept;
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    // Binds to `address`:`port` (port 0: any). `shared` sets SO_REUSEADDR so that several
    // units can listen on one broadcast address. Returns an invalid socket and sets `error`
    // on failure.
    static UdpSocket bind(const std::string& address, std::uint16_t port, bool shared,
                          std::string& error);

    bool valid() const { return fd_ >= 0; }
    int fd() const { return fd_; }

    // Sends one datagram; false when the kernel refused it.
    bool sendTo(const sockaddr_in& to, const void* data, std::size_t length) const;
    // Takes one waiting datagram; false when none is waiting.
    bool receive(std::vector<std::uint8_t>& datagram, sockaddr_in& from) const;

private:
    explicit UdpSocket(int fd) : fd_(fd) {}
    int fd_ = -1;
};

// "a.b.c.d:port".
std::string endpointText(const sockaddr_in& endpoint);
// False for a text that is no IPv4 address.
bool parseAddress(const std::string& address, std::uint16_t port, sockaddr_in& out);
// The /24 broadcast address of `address` ("192.168.1.10" -> "192.168.1.255").
std::string subnetBroadcast(const std::string& address);

} // namespace Sim
} // namespace Orvek
