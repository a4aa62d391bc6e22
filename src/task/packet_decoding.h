#pragma once
// Decoding of the unit's data packets into per-path sweep data.
//
// Data packet payloads (datagram bytes 4..end, big-endian fields). The first packet of a path
// carries, in order and each only when configured:
//   serial block   count byte, S bytes of serial data, one spare byte      (S + 2 bytes)
//   shaft encoders encoder 1, encoder 2, 16 bits each                      (4 bytes)
//   sweep timer    the timer count, 32 bits                                (4 bytes)
// then samples; later packets of the path hold samples only. A sample point is, for each
// enabled receiver in ascending order, I then Q as signed 16-bit values.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "link/packet_data.h"
#include "task/sweep_data.h"

namespace Orvek {

// What a sweep's packets hold.
struct SweepPacketLayout {
    unsigned serialBufferSize = 0; // S; 0 = no serial block
    bool shaftEncoders = false;
    bool sweepTimer = false;
    std::vector<unsigned> receivers; // enabled receiver indexes, ascending, at least one
    unsigned points = 0;             // frequency points per path
    int numberOfPaths = 1;           // paths per sweep (for the frame number)
};

// Indexes 0..3 of the receivers set in `mask`, ascending; [0] when none of them is set.
std::vector<unsigned> enabledReceiverIndexes(int mask);

// Decodes the `count` packets of one path starting at `packets` into `out` (which it resets),
// numbering the sweep from the unit's packet counter (1 for the first packet after a reset),
// reading packet j up to expectedLengths[j] bytes (a missing entry counts as 0). Never reads
// past a packet's payload and never writes past `layout.points`: samples that did not arrive
// stay zero, and a block cut off in a short packet is left zero. Returns true when the
// sweep-timer block was present; its raw count is then in out.sweepTimer (the caller owns the
// timestamp arithmetic).
bool decodePathPackets(const PacketData* packets, std::size_t count,
                       const std::vector<int>& expectedLengths, const SweepPacketLayout& layout,
                       SweepData& out);

} // namespace Orvek
