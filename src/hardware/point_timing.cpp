#include "hardware/point_timing.h"

#include <cstdint>
#include <stdexcept>

namespace Orvek {

namespace {

// Master-clock cycles per point, HOP_90K first. These are the unit's own counts (neither powers
// of two nor exact multiples of each other) and must be used as they are.
constexpr std::uint32_t kCyclesPerPoint[] = {
    361, 721, 1081, 2131, 4572, 9176, 16385, 29774, 59579, 107453, 209713, 419425, 838849, 1677441,
};
constexpr int kRateCount = sizeof(kCyclesPerPoint) / sizeof(kCyclesPerPoint[0]);

} // namespace

double sPerPoint(Hop_Rate rate, double masterClockMHz) {
    const int index = static_cast<int>(rate);
    if (index < 0 || index >= kRateCount) {
        throw std::runtime_error("No hop rate set?");
    }
    const double clockPeriodSeconds = 1.0 / (masterClockMHz * 1000.0 * 1000.0);
    return clockPeriodSeconds * kCyclesPerPoint[index];
}

double msPerPoint(Hop_Rate rate, double masterClockMHz) {
    return sPerPoint(rate, masterClockMHz) * 1000.0;
}

int bandChangeFDs(Hop_Rate) {
    return 8;
}

} // namespace Orvek
