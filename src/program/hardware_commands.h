#pragma once
// Program commands, with their listing comments, for the register values the hardware layer
// computes: front-end control, attenuator, PLL loop-gain boundaries and the power-up sequence.
#include <memory>
#include <vector>

#include "hardware/control_registers.h"
#include "program/program_command.h"
#include "prom/prom_parameters.h"
#include "tarndll.h"

namespace Orvek {

// Register 0x80, commented like
// "band=2 txPA=on rxPA=off txRFswitch=on reg82=atten, +-5v supplies=on". Throws like
// reg80Value for a band above 3.
std::unique_ptr<Register> buildReg80(unsigned int band, bool txPA, bool rxPA, bool txRFswitch,
                                     Reg82Function reg82, bool suppliesOff);

// Register 0x82 for an attenuation in whole dB, commented like
// "Attenuation = 5dB (0b00000101, reg0b01100010).". Unchecked: ATTEN_UNDEFINED drives every line
// to maximum attenuation.
std::unique_ptr<Register> buildReg82Atten(Rx_Attenuation atten, bool bit4);

// One register write per PLL loop-gain boundary present in the PROM, commented like
// "PLL gain boundary 2: 1200 MHz.".
std::vector<std::unique_ptr<Register>> buildPLLBoundaries(const PromParameters& prom);

// The power-up sequence between its two marker comments; a new list on every call.
ProgramCommandList standardPowerupSequence();

} // namespace Orvek
