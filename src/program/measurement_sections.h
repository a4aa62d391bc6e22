#pragma once
// The two fixed sections of the measurement program; the generator appends them before the
// acquisition segment.
#include <string>

#include "program/measurement_program.h"
#include "program/program_source.h"

namespace Orvek {

// Appends the start-up section: power-up registers, hop rate, gain, PLLs, attenuators, front
// end, serial buffer, frequency offset, digital output/shaft encoder, millisecond clock,
// counters, TDD board and the enabled receivers; ends with FF. On a TDD board with TDD enabled
// it replaces `tddFlagsWord` and `tddDescription` with what it programs. Throws
// std::runtime_error for an unknown sync-pulse mode.
void appendStartupSection(const MeasurementProgramInput& input, const PromParameters& prom,
                          ProgramSource& source, int& tddFlagsWord, std::string& tddDescription);

// Appends the jump table: per measured path the switch setting and a call of the acquisition
// segment; loops back to itself for free-running (PROG_ASYNC) programs.
void appendJumpTable(const MeasurementProgramInput& input, int tddFlagsWord,
                     const std::string& tddDescription, ProgramSource& source);

} // namespace Orvek
