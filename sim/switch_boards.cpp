#include "sim/switch_boards.h"

#include <cstdio>
#include <iterator>

namespace Orvek {
namespace Sim {

namespace {

struct Wiring {
    std::uint8_t value;
    int txPort; // -1: transmitter off
    int rxPort; // -1: internal reference line
};

// The same-port and receive-none requests on the 4-port boards move one switch off the other
// port, so several requests share a value; the table lists what the board then connects.
const Wiring kSimpleFourPort[] = {
    {0x10, 0, 0}, {0x14, 0, 1}, {0x12, 0, 2}, {0x16, 0, 3}, {0x50, 1, 0},
    {0x52, 1, 2}, {0x56, 1, 3}, {0x30, 2, 0}, {0x34, 2, 1}, {0x36, 2, 3},
    {0x70, 3, 0}, {0x74, 3, 1}, {0x72, 3, 2},
};

const Wiring kTddFourPort[] = {
    {0x94, 0, 1},  {0x92, 0, 2},  {0x96, 0, 3},  {0xD0, 1, 0},  {0xD2, 1, 2}, {0xD6, 1, 3},
    {0xB0, 2, 0},  {0xB4, 2, 1},  {0xB6, 2, 3},  {0xF0, 3, 0},  {0xF4, 3, 1}, {0xF2, 3, 2},
    {0x51, -1, 0}, {0x15, -1, 1}, {0x13, -1, 2}, {0x17, -1, 3},
};

const Wiring kSParameter[] = {
    {0x12, 0, 0}, {0x30, 0, 1}, {0x50, 1, 0}, {0x14, 1, 1}, {0x11, 2, -1},
};

// Port k's three bits reversed: bit 0 of k is the code's most significant bit.
constexpr std::uint8_t kPortCode[8] = {0, 4, 2, 6, 1, 5, 3, 7};

template <std::size_t N> SwitchPath lookUp(const Wiring (&table)[N], std::uint8_t value) {
    SwitchPath path;
    for (const Wiring& wiring : table) {
        if (wiring.value != value)
            continue;
        path.transmitting = wiring.txPort >= 0;
        path.txPort = wiring.txPort;
        path.internalReference = wiring.rxPort < 0;
        path.rxPort = wiring.rxPort;
        return path;
    }
    path.selected = false;
    path.transmitting = false;
    path.txPort = -1;
    return path;
}

int portOfCode(unsigned code) {
    for (int port = 0; port < 8; ++port)
        if (kPortCode[port] == code)
            return port;
    return -1;
}

} // namespace

std::string SwitchPath::text() const {
    char buffer[96];
    if (!selected)
        std::snprintf(buffer, sizeof buffer, "no path");
    else if (internalReference)
        std::snprintf(buffer, sizeof buffer, "tx -> internal reference");
    else if (!transmitting)
        std::snprintf(buffer, sizeof buffer, "tx off, rx port %d", rxPort);
    else
        std::snprintf(buffer, sizeof buffer, "tx port %d -> rx port %d", txPort, rxPort);
    return buffer;
}

const char* boardName(SwitchBoard_Type board) {
    switch (board) {
    case SWITCHBOARD_NO_SWITCH_BOARD:
        return "unit without a switch board";
    case SWITCHBOARD_SIMPLE_4_PORT_SWITCH:
        return "simple 4-port board";
    case SWITCHBOARD_TDD_4_PORT_SWITCH:
        return "TDD 4-port board";
    case SWITCHBOARD_SIMPLE_8_PORT_SWITCH:
        return "simple 8-port board";
    case SWITCHBOARD_S_PARAMETER_SWITCH:
        return "S-parameter board";
    }
    return "unknown board";
}

SwitchPath decodeSwitchRegister(SwitchBoard_Type board, bool written, std::uint8_t reg82) {
    SwitchPath path;
    switch (board) {
    case SWITCHBOARD_NO_SWITCH_BOARD:
        return path; // fixed wiring: port 0 -> port 1
    case SWITCHBOARD_SIMPLE_4_PORT_SWITCH:
        path = lookUp(kSimpleFourPort, reg82);
        break;
    case SWITCHBOARD_TDD_4_PORT_SWITCH:
        path = lookUp(kTddFourPort, reg82);
        break;
    case SWITCHBOARD_S_PARAMETER_SWITCH:
        path = lookUp(kSParameter, reg82);
        break;
    case SWITCHBOARD_SIMPLE_8_PORT_SWITCH:
        if (reg82 & 0x88) {
            path.selected = false;
            path.transmitting = false;
        } else {
            path.txPort = portOfCode((reg82 >> 4) & 0x7);
            path.rxPort = portOfCode(reg82 & 0x7);
        }
        break;
    default:
        path.selected = false;
        path.transmitting = false;
        break;
    }
    if (!written) {
        path.transmitting = false;
        path.internalReference = false;
    }
    return path;
}

} // namespace Sim
} // namespace Orvek
