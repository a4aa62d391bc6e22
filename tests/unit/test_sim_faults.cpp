// Faults of the simulated unit: reproducible from their seed, selectable by packet number, and
// their text form.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "sim/faults.h"

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
    EXPECT_FALSE(FaultSettings::parse("").any());
    for (const char* bad : {"drop=2", "drop=x", "explode=1", "drop-packets=0", "delay-ms=-1",
                            "seed", "prom-attempts=0"})
        EXPECT_THROW(FaultSettings::parse(bad), std::invalid_argument) << bad;
}

} // namespace
} // namespace Sim
} // namespace Orvek
