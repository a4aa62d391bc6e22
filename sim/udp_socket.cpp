#include "sim/udp_socket.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace Orvek {
namespace Sim {

UdpSocket::~UdpSocket() {
    if (fd_ >= 0)
        ::close(fd_);
}

UdpSocket::UdpSocket(UdpSocket&& other) noexcept : fd_(other.fd_) {
    other.fd_ = -1;
}

UdpSocket& UdpSocket::operator=(UdpSocket&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = other.fd_;
        other.fd_ = -1;
    }
    return *this;
}

bool parseAddress(const std::string& address, std::uint16_t port, sockaddr_in& out) {
    std::memset(&out, 0, sizeof out);
    out.sin_family = AF_INET;
    out.sin_port = htons(port);
    return inet_pton(AF_INET, address.c_str(), &out.sin_addr) == 1;
}

std::string endpointText(const sockaddr_in& endpoint) {
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &endpoint.sin_addr, text, sizeof text);
    return std::string(text) + ":" + std::to_string(ntohs(endpoint.sin_port));
}

std::string subnetBroadcast(const std::string& address) {
    sockaddr_in parsed{};
    if (!parseAddress(address, 0, parsed))
        return "";
    const std::uint32_t host = ntohl(parsed.sin_addr.s_addr);
    in_addr broadcast{};
    broadcast.s_addr = htonl(host | 0xFFu);
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &broadcast, text, sizeof text);
    return text;
}

UdpSocket UdpSocket::bind(const std::string& address, std::uint16_t port, bool shared,
                          std::string& error) {
    sockaddr_in local{};
    if (!parseAddress(address, port, local)) {
        error = "not an IPv4 address: " + address;
        return UdpSocket();
    }
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_UDP);
    if (fd < 0) {
        error = std::string("socket: ") + std::strerror(errno);
        return UdpSocket();
    }
    UdpSocket socket(fd);
    const int one = 1;
    if (shared)
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    // Uploads arrive as a burst of up to about 95 datagrams of 1400 bytes.
    const int buffer = 1 << 20;
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        error = "bind " + address + ":" + std::to_string(port) + ": " + std::strerror(errno);
        return UdpSocket();
    }
    return socket;
}

bool UdpSocket::sendTo(const sockaddr_in& to, const void* data, std::size_t length) const {
    for (int attempt = 0; attempt < 100; ++attempt) {
        const ssize_t sent =
            ::sendto(fd_, data, length, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
        if (sent >= 0)
            return true;
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != ENOBUFS)
            return false;
        // The send queue is full: give the interface a moment to drain it.
        usleep(100);
    }
    return false;
}

bool UdpSocket::receive(std::vector<std::uint8_t>& datagram, sockaddr_in& from) const {
    datagram.resize(65536);
    socklen_t fromLength = sizeof from;
    const ssize_t received = ::recvfrom(fd_, datagram.data(), datagram.size(), 0,
                                        reinterpret_cast<sockaddr*>(&from), &fromLength);
    if (received < 0) {
        datagram.clear();
        return false;
    }
    datagram.resize(static_cast<std::size_t>(received));
    return true;
}

} // namespace Sim
} // namespace Orvek
