#pragma once
// Time the unit spends on one frequency point. The unit measures a point in a fixed number of
// master-clock cycles chosen by the hop rate; these turn that into seconds or milliseconds.
#include "tarndll.h"

namespace Orvek {

// Seconds per point at masterClockMHz. Throws std::runtime_error "No hop rate set?" for
// HOP_UNDEFINED or any value outside HOP_90K..HOP_20.
double sPerPoint(Hop_Rate rate, double masterClockMHz);

// sPerPoint in milliseconds; throws likewise.
double msPerPoint(Hop_Rate rate, double masterClockMHz);

// Number of one-point delays (FD) the synthesiser needs to settle after a band change: 8 at
// every rate. The rate is taken so that the count can depend on it later.
int bandChangeFDs(Hop_Rate rate);

} // namespace Orvek
