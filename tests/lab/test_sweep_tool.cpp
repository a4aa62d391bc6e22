// tarn-sweep against a simulated S-parameter unit: the Touchstone file it writes must hold the
// simulator's DUT (a band-pass filter between ports 0 and 1) at the swept frequencies.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "lab_namespace.h"
#include "sim_units.h"

namespace {

constexpr std::uint16_t kPort = 1279;

struct TouchstoneRow {
    double hz;
    std::complex<double> s[4]; // S11 S21 S12 S22
};

// Reads the option line and the data rows; fails the test on anything malformed.
std::vector<TouchstoneRow> readTouchstone(const std::string& path, std::string& optionLine) {
    std::ifstream file(path);
    std::vector<TouchstoneRow> rows;
    std::string line;
    while (std::getline(file, line)) {
        if (line.empty() || line[0] == '!')
            continue;
        if (line[0] == '#') {
            optionLine = line;
            continue;
        }
        std::istringstream fields(line);
        TouchstoneRow row{};
        fields >> row.hz;
        for (auto& s : row.s) {
            double re = 0, im = 0;
            fields >> re >> im;
            s = {re, im};
        }
        EXPECT_FALSE(fields.fail()) << "malformed row: " << line;
        rows.push_back(row);
    }
    return rows;
}

TEST(SweepTool, WritesTheSimulatedFilterAsTouchstone) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    tarnlab::SimulatedUnits units;
    auto config = tarnlab::simUnitConfig("s-param", "192.168.1.10", kPort);
    config.realTime = false;
    Orvek::Sim::SimUnit& unit = units.add(config);
    ASSERT_EQ(units.start(), "");

    const std::string output = ::testing::TempDir() + "sweep_tool_test.s2p";
    std::remove(output.c_str());
    const std::string command = std::string(TARN_SWEEP_TOOL) +
                                " --address 192.168.1.10 --port " + std::to_string(kPort) +
                                " --points 51 --output " + output;
    ASSERT_EQ(std::system(command.c_str()), 0) << command;

    std::string optionLine;
    const std::vector<TouchstoneRow> rows = readTouchstone(output, optionLine);
    EXPECT_EQ(optionLine, "# Hz S RI R 50");
    ASSERT_EQ(rows.size(), 51u);

    // Column order S11 S21 S12 S22 as (wave out, wave in) port pairs of the DUT.
    const int outPort[4] = {0, 1, 0, 1};
    const int inPort[4] = {0, 0, 1, 1};
    const Orvek::Sim::DutModel dut = unit.dut();
    double worst = 0.0;
    for (size_t i = 0; i < rows.size(); ++i) {
        const double mhz = rows[i].hz / 1e6;
        if (i > 0) {
            EXPECT_GT(rows[i].hz, rows[i - 1].hz);
        }
        for (int k = 0; k < 4; ++k) {
            // Exactly the ratio of the two receivers the unit reported...
            const auto wave = unit.expectedSample(mhz, inPort[k], outPort[k], 0);
            const auto incident = unit.expectedSample(mhz, inPort[k], outPort[k], 1);
            const std::complex<double> ratio =
                std::complex<double>(wave.i, wave.q) / std::complex<double>(incident.i, incident.q);
            EXPECT_NEAR(std::abs(rows[i].s[k] - ratio), 0.0, 1e-6) << "row " << i << " S" << k;
            // ...and that is the DUT's S-parameter up to the 16-bit quantisation.
            worst = std::max(worst, std::abs(rows[i].s[k] - dut.s(outPort[k], inPort[k], mhz)));
        }
    }
    EXPECT_LT(worst, 0.01);
}

} // namespace
