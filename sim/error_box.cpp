#include "sim/error_box.h"

#include <cmath>

namespace Orvek {
namespace Sim {

namespace {

constexpr double kPi = 3.14159265358979323846;

// The s-param unit: a bridge-coupler test set, its couplers close to the ports (the phase turns
// by about 0.07 rad per GHz at most). Each direction lists directivity, source match,
// reflection tracking, isolation, load match and transmission tracking; directivity rises with
// frequency.
const DirectionErrors kSParamForward{
    {0.045, 30.0, 0.008, 0.20}, {0.080, -60.0, 0.010, 0.10}, {0.920, 10.0, 0.012, -0.015},
    {0.0020, 45.0, 0.006, 0.0}, {0.060, 120.0, 0.009, 0.05}, {0.880, -15.0, 0.012, -0.020},
};
const DirectionErrors kSParamReverse{
    {0.038, -75.0, 0.007, 0.25},  {0.095, 150.0, 0.011, 0.08}, {0.900, -20.0, 0.010, -0.010},
    {0.0015, -110.0, 0.005, 0.0}, {0.070, -30.0, 0.008, 0.06}, {0.860, 25.0, 0.012, -0.018},
};

} // namespace

Complex ErrorTerm::at(double freqMHz) const {
    const double magnitudeHere = magnitude * (1.0 + slopePerGHz * freqMHz / 1000.0);
    const double phase = phaseDeg * kPi / 180.0 - 2.0 * kPi * freqMHz * 1e6 * delayNs * 1e-9;
    return std::polar(magnitudeHere, phase);
}

ErrorBox::ErrorBox(DirectionErrors forward, DirectionErrors reverse)
    : ideal_(false), forward_(forward), reverse_(reverse) {}

ErrorBox ErrorBox::forProfile(const std::string& profile) {
    if (profile == "s-param")
        return ErrorBox(kSParamForward, kSParamReverse);
    return ErrorBox();
}

std::array<Complex, 12> ErrorBox::terms(double freqMHz) const {
    if (ideal_)
        return {0.0, 0.0, 1.0, 0.0, 0.0, 1.0, 0.0, 0.0, 1.0, 0.0, 0.0, 1.0};
    std::array<Complex, 12> e;
    int k = 0;
    for (const DirectionErrors* d : {&forward_, &reverse_}) {
        e[k++] = d->directivity.at(freqMHz);
        e[k++] = d->sourceMatch.at(freqMHz);
        e[k++] = d->reflectionTracking.at(freqMHz);
        e[k++] = d->isolation.at(freqMHz);
        e[k++] = d->loadMatch.at(freqMHz);
        e[k++] = d->transmissionTracking.at(freqMHz);
    }
    return e;
}

bool ErrorBox::covers(int txPort, int listenPort) const {
    return !ideal_ && (txPort == 0 || txPort == 1) && (listenPort == 0 || listenPort == 1);
}

Complex ErrorBox::rawRatio(const DutModel& dut, int txPort, int listenPort, double freqMHz) const {
    // Signal flow with the driving port d and the terminated port t: the wave a reaching the
    // DUT at d bounces between the source match and the DUT, whose far side sees the load
    // match. Solving the two-port's loop gives the DUT's reflection at d, loaded by EL, and
    // the wave through it.
    const int d = txPort, t = 1 - txPort;
    const std::array<Complex, 12> e = terms(freqMHz);
    const int base = d == 0 ? 0 : 6;
    const Complex ed = e[base], es = e[base + 1], er = e[base + 2], ex = e[base + 3],
                  el = e[base + 4], et = e[base + 5];
    const Complex sdd = dut.s(d, d, freqMHz), stt = dut.s(t, t, freqMHz);
    const Complex std_ = dut.s(t, d, freqMHz), sdt = dut.s(d, t, freqMHz);
    // Reflection at d with port t terminated in el.
    const Complex loaded = sdd + std_ * sdt * el / (1.0 - stt * el);
    // Wave incident on the DUT at d per unit source wave, after the source-match loop.
    const Complex incident = 1.0 / (1.0 - es * loaded);
    if (listenPort == d)
        return ed + er * loaded * incident;
    // Wave leaving at t, after the loop between the DUT's port t and the load match.
    const Complex through = std_ * incident / (1.0 - stt * el);
    return ex + et * through;
}

} // namespace Sim
} // namespace Orvek
