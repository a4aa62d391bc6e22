// Faults of the unit and the network never hand out another path's or another sweep's data:
// a broken sweep fails with its code within a bounded time, and the next measure() is right
// again, checked against the simulated unit's own model, without the caller restarting.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "lab_namespace.h"
#include "measure_lab.h"
#include "sim_units.h"

using namespace Orvek;

namespace {

constexpr uint16_t kPort = 1244;
const std::string kUnit = "192.168.1.14";
using Clock = std::chrono::steady_clock;

class MeasureFaults : public ::testing::Test {
protected:
    // Two paths of two packets each (400 points).
    void prepare(Program_Type type, bool realTime = false) {
        TARN_REQUIRE_LAB_HOST_SIDE();
        unit = &units.add(tarnlab::measureUnitConfig("s-param", kUnit, kPort, realTime));
        ASSERT_EQ(units.start(), "");
        std::string problem;
        task = tarnlab::initialisedTask(kUnit, kPort, problem);
        ASSERT_NE(task, nullptr) << problem;
        ASSERT_EQ(task->setHopRate(HOP_90K), ERR_OK);
        ASSERT_EQ(task->utilGenerateLinearSweep(800.0, 1200.0, 400), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_1), ERR_OK);
        ASSERT_EQ(task->setResetFrameCounterOnStart(true), ERR_OK);
        ASSERT_EQ(task->setMeasurementType(type), ERR_OK);
        ASSERT_EQ(task->start(), ERR_OK);
    }
    // Both paths as the unit's model says: a swap of the paths cannot pass.
    void expectGoodSweep() {
        ASSERT_EQ(task->measure(), ERR_OK);
        EXPECT_GT(tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_0, TARN_RX_PATH_1), 0);
        EXPECT_GT(tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_1, TARN_RX_PATH_1), 0);
    }
    // The sweep fails with `code` within `limitMs`, leaves no data, and the next ones are right.
    void expectFailureThenRecovery(Err_Code code, double limitMs) {
        const Clock::time_point begun = Clock::now();
        EXPECT_EQ(task->measure(), code);
        const double tookMs =
            std::chrono::duration<double, std::milli>(Clock::now() - begun).count();
        EXPECT_LT(tookMs, limitMs);
        SweepData sweep;
        EXPECT_EQ(task->extractSweepData(TARN_TX_PATH_0, TARN_RX_PATH_1, sweep),
                  ERR_PATH_HAS_NO_DATA);
        unit->setFaults(Sim::FaultSettings());
        expectGoodSweep();
        expectGoodSweep();
    }
    int counterOf(Transmit_Path tx) {
        SweepData sweep;
        EXPECT_EQ(task->extractSweepData(tx, TARN_RX_PATH_1, sweep), ERR_OK);
        EXPECT_EQ(sweep.frameNumber, (sweep.packetCounter - 1) / 2 + 1);
        return sweep.packetCounter;
    }

    tarnlab::SimulatedUnits units;
    Sim::SimUnit* unit = nullptr;
    std::unique_ptr<TarnTask> task;
};

TEST_F(MeasureFaults, FrameNumberCountsPacketsPerPath) {
    prepare(PROG_SYNC);
    // Counters restart at 1 on start; each path's first packet is two packets after the last.
    const int expected[][2] = {{1, 3}, {5, 7}};
    for (const auto& sweep : expected) {
        expectGoodSweep();
        EXPECT_EQ(counterOf(TARN_TX_PATH_0), sweep[0]);
        EXPECT_EQ(counterOf(TARN_TX_PATH_1), sweep[1]);
    }
    SweepData data;
    ASSERT_EQ(task->extractSweepData(TARN_TX_PATH_1, TARN_RX_PATH_1, data), ERR_OK);
    EXPECT_EQ(data.frameNumber, 4);
}

TEST_F(MeasureFaults, DuplicatedAndLatePacketsAreNeverTakenForTheNextSweep) {
    prepare(PROG_SYNC);
    // A duplicate inside the sweep, a duplicated last packet, and a copy that turns up 20 ms
    // later from the unit's address, after the sweep it belonged to.
    for (const char* fault : {"duplicate-packets=2", "duplicate-packets=4", "late-packets=4"}) {
        SCOPED_TRACE(fault);
        unit->setFaults(Sim::FaultSettings::parse(fault));
        expectGoodSweep();
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        expectGoodSweep();
        expectGoodSweep();
    }
    EXPECT_EQ(task->stop(), ERR_OK);
}

TEST_F(MeasureFaults, LostOrTruncatedPacketBreaksOnlyItsSweep) {
    prepare(PROG_SYNC);
    expectGoodSweep();
    unit->setFaults(Sim::FaultSettings::parse("drop-packets=2"));
    expectFailureThenRecovery(ERR_BYTES, 1000.0);
    unit->setFaults(Sim::FaultSettings::parse("truncate-packets=3,truncate-bytes=8"));
    expectFailureThenRecovery(ERR_BYTES, 1000.0);
    EXPECT_EQ(task->stop(), ERR_OK);
}

TEST_F(MeasureFaults, RestartMidSweepIsFollowedByAReloadedProgram) {
    prepare(PROG_SYNC);
    expectGoodSweep();
    const uint32_t image = unit->status().imageSize;
    unit->setFaults(Sim::FaultSettings::parse("restart-after=2"));
    expectFailureThenRecovery(ERR_NO_RESPONSE, 2000.0);
    EXPECT_EQ(unit->status().imageSize, image);
    EXPECT_EQ(task->stop(), ERR_OK);
}

TEST_F(MeasureFaults, DroppedPacketWhileFreeRunningResynchronisesAtTheNextSweep) {
    prepare(PROG_ASYNC, true);
    ASSERT_EQ(task->beginAsync(), ERR_OK);
    expectGoodSweep();
    unit->setFaults(Sim::FaultSettings::parse("drop-packets=6"));
    // Sweeps queued before the fault took effect come first; the broken one follows within a
    // bounded number of calls.
    int broken = 0;
    for (int sweep = 0; sweep < 200 && broken == 0; ++sweep) {
        const Err_Code result = task->measure();
        broken += result == ERR_BYTES;
        ASSERT_TRUE(result == ERR_OK || result == ERR_BYTES) << result;
    }
    EXPECT_EQ(broken, 1);
    expectGoodSweep();
    const int before = counterOf(TARN_TX_PATH_0);
    expectGoodSweep();
    EXPECT_EQ(counterOf(TARN_TX_PATH_0), before + 4) << "a sweep was skipped or misaligned";
    EXPECT_EQ(task->haltAsync(), ERR_OK);
    EXPECT_EQ(task->stop(), ERR_OK);
}

} // namespace
