#pragma once
// Hardware facts of a simulated unit and the arithmetic its registers drive: the synthesiser
// (DDS word, PLL divider, output divider) and the point clock. This is the unit's side of the
// arithmetic, written independently of the library's program generator so that a wrong register in
// a generated program shows up as wrong data.
#include <cstdint>

#include "tarndll.h"

namespace Orvek {
namespace Sim {

// What a unit is built from. Filled from the unit's PROM when it powers up; a rewritten PROM
// changes what the unit reports, not what it is.
struct UnitHardware {
    double masterClockMHz = 32.0;
    double ddsReferenceMHz = 125.0;
    // Tuning range of the VCO behind the output divider: the band-0 range of the plan.
    double vcoMinimumMHz = 1600.0;
    double vcoMaximumMHz = 3200.0;
    SwitchBoard_Type board = SWITCHBOARD_NO_SWITCH_BOARD;
    int receivers = 1; // 1, or 4 with the multiple-receiver option
    bool hasAttenuator = false;
    bool hasSerialPort = false;
    bool hasShaftEncoders = false;
    int promCapacity = 32768;
};

// Centre of the receiver's crystal IF filter, and its 3 dB half bandwidth.
constexpr double kIntermediateFrequencyMHz = 10.7;
constexpr double kIfHalfBandwidthMHz = 0.015;

// Master-clock cycles per measurement point for the hop-rate register 0x85 (0..13); 0 for a
// value the point clock does not know.
std::uint32_t hopRateCycles(int hopRegister);

// Output divider selected by the band bits of register 0x80 (bit 6, bit 0): 0x01 band 0 (/1),
// 0x00 band 1 (/2), 0x40 band 2 (/4), 0x41 band 3 (/8).
int bandFromControlRegister(std::uint8_t reg80);

// Integer PLL divide ratio N = B * P + A loaded from registers 0x9D (prescaler select in bits
// 6..5: 00 /16, 01 /8, 10 /32, 11 /64) and 0xB4 (B counter in the high nibble, A in the low).
int pllDivideRatio(std::uint8_t reg9d, std::uint8_t regB4);

// Frequency of a 24-bit DDS word after the PLL (x N) and the output divider (/ 2^band), MHz.
double synthesiserOutputMHz(std::uint32_t ddsWord, int band, int divideRatio,
                            double ddsReferenceMHz);

// Receive attenuator setting in dB (0..31) from its active-low lines in register 0x82:
// bits 6, 5 are attenuation bits 4, 3 and bits 2, 1, 0 are bits 2, 1, 0.
int attenuatorFromRegister(std::uint8_t reg82);

} // namespace Sim
} // namespace Orvek
