#pragma once
// Received datagrams per unit, with the endpoint's admission rules and memory bound.
//
// Admission: a datagram is queued only when it comes from an addressed unit (one a task has
// sent to, selected or waits for) and from the endpoint's own port, which is the port every
// unit sends from. Anything else (another port of a unit's address, an address no task
// addresses) is foreign: counted and dropped, never queued.
//
// Bound: all queues together hold at most maxQueuedBytes of datagram bytes and
// maxQueuedDatagrams datagrams. When a new datagram would pass either limit, the oldest
// datagrams of the unit holding the most bytes are dropped (counted as overflow) until it fits.
// So a unit whose task stopped reading cannot starve the others: its own backlog goes first,
// and a task that reads keeps getting fresh data.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace Orvek {

class ReceiveQueues {
public:
    static constexpr std::size_t maxQueuedBytes = 16u << 20;
    static constexpr std::size_t maxQueuedDatagrams = 65536;

    struct Counters {
        std::size_t foreignDropped = 0;  // not from an addressed unit on the endpoint's port
        std::size_t overflowDropped = 0; // evicted to keep within the bound
        std::size_t queuedBytes = 0;
        std::size_t queuedDatagrams = 0;
    };

    // Only datagrams from this source port are accepted (the bound port).
    void setUnitPort(uint16_t port) { unitPort = port; }
    void address(const std::string& unit);
    bool isAddressed(const std::string& unit) const { return queues.count(unit) != 0; }
    // No longer addressed: queue freed.
    void forget(const std::string& unit);

    // Queues the datagram when admitted; returns whether it was.
    bool deliver(const std::string& sender, uint16_t senderPort, const char* data,
                 std::size_t length);

    // Moves the oldest datagram of `unit` into `out`; false when none.
    bool take(const std::string& unit, std::vector<char>& out);
    // The first unit (address text order) with a datagram waiting; false when none.
    bool firstWaiting(std::string& unit) const;
    // Drops what `unit` has queued; returns how many.
    std::size_t drop(const std::string& unit);

    const Counters& counters() const { return totals; }

private:
    struct Queue {
        std::deque<std::vector<char>> datagrams;
        std::size_t bytes = 0;
    };
    // Buffers of taken datagrams, reused for the next ones so that a steady stream allocates
    // nothing per datagram. At most maxSpareBuffers of at most 64 KiB each.
    static constexpr std::size_t maxSpareBuffers = 64;
    std::vector<std::vector<char>> spares;
    std::map<std::string, Queue> queues; // one per addressed unit
    uint16_t unitPort = 0;
    Counters totals;

    std::vector<char> popFront(Queue& queue);
    void makeRoomFor(std::size_t length);
};

} // namespace Orvek
