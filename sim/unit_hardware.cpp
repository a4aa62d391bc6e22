#include "sim/unit_hardware.h"

#include <cmath>
#include <cstdio>
#include <iterator>

namespace Orvek {
namespace Sim {

namespace {

// The point clock's divider chain, in master-clock cycles per point, fastest rate first.
constexpr std::uint32_t kCyclesPerPoint[] = {361,   721,   1081,   2131,   4572,   9176,   16385,
                                             29774, 59579, 107453, 209713, 419425, 838849, 1677441};

// Port number from its bit-reversed code of `bits` bits.
int reversedPort(unsigned code, int bits) {
    int port = 0;
    for (int i = 0; i < bits; ++i)
        if (code & (1u << (bits - 1 - i)))
            port |= 1 << i;
    return port;
}

} // namespace

std::uint32_t hopRateCycles(int hopRegister) {
    if (hopRegister < 0 || hopRegister >= static_cast<int>(std::size(kCyclesPerPoint)))
        return 0;
    return kCyclesPerPoint[hopRegister];
}

int bandFromControlRegister(std::uint8_t reg80) {
    const bool high = reg80 & 0x40;
    const bool low = reg80 & 0x01;
    if (!high)
        return low ? 0 : 1;
    return low ? 3 : 2;
}

int pllDivideRatio(std::uint8_t reg9d, std::uint8_t regB4) {
    static const int prescaler[] = {16, 8, 32, 64};
    const int p = prescaler[(reg9d >> 5) & 0x3];
    return (regB4 >> 4) * p + (regB4 & 0x0F);
}

double synthesiserOutputMHz(std::uint32_t ddsWord, int band, int divideRatio,
                            double ddsReferenceMHz) {
    const double ddsOutput = static_cast<double>(ddsWord & 0xFFFFFF) * ddsReferenceMHz / 16777216.0;
    return std::ldexp(ddsOutput * divideRatio, -band);
}

std::string SwitchPath::text() const {
    char buffer[96];
    if (internalReference)
        std::snprintf(buffer, sizeof buffer, "tx %s -> internal reference",
                      transmitting ? "on" : "off");
    else if (!transmitting)
        std::snprintf(buffer, sizeof buffer, "tx off, rx port %d", rxPort);
    else
        std::snprintf(buffer, sizeof buffer, "tx port %d -> rx port %d", txPort, rxPort);
    return buffer;
}

SwitchPath decodeSwitchRegister(SwitchBoard_Type board, bool written, std::uint8_t reg82) {
    SwitchPath path;
    switch (board) {
    case SWITCHBOARD_NO_SWITCH_BOARD:
        path.txPort = 0;
        path.rxPort = 1;
        return path;
    case SWITCHBOARD_SIMPLE_4_PORT_SWITCH:
    case SWITCHBOARD_TDD_4_PORT_SWITCH:
        path.txPort = reversedPort((reg82 >> 5) & 0x3, 2);
        path.rxPort = reversedPort((reg82 >> 1) & 0x3, 2);
        if (board == SWITCHBOARD_TDD_4_PORT_SWITCH)
            path.transmitting = (reg82 & 0x80) && !(reg82 & 0x01);
        break;
    case SWITCHBOARD_SIMPLE_8_PORT_SWITCH:
        path.txPort = reversedPort((reg82 >> 4) & 0x7, 3);
        path.rxPort = reversedPort(reg82 & 0x7, 3);
        break;
    case SWITCHBOARD_S_PARAMETER_SWITCH:
        switch (reg82) {
        case 0x12:
            path.txPort = 0, path.rxPort = 0;
            break;
        case 0x30:
            path.txPort = 0, path.rxPort = 1;
            break;
        case 0x50:
            path.txPort = 1, path.rxPort = 0;
            break;
        case 0x14:
            path.txPort = 1, path.rxPort = 1;
            break;
        case 0x11:
            path.txPort = -1, path.rxPort = -1;
            path.internalReference = true;
            break;
        default:
            path.transmitting = false;
            path.txPort = -1;
            path.rxPort = 0;
            break;
        }
        break;
    }
    if (!written) {
        path.transmitting = false;
        path.internalReference = false;
    }
    return path;
}

int attenuatorFromRegister(std::uint8_t reg82) {
    const unsigned lines = ~reg82;
    return ((lines >> 6) & 1) << 4 | ((lines >> 5) & 1) << 3 | (lines & 0x7);
}

} // namespace Sim
} // namespace Orvek
