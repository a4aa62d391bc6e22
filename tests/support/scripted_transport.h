#pragma once
// An in-memory endpoint for protocol tests without the network lab. Scripted units answer what
// is sent to them; the endpoint keeps its own clock in milliseconds, and a wait moves that
// clock on instead of sleeping, so late replies and time-outs are exact and cost no real time.
// Like a unit, each scripted unit's datagrams arrive in the order it sent them.
// Single-threaded; interrupt() is not modelled.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "link/transport.h"

namespace tarntest {

struct Reply {
    Reply(std::string text = {}, long long after = 0) : bytes(std::move(text)), delayMs(after) {}
    std::string bytes;
    long long delayMs; // from the request (or from now, for arrive())
};
using Replies = std::vector<Reply>;
using UnitScript = std::function<Replies(const std::string& request)>;

class ScriptedTransport : public Orvek::Transport {
public:
    using Transport::receive_from;
    using Transport::send_to;

    void setUnit(const std::string& address, UnitScript script) { units[address] = script; }
    // A datagram from `address`, unasked.
    void arrive(const std::string& address, const Reply& datagram);
    // Every message sent to `address`, in order.
    const std::vector<std::string>& requests(const std::string& address) { return sent[address]; }
    std::size_t count(const std::string& address, const std::string& request);
    long long nowMs() const { return now; }

    int bind_socket(uint16_t, unsigned long) override { return 0; }
    int get_buffer_size() override { return 8388608; }
    std::string get_current_dst_ip() override { return destination; }
    void set_current_dst_ip(const std::string& address) override { destination = address; }
    int send_to(const std::string& address, const std::vector<char>& bytes) override;
    int receive_from(std::vector<char>& out, const std::string& address, int timeoutMs,
                     int pollMs) override;
    int receive_from_any(std::vector<char>& out, std::string& source, int timeoutMs,
                         int pollMs) override;
    std::size_t drain(const std::string& address) override;
    void forget(const std::string& address) override { drain(address); }
    void interrupt(const std::string&) override {}

private:
    struct InFlight {
        long long at;
        std::string from;
        std::vector<char> bytes;
    };
    std::vector<InFlight> inFlight; // in order of arrival time, then of sending
    std::map<std::string, UnitScript> units;
    std::map<std::string, std::vector<std::string>> sent;
    std::map<std::string, long long> lastArrival;
    std::string destination;
    long long now = 0;

    int take(std::vector<char>& out, const std::string* from, int timeoutMs, std::string* source);
};

// A unit's command interpreter over a PROM: "E%04x\n" reads a byte (two hex digits),
// "E%04x%02x\n" writes one; "Q\n", "W%04x\n", "ZB60x\n" and register writes "Z....\n" get the
// prompt
// "\r\n>"; "Z80\n" reads register 0x80 ("80\r\n>" and 13 blanks); "V\n" gives "1a". Anything
// else, and an address past the capacity, gets no answer. Copies share one memory.
class PromUnit {
public:
    explicit PromUnit(std::vector<int> image = {}, std::size_t capacity = 32768);
    std::string answer(const std::string& request) const;
    // Answers every request after `delayMs`.
    UnitScript script(long long delayMs = 0) const;
    std::vector<int> memory() const { return state->memory; }
    int reads(int address) const { return state->reads[static_cast<std::size_t>(address)]; }

private:
    struct State {
        std::vector<int> memory, reads;
    };
    std::shared_ptr<State> state;
};

} // namespace tarntest
