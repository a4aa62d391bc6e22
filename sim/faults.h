#pragma once
// Faults a simulated unit can be told to show, for reliability tests. Random faults are drawn
// from a generator seeded with `seed`, in the order the unit sends, so the same seed and the
// same traffic give the same faults.
#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <string>

namespace Orvek {
namespace Sim {

struct FaultSettings {
    // Data packets. Either at random with a probability (0..1) each, or by number: 1 is the
    // first data packet sent after these settings took effect.
    double dropProbability = 0.0;
    double duplicateProbability = 0.0;
    double reorderProbability = 0.0; // the packet is held back and sent after the next one
    double truncateProbability = 0.0;
    std::set<int> dropPackets;
    std::set<int> duplicatePackets;
    std::set<int> reorderPackets;
    std::set<int> truncatePackets;
    int truncateBytes = 4;       // cut from the end of a truncated packet (one byte always stays)
    std::set<int> extendPackets; // sent one byte longer than the program made them
    // Packets that are sent once more 20 ms later, like a stray copy the network kept back.
    std::set<int> latePackets;
    // The unit restarts right after sending this packet (0: never): it forgets its program,
    // its registers and its packet counter, and what it still had to send is lost.
    int restartAfterPacket = 0;
    // The unit falls silent (see `silent`) right after sending this packet (0: never).
    int silentAfterPacket = 0;

    // Replies to commands.
    double replyDelayMs = 0.0;
    double withholdReplyProbability = 0.0;
    int withholdReplies = 0; // the next this many replies are not sent

    // Neither receives nor sends anything, as if unplugged.
    bool silent = false;
    // Replies and data leave from this address instead of the unit's own (it must be an
    // address of the units side). Empty: the unit's own.
    std::string answerFrom;

    // PROM writes: every byte needs this many write commands before one takes, and each
    // write is ignored with this probability.
    int promWriteAttempts = 1;
    double promWriteFailProbability = 0.0;

    std::uint64_t seed = 1;

    bool any() const;

    // Text form, comma separated key=value pairs:
    //   drop=P duplicate=P reorder=P truncate=P            probabilities
    //   drop-packets=3/7 duplicate-packets=.. reorder-packets=.. truncate-packets=..
    //   truncate-bytes=N extend-packets=.. late-packets=.. restart-after=N silent-after=N
    //   delay-ms=T withhold=P withhold-next=N silent answer-from=ADDR
    //   prom-attempts=N prom-fail=P seed=N                 and "none" for no fault
    // std::invalid_argument with a message for anything else.
    static FaultSettings parse(const std::string& text);
    std::string describe() const;
};

// What to do with one data packet.
struct PacketFate {
    bool drop = false;
    bool duplicate = false;
    bool holdBack = false;
    std::size_t keepBytes = 0; // 0: whole packet, else the length it is cut to
    bool lateCopy = false;
    bool restartAfter = false;
    bool extend = false;       // one byte more than the program made
    bool silenceAfter = false; // the unit falls silent after sending it
    std::string text() const;
};

class FaultInjector {
public:
    // New settings restart the packet numbering and the random generator.
    void configure(const FaultSettings& settings);
    const FaultSettings& settings() const { return settings_; }

    PacketFate nextPacket(std::size_t length);
    bool withholdNextReply();
    bool failPromWrite();
    void silence() { settings_.silent = true; }

private:
    bool draw(double probability);

    FaultSettings settings_;
    std::mt19937_64 generator_{1};
    int packetNumber_ = 0;
    int withheldSoFar_ = 0;
};

} // namespace Sim
} // namespace Orvek
