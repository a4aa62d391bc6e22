// The low-power state against a simulated unit: three register commands, and only the exact
// read-back counts. Port 1204.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab_namespace.h"
#include "sim/simulator.h"
#include "task/tarn_task.h"

using namespace Orvek;

TEST(TaskLowPower, FrontEndIsSwitchedOffByDirectRegisterWrites) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    Sim::Simulator simulator;
    Sim::UnitConfig config;
    config.address = "192.168.1.15";
    config.port = 1204;
    config.profile = "tdd-4port";
    config.realTime = false;
    config.broadcastAddress = "none";
    Sim::SimUnit& unit = simulator.addUnit(config);
    tarnlab::UnitsThread starter([&simulator] { simulator.start(); });
    starter.join();
    ASSERT_EQ(starter.error(), "");

    TarnTask task;
    ASSERT_EQ(task.setIPAddress("192.168.1.15"), ERR_OK);
    ASSERT_EQ(task.setIPPort(1204), ERR_OK);
    EXPECT_EQ(task.enterLowPowerState(), ERR_WRONG_STATE); // not initialised: nothing sent
    EXPECT_TRUE(unit.log(Sim::LogKind::Command).empty());
    ASSERT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
    unit.clearLog();

    EXPECT_EQ(task.enterLowPowerState(), ERR_OK);
    EXPECT_EQ(unit.reg(0x80), 0x80);
    std::vector<std::string> commands;
    for (const Sim::LogEntry& entry : unit.log(Sim::LogKind::Command))
        commands.push_back(entry.text);
    EXPECT_EQ(commands, (std::vector<std::string>{"Z8080\n", "Z8408\n", "Z80\n"}));
    std::vector<Sim::LogEntry> replies = unit.log(Sim::LogKind::Reply);
    ASSERT_FALSE(replies.empty());
    EXPECT_EQ(replies.back().text, "80\r\n>             ");
    EXPECT_EQ(task.getState(), TASK_STOPPED);

    // Without the read-back reply the call cannot confirm the state.
    task.setTimeout(20);
    Sim::FaultSettings withholding;
    withholding.withholdReplies = 3;
    unit.setFaults(withholding);
    EXPECT_EQ(task.enterLowPowerState(), ERR_BYTES);
    unit.setFaults(Sim::FaultSettings());
    EXPECT_EQ(task.enterLowPowerState(), ERR_OK);
    simulator.stop();
}
