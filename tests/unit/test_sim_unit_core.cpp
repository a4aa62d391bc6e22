// The simulated unit without network: commands and their exact replies, program execution
// (registers, calls, packets, auxiliary blocks, timing), the physics of its samples, and
// malformed programs that must stop the unit without harming it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "program/program_reader.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"
#include "sim/unit_core.h"

namespace Orvek {
namespace Sim {
namespace {

constexpr double kRef = 125.0;
constexpr int kDivide = 100;

UnitHardware testHardware() {
    UnitHardware hardware;
    hardware.masterClockMHz = 32.0;
    hardware.ddsReferenceMHz = kRef;
    hardware.vcoMinimumMHz = 1600;
    hardware.vcoMaximumMHz = 3200;
    hardware.board = SWITCHBOARD_S_PARAMETER_SWITCH;
    hardware.receivers = 4;
    hardware.hasAttenuator = true;
    hardware.hasSerialPort = true;
    hardware.hasShaftEncoders = true;
    return hardware;
}

DutModel testDut() {
    DutModel dut;
    BandPassFilterDesign filter;
    filter.centreMHz = 2000;
    filter.bandwidthMHz = 300;
    dut.connectFilter(0, 1, filter);
    return dut;
}

// Tuning word for `f` in `band`, rounded to nearest, as a test computes it by hand.
std::uint32_t word(double f, int band) {
    return static_cast<std::uint32_t>(
        std::floor(f * (1 << band) * 16777216.0 / (kDivide * kRef) + 0.5));
}

double wordToMHz(std::uint32_t w, int band) {
    return w * kRef / 16777216.0 * kDivide / (1 << band);
}

std::vector<std::uint8_t> bytesOf(const ProgramSource& source) {
    std::vector<std::uint8_t> bytes;
    EXPECT_TRUE(parseProgramHex(source.compile(PromParameters()).program, bytes));
    bytes.push_back(0xFF); // the uploader's closing end byte
    return bytes;
}

struct Harness {
    UnitCore core{testHardware(), {0x12, 0x34}, RfModel(testDut()), CoreOptions{}};
    double now = 1.0;

    std::optional<std::string> send(const std::string& text) {
        Command command = parseCommand(text);
        if (command.kind == CommandKind::Invalid)
            return core.refuse(text, command.problem, now);
        return core.handle(command, now);
    }
    void upload(const ProgramSource& source) {
        Command command;
        command.kind = CommandKind::Upload;
        command.data = bytesOf(source);
        ASSERT_EQ(core.handle(command, now), std::optional<std::string>("FF"));
    }
    std::vector<DataPacket> runToEnd() {
        core.run(1e9, 10000000);
        EXPECT_FALSE(core.running());
        return core.takePackets();
    }
    std::vector<std::string> errors() {
        std::vector<std::string> texts;
        for (const CoreEvent& event : core.takeEvents())
            if (event.error)
                texts.push_back(event.text);
        return texts;
    }
};

// The set-up every acquisition needs: 90K hop rate, PLL N = 100 loaded, band 0 with all
// amplifiers on, receivers from `mask`, S-parameter path `path`.
void tune(ProgramSource& p, std::uint8_t mask, std::uint8_t path, int hop = 0) {
    p.add<Register>(0x85, hop, "");
    p.add<Register>(0x9D, 0x02, "");
    p.add<Register>(0xB4, 0x64, "");
    p.add<Register>(0x84, 0x01, "");
    p.add<Register>(0x80, 0x0F, "");
    p.add<Register>(0xA0, mask, "");
    p.add<Register>(0x82, path, "");
}

void point(ProgramSource& p, double f) {
    const std::uint32_t tx = word(f, 0);
    const std::uint32_t rx = tx + word(10.7002, 0);
    p.add<TxDDSRegister>(tx & 0xFF, (tx >> 8) & 0xFF, (tx >> 16) & 0xFF, "");
    p.add<RxDDSRegister>(rx & 0xFF, (rx >> 8) & 0xFF, (rx >> 16) & 0xFF, "");
    p.add<FE>("");
}

std::int16_t sampleAt(const std::vector<std::uint8_t>& datagram, std::size_t offset) {
    return static_cast<std::int16_t>((datagram[offset] << 8) | datagram[offset + 1]);
}

TEST(SimUnitCore, AnswersTheCommandVocabularyWithTheUnitsTexts) {
    Harness h;
    EXPECT_EQ(h.send("Q\n"), std::optional<std::string>("\r\n>"));
    EXPECT_EQ(h.send("V\n"), std::optional<std::string>("2c"));
    EXPECT_EQ(h.send("W0123\n"), std::optional<std::string>("\r\n>"));
    EXPECT_EQ(h.core.programCounter(), 0x0123);
    // Low-power sequence: supplies off, I/O update, and the register read back.
    EXPECT_EQ(h.send("Z8080\n"), std::optional<std::string>("\r\n>"));
    EXPECT_EQ(h.send("Z8408\n"), std::optional<std::string>("\r\n>"));
    EXPECT_EQ(h.send("Z80\n"), std::optional<std::string>("80\r\n>             "));
    EXPECT_EQ(h.send("Z80\n")->size(), 18u);
    EXPECT_EQ(h.send("z80\n"), std::optional<std::string>("?\r\n>"));
    EXPECT_EQ(h.send("Q"), std::optional<std::string>("?\r\n>"));
    EXPECT_EQ(h.send("B\n"), std::nullopt); // runs; data packets are its only answer
    EXPECT_EQ(h.errors().size(), 2u);
}

TEST(SimUnitCore, PromWritesNeedTheEnableAndTheirProgrammingTime) {
    Harness h;
    EXPECT_EQ(h.send("E0001\n"), std::optional<std::string>("34"));
    EXPECT_EQ(h.send("E0005\n"), std::optional<std::string>("ff"));
    h.send("E00013a\n");
    EXPECT_EQ(h.send("E0001\n"), std::optional<std::string>("34")) << "write-protected";
    ASSERT_EQ(h.errors().size(), 1u);

    h.send("ZB601\n");
    h.send("E00013A\n");
    EXPECT_EQ(h.send("E0001\n"), std::optional<std::string>("34")) << "still programming";
    h.now += 0.002;
    EXPECT_EQ(h.send("E0001\n"), std::optional<std::string>("3a"));
    h.send("ZB600\n");
    h.send("E0001ff\n");
    h.now += 0.01;
    EXPECT_EQ(h.send("E0001\n"), std::optional<std::string>("3a"));
}

TEST(SimUnitCore, SamplesAreTheDutSeenThroughThePathTheRegistersSelect) {
    Harness h;
    ProgramSource p;
    tune(p, 0x0F, 0x30); // all four receivers, port 0 -> port 1
    const std::vector<double> freqs = {1700.0, 1900.0, 2000.0, 2100.0, 3000.0};
    for (double f : freqs)
        point(p, f);
    p.add<FD>("");
    p.add<TriggerPacketTx>(true);
    p.add<FF>("");
    h.upload(p);
    h.send("B0000\n");
    const std::vector<DataPacket> packets = h.runToEnd();
    ASSERT_EQ(packets.size(), 1u);
    const std::vector<std::uint8_t>& d = packets[0].datagram;
    ASSERT_EQ(d.size(), 4 + freqs.size() * 4 * 4);
    EXPECT_EQ(d[0], 10); // tag A: the unit's address byte
    EXPECT_EQ(d[1], 1);  // tag B: the trigger's value
    EXPECT_EQ((d[2] << 8) | d[3], 1);

    const RfModel model(testDut());
    SwitchPath path;
    path.txPort = 0;
    path.rxPort = 1;
    for (std::size_t k = 0; k < freqs.size(); ++k) {
        const double f = wordToMHz(word(freqs[k], 0), 0);
        for (int r = 0; r < 4; ++r) {
            const IqSample expected = model.sample(RfState::tuned(f, path), r);
            const std::size_t at = 4 + (k * 4 + r) * 4;
            EXPECT_NEAR(sampleAt(d, at), expected.i, 1) << "point " << k << " receiver " << r;
            EXPECT_NEAR(sampleAt(d, at + 2), expected.q, 1) << "point " << k << " receiver " << r;
        }
    }
    // Receiver 0 / receiver 1 is S21 of the filter: large in band, small far out.
    auto ratio = [&](std::size_t k) {
        const std::complex<double> r0(sampleAt(d, 4 + k * 16), sampleAt(d, 6 + k * 16));
        const std::complex<double> r1(sampleAt(d, 8 + k * 16), sampleAt(d, 10 + k * 16));
        return std::abs(r0 / r1);
    };
    EXPECT_GT(ratio(2), 0.9);
    EXPECT_LT(ratio(4), 0.01);
}

TEST(SimUnitCore, WrongSynthesiserSettingsShowUpAsWrongData) {
    Harness h;
    ProgramSource p;
    tune(p, 0x03, 0x30);
    // A correct band-1 point: the output divider halves the VCO, so the word of 2000 MHz in
    // band 0 gives 1000 MHz in band 1.
    p.add<Register>(0x80, 0x0E, "band 1");
    const std::uint32_t tx1 = word(1000.0, 1);
    const std::uint32_t rx1 = tx1 + word(10.7002, 1);
    p.add<TxDDSRegister>(tx1 & 0xFF, (tx1 >> 8) & 0xFF, (tx1 >> 16) & 0xFF, "");
    p.add<RxDDSRegister>(rx1 & 0xFF, (rx1 >> 8) & 0xFF, (rx1 >> 16) & 0xFF, "");
    p.add<FE>("");
    // Band-0 words behind band-1 bits: the IF comes out halved and misses the crystal filter.
    point(p, 2000.0);
    // Right band, receive DDS 0.2 MHz off: the IF misses the filter too.
    p.add<Register>(0x80, 0x0F, "band 0");
    const std::uint32_t tx = word(2000.0, 0);
    const std::uint32_t rx = tx + word(10.9, 0);
    p.add<TxDDSRegister>(tx & 0xFF, (tx >> 8) & 0xFF, (tx >> 16) & 0xFF, "");
    p.add<RxDDSRegister>(rx & 0xFF, (rx >> 8) & 0xFF, (rx >> 16) & 0xFF, "");
    p.add<FE>("");
    p.add<TriggerPacketTx>(true);
    p.add<FF>("");
    h.upload(p);
    h.send("B0000\n");
    const std::vector<DataPacket> packets = h.runToEnd();
    ASSERT_EQ(packets.size(), 1u);
    const std::vector<std::uint8_t>& d = packets[0].datagram;
    ASSERT_EQ(d.size(), 4u + 3 * 8);
    SwitchPath path;
    path.txPort = 0, path.rxPort = 1;
    const RfModel model(testDut());
    const double f = wordToMHz(tx1, 1);
    EXPECT_NEAR(f, 1000.0, 0.001);
    for (int r = 0; r < 2; ++r) {
        const IqSample expected = model.sample(RfState::tuned(f, path), r);
        EXPECT_NEAR(sampleAt(d, 4 + 4 * r), expected.i, 1) << r;
        EXPECT_NEAR(sampleAt(d, 6 + 4 * r), expected.q, 1) << r;
    }
    EXPECT_NE(model.sample(RfState::tuned(f, path), 1), IqSample{});
    for (std::size_t i = 12; i < d.size(); ++i)
        EXPECT_EQ(d[i], 0) << "byte " << i;

    Harness unloaded;
    ProgramSource q;
    q.add<Register>(0x85, 0, "");
    q.add<Register>(0x80, 0x0F, "");
    q.add<Register>(0x82, 0x30, "");
    point(q, 2000.0);
    q.add<TriggerPacketTx>(true);
    q.add<FF>("");
    unloaded.upload(q);
    unloaded.send("B0000\n");
    const std::vector<DataPacket> dark = unloaded.runToEnd();
    ASSERT_EQ(dark.size(), 1u);
    EXPECT_EQ(dark[0].datagram, (std::vector<std::uint8_t>{10, 1, 0, 1, 0, 0, 0, 0}));
}

TEST(SimUnitCore, AuxiliaryBlocksComeFirstAndAnFeAfterARequestTakesTheBlock) {
    Harness h;
    h.core.serial().setInstrument(false);
    h.core.serial().feed({'a', 'b', 'c'});
    h.core.encoders().setRates(1e6, -250.0);
    ProgramSource p;
    tune(p, 0x01, 0x30);
    p.add<Register>(0x84, 0x40, "reset timer");
    p.add<Register>(0x87, 0x02, "reset encoders");
    p.add<Register>(0x8E, 6, "serial block of 6: count, 4 data, waiting");
    p.add<FD>("");
    p.add<Register>(0x87, 0x08, "serial");
    p.add<Register>(0x87, 0x01, "encoders");
    p.add<FE>("");
    p.add<Register>(0x87, 0x10, "timer");
    p.add<FE>("");
    point(p, 2000.0);
    p.add<TriggerPacketTx>(true);
    p.add<FF>("");
    h.upload(p);
    h.send("B0000\n");
    const std::vector<DataPacket> packets = h.runToEnd();
    ASSERT_EQ(packets.size(), 1u);
    const std::vector<std::uint8_t>& d = packets[0].datagram;
    ASSERT_EQ(d.size(), 4u + 6 + 4 + 4 + 4);
    EXPECT_EQ(std::vector<std::uint8_t>(d.begin() + 4, d.begin() + 10),
              (std::vector<std::uint8_t>{3, 'a', 'b', 'c', 0, 0}));
    // Encoders read one point (361 / 32 MHz) after their reset.
    const double point = 361 / 32e6;
    EXPECT_EQ((d[10] << 8) | d[11], static_cast<int>(std::floor(1e6 * point)));
    EXPECT_EQ((d[12] << 8) | d[13], 0xFFFF); // -250 counts/s: one count below zero
    // The timer counts master-clock cycles / 256 since its reset: two points later.
    const std::uint32_t timer = (d[14] << 24) | (d[15] << 16) | (d[16] << 8) | d[17];
    EXPECT_EQ(timer, static_cast<std::uint32_t>(std::floor(2 * 361 / 256.0)));
}

TEST(SimUnitCore, ProgramTimeFollowsTheHopRateAndTheMillisecondClock) {
    Harness h;
    ProgramSource p;
    tune(p, 0x01, 0x30, 7); // HOP_1K: 29774 cycles per point
    for (int i = 0; i < 10; ++i)
        p.add<FD>("");
    p.add<FC>("");
    p.add<FF>("");
    h.upload(p);
    h.now = 2.0003;
    h.send("B0000\n");
    h.core.run(2.0003 + 5 * 29774 / 32e6, 1000000);
    EXPECT_TRUE(h.core.running()) << "stops when the program time passes the limit";
    h.runToEnd();
    // 10 points of 0.93 ms end at 2.0096044; the FC then waits for 2.010.
    EXPECT_NEAR(h.core.programTime(), 2.010, 1e-9);
}

TEST(SimUnitCore, CallsReturnAndPacketCountersRunOnUntilReset) {
    Harness h;
    ProgramSource p;
    tune(p, 0x01, 0x30);
    p.add<Call>("sweep");
    p.add<Call>("sweep");
    p.add<Register>(0x87, 0x04, "reset counter");
    p.add<Call>("sweep");
    p.add<FF>("");
    p.add<Label>("sweep");
    point(p, 2000.0);
    p.add<TriggerPacketTx>(false);
    p.add<Return>();
    h.upload(p);
    h.send("B0000\n");
    const std::vector<DataPacket> packets = h.runToEnd();
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(packets[0].counter, 1);
    EXPECT_EQ(packets[1].counter, 2);
    EXPECT_EQ(packets[2].counter, 1);
    EXPECT_EQ(packets[2].tagB, 0);
    EXPECT_TRUE(h.errors().empty());
}

TEST(SimUnitCore, ABeginWhileRunningWaitsForTheRunningProgramsEnd) {
    Harness h;
    // 0000: hop 90K, two points, end;  0005: a packet tagged 7, end.
    ASSERT_EQ(h.send("W00008500FDFDFF8907FF\n"), std::optional<std::string>("FF"));
    const double point = 361 / 32e6;
    h.send("B0000\n");
    h.core.run(h.now + point / 2, 100);
    ASSERT_TRUE(h.core.running());
    EXPECT_EQ(h.send("B0005\n"), std::nullopt);
    const std::vector<DataPacket> packets = h.runToEnd();
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0].tagB, 7);
    EXPECT_NEAR(packets[0].programSeconds, h.now + 2 * point, 1e-12);

    // A halt forgets a deferred begin.
    h.now += 1.0;
    h.send("B0000\n");
    h.core.run(h.now, 100);
    h.send("B0005\n");
    h.send("Q\n");
    h.core.run(1e9, 1000);
    EXPECT_TRUE(h.core.takePackets().empty());
    EXPECT_TRUE(h.errors().empty());
}

TEST(SimUnitCore, MalformedProgramsStopWithAReasonAndTheUnitStaysUsable) {
    struct Case {
        const char* name;
        std::string hex;
        const char* reason;
    };
    const std::vector<Case> cases = {
        {"jump outside",
         "8500"
         "90709100FF",
         "jump to 0x7000 outside"},
        {"call outside",
         "8500"
         "90209300",
         "call to 0x2000 outside"},
        {"empty return",
         "8500"
         "95FF",
         "return with an empty call stack"},
        {"runaway",
         "8500"
         "90009102FF",
         "runaway program"},
        {"no end",
         "8500"
         "FD",
         "without an end"},
        {"bad hop rate",
         "85ee"
         "FD",
         "hop rate register"},
        {"recursion",
         "8500"
         "90009302",
         "overflows the 32-deep call stack"},
    };
    for (const Case& c : cases) {
        Harness h;
        ASSERT_EQ(h.send("W0000" + c.hex + "\n"),
                  std::optional<std::string>(c.hex.substr(c.hex.size() - 2)));
        h.send("B0000\n");
        h.runToEnd();
        const std::vector<std::string> errors = h.errors();
        ASSERT_EQ(errors.size(), 1u) << c.name;
        EXPECT_NE(errors[0].find(c.reason), std::string::npos) << c.name << ": " << errors[0];
        EXPECT_EQ(h.send("Q\n"), std::optional<std::string>("\r\n>")) << c.name;
    }
}

TEST(SimUnitCore, AFreeRunningProgramStreamsUntilHalted) {
    Harness h;
    ProgramSource p;
    tune(p, 0x01, 0x30);
    p.add<Jump>("loop"); // a label's marker bytes would end the program
    p.add<Label>("loop");
    point(p, 2000.0);
    p.add<TriggerPacketTx>(true);
    p.add<Jump>("loop");
    h.upload(p);
    h.send("B0000\n");
    h.core.run(1e9, 5000);
    EXPECT_TRUE(h.core.running());
    EXPECT_GT(h.core.takePackets().size(), 100u);
    EXPECT_EQ(h.send("Q\n"), std::optional<std::string>("\r\n>"));
    EXPECT_FALSE(h.core.running());
    h.core.run(1e9, 5000);
    EXPECT_TRUE(h.core.takePackets().empty());
}

TEST(SimUnitCore, AFrequencyOffsetMovesTheReceiverOffItsIf) {
    Harness h;
    ProgramSource p;
    tune(p, 0x03, 0x30);
    p.add<Register>(0x36, 0x01, "one count: 256 DDS steps");
    p.add<Register>(0x37, 0x01, "offset on");
    point(p, 2000.0);
    p.add<TriggerPacketTx>(true);
    p.add<FF>("");
    h.upload(p);
    h.send("B0000\n");
    const std::vector<DataPacket> packets = h.runToEnd();
    ASSERT_EQ(packets.size(), 1u);
    // 256 steps of 0.745 kHz: 190 kHz off a 15 kHz wide crystal filter.
    const double step = kRef * kDivide / 16777216.0;
    EXPECT_NEAR(h.core.receiverOffsetMHz(2000.0), 256 * step, 1e-12);
    EXPECT_NEAR(h.core.receiverOffsetMHz(250.0), 256 * step / 8, 1e-12);
    const RfState state = h.core.rfState();
    EXPECT_NEAR(state.rxFrequencyMHz - state.txFrequencyMHz, 10.7002 + 256 * step, step);
    EXPECT_EQ(packets[0].datagram,
              (std::vector<std::uint8_t>{10, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(SimUnitCore, RandomProgramsNeverHarmTheUnit) {
    std::mt19937 random(7);
    int timed = 0;
    for (int trial = 0; trial < 300; ++trial) {
        Harness h;
        Command upload;
        upload.kind = CommandKind::Upload;
        upload.address = static_cast<std::uint16_t>(random() % 64);
        upload.data.resize(1 + random() % 400);
        for (auto& byte : upload.data) {
            // Mostly the unit's own vocabulary, so that programs get somewhere.
            static const std::uint8_t common[] = {0x85, 0x00, 0xFD, 0xFE, 0xFF, 0x89, 0x90,
                                                  0x91, 0x93, 0x95, 0x87, 0x8E, 0xFC, 0xA0};
            byte = random() % 3 ? common[random() % sizeof common]
                                : static_cast<std::uint8_t>(random());
        }
        ASSERT_TRUE(h.core.handle(upload, h.now).has_value());
        char begin[16];
        std::snprintf(begin, sizeof begin, "B%04x\n",
                      static_cast<unsigned>(random() % (upload.address + upload.data.size())));
        h.send(begin);
        h.core.run(h.now + 0.5, 3000000);
        timed += h.core.programTime() > h.now;
        h.core.takePackets();
        h.core.takeEvents();
        EXPECT_EQ(h.send("Q\n"), std::optional<std::string>("\r\n>")) << trial;
        EXPECT_FALSE(h.core.running());
    }
    EXPECT_GT(timed, 30) << "enough programs got as far as a timed instruction";
}

TEST(SimUnitCore, TheAttenuatorLatchesOnTheIoUpdateAndOnlyHitsTheTestPorts) {
    Harness h;
    ProgramSource p;
    tune(p, 0x03, 0x30);
    p.add<Register>(0x82, 0x62, "5 dB, set");
    p.add<Register>(0x84, 0x08, "");
    p.add<Register>(0x82, 0x72, "5 dB, latch");
    p.add<Register>(0x84, 0x08, "");
    p.add<Register>(0x82, 0x30, "path");
    p.add<Register>(0x81, 0x02, "6 dB gain");
    point(p, 2000.0);
    p.add<TriggerPacketTx>(true);
    p.add<FF>("");
    h.upload(p);
    h.send("B0000\n");
    const std::vector<DataPacket> packets = h.runToEnd();
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(h.core.attenuatorDb(), 5);
    const std::vector<std::uint8_t>& d = packets[0].datagram;
    const double f = wordToMHz(word(2000.0, 0), 0);
    SwitchPath path;
    path.txPort = 0, path.rxPort = 1;
    RfState state = RfState::tuned(f, path);
    const RfModel model(testDut());
    const std::complex<double> plain = model.wave(state, 1);
    const std::complex<double> r1(sampleAt(d, 8), sampleAt(d, 10));
    EXPECT_NEAR(std::abs(r1) / std::abs(plain), std::pow(10.0, 6.0 / 20), 0.01);
    const std::complex<double> r0(sampleAt(d, 4), sampleAt(d, 6));
    EXPECT_NEAR(std::abs(r0 / r1),
                std::abs(model.wave(state, 0) / plain) * std::pow(10.0, -5.0 / 20), 0.01);
}

} // namespace
} // namespace Sim
} // namespace Orvek
