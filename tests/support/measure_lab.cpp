#include "measure_lab.h"

#include <cmath>
#include <cstdio>

#include <gtest/gtest.h>

#include "sim/rf_model.h"

namespace tarnlab {

using namespace Orvek;

Sim::UnitConfig measureUnitConfig(const std::string& profile, const std::string& address,
                                  std::uint16_t port, bool realTime) {
    Sim::UnitConfig config = simUnitConfig(profile, address, port);
    config.realTime = realTime;
    return config;
}

std::unique_ptr<TarnTask> initialisedTask(const std::string& address, std::uint16_t port,
                                          std::string& problem) {
    auto task = std::make_unique<TarnTask>();
    int result = ERR_OK;
    // A second try when the machine is so busy that a PROM byte's reply came too late; the
    // tests using this are about measuring, not about initialisation.
    for (int attempt = 0; attempt < 2; ++attempt) {
        result = task->setIPAddress(address.c_str());
        if (result == ERR_OK)
            result = task->setIPPort(port);
        if (result == ERR_OK)
            result = task->initialize(nullptr, nullptr);
        if (result == ERR_OK)
            break;
    }
    if (result != ERR_OK) {
        problem = "initialising the task for " + address + ":" + std::to_string(port) +
                  " failed with " + std::to_string(result);
        return nullptr;
    }
    return task;
}

namespace {

// Port k of a path value: k's three bits reversed, in bits 6..4 (transmit) or 2..0 (receive).
int portOf(int pathValue, int shift) {
    const int codes[8] = {0, 4, 2, 6, 1, 5, 3, 7};
    for (int port = 0; port < 8; ++port)
        if (pathValue >= 0 && codes[port] << shift == pathValue)
            return port;
    return -1;
}

} // namespace

Sim::SwitchPath boardConnection(SwitchBoard_Type board, Transmit_Path tx, Receive_Path rx) {
    const int t = portOf(tx, 4);
    const int r = portOf(rx, 0);
    Sim::SwitchPath path;
    path.transmitting = t >= 0;
    path.txPort = t;
    path.rxPort = r;
    switch (board) {
    case SWITCHBOARD_NO_SWITCH_BOARD:
        break;
    case SWITCHBOARD_SIMPLE_4_PORT_SWITCH:
        // A reflection request moves the transmitter to a neighbouring port.
        if (t == r) {
            const int moved[4] = {1, 0, 1, 2};
            path.txPort = moved[t];
        }
        if (r < 0)
            path.rxPort = 0;
        break;
    case SWITCHBOARD_TDD_4_PORT_SWITCH:
        // The receive switch parks on port 3 for transmit ports 0 and 1, on port 0 otherwise.
        if (t < 0 && r < 0)
            path.rxPort = 3;
        else if (t >= 0 && (r < 0 || r == t))
            path.rxPort = t < 2 ? 3 : 0;
        break;
    case SWITCHBOARD_SIMPLE_8_PORT_SWITCH:
        if (r < 0)
            path.rxPort = t == 0 ? 4 : 0;
        break;
    case SWITCHBOARD_S_PARAMETER_SWITCH:
        path.internalReference = t == 2 && r == 2;
        break;
    }
    return path;
}

namespace {

// The model is taken from the unit once per sweep: a real-time unit that falls behind (as under
// emulation) holds its lock nearly all the time, and a lookup per point could wait for ages.
Sim::IqSample modelSample(const Sim::RfModel& model, const Sim::UnitHardware& hardware,
                          TarnTask& task, Transmit_Path tx, Receive_Path rx, double freqMHz,
                          int receiver, const ModelOptions& options) {
    Sim::RfState state = Sim::RfState::tuned(freqMHz, boardConnection(hardware.board, tx, rx));
    const bool off = options.transmitterOff && options.transmitterOff(freqMHz);
    state.txAmplifier = task.getTXPowerAmpState() && !off;
    state.txRfSwitch = task.getTXRFSwitchState() && !off;
    state.rxAmplifier = task.getRXPowerAmpState();
    state.extraRxLossDb = options.testPortLossDb;
    if (receiver >= hardware.receivers)
        return {};
    return model.sample(state, receiver);
}

} // namespace

int expectPathMatchesModel(TarnTask& task, const Sim::SimUnit& unit, Transmit_Path tx,
                           Receive_Path rx, const ModelOptions& options) {
    SweepData sweep;
    const int extracted = task.extractSweepData(tx, rx, sweep);
    EXPECT_EQ(extracted, ERR_OK) << "path " << tx << " -> " << rx;
    if (extracted != ERR_OK)
        return 0;
    const int points = task.getNumberOfFrequencies();
    const double* freqs = task.getFrequencies();
    EXPECT_EQ(sweep.numberOfPoints, points);
    EXPECT_EQ(static_cast<int>(sweep.receivers.size()), task.getnumberOfEnabledReceivers());
    const Sim::RfModel model(unit.dut(), unit.errorBox());
    int nonZero = 0;
    int mismatches = 0;
    for (std::size_t r = 0; r < sweep.receivers.size(); ++r) {
        const ComplexData& data = sweep.receiverData[r];
        if (static_cast<int>(data.length()) != points) {
            ADD_FAILURE() << "receiver " << sweep.receivers[r] << " holds " << data.length()
                          << " points";
            return 0;
        }
        for (int k = 0; k < points; ++k) {
            const Sim::IqSample expected =
                modelSample(model, unit.hardware(), task, tx, rx, freqs[k],
                            static_cast<int>(sweep.receivers[r]), options);
            // Largest accepted difference per I or Q value: one count.
            const bool same = std::fabs(data.real[k] - expected.i) <= 1 &&
                              std::fabs(data.imag[k] - expected.q) <= 1;
            if (!same && ++mismatches <= 5) {
                ADD_FAILURE() << "path " << tx << " -> " << rx << ", receiver "
                              << sweep.receivers[r] << ", point " << k << " (" << freqs[k]
                              << " MHz): measured (" << data.real[k] << ", " << data.imag[k]
                              << "), model (" << expected.i << ", " << expected.q << ")";
            }
            nonZero += data.real[k] != 0.0 || data.imag[k] != 0.0;
        }
    }
    EXPECT_EQ(mismatches, 0) << "path " << tx << " -> " << rx;
    return mismatches == 0 ? nonZero : 0;
}

void MeasureLab::startUnit(const std::string& profile, const std::string& address,
                           std::uint16_t port, bool realTime) {
    unit = &units.add(measureUnitConfig(profile, address, port, realTime));
    ASSERT_EQ(units.start(), "");
    std::string problem;
    task = initialisedTask(address, port, problem);
    ASSERT_NE(task, nullptr) << problem;
}

std::string imageHex(const std::vector<std::uint8_t>& image) {
    std::string hex;
    char text[3];
    for (std::uint8_t byte : image) {
        std::snprintf(text, sizeof text, "%02x", byte);
        hex += text;
    }
    return hex;
}

} // namespace tarnlab
