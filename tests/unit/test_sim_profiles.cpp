// The built-in unit profiles: each PROM passes the library's validation, decodes to what the
// unit is built from, and its frequency plan is one the library can tune in every band.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

#include "hardware/frequency_synthesis.h"
#include "prom/prom_validation.h"
#include "sim/profiles.h"
#include "sim/sim_unit.h"

namespace Orvek {
namespace Sim {
namespace {

PromParameters decode(const std::vector<std::uint8_t>& image) {
    PromParameters parameters;
    parameters.interpretFullBytestream(std::vector<int>(image.begin(), image.end()));
    return parameters;
}

TEST(SimProfiles, EveryProfileIsAValidConsistentUnit) {
    const std::vector<std::string> names = profileNames();
    ASSERT_EQ(names.size(), 5u);
    std::vector<SwitchBoard_Type> boards;
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const std::vector<std::uint8_t> image = profilePromImage(name, 17);
        ASSERT_LE(image.size(), 32768u);
        const PromParameters p = decode(image);
        const bool needsBoard = p.getSwitchboardType() != SWITCHBOARD_NO_SWITCH_BOARD;
        const auto [valid, problems] = TARN::validatePromVerbose(p, needsBoard);
        EXPECT_TRUE(valid) << problems;
        EXPECT_EQ(p.unitAddress(), 17);
        boards.push_back(p.getSwitchboardType());
        EXPECT_TRUE(p.getFeatureFlag(FEATURE_MULTIPLE_RECEIVERS));

        UnitHardware hardware;
        std::string problem;
        ASSERT_TRUE(hardwareFromImage(image, hardware, problem)) << problem;
        EXPECT_EQ(hardware.board, p.getSwitchboardType());
        EXPECT_EQ(hardware.receivers, 4);
        EXPECT_EQ(hardware.promCapacity, 32768);

        // Every frequency of the plan lies in a band whose DDS output stays between 16 and
        // 32 MHz, below the 125 MHz reference's Nyquist limit, and that reg 0x80 can select.
        for (double f = p.Minimum_freq; f <= p.Maximum_freq; f += 17.3) {
            const int band = freqToBand(f, p, false);
            ASSERT_GE(band, 0) << f;
            ASSERT_LE(band, 3) << f;
            const double dds = f * (1 << band) / p.Int_PLL_Div;
            EXPECT_GE(dds, 16.0 - 1e-9) << f;
            EXPECT_LE(dds, 32.0 + 1e-9) << f;
        }
        EXPECT_EQ(pllBoundaryWrites(p).size(), 2u);
    }
    // One profile per board kind.
    EXPECT_EQ(boards, (std::vector<SwitchBoard_Type>{
                          SWITCHBOARD_NO_SWITCH_BOARD, SWITCHBOARD_SIMPLE_4_PORT_SWITCH,
                          SWITCHBOARD_TDD_4_PORT_SWITCH, SWITCHBOARD_SIMPLE_8_PORT_SWITCH,
                          SWITCHBOARD_S_PARAMETER_SWITCH}));
    EXPECT_TRUE(decode(profilePromImage("s-param", 10)).hasCalData());
    EXPECT_THROW(profileParameters("vna", 10), std::invalid_argument);
}

TEST(SimProfiles, BlankAndCorruptImagesDescribeNoUnit) {
    UnitHardware hardware;
    hardware.receivers = 7;
    std::string problem;
    EXPECT_FALSE(hardwareFromImage(blankPromImage(), hardware, problem));
    std::vector<std::uint8_t> corrupt = profilePromImage("none", 10);
    corrupt[24] = 0xF0; // the first entry's length now runs past the image
    EXPECT_FALSE(hardwareFromImage(corrupt, hardware, problem));
    EXPECT_FALSE(problem.empty());
    EXPECT_EQ(hardware.receivers, 7) << "left untouched";
}

TEST(SimProfiles, AValidCustomImageDecidesWhatTheUnitIsABlankOneDoesNot) {
    UnitConfig config;
    config.address = "127.0.0.10";
    config.profile = "none";
    config.promImage = profilePromImage("simple-8port", 10);
    const SimUnit eightPort(config);
    EXPECT_EQ(eightPort.hardware().board, SWITCHBOARD_SIMPLE_8_PORT_SWITCH);
    EXPECT_EQ(eightPort.dut().elements().size(), 5u);
    EXPECT_EQ(eightPort.promContents()[6], 10);

    config.promImage = blankPromImage(1024);
    const SimUnit blank(config);
    EXPECT_EQ(blank.hardware().board, SWITCHBOARD_NO_SWITCH_BOARD);
    EXPECT_EQ(blank.hardware().promCapacity, 32768);
    EXPECT_EQ(blank.promContents(), blankPromImage(32768));

    config.address = "unit ten";
    EXPECT_THROW(SimUnit{config}, std::invalid_argument);
}

TEST(SimProfiles, ImageFilesRoundTripAsHexAndLoadAsBinary) {
    const std::vector<std::uint8_t> image = profilePromImage("tdd-4port", 12);
    char path[] = "/tmp/tarn-sim-prom-XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    savePromFile(path, image);
    EXPECT_EQ(loadPromFile(path), image);

    FILE* binary = std::fopen(path, "wb");
    ASSERT_NE(binary, nullptr);
    std::fwrite(image.data(), 1, image.size(), binary);
    std::fclose(binary);
    EXPECT_EQ(loadPromFile(path), image);
    std::remove(path);
    EXPECT_THROW(loadPromFile("/nonexistent/prom.hex"), std::runtime_error);
}

} // namespace
} // namespace Sim
} // namespace Orvek
