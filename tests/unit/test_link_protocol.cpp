// The unit's command protocol over the in-memory endpoint: command texts, replies taken from
// the right unit, program runs, the halt exchange and PROM transfer, late replies included.
#include <gtest/gtest.h>

#include "link/device_commands.h"
#include "link/prom_transfer.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"
#include "prom_fixtures.h"
#include "scripted_transport.h"

using namespace Orvek;
using namespace std::string_literals;
using tarntest::PromUnit;
using tarntest::Replies;
using tarntest::Reply;

namespace {

const std::string unitA = "192.168.1.10";
const std::string unitB = "192.168.1.11";

struct LinkProtocol : ::testing::Test {
    std::shared_ptr<tarntest::ScriptedTransport> link =
        std::make_shared<tarntest::ScriptedTransport>();
    // Answers the first `times` requests equal to `request` with `answer` ("": silence).
    void override(const PromUnit& prom, const std::string& request, int times,
                  const std::string& answer, long long delayMs = 0) {
        auto served = std::make_shared<int>(0);
        link->setUnit(unitA, [=](const std::string& r) {
            if (r != request || (*served)++ >= times)
                return prom.script()(r);
            return answer.empty() ? Replies{} : Replies{Reply(answer, delayMs)};
        });
    }
};

TEST_F(LinkProtocol, CommandsAreFormattedAndAnsweredByTheUnitAsked) {
    link->setUnit(unitA, PromUnit().script());
    link->arrive(unitB, Reply("2b")); // another unit's datagram, waiting first
    EXPECT_EQ(getFirmwareVersion(link, unitA), 26);
    link->setUnit(unitA, [](const std::string&) { return Replies{Reply("zz")}; });
    EXPECT_EQ(getFirmwareVersion(link, unitA), 0);
    link->setUnit(unitA, nullptr);
    const long long before = link->nowMs();
    EXPECT_EQ(getFirmwareVersion(link, unitA), 0);
    EXPECT_EQ(link->nowMs() - before, 250); // a silent unit gets its 250 ms

    link->setUnit(unitA, PromUnit().script());
    EXPECT_EQ(TARN::setProgramCounter(link, unitA, 0x1abcd, 100), ERR_OK);
    EXPECT_EQ(TARN::beginAtProgramCounter(link, unitA), ERR_OK);
    EXPECT_EQ(TARN::enterLowPower(link, unitA, 100), ERR_OK);
    EXPECT_EQ(link->requests(unitA).size(), 8u);
    EXPECT_EQ(
        std::vector<std::string>(link->requests(unitA).begin() + 3, link->requests(unitA).end()),
        (std::vector<std::string>{"Wabcd\n", "B\n", "Z8080\n", "Z8408\n", "Z80\n"}));
    // Only the exact padded read-back counts; silence too is a wrong read-back.
    for (const std::string& readBack : {"80\r\n>"s, ""s}) {
        link->setUnit(unitA, [readBack](const std::string& r) {
            return Replies{Reply(r == "Z80\n" ? readBack : "\r\n>")};
        });
        EXPECT_EQ(TARN::enterLowPower(link, unitA, 100), ERR_BYTES) << readBack;
    }
    std::string other;
    EXPECT_EQ(link->receive_from(other, unitB, 0, 1), ERR_OK);
    EXPECT_EQ(other, "2b");
}

TEST_F(LinkProtocol, UploadSendsTheWholeTextAndOnlyFFAcknowledges) {
    CompiledProgram program;
    program.program.assign(TARN::maxProgramTextLength + 1, 'a');
    EXPECT_EQ(TARN::uploadProgram(link, unitA, program), ERR_PROG_OVERFLOW);
    EXPECT_TRUE(link->requests(unitA).empty());
    program.program.pop_back();
    for (const std::string& ack : {"FF\r\n>"s, "F"s, "FE"s, "ff"s}) {
        link->setUnit(unitA, [ack](const std::string&) { return Replies{Reply(ack)}; });
        link->arrive(unitB, Reply("FF")); // the selected unit's answer must not count
        link->set_current_dst_ip(unitB);
        EXPECT_EQ(TARN::uploadProgram(link, unitA, program), ack == "FF\r\n>" ? ERR_OK : ERR_BYTES)
            << ack;
    }
    EXPECT_EQ(link->requests(unitA).back(), "W0000" + program.program + "FF\n");
}

TEST_F(LinkProtocol, RunCollectsItsPacketsUntilAShortOrMissingOne) {
    link->setUnit(unitA, [](const std::string& r) {
        return r != "B0123\n" ? Replies{}
                              : Replies{Reply("\xA5\x5A\x01\x02\x7F"s, 5),
                                        Reply("\x01\x02\xFF\xFE\x00\x80\x10"s, 9)};
    });
    EntryPoint entry;
    entry.address = 0x10123; // only the low 16 bits reach the unit
    entry.packetCount = 2;
    entry.packetTimeoutMs = 1000;
    std::vector<PacketData> packets(5);
    ASSERT_EQ(TARN::runProgram(link, unitA, entry, packets, true), ERR_OK);
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(packets[0].tagA, 0xA5);
    EXPECT_EQ(packets[0].tagB, 0x5A);
    EXPECT_EQ(packets[0].payload, std::vector<uint8_t>{0x7F});
    EXPECT_EQ(packets[1].packetCounter, 0xFFFE); // big-endian, unsigned
    EXPECT_EQ(packets[1].payload, (std::vector<uint8_t>{0x00, 0x80, 0x10}));

    // Started by other means: nothing is sent; what arrived before the end stays.
    entry.packetCount = 3;
    link->arrive(unitA, Reply("\x01\x02\x00\x01\x09"s));
    link->arrive(unitA, Reply("\x01\x02\x00\x02"s));
    EXPECT_EQ(TARN::runProgram(link, unitA, entry, packets, false), ERR_BYTES);
    EXPECT_EQ(packets.size(), 1u);
    EXPECT_EQ(TARN::runProgram(link, unitA, entry, packets, false), ERR_NO_RESPONSE);
    EXPECT_EQ(link->requests(unitA).size(), 1u);
}

TEST_F(LinkProtocol, HaltExchangeWantsAPromptToTheSecondQAfterDroppingWhatWasLeft) {
    const std::string stale = "\x01\x02\x00\x07stale"s;
    struct Case {
        Replies firstAnswer, laterAnswer;
        int attempts, result;
        std::size_t halts;
    };
    const Case cases[] = {
        {{Reply("\r\n>")}, {Reply("\r\n>")}, 3, ERR_OK, 2},
        {{Reply(stale), Reply(stale), Reply("\r\n>")}, {Reply("\r\n>  ")}, 1, ERR_OK, 2},
        {{Reply("\r\n")}, {Reply("\r\n")}, 3, ERR_NO_RESPONSE, 6},
        {{}, {}, 0, ERR_NO_RESPONSE, 0},
    };
    for (const Case& c : cases) {
        link = std::make_shared<tarntest::ScriptedTransport>();
        auto halts = std::make_shared<int>(0);
        link->setUnit(unitA, [c, halts](const std::string& r) {
            return r != "Q\n" ? Replies{} : ++*halts == 1 ? c.firstAnswer : c.laterAnswer;
        });
        EXPECT_EQ(haltExchange(link, unitA, 30, c.attempts), c.result) << c.halts;
        EXPECT_EQ(link->count(unitA, "Q\n"), c.halts);
    }
}

TEST_F(LinkProtocol, AWrittenByteIsReadBackAndRewrittenFromTheFourthMismatch) {
    struct Case {
        int mismatches, result;
        std::size_t reads, writes;
    };
    for (const Case c : {Case{3, ERR_OK, 4, 1}, Case{1000, ERR_BAD_PROM, 25, 23}}) {
        PromUnit prom;
        link = std::make_shared<tarntest::ScriptedTransport>();
        override(prom, "E0007\n", c.mismatches, "00");
        EXPECT_EQ(writePromByte(link, unitA, 7, 0x3a), c.result);
        EXPECT_EQ(link->count(unitA, "E0007\n"), c.reads);
        EXPECT_EQ(link->count(unitA, "E00073a\n"), c.writes);
    }
}

TEST_F(LinkProtocol, AMissedReadIsHaltedAndAskedAgainAndALateReplyIsNeverTheNextByte) {
    PromUnit prom({0x10, 0x11, 0x12, 0x13});
    override(prom, "E0002\n", 1, "");
    std::vector<int> bytes;
    ASSERT_EQ(readPromBytes(link, unitA, 1, 3, bytes), ERR_OK);
    EXPECT_EQ(bytes, (std::vector<int>{0x11, 0x12, 0x13}));
    EXPECT_EQ(link->requests(unitA),
              (std::vector<std::string>{"E0001\n", "E0002\n", "Q\n", "E0002\n", "E0003\n"}));
    override(prom, "E0002\n", 2, ""); // missed twice: the retry decides; earlier bytes stay
    EXPECT_EQ(readPromBytes(link, unitA, 1, 3, bytes), ERR_NO_RESPONSE);
    EXPECT_EQ(bytes, std::vector<int>{0x11});
    override(prom, "E0000\n", 1, "a"); // too short to hold a byte
    EXPECT_EQ(readPromBytes(link, unitA, 0, 0, bytes), ERR_BYTES);

    // An answer that comes after its wait ended (marked "ee", and holding up what the unit
    // sends after it) is dropped, not taken for the retry's or the next byte's answer.
    for (const long long late : {120LL, 170LL, 420LL}) {
        link = std::make_shared<tarntest::ScriptedTransport>();
        override(prom, "E0002\n", 1, "ee", late);
        EXPECT_EQ(readPromBytes(link, unitA, 1, 3, bytes), ERR_OK) << late;
        EXPECT_EQ(bytes, (std::vector<int>{0x11, 0x12, 0x13})) << late;
    }
}

bool recordProgress(int percent, void* context) {
    auto* log = static_cast<std::vector<int>*>(context);
    log->push_back(percent);
    return percent < log->front();
}

TEST_F(LinkProtocol, ADownloadDecodesItsImageUnlessBlankOrCancelled) {
    const PromParameters original = tarntest::makeCompletePromParameters(0);
    const std::vector<int> image = original.generateFullBytestream();
    const int total = static_cast<int>(image.size()) - 2; // the last two are never needed
    PromParameters parameters;
    parameters.Minimum_freq = 123;
    for (int fill : {0xFF, 0x00}) {
        link->setUnit(unitA, PromUnit(std::vector<int>(64, fill), 64).script());
        EXPECT_EQ(TARN::downloadProm(link, unitA, parameters, nullptr, nullptr), ERR_EMPTY_PROM);
    }
    PromUnit prom(image, 4096);
    link->setUnit(unitA, prom.script());
    std::vector<int> progress{50}; // front: the value that cancels
    EXPECT_EQ(TARN::downloadProm(link, unitA, parameters, recordProgress, &progress),
              ERR_INTERRUPTED);
    EXPECT_EQ(progress.back(), 50);
    EXPECT_EQ(prom.reads((total + 1) / 2), 0); // stopped at once
    EXPECT_EQ(parameters.Minimum_freq, 123);   // untouched

    progress = {101};
    ASSERT_EQ(TARN::downloadProm(link, unitA, parameters, recordProgress, &progress), ERR_OK);
    EXPECT_TRUE(tarntest::promParametersEqual(original, parameters));
    ASSERT_EQ(static_cast<int>(progress.size()), total + 3); // 0, one per byte, 100
    for (int k = 0; k <= total; ++k)
        EXPECT_EQ(progress[k + 1], static_cast<int>(k * 100.0 / total)) << k;
    EXPECT_EQ(progress.back(), 100);
}

TEST_F(LinkProtocol, EraseAndUploadEndWithWritingDisabledEvenWhenCancelled) {
    PromParameters small; // a 1 x 16 byte PROM keeps the erase short
    small.Prom_geometry_1 = 1;
    small.Prom_geometry_2 = 16;
    small.Unit_serial_number = 4711;
    small.setKeyPresent(PromKey::UnitSerialNumber, true);
    PromUnit prom(std::vector<int>(16, 0x55), 16);
    link->setUnit(unitA, prom.script());
    ASSERT_EQ(TARN::eraseProm(link, unitA, small, nullptr, nullptr), ERR_OK);
    EXPECT_EQ(prom.memory(), std::vector<int>(16, 0xFF));
    EXPECT_EQ(link->requests(unitA).front(), "ZB601\n");
    EXPECT_EQ(link->requests(unitA).back(), "ZB600\n");

    std::vector<int> progress{0}; // cancelled at the first call: address 0 only
    ASSERT_EQ(TARN::eraseProm(link, unitA, small, recordProgress, &progress), ERR_OK);
    EXPECT_EQ(progress, (std::vector<int>{0, 6})); // 100 * 1 / 16, truncated
    EXPECT_EQ(link->count(unitA, "E0001ff\n"), 1u);
    EXPECT_EQ(link->requests(unitA).back(), "ZB600\n");

    PromUnit blank({}, 4096);
    link->setUnit(unitA, blank.script());
    ASSERT_EQ(TARN::uploadProm(link, unitA, small, nullptr, nullptr, false), ERR_OK);
    const std::vector<int> image = small.generateFullBytestream();
    std::vector<int> memory = blank.memory();
    EXPECT_EQ(std::vector<int>(memory.begin(), memory.begin() + image.size()), image);
    PromUnit empty({}, 64); // keeping a blank image: only an empty entry list is written
    link->setUnit(unitA, empty.script());
    ASSERT_EQ(TARN::uploadProm(link, unitA, small, nullptr, nullptr, true), ERR_OK);
    memory = empty.memory();
    EXPECT_EQ(std::vector<int>(memory.begin(), memory.begin() + 3), (std::vector<int>{0, 0, 0xFF}));

    link->setUnit(unitA, nullptr); // no write enable acknowledged: nothing more is sent
    const std::size_t sent = link->requests(unitA).size();
    EXPECT_EQ(TARN::eraseProm(link, unitA, small, nullptr, nullptr), ERR_NO_RESPONSE);
    EXPECT_EQ(link->requests(unitA).size(), sent + 1);
}

} // namespace
