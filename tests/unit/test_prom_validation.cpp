// Digesting PROM entries into unit parameters, and the validation report a user sees when a
// unit's description is unusable.
#include <gtest/gtest.h>

#include "core/exceptions.h"
#include "prom/prom_parameters.h"
#include "prom/prom_validation.h"
#include "prom_fixtures.h"

using namespace Orvek;
using Bytes = std::vector<int>;

TEST(PromDigest, WrongSizedEntriesAreAbsentUnknownKeysWarnLaterEntriesWin) {
    PromParameters p;
    testing::internal::CaptureStdout();
    p.digestPromData({{3, 3, {0x00, 0x64, 0x00}}, // three bytes for a 16-bit key
                      {6, 2, {0x00, 0x08}},       // two bytes for a one-byte key
                      {26, 8, Bytes(8, 0x40)},    // a double where a float belongs
                      {80, 1, {1}},
                      {5, 2, {0x01, 0x00}},
                      {0xFFFF, 1, {0}}, // the end marker itself is ignored quietly
                      {5, 2, {0x02, 0x00}}});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Warning: unrecognized prom key value: 80 [PromParameters::digestPromData]\n");
    EXPECT_FALSE(p.isKeyPresent(3) || p.isKeyPresent(6) || p.isKeyPresent(26));
    EXPECT_EQ(p.Minimum_freq, 0);
    EXPECT_EQ(p.Maximum_number_of_points, 512);
}

TEST(PromDigest, CalibrationIsDecodedOnlyWhenEveryColumnIsPresent) {
    EXPECT_EQ(PromParameters::calibrationKeyForColumn(11), 44);
    EXPECT_EQ(PromParameters::calibrationKeyForColumn(12), 60);
    EXPECT_EQ(PromParameters::calibrationColumnForKey(72), 24);
    EXPECT_EQ(PromParameters::calibrationColumnForKey(45), -1);

    std::vector<PromEntry> entries;
    tarntest::makeCompletePromParameters(5).buildPromData(entries);
    PromParameters complete;
    complete.digestPromData(entries);
    ASSERT_TRUE(complete.hasCalData());
    EXPECT_EQ(complete.calibrationColumn(0)[4], 150.0);

    ASSERT_EQ(entries[entries.size() - 2].key, 72); // the last column, before the end marker
    entries.erase(entries.end() - 2);
    PromParameters incomplete;
    incomplete.digestPromData(entries);
    EXPECT_FALSE(incomplete.hasCalData());
    EXPECT_TRUE(incomplete.isKeyPresent(33)); // the columns seen stay marked present
    EXPECT_EQ(incomplete.calibrationColumn(0), nullptr);
}

TEST(PromValidation, ReportsEveryProblemInOrder) {
    auto report = TARN::validatePromVerbose(tarntest::makeCompletePromParameters(), true);
    EXPECT_TRUE(report.first);
    EXPECT_EQ(report.second, "");

    report = TARN::validatePromVerbose(PromParameters(), true);
    EXPECT_FALSE(report.first);
    EXPECT_EQ(report.second, " - Missing parameter: Minimum_freq\n"
                             " - Missing parameter: Maximum_freq\n"
                             " - Missing parameter: Master_clock_frequency\n"
                             " - Missing parameter: Maximum_number_of_points\n"
                             " - Missing parameter: Number_of_band_boundaries\n"
                             " - Missing parameter: PLL_type\n"
                             " - Missing parameter: DDS_reference_frequency\n"
                             " - Missing parameter: Feature_flags\n"
                             " - Missing parameter: feature flags indicates no switch board\n");

    PromParameters p = tarntest::makeCompletePromParameters();
    p.Master_clock_frequency = 0.0;
    p.Number_of_band_boundaries = 0;
    p.PLL_type = 1; // fractional: needs key 17, only key 16 present
    p.DDS_reference_frequency = -10.0;
    for (int key : {17, 18, 24}) { // 24: prescaler in use without its setting
        p.setKeyPresent(key, false);
    }
    report = TARN::validatePromVerbose(p, true);
    EXPECT_FALSE(report.first);
    EXPECT_EQ(report.second, " - Bad parameter: Master clock frequency <= 0\n"
                             " - Bad parameter: number of band boundaries <= 0\n"
                             " - Missing PLL detail parameter (Int PLL Div/Frac PLL MOD)\n"
                             " - Missing parameter: Number_of_PLL_loop_gain_boundaries\n"
                             " - Missing parameter: PLL prescaler setting\n"
                             " - Bad parameter: DDS ref freq <= 0\n");

    // Integer PLL needs key 16; a prescaler not in use needs no setting.
    p = tarntest::makeCompletePromParameters();
    p.PLL_prescaler_in_use = 0;
    for (int key : {16, 17, 23, 24}) {
        p.setKeyPresent(key, false);
    }
    EXPECT_EQ(TARN::validatePromVerbose(p, false).second,
              " - Missing PLL detail parameter (Int PLL Div/Frac PLL MOD)\n"
              " - Missing parameter: PLL_prescaler_in_use\n");
}

TEST(PromValidation, SwitchBoardIsCheckedOnlyOnRequest) {
    PromParameters p = tarntest::makeCompletePromParameters();
    p.setSwitchboardType(SWITCHBOARD_NO_SWITCH_BOARD);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(TARN::validateProm(p, false));
    EXPECT_FALSE(TARN::validateProm(p, true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "PROM Is invalid! Configuration errors:\n"
              " - Missing parameter: feature flags indicates no switch board\n");

    p.Switchboard_byte = 0x07;
    EXPECT_TRUE(TARN::validatePromVerbose(p, false).first);
    EXPECT_THROW(TARN::validatePromVerbose(p, true), InvalidPromException);
}
