#pragma once
// The fixed register set-up that brings a unit into a known state at the start of every
// measurement program, before the task's own settings are written.
#include "program/program_command.h"

namespace Orvek {

// A new list on every call; the caller owns the commands. Independent of task, unit and PROM.
ProgramCommandList standardPowerupSequence();

} // namespace Orvek
