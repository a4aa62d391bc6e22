// The low-power state against a scripted unit: three register commands in order, and only the
// exact read-back text counts. Port 1205.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "fake_unit.h"
#include "lab_namespace.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;
using tarnlab::Datagram;
using tarnlab::Replies;

namespace {

// A unit that serves its PROM and answers the register commands; `readBack` is its answer to
// the read of register 0x80.
struct RegisterUnit {
    tarnlab::PromScript prom;
    std::shared_ptr<std::string> readBack = std::make_shared<std::string>("80\r\n>             ");

    explicit RegisterUnit(std::vector<int> image) : prom(std::move(image)) {}

    tarnlab::Script script() const {
        tarnlab::Script serveProm = prom.script();
        auto answer = readBack;
        return [serveProm, answer](const Datagram& request) {
            if (request.bytes == "Z8080\n" || request.bytes == "Z8408\n")
                return Replies{{"\r\n>"}};
            if (request.bytes == "Z80\n")
                return answer->empty() ? Replies{} : Replies{{*answer}};
            return serveProm(request);
        };
    }
};

std::vector<std::string> commandsOf(const tarnlab::FakeUnit& unit) {
    std::vector<std::string> commands;
    for (const Datagram& d : unit.received())
        commands.push_back(d.bytes);
    return commands;
}

} // namespace

TEST(TaskLowPower, FrontEndIsSwitchedOffByThreeRegisterCommands) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    PromParameters description;
    tarntest::describeTestUnit(description, SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0);
    description.Header_tag = 0x544152;
    RegisterUnit behaviour(description.generateFullBytestream());
    tarnlab::FakeUnit unit("192.168.1.15", 1205, behaviour.script());

    TarnTask task;
    ASSERT_EQ(task.setIPAddress("192.168.1.15"), ERR_OK);
    ASSERT_EQ(task.setIPPort(1205), ERR_OK);
    task.setTimeout(30);
    EXPECT_EQ(task.enterLowPowerState(), ERR_WRONG_STATE); // uninitialised: nothing sent
    EXPECT_EQ(unit.receivedCount(), 0u);
    ASSERT_EQ(task.initialize(nullptr, nullptr), ERR_OK);

    unit.clearReceived();
    EXPECT_EQ(task.enterLowPowerState(), ERR_OK);
    EXPECT_EQ(commandsOf(unit), (std::vector<std::string>{"Z8080\n", "Z8408\n", "Z80\n"}));
    EXPECT_EQ(task.getState(), TASK_STOPPED);

    // The right value without the prompt's padding is not the unit's answer.
    *behaviour.readBack = "80\r\n>";
    EXPECT_EQ(task.enterLowPowerState(), ERR_BYTES);
    // Nor is silence.
    behaviour.readBack->clear();
    EXPECT_EQ(task.enterLowPowerState(), ERR_BYTES);
}
