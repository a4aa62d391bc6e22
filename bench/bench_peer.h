#pragma once
// A minimal unit for link benchmarks: a UDP socket at a unit address in the lab's units
// namespace, answering each request with what `answer` returns ("" for nothing), after
// `delay`. Records when it sent its last reply.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "lab_namespace.h"

class BenchPeer {
public:
    using Answer = std::function<std::string(const std::string&)>;

    BenchPeer(const std::string& address, uint16_t port, Answer answer,
              std::chrono::microseconds delay = std::chrono::microseconds(0))
        : thread([this, address, port, answer, delay] { serve(address, port, answer, delay); }) {
        while (!ready && thread.error().empty())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ~BenchPeer() {
        stop = true;
        thread.join();
    }
    bool ok() const { return ready && thread.error().empty(); }
    std::chrono::steady_clock::time_point lastSent() const { return sentAt.load(); }

private:
    std::atomic<bool> ready{false}, stop{false};
    std::atomic<std::chrono::steady_clock::time_point> sentAt{};
    tarnlab::UnitsThread thread;

    void serve(const std::string& address, uint16_t port, const Answer& answer,
               std::chrono::microseconds delay) {
        const int fd = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_port = htons(port);
        inet_pton(AF_INET, address.c_str(), &local.sin_addr);
        if (bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
            close(fd);
            return;
        }
        ready = true;
        char buffer[9001];
        while (!stop) {
            pollfd readable{fd, POLLIN, 0};
            if (poll(&readable, 1, 20) != 1)
                continue;
            sockaddr_in host{};
            socklen_t length = sizeof host;
            const ssize_t got =
                recvfrom(fd, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&host), &length);
            const std::string reply = got > 0 ? answer(std::string(buffer, got)) : "";
            if (reply.empty())
                continue;
            std::this_thread::sleep_for(delay);
            sentAt = std::chrono::steady_clock::now();
            sendto(fd, reply.data(), reply.size(), 0, reinterpret_cast<sockaddr*>(&host), length);
        }
        close(fd);
    }
};
