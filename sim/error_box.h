#pragma once
// The imperfections of a simulated analyser between its receivers and the DUT's ports 0 and 1
// (the S-parameter board's two test ports): per port its coupler's directivity, the match it
// presents when driving (source match) and when terminating (load match: the transfer switch
// looks different in its two positions), the tracking of its receiver paths, and the leakage
// into its receiver while the other port drives (isolation). Together they are the 12-term
// error model; the receivers see the DUT through them.
//
// Every term is a smooth function of frequency (a coupler's magnitude slope, a short line's
// phase), so a table of a few dozen points describes it to a few parts in 1e5.
#include <array>
#include <string>

#include "sim/dut_model.h"

namespace Orvek {
namespace Sim {

// One term: magnitude (1 + slope * f / 1 GHz) at phase phaseDeg - 360 f delay.
struct ErrorTerm {
    double magnitude = 0.0;
    double phaseDeg = 0.0;
    double delayNs = 0.0;
    double slopePerGHz = 0.0;
    Complex at(double freqMHz) const;
};

// The terms of one direction, driving port first.
struct DirectionErrors {
    ErrorTerm directivity, sourceMatch, reflectionTracking, isolation, loadMatch,
        transmissionTracking;
};

class ErrorBox {
public:
    // A perfect analyser: the receivers see the DUT itself.
    ErrorBox() = default;
    ErrorBox(DirectionErrors forward, DirectionErrors reverse);

    // The error box built into a unit of `profile` (a perfect one for profiles without a
    // factory calibration).
    static ErrorBox forProfile(const std::string& profile);

    bool ideal() const { return ideal_; }

    // EDF ESF ERF EXF ELF ETF EDR ESR ERR EXR ELR ETR at `freqMHz`, the calibration file's
    // order.
    std::array<Complex, 12> terms(double freqMHz) const;

    // True when a path from `txPort` heard at `listenPort` runs through the box.
    bool covers(int txPort, int listenPort) const;

    // What the receiver listening on `listenPort` sees relative to the incident receiver while
    // `txPort` drives, both ports 0 or 1: the DUT's ports 0 and 1 seen through the box.
    Complex rawRatio(const DutModel& dut, int txPort, int listenPort, double freqMHz) const;

private:
    bool ideal_ = true;
    DirectionErrors forward_, reverse_;
};

} // namespace Sim
} // namespace Orvek
