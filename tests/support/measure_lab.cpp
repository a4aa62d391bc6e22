#include "measure_lab.h"

#include <cctype>
#include <cmath>
#include <cstdio>

#include <gtest/gtest.h>

#include "sim/rf_model.h"

namespace tarnlab {

using namespace Orvek;

Sim::UnitConfig measureUnitConfig(const std::string& profile, const std::string& address,
                                  std::uint16_t port, bool realTime) {
    Sim::UnitConfig config;
    config.profile = profile;
    config.address = address;
    config.port = port;
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
        std::fprintf(stderr, "initialising %s:%u failed with %d%s\n", address.c_str(), port, result,
                     attempt == 0 ? ", trying again" : "");
    }
    if (result != ERR_OK) {
        problem = "initialising the task for " + address + ":" + std::to_string(port) +
                  " failed with " + std::to_string(result);
        return nullptr;
    }
    return task;
}

namespace {

int portOf(Transmit_Path tx) {
    const Transmit_Path ports[] = {TARN_TX_PATH_0, TARN_TX_PATH_1, TARN_TX_PATH_2, TARN_TX_PATH_3,
                                   TARN_TX_PATH_4, TARN_TX_PATH_5, TARN_TX_PATH_6, TARN_TX_PATH_7};
    for (int port = 0; port < 8; ++port)
        if (ports[port] == tx)
            return port;
    return -1;
}

int portOf(Receive_Path rx) {
    const Receive_Path ports[] = {TARN_RX_PATH_0, TARN_RX_PATH_1, TARN_RX_PATH_2, TARN_RX_PATH_3,
                                  TARN_RX_PATH_4, TARN_RX_PATH_5, TARN_RX_PATH_6, TARN_RX_PATH_7};
    for (int port = 0; port < 8; ++port)
        if (ports[port] == rx)
            return port;
    return -1;
}

} // namespace

Sim::SwitchPath boardConnection(SwitchBoard_Type board, Transmit_Path tx, Receive_Path rx) {
    const int t = portOf(tx);
    const int r = portOf(rx);
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

Sim::IqSample modelSample(const Sim::SimUnit& unit, TarnTask& task, Transmit_Path tx,
                          Receive_Path rx, double freqMHz, int receiver,
                          const ModelOptions& options) {
    Sim::RfState state =
        Sim::RfState::tuned(freqMHz, boardConnection(unit.hardware().board, tx, rx));
    if (options.receiverOffsetMHz)
        state.rxFrequencyMHz += options.receiverOffsetMHz(freqMHz);
    const bool off = options.transmitterOff && options.transmitterOff(freqMHz);
    state.txAmplifier = task.getTXPowerAmpState() && !off;
    state.txRfSwitch = task.getTXRFSwitchState() && !off;
    state.rxAmplifier = task.getRXPowerAmpState();
    state.extraRxLossDb = options.testPortLossDb;
    if (receiver >= unit.hardware().receivers)
        return {};
    return Sim::RfModel(unit.dut()).sample(state, receiver);
}

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
            const Sim::IqSample expected = modelSample(
                unit, task, tx, rx, freqs[k], static_cast<int>(sweep.receivers[r]), options);
            const bool same = std::fabs(data.real[k] - expected.i) <= options.tolerance &&
                              std::fabs(data.imag[k] - expected.q) <= options.tolerance;
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

std::string listingImageHex(const std::string& listing) {
    std::string hex;
    unsigned expected = 0;
    std::size_t at = 0;
    while (at < listing.size()) {
        std::size_t end = listing.find('\n', at);
        if (end == std::string::npos)
            end = listing.size();
        const std::string line = listing.substr(at, end - at);
        at = end + 1;
        unsigned address = 0;
        char tab = 0;
        if (line.size() < 7 || std::sscanf(line.c_str(), "%4x%c", &address, &tab) != 2 ||
            tab != '\t')
            continue;
        if (address != expected)
            return "";
        for (std::size_t i = 5; i + 1 < line.size(); i += 3) {
            hex += static_cast<char>(std::tolower(static_cast<unsigned char>(line[i])));
            hex += static_cast<char>(std::tolower(static_cast<unsigned char>(line[i + 1])));
            ++expected;
        }
    }
    return hex;
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
