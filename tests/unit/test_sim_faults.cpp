// Faults of the simulated unit: reproducible from their seed, selectable by packet number, and
// their text form; the PROM's worn-cell behaviour; the reassembly of split uploads.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "sim/command_text.h"
#include "sim/faults.h"
#include "sim/prom_memory.h"

namespace Orvek {
namespace Sim {
namespace {

std::vector<std::string> fates(const FaultSettings& settings, int packets) {
    FaultInjector injector;
    injector.configure(settings);
    std::vector<std::string> out;
    for (int i = 0; i < packets; ++i)
        out.push_back(injector.nextPacket(100).text());
    return out;
}

TEST(SimFaults, RandomFaultsRepeatWithTheirSeedAndDifferWithAnother) {
    FaultSettings settings =
        FaultSettings::parse("drop=0.1,duplicate=0.1,reorder=0.1,truncate=0.1,seed=42");
    const auto first = fates(settings, 500);
    EXPECT_EQ(first, fates(settings, 500));
    int faulty = 0;
    for (const auto& fate : first)
        faulty += !fate.empty();
    EXPECT_GT(faulty, 100);
    EXPECT_LT(faulty, 250);
    settings.seed = 43;
    EXPECT_NE(first, fates(settings, 500));

    // Switching one fault off leaves the others where they were.
    FaultSettings dropsOnly = FaultSettings::parse("drop=0.1,seed=42");
    const auto drops = fates(dropsOnly, 500);
    for (int i = 0; i < 500; ++i)
        EXPECT_EQ(drops[i] == "dropped", first[i] == "dropped") << i;
}

TEST(SimFaults, PacketsChosenByNumber) {
    const auto out =
        fates(FaultSettings::parse("drop-packets=2,duplicate-packets=3/5,truncate-packets=4,"
                                   "truncate-bytes=30,reorder-packets=6"),
              7);
    EXPECT_EQ(out, (std::vector<std::string>{"", "dropped", "duplicated", "truncated to 70",
                                             "duplicated", "reordered", ""}));
    FaultInjector cut;
    cut.configure(FaultSettings::parse("truncate-packets=1,truncate-bytes=500"));
    EXPECT_EQ(cut.nextPacket(100).keepBytes, 1u) << "one byte always stays";
}

TEST(SimFaults, RepliesAreWithheldAsToldAndTextRoundTrips) {
    FaultInjector injector;
    injector.configure(FaultSettings::parse("withhold-next=2"));
    EXPECT_TRUE(injector.withholdNextReply());
    EXPECT_TRUE(injector.withholdNextReply());
    EXPECT_FALSE(injector.withholdNextReply());

    const FaultSettings settings = FaultSettings::parse(
        "drop=0.25,reorder-packets=1/9,delay-ms=40,silent,answer-from=192.168.1.19,"
        "prom-attempts=3,prom-fail=0.5,seed=9");
    EXPECT_EQ(FaultSettings::parse(settings.describe()).describe(), settings.describe());
    EXPECT_TRUE(settings.silent);
    EXPECT_EQ(settings.answerFrom, "192.168.1.19");
    EXPECT_EQ(FaultSettings::parse("none").describe(), "none");
    EXPECT_FALSE(FaultSettings::parse("").any());
    for (const char* bad : {"drop=2", "drop=x", "explode=1", "drop-packets=0", "delay-ms=-1",
                            "seed", "prom-attempts=0"})
        EXPECT_THROW(FaultSettings::parse(bad), std::invalid_argument) << bad;
}

TEST(SimPromMemory, WornCellsTakeOnlyTheNthWriteAfterTheirProgrammingTime) {
    PromMemory prom({1, 2, 3}, 16);
    EXPECT_EQ(prom.read(2, 0.0), 3);
    EXPECT_EQ(prom.read(3, 0.0), 0xFF);
    EXPECT_EQ(prom.read(16, 0.0), 0xFF);
    EXPECT_EQ(prom.write(16, 0, 0.0, 0.001, 1, false), PromMemory::WriteResult::OutOfRange);

    EXPECT_EQ(prom.write(0, 0xAA, 1.0, 0.001, 3, false), PromMemory::WriteResult::NotTaken);
    EXPECT_EQ(prom.write(0, 0xAA, 1.0, 0.001, 3, false), PromMemory::WriteResult::NotTaken);
    EXPECT_EQ(prom.write(0, 0xAA, 1.0, 0.001, 3, false), PromMemory::WriteResult::Started);
    EXPECT_EQ(prom.read(0, 1.0005), 1);
    EXPECT_EQ(prom.read(0, 1.0011), 0xAA);
    // The count starts again for the next value.
    EXPECT_EQ(prom.write(0, 0xBB, 2.0, 0.0, 3, false), PromMemory::WriteResult::NotTaken);
    EXPECT_EQ(prom.write(0, 0xBB, 2.0, 0.0, 1, true), PromMemory::WriteResult::NotTaken);
    EXPECT_EQ(prom.contents(3.0)[0], 0xAA);
}

TEST(SimUploadAssembler, SplitUploadsAreJoinedAndStrayDatagramsAbandonThem) {
    UploadAssembler upload;
    EXPECT_EQ(upload.feed("Q\n", 0.0), UploadAssembler::Result::NotUpload);
    EXPECT_EQ(upload.feed("W0000\n", 0.0), UploadAssembler::Result::NotUpload);
    EXPECT_EQ(upload.feed("W00008440", 0.0), UploadAssembler::Result::Incomplete);
    EXPECT_EQ(upload.feed("FDfe", 0.001), UploadAssembler::Result::Incomplete);
    EXPECT_EQ(upload.feed("FF\n", 0.002), UploadAssembler::Result::Complete);
    const Command command = parseCommand(upload.take());
    EXPECT_EQ(command.kind, CommandKind::Upload);
    EXPECT_EQ(command.data, (std::vector<std::uint8_t>{0x84, 0x40, 0xFD, 0xFE, 0xFF}));

    EXPECT_EQ(upload.feed("W0010aa", 0.0), UploadAssembler::Result::Incomplete);
    EXPECT_EQ(upload.feed("Q\n", 0.1), UploadAssembler::Result::Abandoned);
    EXPECT_FALSE(upload.inProgress());
    EXPECT_EQ(upload.feed("W0010aa", 0.0), UploadAssembler::Result::Incomplete);
    EXPECT_FALSE(upload.expire(0.5));
    EXPECT_TRUE(upload.expire(1.5));

    // An upload longer than the program memory is given up.
    EXPECT_EQ(upload.feed("W0000aa", 2.0), UploadAssembler::Result::Incomplete);
    const std::string chunk(1400, 'a');
    UploadAssembler::Result result = UploadAssembler::Result::Incomplete;
    for (int i = 0; i < 200 && result == UploadAssembler::Result::Incomplete; ++i)
        result = upload.feed(chunk, 2.0);
    EXPECT_EQ(result, UploadAssembler::Result::Abandoned);

    EXPECT_EQ(parseCommand("W0000abc\n").kind, CommandKind::Invalid);
    EXPECT_EQ(parseCommand("E00ff3A\n").value, 0x3A);
    EXPECT_EQ(parseCommand("B12\n").kind, CommandKind::Invalid);
    EXPECT_EQ(parseCommand("Bbeef\n").address, 0xBEEF);
}

} // namespace
} // namespace Sim
} // namespace Orvek
