// The simulator's DUT and radio physics: a filter that behaves like one, the one-port
// standards and the port matrix, the text form, the ADC, and the receivers' ratio property.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "sim/dut_model.h"
#include "sim/rf_model.h"

namespace Orvek {
namespace Sim {
namespace {

double db(Complex s) {
    return 20.0 * std::log10(std::abs(s));
}

TEST(SimDutModel, BandPassFilterPassesItsBandRejectsOutsideAndConservesPower) {
    BandPassFilterDesign design;
    design.centreMHz = 1000;
    design.bandwidthMHz = 100;
    design.unloadedQ = 0; // lossless: |S11|^2 + |S21|^2 = 1 everywhere
    for (double f = 500; f <= 1500; f += 7.3) {
        const TwoPortS s = bandPassFilterS(design, f);
        EXPECT_NEAR(std::norm(s[0][0]) + std::norm(s[1][0]), 1.0, 1e-9) << f;
        EXPECT_NEAR(std::abs(s[0][0]), std::abs(s[1][1]), 1e-9) << "symmetric at " << f;
    }
    // Chebyshev 0.1 dB ripple: within the ripple across the band, return loss at least 16 dB.
    for (double f = 955; f <= 1045; f += 5) {
        const TwoPortS s = bandPassFilterS(design, f);
        EXPECT_GT(db(s[1][0]), -0.11) << f;
        EXPECT_LT(db(s[0][0]), -16.0) << f;
    }
    // Fifth order: far outside the band almost everything is reflected.
    EXPECT_LT(db(bandPassFilterS(design, 700)[1][0]), -60.0);
    EXPECT_LT(db(bandPassFilterS(design, 1400)[1][0]), -60.0);
    EXPECT_GT(std::abs(bandPassFilterS(design, 700)[0][0]), 0.999);
}

TEST(SimDutModel, PortPairsGiveTheirElementsParameters) {
    DutModel dut = DutModel::parse("filter:0-1:1000:100,thru:2-3:1:0.5,open:4,short:5,load:6");
    const double f = 1000;
    EXPECT_EQ(dut.s(1, 0, f), bandPassFilterS(dut.elements()[0].filter, f)[1][0]);
    EXPECT_EQ(dut.s(0, 1, f), bandPassFilterS(dut.elements()[0].filter, f)[0][1]);
    // A 1 ns, 0.5 dB line: 1000 MHz is a whole turn.
    EXPECT_NEAR(std::abs(dut.s(3, 2, f) - std::pow(10.0, -0.5 / 20)), 0.0, 1e-9);
    EXPECT_EQ(dut.s(2, 2, f), Complex(0.0));
    EXPECT_NEAR(std::abs(dut.s(5, 5, f) - Complex(-1.0)), 0.0, 1e-12);
    EXPECT_EQ(dut.s(2, 0, f), Complex(0.0)) << "elements do not couple";

    // The port matrix: all 64 ordered pairs differ by more than the measuring tolerance.
    const DutModel matrix = DutModel::parse("matrix");
    for (int a = 0; a < 64; ++a)
        for (int b = a + 1; b < 64; ++b)
            EXPECT_GT(std::abs(matrix.s(a / 8, a % 8, f) - matrix.s(b / 8, b % 8, f)), 0.01)
                << a << " " << b;
    EXPECT_EQ(matrix.describe(), "matrix");
    EXPECT_THROW(DutModel::parse("filter:0-0"), std::invalid_argument);
    EXPECT_EQ(RfModel::quantise(Complex(1e9, -1e9)), (IqSample{32767, -32768}));
    EXPECT_EQ(RfModel::quantise(Complex(2.5, -2.4)), (IqSample{2, -2}));
}

TEST(SimRfModel, ReceiverRatiosAreTheSParametersOfThePath) {
    const DutModel dut = DutModel::standardBench(200, 3200);
    const RfModel model(dut);
    for (double f : {300.0, 800.0, 1700.0}) {
        for (auto [tx, rx] : {std::pair{0, 1}, {1, 0}, {0, 0}, {2, 3}, {4, 4}}) {
            SwitchPath path;
            path.txPort = tx;
            path.rxPort = rx;
            const RfState state = RfState::tuned(f, path);
            const Complex ratio = model.wave(state, 0) / model.wave(state, 1);
            EXPECT_NEAR(std::abs(ratio - dut.s(rx, tx, f)), 0.0, 1e-12) << tx << rx << f;
            EXPECT_NEAR(std::abs(model.wave(state, 2) / model.wave(state, 1) - dut.s(2, tx, f)),
                        0.0, 1e-12);
            EXPECT_NEAR(std::abs(model.wave(state, 3) / model.wave(state, 1) - dut.s(3, tx, f)),
                        0.0, 1e-12);
        }
    }
}

} // namespace
} // namespace Sim
} // namespace Orvek
