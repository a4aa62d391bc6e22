#pragma once
// The fixed register set-up that brings a unit into a known state at the start of every
// measurement program, before the task's own settings are written.
#include <cstdint>
#include <vector>

namespace Orvek {

struct PowerupStep {
    enum Kind : std::uint8_t { Write, Delay };
    Kind kind;
    std::uint8_t address; // unit register (Write only)
    std::uint8_t value;
};

// In program order. Independent of task, unit and PROM.
const std::vector<PowerupStep>& powerupSequence();

} // namespace Orvek
