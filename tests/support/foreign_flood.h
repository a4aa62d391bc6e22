#pragma once
// Strangers flooding the host's port from the units side of the lab: `senders` sockets spread
// over the lab's unit addresses (ports from 1300 up, so never a task's port), each sending
// a 600-byte datagram every 5 ms, until the object is destroyed.
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace tarnlab {

class ForeignFlood {
public:
    ForeignFlood(uint16_t hostPort, int senders);
    ~ForeignFlood();
    bool ok() const { return static_cast<int>(sockets.size()) == wanted; }
    std::size_t sent() const { return count.load(); }

private:
    int wanted;
    std::vector<int> sockets;
    std::atomic<bool> stop{false};
    std::atomic<std::size_t> count{0};
    std::thread sender;
};

// This process's resident memory (KiB), to show what a flood costs; -1 when unreadable.
long residentKiB();

} // namespace tarnlab
