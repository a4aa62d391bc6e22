#pragma once
// Calibrated sweeps: which 12-term table a sweep applies and how, SOLT from measured standards,
// and storing a table in the unit's PROM.
#include <complex>
#include <string>
#include <vector>

#include "tarnctl_common.h"
#include "tarnctl_plan.h"

namespace tarnctl {

enum class CorrectionMode {
    Automatic, // the unit's own calibration when it carries one
    Corrected, // a calibration is required
    Raw,       // receiver ratios as measured
};

// The table a sweep applies, if any, and the words its files say about it.
class Correction {
public:
    Correction() = default;
    ~Correction() { tarnvna_cal_free(&cal_); }
    Correction(const Correction&) = delete;
    Correction& operator=(const Correction&) = delete;

    // Decided before the sweep's task binds the unit's port: reads the unit's PROM unless the
    // mode is Raw or `file` (a calibration CSV) is given.
    void choose(const UnitAddress& unit, CorrectionMode mode, const std::string& file);

    // Corrects the plan's S-parameter columns ([path][point]) in place. Two-port correction
    // needs the four paths between ports 0 and 1, one-port correction S11 alone; otherwise
    // (or for receiver values) an automatic sweep stays raw and a required one fails.
    void apply(const SweepPlan& plan, const std::vector<double>& freqs,
               std::vector<std::vector<std::complex<double>>>& columns);

    // One line for the file's comment: whether and how the data were corrected.
    const std::string& comment() const { return comment_; }

private:
    CorrectionMode mode_ = CorrectionMode::Raw;
    tarnvna_cal_t cal_{};
    bool loaded_ = false;
    std::string source_;
    std::string comment_ = "Raw receiver ratios, not corrected (--raw)";
};

struct SoltRun {
    UnitAddress unit;
    SweepOptions options;
    std::string output;     // calibration CSV
    std::string rawFolder;  // where the raw sweeps of the standards go (or come from)
    bool fromFiles = false; // compute from the raw sweeps in rawFolder; no unit needed
    bool yes = false;       // do not wait for the user between standards
    std::string shortModel, openModel, loadModel, thruModel; // Touchstone; empty: ideal
};

int runCalSolt(const SoltRun& run);
int runCalWrite(const UnitAddress& unit, const std::string& path, bool yes);

} // namespace tarnctl
