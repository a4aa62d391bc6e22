#include "hardware/frequency_synthesis.h"

#include <array>
#include <cmath>
#include <limits>
#include <locale>
#include <sstream>

#include "hardware/control_registers.h"

namespace Orvek {

namespace {

constexpr double kTwoToThe24 = 16777216.0;                // the DDS tuning word is 24 bits wide
constexpr double kTwoToTheMinus24 = 5.960464477539063e-8; // exactly 2^-24

// The output divider 2^band as the unit's 32-bit arithmetic forms it; bands outside 0..31
// shift every bit out, which makes the tuning word (and frequency) 0.
double bandDivider(int band) {
    if (band < 0 || band >= 32) {
        return 0.0;
    }
    return static_cast<double>(std::uint32_t{1} << band);
}

// Round half up to a whole tuning word. A value no 32-bit word can hold (a frequency far
// outside any plan, or NaN) gives 0 rather than an undefined conversion.
std::int64_t roundToWord(double word) {
    const double rounded = std::floor(word + 0.5);
    if (!(rounded >= std::numeric_limits<std::int32_t>::min() &&
          rounded <= std::numeric_limits<std::int32_t>::max())) {
        return 0;
    }
    return static_cast<std::int64_t>(rounded);
}

// Bits 23..16, 15..8 and 7..0 of a tuning word.
void splitWord(std::int64_t word, unsigned char& b2, unsigned char& b1, unsigned char& b0) {
    const auto bits = static_cast<std::uint32_t>(word);
    b2 = static_cast<unsigned char>((bits >> 16) & 0xFF);
    b1 = static_cast<unsigned char>((bits >> 8) & 0xFF);
    b0 = static_cast<unsigned char>(bits & 0xFF);
}

} // namespace

int freqToBand(double freqMHz, const PromParameters& prom, bool clampToBandZero) {
    // Lower edges of bands 7 down to 0, then the top of band 0: ascending in a sane PROM.
    std::array<double, 9> edges{};
    for (int i = 0; i < 8; ++i) {
        edges[i] = static_cast<double>(prom.Band_boundaries[7 - i]);
    }
    edges[8] = static_cast<double>(prom.Maximum_freq);

    for (int i = 0; i < 8; ++i) {
        if (edges[i] <= freqMHz && freqMHz < edges[i + 1]) {
            return 7 - i;
        }
    }
    if (freqMHz == edges[8]) {
        return 0; // the unit's top frequency belongs to band 0
    }
    return clampToBandZero ? 0 : -1;
}

double freqToDDS(double freqMHz, int band, const PromParameters& prom) {
    if (prom.PLL_type != 0) {
        return 0.0;
    }
    const double n = static_cast<double>(prom.Int_PLL_Div);
    return freqMHz * bandDivider(band) * kTwoToThe24 / (n * prom.DDS_reference_frequency);
}

double DDSToFreq(double ddsWord, int band, const PromParameters& prom) {
    const double divider = bandDivider(band);
    if (prom.PLL_type != 0 || divider == 0.0) {
        return 0.0;
    }
    const double n = static_cast<double>(prom.Int_PLL_Div);
    return ddsWord * (n * prom.DDS_reference_frequency) * kTwoToTheMinus24 / divider;
}

double freqToRegisters(double freqMHz, int band, const PromParameters& prom, unsigned char& tx2,
                       unsigned char& tx1, unsigned char& tx0, unsigned char& rx2,
                       unsigned char& rx1, unsigned char& rx0, std::string* text) {
    if (band < 0 || prom.PLL_type != 0) {
        tx2 = tx1 = tx0 = rx2 = rx1 = rx0 = 0;
        return 0.0;
    }
    const std::int64_t tx = roundToWord(freqToDDS(freqMHz, band, prom));
    const std::int64_t offset =
        roundToWord(freqToDDS(kReceiveIntermediateFrequencyMHz, band, prom));
    const std::int64_t rx = tx + offset;
    splitWord(tx, tx2, tx1, tx0);
    splitWord(rx, rx2, rx1, rx0);

    const double txFreq = DDSToFreq(static_cast<double>(tx), band, prom);
    const double rxFreq = DDSToFreq(static_cast<double>(rx), band, prom);
    if (text != nullptr) {
        std::ostringstream out;
        out.imbue(std::locale::classic()); // a decimal point whatever the host's locale
        out << "tx f=" << txFreq << ", rx f=" << rxFreq;
        *text = out.str();
    }
    return txFreq;
}

void buildPLLRegs(const PromParameters& prom, int& pllReg1, int& pllReg2) {
    if (prom.PLL_type != 0) {
        return;
    }
    // Dual-modulus prescaler P/P+1 and its two select bits.
    int prescaler = 16;
    bool bit6 = false;
    bool bit5 = false;
    switch (prom.PLL_prescaler_setting) {
    case 1:
        prescaler = 8;
        bit5 = true;
        break;
    case 2:
        prescaler = 32;
        bit6 = true;
        break;
    case 3:
        prescaler = 64;
        bit6 = true;
        bit5 = true;
        break;
    default:
        break;
    }
    pllReg1 =
        bitsToByte(false, bit6, bit5, false, false, false, prom.PLL_prescaler_in_use > 0, false);
    // N = B x P + A: A counter in the low nibble, B counter in the high nibble (a B above 15
    // loses its high bits; the register has only four).
    const int n = prom.Int_PLL_Div;
    const auto aCounter = static_cast<unsigned>(n % prescaler);
    const auto bCounter = static_cast<unsigned>(n / prescaler);
    pllReg2 = static_cast<int>((aCounter | (bCounter << 4)) & 0xFF);
}

std::vector<PllBoundaryWrite> pllBoundaryWrites(const PromParameters& prom) {
    std::vector<PllBoundaryWrite> writes;
    for (int k = 1; k <= 4; ++k) {
        if (!prom.isKeyPresent(PromKey::FirstPllLoopGainBoundary + k - 1)) {
            continue;
        }
        const int boundaryMHz = prom.PLL_loop_gain_boundaries[k - 1];
        const double f = static_cast<double>(boundaryMHz);
        const int band = freqToBand(f, prom, true); // an out-of-plan boundary switches in band 0
        unsigned char tx2, tx1, tx0, rx2, rx1, rx0;
        freqToRegisters(f, band, prom, tx2, tx1, tx0, rx2, rx1, rx0, nullptr);
        // The loop-gain comparator takes the top seven bits of the transmit tuning word.
        writes.push_back({k, boundaryMHz,
                          static_cast<std::uint32_t>(prom.PLL_loop_gain_boundary_addresses[k - 1]),
                          static_cast<std::uint8_t>(tx2 & 0x7F)});
    }
    return writes;
}

} // namespace Orvek
