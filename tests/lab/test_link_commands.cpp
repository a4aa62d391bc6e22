// The unit's command exchanges over the lab: firmware version, message/reply matching by
// sender, program upload, program runs with their data packets, and multi-unit collection.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "fake_unit.h"
#include "lab_endpoint.h"
#include "lab_namespace.h"
#include "link/device_commands.h"
#include "program/program_source.h"
#include "tarndll.h"

using namespace std::chrono_literals;
using tarnlab::Datagram;
using tarnlab::FakeUnit;
using tarnlab::Replies;
using tarnlab::Reply;

namespace {

constexpr uint16_t port = 1101;
const std::string unitA = "192.168.1.10";
const std::string unitB = "192.168.1.11";

std::string bytes(std::initializer_list<int> values) {
    std::string result;
    for (int value : values) {
        result.push_back(static_cast<char>(value));
    }
    return result;
}

class LinkCommands : public ::testing::Test {
protected:
    void SetUp() override {
        TARN_REQUIRE_LAB_HOST_SIDE();
        endpoint = tarnlab::boundEndpoint(port);
        ASSERT_NE(endpoint, nullptr) << "cannot bind port " << port;
        endpoint->set_current_dst_ip(unitA);
    }
    std::shared_ptr<Orvek::SocketManager> endpoint;
};

TEST_F(LinkCommands, FirmwareVersionIsTwoHexDigitsAndZeroWithoutAUsableReply) {
    FakeUnit unit(unitA, port, tarnlab::constantScript("1a"));
    EXPECT_EQ(Orvek::getFirmwareVersion(endpoint, unitA), 26);
    EXPECT_EQ(unit.countReceived("V\n"), 1u);

    unit.setScript(tarnlab::constantScript("zz"));
    EXPECT_EQ(Orvek::getFirmwareVersion(endpoint, unitA), 0);

    unit.setScript(tarnlab::silentScript());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Orvek::getFirmwareVersion(endpoint, unitA), 0);
    // 250 ms time-out in 50 ms steps, plus one last step; far from a hang.
    const double took = tarnlab::millisecondsBetween(start, std::chrono::steady_clock::now());
    EXPECT_GE(took, 250.0);
    EXPECT_LT(took, 3000.0);
}

TEST_F(LinkCommands, ReplyIsTakenOnlyFromTheUnitAddressed) {
    // The unit answers from another unit's address first, then from its own, later.
    FakeUnit unit(unitA, port, [](const Datagram&) {
        return Replies{Reply("stray", 0ms, unitB), Reply("\r\n>", 20ms)};
    });
    std::string reply = "old";
    ASSERT_EQ(Orvek::TARN::sendMessage(endpoint, unitA, "Q\n", reply, 1000, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "\r\n>");
    ASSERT_EQ(endpoint->receive_from(reply, unitB, 0, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "stray");

    unit.setScript(tarnlab::silentScript());
    reply = "old";
    EXPECT_EQ(Orvek::TARN::sendMessage(endpoint, unitA, "Q\n", reply, 10, 1),
              Orvek::ERR_NO_RESPONSE);
    EXPECT_EQ(reply, ""); // the string form always replaces the reply
    std::vector<char> raw{'o', 'l', 'd'};
    EXPECT_EQ(Orvek::TARN::sendMessage(endpoint, unitA, std::vector<char>{'Q', '\n'}, raw, 10, 1),
              Orvek::ERR_NO_RESPONSE);
    EXPECT_EQ(std::string(raw.begin(), raw.end()), "old"); // the byte form leaves it alone
}

TEST_F(LinkCommands, UploadSendsTheWholeProgramAndChecksTheAcknowledgement) {
    FakeUnit unit(unitA, port, [](const Datagram& request) {
        // Acknowledge once the image text has ended.
        if (request.bytes.size() >= 3 &&
            request.bytes.compare(request.bytes.size() - 3, 3, "FF\n") == 0) {
            return Replies{Reply("FF\r\n>")};
        }
        return Replies{};
    });
    Orvek::CompiledProgram program;
    for (std::size_t i = 0; i < Orvek::TARN::maxProgramTextLength; ++i) {
        program.program.push_back("0123456789abcdef"[i % 16]);
    }
    ASSERT_EQ(Orvek::TARN::uploadProgram(endpoint, unitA, program), Orvek::ERR_OK);
    std::string joined;
    for (const Datagram& datagram : unit.received()) {
        EXPECT_LE(datagram.bytes.size(), 1400u);
        joined += datagram.bytes;
    }
    EXPECT_EQ(joined, "W0000" + program.program + "FF\n");

    unit.clearReceived();
    program.program.push_back('0');
    EXPECT_EQ(Orvek::TARN::uploadProgram(endpoint, unitA, program), Orvek::ERR_PROG_OVERFLOW);
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(unit.receivedCount(), 0u);
}

TEST_F(LinkCommands, UploadRefusesAnyAcknowledgementButFF) {
    Orvek::CompiledProgram program;
    program.program = "FFFFFFFFFD90009104ff";
    for (const std::string ack : {"F", "FE", "ff"}) {
        FakeUnit unit(unitA, port, tarnlab::constantScript(ack));
        EXPECT_EQ(Orvek::TARN::uploadProgram(endpoint, unitA, program), Orvek::ERR_BYTES) << ack;
    }
}

TEST_F(LinkCommands, UploadWaitsForTheAcknowledgementFromTheSelectedUnit) {
    // The task selects its unit before uploading; the acknowledgement is taken from there.
    endpoint->set_current_dst_ip(unitB);
    FakeUnit unit(unitA, port, [](const Datagram&) { return Replies{Reply("FF", 0ms, unitB)}; });
    Orvek::CompiledProgram program;
    program.program = "00";
    EXPECT_EQ(Orvek::TARN::uploadProgram(endpoint, unitA, program), Orvek::ERR_OK);
}

TEST_F(LinkCommands, RunCollectsDataPacketsInArrivalOrder) {
    FakeUnit unit(unitA, port, [](const Datagram& request) {
        if (request.bytes != "B0123\n") {
            return Replies{};
        }
        return Replies{Reply(bytes({0xA5, 0x5A, 0x01, 0x02, 0x7F})),
                       Reply(bytes({0x01, 0x02, 0xFF, 0xFE, 0x00, 0x80, 0x10}), 2ms)};
    });
    Orvek::EntryPoint entry;
    entry.address = 0x10123; // only the low 16 bits reach the unit
    entry.packetCount = 2;
    entry.packetTimeoutMs = 1000;
    std::vector<Orvek::PacketData> packets(5);
    ASSERT_EQ(Orvek::TARN::runProgram(endpoint, unitA, entry, packets, true), Orvek::ERR_OK);
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(packets[0].tagA, 0xA5);
    EXPECT_EQ(packets[0].tagB, 0x5A);
    EXPECT_EQ(packets[0].packetCounter, 0x0102);
    EXPECT_EQ(packets[0].payload, std::vector<uint8_t>{0x7F});
    EXPECT_EQ(packets[1].packetCounter, 0xFFFE);
    EXPECT_EQ(packets[1].payloadLength(), 3);
    EXPECT_EQ(packets[1].payload, (std::vector<uint8_t>{0x00, 0x80, 0x10}));
}

TEST_F(LinkCommands, RunWithoutPacketsOnlySendsTheBeginCommand) {
    FakeUnit unit(unitA, port);
    Orvek::EntryPoint entry;
    entry.address = 0x0040;
    std::vector<Orvek::PacketData> packets(3);
    EXPECT_EQ(Orvek::TARN::runProgram(endpoint, unitA, entry, packets, true), Orvek::ERR_OK);
    EXPECT_TRUE(packets.empty());
    ASSERT_TRUE(unit.waitForReceived(1, 1s));
    EXPECT_EQ(unit.received()[0].bytes, "B0040\n");
}

TEST_F(LinkCommands, RunStopsAtAShortDatagramOrASilentUnitKeepingWhatArrived) {
    FakeUnit unit(unitA, port);
    Orvek::EntryPoint entry;
    entry.packetCount = 3;
    entry.packetTimeoutMs = 100;
    std::vector<Orvek::PacketData> packets;

    // Started by other means: nothing is sent, the packets are only collected.
    unit.sendToHost(Reply(bytes({1, 2, 0, 1, 9})));
    unit.sendToHost(Reply(bytes({1, 2, 0, 2}), 1ms));
    EXPECT_EQ(Orvek::TARN::runProgram(endpoint, unitA, entry, packets, false), Orvek::ERR_BYTES);
    EXPECT_EQ(packets.size(), 1u);

    unit.sendToHost(Reply(bytes({1, 2, 0, 3, 9})));
    EXPECT_EQ(Orvek::TARN::runProgram(endpoint, unitA, entry, packets, false),
              Orvek::ERR_NO_RESPONSE);
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0].packetCounter, 3);
    EXPECT_EQ(unit.receivedCount(), 0u);
}

int callbackCalls = 0;
bool countCall(int percent, void* context) {
    EXPECT_EQ(percent, 0);
    EXPECT_EQ(context, &callbackCalls);
    ++callbackCalls;
    return false; // ignored
}

TEST_F(LinkCommands, ReceiveMultipleCollectsFromEveryUnitUntilEnoughOrQuiet) {
    FakeUnit a(unitA, port);
    FakeUnit b(unitB, port);
    std::vector<std::pair<std::string, std::vector<char>>> datagrams;

    a.sendToHost(Reply("early"));
    ASSERT_TRUE(tarnlab::waitForWaitingBytes(*endpoint));
    // Under one 50 ms pass: returns at once, receiving nothing.
    EXPECT_EQ(Orvek::TARN::receiveMultiple(endpoint, datagrams, 49, 1, nullptr, nullptr),
              Orvek::ERR_OK);
    EXPECT_TRUE(datagrams.empty());

    b.sendToHost(Reply("b1", 5ms));
    a.sendToHost(Reply("a2", 10ms));
    callbackCalls = 0;
    EXPECT_EQ(Orvek::TARN::receiveMultiple(endpoint, datagrams, 1000, 3, countCall, &callbackCalls),
              Orvek::ERR_OK);
    ASSERT_EQ(datagrams.size(), 3u);
    EXPECT_EQ(datagrams[0].first, unitA);
    EXPECT_EQ(std::string(datagrams[0].second.begin(), datagrams[0].second.end()), "early");
    EXPECT_GE(callbackCalls, 3);

    // Fewer than expected: two quiet passes end the collection without an error.
    datagrams.clear();
    b.sendToHost(Reply("b3"));
    EXPECT_EQ(Orvek::TARN::receiveMultiple(endpoint, datagrams, 100, 10, nullptr, nullptr),
              Orvek::ERR_OK);
    ASSERT_EQ(datagrams.size(), 1u);
    EXPECT_EQ(datagrams[0].first, unitB);
}

} // namespace
