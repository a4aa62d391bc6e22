#pragma once
// The radio of a simulated unit: what each receiver sees for a given electrical state of the
// unit (frequencies, switch path, amplifiers, gain, attenuation) with the DUT on its ports.
//
// The receivers work as in a ratio-measuring analyser: receiver 0 sees the wave leaving the
// DUT at the receive port, receiver 1 the wave incident on the DUT at the transmit port, so
// receiver 0 / receiver 1 is the S-parameter of the path (times the receive attenuator's
// loss); receivers 2 and 3 see the waves leaving the DUT at ports 2 and 3. The receive
// attenuator sits in the test-port receivers (0, 2, 3), not in the reference receiver. Paths
// between ports 0 and 1 see the DUT through the unit's error box.
#include <cstdint>
#include <utility>

#include "sim/dut_model.h"
#include "sim/error_box.h"
#include "sim/switch_boards.h"
#include "sim/unit_hardware.h"

namespace Orvek {
namespace Sim {

struct IqSample {
    std::int16_t i = 0;
    std::int16_t q = 0;
    bool operator==(const IqSample& other) const { return i == other.i && q == other.q; }
    bool operator!=(const IqSample& other) const { return !(*this == other); }
};

// Electrical state of the unit at one acquisition.
struct RfState {
    double txFrequencyMHz = 0.0;
    double rxFrequencyMHz = 0.0; // receiver LO; tuned right it is txFrequency + 10.7 MHz
    bool synthesiserLocked = true;
    SwitchPath path;
    bool txAmplifier = true;    // register 0x80 bit 1
    bool rxAmplifier = true;    // register 0x80 bit 2
    bool txRfSwitch = true;     // register 0x80 bit 3
    bool suppliesOff = false;   // register 0x80 bit 7
    int gainSteps = 0;          // register 0x81 bits 3..0, 3 dB each
    bool pad12dB = false;       // register 0x81 bit 4
    int attenuatorDb = 0;       // switch-board receive attenuator
    double extraTxLossDb = 0.0; // TDD board: its power amplifier switched off
    double extraRxLossDb = 0.0; // TDD board: its receive attenuator

    // The state of a correctly tuned unit measuring `path` at `frequencyMHz` with everything
    // on, gain 0, no attenuation.
    static RfState tuned(double frequencyMHz, const SwitchPath& path);
};

class RfModel {
public:
    // ADC counts of a unit wave at 0 dB gain.
    static constexpr double kSourceCounts = 1000.0;
    // Cable from the source to the switch board, and the S-parameter board's reference line.
    static constexpr double kSourceDelayNs = 1.7;
    static constexpr double kReferenceLineDelayNs = 0.35;
    // What a switched-off stage lets through.
    static constexpr double kTxAmplifierOffDb = 50.0;
    static constexpr double kTxRfSwitchOffDb = 60.0;
    static constexpr double kRxAmplifierOffDb = 25.0;

    RfModel() = default;
    explicit RfModel(DutModel dut, ErrorBox box = ErrorBox())
        : dut_(std::move(dut)), box_(std::move(box)) {}

    const DutModel& dut() const { return dut_; }
    void setDut(DutModel dut) { dut_ = std::move(dut); }
    const ErrorBox& errorBox() const { return box_; }

    // Complex amplitude in ADC counts that receiver 0..3 sees (before quantisation and noise).
    Complex wave(const RfState& state, int receiver) const;

    // Rounded to the nearest count and clipped to the ADC's signed 16-bit range.
    static IqSample quantise(Complex wave);

    // What the unit reports without noise.
    IqSample sample(const RfState& state, int receiver) const {
        return quantise(wave(state, receiver));
    }

    // Response of the crystal IF filter to an IF of `ifMHz` (1 at the centre).
    static double ifResponse(double ifMHz);

private:
    DutModel dut_;
    ErrorBox box_;
};

} // namespace Sim
} // namespace Orvek
