// A unit array in the network lab: three simulated units share one endpoint on port 1024, are
// checked to deliver sweeps of one shape and started together by one broadcast; each unit's
// sweep (through the thru between ports 2 and 3) is then read and compared with what its
// simulated DUT should give.
// TARN_LAB_USES_PORT_1024: the array protocol fixes the port, so this test takes the lock.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "lab_namespace.h"
#include "link/socket_manager.h"
#include "sim_units.h"
#include "task/sweep_data.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;

namespace {

constexpr uint16_t kArrayPort = 1024;
const char* const kAddresses[] = {"192.168.1.16", "192.168.1.17", "192.168.1.18"};
constexpr int kPoints = 25;

std::string validationMessage(const std::vector<TarnTask*>& tasks, Err_Code& result) {
    testing::internal::CaptureStderr();
    result = TarnTask::validateArrayTasks(tasks);
    return testing::internal::GetCapturedStderr();
}

} // namespace

TEST(TaskUnitArray, ThreeUnitsStartTogetherAndEachDeliversItsSweep) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    tarnlab::SimulatedUnits units;
    // Each unit's thru has its own length, so that a sweep delivered to the wrong task shows.
    for (int i = 0; i < 3; ++i) {
        Sim::UnitConfig config = tarnlab::simUnitConfig("simple-4port", kAddresses[i], kArrayPort);
        Sim::DutModel dut = Sim::DutModel::standardBench(200.0, 3200.0);
        dut.connectThru(2, 3, 0.5 + 2.0 * i);
        config.dut = dut;
        units.add(config);
    }
    ASSERT_EQ(units.start(), "");

    std::vector<std::unique_ptr<TarnTask>> owned;
    owned.push_back(std::make_unique<TarnTask>());
    owned.push_back(std::make_unique<TarnTask>(*owned.front()));
    owned.push_back(std::make_unique<TarnTask>(*owned.front()));
    std::vector<TarnTask*> tasks;
    for (std::size_t i = 0; i < owned.size(); ++i) {
        TarnTask& task = *owned[i];
        tasks.push_back(&task);
        ASSERT_EQ(task.setIPAddress(kAddresses[i]), ERR_OK);
        ASSERT_EQ(task.setIPPort(kArrayPort), ERR_OK);
        ASSERT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
        ASSERT_EQ(task.setHopRate(HOP_1K), ERR_OK);
        ASSERT_EQ(task.setMeasurementType(PROG_ASYNC), ERR_OK);
        ASSERT_EQ(task.utilGenerateLinearSweep(1000.0, 1500.0, kPoints), ERR_OK);
        ASSERT_EQ(task.addPathToMeasure(TARN_TX_PATH_2, TARN_RX_PATH_3), ERR_OK);
    }

    Err_Code result = ERR_OK;
    EXPECT_EQ(validationMessage(tasks, result),
              "No point times? Has the tarn program not yet been built?\n");
    EXPECT_EQ(result, ERR_TASK_ARRAY_INVALID);
    for (TarnTask* task : tasks)
        ASSERT_EQ(task->start(), ERR_OK);
    EXPECT_EQ(validationMessage(tasks, result), "");
    EXPECT_EQ(result, ERR_OK);

    auto& endpoint = *TarnTaskTestAccess::state(*tasks.front()).socketManager;
    const std::string destination = endpoint.get_current_dst_ip();
    for (std::size_t i = 0; i < owned.size(); ++i)
        EXPECT_FALSE(units[i].status().running);
    ASSERT_EQ(TarnTask::broadcastBeginCommand(tasks), ERR_OK);
    EXPECT_EQ(endpoint.get_current_dst_ip(), destination);
    for (std::size_t i = 0; i < owned.size(); ++i) {
        EXPECT_EQ(tasks[i]->getState(), TASK_RUNNING);
        // Every unit heard the one broadcast and runs free.
        EXPECT_TRUE(units[i].waitFor([](const Sim::UnitStatus& s) { return s.running; }, 2000));
        int begins = 0;
        for (const Sim::LogEntry& entry : units[i].log(Sim::LogKind::Command))
            begins += entry.isCommand("B\n") ? 1 : 0;
        EXPECT_EQ(begins, 1);
    }

    for (std::size_t i = 0; i < owned.size(); ++i) {
        SCOPED_TRACE(kAddresses[i]);
        TarnTask& task = *tasks[i];
        for (int sweep = 0; sweep < 2; ++sweep) {
            ASSERT_EQ(task.measure(), ERR_OK);
            SweepData data;
            ASSERT_EQ(task.extractSweepData(TARN_TX_PATH_2, TARN_RX_PATH_3, data), ERR_OK);
            ASSERT_EQ(data.receiverData.size(), 1u);
            ASSERT_EQ(data.receiverData[0].length(), static_cast<std::size_t>(kPoints));
            const double* freqs = task.getFrequencies();
            double signal = 0.0;
            for (int k = 0; k < kPoints; ++k) {
                const Sim::IqSample expected = units[i].expectedSample(freqs[k], 2, 3, 0);
                EXPECT_NEAR(data.receiverData[0].real[k], expected.i, 1.0) << k;
                EXPECT_NEAR(data.receiverData[0].imag[k], expected.q, 1.0) << k;
                signal += std::abs(expected.i) + std::abs(expected.q);
            }
            EXPECT_GT(signal, 100.0 * kPoints); // the path carries a real signal
        }
    }
    for (std::size_t i = 0; i < owned.size(); ++i) {
        EXPECT_EQ(tasks[i]->stop(), ERR_OK);
        EXPECT_EQ(tasks[i]->getState(), TASK_STOPPED);
        EXPECT_TRUE(units[i].waitFor([](const Sim::UnitStatus& s) { return !s.running; }, 2000));
    }
}
