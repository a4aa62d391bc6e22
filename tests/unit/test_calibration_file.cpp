// The calibration CSV file: exact format, round trip, and the import errors users see.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "prom/prom_parameters.h"
#include "prom_fixtures.h"

using namespace Orvek;

namespace {

const std::string kHeader = "Freq,EDFi,EDFq,ESFi,ESFq,ERFi,ERFq,EXFi,EXFq,ELFi,ELFq,ETFi,ETFq,"
                            "EDRi,EDRq,ESRi,ESRq,ERRi,ERRq,EXRi,EXRq,ELRi,ELRq,ETRi,ETRq\n";

std::string tempPath() {
    return testing::TempDir() + "tarn_cal_" +
           testing::UnitTest::GetInstance()->current_test_info()->name() + ".csv";
}

std::string row(int columns, double first) {
    std::string line;
    for (int i = 0; i < columns; ++i) {
        line += (i ? "," : "") + std::to_string(first + i);
    }
    return line + "\n";
}

// Loads `text` as a calibration file into a unit that already has four points.
PromParameters loaded(const std::string& text, std::string& errors) {
    std::ofstream(tempPath()) << text;
    PromParameters p = tarntest::makeCompletePromParameters(4);
    p.loadCalFromFile(tempPath(), errors);
    std::remove(tempPath().c_str());
    return p;
}

} // namespace

TEST(CalibrationFile, SaveWritesTheExactFormatAndLoadReproducesIt) {
    PromParameters original = tarntest::makeCompletePromParameters(50, 3);
    original.Calibration_data[1][0] = 1.0 / 3.0;
    original.Calibration_data[24][1] = -2.5;
    original.saveCalToFile(tempPath());
    std::stringstream text;
    text << std::ifstream(tempPath()).rdbuf();
    EXPECT_EQ(text.str().rfind(kHeader + "100.0000000000000000,0.3333333333333333,", 0), 0u);
    EXPECT_NE(text.str().find(",-2.5000000000000000\n125.0000000000000000,"), std::string::npos);

    PromParameters p;
    std::string errors;
    p.loadCalFromFile(tempPath(), errors);
    std::remove(tempPath().c_str());
    EXPECT_EQ(errors, "");
    ASSERT_EQ(p.Number_of_calibration_points, 50);
    EXPECT_TRUE(p.hasCalData());
    for (int c = 0; c < kCalibrationColumns; ++c) {
        ASSERT_EQ(p.Calibration_data[c].size(), 50u);
        for (int i = 0; i < 50; ++i) {
            EXPECT_NEAR(p.Calibration_data[c][i], original.Calibration_data[c][i], 1e-15);
        }
    }
}

TEST(CalibrationFile, AcceptedShapes) {
    std::string errors;
    // A header alone is a calibration of no points.
    PromParameters p = loaded(kHeader, errors);
    EXPECT_EQ(p.Number_of_calibration_points, 0);
    EXPECT_TRUE(p.hasCalData());
    EXPECT_EQ(p.calibrationColumn(0), nullptr);

    // Any first line is skipped and extra columns are ignored.
    p = loaded("not a header at all\n" + row(26, 10) + row(25, 20), errors);
    EXPECT_EQ(errors, "");
    ASSERT_EQ(p.Number_of_calibration_points, 2);
    EXPECT_EQ(p.Calibration_data[24][0], 34.0);
    EXPECT_EQ(p.Calibration_data[0][1], 20.0);

    // Unreadable and unwritable paths are ignored quietly.
    p.loadCalFromFile(tempPath() + ".does-not-exist", errors);
    p.saveCalToFile(testing::TempDir() + "no-such-dir/x.csv");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(p.Number_of_calibration_points, 2);
}

TEST(CalibrationFile, MalformedLineReportsConversionsPlusOneAndKeepsTheOldData) {
    const std::pair<std::string, std::string> cases[] = {
        {row(25, 1) + row(24, 2), "line 25"},
        {row(25, 1) + "\n", "line 1"},
        {"1,2,x,4\n", "line 3"},
    };
    for (const auto& [body, line] : cases) {
        std::string errors = "earlier;";
        const PromParameters p = loaded(kHeader + body, errors);
        EXPECT_EQ(errors, "earlier;Error during import: " + line +
                              " had wrong number of columns (expected 25)\n");
        EXPECT_EQ(p.Calibration_data[7],
                  tarntest::makeCompletePromParameters(4).Calibration_data[7]);
    }
}
