// tarnctl: find a TARN unit, see what it is, sweep it into Touchstone or CSV, stream from it,
// and look after its PROM and calibration.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <functional>
#include <string>

#include "tarnctl_cal.h"
#include "tarnctl_common.h"
#include "tarnctl_measure.h"
#include "tarnctl_service.h"
#include "tarndll.h"

using namespace tarnctl;

namespace {

const char kExitCodes[] = R"(
Exit codes:
  0  success
  1  the unit did not answer or refused, or the operation failed
  2  bad command line (nothing was sent to the unit)
  3  a file could not be read or written
  4  cancelled at the confirmation, or interrupted

Frequencies are MHz. Ports are the unit's front-panel numbers (0..7); in Sij names and in
Touchstone files port k is front-panel port k-1.)";

void addUnitOptions(CLI::App& command, UnitAddress& unit, std::string& port, std::string& timeout) {
    command.add_option("-a,--address", unit.address, "the unit's IPv4 address")
        ->capture_default_str();
    command.add_option("-p,--port", port, "the unit's UDP port, 1024..1279 (default 1024)");
    command.add_option("--timeout", timeout, "reply time-out in ms (default 100)");
}

void addSweepOptions(CLI::App& command, SweepOptions& o) {
    command.add_option("--start", o.start, "first frequency, MHz (default: the unit's minimum)");
    command.add_option("--stop", o.stop,
                       "last frequency, MHz (default: the unit's maximum); below --start sweeps "
                       "downwards");
    command.add_option("--points", o.points, "points of the linear sweep (default 201)");
    command.add_option("--freqs", o.freqs, "comma-separated frequency list, MHz, instead");
    command.add_option("--hop", o.hop, "point rate: " + hopRateNames() + " (default 15k)");
    command.add_option("--gain", o.gain, "receiver IF gain, dB: 0, 3, ... 45");
    command.add_option("--receivers", o.receivers,
                       "receivers, comma-separated 0..3 (default 0,1 where the unit has them: "
                       "S = receiver 0 / receiver 1)");
    command.add_option("--paths", o.paths,
                       "paths: all, Sij names (S21) or TX:RX port pairs (0:1), comma-separated "
                       "(default all of ports 0 and 1, or every port of an .sNp output)");
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"tarnctl: find, inspect, sweep and service TARN RF vector measurement units"};
    app.footer(kExitCodes);
    app.set_version_flag("--version", std::string("tarnctl 2.12.0 (") + versionString() + ")");
    app.require_subcommand(1);

    UnitAddress unit;
    std::string port, timeout, path, promPath, listingOutput;
    bool yes = false, json = false, async = false;
    std::string count = "1", average = "1", duration = "5";
    SweepOptions sweep;
    std::function<int()> action;

    auto unitCommand = [&](const char* name, const char* help) {
        CLI::App* command = app.add_subcommand(name, help);
        addUnitOptions(*command, unit, port, timeout);
        return command;
    };

    unitCommand("ping", "check that the unit answers")->callback([&] {
        action = [&] { return runPing(unit); };
    });

    CLI::App* info = unitCommand("info", "the unit's hardware details and decoded PROM");
    info->add_flag("--json", json, "print JSON");
    info->callback([&] { action = [&] { return runInfo(unit, json); }; });

    CLI::App* prom = app.add_subcommand("prom", "back up, restore or erase the unit's PROM");
    prom->require_subcommand(1);
    CLI::App* dump = prom->add_subcommand("dump", "save the PROM image to FILE (hex text)");
    addUnitOptions(*dump, unit, port, timeout);
    dump->add_option("FILE", path, "image file")->required();
    dump->add_flag("-y,--yes", yes, "replace an existing FILE without asking");
    dump->callback([&] { action = [&] { return runPromDump(unit, path, yes); }; });
    CLI::App* restore =
        prom->add_subcommand("restore", "write the PROM image in FILE to the unit (asks first)");
    addUnitOptions(*restore, unit, port, timeout);
    restore->add_option("FILE", path, "image file from prom dump")->required();
    restore->add_flag("-y,--yes", yes, "do not ask");
    restore->callback([&] { action = [&] { return runPromRestore(unit, path, yes); }; });
    CLI::App* erase = prom->add_subcommand("erase", "erase the whole PROM (asks first)");
    addUnitOptions(*erase, unit, port, timeout);
    erase->add_flag("-y,--yes", yes, "do not ask");
    erase->callback([&] { action = [&] { return runPromErase(unit, yes); }; });

    CLI::App* sweepCommand =
        unitCommand("sweep", "measure and write Touchstone (.sNp) or CSV (default: CSV on "
                             "standard output)");
    addSweepOptions(*sweepCommand, sweep);
    sweepCommand->add_option("-o,--output", sweep.output, "output file, .sNp or .csv");
    sweepCommand->add_option("--count", count, "sweeps to write, each to a numbered file");
    sweepCommand->add_option("--average", average, "sweeps averaged into each written one");
    bool corrected = false, raw = false;
    std::string calFile;
    auto* correctedFlag = sweepCommand->add_flag(
        "--corrected", corrected,
        "apply the unit's calibration, and fail if it has none (default: apply it when present)");
    auto* rawFlag = sweepCommand->add_flag("--raw", raw, "receiver ratios as measured");
    auto* calOption =
        sweepCommand->add_option("--cal", calFile, "apply the calibration in FILE (CSV)");
    rawFlag->excludes(correctedFlag)->excludes(calOption);
    sweepCommand->callback([&] {
        action = [&] {
            SweepRun run;
            run.unit = unit;
            run.options = sweep;
            run.correction = raw                             ? CorrectionMode::Raw
                             : corrected || !calFile.empty() ? CorrectionMode::Corrected
                                                             : CorrectionMode::Automatic;
            run.calFile = calFile;
            run.count = static_cast<unsigned>(parseInteger(count, "--count", 1, 100000));
            run.average = static_cast<unsigned>(parseInteger(average, "--average", 1, 10000));
            return runSweep(run);
        };
    });

    CLI::App* stream = unitCommand(
        "stream", "free-running sweeps for a while: sweeps/s, lost sweeps, packet-counter gaps");
    addSweepOptions(*stream, sweep);
    stream->add_option("--duration", duration, "seconds (default 5, at most 3600)");
    stream->callback([&] {
        action = [&] {
            StreamRun run{unit, sweep};
            run.seconds = parseNumber(duration, "--duration");
            if (run.seconds <= 0 || run.seconds > 3600)
                usageError("--duration " + duration + " is out of range: use up to 3600 s");
            return runStream(run);
        };
    });

    CLI::App* listing = app.add_subcommand(
        "listing", "the annotated program a configuration would upload, from a PROM image file "
                   "(no unit needed)");
    listing->add_option("--prom", promPath, "PROM image file (from prom dump)")->required();
    addSweepOptions(*listing, sweep);
    listing->add_option("--atten", sweep.atten, "switch-board attenuation, dB 0..31");
    listing->add_flag("--async", async, "the free-running program of stream");
    listing->add_option("-o,--output", listingOutput, "write to a file (default: standard output)");
    listing->callback(
        [&] { action = [&] { return runListing(promPath, sweep, async, listingOutput); }; });

    CLI::App* cal = app.add_subcommand("cal", "calibrate, and the calibration held in the unit's "
                                              "PROM, as CSV");
    cal->require_subcommand(1);
    CLI::App* exportCal = cal->add_subcommand("export", "save the calibration to FILE");
    addUnitOptions(*exportCal, unit, port, timeout);
    exportCal->add_option("FILE", path, "CSV file")->required();
    exportCal->add_flag("-y,--yes", yes, "replace an existing FILE without asking");
    exportCal->callback([&] { action = [&] { return runCalExport(unit, path, yes); }; });
    CLI::App* importCal =
        cal->add_subcommand("import", "write the calibration in FILE to the PROM (asks first)");
    addUnitOptions(*importCal, unit, port, timeout);
    importCal->add_option("FILE", path, "CSV file from cal export")->required();
    importCal->add_flag("-y,--yes", yes, "do not ask");
    importCal->callback([&] { action = [&] { return runCalImport(unit, path, yes); }; });

    CLI::App* writeCal = cal->add_subcommand(
        "write", "store the calibration in FILE (from cal solt) in the PROM (asks first)");
    addUnitOptions(*writeCal, unit, port, timeout);
    writeCal->add_option("FILE", path, "calibration CSV")->required();
    writeCal->add_flag("-y,--yes", yes, "do not ask");
    writeCal->callback([&] { action = [&] { return runCalWrite(unit, path, yes); }; });

    SoltRun solt;
    CLI::App* soltCommand = cal->add_subcommand(
        "solt", "calibrate with short, open, load and thru standards; writes the calibration CSV");
    addUnitOptions(*soltCommand, unit, port, timeout);
    addSweepOptions(*soltCommand, sweep);
    soltCommand->add_option("-o,--output", solt.output, "calibration CSV to write")->required();
    soltCommand->add_option("--raw-dir", solt.rawFolder,
                            "folder for the raw sweeps of the standards (default .)");
    soltCommand->add_option("--from", solt.rawFolder,
                            "compute from the raw sweeps (short, open, load, thru .s2p) in this "
                            "folder instead of measuring");
    soltCommand->add_flag("-y,--yes", solt.yes, "measure each standard without waiting");
    soltCommand->add_option("--short-model", solt.shortModel, "the shorts' reflection (.s1p)");
    soltCommand->add_option("--open-model", solt.openModel, "the opens' reflection (.s1p)");
    soltCommand->add_option("--load-model", solt.loadModel, "the loads' reflection (.s1p)");
    soltCommand->add_option("--thru-model", solt.thruModel, "the thru's S-parameters (.s2p)");
    soltCommand->callback([&] {
        action = [&] {
            solt.unit = unit;
            solt.options = sweep;
            solt.fromFiles = soltCommand->count("--from") > 0;
            return runCalSolt(solt);
        };
    });

    if (argc <= 1) {
        std::fputs(app.help().c_str(), stderr);
        return kExitUsage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& e) {
        return app.exit(e); // --help, --version
    } catch (const CLI::ParseError& e) {
        std::fprintf(stderr, "tarnctl: %s; see tarnctl --help\n", e.what());
        return kExitUsage;
    }

    try {
        if (!port.empty())
            unit.port = static_cast<int>(parseInteger(port, "--port", 1024, 1279));
        if (!timeout.empty())
            unit.timeoutMs = static_cast<unsigned>(parseInteger(timeout, "--timeout", 1, 60000));
        return action ? action() : kExitUsage;
    } catch (const Failure& failure) {
        std::fprintf(stderr, "tarnctl: %s\n", failure.what());
        return failure.code;
    } catch (const std::exception& error) {
        // Something the driver let escape (it documents which); still one line, no abort.
        std::fprintf(stderr, "tarnctl: the driver stopped with: %s\n", error.what());
        return kExitUnit;
    }
}
