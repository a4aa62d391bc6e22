// The unit's command exchanges over the lab: firmware version, program upload, program runs
// with their data packets, and collection from several units.
#include <gtest/gtest.h>

#include "fake_unit.h"
#include "lab_endpoint.h"
#include "link/device_commands.h"
#include "program/program_source.h"
#include "tarndll.h"

using namespace std::chrono_literals;
using namespace std::string_literals;
using tarnlab::Datagram;
using tarnlab::FakeUnit;
using tarnlab::Replies;
using tarnlab::Reply;

namespace {

const std::string unitA = "192.168.1.10";
const std::string unitB = "192.168.1.11";

using LinkCommands = tarnlab::EndpointTest<1101>;

TEST_F(LinkCommands, FirmwareVersionComesFromTheUnitAskedAndIsZeroWithoutAUsableReply) {
    FakeUnit a(unitA, port);
    FakeUnit b(unitB, port);
    b.sendToHost(Reply("2b")); // another unit's datagram, waiting first
    ASSERT_TRUE(tarnlab::waitForWaitingBytes(*endpoint));
    const std::pair<const char*, int> cases[] = {{"1a", 26}, {"zz", 0}, {"", 0}};
    for (const auto& [reply, version] : cases) {
        a.setScript(*reply ? tarnlab::constantScript(reply) : tarnlab::silentScript());
        const auto start = tarnlab::Clock::now();
        EXPECT_EQ(Orvek::getFirmwareVersion(endpoint, unitA), version) << reply;
        // A silent unit is given its 250 ms before it counts as absent.
        EXPECT_GE(tarnlab::millisecondsBetween(start, tarnlab::Clock::now()), *reply ? 0 : 250.0);
    }
    EXPECT_EQ(a.countReceived("V\n"), 3u);
}

TEST_F(LinkCommands, UploadSendsTheWholeTextAndTakesOnlyFFFromTheSelectedUnit) {
    FakeUnit a(unitA, port);
    FakeUnit b(unitB, port);
    Orvek::CompiledProgram program;
    for (std::size_t i = 0; i <= Orvek::TARN::maxProgramTextLength; ++i)
        program.program.push_back("0123456789abcdef"[i % 16]);
    EXPECT_EQ(Orvek::TARN::uploadProgram(endpoint, unitA, program), Orvek::ERR_PROG_OVERFLOW);
    program.program.pop_back();

    // The task selects its unit before uploading; the acknowledgement is taken from there.
    endpoint->set_current_dst_ip(unitB);
    const std::string good = "FF\r\n>"; // only a reply starting "FF" acknowledges
    for (const std::string& ack : {good, "F"s, "FE"s, "ff"s}) {
        b.sendToHost(Reply(ack));
        EXPECT_EQ(Orvek::TARN::uploadProgram(endpoint, unitA, program),
                  ack == good ? Orvek::ERR_OK : Orvek::ERR_BYTES)
            << ack;
    }
    // The overflowing text sent nothing; each upload sent the whole text.
    const std::string message = "W0000" + program.program + "FF\n";
    const std::size_t slices = (message.size() + 1399) / 1400;
    ASSERT_TRUE(a.waitForReceived(4 * slices, 2s));
    std::string joined;
    for (const Datagram& datagram : a.received())
        joined += datagram.bytes;
    EXPECT_TRUE(joined == message + message + message + message);
}

TEST_F(LinkCommands, RunCollectsItsPacketsUntilAShortOrMissingOne) {
    FakeUnit unit(unitA, port, [](const Datagram& request) {
        return request.bytes != "B0123\n" ? Replies{}
                                          : Replies{Reply("\xA5\x5A\x01\x02\x7F"s),
                                                    Reply("\x01\x02\xFF\xFE\x00\x80\x10"s)};
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
    EXPECT_EQ(packets[0].payload, std::vector<uint8_t>{0x7F});
    EXPECT_EQ(packets[1].packetCounter, 0xFFFE); // big-endian, unsigned
    EXPECT_EQ(packets[1].payload, (std::vector<uint8_t>{0x00, 0x80, 0x10}));

    // Started by other means: nothing is sent; what arrived before the end stays.
    unit.clearReceived();
    entry.packetCount = 3;
    entry.packetTimeoutMs = 100;
    unit.sendToHost(Reply("\x01\x02\x00\x01\x09"s));
    unit.sendToHost(Reply("\x01\x02\x00\x02"s));
    EXPECT_EQ(Orvek::TARN::runProgram(endpoint, unitA, entry, packets, false), Orvek::ERR_BYTES);
    EXPECT_EQ(packets.size(), 1u);
    unit.sendToHost(Reply("\x01\x02\x00\x03\x09"s));
    EXPECT_EQ(Orvek::TARN::runProgram(endpoint, unitA, entry, packets, false),
              Orvek::ERR_NO_RESPONSE);
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0].packetCounter, 3);
    EXPECT_EQ(unit.receivedCount(), 0u);
}

TEST_F(LinkCommands, ReceiveMultipleCollectsFromEveryUnitUntilEnoughOrQuiet) {
    FakeUnit a(unitA, port);
    FakeUnit b(unitB, port);
    for (const char* text : {"a1", "a2"})
        a.sendToHost(Reply(text));
    for (const char* text : {"b1", "b2"})
        b.sendToHost(Reply(text));
    std::vector<std::pair<std::string, std::vector<char>>> got;
    EXPECT_EQ(Orvek::TARN::receiveMultiple(endpoint, got, 1000, 3, nullptr, nullptr),
              Orvek::ERR_OK);
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].first, unitA);
    EXPECT_EQ(std::string(got[0].second.begin(), got[0].second.end()), "a1");
    // Fewer than expected: quiet passes end the collection without an error.
    got.clear();
    EXPECT_EQ(Orvek::TARN::receiveMultiple(endpoint, got, 100, 10, nullptr, nullptr),
              Orvek::ERR_OK);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(std::string(got[0].second.begin(), got[0].second.end()), "b2"); // last in order
}

} // namespace
