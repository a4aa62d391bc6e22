// Sweep shapes against a simulated unit: single points up to the unit's maximum, a sweep
// downwards, and exclusion bands (transmitter off inside).
#include <gtest/gtest.h>

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
    // Measures once and checks both paths; returns the first path's non-zero samples (its
    // element may not pass every frequency).
    int measureAndCheck(const tarnlab::ModelOptions& options = {}) {
        EXPECT_EQ(task->start(), ERR_OK);
        EXPECT_EQ(task->measure(), ERR_OK);
        const int first =
            tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_0, TARN_RX_PATH_1, options);
        EXPECT_GT(
            tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_2, TARN_RX_PATH_3, options),
            0);
        EXPECT_EQ(task->stop(), ERR_OK);
        return first;
    }
};

TEST_F(MeasureSweeps, FromOnePointToTheUnitsMaximumUpAndDown) {
    const int maximum = task->getHardwareDetails()->Maximum_number_of_points;
    const double single = 1234.5;
    ASSERT_EQ(task->setFrequencies(&single, 1), ERR_OK);
    SCOPED_TRACE("1 point");
    measureAndCheck();
    // Either side of the first packet break, the maximum, and a sweep downwards.
    const struct {
        double start, stop;
        int points;
    } sweeps[] = {
        {250.0, 3150.0, 351}, {250.0, 3150.0, 400}, {250.0, 3150.0, maximum}, {3100.0, 300.0, 301}};
    for (const auto& sweep : sweeps) {
        SCOPED_TRACE(sweep.points);
        ASSERT_EQ(task->utilGenerateLinearSweep(sweep.start, sweep.stop, sweep.points), ERR_OK);
        ASSERT_EQ(task->getNumberOfFrequencies(), sweep.points);
        const int first = measureAndCheck();
        if (sweep.start > sweep.stop) {
            EXPECT_GT(first, 0);
        }
    }
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
