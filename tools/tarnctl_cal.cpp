#include "tarnctl_cal.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

#include "tarnctl_measure.h"

namespace tarnctl {

namespace {

using Complex = std::complex<double>;

std::string range(const tarnvna_cal_t& cal) {
    char text[120];
    std::snprintf(text, sizeof text, "%u points, %.3f-%.3f MHz", cal.points, cal.freq_mhz[0],
                  cal.freq_mhz[cal.points - 1]);
    return text;
}

// Owns a network read from a Touchstone file.
struct OwnedNetwork {
    tarnvna_network_t network{};
    bool present = false;
    ~OwnedNetwork() { tarnvna_network_free(&network); }
    const tarnvna_network_t* get() const { return present ? &network : nullptr; }
};

void readNetwork(const std::string& path, unsigned ports, OwnedNetwork& into) {
    const int result = tarnvna_touchstone_read(path.c_str(), &into.network);
    if (result == Orvek::ERR_BYTES)
        throw Failure(kExitFile, "cannot read " + path + ": " + std::strerror(errno));
    if (result != Orvek::ERR_OK)
        throw Failure(kExitFile, path + " is not a valid Touchstone file");
    into.present = true;
    if (into.network.ports != ports)
        throw Failure(kExitFile, path + " must be a " + std::to_string(ports) + "-port (.s" +
                                     std::to_string(ports) + "p) file");
}

int columnOf(const SweepPlan& plan, int tx, int rx) {
    for (size_t c = 0; c < plan.paths.size(); ++c)
        if (plan.paths[c].tx == tx && plan.paths[c].rx == rx)
            return static_cast<int>(c);
    return -1;
}

const char* const kStandards[] = {"short", "open", "load", "thru"};

} // namespace

void Correction::choose(const UnitAddress& unit, CorrectionMode mode, const std::string& file) {
    mode_ = mode;
    if (mode == CorrectionMode::Raw)
        return;
    if (!file.empty()) {
        const int result = tarnvna_cal_read(file.c_str(), &cal_);
        if (result == Orvek::ERR_BYTES)
            throw Failure(kExitFile, "cannot read " + file + ": " + std::strerror(errno));
        if (result != Orvek::ERR_OK)
            throw Failure(kExitFile, file + " is not a valid calibration: give a file written by "
                                            "tarnctl cal solt or cal export");
        source_ = "the 12-term calibration in " + file;
    } else {
        OwnedProm prom;
        {
            Unit connection(unit);
            ProgressBar bar("reading the unit's calibration");
            const int result =
                tarnvna_unit_read_prom(connection.get(), ProgressBar::callback, &bar, &prom.prom);
            if (result != Orvek::ERR_OK)
                failUnit(unit, "cannot read the PROM of " + unit.text(), result);
        }
        if (tarnvna_prom_cal(prom.prom, &cal_) != Orvek::ERR_OK) {
            if (mode == CorrectionMode::Corrected)
                throw Failure(kExitUnit, unit.text() + " carries no calibration: give --cal FILE "
                                                       "(from tarnctl cal solt) or --raw");
            comment_ = "Raw receiver ratios, not corrected: the unit carries no calibration";
            return;
        }
        source_ = "the unit's stored 12-term calibration";
    }
    loaded_ = true;
}

void Correction::apply(const SweepPlan& plan, const std::vector<double>& freqs,
                       std::vector<std::vector<Complex>>& columns) {
    if (!loaded_)
        return;
    const int s11 = columnOf(plan, 0, 0), s21 = columnOf(plan, 0, 1);
    const int s12 = columnOf(plan, 1, 0), s22 = columnOf(plan, 1, 1);
    const bool twoPort = s11 >= 0 && s21 >= 0 && s12 >= 0 && s22 >= 0 && plan.paths.size() == 4;
    const bool onePort = s11 >= 0 && plan.paths.size() == 1;
    if (!plan.ratios || (!twoPort && !onePort)) {
        if (mode_ == CorrectionMode::Corrected)
            usageError("correction needs S-parameters of ports 0 and 1 (all four paths, or S11 "
                       "alone): change --paths or --receivers, or give --raw");
        comment_ = "Raw receiver ratios, not corrected: the calibration covers S11 alone or all "
                   "four S-parameters of ports 0 and 1";
        return;
    }
    const unsigned ports = twoPort ? 2 : 1;
    const unsigned points = static_cast<unsigned>(freqs.size());
    std::vector<double> re(points * ports * ports), im(points * ports * ports);
    const int order[2][2] = {{s11, s12}, {s21, s22}}; // [out][in]
    for (unsigned k = 0; k < points; ++k)
        for (unsigned o = 0; o < ports; ++o)
            for (unsigned i = 0; i < ports; ++i) {
                const Complex v = columns[order[o][i]][k];
                re[(k * ports + o) * ports + i] = v.real();
                im[(k * ports + o) * ports + i] = v.imag();
            }
    tarnvna_network_t raw{ports, points, const_cast<double*>(freqs.data()), re.data(), im.data()};
    tarnvna_network_t corrected{};
    const int result = tarnvna_cal_apply(&cal_, 0, &raw, &corrected);
    if (result == Orvek::ERR_FREQ_OUT_OF_BOUNDS)
        usageError("the sweep reaches beyond the calibration (" + range(cal_) +
                   "): keep inside it, or give --raw");
    if (result != Orvek::ERR_OK)
        fail("cannot correct the sweep", result);
    for (unsigned k = 0; k < points; ++k)
        for (unsigned o = 0; o < ports; ++o)
            for (unsigned i = 0; i < ports; ++i) {
                const size_t at = (k * ports + o) * ports + i;
                columns[order[o][i]][k] = Complex(corrected.re[at], corrected.im[at]);
            }
    tarnvna_network_free(&corrected);
    comment_ = std::string("Corrected with ") + source_ + " (" + range(cal_) + "), " +
               (twoPort ? "full two-port" : "one-port (S11)") +
               " error correction, terms interpolated linearly in real and imaginary parts";
}

int runCalSolt(const SoltRun& run) {
    if (run.output.empty())
        usageError("cal solt needs -o FILE for the calibration");
    const std::string folder = run.rawFolder.empty() ? "." : run.rawFolder;
    if (run.fromFiles && run.rawFolder.empty())
        usageError("--from needs the folder of the raw sweeps");
    if (!run.fromFiles) {
        struct stat info {};
        if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
            usageError("--raw-dir " + folder + " is not a folder");
        for (const char* standard : kStandards) {
            const std::string question =
                std::string(standard) == "thru"
                    ? "Connect the thru between ports 0 and 1, then press Enter"
                    : "Connect " + std::string(standard) +
                          " standards to ports 0 and 1, then "
                          "press Enter";
            if (!run.yes) {
                if (!isatty(0))
                    usageError("cal solt waits for you between standards on a terminal; give "
                               "--yes to measure without waiting");
                std::fprintf(stderr, "tarnctl: %s ", question.c_str());
                std::string line;
                if (!std::getline(std::cin, line))
                    throw Failure(kExitCancelled, "cancelled: nothing measured further");
            }
            SweepRun sweep;
            sweep.unit = run.unit;
            sweep.options = run.options;
            sweep.options.paths = "S11,S21,S12,S22";
            sweep.options.output = folder + "/" + standard + ".s2p";
            sweep.correction = CorrectionMode::Raw;
            const int result = runSweep(sweep);
            if (result != kExitOk)
                return result;
        }
    }
    OwnedNetwork raw[4], shortModel, openModel, loadModel, thruModel;
    for (int s = 0; s < 4; ++s)
        readNetwork(folder + "/" + kStandards[s] + ".s2p", 2, raw[s]);
    if (!run.shortModel.empty())
        readNetwork(run.shortModel, 1, shortModel);
    if (!run.openModel.empty())
        readNetwork(run.openModel, 1, openModel);
    if (!run.loadModel.empty())
        readNetwork(run.loadModel, 1, loadModel);
    if (!run.thruModel.empty())
        readNetwork(run.thruModel, 2, thruModel);
    tarnvna_solt_t solt{};
    solt.shorts = raw[0].get();
    solt.opens = raw[1].get();
    solt.loads = raw[2].get();
    solt.thru = raw[3].get();
    for (int p = 0; p < 2; ++p) {
        solt.short_model[p] = shortModel.get();
        solt.open_model[p] = openModel.get();
        solt.load_model[p] = loadModel.get();
    }
    solt.thru_model = thruModel.get();
    tarnvna_cal_t cal{};
    int result = tarnvna_cal_solt(&solt, &cal);
    if (result == Orvek::ERR_INVALID_PARAMETER)
        throw Failure(kExitFile, "the raw sweeps in " + folder +
                                     " differ in their frequencies: measure all four standards "
                                     "with the same sweep");
    if (result == Orvek::ERR_FREQ_OUT_OF_BOUNDS)
        throw Failure(kExitFile, "a standard's model does not cover the sweep: give models over "
                                 "the whole range");
    if (result == Orvek::ERR_BAD_CAL)
        throw Failure(kExitUnit, "the standards do not determine the error terms (two measured "
                                 "alike, or the thru passed nothing): check the connections");
    if (result != Orvek::ERR_OK)
        fail("cannot compute the calibration", result);
    result = tarnvna_cal_write(run.output.c_str(), &cal);
    const std::string summary = range(cal);
    tarnvna_cal_free(&cal);
    if (result != Orvek::ERR_OK)
        throw Failure(kExitFile, "cannot write " + run.output + ": " + std::strerror(errno));
    std::printf("tarnctl: wrote the SOLT calibration (%s) to %s\n", summary.c_str(),
                run.output.c_str());
    return kExitOk;
}

int runCalWrite(const UnitAddress& where, const std::string& path, bool yes) {
    tarnvna_cal_t cal{};
    int result = tarnvna_cal_read(path.c_str(), &cal);
    if (result == Orvek::ERR_BYTES)
        throw Failure(kExitFile, "cannot read " + path + ": " + std::strerror(errno));
    if (result != Orvek::ERR_OK)
        throw Failure(kExitFile, path + " is not a valid calibration: give a file written by "
                                        "tarnctl cal solt or cal export");
    const std::string summary = range(cal);
    Unit unit(where);
    OwnedProm prom;
    {
        ProgressBar bar("reading the PROM");
        result = tarnvna_unit_read_prom(unit.get(), ProgressBar::callback, &bar, &prom.prom);
    }
    if (result != Orvek::ERR_OK) {
        tarnvna_cal_free(&cal);
        failUnit(where, "cannot read the PROM of " + where.text(), result);
    }
    result = tarnvna_prom_set_cal(prom.prom, &cal);
    tarnvna_cal_free(&cal);
    if (result == Orvek::ERR_TOO_MANY_POINTS)
        throw Failure(kExitFile, path + " has too many points for the unit's PROM: calibrate "
                                        "with fewer points");
    if (result != Orvek::ERR_OK)
        fail("cannot use " + path, result);
    if (!confirm("Replace the calibration in the PROM of " + where.text() + " with " + path + " (" +
                     summary + ")?",
                 yes))
        throw Failure(kExitCancelled, "nothing written: confirm, or give --yes");
    ProgressBar bar("writing the PROM");
    result = tarnvna_unit_write_prom(unit.get(), prom.prom, ProgressBar::callback, &bar);
    if (result != Orvek::ERR_OK)
        failUnit(where, "writing the PROM of " + where.text() + " failed part-way", result);
    std::printf("tarnctl: wrote the calibration from %s (%s) to the PROM of %s\n", path.c_str(),
                summary.c_str(), where.text().c_str());
    return kExitOk;
}

} // namespace tarnctl
