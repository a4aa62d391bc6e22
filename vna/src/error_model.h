#pragma once
// The 12-term error model of a two-port vector analyser: what each term does to the raw ratios,
// its removal, and its determination from known standards. Pure arithmetic on complex values.
#include <array>
#include <complex>

namespace Orvek {
namespace Vna {

using Complex = std::complex<double>;

// Indexed by TARNVNA_EDF..TARNVNA_ETR.
using ErrorTerms = std::array<Complex, 12>;

// [out][in], 0 for port 1 and 1 for port 2.
using TwoPort = std::array<std::array<Complex, 2>, 2>;

// The DUT's S-parameters from the four raw ratios. False when the terms make it singular.
bool correctTwoPort(const ErrorTerms& e, const TwoPort& raw, TwoPort& dut);

// A reflection at port 1 from its raw ratio with the forward directivity, source match and
// reflection tracking. False when singular.
bool correctOnePort(const ErrorTerms& e, Complex raw, Complex& dut);

// Directivity, source match and reflection tracking of one port from the raw ratios of three
// standards of known reflection. False when the standards do not determine them.
bool solveOnePort(const std::array<Complex, 3>& actual, const std::array<Complex, 3>& measured,
                  Complex& directivity, Complex& sourceMatch, Complex& tracking);

// Load match and transmission tracking of one direction from a thru of known S-parameters
// `thru` ([0] the driving port's side) measured as `reflection` (driving port) and
// `transmission`, given the direction's directivity, source match, reflection tracking and
// isolation. False when the thru transmits nothing.
bool solveThru(const TwoPort& thru, Complex reflection, Complex transmission, Complex directivity,
               Complex sourceMatch, Complex tracking, Complex isolation, Complex& loadMatch,
               Complex& transmissionTracking);

} // namespace Vna
} // namespace Orvek
