#include "sim/unit_hardware.h"

#include <cmath>
#include <iterator>

namespace Orvek {
namespace Sim {

namespace {

// The point clock's divider chain, in master-clock cycles per point, fastest rate first.
constexpr std::uint32_t kCyclesPerPoint[] = {361,   721,   1081,   2131,   4572,   9176,   16385,
                                             29774, 59579, 107453, 209713, 419425, 838849, 1677441};

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

int attenuatorFromRegister(std::uint8_t reg82) {
    const unsigned lines = ~reg82;
    return ((lines >> 6) & 1) << 4 | ((lines >> 5) & 1) << 3 | (lines & 0x7);
}

} // namespace Sim
} // namespace Orvek
