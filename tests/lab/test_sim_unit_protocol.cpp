// The simulated unit over the lab, driven through the library's link functions: PROM
// transfers that verify byte for byte, the low-power exchange, and faults that a test can
// switch on while the unit runs and reproduce from their seed.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "lab_endpoint.h"
#include "lab_namespace.h"
#include "link/device_commands.h"
#include "link/prom_transfer.h"
#include "link/socket_manager.h"
#include "program/program_source.h"
#include "prom_fixtures.h"
#include "sim_units.h"

namespace {

using namespace Orvek;
using Clock = std::chrono::steady_clock;

class SimUnitProtocol : public ::testing::Test {
protected:
    void SetUp() override { TARN_REQUIRE_LAB_HOST_SIDE(); }

    Sim::SimUnit& startUnit(const std::string& profile, const std::string& address,
                            std::uint16_t port) {
        Sim::SimUnit& unit = units.add(profile, address, port);
        EXPECT_EQ(units.start(), "");
        endpoint = tarnlab::boundEndpoint(port);
        EXPECT_NE(endpoint, nullptr);
        endpoint->set_current_dst_ip(address);
        return unit;
    }

    std::string exchange(const std::string& address, const std::string& command,
                         int timeoutMs = 200) {
        std::string reply;
        lastResult = TARN::sendMessage(endpoint, address, command, reply, timeoutMs, 1);
        return reply;
    }

    static std::vector<std::uint8_t> bytesOf(const std::vector<int>& image) {
        return std::vector<std::uint8_t>(image.begin(), image.end());
    }

    tarnlab::SimulatedUnits units;
    std::shared_ptr<SocketManager> endpoint;
    int lastResult = 0;
};

TEST_F(SimUnitProtocol, PromUploadEraseAndDownloadVerifyByteForByte) {
    const std::string address = "192.168.1.13";
    Sim::SimUnit& unit = startUnit("none", address, 1153);

    PromParameters downloaded;
    ASSERT_EQ(TARN::downloadProm(endpoint, address, downloaded, nullptr, nullptr), 0);
    EXPECT_TRUE(tarntest::promParametersEqual(Sim::profileParameters("none", 13), downloaded));

    // Another unit's description written over it, then read back.
    PromParameters replacement = Sim::profileParameters("simple-4port", 13);
    replacement.Unit_serial_number = 4242;
    ASSERT_EQ(TARN::uploadProm(endpoint, address, replacement, nullptr, nullptr, false), 0);
    const std::vector<std::uint8_t> image = bytesOf(replacement.generateFullBytestream());
    std::vector<std::uint8_t> held = unit.promContents();
    ASSERT_GE(held.size(), image.size());
    EXPECT_EQ(std::vector<std::uint8_t>(held.begin(), held.begin() + image.size()), image);
    EXPECT_EQ(unit.reg(0xB6), 0x00) << "writing disabled again";
    PromParameters readBack;
    ASSERT_EQ(TARN::downloadProm(endpoint, address, readBack, nullptr, nullptr), 0);
    EXPECT_TRUE(tarntest::promParametersEqual(replacement, readBack));

    // Erase a 64-byte part: exactly those bytes become 0xFF, and then the PROM reads as empty.
    PromParameters small;
    small.Prom_geometry_1 = 1;
    small.Prom_geometry_2 = 64;
    ASSERT_EQ(TARN::eraseProm(endpoint, address, small, nullptr, nullptr), 0);
    held = unit.promContents();
    EXPECT_EQ(std::vector<std::uint8_t>(held.begin(), held.begin() + 64),
              std::vector<std::uint8_t>(64, 0xFF));
    EXPECT_EQ(std::vector<std::uint8_t>(held.begin() + 64, held.begin() + image.size()),
              std::vector<std::uint8_t>(image.begin() + 64, image.end()));
    PromParameters none;
    EXPECT_EQ(TARN::downloadProm(endpoint, address, none, nullptr, nullptr), ERR_EMPTY_PROM);

    // Without the write enable nothing is written.
    EXPECT_EQ(exchange(address, "E00003a\n"), "\r\n>");
    EXPECT_EQ(exchange(address, "E0000\n"), "ff");
}

TEST_F(SimUnitProtocol, WornPromCellsAreWrittenAgainUntilTheyTake) {
    const std::string address = "192.168.1.14";
    Sim::SimUnit& unit = startUnit("none", address, 1154);
    Sim::FaultSettings faults;
    faults.promWriteAttempts = 2;
    unit.setFaults(faults);
    exchange(address, "ZB601\n");
    for (int a = 100; a < 103; ++a)
        EXPECT_EQ(writePromByte(endpoint, address, a, 0x40 + a), 0) << a;
    exchange(address, "ZB600\n");
    const std::vector<std::uint8_t> held = unit.promContents();
    int writes = 0;
    for (int a = 100; a < 103; ++a) {
        EXPECT_EQ(held[a], 0x40 + a);
        char command[16];
        std::snprintf(command, sizeof command, "E%04x%02x\n", a, 0x40 + a);
        for (const Sim::LogEntry& entry : unit.log(Sim::LogKind::Command))
            writes += entry.text == command;
    }
    // Each cell ignored its first write; the library's verify loop wrote it once more.
    EXPECT_EQ(writes, 6);
}

TEST_F(SimUnitProtocol, LowPowerAndIdentificationAnswerAsAUnitDoes) {
    const std::string address = "192.168.1.15";
    Sim::SimUnit& unit = startUnit("tdd-4port", address, 1155);
    EXPECT_EQ(getFirmwareVersion(endpoint, address), 0x2c);
    EXPECT_EQ(exchange(address, "Q\n"), "\r\n>");
    exchange(address, "Z8080\n");
    EXPECT_EQ(lastResult, 0);
    exchange(address, "Z8408\n");
    EXPECT_EQ(exchange(address, "Z80\n"), "80\r\n>             ");
    EXPECT_EQ(unit.reg(0x80), 0x80);
    EXPECT_TRUE(unit.rfState().suppliesOff);
    EXPECT_EQ(exchange(address, "nonsense\n"), "?\r\n>");
}

// Counters of the data packets that arrive within `quietMs` of each other.
std::vector<int> collectCounters(SocketManager& endpoint, const std::string& address, int quietMs) {
    std::vector<int> counters;
    std::vector<char> datagram;
    while (endpoint.receive_from(datagram, address, quietMs, 1) == 0)
        counters.push_back(datagram.size() >= 4 ? (static_cast<std::uint8_t>(datagram[2]) << 8) |
                                                      static_cast<std::uint8_t>(datagram[3])
                                                : -1);
    return counters;
}

TEST_F(SimUnitProtocol, PacketFaultsRepeatWithTheirSeed) {
    const std::string address = "192.168.1.16";
    Sim::SimUnit& unit = startUnit("s-param", address, 1156);
    // 40 short packets, counted from 1 on every run.
    ProgramSource program;
    program.add<Register>(0x85, 0x00, "90K");
    program.add<Register>(0x87, 0x04, "reset packet counter");
    for (int i = 0; i < 40; ++i) {
        program.add<FE>("");
        program.add<TriggerPacketTx>(false);
    }
    program.add<FF>("");
    ASSERT_EQ(TARN::uploadProgram(endpoint, address, program.compile(PromParameters())), 0);

    auto run = [&](std::uint64_t seed) {
        unit.setFaults(Sim::FaultSettings::parse(
            "drop=0.2,duplicate=0.1,reorder=0.1,truncate=0.1,seed=" + std::to_string(seed)));
        endpoint->send_to(address, std::string("B0000\n"));
        return collectCounters(*endpoint, address, 300);
    };
    const std::vector<int> first = run(11);
    EXPECT_EQ(run(11), first);
    EXPECT_NE(run(12), first);
    EXPECT_LT(first.size(), 46u);
    EXPECT_GT(first.size(), 20u);

    std::size_t dropped = 0;
    for (const Sim::LogEntry& entry : unit.log(Sim::LogKind::Packet))
        dropped += entry.fault == "dropped";
    EXPECT_GT(dropped, 0u);

    unit.setFaults(Sim::FaultSettings());
    endpoint->send_to(address, std::string("B0000\n"));
    std::vector<int> clean = collectCounters(*endpoint, address, 300);
    std::vector<int> expected;
    for (int i = 1; i <= 40; ++i)
        expected.push_back(i);
    EXPECT_EQ(clean, expected);
}

TEST_F(SimUnitProtocol, AUnitStreamingAtFullRateStillHearsAHalt) {
    const std::string address = "192.168.1.10";
    Sim::SimUnit& unit = startUnit("none", address, 1150);
    // One small packet per point at the fastest rate: about 90000 datagrams a second.
    ProgramSource flood;
    flood.add<Register>(0x85, HOP_90K, "");
    flood.add<Jump>("loop");
    flood.add<Label>("loop");
    flood.add<FE>("");
    flood.add<TriggerPacketTx>(true);
    flood.add<Jump>("loop");
    ASSERT_EQ(TARN::uploadProgram(endpoint, address, flood.compile(PromParameters())), 0);
    endpoint->send_to(address, std::string("B0000\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_TRUE(unit.status().running);

    // The host's halt exchange: a halt, the backlog drained, a second halt for the prompt.
    bool halted = false;
    for (int attempt = 0; attempt < 5 && !halted; ++attempt) {
        exchange(address, "Q\n", 100);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        endpoint->flush_buffers();
        halted = exchange(address, "Q\n", 100) == "\r\n>";
    }
    EXPECT_TRUE(halted);
    EXPECT_FALSE(unit.status().running);
}

TEST(SimUnitTiming, FastModeOutrunsTheClockAndATriggerRunsTheIdleUnit) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    tarnlab::SimulatedUnits units;
    Sim::UnitConfig fast = tarnlab::simUnitConfig("none", "192.168.1.18", 1159);
    fast.realTime = false;
    Sim::SimUnit& fastUnit = units.add(fast);
    Sim::UnitConfig triggered = tarnlab::simUnitConfig("none", "192.168.1.19", 1159);
    triggered.triggerPeriodMs = 25;
    Sim::SimUnit& triggeredUnit = units.add(triggered);
    ASSERT_EQ(units.start(), "");
    auto endpoint = tarnlab::boundEndpoint(1159);
    ASSERT_NE(endpoint, nullptr);

    // 50 points at the slowest rate: 2.6 s of unit time.
    ProgramSource slow;
    slow.add<Register>(0x85, HOP_20, "hop rate");
    for (int i = 0; i < 50; ++i)
        slow.add<FE>("");
    slow.add<TriggerPacketTx>(true);
    slow.add<FF>("");
    endpoint->set_current_dst_ip("192.168.1.18");
    ASSERT_EQ(TARN::uploadProgram(endpoint, "192.168.1.18", slow.compile(PromParameters())), 0);
    EntryPoint entry;
    entry.packetCount = 1;
    entry.packetTimeoutMs = 1000;
    std::vector<PacketData> packets;
    const auto before = Clock::now();
    ASSERT_EQ(TARN::runProgram(endpoint, "192.168.1.18", entry, packets, true), 0);
    EXPECT_LT(tarnlab::millisecondsBetween(before, Clock::now()), 1500.0) << "2.6 s in real time";
    EXPECT_EQ(packets[0].payloadLength(), 200);
    const auto sent = fastUnit.log(Sim::LogKind::Packet);
    ASSERT_EQ(sent.size(), 1u);
    // The unit's own clock still counted every point.
    const std::vector<Sim::LogEntry> events = fastUnit.log(Sim::LogKind::Event);
    double begun = -1;
    for (const Sim::LogEntry& event : events)
        if (event.text.rfind("run 0x0000", 0) == 0)
            begun = event.programSeconds;
    EXPECT_NEAR(sent[0].programSeconds - begun, 50 * 1677441 / 32e6, 1e-6);

    // A one-packet program behind the program counter: the trigger starts it, no begin sent.
    ProgramSource once;
    once.add<Register>(0x85, HOP_90K, "");
    once.add<FE>("");
    once.add<TriggerPacketTx>(true);
    once.add<FF>("");
    endpoint->set_current_dst_ip("192.168.1.19");
    ASSERT_EQ(TARN::uploadProgram(endpoint, "192.168.1.19", once.compile(PromParameters())), 0);
    entry.packetCount = 3;
    entry.packetTimeoutMs = 200;
    ASSERT_EQ(TARN::runProgram(endpoint, "192.168.1.19", entry, packets, false), 0);
    EXPECT_EQ(packets[1].packetCounter, packets[0].packetCounter + 1);
    EXPECT_EQ(packets[2].packetCounter, packets[1].packetCounter + 1);
    EXPECT_EQ(triggeredUnit.status().errors, 0u);
}

TEST_F(SimUnitProtocol, RepliesCanBeDelayedWithheldSilencedOrSentFromElsewhere) {
    const std::string address = "192.168.1.17";
    Sim::SimUnit& unit = startUnit("simple-4port", address, 1157);

    unit.setFaults(Sim::FaultSettings::parse("delay-ms=150"));
    const auto before = Clock::now();
    EXPECT_EQ(exchange(address, "V\n", 400), "2c");
    EXPECT_GE(tarnlab::millisecondsBetween(before, Clock::now()), 145.0);
    exchange(address, "V\n", 50);
    EXPECT_EQ(lastResult, ERR_NO_RESPONSE);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    endpoint->flush_buffers();

    unit.setFaults(Sim::FaultSettings::parse("withhold-next=1"));
    exchange(address, "V\n", 100);
    EXPECT_EQ(lastResult, ERR_NO_RESPONSE);
    EXPECT_EQ(exchange(address, "V\n"), "2c");

    // Silent: no replies, and a program that keeps running sends nothing either.
    ProgramSource stream;
    stream.add<Register>(0x85, HOP_1K, "");
    stream.add<Jump>("loop");
    stream.add<Label>("loop");
    stream.add<FE>("");
    stream.add<TriggerPacketTx>(true);
    stream.add<Jump>("loop");
    ASSERT_EQ(TARN::uploadProgram(endpoint, address, stream.compile(PromParameters())), 0);
    endpoint->send_to(address, std::string("B0000\n"));
    std::vector<char> packet;
    EXPECT_EQ(endpoint->receive_from(packet, address, 200, 1), 0) << "streaming";
    unit.setFaults(Sim::FaultSettings::parse("silent"));
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    endpoint->flush_buffers(); // packets sent before the silence
    exchange(address, "Q\n", 100);
    EXPECT_EQ(lastResult, ERR_NO_RESPONSE);
    EXPECT_NE(endpoint->receive_from(packet, address, 100, 1), 0) << "nothing while silent";
    EXPECT_TRUE(unit.status().running) << "the halt was not heard";
    unit.setFaults(Sim::FaultSettings());
    EXPECT_EQ(endpoint->receive_from(packet, address, 200, 1), 0) << "streaming again";
    // Halt as the library does: the first reply may be lost among the packets.
    exchange(address, "Q\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    endpoint->flush_buffers();
    EXPECT_EQ(exchange(address, "Q\n"), "\r\n>");
    EXPECT_FALSE(unit.status().running);

    unit.setFaults(Sim::FaultSettings::parse("answer-from=192.168.1.19"));
    exchange(address, "V\n", 100);
    EXPECT_EQ(lastResult, ERR_NO_RESPONSE) << "the reply comes from another address";
    // A sender that no task addresses is not queued at all.
    std::string stray;
    EXPECT_EQ(endpoint->receive_from(stray, "192.168.1.19", 100, 1), ERR_NO_RESPONSE);
    EXPECT_GE(endpoint->counters().foreignDropped, 1u);

    unit.setFaults(Sim::FaultSettings());
    EXPECT_EQ(exchange(address, "Q\n"), "\r\n>");
}

} // namespace
