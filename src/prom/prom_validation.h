#pragma once
// Checks that a unit description has everything the library needs to drive the unit.
#include <string>
#include <utility>

#include "prom/prom_parameters.h"

namespace Orvek {
namespace TARN {

// Valid flag and one line per problem, in a fixed order (empty text when valid). With
// `checkSwitchBoard` a unit without switch board is refused too; an out-of-range switch-board
// type throws InvalidPromException.
std::pair<bool, std::string> validatePromVerbose(const PromParameters& parameters,
                                                 bool checkSwitchBoard);

// As validatePromVerbose; when invalid it writes "PROM Is invalid! Configuration errors:" and the
// problem lines to standard error.
bool validateProm(const PromParameters& parameters, bool checkSwitchBoard);

} // namespace TARN
} // namespace Orvek
