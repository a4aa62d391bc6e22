// A sweep that loses or truncates a data packet fails with its code, and the task recovers:
// the next measure, and a stop/start/measure cycle, work again.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "lab_namespace.h"
#include "measure_lab.h"
#include "sim_units.h"

using namespace Orvek;

namespace {

constexpr uint16_t kPort = 1244;
const std::string kUnit = "192.168.1.14";

class MeasureFaults : public ::testing::Test {
protected:
    void SetUp() override {
        TARN_REQUIRE_LAB_HOST_SIDE();
        unit = &units.add(tarnlab::measureUnitConfig("s-param", kUnit, kPort));
        ASSERT_EQ(units.start(), "");
        std::string problem;
        task = tarnlab::initialisedTask(kUnit, kPort, problem);
        ASSERT_NE(task, nullptr) << problem;
        ASSERT_EQ(task->setHopRate(HOP_90K), ERR_OK);
        // Two packets per path.
        ASSERT_EQ(task->utilGenerateLinearSweep(800.0, 1200.0, 400), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_1), ERR_OK);
        ASSERT_EQ(task->start(), ERR_OK);
    }
    void expectGoodSweep() {
        ASSERT_EQ(task->measure(), ERR_OK);
        EXPECT_GT(tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_0, TARN_RX_PATH_1), 0);
        EXPECT_GT(tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_1, TARN_RX_PATH_1), 0);
    }
    void expectRecovery() {
        unit->setFaults(Sim::FaultSettings());
        SweepData sweep;
        EXPECT_EQ(task->extractSweepData(TARN_TX_PATH_0, TARN_RX_PATH_1, sweep),
                  ERR_PATH_HAS_NO_DATA)
            << "a failed sweep leaves no data";
        expectGoodSweep();
        expectGoodSweep();
        ASSERT_EQ(task->stop(), ERR_OK);
        ASSERT_EQ(task->start(), ERR_OK);
        expectGoodSweep();
        EXPECT_EQ(task->stop(), ERR_OK);
    }

    tarnlab::SimulatedUnits units;
    Sim::SimUnit* unit = nullptr;
    std::unique_ptr<TarnTask> task;
};

TEST_F(MeasureFaults, LostPacket) {
    expectGoodSweep();
    unit->setFaults(Sim::FaultSettings::parse("drop-packets=2"));
    EXPECT_EQ(task->measure(), ERR_NO_RESPONSE);
    expectRecovery();
}

TEST_F(MeasureFaults, TruncatedPacket) {
    unit->setFaults(Sim::FaultSettings::parse("truncate-packets=3,truncate-bytes=8"));
    EXPECT_EQ(task->measure(), ERR_BYTES);
    expectRecovery();
}

TEST_F(MeasureFaults, PacketsOfAFailedSweepDoNotLeakIntoTheNext) {
    // The first two packets arrive twice, so the sweep fails with its last two packets still
    // to come; once they are queued they must not be taken for the next sweep's.
    unit->setFaults(Sim::FaultSettings::parse("duplicate-packets=1/2"));
    EXPECT_EQ(task->measure(), ERR_BYTES);
    ASSERT_TRUE(unit->waitFor([](const Sim::UnitStatus& s) { return s.packetsSent >= 6; }, 5000));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    expectRecovery();
}

} // namespace
