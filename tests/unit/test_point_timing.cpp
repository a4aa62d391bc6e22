// Time per point for every hop rate, from the unit's cycle counts per point.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "hardware/point_timing.h"

using namespace Orvek;

TEST(PointTiming, CycleCountOfEveryRateAndUnknownRates) {
    const double cycles[] = {361,   721,   1081,   2131,   4572,   9176,   16385,
                             29774, 59579, 107453, 209713, 419425, 838849, 1677441};
    for (int rate = HOP_90K; rate <= HOP_20; ++rate) {
        // 64 MHz master clock: 15.625 ns per cycle.
        EXPECT_DOUBLE_EQ(sPerPoint(static_cast<Hop_Rate>(rate), 64.0), cycles[rate] / 64e6);
        EXPECT_DOUBLE_EQ(msPerPoint(static_cast<Hop_Rate>(rate), 64.0), cycles[rate] / 64e3);
        EXPECT_EQ(bandChangeFDs(static_cast<Hop_Rate>(rate)), 8);
    }
    EXPECT_EQ(bandChangeFDs(HOP_UNDEFINED), 8);
    for (int value : {-1, 14}) {
        try {
            sPerPoint(static_cast<Hop_Rate>(value), 100.0);
            ADD_FAILURE() << "no exception for " << value;
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string(e.what()), "No hop rate set?");
        }
        EXPECT_THROW(msPerPoint(static_cast<Hop_Rate>(value), 100.0), std::runtime_error);
    }
}
