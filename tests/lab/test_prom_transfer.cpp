// Reading, writing, erasing and downloading a unit's PROM byte by byte against a scripted unit.
#include <gtest/gtest.h>

#include "fake_unit.h"
#include "lab_endpoint.h"
#include "link/prom_transfer.h"
#include "prom/prom_parameters.h"
#include "prom_fixtures.h"
#include "tarndll.h"

using Orvek::ERR_OK;
using tarnlab::Datagram;
using tarnlab::FakeUnit;
using tarnlab::PromScript;
using tarnlab::Replies;

namespace {

const std::string unit = "192.168.1.10";

// Replies are taken from the selected unit, which is `unit`.
using PromTransfer = tarnlab::EndpointTest<1102>;

// Serves `prom`, except that the first `times` requests equal to `request` get `answer` (an
// empty answer: no reply at all).
tarnlab::Script overriding(const PromScript& prom, const std::string& request, int times,
                           const std::string& answer) {
    auto served = std::make_shared<int>(0);
    return [serve = prom.script(), served, request, times, answer](const Datagram& datagram) {
        if (datagram.bytes != request || (*served)++ >= times)
            return serve(datagram);
        return answer.empty() ? Replies{} : Replies{{answer}};
    };
}

std::vector<std::string> commandsOf(const FakeUnit& fake) {
    std::vector<std::string> commands;
    for (const Datagram& datagram : fake.received())
        commands.push_back(datagram.bytes);
    return commands;
}

std::vector<int> progressSeen;
bool recordProgress(int percent, void* stopAt) {
    progressSeen.push_back(percent);
    return percent < *static_cast<int*>(stopAt);
}

TEST_F(PromTransfer, AWrittenByteIsReadBackAndRewrittenFromTheFourthMismatch) {
    struct Case {
        int mismatches;
        int result;
        std::size_t reads, writes;
    };
    for (const Case c : {Case{3, ERR_OK, 4, 1}, Case{1000, Orvek::ERR_BAD_PROM, 25, 23}}) {
        SCOPED_TRACE(c.mismatches);
        PromScript prom;
        FakeUnit fake(unit, port, overriding(prom, "E0007\n", c.mismatches, "00"));
        EXPECT_EQ(Orvek::writePromByte(endpoint, unit, 7, 0x3a), c.result);
        EXPECT_EQ(fake.countReceived("E0007\n"), c.reads);
        EXPECT_EQ(fake.countReceived("E00073a\n"), c.writes);
    }
}

TEST_F(PromTransfer, AMissedReadIsRecoveredWithAHaltAndOneRetry) {
    PromScript prom({0x10, 0x11, 0x12, 0x13});
    FakeUnit fake(unit, port, overriding(prom, "E0002\n", 1, ""));
    std::vector<int> bytes;
    ASSERT_EQ(Orvek::readPromBytes(endpoint, unit, 1, 3, bytes), ERR_OK);
    EXPECT_EQ(bytes, (std::vector<int>{0x11, 0x12, 0x13}));
    EXPECT_EQ(commandsOf(fake),
              (std::vector<std::string>{"E0001\n", "E0002\n", "Q\n", "E0002\n", "E0003\n"}));

    // Missed twice: the retry decides, and the bytes read before stay.
    fake.setScript(overriding(prom, "E0002\n", 2, ""));
    EXPECT_EQ(Orvek::readPromBytes(endpoint, unit, 1, 3, bytes), Orvek::ERR_NO_RESPONSE);
    EXPECT_EQ(bytes, std::vector<int>{0x11});
    // A reply too short to hold a byte.
    fake.setScript(overriding(prom, "E0000\n", 1, "a"));
    EXPECT_EQ(Orvek::readPromBytes(endpoint, unit, 0, 0, bytes), Orvek::ERR_BYTES);
}

TEST_F(PromTransfer, ADownloadedImageDecodesToItsParametersUnlessBlankOrCancelled) {
    const Orvek::PromParameters original = tarntest::makeCompletePromParameters(0);
    const std::vector<int> image = original.generateFullBytestream();
    const int total = static_cast<int>(image.size()) - 2; // the last two are never needed
    PromScript prom(image, 4096);
    FakeUnit fake(unit, port, prom.script());
    Orvek::PromParameters parameters;
    parameters.Minimum_freq = 123;
    for (int fill : {0xFF, 0x00}) {
        fake.setScript(PromScript(std::vector<int>(64, fill), 64).script());
        EXPECT_EQ(Orvek::TARN::downloadProm(endpoint, unit, parameters, nullptr, nullptr),
                  Orvek::ERR_EMPTY_PROM)
            << fill;
    }
    EXPECT_EQ(parameters.Minimum_freq, 123); // nothing decoded

    // Cancelled at 50 %: reading stops right after the byte that reached it.
    fake.setScript(prom.script());
    progressSeen.clear();
    int stopAt = 50;
    EXPECT_EQ(Orvek::TARN::downloadProm(endpoint, unit, parameters, recordProgress, &stopAt),
              Orvek::ERR_INTERRUPTED);
    ASSERT_EQ(static_cast<int>(progressSeen.size()) - 1, (total + 1) / 2);
    EXPECT_EQ(progressSeen.back(), 50);
    EXPECT_EQ(prom.reads((total + 1) / 2), 0);
    EXPECT_EQ(parameters.Minimum_freq, 123);

    progressSeen.clear();
    stopAt = 101;
    ASSERT_EQ(Orvek::TARN::downloadProm(endpoint, unit, parameters, recordProgress, &stopAt),
              ERR_OK);
    EXPECT_TRUE(tarntest::promParametersEqual(original, parameters));
    // 0, floor(k * 100 / total) after byte k, then 100.
    ASSERT_EQ(static_cast<int>(progressSeen.size()), total + 2);
    for (int k = 0; k <= total; ++k)
        EXPECT_EQ(progressSeen[k], static_cast<int>(k * 100.0 / total)) << k;
    EXPECT_EQ(progressSeen.back(), 100);
}

TEST_F(PromTransfer, EraseAndUploadEndWithWritingDisabledEvenWhenCancelled) {
    Orvek::PromParameters small; // a 1 x 16 byte PROM keeps the erase short
    small.Prom_geometry_1 = 1;
    small.Prom_geometry_2 = 16;
    small.Unit_serial_number = 4711;
    small.setKeyPresent(Orvek::PromKey::UnitSerialNumber, true);
    PromScript prom(std::vector<int>(16, 0x55), 16);
    FakeUnit fake(unit, port, prom.script());
    ASSERT_EQ(Orvek::TARN::eraseProm(endpoint, unit, small, nullptr, nullptr), ERR_OK);
    EXPECT_EQ(prom.memory(), std::vector<int>(16, 0xFF));
    EXPECT_EQ(commandsOf(fake).front(), "ZB601\n");
    EXPECT_EQ(commandsOf(fake).back(), "ZB600\n");

    // Cancelled at its first progress call: address 0 only, and writing is still disabled.
    fake.clearReceived();
    progressSeen.clear();
    int stopAt = 0;
    ASSERT_EQ(Orvek::TARN::eraseProm(endpoint, unit, small, recordProgress, &stopAt), ERR_OK);
    EXPECT_EQ(progressSeen, std::vector<int>{6}); // 100 * 1 / 16, truncated
    EXPECT_EQ(fake.countReceived("E0001ff\n"), 0u);
    EXPECT_EQ(commandsOf(fake).back(), "ZB600\n");

    // An upload writes the whole image.
    PromScript blank({}, 4096);
    fake.setScript(blank.script());
    ASSERT_EQ(Orvek::TARN::uploadProm(endpoint, unit, small, nullptr, nullptr, false), ERR_OK);
    const std::vector<int> image = small.generateFullBytestream();
    std::vector<int> memory = blank.memory();
    EXPECT_EQ(std::vector<int>(memory.begin(), memory.begin() + image.size()), image);
    EXPECT_EQ(commandsOf(fake).back(), "ZB600\n");
    // Keeping a blank image: only an empty entry list is written.
    PromScript empty({}, 64);
    fake.setScript(empty.script());
    ASSERT_EQ(Orvek::TARN::uploadProm(endpoint, unit, small, nullptr, nullptr, true), ERR_OK);
    memory = empty.memory();
    EXPECT_EQ(std::vector<int>(memory.begin(), memory.begin() + 3), (std::vector<int>{0, 0, 0xFF}));

    // A unit that does not acknowledge the write enable is left alone.
    fake.setScript(tarnlab::silentScript());
    fake.clearReceived();
    EXPECT_EQ(Orvek::TARN::eraseProm(endpoint, unit, small, nullptr, nullptr),
              Orvek::ERR_NO_RESPONSE);
    EXPECT_EQ(commandsOf(fake), std::vector<std::string>{"ZB601\n"});
}

} // namespace
