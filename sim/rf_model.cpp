#include "sim/rf_model.h"

#include <algorithm>
#include <cmath>

namespace Orvek {
namespace Sim {

namespace {

constexpr double kPi = 3.14159265358979323846;

double fromDb(double db) {
    return std::pow(10.0, db / 20.0);
}

Complex delay(double freqMHz, double delayNs) {
    return std::polar(1.0, -2.0 * kPi * freqMHz * 1e6 * delayNs * 1e-9);
}

} // namespace

RfState RfState::tuned(double frequencyMHz, const SwitchPath& path) {
    RfState state;
    state.txFrequencyMHz = frequencyMHz;
    state.rxFrequencyMHz = frequencyMHz + kIntermediateFrequencyMHz;
    state.path = path;
    return state;
}

double RfModel::ifResponse(double ifMHz) {
    // Fourth-order Butterworth magnitude around the crystal filter's centre.
    const double x = (ifMHz - kIntermediateFrequencyMHz) / kIfHalfBandwidthMHz;
    const double x2 = x * x;
    return 1.0 / std::sqrt(1.0 + x2 * x2 * x2 * x2);
}

Complex RfModel::wave(const RfState& state, int receiver) const {
    if (receiver < 0 || receiver > 3 || state.suppliesOff || !state.synthesiserLocked)
        return 0.0;
    const SwitchPath& path = state.path;
    if (!path.transmitting)
        return 0.0;
    const double f = state.txFrequencyMHz;

    double txLevel = 1.0;
    if (!state.txAmplifier)
        txLevel *= fromDb(-kTxAmplifierOffDb);
    if (!state.txRfSwitch)
        txLevel *= fromDb(-kTxRfSwitchOffDb);
    txLevel *= fromDb(-state.extraTxLossDb);
    const Complex incident = kSourceCounts * txLevel * delay(f, kSourceDelayNs);

    double receiveGain = fromDb(3.0 * (state.gainSteps & 0x0F) - (state.pad12dB ? 12.0 : 0.0));
    if (!state.rxAmplifier)
        receiveGain *= fromDb(-kRxAmplifierOffDb);
    receiveGain *= ifResponse(state.rxFrequencyMHz - state.txFrequencyMHz);
    if (receiver == 1)
        return incident * receiveGain;

    const double testPortGain = receiveGain * fromDb(-(state.attenuatorDb + state.extraRxLossDb));
    if (path.internalReference)
        return receiver == 0 ? incident * delay(f, kReferenceLineDelayNs) * testPortGain : 0.0;
    const int listeningPort = receiver == 0 ? path.rxPort : receiver;
    const Complex ratio = box_.covers(path.txPort, listeningPort)
                              ? box_.rawRatio(dut_, path.txPort, listeningPort, f)
                              : dut_.s(listeningPort, path.txPort, f);
    return ratio * incident * testPortGain;
}

IqSample RfModel::quantise(Complex wave) {
    auto toCounts = [](double value) {
        if (!std::isfinite(value))
            return std::int16_t{0};
        const double rounded = std::nearbyint(std::clamp(value, -32768.0, 32767.0));
        return static_cast<std::int16_t>(rounded);
    };
    return {toCounts(wave.real()), toCounts(wave.imag())};
}

} // namespace Sim
} // namespace Orvek
