#pragma once
// A scripted fake unit for lab tests: a UDP peer on a thread inside the lab's units namespace,
// bound to a unit address (192.168.1.10-19) and the test's port. For every datagram it receives
// it records the bytes, the sender and the arrival time (the kernel's receive timestamp), and
// asks the test's script what to answer: any number of replies, each possibly late and
// possibly sent from another unit address; an empty answer means silence.
//
//   tarnlab::FakeUnit unit("192.168.1.10", 1100, [](const tarnlab::Datagram& request) {
//       if (request.bytes == "V\n") return tarnlab::Replies{{"1a"}};
//       return tarnlab::Replies{};                         // no reply
//   });
//
// The script runs on the unit's thread, one request at a time, in arrival order.
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnlab {

using Clock = std::chrono::steady_clock;

// The host side's address in the lab.
constexpr const char* hostAddress = "192.168.1.1";

struct Datagram {
    std::string bytes;
    std::string from;     // sender, dotted quad
    Clock::time_point at; // arrival at the unit
};

struct Reply {
    Reply(std::string text = {}, std::chrono::milliseconds after = std::chrono::milliseconds(0),
          std::string sender = {})
        : bytes(std::move(text)), delay(after), from(std::move(sender)) {}
    std::string bytes;
    // Counted from the request's arrival (or from now, for sendToHost).
    std::chrono::milliseconds delay;
    // Unit address to send from; empty for the fake unit's own address.
    std::string from;
};
using Replies = std::vector<Reply>;

using Script = std::function<Replies(const Datagram& request)>;

class FakeUnit {
public:
    // Starts the unit. Throws std::runtime_error when it cannot run (lab not up, address not
    // on the units side, port taken).
    FakeUnit(std::string address, uint16_t port, Script script = nullptr);
    ~FakeUnit();
    FakeUnit(const FakeUnit&) = delete;
    FakeUnit& operator=(const FakeUnit&) = delete;

    void setScript(Script script);
    // Sends a datagram to the host side (192.168.1.1, same port) without being asked.
    void sendToHost(const Reply& datagram);

    std::vector<Datagram> received() const;
    // What the unit sent, in order: `from` is the local address it was sent from, `at` the
    // time just before sendto (so a measured delivery delay includes the network's part).
    std::vector<Datagram> sent() const;
    std::size_t receivedCount() const;
    // Number of received datagrams whose bytes equal `bytes`.
    std::size_t countReceived(const std::string& bytes) const;
    // Waits until at least `count` datagrams have arrived; false on time-out.
    bool waitForReceived(std::size_t count, std::chrono::milliseconds timeout) const;
    // Forgets what was received and sent so far.
    void clearReceived();

    // Stops and joins the unit's thread (idempotent). Replies not yet due are dropped.
    void stop();

    const std::string& address() const { return unitAddress; }
    uint16_t port() const { return unitPort; }

private:
    struct Worker;
    std::string unitAddress;
    uint16_t unitPort;
    std::unique_ptr<Worker> worker;
};

// Common scripts.
Script silentScript();
// Replies to every request with the same text.
Script constantScript(std::string reply);

// Serves a PROM the way a unit does: "E%04x\n" reads a byte (two lower-case hex digits),
// "E%04x%02x\n" writes one (answered "\r\n>"), "Q\n", "ZB601\n" and "ZB600\n" are answered
// "\r\n>", "V\n" with the version. Anything else is ignored. Hooks let a test make reads lie or
// stay silent and writes fail. Copies share one state, so a test can keep the object and give
// script() to a FakeUnit.
class PromScript {
public:
    // `image` from address 0; the rest of `capacity` bytes reads 0xFF (erased).
    explicit PromScript(std::vector<int> image = {}, std::size_t capacity = 32768);

    // Called for every read with the address, the 1-based number of reads of that address so
    // far, and the normal reply; returns the reply to send, or an empty optional for silence.
    using ReadHook = std::function<std::optional<std::string>(int address, int readNumber,
                                                              const std::string& normal)>;
    void onRead(ReadHook hook);
    // Called for every write; returning false leaves the byte unchanged.
    void onWrite(std::function<bool(int address, int value)> accept);
    void setVersionReply(std::string reply);

    Script script() const;
    std::vector<int> memory() const;
    int reads(int address) const;
    int writes(int address) const;

private:
    struct State;
    std::shared_ptr<State> state;
};

} // namespace tarnlab
