#pragma once
// Synthesiser arithmetic: which band (output divider) serves a frequency, the 24-bit tuning
// words of the transmit and receive DDS, the integer-PLL set-up bytes and the PLL loop-gain
// switch points. Frequencies are MHz throughout.
//
// Synthesiser model: f_out = DDS output x N / 2^band, with DDS output = word x f_ref / 2^24,
// N the integer PLL divide ratio and f_ref the DDS reference clock. The receive DDS runs one
// intermediate frequency (10.7002 MHz at the output) above the transmit DDS.
//
// Nothing here throws or fails: bad input gives band -1, a zero tuning word or untouched
// outputs. A fractional-PLL unit (PLL_type != 0) gets zero words and no PLL bytes.
#include <cstdint>
#include <string>
#include <vector>

#include "prom/prom_parameters.h"

namespace Orvek {

// Receive intermediate frequency, MHz.
constexpr double kReceiveIntermediateFrequencyMHz = 10.7002;

// Band 0..7 of `freqMHz`: band b spans [lower edge of b, lower edge of b-1), band 0 ends at
// Maximum_freq. Maximum_freq itself is band 0. Outside the plan: 0 with clampToBandZero, else
// -1 (callers must refuse -1).
int freqToBand(double freqMHz, const PromParameters& prom, bool clampToBandZero);

// Exact (unrounded) tuning word for freqMHz in `band`; 0.0 for a fractional PLL.
double freqToDDS(double freqMHz, int band, const PromParameters& prom);

// Output frequency (MHz) of tuning word `ddsWord` in `band`; 0.0 for a fractional PLL.
double DDSToFreq(double ddsWord, int band, const PromParameters& prom);

// Rounds the tuning word half up and splits the transmit and receive words into bytes
// (2 = bits 23..16, 0 = bits 7..0). Returns the transmit frequency really synthesised and, when
// `text` is not null, replaces it with "tx f=<MHz>, rx f=<MHz>". For band < 0 or a fractional
// PLL all six bytes are 0, `text` is left alone and the result is 0.0.
double freqToRegisters(double freqMHz, int band, const PromParameters& prom, unsigned char& tx2,
                       unsigned char& tx1, unsigned char& tx0, unsigned char& rx2,
                       unsigned char& rx1, unsigned char& rx0, std::string* text);

// The two integer-PLL set-up bytes (unit registers 0x9D and 0xB4): pllReg1 holds the prescaler
// select (bits 6, 5) and prescaler-in-use (bit 1); pllReg2 the B counter (high nibble) and A
// counter (low nibble) of N. Leaves both untouched for a fractional PLL.
void buildPLLRegs(const PromParameters& prom, int& pllReg1, int& pllReg2);

// The write that sets one PLL loop-gain boundary: its register gets bits 22..16 of the boundary
// frequency's transmit tuning word.
struct PllBoundaryWrite {
    int boundary;          // 1..4
    int boundaryMHz;       // as the PROM holds it
    std::uint32_t address; // unit register, from the PROM
    std::uint8_t value;
};

// One write per PLL loop-gain boundary present in the PROM (1 to 4, in order).
std::vector<PllBoundaryWrite> pllBoundaryWrites(const PromParameters& prom);

} // namespace Orvek
