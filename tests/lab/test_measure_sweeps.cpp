// Sweep shapes against a simulated unit: single points up to the unit's maximum, a sweep
// downwards, and exclusion bands (transmitter off inside).
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <vector>

#include "lab_namespace.h"
#include "measure_lab.h"
#include "sim_units.h"

using namespace Orvek;

namespace {

constexpr uint16_t kPort = 1243;
const std::string kUnit = "192.168.1.13";

class MeasureSweeps : public tarnlab::MeasureLab {
protected:
    void SetUp() override {
        MeasureLab::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        startUnit("simple-4port", kUnit, kPort);
        ASSERT_NE(task, nullptr);
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
    // The model check sees the transmitter off inside the bands.
    measureAndCheck(options);
}

} // namespace
