// Generation of the measurement program from plain inputs: what the program makes the unit do
// (read back from the compiled image), the packet plan the decoder relies on, the timing
// figures, exact bytes of small programs, and that a task hands its settings to the generator.
#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hardware/point_timing.h"
#include "program/measurement_program.h"
#include "program/program_reader.h"
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

std::string repeat(const std::string& token, int count) {
    std::string out;
    for (int i = 0; i < count; ++i)
        out += (i ? " " : "") + token;
    return out;
}

// Band 0, both amplifiers and the transmit RF switch on, digital-output function.
const std::string kReg80On = "80=0f";

class MeasurementProgramTest : public ::testing::Test {
protected:
    void SetUp() override {
        unit(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0);
        in.hopRate = HOP_1K;
    }
    void unit(SwitchBoard_Type board, uint8_t flags) {
        tarntest::describeTestUnit(prom, board, flags);
    }
    // `count` points from `first` MHz, `step` apart (all in band 0 of the test unit), one path.
    void sweep(int count, double first = 3100.0, double step = 1.0) {
        in.frequencies.clear();
        for (int i = 0; i < count; ++i)
            in.frequencies.push_back(first + i * step);
        in.transmitterOff.assign(in.frequencies.size(), false);
        if (in.paths.empty())
            in.paths.push_back({0x14, "path"});
    }
    void build() { p = generateMeasurementProgram(in, prom); }
    std::string traced(const std::string& label) { return trace(p.compiled, label); }
    bool startsWith(const std::string& label, const std::string& prefix) {
        return traced(label).compare(0, prefix.size(), prefix) == 0;
    }
    bool contains(const std::string& label, const std::string& part) {
        return traced(label).find(part) != std::string::npos;
    }

    PromParameters prom;
    MeasurementProgramInput in;
    MeasurementProgram p;
};

} // namespace

TEST_F(MeasurementProgramTest, SmallSweepExactBytesAndBookkeeping) {
    in.hopRate = HOP_1K;
    sweep(2);
    build();
    // Every byte of the program: power-up, preamble (hop 07, PLL 00/64 for N = 100 with the
    // 16/17 prescaler, 80=0f), jump table calling 0x64, then 3100 and 3101 MHz in band 0 (1 kHz
    // steps: tx words 0x2F4D60 and 0x2F5148, rx 10700 steps above).
    EXPECT_EQ(p.compiled.program,
              "FFFFFFFF800e8300850084088e7fFDFD7500740035003400FDFD3308320231003000730872027180"
              "7000FDFD970098009b009a188440850781009d00b4648401FDFD2040800f8e00360037009e008f00"
              "a001FFFFFFFFFF82149b0090009364FF"
              "FFFFFFFF0660054d042f462c4577442f800fFDFDFDFDFDFDFDFDFE06480551042f4614457b442fFEFD"
              "8901FD95FF");
    EXPECT_EQ(traced("jumptable start"), "82=14 9b=00 C:freqs E");
    EXPECT_EQ(traced("freqs"), "tx rx " + kReg80On + " " + repeat("D", 8) + " A tx rx A D P1 D R");
    EXPECT_EQ(p.packetSizes, std::vector<int>{8});
    EXPECT_EQ(p.passLength, 2 + 8 + 2);
    EXPECT_EQ(p.packetsPerSweep, 1);
    EXPECT_DOUBLE_EQ(p.sweepTimeMs, msPerPoint(HOP_1K, tarntest::kTestUnitMasterClockMHz) * 12);
    // Entry points behind their label markers: the jump table at 0x57 with its packet, the
    // start-up at 4 with none.
    EXPECT_EQ(p.main.address, 0x57u);
    EXPECT_EQ(p.main.packetLengths, p.packetSizes);
    EXPECT_EQ(p.startup.address, 4u);
    EXPECT_EQ(p.startup.packetCount, 0);
}

TEST_F(MeasurementProgramTest, PacketsBreakAfterMoreThan1399BytesUnlessOnlyAShortTailRemains) {
    struct Case {
        int points, receivers;
        std::vector<int> sizes;
    } cases[] = {
        {400, 1, {1400, 200}}, // break after point 350
        {351, 1, {1404}},      // the 4 bytes left after point 350 join its packet
        {355, 1, {1420}},      // so does a tail of exactly 20 bytes
        {356, 1, {1400, 24}},
        {200, 2, {1400, 200}}, // 8 bytes per point
        {300, 4, {1408, 1408, 1408, 576}},
    };
    in.paths = {{0x14, "a"}, {0x41, "b"}};
    for (const Case& c : cases) {
        in.receiverCount = c.receivers;
        sweep(c.points, 3000.0, 2.0);
        build();
        SCOPED_TRACE(c.points);
        EXPECT_EQ(p.packetSizes, c.sizes);
        EXPECT_EQ(p.packetsPerSweep, 2 * static_cast<int>(c.sizes.size()));
        // Every packet holds exactly the samples acquired since the previous one.
        const std::string acquisition = traced("freqs");
        std::vector<int> acquired{0};
        for (char at : acquisition) {
            if (at == 'A')
                acquired.back() += 4 * c.receivers;
            if (at == 'P')
                acquired.push_back(0);
        }
        acquired.pop_back();
        EXPECT_EQ(acquired, c.sizes);
    }
}

TEST_F(MeasurementProgramTest, AuxiliaryBlocksOpenThePassAndCountInTheFirstPacket) {
    in.serialBufferSize = 100;
    in.shaftEncodersEnabled = in.resetShaftEncodersOnStart = in.sendSweepTimer = true;
    sweep(400);
    build();
    // Serial block 102 + encoders 4 + timer 4 = 110 bytes before the samples.
    EXPECT_EQ(p.packetSizes, (std::vector<int>{110 + 323 * 4, 77 * 4}));
    // Each requested block is taken by the FE that follows its request.
    EXPECT_TRUE(startsWith("freqs", "87=08 87=01 A D 87=10 A tx rx 80=0f D"));
    // The serial buffer needs a point to be written.
    EXPECT_EQ(traced("jumptable start"), "82=14 9b=00 D C:freqs E");
    EXPECT_TRUE(contains("startup", "8e=66 36=00"));
    EXPECT_TRUE(contains("startup", "8f=00 87=02 D a0=01 E"));
    EXPECT_EQ(p.passLength, 1 + 2 + 1 + 400 + 8 + 2 + 2);

    // Without frequency data the encoder block is the only acquisition; points are timed by FD.
    in.sendSweepTimer = false;
    in.serialBufferSize = 10;
    in.suppressFrequencyData = true;
    sweep(600);
    build();
    EXPECT_EQ(p.packetSizes, std::vector<int>{12 + 4});
    EXPECT_TRUE(
        startsWith("freqs", "87=08 87=01 A D tx rx 80=0f " + repeat("D", 9) + " tx rx D tx rx D"));
    EXPECT_EQ(traced("freqs").find(" A", 14), std::string::npos);
    EXPECT_FALSE(contains("freqs", "P0"));
}

TEST_F(MeasurementProgramTest, JumpTableFollowsPathsModeAndClock) {
    in.paths = {{0x36, "a"}, {-1, "no switch"}, {0x70, "b"}};
    in.measurementType = PROG_ASYNC;
    in.syncPulseMode = SYNC_GENERATE;
    sweep(1);
    build();
    EXPECT_EQ(traced("jumptable start"),
              "S D 82=36 9b=00 C:freqs 9b=00 C:freqs 82=70 9b=00 C:freqs J:jumptable start E");
    EXPECT_TRUE(contains("startup", "8f=20"));
    EXPECT_EQ(p.packetsPerSweep, 3);
}

TEST_F(MeasurementProgramTest, TddBoardGetsItsFlagsTimingAndAttenuator) {
    unit(SWITCHBOARD_TDD_4_PORT_SWITCH, 0);
    in.tddEnabled = true;
    in.tddConfiguration.flag1 = 1;      // tdd
    in.tddConfiguration.flag4 = 7;      // power amplifier
    in.tddConfiguration.extraValue = 1; // attenuator switch
    in.tddConfiguration.attenuatorValue = 200;
    for (int i = 0; i < 7; ++i)
        in.tddConfiguration.timing[i] = 10 + i;
    sweep(1);
    build();
    EXPECT_EQ(p.tddFlagsWord, 0x29);
    EXPECT_EQ(p.tddDescription, " tdd: on, nulling: off, pa: on, slave: no, atten: on, lna: off");
    EXPECT_TRUE(
        contains("startup", "x00=29 x01=0b x02=0c x03=0d x04=0e x05=0f x06=10 x07=c8 D a0=01 E"));
    EXPECT_EQ(traced("jumptable start"), "82=14 9b=00 x00=29 C:freqs E");
    EXPECT_TRUE(startsWith("freqs", "x00=29 tx rx "));

    // Disabled, the board keeps being given the word last programmed, and no timing.
    in.tddEnabled = false;
    in.tddFlagsWord = 0x11;
    build();
    EXPECT_EQ(p.tddFlagsWord, 0x11);
    EXPECT_FALSE(contains("startup", "x01="));
    EXPECT_TRUE(startsWith("freqs", "x00=11 tx rx "));
}

TEST_F(MeasurementProgramTest, PreambleReflectsGainPadAttenuatorAndModes) {
    in.receiverGain = TARN_GAIN_15;
    in.receiver12dBPad = true;
    in.attenuatorFitted = true;
    in.switchboardAttenuation = ATTEN_5;
    in.serialBufferSize = 254; // the block size wraps in the 8-bit register
    in.digitalOutEnabled = in.digitalOutValue = true;
    in.frequencyOffsetEnabled = true;
    in.frequencyOffsetCounts = 0x1234;
    in.resetFrameCounterOnStart = true;
    in.enabledReceivers = 0x0B;
    sweep(1);
    build();
    EXPECT_TRUE(contains("startup", "81=15 9d"));
    EXPECT_TRUE(contains("startup", "20=40 82=62 84=08 82=72 84=08 80=0f 8e=00 36=34 37=03 9e=08 "
                                    "8f=00 87=04 D a0=0b E"));
}

TEST_F(MeasurementProgramTest, RefusedInputsThrowTheirErrors) {
    sweep(3);
    const struct {
        Hop_Rate hop;
        int sync;
        double freq;
        const char* what;
    } cases[] = {
        {HOP_UNDEFINED, SYNC_IGNORE, 3100.0, "No hop rate set?"},
        {HOP_1K, 5, 3100.0, "Unhandled millisecond clock enum value: 5"},
        {HOP_1K, SYNC_IGNORE, 100.0, "Invalid band (Not in set [0,1,2,3])"}, // band 5
    };
    for (const auto& c : cases) {
        in.hopRate = c.hop;
        in.syncPulseMode = static_cast<Sync_Pulse_Mode>(c.sync);
        in.frequencies[1] = c.freq;
        try {
            build();
            ADD_FAILURE() << "no exception for " << c.what;
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), c.what);
        }
    }
}

TEST_F(MeasurementProgramTest, PacketTimeOutCoversTheSlowestRateAndStaysBounded) {
    in.hopRate = HOP_20;
    in.serialBufferSize = 254;
    in.minimumPacketTimeoutMs = 100;
    sweep(1000, 400.0, 5.0); // band changes inside the packets
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
    EXPECT_GE(p.main.packetTimeoutMs, longest * pointMs);
    EXPECT_LE(p.main.packetTimeoutMs, (longest + 4) * pointMs + 1000 + 1);
    // A longer task time-out lengthens the wait (external triggers, slow links).
    in.minimumPacketTimeoutMs = 120000;
    build();
    EXPECT_EQ(p.main.packetTimeoutMs, 120000);
}

// The task hands every setting to the generator and keeps what it returns; a failed build
// keeps the previous program.
TEST(TaskProgramBuild, SettingsReachTheProgramAndAFailedBuildKeepsThePrevious) {
    auto task = tarntest::makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0xC9);
    TaskState& s = TarnTaskTestAccess::state(*task);
    ASSERT_EQ(task->setHopRate(HOP_3K), ERR_OK);
    ASSERT_EQ(task->setReceiverGain(TARN_GAIN_6), ERR_OK);
    ASSERT_EQ(task->setEnabledReceivers(0x3), ERR_OK);
    ASSERT_EQ(task->configureSerialPortFeature(true, 5), ERR_OK);
    ASSERT_EQ(task->configureShaftEncodersFeature(true, true), ERR_OK);
    ASSERT_EQ(task->configureSwitchboardAttenuationFeature(true, ATTEN_3), ERR_OK);
    ASSERT_EQ(task->configureRXPowerAmpFeature(false), ERR_OK);
    ASSERT_EQ(task->setFrequencyOffset(true, 7), ERR_OK);
    ASSERT_EQ(task->setSendSweepTimer(true), ERR_OK);
    ASSERT_EQ(task->setSyncPulseMode(SYNC_RECEIVE), ERR_OK);
    ASSERT_EQ(task->addExclusionBand(3100.5, 3101.5), ERR_OK);
    const double freqs[] = {3100.0, 3101.0, 1600.0};
    ASSERT_EQ(task->setFrequencies(freqs, 3), ERR_OK);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    TarnTaskTestAccess::helpers(*task).buildTarnProgramNormal();
    const CompiledProgram built = s.compiledProgram;
    // Hop 05, gain 02, attenuator 3 dB (0x64, latched 0x74), receive amplifier off (80=0b),
    // serial block 07, offset 07 enabled, receive sync (8f=10), encoder reset, receivers 03;
    // sync and serial delays in the jump table; the excluded 3101 MHz with 80=01; 1600 MHz in
    // band 1 (tx 0x30D400, rx 21400 steps above) with 80=0a.
    EXPECT_EQ(built.program,
              "FFFFFFFF800e8300850084088e7fFDFD7500740035003400FDFD3308320231003000730872027180"
              "7000FDFD970098009b009a188440850581029d00b4648401FDFD2040826484088274840880"
              "0b8e07360737019e008f108702FDa003FFFFFFFFFFFCFD82149b00FD90009372FF"
              "FFFFFFFF87088701FEFD8710FE0660054d042f462c4577442f800bFDFDFDFDFDFDFDFDFE0648055104"
              "2f4614457b442f8001FE060005d40430469845274431800aFDFDFDFDFDFDFDFDFEFD8901FD95FF");
    EXPECT_EQ(s.packetSizes, std::vector<int>{7 + 4 + 4 + 3 * 8});
    EXPECT_EQ(s.mainEntryPoint.packetCount, 1);
    EXPECT_EQ(s.pointCountPerFrame, 1 + 2 + 1 + 3 + 16 + 2);

    ASSERT_EQ(task->setSyncPulseMode(static_cast<Sync_Pulse_Mode>(5)), ERR_OK);
    EXPECT_THROW(TarnTaskTestAccess::helpers(*task).buildTarnProgramNormal(), std::runtime_error);
    EXPECT_EQ(s.compiledProgram.program, built.program);
}
