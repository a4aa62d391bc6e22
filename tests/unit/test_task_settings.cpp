// TarnTask settings: defaults, the state machine's guards and the hardware-dependent checks.
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/exceptions.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;
using tarntest::makeStoppedTask;
using tarntest::setTaskState;

namespace {

constexpr uint8_t kShaftEncoderBit = 0x01;
constexpr uint8_t kSerialPortBit = 0x08;
constexpr uint8_t kMultipleReceiversBit = 0x40;
constexpr uint8_t kAttenuatorBit = 0x80;

TDDConfiguration tddWithin255() {
    TDDConfiguration tdd;
    tdd.flag1 = 1;
    tdd.attenuatorValue = 255;
    for (int i = 0; i < 7; ++i)
        tdd.timing[i] = 255;
    tdd.name = "burst";
    return tdd;
}

} // namespace

TEST(TaskDefaults, NewTaskHoldsTheDocumentedDefaults) {
    TarnTask task;
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);
    EXPECT_EQ(task.getTimeout(), 100u);
    EXPECT_EQ(task.getHopRate(), HOP_UNDEFINED);
    EXPECT_EQ(task.getReceiverGain(), TARN_GAIN_USE_DEFAULT);
    EXPECT_EQ(task.getSwitchboardAttenuation(), ATTEN_UNDEFINED);
    EXPECT_EQ(task.getEnabledReceivers(), 1);
    EXPECT_EQ(task.getMeasurementType(), PROG_SYNC);
    EXPECT_EQ(task.getSweepTriggerType(), 2);
    EXPECT_EQ(task.getSyncPulseMode(), SYNC_IGNORE);
    EXPECT_TRUE(task.getTXPowerAmpState() && task.getRXPowerAmpState() &&
                task.getTXRFSwitchState());
    // Before initialisation the unit parameters are reset: no serial port.
    EXPECT_EQ(task.getSerialPortBufferSize(), static_cast<unsigned int>(-1));
}

TEST(TaskSettings, EveryCheckedSetterRefusesWhileStartedOrRunningAndKeepsTheOldValue) {
    // Each entry changes one setting and reads it back; the unit has every feature and the TDD
    // board so that only the state can refuse.
    struct Setter {
        const char* name;
        std::function<Err_Code(TarnTask&)> set;
        std::function<long(TarnTask&)> read;
    };
    const std::vector<Setter> setters = {
        {"hop", [](TarnTask& t) { return t.setHopRate(HOP_1K); },
         [](TarnTask& t) { return long(t.getHopRate()); }},
        {"gain", [](TarnTask& t) { return t.setReceiverGain(TARN_GAIN_12); },
         [](TarnTask& t) { return long(t.getReceiverGain()); }},
        {"receivers", [](TarnTask& t) { return t.setEnabledReceivers(5); },
         [](TarnTask& t) { return long(t.getEnabledReceivers()); }},
        {"encoders", [](TarnTask& t) { return t.configureShaftEncodersFeature(true, true); },
         [](TarnTask& t) { return long(t.isShaftEncoderEnabled()); }},
        {"serial", [](TarnTask& t) { return t.configureSerialPortFeature(true, 20); },
         [](TarnTask& t) { return long(t.getSerialPortBufferSize()); }},
        {"atten",
         [](TarnTask& t) { return t.configureSwitchboardAttenuationFeature(true, ATTEN_7); },
         [](TarnTask& t) { return long(t.getSwitchboardAttenuation()); }},
        {"tdd", [](TarnTask& t) { return t.configureTDDFeature(true, tddWithin255()); },
         [](TarnTask& t) { return long(t.isTDDEnabled()); }},
        {"dout", [](TarnTask& t) { return t.configureDigitalOutFeature(true, true); },
         [](TarnTask& t) { return long(t.isDigitalOutEnabled()); }},
        {"txpa", [](TarnTask& t) { return t.configureTXPowerAmpFeature(false); },
         [](TarnTask& t) { return long(t.getTXPowerAmpState()); }},
        {"rxpa", [](TarnTask& t) { return t.configureRXPowerAmpFeature(false); },
         [](TarnTask& t) { return long(t.getRXPowerAmpState()); }},
        {"txsw", [](TarnTask& t) { return t.configureTXRFSwitchFeature(false); },
         [](TarnTask& t) { return long(t.getTXRFSwitchState()); }},
        {"suppress", [](TarnTask& t) { return t.setSuppressFrequencyData(true); },
         [](TarnTask& t) { return long(t.getSuppressFrequencyDataSetting()); }},
        {"type", [](TarnTask& t) { return t.setMeasurementType(PROG_ASYNC); },
         [](TarnTask& t) { return long(t.getMeasurementType()); }},
        {"trigger", [](TarnTask& t) { return t.setSweepTriggerType(static_cast<Trigger_Type>(5)); },
         [](TarnTask& t) { return long(t.getSweepTriggerType()); }},
        {"sync", [](TarnTask& t) { return t.setSyncPulseMode(SYNC_GENERATE); },
         [](TarnTask& t) { return long(t.getSyncPulseMode()); }},
        {"offset", [](TarnTask& t) { return t.setFrequencyOffset(true, 3); },
         [](TarnTask& t) { return long(t.getFrequencyOffsetCounts()); }},
        {"address", [](TarnTask& t) { return t.setIPAddress("192.168.1.99"); },
         [](TarnTask& t) { return long(t.getIPAddress() != nullptr); }},
        {"port", [](TarnTask& t) { return t.setIPPort(1100); },
         [](TarnTask& t) { return long(t.getIPPort()); }},
    };
    const uint8_t everyFeature =
        kShaftEncoderBit | kSerialPortBit | kMultipleReceiversBit | kAttenuatorBit;
    for (const Setter& setter : setters) {
        for (Task_State busy : {TASK_STARTED, TASK_RUNNING}) {
            auto task = makeStoppedTask(SWITCHBOARD_TDD_4_PORT_SWITCH, everyFeature);
            const long before = setter.read(*task);
            setTaskState(*task, busy);
            EXPECT_EQ(setter.set(*task), ERR_WRONG_STATE) << setter.name;
            EXPECT_EQ(setter.read(*task), before) << setter.name;
            EXPECT_EQ(task->getState(), busy) << setter.name;
        }
        // The same call is accepted in both not-started states.
        for (Task_State idle : {TASK_UNINITIALIZED, TASK_STOPPED}) {
            auto task = makeStoppedTask(SWITCHBOARD_TDD_4_PORT_SWITCH, everyFeature);
            setTaskState(*task, idle);
            const long before = setter.read(*task);
            EXPECT_EQ(setter.set(*task), ERR_OK) << setter.name;
            EXPECT_NE(setter.read(*task), before) << setter.name;
        }
    }
}

TEST(TaskSettings, ReceiverMaskNeedsTheMultipleReceiverFeatureUnlessItIsTheFirstReceiver) {
    auto plain = makeStoppedTask();
    EXPECT_EQ(plain->setEnabledReceivers(1), ERR_OK);
    EXPECT_EQ(plain->setEnabledReceivers(0), ERR_FEATURE_NOT_PRESENT);
    EXPECT_EQ(plain->setEnabledReceivers(3), ERR_FEATURE_NOT_PRESENT);
    EXPECT_EQ(plain->getEnabledReceivers(), 1);

    auto multi = makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, kMultipleReceiversBit);
    EXPECT_EQ(multi->setEnabledReceivers(0), ERR_OK);
    EXPECT_EQ(multi->getnumberOfEnabledReceivers(), 1); // an empty mask still runs receiver 0
    EXPECT_EQ(multi->setEnabledReceivers(0x05), ERR_OK);
    EXPECT_EQ(multi->getnumberOfEnabledReceivers(), 2);
    EXPECT_EQ(multi->setEnabledReceivers(0x0F), ERR_OK);
    EXPECT_EQ(multi->getnumberOfEnabledReceivers(), 4);
    EXPECT_EQ(multi->setEnabledReceivers(0xF2), ERR_OK); // only the four low bits count
    EXPECT_EQ(multi->getnumberOfEnabledReceivers(), 1);
    EXPECT_EQ(multi->setEnabledReceivers(0xF0), ERR_OK);
    EXPECT_EQ(multi->getnumberOfEnabledReceivers(), 1);
}

TEST(TaskSettings, SerialPortAndEncodersNeedTheirFeatureAndTheBufferAtMost254Bytes) {
    auto plain = makeStoppedTask();
    EXPECT_EQ(plain->configureSerialPortFeature(true, 10), ERR_FEATURE_NOT_PRESENT);
    EXPECT_EQ(plain->configureShaftEncodersFeature(false, false), ERR_FEATURE_NOT_PRESENT);

    auto task = makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, kSerialPortBit);
    EXPECT_EQ(task->getSerialPortBufferSize(), 0u);
    EXPECT_EQ(task->configureSerialPortFeature(true, 254), ERR_OK);
    EXPECT_TRUE(task->isSerialPortEnabled());
    EXPECT_EQ(task->getSerialPortBufferSize(), 254u);
    EXPECT_EQ(task->configureSerialPortFeature(true, 255), ERR_TOO_MANY_POINTS);
    // The size is checked even when the port is being switched off.
    EXPECT_EQ(task->configureSerialPortFeature(false, 300), ERR_TOO_MANY_POINTS);
    EXPECT_EQ(task->getSerialPortBufferSize(), 254u);
    EXPECT_EQ(task->configureSerialPortFeature(false, 100), ERR_OK);
    EXPECT_FALSE(task->isSerialPortEnabled());
    EXPECT_EQ(task->getSerialPortBufferSize(), 0u);
}

TEST(TaskSettings, AttenuationIsEnabledByItsValueNotByTheFlag) {
    auto plain = makeStoppedTask();
    EXPECT_EQ(plain->configureSwitchboardAttenuationFeature(true, ATTEN_5), ERR_NO_ATTEN_PRESENT);
    EXPECT_FALSE(plain->isSwitchboardAttenuationEnabled());
    // Disabling with a value on a unit without attenuator stores the value all the same.
    EXPECT_EQ(plain->configureSwitchboardAttenuationFeature(false, ATTEN_5), ERR_OK);
    EXPECT_TRUE(plain->isSwitchboardAttenuationEnabled());
    EXPECT_EQ(plain->getSwitchboardAttenuation(), ATTEN_5);

    auto fitted = makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, kAttenuatorBit);
    EXPECT_EQ(fitted->configureSwitchboardAttenuationFeature(true, ATTEN_31), ERR_OK);
    EXPECT_EQ(fitted->getSwitchboardAttenuation(), ATTEN_31);
    EXPECT_EQ(fitted->configureSwitchboardAttenuationFeature(true, ATTEN_UNDEFINED), ERR_OK);
    EXPECT_FALSE(fitted->isSwitchboardAttenuationEnabled());
}

TEST(TaskSettings, TddNeedsTheTddBoardBeforeAnyValueIsLookedAt) {
    TDDConfiguration tooBig = tddWithin255();
    tooBig.attenuatorValue = 256;
    auto simple = makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
    EXPECT_EQ(simple->configureTDDFeature(true, tooBig), ERR_FEATURE_NOT_PRESENT);
    EXPECT_EQ(simple->configureTDDFeature(false, tddWithin255()), ERR_FEATURE_NOT_PRESENT);

    auto tdd = makeStoppedTask(SWITCHBOARD_TDD_4_PORT_SWITCH);
    EXPECT_EQ(tdd->configureTDDFeature(true, tooBig), ERR_INVALID_PARAMETER);
    for (int i = 0; i < 7; ++i) {
        TDDConfiguration late = tddWithin255();
        late.timing[i] = 256;
        EXPECT_EQ(tdd->configureTDDFeature(true, late), ERR_INVALID_PARAMETER) << i;
    }
    EXPECT_FALSE(tdd->isTDDEnabled());

    TDDConfiguration good = tddWithin255();
    good.extraValue = 9;
    good.timing[3] = 17;
    ASSERT_EQ(tdd->configureTDDFeature(true, good), ERR_OK);
    EXPECT_TRUE(tdd->isTDDEnabled());
    TDDConfiguration back = tdd->getTDDConfiguration();
    EXPECT_EQ(back.flag1, 1);
    EXPECT_EQ(back.attenuatorValue, 255);
    EXPECT_EQ(back.extraValue, 9u);
    EXPECT_EQ(back.timing[3], 17u);
    EXPECT_EQ(back.name, "burst");
}

TEST(TaskSettings, MeasurementTypeAcceptsOnlySyncAndAsync) {
    auto task = makeStoppedTask();
    EXPECT_EQ(task->setMeasurementType(static_cast<Program_Type>(0)), ERR_WRONG_PROGRAM_TYPE);
    EXPECT_EQ(task->setMeasurementType(static_cast<Program_Type>(4)), ERR_WRONG_PROGRAM_TYPE);
    EXPECT_EQ(task->getMeasurementType(), PROG_SYNC);
    EXPECT_EQ(task->setMeasurementType(PROG_ASYNC), ERR_OK);
    EXPECT_EQ(task->getMeasurementType(), PROG_ASYNC);
}

TEST(TaskConnection, AddressAndPortReturnTheTaskToUninitialised) {
    auto task = makeStoppedTask();
    EXPECT_EQ(task->setIPAddress(nullptr), ERR_MISSING_IP);
    EXPECT_EQ(task->getState(), TASK_STOPPED);
    EXPECT_EQ(task->setIPAddress(""), ERR_OK); // only a null pointer counts as missing
    ASSERT_NE(task->getIPAddress(), nullptr);
    EXPECT_STREQ(task->getIPAddress(), "");
    EXPECT_EQ(task->getState(), TASK_UNINITIALIZED);

    std::string caller = "192.168.1.12";
    setTaskState(*task, TASK_STOPPED);
    EXPECT_EQ(task->setIPAddress(caller.c_str()), ERR_OK);
    caller[0] = 'X'; // the task keeps its own copy
    EXPECT_STREQ(task->getIPAddress(), "192.168.1.12");
    EXPECT_EQ(task->getState(), TASK_UNINITIALIZED);

    EXPECT_EQ(task->setIPPort(1023), ERR_BAD_IP_PORT);
    EXPECT_EQ(task->setIPPort(1280), ERR_BAD_IP_PORT);
    EXPECT_EQ(task->setIPPort(-5), ERR_BAD_IP_PORT);
    EXPECT_EQ(task->setIPPort(INT_MIN), ERR_BAD_IP_PORT);
    EXPECT_EQ(task->setIPPort(1024 + 65536), ERR_BAD_IP_PORT);
    EXPECT_EQ(task->getIPPort(), 0);
    setTaskState(*task, TASK_STOPPED);
    EXPECT_EQ(task->setIPPort(1279), ERR_OK);
    EXPECT_EQ(task->getState(), TASK_UNINITIALIZED);
    EXPECT_EQ(task->setIPPort(1024), ERR_OK);
    EXPECT_EQ(task->getIPPort(), 1024);
}
