// Sweeps on every kind of switch board against simulated units: every measured path, in the
// order it was added, must come back as the unit's DUT model says at the task's frequencies,
// and the unit must run exactly the program whose listing the task keeps.
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

struct BoardCase {
    std::string profile;
    std::vector<std::pair<Transmit_Path, Receive_Path>> paths;
};

std::ostream& operator<<(std::ostream& out, const BoardCase& c) {
    return out << c.profile;
}

class MeasureSwitchBoards : public ::testing::TestWithParam<BoardCase> {
protected:
    void SetUp() override { TARN_REQUIRE_LAB_HOST_SIDE(); }
};

TEST_P(MeasureSwitchBoards, EveryPathMatchesTheModelInTheOrderAdded) {
    const BoardCase& c = GetParam();
    tarnlab::SimulatedUnits units;
    Sim::SimUnit& unit = units.add(tarnlab::measureUnitConfig(c.profile, kUnit, kPort));
    ASSERT_EQ(units.start(), "");
    std::string problem;
    auto task = tarnlab::initialisedTask(kUnit, kPort, problem);
    ASSERT_NE(task, nullptr) << problem;
    const PromParameters& prom = *task->getHardwareDetails();

    ASSERT_EQ(task->setHopRate(HOP_45K), ERR_OK);
    // Across every band of the unit's plan.
    ASSERT_EQ(task->utilGenerateLinearSweep(prom.Minimum_freq + 1.0, prom.Maximum_freq - 1.0, 61),
              ERR_OK);
    const bool tdd = prom.getSwitchboardType() == SWITCHBOARD_TDD_4_PORT_SWITCH;
    if (tdd) {
        TDDConfiguration config;
        config.flag1 = 1;      // tdd
        config.flag4 = 1;      // power amplifier
        config.extraValue = 1; // receive attenuator in
        config.attenuatorValue = 8;
        for (int i = 0; i < 7; ++i)
            config.timing[i] = 20 + i;
        ASSERT_EQ(task->configureTDDFeature(true, config), ERR_OK);
    }
    for (const auto& [tx, rx] : c.paths)
        ASSERT_EQ(task->addPathToMeasure(tx, rx), ERR_OK) << tx << " -> " << rx;
    ASSERT_EQ(task->start(), ERR_OK);

    const std::string listed =
        tarnlab::listingImageHex(TarnTaskTestAccess::state(*task).programListing);
    const std::string uploaded = tarnlab::imageHex(unit.programImage());
    ASSERT_FALSE(listed.empty());
    std::string compiled = TarnTaskTestAccess::state(*task).compiledProgram.program;
    for (char& ch : compiled)
        ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    EXPECT_EQ(listed, compiled);
    // The upload ends with one more end byte behind the program.
    EXPECT_EQ(uploaded, listed + "ff");

    ASSERT_EQ(task->measure(), ERR_OK);
    for (const auto& [tx, rx] : c.paths) {
        const int nonZero = tarnlab::expectPathMatchesModel(*task, unit, tx, rx);
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
    EXPECT_EQ(task->getState(), TASK_STOPPED);
    EXPECT_EQ(unit.status().errors, 0u);
}

INSTANTIATE_TEST_SUITE_P(Boards, MeasureSwitchBoards,
                         ::testing::Values(BoardCase{"none", {{TARN_TX_PATH_0, TARN_RX_PATH_1}}},
                                           BoardCase{"simple-4port",
                                                     {{TARN_TX_PATH_0, TARN_RX_PATH_1},
                                                      {TARN_TX_PATH_2, TARN_RX_PATH_3},
                                                      {TARN_TX_PATH_1, TARN_RX_PATH_0},
                                                      {TARN_TX_PATH_3, TARN_RX_PATH_2}}},
                                           BoardCase{"tdd-4port",
                                                     {{TARN_TX_PATH_NONE, TARN_RX_PATH_1},
                                                      {TARN_TX_PATH_0, TARN_RX_PATH_1},
                                                      {TARN_TX_PATH_3, TARN_RX_PATH_2}}},
                                           BoardCase{"simple-8port",
                                                     {{TARN_TX_PATH_2, TARN_RX_PATH_3},
                                                      {TARN_TX_PATH_5, TARN_RX_PATH_5},
                                                      {TARN_TX_PATH_0, TARN_RX_PATH_1},
                                                      {TARN_TX_PATH_4, TARN_RX_PATH_4}}},
                                           BoardCase{"s-param",
                                                     {{TARN_TX_PATH_0, TARN_RX_PATH_0},
                                                      {TARN_TX_PATH_0, TARN_RX_PATH_1},
                                                      {TARN_TX_PATH_1, TARN_RX_PATH_0},
                                                      {TARN_TX_PATH_1, TARN_RX_PATH_1},
                                                      {TARN_TX_PATH_2, TARN_RX_PATH_2}}}),
                         [](const ::testing::TestParamInfo<BoardCase>& info) {
                             std::string name = info.param.profile;
                             for (char& ch : name)
                                 if (ch == '-')
                                     ch = '_';
                             return name;
                         });

} // namespace
