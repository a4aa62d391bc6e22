// The measurement cycle against a simulated unit: synchronous sweeps one after another,
// free-running sweeps between beginAsync and haltAsync, and a blocked synchronous measure
// interrupted from a second thread.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "lab_namespace.h"
#include "measure_lab.h"
#include "sim_units.h"

using namespace Orvek;
using Clock = std::chrono::steady_clock;

namespace {

constexpr uint16_t kPort = 1241;
const std::string kUnit = "192.168.1.11";

class MeasureModes : public tarnlab::MeasureLab {
protected:
    // An s-parameter unit, a task on it with two paths and `points` points.
    void prepare(bool realTime, Hop_Rate hop, unsigned points, Program_Type type) {
        startUnit("s-param", kUnit, kPort, realTime);
        ASSERT_NE(task, nullptr);
        ASSERT_EQ(task->setHopRate(hop), ERR_OK);
        ASSERT_EQ(task->utilGenerateLinearSweep(900.0, 1100.0, points), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_1), ERR_OK);
        ASSERT_EQ(task->setMeasurementType(type), ERR_OK);
        ASSERT_EQ(task->start(), ERR_OK);
    }
    void expectBothPaths() {
        EXPECT_GT(tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_0, TARN_RX_PATH_1), 0);
        EXPECT_GT(tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_1, TARN_RX_PATH_1), 0);
    }
    int frameNumber() {
        SweepData sweep;
        EXPECT_EQ(task->extractSweepData(TARN_TX_PATH_1, TARN_RX_PATH_1, sweep), ERR_OK);
        return sweep.frameNumber;
    }
};

TEST_F(MeasureModes, SynchronousSweepsRepeat) {
    prepare(false, HOP_90K, 101, PROG_SYNC);
    int previousFrame = 0;
    for (int sweep = 0; sweep < 4; ++sweep) {
        SCOPED_TRACE(sweep);
        ASSERT_EQ(task->measure(), ERR_OK);
        expectBothPaths();
        if (sweep > 0) {
            EXPECT_EQ(frameNumber(), previousFrame + 1);
        }
        previousFrame = frameNumber();
    }
    EXPECT_EQ(task->beginAsync(), ERR_WRONG_PROGRAM_TYPE);
    EXPECT_EQ(task->stop(), ERR_OK);
    EXPECT_EQ(task->measure(), ERR_WRONG_STATE);
    EXPECT_EQ(unit->status().errors, 0u);
}

TEST_F(MeasureModes, FreeRunningSweepsUntilHalted) {
    prepare(true, HOP_45K, 101, PROG_ASYNC);
    EXPECT_EQ(task->measure(), ERR_WRONG_STATE);
    ASSERT_EQ(task->beginAsync(), ERR_OK);
    EXPECT_EQ(task->getState(), TASK_RUNNING);
    int previousFrame = 0;
    for (int sweep = 0; sweep < 5; ++sweep) {
        SCOPED_TRACE(sweep);
        ASSERT_EQ(task->measure(), ERR_OK);
        expectBothPaths();
        if (sweep > 0) {
            EXPECT_EQ(frameNumber(), previousFrame + 1) << "a sweep was skipped or repeated";
        }
        previousFrame = frameNumber();
    }
    EXPECT_EQ(task->haltAsync(), ERR_OK);
    EXPECT_EQ(task->getState(), TASK_STARTED);
    EXPECT_FALSE(unit->status().running);
    EXPECT_EQ(task->stop(), ERR_OK);
    EXPECT_EQ(task->getState(), TASK_STOPPED);
    EXPECT_EQ(unit->status().errors, 0u);
}

TEST_F(MeasureModes, InterruptEndsABlockedMeasureWithinOnePollInterval) {
    // About 50 ms per point at HOP_20: the first packet is more than a second away.
    prepare(true, HOP_20, 21, PROG_SYNC);
    std::promise<Clock::time_point> interrupted;
    std::thread second([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        interrupted.set_value(Clock::now());
        EXPECT_EQ(task->interruptMeasurement(), ERR_OK);
    });
    const Err_Code result = task->measure();
    const Clock::time_point returned = Clock::now();
    second.join();
    EXPECT_EQ(result, ERR_INTERRUPTED);
    const double lateMs =
        std::chrono::duration<double, std::milli>(returned - interrupted.get_future().get())
            .count();
    std::printf("measure returned %.1f ms after the interrupt\n", lateMs);
    // One 50 ms poll interval, plus scheduling on a busy machine.
    EXPECT_LT(lateMs, 50.0 + 150.0);

    // The unit was still sweeping: the next measure must not see that sweep's packets.
    ASSERT_EQ(task->measure(), ERR_OK);
    expectBothPaths();
    EXPECT_EQ(task->stop(), ERR_OK);
}

} // namespace
