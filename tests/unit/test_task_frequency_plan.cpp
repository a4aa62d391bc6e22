// The task's frequency plan against the test unit, whose tuning steps are round numbers: band b
// (lower edges 3000, 1500, 750, 375, 187, 93, 46, 23 MHz; band 0 ends at 6000) steps in
// 1 kHz / 2^b, so every expected frequency below is worked out from that alone.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "task/exclusion_band.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;
using tarntest::makeStoppedTask;
using tarntest::setTaskState;

namespace {

// Band of f in the test unit, -1 below the lowest edge.
int testBand(double f) {
    const double edges[8] = {3000, 1500, 750, 375, 187, 93, 46, 23};
    for (int b = 0; b < 8; ++b) {
        if (f >= edges[b])
            return b;
    }
    return -1;
}

// Tuning words per MHz in band b.
double wordsPerMHz(int band) {
    return std::ldexp(1.0, band) / tarntest::kTestUnitBand0StepMHz;
}

// The nearest synthesisable frequency (tuning word rounded half up), or 0.0 without a band.
double expectedSnap(double f) {
    int band = testBand(f);
    if (band < 0)
        return 0.0;
    return std::floor(f * wordsPerMHz(band) + 0.5) / wordsPerMHz(band);
}

constexpr double kTolerance = 1e-9;

std::vector<double> storedFrequencies(TarnTask& task) {
    const double* f = task.getFrequencies();
    return std::vector<double>(f, f + task.getNumberOfFrequencies());
}

} // namespace

TEST(FrequencyPlan, SetFrequenciesStoresTheSnappedValuesInTheGivenOrder) {
    auto task = makeStoppedTask();
    const std::vector<double> asked = {1234.56789, 6000.0, 100.0000312,
                                       2999.9999,  3000.0, 47.123456};
    ASSERT_EQ(task->setFrequencies(asked.data(), asked.size()), ERR_OK);
    std::vector<double> stored = storedFrequencies(*task);
    ASSERT_EQ(stored.size(), asked.size());
    for (std::size_t i = 0; i < asked.size(); ++i)
        EXPECT_NEAR(stored[i], expectedSnap(asked[i]), kTolerance) << asked[i];
    EXPECT_NEAR(stored[0], 1234.568, kTolerance);
    EXPECT_NEAR(stored[1], 6000.0, kTolerance);
    EXPECT_NEAR(stored[3], 3000.0, kTolerance); // band 1 steps 0.5 kHz
    // The caller's array is left alone.
    EXPECT_EQ(asked[0], 1234.56789);
}

TEST(FrequencyPlan, LimitsAreInclusiveAndBelowTheLowestBandIsStoredAsZero) {
    auto task = makeStoppedTask();
    const double edges[] = {10.0, 6000.0};
    ASSERT_EQ(task->setFrequencies(edges, 2), ERR_OK);
    // 10 MHz is within the unit's limits but below every band: nothing can synthesise it.
    EXPECT_EQ(task->getFrequencies()[0], 0.0);
    EXPECT_NEAR(task->getFrequencies()[1], 6000.0, kTolerance);

    const double above[] = {1000.0, 6000.0 + 1e-9};
    const double below[] = {10.0 - 1e-9};
    const double nan[] = {std::nan("")};
    EXPECT_EQ(task->setFrequencies(above, 2), ERR_FREQ_OUT_OF_BOUNDS);
    EXPECT_EQ(task->setFrequencies(below, 1), ERR_FREQ_OUT_OF_BOUNDS);
    EXPECT_EQ(task->setFrequencies(nan, 1), ERR_FREQ_OUT_OF_BOUNDS);
    double f = 6000.5;
    EXPECT_EQ(task->utilNearestLegalFreq(f), ERR_FREQ_OUT_OF_BOUNDS);
    EXPECT_EQ(f, 6000.5);
    // A refused list keeps the previous sweep.
    ASSERT_EQ(task->getNumberOfFrequencies(), 2);
    EXPECT_NEAR(task->getFrequencies()[1], 6000.0, kTolerance);
}

TEST(FrequencyPlan, PointCountIsCheckedBeforeTheFrequencies) {
    auto task = makeStoppedTask();
    std::vector<double> many(1001, 99999.0); // out of range too
    EXPECT_EQ(task->setFrequencies(many.data(), 1001), ERR_TOO_MANY_POINTS);
    std::vector<double> most(1000, 500.0);
    EXPECT_EQ(task->setFrequencies(most.data(), 1000), ERR_OK);
    // A count that does not fit an int is not taken for a negative one.
    EXPECT_EQ(task->setFrequencies(most.data(), 0x80000000u), ERR_TOO_MANY_POINTS);
    EXPECT_EQ(task->setFrequencies(nullptr, 0), ERR_OK);
    EXPECT_EQ(task->getNumberOfFrequencies(), 0);
}

TEST(FrequencyPlan, SweepEditingNeedsAStoppedTaskAndSnappingAnInitialisedOne) {
    const double one[] = {1000.0};
    for (Task_State state : {TASK_UNINITIALIZED, TASK_STARTED, TASK_RUNNING}) {
        auto task = makeStoppedTask();
        setTaskState(*task, state);
        EXPECT_EQ(task->setFrequencies(one, 1), ERR_WRONG_STATE);
        EXPECT_EQ(task->utilGenerateLinearSweep(100, 200, 3), ERR_WRONG_STATE);
        EXPECT_EQ(task->addExclusionBand(100, 200), ERR_WRONG_STATE);
        EXPECT_EQ(task->clearExclusionBands(), ERR_WRONG_STATE);
        int count = -7;
        EXPECT_EQ(task->getExclusionBandCount(count), ERR_WRONG_STATE);
        EXPECT_EQ(count, -7);
        double f = 1234.56789, start = 100, stop = 200;
        Err_Code snapping = task->utilNearestLegalFreq(f);
        Err_Code fixing = task->utilFixLinearSweepLimits(start, stop, 3);
        if (state == TASK_UNINITIALIZED) {
            EXPECT_EQ(snapping, ERR_WRONG_STATE);
            EXPECT_EQ(fixing, ERR_WRONG_STATE);
            EXPECT_EQ(f, 1234.56789);
        } else {
            EXPECT_EQ(snapping, ERR_OK);
            EXPECT_EQ(fixing, ERR_OK);
            EXPECT_NEAR(f, 1234.568, kTolerance);
        }
    }
}

TEST(FrequencyPlan, LinearSweepLimitsRoundInwardsWithAWholeStep) {
    auto task = makeStoppedTask();
    // Low end in band 5 (31.25 Hz steps) rounds up, high end in band 1 (0.5 kHz steps) rounds
    // down; the step is whole band-0 steps (1 kHz), rounded down, and fixes the high end. (The
    // low end is chosen so that no point of the sweep lies half-way between two tuning words.)
    double start = 100.00002, stop = 2000.0004;
    ASSERT_EQ(task->utilFixLinearSweepLimits(start, stop, 11), ERR_OK);
    EXPECT_NEAR(start, 100.00003125, kTolerance);
    EXPECT_NEAR(stop, 100.00003125 + 10 * 189.999, kTolerance);

    double down = 2000.0004, up = 100.00002;
    ASSERT_EQ(task->utilFixLinearSweepLimits(down, up, 11), ERR_OK);
    EXPECT_NEAR(down, 100.00003125 + 10 * 189.999, kTolerance);
    EXPECT_NEAR(up, 100.00003125, kTolerance);

    // One point, or equal ends: each end rounds to a whole step towards the middle (3005 MHz).
    double lowEnd = 1234.5671, highEnd = 4000.0008;
    ASSERT_EQ(task->utilFixLinearSweepLimits(lowEnd, highEnd, 1), ERR_OK);
    EXPECT_NEAR(lowEnd, 1234.56725, kTolerance);
    EXPECT_NEAR(highEnd, 4000.0, kTolerance);

    double outside = 6001, fine = 1000;
    EXPECT_EQ(task->utilFixLinearSweepLimits(fine, outside, 5), ERR_FREQ_OUT_OF_BOUNDS);
    EXPECT_EQ(task->utilFixLinearSweepLimits(fine, fine, 1001), ERR_TOO_MANY_POINTS);
    // The bounds error wins over the point count.
    EXPECT_EQ(task->utilFixLinearSweepLimits(outside, fine, 1001), ERR_FREQ_OUT_OF_BOUNDS);
}

TEST(FrequencyPlan, GeneratedSweepsRunUpAndDownOnSnappedPoints) {
    auto task = makeStoppedTask();
    // The low end rounds up to 100.001 MHz, the step down to 189.999 MHz; every point then lies
    // on the 1 kHz grid that all bands share, away from any rounding tie.
    ASSERT_EQ(task->utilGenerateLinearSweep(100.00097, 2000.0004, 11), ERR_OK);
    std::vector<double> upwards = storedFrequencies(*task);
    ASSERT_EQ(upwards.size(), 11u);
    for (int i = 0; i < 11; ++i)
        EXPECT_NEAR(upwards[i], expectedSnap(100.001 + i * 189.999), kTolerance) << i;
    EXPECT_NEAR(upwards[10], 1999.991, kTolerance);

    ASSERT_EQ(task->utilGenerateLinearSweep(2000.0004, 100.00097, 11), ERR_OK);
    std::vector<double> downwards = storedFrequencies(*task);
    ASSERT_EQ(downwards.size(), 11u);
    for (int i = 0; i < 11; ++i)
        EXPECT_NEAR(downwards[i], upwards[10 - i], kTolerance) << i;
}

TEST(FrequencyPlan, ExclusionBandsAreKeptAsGiven) {
    auto task = makeStoppedTask();
    EXPECT_EQ(task->addExclusionBand(0.0, 10.0), ERR_INVALID_PARAMETER);
    EXPECT_EQ(task->addExclusionBand(10.0, 10.0), ERR_INVALID_PARAMETER);
    EXPECT_EQ(task->addExclusionBand(20.0, 10.0), ERR_INVALID_PARAMETER);
    EXPECT_EQ(task->addExclusionBand(-5.0, 10.0), ERR_INVALID_PARAMETER);
    ASSERT_EQ(task->addExclusionBand(900.0, 1000.0), ERR_OK);
    ASSERT_EQ(task->addExclusionBand(950.0, 960.0), ERR_OK);  // overlaps are accepted
    ASSERT_EQ(task->addExclusionBand(900.0, 1000.0), ERR_OK); // so are duplicates
    int count = 0;
    ASSERT_EQ(task->getExclusionBandCount(count), ERR_OK);
    EXPECT_EQ(count, 3);
    double low = 0, high = 0;
    ASSERT_EQ(task->getExclusionBand(1, low, high), ERR_OK);
    EXPECT_EQ(low, 950.0);
    EXPECT_EQ(high, 960.0);
    low = high = -1;
    EXPECT_EQ(task->getExclusionBand(3, low, high), -32);
    EXPECT_EQ(task->getExclusionBand(-1, low, high), -32);
    EXPECT_EQ(low, -1);
    ASSERT_EQ(task->clearExclusionBands(), ERR_OK);
    ASSERT_EQ(task->getExclusionBandCount(count), ERR_OK);
    EXPECT_EQ(count, 0);
}

TEST(FrequencyPlan, OffsetIsCountedIn256TuningStepsOfBandZero) {
    auto task = makeStoppedTask();
    setTaskState(*task, TASK_UNINITIALIZED);
    ASSERT_EQ(task->setFrequencyOffset(true, 3), ERR_OK); // allowed before initialisation
    EXPECT_EQ(task->getFrequencyOffset(), 0.0);           // but has no value yet
    setTaskState(*task, TASK_STOPPED);
    EXPECT_TRUE(task->getFrequencyOffsetEnabled());
    EXPECT_EQ(task->getFrequencyOffsetCounts(), 3u);
    EXPECT_NEAR(task->getFrequencyOffset(), 3 * 256 * 1e-3, kTolerance);
    // The flag does not enter the value; the word wraps at 32 bits.
    ASSERT_EQ(task->setFrequencyOffset(false, 0x01000001u), ERR_OK);
    EXPECT_NEAR(task->getFrequencyOffset(), 256 * 1e-3, kTolerance);
}
