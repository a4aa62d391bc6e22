#pragma once
// Measurement tests against simulated units over the lab: a task initialised against a unit,
// and the check of a measured path's extracted I/Q against the unit's DUT model at the task's
// (snapped) frequencies. The expected data come from the ports the test asked for and the
// unit's own radio model, never from the library's path mapping or program: a library that
// selects the wrong ports or programs the wrong registers gets different data back.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "lab_namespace.h"
#include "sim/sim_unit.h"
#include "sim_units.h"
#include "task/sweep_data.h"
#include "task/tarn_task.h"

namespace tarnlab {

// A simulated unit of `profile` in fast mode (no real-time pacing) unless `realTime`.
Orvek::Sim::UnitConfig measureUnitConfig(const std::string& profile, const std::string& address,
                                         std::uint16_t port, bool realTime = false);

// A task for the unit at `address`:`port`, initialised (TASK_STOPPED). Null, with `problem`
// set, when initialisation fails.
std::unique_ptr<Orvek::TarnTask> initialisedTask(const std::string& address, std::uint16_t port,
                                                 std::string& problem);

// How the unit was set for a sweep, beyond what its registers still show afterwards.
struct ModelOptions {
    // Transmitter off at this frequency (MHz): exclusion bands.
    std::function<bool(double)> transmitterOff;
    // Receive attenuation the test configured in front of the test-port receivers, in dB.
    double testPortLossDb = 0.0;
};

// What a unit's switch board connects when asked for (tx, rx): the pair itself, except where
// the board cannot connect it as asked (same-port and receive-none requests on the 4-port
// boards, receive none on the 8-port board, the S-parameter board's reference path).
Orvek::Sim::SwitchPath boardConnection(Orvek::SwitchBoard_Type board, Orvek::Transmit_Path tx,
                                       Orvek::Receive_Path rx);

// Extracts the path's sweep and expects every enabled receiver's I/Q at every frequency to be
// what the unit's radio model gives on the path its switch board connects for (tx, rx), at
// gain 0 and with the task's amplifier settings. Returns the number of samples that were not
// zero (0 also on failure).
int expectPathMatchesModel(Orvek::TarnTask& task, const Orvek::Sim::SimUnit& unit,
                           Orvek::Transmit_Path tx, Orvek::Receive_Path rx,
                           const ModelOptions& options = {});

// A lab test with one simulated unit and a task initialised against it.
class MeasureLab : public ::testing::Test {
protected:
    void SetUp() override { TARN_REQUIRE_LAB_HOST_SIDE(); }
    // Starts a unit of `profile` at `address`:`port` (fast unless `realTime`) and initialises
    // `task` for it.
    void startUnit(const std::string& profile, const std::string& address, std::uint16_t port,
                   bool realTime = false);

    SimulatedUnits units;
    Orvek::Sim::SimUnit* unit = nullptr;
    std::unique_ptr<Orvek::TarnTask> task;
};

// Lower-case hex text of image bytes.
std::string imageHex(const std::vector<std::uint8_t>& image);

} // namespace tarnlab
