#include "program/hardware_commands.h"

#include <cstdio>
#include <string>

#include "hardware/frequency_synthesis.h"
#include "hardware/powerup_sequence.h"
#include "switchboard/switchboard_state.h"

namespace Orvek {
namespace {

const char* onOff(bool on) {
    return on ? "on" : "off";
}

// What the listing says about a power-up register write.
const char* powerupComment(std::uint8_t address) {
    switch (address) {
    case 0x83:
        return "Set IF gain offset register";
    case 0x85:
        return "Set sweep rate to 90K?";
    case 0x84:
        return "Trigger IO update";
    case 0x8E:
        return "Send 0x7F serial bytes";
    case 0x97:
        return "Write 0x00 to external board address 0x00.";
    case 0x9B:
        return "No polarimetric measurements.";
    case 0x9A:
        return "Enable all 6 bits of TXS/RXS, Separate TxSw and TxPaOn";
    default:
        return "";
    }
}

} // namespace

std::unique_ptr<Register> buildReg80(unsigned int band, bool txPA, bool rxPA, bool txRFswitch,
                                     Reg82Function reg82, bool suppliesOff) {
    const std::uint8_t value = reg80Value(band, txPA, rxPA, txRFswitch, reg82, suppliesOff);
    char comment[128];
    std::snprintf(comment, sizeof comment,
                  "band=%d txPA=%s rxPA=%s txRFswitch=%s reg82=%s, +-5v supplies=%s",
                  static_cast<int>(band), onOff(txPA), onOff(rxPA), onOff(txRFswitch),
                  reg82 == REG82_ATTENUATOR ? "atten" : "dout", suppliesOff ? "off" : "on");
    return std::make_unique<Register>(kFrontEndControlRegister, value, comment);
}

std::unique_ptr<Register> buildReg82Atten(Rx_Attenuation atten, bool bit4) {
    const int dB = static_cast<int>(atten);
    const std::uint8_t value = reg82AttenuatorValue(dB, bit4);
    const std::string comment = "Attenuation = " + std::to_string(dB) + "dB (" +
                                bin_format(dB & 0xFF) + ", reg" + bin_format(value) + ").";
    return std::make_unique<Register>(kAttenuatorRegister, value, comment);
}

std::vector<std::unique_ptr<Register>> buildPLLBoundaries(const PromParameters& prom) {
    std::vector<std::unique_ptr<Register>> registers;
    for (const PllBoundaryWrite& write : pllBoundaryWrites(prom)) {
        char comment[64];
        std::snprintf(comment, sizeof comment, "PLL gain boundary %d: %d MHz.", write.boundary,
                      write.boundaryMHz);
        registers.push_back(std::make_unique<Register>(write.address, write.value, comment));
    }
    return registers;
}

ProgramCommandList standardPowerupSequence() {
    ProgramCommandList list;
    list.push_back(
        std::make_unique<Comment>("<<<<<<<<<< Start of hard coded startup configuration."));
    for (const PowerupStep& step : powerupSequence()) {
        if (step.kind == PowerupStep::Delay)
            list.push_back(std::make_unique<FD>(std::string()));
        else
            list.push_back(
                std::make_unique<Register>(step.address, step.value, powerupComment(step.address)));
    }
    list.push_back(std::make_unique<Comment>("<<<<<<<<<< End hard-coded startup segment."));
    return list;
}

} // namespace Orvek
