// Jump table of the measurement program: the main entry point. For every measured path it sets
// the switch board and calls the acquisition segment; a free-running program loops back.
#include <iostream>

#include "program/measurement_sections.h"

namespace Orvek {
namespace {

constexpr uint32_t kRegSwitchControl = 0x82;
constexpr uint32_t kRegPortAssignment = 0x9B;

} // namespace

void appendJumpTable(const MeasurementProgramInput& s, int tddFlagsWord,
                     const std::string& tddDescription, ProgramSource& source) {
    source.add<CommentBreak>("BuildJumpTable section");
    source.add<Label>(s.mainLabel);
    if (s.syncPulseMode != SYNC_IGNORE) {
        // Start every pass on a millisecond-clock boundary.
        source.add<FC>("");
        source.add<FD>("");
    }
    if (s.paths.empty())
        std::cout << "WARNING: No measured paths! Wat?" << std::endl;

    for (const MeasuredPathSwitch& path : s.paths) {
        const int value = path.registerValue;
        // A negative value: the unit has no switch to set for this path.
        if (value >= 0)
            source.add<Register>(kRegSwitchControl, static_cast<uint32_t>(value), path.comment);
        source.add<Register>(kRegPortAssignment, 0x00, "SetPortAssignment: configure alternation");
        if (s.tddEnabled) {
            source.add<ExternalRegister>(0, static_cast<uint32_t>(tddFlagsWord), tddDescription);
        } else if (s.serialBufferSize != 0) {
            source.add<FD>("Delay to allow serial buffer data to be written");
        }
        source.add<Call>(s.freqsLabel);
    }

    if (s.measurementType == PROG_ASYNC)
        source.add<Jump>(s.mainLabel);
    source.add<FF>("jump table");
}

} // namespace Orvek
