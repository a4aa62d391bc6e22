#include "foreign_flood.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "lab_namespace.h"

namespace tarnlab {

ForeignFlood::ForeignFlood(uint16_t hostPort, int senders) : wanted(senders) {
    const char* const addresses[] = {"192.168.1.10", "192.168.1.11", "192.168.1.12", "192.168.1.13",
                                     "192.168.1.14", "192.168.1.15", "192.168.1.16", "192.168.1.17",
                                     "192.168.1.18", "192.168.1.19", "192.168.1.100"};
    for (int i = 0; i < senders; ++i) {
        const int fd = unitsSideSocket(addresses[i % 11], static_cast<uint16_t>(1300 + i));
        if (fd >= 0)
            sockets.push_back(fd);
    }
    sender = std::thread([this, hostPort] {
        sockaddr_in host{};
        host.sin_family = AF_INET;
        host.sin_port = htons(hostPort);
        inet_pton(AF_INET, "192.168.1.1", &host.sin_addr);
        // Shaped like a data packet, so that only its source can give it away.
        const std::string datagram("\x01\x02\x00\x01" + std::string(600, 'f'));
        while (!stop) {
            for (int fd : sockets) {
                if (sendto(fd, datagram.data(), datagram.size(), 0,
                           reinterpret_cast<sockaddr*>(&host), sizeof host) > 0)
                    ++count;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
}

ForeignFlood::~ForeignFlood() {
    stop = true;
    sender.join();
    for (int fd : sockets)
        close(fd);
}

long residentKiB() {
    std::ifstream status("/proc/self/status");
    long value = 0;
    for (std::string line; std::getline(status, line);)
        if (std::sscanf(line.c_str(), "VmRSS: %ld", &value) == 1)
            return value;
    return -1;
}

} // namespace tarnlab
