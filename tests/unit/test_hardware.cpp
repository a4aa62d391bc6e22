// Radio hardware arithmetic: band selection, DDS tuning words and PLL set-up against
// hand-computed values and, for random frequencies, against the synthesiser's own definition
// f = word x N x f_ref / 2^24 / 2^band; front-end register tables, point timing and the fixed
// power-up image, each with the listing comments the program layer gives them.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <stdexcept>
#include <string>

#include "hardware/frequency_synthesis.h"
#include "hardware/point_timing.h"
#include "program/hardware_commands.h"
#include "program/program_source.h"
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
    ProgramSource source;
    source.append(buildPLLBoundaries(prom));
    // 1000 MHz, band 1: word 0x333333, top byte 0x33. 6000 MHz is above the plan and taken as
    // band 0: word 0x99999A, top byte 0x99 loses bit 7.
    EXPECT_EQ(source.compile(prom).program, "9f33a319");
    EXPECT_EQ(source.humanReadable(prom),
              "#> PLL gain boundary 2: 1000 MHz.\n#> PLL gain boundary 4: 6000 MHz.\n");
}

TEST(ControlRegisters, Reg80BandCodesSwitchesAndComment) {
    const struct {
        unsigned band;
        bool txPa, rxPa, txSwitch;
        Reg82Function reg82;
        bool suppliesOff;
        unsigned value;
        const char* comment;
    } cases[] = {
        // The band code sits in bits 6 and 0; only the attenuator function sets bit 5.
        {0, false, false, false, REG82_DIGITAL_OUTPUT, false, 0x01,
         "band=0 txPA=off rxPA=off txRFswitch=off reg82=dout, +-5v supplies=on"},
        {1, false, false, false, static_cast<Reg82Function>(0), false, 0x00, nullptr},
        {2, true, false, true, REG82_ATTENUATOR, false, 0x6A,
         "band=2 txPA=on rxPA=off txRFswitch=on reg82=atten, +-5v supplies=on"},
        {3, true, true, true, REG82_ATTENUATOR, true, 0xEF,
         "band=3 txPA=on rxPA=on txRFswitch=on reg82=atten, +-5v supplies=off"},
        {1, false, true, false, REG82_DIGITAL_OUTPUT, false, 0x04, nullptr},
        {1, false, false, true, REG82_DIGITAL_OUTPUT, false, 0x08, nullptr},
    };
    for (const auto& c : cases) {
        auto reg = buildReg80(c.band, c.txPa, c.rxPa, c.txSwitch, c.reg82, c.suppliesOff);
        EXPECT_EQ(reg->address, 0x80u);
        EXPECT_EQ(reg->value, c.value) << c.band;
        if (c.comment) {
            EXPECT_EQ(reg->comment, c.comment);
        }
    }
    for (unsigned band : {4u, 0xFFFFFFFFu}) {
        try {
            reg80Value(band, false, false, false, REG82_DIGITAL_OUTPUT, false);
            ADD_FAILURE() << "band " << band << " accepted";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "Invalid band (Not in set [0,1,2,3])");
        }
    }
}

TEST(ControlRegisters, Reg82AttenuatorLinesAreActiveLow) {
    // 16 and 8 dB switch on lines 6 and 5, 4, 2 and 1 dB on lines 2..0; bit 4 is passed through.
    const struct {
        Rx_Attenuation atten;
        bool bit4;
        unsigned value;
        const char* comment;
    } cases[] = {
        {ATTEN_0, false, 0x67, "Attenuation = 0dB (0b00000000, reg0b01100111)."},
        {ATTEN_1, false, 0x66, "Attenuation = 1dB (0b00000001, reg0b01100110)."},
        {ATTEN_2, false, 0x65, "Attenuation = 2dB (0b00000010, reg0b01100101)."},
        {ATTEN_4, false, 0x63, "Attenuation = 4dB (0b00000100, reg0b01100011)."},
        {ATTEN_8, true, 0x57, "Attenuation = 8dB (0b00001000, reg0b01010111)."},
        {ATTEN_16, false, 0x27, "Attenuation = 16dB (0b00010000, reg0b00100111)."},
        {ATTEN_31, true, 0x10, "Attenuation = 31dB (0b00011111, reg0b00010000)."},
        {ATTEN_UNDEFINED, true, 0x10, "Attenuation = -1dB (0b11111111, reg0b00010000)."},
    };
    for (const auto& c : cases) {
        auto reg = buildReg82Atten(c.atten, c.bit4);
        EXPECT_EQ(reg->address, 0x82u);
        EXPECT_EQ(reg->value, c.value) << c.comment;
        EXPECT_EQ(reg->comment, c.comment);
    }
}

TEST(PointTiming, CycleCountOfEveryRateAndUnknownRates) {
    const double cycles[] = {361,   721,   1081,   2131,   4572,   9176,   16385,
                             29774, 59579, 107453, 209713, 419425, 838849, 1677441};
    for (int rate = HOP_90K; rate <= HOP_20; ++rate) {
        // 64 MHz master clock: 15.625 ns per cycle.
        EXPECT_DOUBLE_EQ(sPerPoint(static_cast<Hop_Rate>(rate), 64.0), cycles[rate] / 64e6);
        EXPECT_DOUBLE_EQ(msPerPoint(static_cast<Hop_Rate>(rate), 64.0), cycles[rate] / 64e3);
        EXPECT_EQ(bandChangeFDs(static_cast<Hop_Rate>(rate)), 8);
    }
    for (int value : {-1, 14}) {
        try {
            msPerPoint(static_cast<Hop_Rate>(value), 100.0);
            ADD_FAILURE() << "no exception for " << value;
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "No hop rate set?");
        }
    }
}

TEST(PowerupSequence, FixedImageAndListing) {
    ProgramSource source;
    source.append(standardPowerupSequence());
    const PromParameters prom;
    EXPECT_EQ(source.compile(prom).program, "800e8300850084088e7fFDFD7500740035003400FDFD"
                                            "33083202310030007308720271807000FDFD970098009b009a18");
    const std::string fd = "#> Delay one point duration. \n";
    EXPECT_EQ(source.humanReadable(prom),
              "#>> <<<<<<<<<< Start of hard coded startup configuration.\n\n"
              "#> Set IF gain offset register\n#> Set sweep rate to 90K?\n"
              "#> Trigger IO update\n#> Send 0x7F serial bytes\n" +
                  fd + fd + "\n\n\n\n" + fd + fd + "\n\n\n\n\n\n\n\n" + fd + fd +
                  "#> Write 0x00 to external board address 0x00.\n\n"
                  "#> No polarimetric measurements.\n"
                  "#> Enable all 6 bits of TXS/RXS, Separate TxSw and TxPaOn\n"
                  "#>> <<<<<<<<<< End hard-coded startup segment.\n");
}
