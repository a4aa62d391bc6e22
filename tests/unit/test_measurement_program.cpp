// Generation of the measurement program: what the generated program makes the unit do (read
// back from the compiled image), the packet plan the decoder relies on, the timing figures and
// the listing kept with the program.
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hardware/point_timing.h"
#include "program/program_reader.h"
#include "task/task_helpers.h"
#include "task_test_access.h"

using namespace Orvek;

namespace {

// Compact rendering of the instructions from `label` to the next label (or the end): register
// writes "aa=vv" (the three writes of a DDS word as "tx" or "rx"), external writes "xaa=vv",
// D(elay), A(cquire), S(ync), E(nd), R(eturn), P0/P1 packet triggers, C:/J: call and jump.
std::string trace(const CompiledProgram& compiled, const std::string& label) {
    const ProgramReader reader = ProgramReader::fromCompiled(compiled);
    uint32_t address = 0;
    if (!reader.findLabel(label, address))
        return "no label " + label;
    std::string out;
    char text[32];
    while (address < reader.size()) {
        const Instruction in = reader.at(address);
        address = in.next();
        text[0] = '\0';
        switch (in.kind) {
        case InstructionKind::RegisterWrite:
            if (in.reg == 0x06 || in.reg == 0x05 || in.reg == 0x46 || in.reg == 0x45)
                continue;
            if (in.reg == 0x04 || in.reg == 0x44)
                std::snprintf(text, sizeof text, "%s", in.reg == 0x04 ? "tx" : "rx");
            else
                std::snprintf(text, sizeof text, "%02x=%02x", in.reg, in.value);
            break;
        case InstructionKind::ExternalWrite:
            std::snprintf(text, sizeof text, "x%02x=%02x", in.reg, in.value);
            break;
        case InstructionKind::PacketTrigger:
            std::snprintf(text, sizeof text, "P%d", in.value);
            break;
        case InstructionKind::Call:
        case InstructionKind::Jump: {
            const std::string* name = reader.labelNameAt(in.target);
            std::snprintf(text, sizeof text, "%s:%s", in.kind == InstructionKind::Call ? "C" : "J",
                          name ? name->c_str() : "?");
            break;
        }
        case InstructionKind::LabelMarker:
            return out;
        default: {
            static const char* const letters[] = {"", "S", "D", "A", "E", "", "", "", "R"};
            std::snprintf(text, sizeof text, "%s", letters[static_cast<int>(in.kind)]);
        }
        }
        out += (out.empty() ? "" : " ") + std::string(text);
    }
    return out;
}

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

std::string repeat(const std::string& token, int count) {
    std::string out;
    for (int i = 0; i < count; ++i)
        out += (i ? " " : "") + token;
    return out;
}

class MeasurementProgram : public ::testing::Test {
protected:
    void makeTask(SwitchBoard_Type board = SWITCHBOARD_SIMPLE_4_PORT_SWITCH, uint8_t flags = 0) {
        task = tarntest::makeStoppedTask(board, flags);
        helpers = std::make_unique<TarnTask::TaskHelpers>(task.get());
        ASSERT_EQ(task->setHopRate(HOP_1K), ERR_OK);
    }
    // `count` points from `first` MHz, `step` apart (all in band 0 of the test unit).
    void sweep(int count, double first = 3100.0, double step = 1.0) {
        std::vector<double> freqs(count);
        for (int i = 0; i < count; ++i)
            freqs[i] = first + i * step;
        ASSERT_EQ(task->setFrequencies(freqs.data(), count), ERR_OK);
    }
    TaskState& state() { return TarnTaskTestAccess::state(*task); }
    void build() { helpers->buildTarnProgramNormal(); }
    std::string traced(const std::string& label) { return trace(state().compiledProgram, label); }

    std::unique_ptr<TarnTask> task;
    std::unique_ptr<TarnTask::TaskHelpers> helpers;
};

// Band 0, both amplifiers and the transmit RF switch on, digital-output function.
const std::string kReg80On = "80=0f";

} // namespace

TEST_F(MeasurementProgram, SmallSweepRunsAsPlanned) {
    makeTask();
    sweep(2);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    build();

    // Preamble after the fixed power-up registers (which end with 9a=18).
    const std::string startup = traced("startup");
    const std::string tail = startup.substr(startup.find("9a=18") + 6);
    EXPECT_EQ(tail, "84=40 85=07 81=00 9d=00 b4=64 84=01 D D 20=40 " + kReg80On +
                        " 8e=00 36=00 37=00 9e=00 8f=00 a0=01 E");
    EXPECT_EQ(traced("jumptable start"), "82=14 9b=00 C:freqs E");
    EXPECT_EQ(traced("freqs"), "tx rx " + kReg80On + " " + repeat("D", 8) + " A tx rx A D P1 D R");

    const TaskState& s = state();
    EXPECT_EQ(s.packetSizes, std::vector<int>{8});
    EXPECT_EQ(s.pointCountPerFrame, 2 + 8 + 2);
    EXPECT_EQ(s.packetsPerSweep, 1);
    EXPECT_DOUBLE_EQ(s.sweepTimeMs, msPerPoint(HOP_1K, tarntest::kTestUnitMasterClockMHz) * 12);
    uint32_t address = 0;
    ASSERT_TRUE(s.compiledProgram.findLabel("jumptable start", address));
    EXPECT_EQ(s.mainEntryPoint.address, address);
    EXPECT_EQ(s.mainEntryPoint.packetCount, 1);
    EXPECT_EQ(s.mainEntryPoint.packetLengths, s.packetSizes);
    ASSERT_TRUE(s.compiledProgram.findLabel("startup", address));
    EXPECT_EQ(s.startupEntryPoint.address, address);
    EXPECT_EQ(s.startupEntryPoint.packetCount, 0);
}

TEST_F(MeasurementProgram, PacketsBreakAfterMoreThan1399BytesUnlessOnlyAShortTailRemains) {
    struct Case {
        int points;
        unsigned char receivers;
        std::vector<int> sizes;
    } cases[] = {
        {400, 0x1, {1400, 200}}, // break after point 350
        {351, 0x1, {1404}},      // the 4 bytes left after point 350 join its packet
        {355, 0x1, {1420}},      // so does a tail of exactly 20 bytes
        {356, 0x1, {1400, 24}},
        {200, 0x5, {1400, 200}}, // 8 bytes per point
        {300, 0xF, {1408, 1408, 1408, 576}},
    };
    for (const Case& c : cases) {
        makeTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0x40); // multiple receivers
        ASSERT_EQ(task->setEnabledReceivers(c.receivers), ERR_OK);
        sweep(c.points, 3000.0, 2.0);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_0), ERR_OK);
        build();
        SCOPED_TRACE(c.points);
        EXPECT_EQ(state().packetSizes, c.sizes);
        EXPECT_EQ(state().packetsPerSweep, 2 * static_cast<int>(c.sizes.size()));
        // Every packet holds exactly the samples acquired since the previous one.
        const std::string acquisition = traced("freqs");
        std::vector<int> acquired{0};
        for (std::size_t at = 0; at < acquisition.size(); ++at) {
            if (acquisition[at] == 'A')
                acquired.back() += 4 * task->getnumberOfEnabledReceivers();
            if (acquisition[at] == 'P')
                acquired.push_back(0);
        }
        acquired.pop_back();
        EXPECT_EQ(acquired, c.sizes);
    }
}

TEST_F(MeasurementProgram, AuxiliaryBlocksOpenThePassAndCountInTheFirstPacket) {
    makeTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0x09); // serial port, shaft encoders
    ASSERT_EQ(task->configureSerialPortFeature(true, 100), ERR_OK);
    ASSERT_EQ(task->configureShaftEncodersFeature(true, true), ERR_OK);
    ASSERT_EQ(task->setSendSweepTimer(true), ERR_OK);
    sweep(400);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    build();

    // Serial block 102 + encoders 4 + timer 4 = 110 bytes before the samples.
    EXPECT_EQ(state().packetSizes, (std::vector<int>{110 + 323 * 4, 77 * 4}));
    // Each requested block is taken by the FE that follows its request.
    EXPECT_TRUE(startsWith(traced("freqs"), "87=08 87=01 A D 87=10 A tx rx 80=0f D"));
    EXPECT_EQ(traced("jumptable start"),
              "82=14 9b=00 D C:freqs E"); // the serial buffer needs a point to be written
    const std::string startup = traced("startup");
    EXPECT_NE(startup.find("8e=66 36=00"), std::string::npos);
    EXPECT_NE(startup.find("8f=00 87=02 D a0=01 E"), std::string::npos);
    EXPECT_EQ(state().pointCountPerFrame, 1 + 2 + 1 + 400 + 8 + 2 + 2);
}

TEST_F(MeasurementProgram, SuppressedFrequencyDataSendsOnlyTheAuxiliaryBlocks) {
    makeTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0x09);
    ASSERT_EQ(task->configureSerialPortFeature(true, 10), ERR_OK);
    ASSERT_EQ(task->configureShaftEncodersFeature(true, false), ERR_OK);
    ASSERT_EQ(task->setSuppressFrequencyData(true), ERR_OK);
    sweep(600);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    build();
    EXPECT_EQ(state().packetSizes, std::vector<int>{12 + 4});
    // The encoder block is the only acquisition; the points are timed with FD.
    const std::string acquisition = traced("freqs");
    EXPECT_TRUE(startsWith(acquisition,
                           "87=08 87=01 A D tx rx 80=0f " + repeat("D", 9) + " tx rx D tx rx D"));
    EXPECT_EQ(acquisition.find(" A", 14), std::string::npos);
    EXPECT_EQ(acquisition.find("P0"), std::string::npos);
}

TEST_F(MeasurementProgram, TransmitterIsOffInsideExclusionBands) {
    makeTask();
    ASSERT_EQ(task->addExclusionBand(3150.0, 3250.0), ERR_OK);
    sweep(4, 3100.0, 100.0);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    build();
    // Point 2 (3200 MHz) is inside: transmit amplifier and RF switch off, no settling delay.
    EXPECT_EQ(traced("freqs"), "tx rx " + kReg80On + " " + repeat("D", 8) +
                                   " A tx rx 80=05 A tx rx " + kReg80On + " A tx rx A D P1 D R");
}

TEST_F(MeasurementProgram, JumpTableFollowsPathsModeAndClock) {
    makeTask();
    sweep(1);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_2, TARN_RX_PATH_3), ERR_OK);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_3, TARN_RX_PATH_0), ERR_OK);
    ASSERT_EQ(task->setMeasurementType(PROG_ASYNC), ERR_OK);
    ASSERT_EQ(task->setSyncPulseMode(SYNC_GENERATE), ERR_OK);
    build();
    EXPECT_EQ(traced("jumptable start"),
              "S D 82=36 9b=00 C:freqs 82=70 9b=00 C:freqs J:jumptable start E");
    EXPECT_NE(traced("startup").find("8f=20"), std::string::npos);
    EXPECT_EQ(state().packetsPerSweep, 2);
}

TEST_F(MeasurementProgram, TddBoardGetsItsFlagsTimingAndAttenuator) {
    makeTask(SWITCHBOARD_TDD_4_PORT_SWITCH);
    TDDConfiguration tdd;
    tdd.flag1 = 1;      // tdd
    tdd.flag4 = 7;      // power amplifier
    tdd.extraValue = 1; // attenuator switch
    tdd.attenuatorValue = 200;
    for (int i = 0; i < 7; ++i)
        tdd.timing[i] = 10 + i;
    ASSERT_EQ(task->configureTDDFeature(true, tdd), ERR_OK);
    sweep(1);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_NONE, TARN_RX_PATH_1), ERR_OK);
    build();
    EXPECT_EQ(state().tddFlagsWord, 0x29);
    EXPECT_EQ(state().tddDescription,
              " tdd: on, nulling: off, pa: on, slave: no, atten: on, lna: off");
    EXPECT_NE(
        traced("startup").find("x00=29 x01=0b x02=0c x03=0d x04=0e x05=0f x06=10 x07=c8 D a0=01 E"),
        std::string::npos);
    EXPECT_EQ(traced("jumptable start"), "82=15 9b=00 x00=29 C:freqs E");
    EXPECT_TRUE(startsWith(traced("freqs"), "x00=29 tx rx "));
}

TEST_F(MeasurementProgram, PreambleReflectsGainPadAttenuatorAndModes) {
    makeTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0x80 | 0x09); // attenuator, serial, encoders
    ASSERT_EQ(task->setReceiverGain(TARN_GAIN_15), ERR_OK);
    ASSERT_EQ(task->setReceiver12dBPadEnabled(true), ERR_OK);
    ASSERT_EQ(task->configureSwitchboardAttenuationFeature(true, ATTEN_5), ERR_OK);
    ASSERT_EQ(task->configureSerialPortFeature(true, 254), ERR_OK);
    ASSERT_EQ(task->configureDigitalOutFeature(true, true), ERR_OK);
    ASSERT_EQ(task->setFrequencyOffset(true, 0x1234), ERR_OK);
    ASSERT_EQ(task->setResetFrameCounterOnStart(true), ERR_OK);
    sweep(1);
    build();
    const std::string startup = traced("startup");
    EXPECT_NE(startup.find("81=15 9d"), std::string::npos) << startup;
    EXPECT_NE(startup.find("20=40 82=62 84=08 82=72 84=08 80=0f 8e=00 36=34 37=03 9e=08 8f=00 "
                           "87=04 D a0=01 E"),
              std::string::npos)
        << startup;
}

TEST_F(MeasurementProgram, UnknownSyncModeKeepsThePreviousProgram) {
    makeTask();
    sweep(3);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    build();
    const CompiledProgram before = state().compiledProgram;
    ASSERT_EQ(task->setSyncPulseMode(static_cast<Sync_Pulse_Mode>(5)), ERR_OK);
    sweep(400);
    try {
        build();
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Unhandled millisecond clock enum value: 5");
    }
    EXPECT_EQ(state().compiledProgram.program, before.program);
    EXPECT_EQ(state().packetSizes, std::vector<int>{12});
}

TEST_F(MeasurementProgram, PacketTimeOutCoversTheSlowestRateAndStaysBounded) {
    makeTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0x09);
    ASSERT_EQ(task->setHopRate(HOP_20), ERR_OK);
    ASSERT_EQ(task->configureSerialPortFeature(true, 254), ERR_OK);
    sweep(1000, 400.0, 5.0); // band changes inside the packets
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    build();
    // Longest stretch of timed instructions before a packet goes out, counting the jump
    // table's share before the first packet.
    const std::string acquisition = "D " + traced("freqs");
    int longest = 0;
    int run = 0;
    for (char c : acquisition) {
        if (c == 'D' || c == 'A' || c == 'S')
            ++run;
        if (c == 'P') {
            longest = std::max(longest, run);
            run = 0;
        }
    }
    const double pointMs = msPerPoint(HOP_20, tarntest::kTestUnitMasterClockMHz);
    const int timeout = helpers->packetTimeoutMs();
    EXPECT_GE(timeout, longest * pointMs);
    EXPECT_LE(timeout, (longest + 4) * pointMs + 1000 + 1);
    EXPECT_EQ(state().mainEntryPoint.packetTimeoutMs, timeout);
    // A longer task time-out lengthens the wait (external triggers, slow links).
    ASSERT_EQ(task->setTimeout(120000), ERR_OK);
    EXPECT_EQ(helpers->packetTimeoutMs(), 120000);
}
