// Sweep shapes against a simulated unit: single points up to the unit's maximum, a sweep
// downwards, exclusion bands (transmitter off inside) and a receiver frequency offset.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "hardware/frequency_synthesis.h"
#include "lab_namespace.h"
#include "measure_lab.h"
#include "sim_units.h"

using namespace Orvek;

namespace {

constexpr uint16_t kPort = 1243;
const std::string kUnit = "192.168.1.13";

class MeasureSweeps : public ::testing::Test {
protected:
    void SetUp() override {
        TARN_REQUIRE_LAB_HOST_SIDE();
        unit = &units.add(tarnlab::measureUnitConfig("simple-4port", kUnit, kPort));
        ASSERT_EQ(units.start(), "");
        std::string problem;
        task = tarnlab::initialisedTask(kUnit, kPort, problem);
        ASSERT_NE(task, nullptr) << problem;
        ASSERT_EQ(task->setHopRate(HOP_90K), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_2, TARN_RX_PATH_3), ERR_OK);
    }
    void TearDown() override {
        if (unit) {
            EXPECT_EQ(unit->status().errors, 0u);
        }
    }
    // Measures once and checks both paths; returns the first path's non-zero samples.
    int measureAndCheck(const tarnlab::ModelOptions& options = {}) {
        const auto begun = std::chrono::steady_clock::now();
        EXPECT_EQ(task->start(), ERR_OK);
        const auto started = std::chrono::steady_clock::now();
        EXPECT_EQ(task->measure(), ERR_OK);
        const auto measured = std::chrono::steady_clock::now();
        using Ms = std::chrono::duration<double, std::milli>;
        std::printf("%d points x 2 paths: start %.1f ms, measure %.1f ms (fast unit)\n",
                    task->getNumberOfFrequencies(), Ms(started - begun).count(),
                    Ms(measured - started).count());
        const int first =
            tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_0, TARN_RX_PATH_1, options);
        EXPECT_GT(
            tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_2, TARN_RX_PATH_3, options),
            0);
        EXPECT_EQ(task->stop(), ERR_OK);
        return first;
    }

    tarnlab::SimulatedUnits units;
    Sim::SimUnit* unit = nullptr;
    std::unique_ptr<TarnTask> task;
};

TEST_F(MeasureSweeps, FromOnePointToTheUnitsMaximum) {
    const int maximum = task->getHardwareDetails()->Maximum_number_of_points;
    const double single = 1234.5;
    ASSERT_EQ(task->setFrequencies(&single, 1), ERR_OK);
    SCOPED_TRACE("1 point");
    measureAndCheck();
    for (int points : {351, 400, maximum}) {
        SCOPED_TRACE(points);
        ASSERT_EQ(task->utilGenerateLinearSweep(250.0, 3150.0, points), ERR_OK);
        ASSERT_EQ(task->getNumberOfFrequencies(), points);
        measureAndCheck();
    }
}

TEST_F(MeasureSweeps, LinearSweepDownwards) {
    ASSERT_EQ(task->utilGenerateLinearSweep(3100.0, 300.0, 301), ERR_OK);
    const double* freqs = task->getFrequencies();
    ASSERT_GT(freqs[0], freqs[300]);
    EXPECT_GT(measureAndCheck(), 0);
}

TEST_F(MeasureSweeps, TransmitterIsOffInsideExclusionBands) {
    ASSERT_EQ(task->utilGenerateLinearSweep(900.0, 1100.0, 81), ERR_OK);
    ASSERT_EQ(task->addExclusionBand(950.0, 990.0), ERR_OK);
    ASSERT_EQ(task->addExclusionBand(1040.0, 1041.0), ERR_OK);
    tarnlab::ModelOptions options;
    options.transmitterOff = [](double f) {
        return (f >= 950.0 && f <= 990.0) || (f >= 1040.0 && f <= 1041.0);
    };
    measureAndCheck(options);

    SweepData sweep;
    ASSERT_EQ(task->extractSweepData(TARN_TX_PATH_2, TARN_RX_PATH_3, sweep), ERR_OK);
    const double* freqs = task->getFrequencies();
    int inside = 0;
    for (int k = 0; k < task->getNumberOfFrequencies(); ++k) {
        const double magnitude =
            std::hypot(sweep.receiverData[0].real[k], sweep.receiverData[0].imag[k]);
        if (options.transmitterOff(freqs[k])) {
            ++inside;
            EXPECT_LT(magnitude, 2.0) << freqs[k] << " MHz is inside an exclusion band";
        } else {
            EXPECT_GT(magnitude, 100.0) << freqs[k] << " MHz is outside the exclusion bands";
        }
    }
    EXPECT_GT(inside, 10);
}

TEST_F(MeasureSweeps, ReceiverFrequencyOffset) {
    PromParameters& prom = *task->getHardwareDetails();
    // One offset count moves the receiver by 256 tuning steps; in the lowest band where that
    // is at most 20 kHz the IF lands in the crystal filter's skirt, not beyond it.
    const unsigned counts = 1;
    int band = 0;
    while (band < 3 && DDSToFreq(256.0, band, prom) > 0.020)
        ++band;
    const double low = std::max(prom.Minimum_freq, prom.Band_boundaries[band]) + 1.0;
    const double high = band == 0 ? prom.Maximum_freq - 1.0 : prom.Band_boundaries[band - 1] - 1.0;
    ASSERT_EQ(task->utilGenerateLinearSweep(low, high, 45), ERR_OK);
    ASSERT_EQ(task->setFrequencyOffset(true, counts), ERR_OK);
    tarnlab::ModelOptions options;
    // The receiver runs `counts` x 256 tuning steps above its usual word.
    options.receiverOffsetMHz = [&prom, counts](double f) {
        const int band = freqToBand(f, prom, false);
        unsigned char t2, t1, t0, r2, r1, r0;
        freqToRegisters(f, band, prom, t2, t1, t0, r2, r1, r0, nullptr);
        const double rxWord = ((r2 << 16) | (r1 << 8) | r0) + 256.0 * counts;
        return DDSToFreq(rxWord, band, prom) - f - Sim::kIntermediateFrequencyMHz;
    };
    measureAndCheck(options);

    // The offset is really there: without it the model differs.
    SweepData sweep;
    ASSERT_EQ(task->extractSweepData(TARN_TX_PATH_2, TARN_RX_PATH_3, sweep), ERR_OK);
    int differing = 0;
    for (int k = 0; k < task->getNumberOfFrequencies(); ++k) {
        const Sim::IqSample plain = tarnlab::modelSample(
            *unit, *task, TARN_TX_PATH_2, TARN_RX_PATH_3, task->getFrequencies()[k], 0);
        differing += std::fabs(sweep.receiverData[0].real[k] - plain.i) > 5;
    }
    EXPECT_GT(differing, task->getNumberOfFrequencies() / 2);
}

} // namespace
