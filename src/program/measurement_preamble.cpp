// Start-up section of the measurement program: run once by start(), it brings the unit from
// any state into the configuration the task's settings describe, then stops (FF).
#include <iostream>
#include <stdexcept>
#include <string>

#include "hardware/frequency_synthesis.h"
#include "program/hardware_commands.h"
#include "program/measurement_sections.h"
#include "program/tdd_flags.h"

namespace Orvek {
namespace {

// Unit registers written by the preamble.
constexpr uint32_t kRegGain = 0x81;
constexpr uint32_t kRegStrobe = 0x84;
constexpr uint32_t kRegHopRate = 0x85;
constexpr uint32_t kRegCounterControl = 0x87;
constexpr uint32_t kRegSerialBufferSize = 0x8E;
constexpr uint32_t kRegMsClockMode = 0x8F;
constexpr uint32_t kRegPll1 = 0x9D;
constexpr uint32_t kRegShaftDoutMode = 0x9E;
constexpr uint32_t kRegReceivers = 0xA0;
constexpr uint32_t kRegPll2 = 0xB4;
constexpr uint32_t kRegLegacyControl = 0x20;
constexpr uint32_t kRegFreqOffset = 0x36;
constexpr uint32_t kRegFreqOffsetControl = 0x37;

// Register 0x84 strobes.
constexpr uint32_t kStrobeResetSystemTimer = 0x40;
constexpr uint32_t kStrobeLoadPlls = 0x01;
constexpr uint32_t kStrobeIoUpdate = 0x08;

// Register 0x87 one-shot actions of the preamble.
constexpr uint32_t kResetFrameCounter = 0x04;
constexpr uint32_t kResetShaftEncoders = 0x02;

// The receiver's 12 dB pad is bit 4 of the gain register; the gain step sits below it.
constexpr uint32_t kGainPadBit = 0x10;

struct MsClockMode {
    uint32_t value;
    const char* name;
};

MsClockMode msClockMode(Sync_Pulse_Mode mode) {
    switch (mode) {
    case SYNC_IGNORE:
        return {0x00, "ignore"};
    case SYNC_GENERATE:
        return {0x20, "transmit (master)"};
    case SYNC_RECEIVE:
        return {0x10, "receive (slave)"};
    }
    const std::string message =
        "Unhandled millisecond clock enum value: " + std::to_string(static_cast<int>(mode));
    std::cerr << message << "\n";
    throw std::runtime_error(message);
}

} // namespace

void appendStartupSection(const MeasurementProgramInput& s, const PromParameters& prom,
                          ProgramSource& source, int& tddFlagsWord, std::string& tddDescription) {
    source.add<CommentBreak>("Startup Section");
    source.add<Label>(s.startupLabel);
    source.add<Comment>("standardProgramPreamble section");
    source.append(standardPowerupSequence());

    source.add<Register>(kRegStrobe, kStrobeResetSystemTimer, "Reset system timer");
    source.add<Register>(kRegHopRate, static_cast<uint32_t>(s.hopRate) & 0xFF, "Hop rate");

    // No PROM key supplies a default gain: an unset gain programs step 0.
    uint32_t gain =
        s.receiverGain == TARN_GAIN_USE_DEFAULT ? 0 : static_cast<uint32_t>(s.receiverGain) & 0xFF;
    if (s.receiver12dBPad)
        gain |= kGainPadBit;
    source.add<Register>(kRegGain, gain, "Gain");

    int pllReg1 = 0;
    int pllReg2 = 0;
    buildPLLRegs(prom, pllReg1, pllReg2);
    source.add<Register>(kRegPll1, static_cast<uint32_t>(pllReg1) & 0xFF, "PLL reg 1");
    source.add<Register>(kRegPll2, static_cast<uint32_t>(pllReg2) & 0xFF, "PLL reg 2");
    source.append(buildPLLBoundaries(prom));
    source.add<Register>(kRegStrobe, kStrobeLoadPlls, "Load PLLs");
    // Two point times for the synthesisers to settle.
    source.add<FD>("");
    source.add<FD>("");
    source.add<Register>(kRegLegacyControl, 0x40,
                         "Disable SinC filter, turn off misc legacy components.");

    if (s.attenuatorFitted) {
        const Rx_Attenuation atten =
            s.switchboardAttenuation == ATTEN_UNDEFINED ? ATTEN_0 : s.switchboardAttenuation;
        // The attenuator takes its value on the I/O update and latches it on a second update
        // with bit 4 of register 0x82 set.
        source.append(buildReg82Atten(atten, false));
        source.add<Register>(kRegStrobe, kStrobeIoUpdate,
                             "Trigger IO update for attenuators (set).");
        source.append(buildReg82Atten(atten, true));
        source.add<Register>(kRegStrobe, kStrobeIoUpdate,
                             "Trigger IO update for attenuators (latch).");
    }

    source.append(
        buildReg80(0, s.txPowerAmpOn, s.rxPowerAmpOn, s.txRFSwitchOn, REG82_DIGITAL_OUTPUT, false));

    if (s.serialBufferSize != 0) {
        // The unit's serial block is the buffer plus its count byte and one spare byte.
        source.add<Register>(kRegSerialBufferSize, (s.serialBufferSize + 2) & 0xFF,
                             "serial buffer size");
    } else {
        source.add<Register>(kRegSerialBufferSize, 0, "serial buffer size (no serial enabled)");
    }

    source.add<Register>(kRegFreqOffset, s.frequencyOffsetCounts & 0xFF, "Frequency offset");
    source.add<Register>(
        kRegFreqOffsetControl, (s.digitalOutValue ? 2u : 0u) | (s.frequencyOffsetEnabled ? 1u : 0u),
        std::string("Freq offset enabled: ") + (s.frequencyOffsetEnabled ? "yes" : "no") +
            ", digital out value: " + (s.digitalOutValue ? "hi" : "lo"));

    // The shaft-encoder inputs and the digital output share their lines; the encoder wins.
    const bool digitalOutMode = s.digitalOutEnabled && !s.shaftEncodersEnabled;
    source.add<Register>(kRegShaftDoutMode, digitalOutMode ? 8u : 0u,
                         std::string("shaft/dout mode: ") +
                             (digitalOutMode ? "digital output" : "shaft encoder"));

    const MsClockMode clock = msClockMode(s.syncPulseMode);
    source.add<Register>(kRegMsClockMode, clock.value, std::string("ms clock mode: ") + clock.name);

    if (s.resetFrameCounterOnStart) {
        source.add<Register>(kRegCounterControl, kResetFrameCounter, "Reset UDP frame counter");
        source.add<FD>("");
    }
    if (s.shaftEncodersEnabled && s.resetShaftEncodersOnStart) {
        source.add<Register>(kRegCounterControl, kResetShaftEncoders,
                             "Reset shaft-encoder counter");
        source.add<FD>("");
    }

    if (prom.getSwitchboardType() == SWITCHBOARD_TDD_4_PORT_SWITCH && s.tddEnabled) {
        const TDDConfiguration& tdd = s.tddConfiguration;
        tddFlagsWord = tddFlagsWordOf(tdd);
        tddDescription = tddFlagsDescription(tdd);
        source.add<ExternalRegister>(0, static_cast<uint32_t>(tddFlagsWord),
                                     "tdd register 00: tdd flags (" + tddDescription + ")");
        static const char* const timingNames[6] = {"tx on",   "tx-rx1", "rx1 on",
                                                   "rx1-rx2", "rx2 on", "rx2-tx"};
        // Registers 01..06 take the six settable timing words; the first word is carried only.
        for (int r = 1; r <= 6; ++r) {
            source.add<ExternalRegister>(
                r, tdd.timing[r], "tdd register 0" + std::to_string(r) + ": " + timingNames[r - 1]);
        }
        source.add<ExternalRegister>(7, tdd.attenuatorValue, "tdd register 07: attenuator value");
        source.add<FD>("");
    }

    source.add<ReceiverControlRegister>(kRegReceivers,
                                        static_cast<uint32_t>(s.enabledReceivers) & 0xFF,
                                        "Enabled receivers bitmask");
    source.add<FF>("End standard program preamble");
}

} // namespace Orvek
