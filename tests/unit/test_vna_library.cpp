// libtarnvna: the texts of every result code, and its Touchstone and CSV
// files read back to what was written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tarnvna.h"

namespace {

std::string slurp(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string scratch(const std::string& name) {
    return ::testing::TempDir() + name;
}

TEST(VnaLibrary, EveryCodeHasItsOwnNameTextAndHint) {
    std::set<std::string> names, texts;
    for (int code = 0; code >= -32; --code) {
        names.insert(tarnvna_error_name(code));
        texts.insert(tarnvna_error_text(code));
        EXPECT_EQ(std::string(tarnvna_error_hint(code)).empty(), code == 0) << code;
    }
    EXPECT_EQ(names.size(), 33u);
    EXPECT_EQ(texts.size(), 33u);
    EXPECT_STREQ(tarnvna_error_name(-10), "ERR_NO_RESPONSE");
    EXPECT_STREQ(tarnvna_error_name(-31), "-31");
    EXPECT_STREQ(tarnvna_error_name(-32), "-32");
    EXPECT_STREQ(tarnvna_error_name(-33), "unknown code");
}

// Values that tell every matrix position and point apart.
tarnvna_network_t makeNetwork(unsigned ports, const std::vector<double>& freqs,
                              std::vector<double>& re, std::vector<double>& im) {
    re.resize(freqs.size() * ports * ports);
    im.resize(re.size());
    for (size_t k = 0; k < re.size(); ++k) {
        re[k] = 0.001 * static_cast<double>(k) + 1.0 / 3.0;
        im[k] = -std::sqrt(static_cast<double>(k) + 2.0);
    }
    return {ports, static_cast<unsigned>(freqs.size()), const_cast<double*>(freqs.data()),
            re.data(), im.data()};
}

TEST(VnaLibrary, TouchstoneReadsBackInAscendingFrequency) {
    // Upward, downward and unordered sweeps of one- to five-port networks.
    const std::vector<std::vector<double>> sweeps = {
        {100.0, 200.5, 300.25}, {3000.0, 2000.0, 1000.125}, {5.5, 1.25, 3.0, 2.0}};
    for (unsigned ports = 1; ports <= 5; ++ports)
        for (const auto& freqs : sweeps) {
            std::vector<double> re, im;
            const tarnvna_network_t written = makeNetwork(ports, freqs, re, im);
            const std::string path = scratch("vna.s" + std::to_string(ports) + "p");
            ASSERT_EQ(tarnvna_touchstone_write(path.c_str(), &written, "unit test\nsecond"), 0);
            tarnvna_network_t read{};
            ASSERT_EQ(tarnvna_touchstone_read(path.c_str(), &read), 0) << slurp(path);
            ASSERT_EQ(read.ports, ports);
            ASSERT_EQ(read.points, freqs.size());
            for (unsigned k = 0; k < read.points; ++k) {
                if (k > 0) {
                    EXPECT_GT(read.freq_mhz[k], read.freq_mhz[k - 1]);
                }
                const size_t source =
                    std::find(freqs.begin(), freqs.end(), read.freq_mhz[k]) - freqs.begin();
                ASSERT_LT(source, freqs.size()) << read.freq_mhz[k];
                for (unsigned e = 0; e < ports * ports; ++e) {
                    EXPECT_EQ(read.re[k * ports * ports + e], re[source * ports * ports + e]);
                    EXPECT_EQ(read.im[k * ports * ports + e], im[source * ports * ports + e]);
                }
            }
            tarnvna_network_free(&read);
        }
}

TEST(VnaLibrary, TouchstoneReaderTakesOtherUnitsFormatsAndStopsAtNoiseData) {
    const std::string path = scratch("foreign.s2p");
    std::ofstream(path) << "! from elsewhere\n# GHz S MA R 50\n"
                           "1.0 0.5 90 1 0 1 180 0.25 -90 ! first\n"
                           "2.0 0.5 0 1 0 1 0 0.25 0\n"
                           "1.0 1.5 0.3 120 0.5\n"; // noise parameters
    tarnvna_network_t read{};
    ASSERT_EQ(tarnvna_touchstone_read(path.c_str(), &read), 0);
    ASSERT_EQ(read.points, 2u);
    EXPECT_DOUBLE_EQ(read.freq_mhz[0], 1000.0);
    EXPECT_NEAR(read.im[0], 0.5, 1e-12);  // S11 = 0.5 at 90 degrees
    EXPECT_NEAR(read.re[1], -1.0, 1e-12); // S12 is the third pair
    EXPECT_NEAR(read.re[2], 1.0, 1e-12);  // S21 the second
    EXPECT_NEAR(read.im[3], -0.25, 1e-12);
    tarnvna_network_free(&read);

    const std::string db = scratch("db.s1p");
    std::ofstream(db) << "# MHz S DB R 50\n10 -20 0\n";
    ASSERT_EQ(tarnvna_touchstone_read(db.c_str(), &read), 0);
    EXPECT_NEAR(read.re[0], 0.1, 1e-12);
    tarnvna_network_free(&read);
}

TEST(VnaLibrary, RefusesWhatReadersWouldMisparseAndKeepsTheOldFile) {
    std::vector<double> re, im;
    const std::string path = scratch("kept.s1p");
    std::ofstream(path) << "precious";
    for (const std::vector<double>& freqs :
         std::vector<std::vector<double>>{{100.0, 100.0}, {0.0, 1.0}, {NAN, 2.0}}) {
        const tarnvna_network_t bad = makeNetwork(1, freqs, re, im);
        EXPECT_EQ(tarnvna_touchstone_write(path.c_str(), &bad, nullptr), -30);
    }
    const std::vector<double> one = {1.0};
    const tarnvna_network_t good = makeNetwork(1, one, re, im);
    EXPECT_EQ(tarnvna_touchstone_write("/nonexistent/x.s1p", &good, nullptr), -7);
    EXPECT_EQ(slurp(path), "precious");
}

TEST(VnaLibrary, CsvReadsBackWithItsNames) {
    const std::vector<double> freqs = {2000.5, 1000.25};
    // Point-major, two columns per point.
    std::vector<double> re = {0.1, 1.1, 2.1, 3.1}, im = {0.0, -1 / 7.0, -2 / 7.0, -3 / 7.0};
    char s21[] = "S21", raw[] = "T0R1_rx0";
    char* names[] = {s21, raw};
    const tarnvna_table_t table{2,     2,         const_cast<double*>(freqs.data()),
                                names, re.data(), im.data()};
    const std::string path = scratch("table.csv");
    ASSERT_EQ(tarnvna_csv_write(path.c_str(), &table), 0);
    EXPECT_EQ(slurp(path).substr(0, slurp(path).find('\n')),
              "freq_mhz,S21_re,S21_im,T0R1_rx0_re,T0R1_rx0_im");
    tarnvna_table_t read{};
    ASSERT_EQ(tarnvna_csv_read(path.c_str(), &read), 0);
    ASSERT_EQ(read.columns, 2u);
    ASSERT_EQ(read.points, 2u);
    EXPECT_STREQ(read.names[1], "T0R1_rx0");
    EXPECT_EQ(read.freq_mhz[0], 1000.25);
    EXPECT_EQ(read.re[0], re[2]); // the lower frequency's first column
    EXPECT_EQ(read.im[3], im[1]);
    tarnvna_table_free(&read);
}

} // namespace
