// Faults of the simulated unit as the lab tests use them: chosen by packet number, each firing
// on the packet named, and a misspelt fault refused rather than silently never firing.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "sim/faults.h"

namespace Orvek {
namespace Sim {
namespace {

TEST(SimFaults, PacketsChosenByNumber) {
    FaultInjector injector;
    injector.configure(FaultSettings::parse("drop-packets=2,duplicate-packets=3/5,"
                                            "truncate-packets=4,truncate-bytes=30,"
                                            "reorder-packets=6"));
    std::vector<std::string> fates;
    for (int i = 0; i < 7; ++i)
        fates.push_back(injector.nextPacket(100).text());
    EXPECT_EQ(fates, (std::vector<std::string>{"", "dropped", "duplicated", "truncated to 70",
                                               "duplicated", "reordered", ""}));
    FaultInjector cut;
    cut.configure(FaultSettings::parse("truncate-packets=1,truncate-bytes=500"));
    EXPECT_EQ(cut.nextPacket(100).keepBytes, 1u) << "one byte always stays";

    EXPECT_FALSE(FaultSettings::parse("").any());
    for (const char* bad : {"drop=2", "drop=x", "explode=1", "drop-packets=0", "delay-ms=-1",
                            "seed", "prom-attempts=0"})
        EXPECT_THROW(FaultSettings::parse(bad), std::invalid_argument) << bad;
}

} // namespace
} // namespace Sim
} // namespace Orvek
