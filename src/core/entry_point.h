#pragma once
// A place in the compiled program where the unit is told to run, and what that run returns.
#include <cstdint>
#include <string>
#include <vector>

namespace Orvek {

struct EntryPoint {
    // Label of the entry in the compiled program (for listings and diagnostics).
    std::string name;
    // Byte address in the program image; sent as "B%04x" (low 16 bits).
    uint32_t address = 0;
    // Number of data packets one run sends back (all paths together).
    int packetCount = 0;
    // Time-out for each packet of the run, in milliseconds.
    int packetTimeoutMs = 0;
    // Expected payload length of each packet of one path, in order; the same list applies to
    // every measured path.
    std::vector<int> packetLengths;
};

} // namespace Orvek
