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
    EXPECT_EQ(TARN::setProgramCounter(link, unitA, 0x1abcd, 100), ERR_OK);
    EXPECT_EQ(TARN::beginAtProgramCounter(link, unitA), ERR_OK);
    EXPECT_EQ(TARN::enterLowPower(link, unitA, 100), ERR_OK);
    EXPECT_EQ(link->requests(unitA),
              (std::vector<std::string>{"V\n", "Wabcd\n", "B\n", "Z8080\n", "Z8408\n", "Z80\n"}));
    // Only the exact padded read-back counts; silence too is a wrong read-back.
    for (const std::string& readBack : {"80\r\n>"s, ""s}) {
        link->setUnit(unitA, [readBack](const std::string& r) {
            return Replies{Reply(r == "Z80\n" ? readBack : "\r\n>")};
        });
        EXPECT_EQ(TARN::enterLowPower(link, unitA, 100), ERR_BYTES) << readBack;
    }
    link->setUnit(unitA, nullptr);
    const long long before = link->nowMs();
    EXPECT_EQ(getFirmwareVersion(link, unitA), 0); // a silent unit gets its 250 ms
    EXPECT_EQ(link->nowMs() - before, 250);
    std::string other;
    EXPECT_EQ(link->receive_from(other, unitB, 0, 1), ERR_OK);
    EXPECT_EQ(other, "2b");
}

TEST_F(LinkProtocol, CollectingTakesUnitsInAddressTextOrderUntilEnoughOrQuiet) {
    for (const char* text : {"b1", "b2"})
        link->arrive(unitB, Reply(text));
    link->arrive("192.168.1.100", Reply("c")); // sorts first as text
    std::vector<std::pair<std::string, std::vector<char>>> got;
    EXPECT_EQ(TARN::receiveMultiple(link, got, 1000, 2, nullptr, nullptr), ERR_OK);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].first, "192.168.1.100");
    EXPECT_EQ(TARN::receiveMultiple(link, got, 100, 10, nullptr, nullptr), ERR_OK); // quiet
    EXPECT_EQ(got.size(), 3u);
    EXPECT_EQ(link->nowMs(), 100);
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

TEST_F(LinkProtocol, ACancelledDownloadStopsAtOnceAndLeavesTheParametersAlone) {
    PromUnit prom(tarntest::makeCompletePromParameters(0).generateFullBytestream(), 4096);
    link->setUnit(unitA, prom.script());
    PromParameters parameters;
    parameters.Minimum_freq = 123;
    std::vector<int> progress{50}; // front: the value that cancels
    EXPECT_EQ(TARN::downloadProm(link, unitA, parameters, recordProgress, &progress),
              ERR_INTERRUPTED);
    EXPECT_EQ(progress.back(), 50);
    const int read = static_cast<int>(progress.size()) - 2; // after the 0 and the cancel value
    EXPECT_EQ(prom.reads(read - 1), 1);
    EXPECT_EQ(prom.reads(read), 0); // not one byte more
    EXPECT_EQ(parameters.Minimum_freq, 123);
}

TEST_F(LinkProtocol, EraseAndUploadEndWithWritingDisabledEvenWhenCancelled) {
    PromParameters small; // a 1 x 16 byte PROM keeps the erase short
    small.Prom_geometry_1 = 1;
    small.Prom_geometry_2 = 16;
    PromUnit prom(std::vector<int>(16, 0x55), 16);
    link->setUnit(unitA, prom.script());
    std::vector<int> progress{0}; // cancelled at the first call: address 0 only
    ASSERT_EQ(TARN::eraseProm(link, unitA, small, recordProgress, &progress), ERR_OK);
    EXPECT_EQ(progress, (std::vector<int>{0, 6})); // 100 * 1 / 16, truncated
    EXPECT_EQ(prom.memory()[0], 0xFF);
    EXPECT_EQ(prom.memory()[1], 0x55);
    EXPECT_EQ(link->requests(unitA).front(), "ZB601\n");
    EXPECT_EQ(link->requests(unitA).back(), "ZB600\n");

    for (const bool keepBlank : {false, true}) {
        PromUnit blank({}, 64); // keeping a blank image: only an empty entry list is written
        link->setUnit(unitA, blank.script());
        ASSERT_EQ(TARN::uploadProm(link, unitA, small, nullptr, nullptr, keepBlank), ERR_OK);
        std::vector<int> image =
            keepBlank ? std::vector<int>{0, 0} : small.generateFullBytestream();
        image.push_back(0xFF);
        const std::vector<int> memory = blank.memory();
        EXPECT_EQ(std::vector<int>(memory.begin(), memory.begin() + image.size()), image);
    }

    link->setUnit(unitA, nullptr); // no write enable acknowledged: nothing more is sent
    const std::size_t sent = link->requests(unitA).size();
    EXPECT_EQ(TARN::uploadProm(link, unitA, small, nullptr, nullptr, false), ERR_NO_RESPONSE);
    EXPECT_EQ(link->requests(unitA).size(), sent + 1);
}

TEST_F(LinkProtocol, TheArrayBeginIsBroadcastFromPort1024AndTheSelectedUnitKept) {
    struct Recording : tarntest::ScriptedTransport {
        std::vector<uint16_t> ports;
        int bind_socket(uint16_t port, unsigned long) override {
            ports.push_back(port);
            return ERR_OK;
        }
    };
    auto recording = std::make_shared<Recording>();
    recording->set_current_dst_ip(unitB);
    EXPECT_EQ(TARN::broadcastBegin(recording), ERR_OK);
    EXPECT_EQ(recording->requests("192.168.1.255"), std::vector<std::string>{"B\n"});
    EXPECT_EQ(recording->ports, (std::vector<uint16_t>{1024, 1024}));
    EXPECT_EQ(recording->get_current_dst_ip(), unitB);
}

} // namespace
