#pragma once
// Commands that look after a unit rather than measure: ping, info, the PROM, the calibration
// and the program listing.
#include <string>

#include "tarnctl_common.h"
#include "tarnctl_plan.h"

namespace tarnctl {

int runPing(const UnitAddress& unit);
int runInfo(const UnitAddress& unit, bool json);
int runPromDump(const UnitAddress& unit, const std::string& path, bool yes);
int runPromRestore(const UnitAddress& unit, const std::string& path, bool yes);
int runPromErase(const UnitAddress& unit, bool yes);
int runCalExport(const UnitAddress& unit, const std::string& path, bool yes);
int runCalImport(const UnitAddress& unit, const std::string& path, bool yes);
int runListing(const std::string& promPath, const SweepOptions& options, bool async,
               const std::string& output);

} // namespace tarnctl
