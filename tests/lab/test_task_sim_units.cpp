// Tasks against simulated units of every switch-board kind, all driven through one shared
// endpoint: initialisation reads each unit's own description, and each unit enters its
// low-power state when told. Port 1206.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "lab_namespace.h"
#include "sim_units.h"
#include "task/tarn_task.h"

using namespace Orvek;

namespace {

constexpr uint16_t kPort = 1206;

struct Profile {
    const char* name;
    const char* address;
    uint8_t octet;
    SwitchBoard_Type board;
};

const Profile kProfiles[] = {
    {"none", "192.168.1.10", 10, SWITCHBOARD_NO_SWITCH_BOARD},
    {"simple-4port", "192.168.1.11", 11, SWITCHBOARD_SIMPLE_4_PORT_SWITCH},
    {"tdd-4port", "192.168.1.12", 12, SWITCHBOARD_TDD_4_PORT_SWITCH},
    {"simple-8port", "192.168.1.13", 13, SWITCHBOARD_SIMPLE_8_PORT_SWITCH},
    {"s-param", "192.168.1.14", 14, SWITCHBOARD_S_PARAMETER_SWITCH},
};

bool lastProgress(int percent, void* context) {
    *static_cast<int*>(context) = percent;
    return true;
}

} // namespace

TEST(TaskWithSimulatedUnits, EveryKindOfUnitInitialisesThroughOneSharedEndpoint) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    tarnlab::SimulatedUnits units;
    for (const Profile& profile : kProfiles)
        units.add(profile.name, profile.address, kPort);
    ASSERT_EQ(units.start(), "");

    // One task per unit; all but the first share the first one's endpoint.
    std::vector<std::unique_ptr<TarnTask>> tasks;
    tasks.push_back(std::make_unique<TarnTask>());
    for (std::size_t i = 1; i < std::size(kProfiles); ++i)
        tasks.push_back(std::make_unique<TarnTask>(*tasks.front()));

    for (std::size_t i = 0; i < tasks.size(); ++i) {
        const Profile& profile = kProfiles[i];
        TarnTask& task = *tasks[i];
        SCOPED_TRACE(profile.name);
        ASSERT_EQ(task.setIPAddress(profile.address), ERR_OK);
        ASSERT_EQ(task.setIPPort(kPort), ERR_OK);
        int progress = -1;
        ASSERT_EQ(task.initialize(lastProgress, &progress), ERR_OK);
        EXPECT_EQ(progress, 100);
        const PromParameters expected = Sim::profileParameters(profile.name, profile.octet);
        const PromParameters& read = *task.getHardwareDetails();
        EXPECT_EQ(read.getSwitchboardType(), profile.board);
        EXPECT_EQ(read.Minimum_freq, expected.Minimum_freq);
        EXPECT_EQ(read.Maximum_freq, expected.Maximum_freq);
        EXPECT_EQ(read.Maximum_number_of_points, expected.Maximum_number_of_points);
        EXPECT_EQ(read.Feature_flags, expected.Feature_flags);
        EXPECT_EQ(read.Unit_serial_number, expected.Unit_serial_number);
    }

    // Every unit switches its own front end off; the shared endpoint keeps them apart.
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        SCOPED_TRACE(kProfiles[i].name);
        Sim::SimUnit& unit = units.unit(kProfiles[i].address);
        EXPECT_NE(unit.reg(0x80), 0x80);
        EXPECT_EQ(tasks[i]->enterLowPowerState(), ERR_OK);
        EXPECT_EQ(unit.reg(0x80), 0x80);
        if (i + 1 < tasks.size()) {
            EXPECT_NE(units.unit(kProfiles[i + 1].address).reg(0x80), 0x80);
        }
        EXPECT_EQ(tasks[i]->utilPingUnit(1), ERR_OK);
    }
}
