#pragma once
// TDD register 00 of the external TDD board: which of its switches the board runs.
//   bit 0 tdd   bit 1 nulling   bit 2 slave   bit 3 power amplifier   bit 4 LNA   bit 5 attenuator
#include <string>

#include "core/tdd_configuration.h"

namespace Orvek {

// flag1..flag5 (non-zero = on) are tdd, nulling, slave, power amplifier and LNA; the attenuator
// bit is on when the configuration's extra value is non-zero.
int tddFlagsWordOf(const TDDConfiguration& configuration);

// " tdd: on, nulling: off, pa: on, slave: no, atten: off, lna: on" (this order, which differs
// from the bit order, is what the listing has always shown).
std::string tddFlagsDescription(const TDDConfiguration& configuration);

} // namespace Orvek
