// Sweeps on every kind of switch board against simulated units carrying the port-matrix DUT,
// on which every ordered port pair responds differently: every path the board offers, in one
// sweep, must come back as the unit's radio model gives for the ports the test asked for, and
// the unit must hold exactly the program the task compiled.
#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <utility>
#include <vector>

#include "lab_namespace.h"
#include "measure_lab.h"
#include "sim_units.h"
#include "task_test_access.h"

using namespace Orvek;

namespace {

constexpr uint16_t kPort = 1240;
const std::string kUnit = "192.168.1.10";

// Port k's path value: k's three bits reversed, shifted to bits 6..4 for transmit ports.
const int kPortCode[8] = {0, 4, 2, 6, 1, 5, 3, 7};

using Paths = std::vector<std::pair<Transmit_Path, Receive_Path>>;

// Every transmit port (and "off" where the board allows it) with every receive port and none.
Paths allPairs(int ports, bool transmitterOff) {
    Paths paths;
    for (int t = transmitterOff ? -1 : 0; t < ports; ++t)
        for (int r = -1; r < ports; ++r)
            paths.emplace_back(static_cast<Transmit_Path>(t < 0 ? -1 : kPortCode[t] << 4),
                               static_cast<Receive_Path>(r < 0 ? -1 : kPortCode[r]));
    return paths;
}

struct BoardCase {
    std::string profile;
    Paths paths;
};

class MeasureSwitchBoards : public ::testing::TestWithParam<BoardCase> {
protected:
    void SetUp() override { TARN_REQUIRE_LAB_HOST_SIDE(); }
};

TEST_P(MeasureSwitchBoards, EveryPathMatchesTheModelOfTheRequestedPorts) {
    const BoardCase& c = GetParam();
    tarnlab::SimulatedUnits units;
    Sim::UnitConfig config = tarnlab::measureUnitConfig(c.profile, kUnit, kPort);
    config.dut = Sim::DutModel::parse("matrix");
    Sim::SimUnit& unit = units.add(config);
    ASSERT_EQ(units.start(), "");
    std::string problem;
    auto task = tarnlab::initialisedTask(kUnit, kPort, problem);
    ASSERT_NE(task, nullptr) << problem;
    const PromParameters& prom = *task->getHardwareDetails();

    ASSERT_EQ(task->setHopRate(HOP_45K), ERR_OK);
    // Across every band of the plan; four receivers make two packets per path.
    ASSERT_EQ(task->utilGenerateLinearSweep(prom.Minimum_freq + 1.0, prom.Maximum_freq - 1.0, 101),
              ERR_OK);
    ASSERT_EQ(task->setEnabledReceivers(0xF), ERR_OK);
    tarnlab::ModelOptions options;
    const bool tdd = prom.getSwitchboardType() == SWITCHBOARD_TDD_4_PORT_SWITCH;
    if (tdd) {
        TDDConfiguration tddConfig;
        tddConfig.flag1 = 1;      // tdd
        tddConfig.flag4 = 1;      // power amplifier
        tddConfig.extraValue = 1; // receive attenuator in, 8 quarter-dB steps
        tddConfig.attenuatorValue = 8;
        for (int i = 0; i < 7; ++i)
            tddConfig.timing[i] = 20 + i;
        ASSERT_EQ(task->configureTDDFeature(true, tddConfig), ERR_OK);
        options.testPortLossDb = 2.0;
    }
    for (const auto& [tx, rx] : c.paths)
        ASSERT_EQ(task->addPathToMeasure(tx, rx), ERR_OK) << tx << " -> " << rx;
    ASSERT_EQ(task->start(), ERR_OK);

    std::string compiled = TarnTaskTestAccess::state(*task).compiledProgram.program;
    for (char& ch : compiled)
        ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    // The unit holds the program byte for byte, and one more end byte behind it.
    EXPECT_EQ(tarnlab::imageHex(unit.programImage()), compiled + "ff");

    ASSERT_EQ(task->measure(), ERR_OK);
    for (const auto& [tx, rx] : c.paths) {
        const int nonZero = tarnlab::expectPathMatchesModel(*task, unit, tx, rx, options);
        if (tx == TARN_TX_PATH_NONE) {
            EXPECT_EQ(nonZero, 0) << "transmitter off, yet something was received";
        } else {
            EXPECT_GT(nonZero, 0) << tx << " -> " << rx << " measured nothing";
        }
    }
    if (tdd) {
        // tdd, power amplifier and attenuator switches; timing words t1..t6; attenuator.
        EXPECT_EQ(unit.externalReg(0), 0x29);
        for (int r = 1; r <= 6; ++r)
            EXPECT_EQ(unit.externalReg(r), 20 + r) << "TDD register " << r;
        EXPECT_EQ(unit.externalReg(7), 8);
    }
    EXPECT_EQ(task->stop(), ERR_OK);
    EXPECT_EQ(unit.status().errors, 0u);
}

INSTANTIATE_TEST_SUITE_P(Boards, MeasureSwitchBoards,
                         ::testing::Values(BoardCase{"none", {{TARN_TX_PATH_0, TARN_RX_PATH_1}}},
                                           BoardCase{"simple-4port", allPairs(4, false)},
                                           BoardCase{"tdd-4port", allPairs(4, true)},
                                           BoardCase{"simple-8port", allPairs(8, false)},
                                           // Reference path first: the order of the paths is kept.
                                           BoardCase{"s-param",
                                                     {{TARN_TX_PATH_2, TARN_RX_PATH_2},
                                                      {TARN_TX_PATH_0, TARN_RX_PATH_0},
                                                      {TARN_TX_PATH_0, TARN_RX_PATH_1},
                                                      {TARN_TX_PATH_1, TARN_RX_PATH_0},
                                                      {TARN_TX_PATH_1, TARN_RX_PATH_1}}}),
                         [](const ::testing::TestParamInfo<BoardCase>& info) {
                             std::string name = info.param.profile;
                             for (char& ch : name)
                                 if (ch == '-')
                                     ch = '_';
                             return name;
                         });

} // namespace
