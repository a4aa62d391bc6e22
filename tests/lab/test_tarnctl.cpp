// tarnctl against simulated units: its Touchstone files read back (by a reader written here from
// the format's rules) to what the units measured, its JSON carries the hardware details, a PROM
// backup brings a blank unit back, the offline listing is the program a sweep uploads, and a
// new user's mistakes end in one line and a non-zero exit.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <tuple>
#include <vector>

#include "lab_namespace.h"
#include "sim/profiles.h"
#include "sim_units.h"
#include "tarndll.h"

namespace {

using Complex = std::complex<double>;

struct Result {
    int exitCode = -1;
    std::string out, err;
};

std::string slurp(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

Result tarnctl(const std::string& arguments) {
    const std::string errPath = ::testing::TempDir() + "tarnctl_stderr.txt";
    const std::string command = std::string(TARNCTL_TOOL) + " " + arguments + " 2>" + errPath;
    Result result;
    FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 4096> buffer{};
    size_t n;
    while (pipe && (n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        result.out.append(buffer.data(), n);
    const int status = pipe ? pclose(pipe) : -1;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.err = slurp(errPath);
    return result;
}

// Touchstone 1.1 from its rules: '!' starts a comment anywhere, '#' the option line; the data
// is a stream of numbers, per point the frequency and 2N^2 numbers, a two-port as S11 S21 S12
// S22, larger ones row by row, a row never sharing a line with the next and at most four pairs
// on a line. s[k][out][in], frequencies in Hz.
struct Touchstone {
    std::string option;
    std::vector<double> hz;
    std::vector<std::vector<std::vector<Complex>>> s;
};

Touchstone readTouchstone(const std::string& path, int ports) {
    Touchstone file;
    std::istringstream lines(slurp(path));
    std::string line;
    std::vector<std::vector<double>> dataLines;
    while (std::getline(lines, line)) {
        line = line.substr(0, line.find('!'));
        if (line.find_first_not_of(" \t") == std::string::npos)
            continue;
        if (line[0] == '#') {
            file.option = line;
            continue;
        }
        std::istringstream fields(line);
        std::vector<double> numbers;
        double value;
        while (fields >> value)
            numbers.push_back(value);
        EXPECT_TRUE(fields.eof()) << "not a number in: " << line;
        dataLines.push_back(numbers);
    }
    // Lines of one point: a two-port one line; else per row ceil(N/4) lines.
    const size_t linesPerRow = ports == 2 ? 1 : (ports + 3) / 4;
    const size_t linesPerPoint = ports == 2 ? 1 : linesPerRow * ports;
    EXPECT_EQ(dataLines.size() % linesPerPoint, 0u);
    for (size_t at = 0; at + linesPerPoint <= dataLines.size(); at += linesPerPoint) {
        std::vector<double> numbers;
        for (size_t l = 0; l < linesPerPoint; ++l) {
            const size_t pairs = (dataLines[at + l].size() - (l == 0 ? 1 : 0)) / 2;
            const size_t column = (l % linesPerRow) * 4;
            EXPECT_EQ(pairs, ports == 2 ? 4u : std::min<size_t>(4, ports - column)) << "line " << l;
            numbers.insert(numbers.end(), dataLines[at + l].begin(), dataLines[at + l].end());
        }
        EXPECT_EQ(numbers.size(), 1u + 2u * ports * ports);
        file.hz.push_back(numbers[0]);
        std::vector<std::vector<Complex>> matrix(ports, std::vector<Complex>(ports));
        for (int k = 0; k < ports * ports; ++k) {
            const int out = ports == 2 ? k % 2 : k / ports;
            const int in = ports == 2 ? k / 2 : k % ports;
            matrix[out][in] = Complex(numbers[1 + 2 * k], numbers[2 + 2 * k]);
        }
        file.s.push_back(matrix);
    }
    return file;
}

// What the tool must report for a path: receiver 0 over receiver 1 of the simulated unit.
Complex expectedRatio(const Orvek::Sim::SimUnit& unit, double mhz, int tx, int rx) {
    const auto wave = unit.expectedSample(mhz, tx, rx, 0);
    const auto incident = unit.expectedSample(mhz, tx, rx, 1);
    return Complex(wave.i, wave.q) / Complex(incident.i, incident.q);
}

struct SweepCase {
    const char* profile;
    const char* dut; // empty: the profile's bench
    int ports;
    const char* range; // --start/--stop
    std::uint16_t port;
};

TEST(Tarnctl, TouchstoneReadsBackToWhatTheUnitMeasured) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    const SweepCase cases[] = {
        {"s-param", "matrix", 2, "--start 1000 --stop 3000", 1260},
        {"s-param", "matrix", 2, "--start 3000 --stop 1000", 1260},
        {"simple-8port", "", 4, "--start 500 --stop 2500", 1261},
        {"simple-8port", "", 4, "--start 2500 --stop 500", 1261},
    };
    for (const SweepCase& c : cases) {
        SCOPED_TRACE(std::string(c.profile) + " " + c.range);
        tarnlab::SimulatedUnits units;
        auto config = tarnlab::simUnitConfig(c.profile, "192.168.1.10", c.port);
        config.realTime = false;
        if (*c.dut)
            config.dut = Orvek::Sim::DutModel::parse(c.dut);
        Orvek::Sim::SimUnit& unit = units.add(config);
        ASSERT_EQ(units.start(), "");

        const std::string output =
            ::testing::TempDir() + "tarnctl_sweep.s" + std::to_string(c.ports) + "p";
        std::remove(output.c_str());
        const Result run = tarnctl("sweep -p " + std::to_string(c.port) + " " + c.range +
                                   " --points 21 --raw -o " + output);
        ASSERT_EQ(run.exitCode, 0) << run.err;

        const Touchstone file = readTouchstone(output, c.ports);
        EXPECT_EQ(file.option, "# Hz S RI R 50");
        ASSERT_EQ(file.hz.size(), 21u);
        double worst = 0.0;
        for (size_t k = 0; k < file.hz.size(); ++k) {
            if (k > 0) {
                EXPECT_GT(file.hz[k], file.hz[k - 1]);
            }
            const double mhz = file.hz[k] / 1e6;
            for (int out = 0; out < c.ports; ++out)
                for (int in = 0; in < c.ports; ++in)
                    worst = std::max(
                        worst, std::abs(file.s[k][out][in] - expectedRatio(unit, mhz, in, out)));
        }
        EXPECT_LT(worst, 1e-9);

        if (*c.dut) {
            // S21 differs from S12 on the matrix DUT, so the check above sees every column's
            // place (that the ratios are the S-parameters is the simulator's own test).
            ASSERT_GT(std::abs(unit.dut().s(1, 0, 2000.0) - unit.dut().s(0, 1, 2000.0)), 0.05);
        }
    }
}

// Largest |file - truth| over every point and S-parameter of a two-port file, and the largest
// |S11| or |S21| (a passive DUT never exceeds 1).
struct Deviation {
    double worst = 0.0, largestMagnitude = 0.0;
};
Deviation deviation(const Touchstone& file, const Orvek::Sim::DutModel& dut) {
    Deviation d;
    for (size_t k = 0; k < file.hz.size(); ++k)
        for (int out = 0; out < 2; ++out) {
            for (int in = 0; in < 2; ++in)
                d.worst = std::max(d.worst,
                                   std::abs(file.s[k][out][in] - dut.s(out, in, file.hz[k] / 1e6)));
            d.largestMagnitude = std::max(d.largestMagnitude, std::abs(file.s[k][out][0]));
        }
    return d;
}

TEST(Tarnctl, CalibratedSweepsRecoverTheDutBehindTheErrorBox) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    tarnlab::SimulatedUnits units;
    auto config = tarnlab::simUnitConfig("s-param", "192.168.1.10", 1267);
    config.realTime = false;
    config.promWriteDelayMs = 0.0;
    Orvek::Sim::SimUnit& unit = units.add(config);
    ASSERT_EQ(units.start(), "");
    const Orvek::Sim::DutModel bench = unit.dut();
    // Gain lifts the samples well above the ADC's step without clipping the largest wave.
    const std::string sweep = "sweep -p 1267 --start 1000 --stop 2200 --points 61 --gain 24 ";
    const std::string out = ::testing::TempDir() + "tarnctl_cal_";

    struct Run {
        const char* name;
        const char* options;
        const char* comment; // what the file must say about correction
    } runs[] = {
        {"stored", "", "Corrected with the unit's stored 12-term calibration (25 points"},
        {"raw", "--raw", "Raw receiver ratios, not corrected (--raw)"},
    };
    for (const Run& r : runs) {
        SCOPED_TRACE(r.name);
        const std::string file = out + r.name + ".s2p";
        const Result run = tarnctl(sweep + r.options + " -o " + file);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_NE(slurp(file).find(r.comment), std::string::npos) << slurp(file).substr(0, 600);
        const Deviation d = deviation(readTouchstone(file, 2), bench);
        if (*r.options) {
            EXPECT_GT(d.worst, 0.05);
        } else {
            EXPECT_LT(d.worst, 0.01);
            EXPECT_LE(d.largestMagnitude, 1.0);
        }
    }

    // The user's own SOLT: the standards' raw sweeps, the calibration from them, and sweeps
    // corrected with it from the file and, once written, from the unit's PROM.
    const std::string folder = ::testing::TempDir();
    const char* standards[] = {"short", "open", "load", "thru"};
    for (const char* standard : standards) {
        unit.setDut(Orvek::Sim::DutModel::parse(
            std::string(standard) == "thru" ? "thru:0-1:0:0"
                                            : std::string(standard) + ":0," + standard + ":1"));
        const Result run = tarnctl(sweep + "--raw -o " + folder + standard + ".s2p");
        ASSERT_EQ(run.exitCode, 0) << run.err;
    }
    unit.setDut(bench);
    const std::string cal = out + "solt.csv";
    Result run = tarnctl("cal solt --from " + folder + " -o " + cal);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(tarnctl("cal write -p 1267 " + cal + " </dev/null").exitCode, 4);
    run = tarnctl("cal write --yes -p 1267 " + cal);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    for (const char* source : {"--cal ", "--corrected "}) {
        SCOPED_TRACE(source);
        const std::string file = out + "solt.s2p";
        run = tarnctl(sweep + source + (source[2] == 'c' && source[3] == 'a' ? cal : "") + " -o " +
                      file);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const Deviation d = deviation(readTouchstone(file, 2), bench);
        EXPECT_LT(d.worst, 0.01);
        EXPECT_LE(d.largestMagnitude, 1.0);
    }
}

TEST(Tarnctl, InfoJsonCarriesEveryHardwareDetail) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    tarnlab::SimulatedUnits units;
    units.add("simple-8port", "192.168.1.10", 1262);
    ASSERT_EQ(units.start(), "");

    const Result run = tarnctl("info --json -p 1262");
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const nlohmann::json info = nlohmann::json::parse(run.out);
    const nlohmann::json& h = info.at("hardware");

    // The same unit through the driver's own interface.
    task_t* task = createTask();
    setIPAddress(task, "192.168.1.10");
    setIPPort(task, 1262);
    ASSERT_EQ(initialize(task, nullptr, nullptr), 0);
    const tarn_hardware_details_t d = getHardwareDetails(task);
    deleteTask(task);

    const nlohmann::json expected = {
        {"minimumFrequency", d.minimumFrequency},
        {"maximumFrequency", d.maximumFrequency},
        {"maximumNumberOfPoints", d.maximumNumberOfPoints},
        {"promKey29", d.promKey29},
        {"bandBoundaries", std::vector<int>(d.bandBoundaries, d.bandBoundaries + 8)},
        {"numberOfBandBoundaries", d.numberOfBandBoundaries},
        {"switchBoardType", static_cast<int>(d.switchBoardType)},
        {"hasShaftEncoder", d.hasShaftEncoder},
        {"hasSerialPort", d.hasSerialPort},
        {"hasSwitchboardAttenuator", d.hasSwitchboardAttenuator},
        {"hasMultipleReceivers", d.hasMultipleReceivers},
        {"hasFeature7", d.hasFeature7},
        {"hasFeature6", d.hasFeature6}};
    EXPECT_EQ(h, expected);
    EXPECT_EQ(info.at("prom").at("master_clock_mhz"), 32.0);
}

TEST(Tarnctl, DumpRestoresABlankUnitAndListsTheUploadedProgram) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    tarnlab::SimulatedUnits units;
    auto source = tarnlab::simUnitConfig("s-param", "192.168.1.10", 1263);
    source.realTime = false;
    auto blank = tarnlab::simUnitConfig("s-param", "192.168.1.10", 1264);
    blank.promImage = Orvek::Sim::blankPromImage();
    blank.promWriteDelayMs = 0.0;
    Orvek::Sim::SimUnit& sourceUnit = units.add(source);
    Orvek::Sim::SimUnit& blankUnit = units.add(blank);
    ASSERT_EQ(units.start(), "");

    const std::string image = ::testing::TempDir() + "tarnctl_prom.hex";
    std::remove(image.c_str());
    Result run = tarnctl("prom dump -p 1263 " + image);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    // Destructive commands ask; without a terminal and without --yes nothing is written.
    EXPECT_EQ(tarnctl("prom restore -p 1264 " + image + " </dev/null").exitCode, 4);
    run = tarnctl("prom restore --yes -p 1264 " + image);
    ASSERT_EQ(run.exitCode, 0) << run.err;

    const std::vector<std::uint8_t> original = sourceUnit.promContents();
    const std::vector<std::uint8_t> restored = blankUnit.promContents();
    const size_t length = 22 + (original[20] << 8 | original[21]);
    EXPECT_TRUE(std::equal(original.begin(), original.begin() + length, restored.begin()));

    // Both initialise to the same description (field by field: the struct has padding).
    tarn_hardware_details_t d[2];
    const int ports[2] = {1263, 1264};
    for (int i = 0; i < 2; ++i) {
        task_t* task = createTask();
        setIPAddress(task, "192.168.1.10");
        setIPPort(task, ports[i]);
        ASSERT_EQ(initialize(task, nullptr, nullptr), 0) << "port " << ports[i];
        d[i] = getHardwareDetails(task);
        deleteTask(task);
    }
    EXPECT_EQ(
        std::make_tuple(d[0].minimumFrequency, d[0].maximumFrequency, d[0].maximumNumberOfPoints,
                        d[0].promKey29, d[0].numberOfBandBoundaries, d[0].switchBoardType,
                        d[0].hasShaftEncoder, d[0].hasSerialPort, d[0].hasSwitchboardAttenuator,
                        d[0].hasMultipleReceivers, d[0].hasFeature7, d[0].hasFeature6),
        std::make_tuple(d[1].minimumFrequency, d[1].maximumFrequency, d[1].maximumNumberOfPoints,
                        d[1].promKey29, d[1].numberOfBandBoundaries, d[1].switchBoardType,
                        d[1].hasShaftEncoder, d[1].hasSerialPort, d[1].hasSwitchboardAttenuator,
                        d[1].hasMultipleReceivers, d[1].hasFeature7, d[1].hasFeature6));
    EXPECT_TRUE(std::equal(d[0].bandBoundaries, d[0].bandBoundaries + 8, d[1].bandBoundaries));

    // The offline listing holds, byte for byte, the program a sweep of that unit uploads.
    const std::string sweep = " --start 1000 --stop 2000 --points 11 --hop 7k --gain 6";
    run = tarnctl("sweep -p 1263 -o " + ::testing::TempDir() + "tarnctl_listing.csv" + sweep);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    run = tarnctl("listing --prom " + image + sweep);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    std::vector<std::uint8_t> listed;
    std::istringstream lines(run.out);
    std::string line;
    while (std::getline(lines, line)) {
        unsigned address = 0;
        int used = 0;
        if (std::sscanf(line.c_str(), "%4x\t%n", &address, &used) != 1 || used != 5)
            continue;
        EXPECT_EQ(address, listed.size()) << line;
        std::istringstream bytes(line.substr(5));
        unsigned byte;
        while (bytes >> std::hex >> byte)
            listed.push_back(static_cast<std::uint8_t>(byte));
    }
    listed.push_back(0xFF); // the upload's end marker
    EXPECT_EQ(listed, sourceUnit.programImage());
}

TEST(Tarnctl, NewUserMistakesEndInOneLine) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    tarnlab::SimulatedUnits units;
    auto config = tarnlab::simUnitConfig("s-param", "192.168.1.10", 1265);
    config.realTime = false;
    units.add(config);
    ASSERT_EQ(units.start(), "");

    struct Mistake {
        const char* arguments;
        int exitCode;
        const char* says;
    };
    const Mistake mistakes[] = {
        {"ping -a 192.168.1.19 -p 1265", 1, "no answer from 192.168.1.19:1265"},
        {"sweep -p 1266", 1, "no answer from 192.168.1.10:1266"},
        {"sweep -a 192.168.1 -p 1265", 2, "bad address \"192.168.1\""},
        {"sweep -p 1265 --start 10 --stop 500", 2, "the unit's range is 400-6400 MHz"},
        {"sweep -p 1265 --paths 0:5", 2, "path 0:5 does not exist"},
        {"sweep -p 1265 --hop 100k", 2, "hop rate \"100k\" is not one of 90k"},
        {"sweep -p 1265 --points 20x", 2, "--points \"20x\" is not a whole number"},
        {"sweep -p 1265 --paths S11,S21 -o x.s2p", 2, "(S12 is missing)"},
    };
    for (const Mistake& m : mistakes) {
        const Result run = tarnctl(m.arguments);
        EXPECT_EQ(run.exitCode, m.exitCode) << m.arguments << ": " << run.err;
        EXPECT_NE(run.err.find(m.says), std::string::npos) << m.arguments << ": " << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
    for (const char* asksForHelp : {"--help", "sweep --help", "--version"})
        EXPECT_EQ(tarnctl(asksForHelp).exitCode, 0) << asksForHelp;
}

} // namespace
