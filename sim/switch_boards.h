#pragma once
// The switch boards of a simulated unit: which ports the board connects for a value of its
// switch control register 0x82. Each board knows only the values it is wired for; any other
// value selects no path and leaves the transmitter off the ports.
#include <cstdint>
#include <string>

#include "tarndll.h"

namespace Orvek {
namespace Sim {

// The RF path that the switch board connects.
struct SwitchPath {
    bool selected = true;           // false: the register value means nothing to the board
    bool transmitting = true;       // false: the board keeps the transmitter off the ports
    int txPort = 0;                 // port the transmitter drives
    int rxPort = 1;                 // port the measuring receiver (receiver 0) listens on
    bool internalReference = false; // receiver 0 listens to the internal reference line
    std::string text() const;
};

// Register 0x82 as `board` decodes it. Ports are coded with their bits reversed: transmit
// port in bits 6..4, receive port in bits 2..0; the 4-port boards use two of those bits and
// keep bit 4 (and on the TDD board bits 7 and 0) for themselves.
//   no board       fixed wiring, transmitter on port 0, receiver on port 1; 0x82 unused
//   simple 4-port  13 values; tx and rx never share a port except 0x10 (port 0 both ways)
//   TDD 4-port     12 transmitting values (bit 7 set), 4 with the transmitter off (0x11 base)
//   simple 8-port  every value with bits 7 and 3 clear
//   S-parameter    0x12 0 -> 0, 0x30 0 -> 1, 0x50 1 -> 0, 0x14 1 -> 1, 0x11 internal reference
// `written` is false before the first write of 0x82 since power-up: the boards then keep the
// transmitter disconnected.
SwitchPath decodeSwitchRegister(SwitchBoard_Type board, bool written, std::uint8_t reg82);

// Display name of a board kind, for the unit's messages.
const char* boardName(SwitchBoard_Type board);

} // namespace Sim
} // namespace Orvek
