// Band selection, DDS tuning words and PLL set-up against hand-computed values and, for random
// frequencies across a unit's plan, against the synthesiser's own definition:
// f = word x N x f_ref / 2^24 / 2^band.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "hardware/frequency_synthesis.h"
#include "prom/prom_parameters.h"

using namespace Orvek;

namespace {

// A unit covering 12..3000 MHz in octave bands, N = 100, 100 MHz DDS reference, so one tuning
// step in band b is 10000 / 2^24 / 2^b MHz.
PromParameters octaveUnit() {
    PromParameters prom;
    prom.Maximum_freq = 3000;
    // boundary 1 (lower edge of band 0) .. boundary 8 (lower edge of band 7)
    prom.Band_boundaries = {1500, 750, 375, 188, 94, 47, 24, 12};
    prom.PLL_type = 0;
    prom.Int_PLL_Div = 100;
    prom.DDS_reference_frequency = 100.0;
    return prom;
}

constexpr double kStepBand0 = 10000.0 / 16777216.0; // MHz per tuning-word step in band 0

struct Words {
    double freq;
    long tx, rx;
    std::string text;
};

Words registers(double f, int band, const PromParameters& prom) {
    unsigned char b[6] = {1, 2, 3, 4, 5, 6};
    Words w;
    w.text = "untouched";
    w.freq = freqToRegisters(f, band, prom, b[0], b[1], b[2], b[3], b[4], b[5], &w.text);
    w.tx = long(b[0]) << 16 | long(b[1]) << 8 | b[2];
    w.rx = long(b[3]) << 16 | long(b[4]) << 8 | b[5];
    return w;
}

} // namespace

TEST(FreqToBand, EdgesAreInclusiveBelowAndExclusiveAbove) {
    const PromParameters prom = octaveUnit();
    for (int band = 0; band < 8; ++band) {
        const double lower = prom.Band_boundaries[band];
        const double upper = band == 0 ? 3000.0 : prom.Band_boundaries[band - 1];
        EXPECT_EQ(freqToBand(lower, prom, false), band);
        EXPECT_EQ(freqToBand(std::nextafter(upper, 0.0), prom, false), band);
    }
    // The top frequency is band 0 whatever the flag; beyond the plan only the flag decides.
    const struct {
        double f;
        int strict, lenient;
    } edges[] = {{3000.0, 0, 0}, {3001.0, -1, 0}, {11.999, -1, 0}, {-5.0, -1, 0}};
    for (const auto& e : edges) {
        EXPECT_EQ(freqToBand(e.f, prom, false), e.strict) << e.f;
        EXPECT_EQ(freqToBand(e.f, prom, true), e.lenient) << e.f;
    }
    EXPECT_EQ(freqToBand(std::nan(""), prom, false), -1);
}

TEST(FreqToRegisters, HandComputedWordsAndText) {
    const PromParameters prom = octaveUnit();
    // 1000 MHz in band 1: 1000 x 2 x 2^24 / 10000 = 3355443.2 -> 0x333333; the receive offset
    // 10.7002 x 2 x 2^24 / 10000 = 35903.91 -> 35904 words above it.
    const Words w = registers(1000.0, 1, prom);
    EXPECT_EQ(w.tx, 0x333333);
    EXPECT_EQ(w.rx, 0x333333 + 35904);
    EXPECT_DOUBLE_EQ(w.freq, 0x333333 * kStepBand0 / 2.0);
    EXPECT_EQ(w.text, "tx f=1000, rx f=1010.7");

    // A word exactly halfway between two steps rounds up, not to even.
    EXPECT_EQ(registers(5000.0 * (2 * 0x123456 + 1) / 16777216.0, 0, prom).tx, 0x123457);
    EXPECT_EQ(registers(5000.0 * (2 * 0x123457 + 1) / 16777216.0, 0, prom).tx, 0x123458);
}

TEST(FreqToRegisters, RandomFrequenciesAcrossThePlan) {
    const PromParameters prom = octaveUnit();
    std::mt19937 rng(20240611);
    std::uniform_real_distribution<double> anywhere(12.0, 3000.0);
    int bandsSeen = 0;
    for (int i = 0; i < 4000; ++i) {
        const double f = anywhere(rng);
        SCOPED_TRACE(f);
        const int band = freqToBand(f, prom, false);
        ASSERT_TRUE(band >= 0 && band <= 7);
        bandsSeen |= 1 << band;

        const double word = freqToDDS(f, band, prom);
        EXPECT_NEAR(DDSToFreq(word, band, prom), f, f * 1e-14);
        EXPECT_LT(word, 16777216.0); // fits the 24-bit DDS

        const double step = kStepBand0 / (1 << band);
        const Words w = registers(f, band, prom);
        EXPECT_NEAR(w.freq, w.tx * step, w.freq * 1e-14); // the frequency of the sent word
        EXPECT_LE(std::fabs(w.freq - f), step / 2 * (1 + 1e-9));
        // The receive word sits the intermediate frequency above, to within half a step.
        EXPECT_LE(std::fabs((w.rx - w.tx) * step - 10.7002), step / 2 * (1 + 1e-9));
    }
    EXPECT_EQ(bandsSeen, 0xFF);
}

TEST(FreqToRegisters, NeutralResultsForBadBandOrFractionalPll) {
    PromParameters prom = octaveUnit();
    // A frequency no 24-bit word can reach must not overflow into an undefined conversion.
    EXPECT_EQ(registers(1e300, 0, prom).tx, 0);
    // No band, or a fractional PLL: nothing sent, the text left alone.
    prom.PLL_type = 1;
    for (const Words& w : {registers(1000.0, -1, octaveUnit()), registers(1000.0, 1, prom)}) {
        EXPECT_EQ(w.freq, 0.0);
        EXPECT_EQ(w.tx + w.rx, 0);
        EXPECT_EQ(w.text, "untouched");
    }
    EXPECT_EQ(freqToDDS(1000.0, 1, prom), 0.0);
    EXPECT_EQ(DDSToFreq(3355443.0, 1, prom), 0.0);
}

TEST(BuildPLLRegs, PrescalerSelectAndCounters) {
    struct Case {
        int setting, inUse, n, reg1, reg2;
    };
    const Case cases[] = {
        {2, 0, 100, 0x40, 0x34}, // P 32: B 3, A 4
        {0, 0, 100, 0x00, 0x64}, // default P 16: B 6, A 4
        {7, 1, 100, 0x02, 0x64}, // unknown setting is the default; bit 1 = prescaler in use
        {1, 1, 100, 0x22, 0xC4}, // P 8: B 12, A 4
        {3, 0, 200, 0x60, 0x38}, // P 64: B 3, A 8
        {1, 0, 200, 0x20, 0x90}, // P 8: B 25 keeps only its low nibble 9, A 0
    };
    for (const Case& c : cases) {
        PromParameters prom = octaveUnit();
        prom.PLL_prescaler_setting = c.setting;
        prom.PLL_prescaler_in_use = c.inUse;
        prom.Int_PLL_Div = c.n;
        int reg1 = -1, reg2 = -1;
        buildPLLRegs(prom, reg1, reg2);
        EXPECT_EQ(reg1, c.reg1) << c.setting << " " << c.n;
        EXPECT_EQ(reg2, c.reg2) << c.setting << " " << c.n;
    }
}

TEST(BuildPLLBoundaries, OnlyPresentBoundariesInOrder) {
    PromParameters prom = octaveUnit();
    EXPECT_TRUE(buildPLLBoundaries(prom).empty());

    prom.PLL_loop_gain_boundaries = {500, 1000, 2000, 6000};
    prom.PLL_loop_gain_boundary_addresses = {0x9C, 0x9F, 0xA1, 0xA3};
    prom.setKeyPresent(PromKey::FirstPllLoopGainBoundary + 1, true); // boundary 2
    prom.setKeyPresent(PromKey::FirstPllLoopGainBoundary + 3, true); // boundary 4
    const auto regs = buildPLLBoundaries(prom);
    ASSERT_EQ(regs.size(), 2u);
    // 1000 MHz, band 1: word 0x333333, top byte 0x33.
    EXPECT_EQ(regs[0]->address, 0x9Fu);
    EXPECT_EQ(regs[0]->value, 0x33u);
    EXPECT_EQ(regs[0]->comment, "PLL gain boundary 2: 1000 MHz.");
    // 6000 MHz is above the plan and taken as band 0: word 0x99999A, top byte 0x99 loses bit 7.
    EXPECT_EQ(regs[1]->address, 0xA3u);
    EXPECT_EQ(regs[1]->value, 0x19u);
    EXPECT_EQ(regs[1]->comment, "PLL gain boundary 4: 6000 MHz.");
}
