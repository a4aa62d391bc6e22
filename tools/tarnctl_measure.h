#pragma once
// Sweeps and streams through the driver's exported interface, as any application runs them.
#include <string>

#include "tarnctl_cal.h"
#include "tarnctl_common.h"
#include "tarnctl_plan.h"

namespace tarnctl {

struct SweepRun {
    UnitAddress unit;
    SweepOptions options;
    unsigned count = 1;   // sweeps written
    unsigned average = 1; // sweeps averaged into each
    CorrectionMode correction = CorrectionMode::Automatic;
    std::string calFile; // calibration CSV instead of the unit's own
};

struct StreamRun {
    UnitAddress unit;
    SweepOptions options;
    double seconds = 5.0;
};

int runSweep(const SweepRun& run);
int runStream(const StreamRun& run);

} // namespace tarnctl
