// Time per point for every hop rate, from the unit's cycle counts per point.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "hardware/point_timing.h"

using namespace Orvek;

TEST(PointTiming, CycleCountOfEveryRate) {
    const struct {
        Hop_Rate rate;
        double cycles;
    } table[] = {
        {HOP_90K, 361},    {HOP_45K, 721},   {HOP_30K, 1081},  {HOP_15K, 2131},   {HOP_7K, 4572},
        {HOP_3K, 9176},    {HOP_2K, 16385},  {HOP_1K, 29774},  {HOP_550, 59579},  {HOP_312, 107453},
        {HOP_156, 209713}, {HOP_78, 419425}, {HOP_39, 838849}, {HOP_20, 1677441},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.rate);
        // 100 MHz master clock: 10 ns per cycle.
        EXPECT_NEAR(sPerPoint(row.rate, 100.0), row.cycles * 1e-8, row.cycles * 1e-22);
        EXPECT_NEAR(msPerPoint(row.rate, 100.0), row.cycles * 1e-5, row.cycles * 1e-19);
        // 64 MHz: the period scales with the clock.
        EXPECT_NEAR(sPerPoint(row.rate, 64.0), row.cycles / 64e6, row.cycles * 1e-22);
        EXPECT_EQ(bandChangeFDs(row.rate), 8);
    }
    EXPECT_DOUBLE_EQ(sPerPoint(HOP_90K, 100.0), 3.61e-6);
    EXPECT_DOUBLE_EQ(msPerPoint(HOP_20, 100.0), 16.77441);
    EXPECT_EQ(bandChangeFDs(HOP_UNDEFINED), 8);
}

TEST(PointTiming, UnknownRateIsRefused) {
    for (int value : {-1, -2, 14, 15}) {
        SCOPED_TRACE(value);
        const auto rate = static_cast<Hop_Rate>(value);
        try {
            sPerPoint(rate, 100.0);
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string(e.what()), "No hop rate set?");
        }
        EXPECT_THROW(msPerPoint(rate, 100.0), std::runtime_error);
    }
}
