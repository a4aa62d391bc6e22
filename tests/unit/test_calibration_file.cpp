// The calibration CSV file: exact format, round trip, and the import errors users see.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "prom/prom_parameters.h"
#include "prom_fixtures.h"

using namespace Orvek;

namespace {

const char* const kHeader = "Freq,EDFi,EDFq,ESFi,ESFq,ERFi,ERFq,EXFi,EXFq,ELFi,ELFq,ETFi,ETFq,"
                            "EDRi,EDRq,ESRi,ESRq,ERRi,ERRq,EXRi,EXRq,ELRi,ELRq,ETRi,ETRq\n";

class CalibrationFile : public testing::Test {
protected:
    void SetUp() override {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        path_ = testing::TempDir() + "tarn_cal_" + info->name() + ".csv";
    }
    void TearDown() override { std::remove(path_.c_str()); }

    void write(const std::string& text) const { std::ofstream(path_) << text; }
    std::string read() const {
        std::ifstream in(path_);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    static std::string row(int columns, double value) {
        std::string line;
        for (int i = 0; i < columns; ++i) {
            line += (i ? "," : "") + std::to_string(value + i);
        }
        return line + "\n";
    }

    std::string path_;
};

} // namespace

TEST_F(CalibrationFile, WritesHeaderAndSixteenDecimals) {
    PromParameters p = tarntest::makeCompletePromParameters(2);
    p.Calibration_data[1][0] = 1.0 / 3.0;
    p.Calibration_data[24][1] = -2.5;
    p.saveCalToFile(path_);
    const std::string text = read();
    ASSERT_EQ(text.rfind(kHeader, 0), 0u);
    std::istringstream lines(text.substr(std::string(kHeader).size()));
    std::string first, second, extra;
    std::getline(lines, first);
    std::getline(lines, second);
    EXPECT_FALSE(std::getline(lines, extra));
    EXPECT_EQ(first.rfind("100.0000000000000000,0.3333333333333333,", 0), 0u) << first;
    EXPECT_EQ(second.substr(second.size() - 20), ",-2.5000000000000000") << second;
    EXPECT_EQ(std::count(first.begin(), first.end(), ','), 24);
}

TEST_F(CalibrationFile, SaveThenLoadReproducesEveryValue) {
    const PromParameters original = tarntest::makeCompletePromParameters(50, 3);
    original.saveCalToFile(path_);
    PromParameters loaded;
    std::string errors;
    loaded.loadCalFromFile(path_, errors);
    EXPECT_EQ(errors, "");
    ASSERT_EQ(loaded.Number_of_calibration_points, 50);
    EXPECT_TRUE(loaded.hasCalData());
    for (int c = 0; c < kCalibrationColumns; ++c) {
        ASSERT_EQ(loaded.Calibration_data[c].size(), 50u);
        for (int i = 0; i < 50; ++i) {
            EXPECT_NEAR(loaded.Calibration_data[c][i], original.Calibration_data[c][i], 1e-15);
        }
    }
    // A loaded calibration goes into the PROM image like a decoded one.
    PromParameters decoded;
    loaded.Header_tag = 1;
    decoded.interpretFullBytestream(loaded.generateFullBytestream());
    EXPECT_TRUE(decoded.hasCalData());
    EXPECT_EQ(decoded.Number_of_calibration_points, 50);
}

TEST_F(CalibrationFile, HeaderOnlyLoadsZeroPointsAndMarksCalibrationPresent) {
    write(kHeader);
    PromParameters p = tarntest::makeCompletePromParameters(4);
    std::string errors;
    p.loadCalFromFile(path_, errors);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(p.Number_of_calibration_points, 0);
    EXPECT_TRUE(p.hasCalData());
    EXPECT_EQ(p.calibrationColumn(0), nullptr);
}

TEST_F(CalibrationFile, MalformedLineReportsConversionsPlusOneAndKeepsTheOldData) {
    struct Case {
        std::string body;
        std::string message;
    };
    const Case cases[] = {
        {row(25, 1) + row(24, 2), "Error during import: line 25 had wrong number of columns "
                                  "(expected 25)\n"},
        {row(25, 1) + "\n", "Error during import: line 1 had wrong number of columns "
                            "(expected 25)\n"},
        {"1,2,x,4\n", "Error during import: line 3 had wrong number of columns (expected 25)\n"},
    };
    for (const Case& c : cases) {
        write(std::string(kHeader) + c.body);
        PromParameters p = tarntest::makeCompletePromParameters(4);
        const std::vector<double> before = p.Calibration_data[7];
        std::string errors = "earlier;";
        p.loadCalFromFile(path_, errors);
        EXPECT_EQ(errors, "earlier;" + c.message);
        EXPECT_EQ(p.Number_of_calibration_points, 4);
        EXPECT_EQ(p.Calibration_data[7], before);
    }
}

TEST_F(CalibrationFile, ExtraColumnsAreIgnoredAndAnyFirstLineIsSkipped) {
    write("not a header at all\n" + row(26, 10) + row(25, 20));
    PromParameters p;
    std::string errors;
    p.loadCalFromFile(path_, errors);
    EXPECT_EQ(errors, "");
    ASSERT_EQ(p.Number_of_calibration_points, 2);
    EXPECT_EQ(p.Calibration_data[24][0], 34.0);
    EXPECT_EQ(p.Calibration_data[0][1], 20.0);
}

TEST_F(CalibrationFile, UnreadableOrUnwritablePathsAreIgnoredQuietly) {
    PromParameters p = tarntest::makeCompletePromParameters(4);
    std::string errors;
    p.loadCalFromFile(path_ + ".does-not-exist", errors);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(p.Number_of_calibration_points, 4);
    p.saveCalToFile(testing::TempDir() + "no-such-dir/x.csv"); // must not throw or crash
}
