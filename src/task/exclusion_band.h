#pragma once
// Exclusion bands of a sweep: frequencies at which the transmitter is switched off while the
// sweep still steps through the points, so the data keeps its shape.
#include <vector>

namespace Orvek {

// Both ends in MHz and inclusive.
struct ExclusionBand {
    double low = 0.0;
    double high = 0.0;
};

// True when some band holds `freq` (MHz), checked in insertion order; false for no bands.
bool freqInExclusionBand(const std::vector<ExclusionBand>& bands, double freq);

} // namespace Orvek
