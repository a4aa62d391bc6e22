#pragma once
// Collecting one sweep's data packets from a unit and checking them against what the program
// promises, so that a lost, duplicated or stale packet can never shift data from one path or
// sweep to another.
//
// What the measurement program makes the unit send, per sweep: for each measured path in list
// order, the same number K of packets; the last packet of each path carries tag B 1 (the
// closing packet trigger), the others tag B 0. Every packet carries the unit's own tag A, and
// the unit numbers its data packets with a 16-bit counter that only wraps (or restarts when
// the program resets it), so one sweep's packets have consecutive counters.
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "link/packet_data.h"
#include "tarndll.h"

namespace Orvek {

class Transport;

// What the task knows about the unit's packet stream between sweeps.
struct SweepSync {
    // Counter of the packet that begins the next sweep (or, after a broken free-running sweep,
    // of the sweep that broke: the sweeps after it begin at multiples of the sweep length).
    bool counterKnown = false;
    uint16_t nextCounter = 0;
    // The unit's tag A, learnt from its first complete sweep.
    bool tagKnown = false;
    int unitTag = 0;
};

struct SweepShape {
    int paths = 0;
    int packetsPerPath = 0;
    int packetTimeoutMs = 0;
};

// Receives the packets of one sweep from `address` into `packets`, each within the shape's
// time-out. Datagrams that cannot belong to the sweep (an earlier counter, another tag A, under
// 5 bytes: a late command reply) are skipped, at most one sweep's worth plus 64, then
// ERR_BYTES; with `toBoundary` every packet is skipped until the counter marks the start of a
// sweep. A gap in the counters or a tag B out of place breaks the sweep with ERR_BYTES; a
// receive that fails gives its code (ERR_NO_RESPONSE, ERR_SOCKET), and so does a set
// `interrupted` (ERR_INTERRUPTED). `sync` is updated for the next sweep either way.
Err_Code collectSweep(const std::shared_ptr<Transport>& endpoint, const std::string& address,
                      const SweepShape& shape, bool toBoundary, SweepSync& sync,
                      std::vector<PacketData>& packets, const std::atomic<bool>& interrupted);

} // namespace Orvek
