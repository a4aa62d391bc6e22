#pragma once
// A scripted fake unit for lab tests: a UDP peer bound to a unit address (192.168.1.10-19, .100)
// and the test's port in the lab's units namespace, served by its own thread. It records every
// datagram it receives (bytes and the kernel's arrival time) and answers its sender with what
// the test's script returns: any number of replies, each possibly late; none means silence.
//
//   tarnlab::FakeUnit unit("192.168.1.10", 1100, [](const tarnlab::Datagram& request) {
//       return request.bytes == "V\n" ? tarnlab::Replies{{"1a"}} : tarnlab::Replies{};
//   });
//
// The script runs on the unit's thread, one request at a time, in arrival order.
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarnlab {

using Clock = std::chrono::steady_clock;

// The host side's address in the lab.
constexpr const char* hostAddress = "192.168.1.1";

struct Datagram {
    std::string bytes;
    Clock::time_point at; // arrival at the unit (for sent(): just before sendto)
};

struct Reply {
    Reply(std::string text = {}, std::chrono::milliseconds after = std::chrono::milliseconds(0))
        : bytes(std::move(text)), delay(after) {}
    std::string bytes;
    std::chrono::milliseconds delay; // from the request's arrival (or from now, for sendToHost)
};
using Replies = std::vector<Reply>;

using Script = std::function<Replies(const Datagram& request)>;

class FakeUnit {
public:
    // Throws std::runtime_error when the unit cannot run (lab not up, address not on the units
    // side, port taken).
    FakeUnit(const std::string& address, uint16_t port, Script script = nullptr);
    ~FakeUnit(); // replies not yet due are dropped
    FakeUnit(const FakeUnit&) = delete;
    FakeUnit& operator=(const FakeUnit&) = delete;

    void setScript(Script script);
    // Sends a datagram to the host side (192.168.1.1, same port) unasked: at once from the
    // calling thread, or from the unit's thread when delayed.
    void sendToHost(const Reply& datagram);

    std::vector<Datagram> received() const;
    std::vector<Datagram> sent() const;
    std::size_t receivedCount() const { return received().size(); }
    // Number of received datagrams whose bytes equal `bytes`.
    std::size_t countReceived(const std::string& bytes) const;
    // Waits until at least `count` datagrams have arrived; false on time-out.
    bool waitForReceived(std::size_t count, std::chrono::milliseconds timeout) const;
    // Forgets what was received and sent so far.
    void clearReceived();

private:
    struct Worker;
    std::unique_ptr<Worker> worker;
};

Script silentScript();
// Replies to every request with the same text.
Script constantScript(std::string reply);

// Serves a PROM the way a unit does: "E%04x\n" reads a byte (two lower-case hex digits),
// "E%04x%02x\n" writes one, "Q\n", "ZB601\n" and "ZB600\n" are answered "\r\n>", "V\n" with
// "1a"; anything else, and any address past the capacity, gets no reply. Copies share one
// memory, so a test can keep the object and give script() to a FakeUnit (or wrap it in a
// script of its own).
class PromScript {
public:
    // `image` from address 0; the rest of `capacity` bytes reads 0xFF (erased).
    explicit PromScript(std::vector<int> image = {}, std::size_t capacity = 32768);

    Script script() const;
    std::vector<int> memory() const;
    // Read commands served for `address`.
    int reads(int address) const;

private:
    struct State;
    std::shared_ptr<State> state;
};

} // namespace tarnlab
