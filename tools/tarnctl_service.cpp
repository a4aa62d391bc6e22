#include "tarnctl_service.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace tarnctl {

namespace {

bool exists(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0;
}

void refuseOverwrite(const std::string& path, bool yes) {
    if (exists(path) && !confirm(path + " exists. Replace it?", yes))
        throw Failure(kExitCancelled, path + " exists: give --yes to replace it, or another name");
}

void readProm(const UnitAddress& where, Unit& unit, OwnedProm& prom) {
    ProgressBar bar("reading the PROM");
    const int result = tarnvna_unit_read_prom(unit.get(), ProgressBar::callback, &bar, &prom.prom);
    if (result != Orvek::ERR_OK)
        failUnit(where, "cannot read the PROM of " + where.text(), result);
}

void writeProm(const UnitAddress& where, Unit& unit, const OwnedProm& prom) {
    ProgressBar bar("writing the PROM");
    const int result = tarnvna_unit_write_prom(unit.get(), prom.prom, ProgressBar::callback, &bar);
    if (result != Orvek::ERR_OK)
        failUnit(where, "writing the PROM of " + where.text() + " failed part-way", result);
}

const char* boardName(int type) {
    static const char* const names[] = {"none", "simple 4-port", "TDD 4-port", "simple 8-port",
                                        "S-parameter"};
    return type >= 0 && type <= 4 ? names[type] : "unknown";
}

std::string jsonBool(bool value) {
    return value ? "true" : "false";
}

} // namespace

int runPing(const UnitAddress& where) {
    const auto began = std::chrono::steady_clock::now();
    Unit unit(where);
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began).count();
    int firmware = 0;
    tarnvna_unit_firmware(unit.get(), &firmware);
    std::printf("%s answers (firmware 0x%02x), %.1f ms\n", where.text().c_str(), firmware, ms);
    return kExitOk;
}

int runInfo(const UnitAddress& where, bool json) {
    Unit unit(where);
    int firmware = 0;
    tarnvna_unit_firmware(unit.get(), &firmware);
    OwnedProm prom;
    readProm(where, unit, prom);
    tarn_hardware_details_t d{};
    if (tarnvna_prom_details(prom.prom, &d) != Orvek::ERR_OK)
        throw Failure(kExitUnit, "the unit's description names an unknown switch board: restore "
                                 "a good PROM image");
    OwnedText text;
    if (tarnvna_prom_describe(prom.prom, json, &text.text) != Orvek::ERR_OK)
        throw Failure(kExitUnit, "out of memory describing the PROM");
    std::string bands, usedBands;
    for (int i = 0; i < 8; ++i) {
        bands += (i ? ", " : "") + std::to_string(d.bandBoundaries[i]);
        if (i < d.numberOfBandBoundaries)
            usedBands += (i ? ", " : "") + std::to_string(d.bandBoundaries[i]);
    }
    if (json) {
        std::printf("{\n \"address\": \"%s\",\n \"port\": %d,\n \"firmware\": %d,\n",
                    where.address.c_str(), where.port, firmware);
        std::printf(" \"hardware\": {\"minimumFrequency\": %d, \"maximumFrequency\": %d, "
                    "\"maximumNumberOfPoints\": %d, \"promKey29\": %d, \"bandBoundaries\": [%s], "
                    "\"numberOfBandBoundaries\": %d, \"switchBoardType\": %d, "
                    "\"hasShaftEncoder\": %s, \"hasSerialPort\": %s, "
                    "\"hasSwitchboardAttenuator\": %s, \"hasMultipleReceivers\": %s, "
                    "\"hasFeature7\": %s, \"hasFeature6\": %s},\n",
                    d.minimumFrequency, d.maximumFrequency, d.maximumNumberOfPoints, d.promKey29,
                    bands.c_str(), d.numberOfBandBoundaries, static_cast<int>(d.switchBoardType),
                    jsonBool(d.hasShaftEncoder).c_str(), jsonBool(d.hasSerialPort).c_str(),
                    jsonBool(d.hasSwitchboardAttenuator).c_str(),
                    jsonBool(d.hasMultipleReceivers).c_str(), jsonBool(d.hasFeature7).c_str(),
                    jsonBool(d.hasFeature6).c_str());
        std::printf(" \"prom\": %s}\n", text.text);
        return kExitOk;
    }
    std::printf("unit %s, firmware 0x%02x\n", where.text().c_str(), firmware);
    std::printf("range %d-%d MHz, at most %d points, unit value (key 29) %d\n", d.minimumFrequency,
                d.maximumFrequency, d.maximumNumberOfPoints, d.promKey29);
    std::printf("band boundaries (%d): %s MHz\n", d.numberOfBandBoundaries, usedBands.c_str());
    std::printf("switch board: %s\n", boardName(d.switchBoardType));
    std::printf("features: shaft encoders %s, serial port %s, switch-board attenuator %s, "
                "multiple receivers %s, feature 7 %s, feature 6 %s\n",
                d.hasShaftEncoder ? "yes" : "no", d.hasSerialPort ? "yes" : "no",
                d.hasSwitchboardAttenuator ? "yes" : "no", d.hasMultipleReceivers ? "yes" : "no",
                d.hasFeature7 ? "yes" : "no", d.hasFeature6 ? "yes" : "no");
    std::printf("\nPROM:\n%s", text.text);
    return kExitOk;
}

int runPromDump(const UnitAddress& where, const std::string& path, bool yes) {
    refuseOverwrite(path, yes);
    Unit unit(where);
    OwnedProm prom;
    readProm(where, unit, prom);
    if (tarnvna_prom_save(prom.prom, path.c_str()) != Orvek::ERR_OK)
        throw Failure(kExitFile, "cannot write " + path + ": " + std::strerror(errno));
    size_t size = 0;
    tarnvna_prom_bytes(prom.prom, &size);
    std::printf("tarnctl: wrote the %zu-byte PROM image of %s to %s\n", size, where.text().c_str(),
                path.c_str());
    return kExitOk;
}

int runPromRestore(const UnitAddress& where, const std::string& path, bool yes) {
    OwnedProm prom;
    loadProm(path, prom); // checked before anything is sent
    size_t size = 0;
    tarnvna_prom_bytes(prom.prom, &size);
    Unit unit(where);
    if (!confirm("Write " + path + " (" + std::to_string(size) + " bytes) over the PROM of " +
                     where.text() + "?",
                 yes))
        throw Failure(kExitCancelled, "nothing written: confirm, or give --yes");
    writeProm(where, unit, prom);
    std::printf("tarnctl: wrote and verified %zu bytes to the PROM of %s\n", size,
                where.text().c_str());
    return kExitOk;
}

int runPromErase(const UnitAddress& where, bool yes) {
    Unit unit(where);
    if (!confirm("Erase the whole PROM of " + where.text() +
                     "? The unit cannot be used until a PROM image is restored.",
                 yes))
        throw Failure(kExitCancelled, "nothing erased: confirm, or give --yes");
    ProgressBar bar("erasing the PROM");
    const int result = tarnvna_unit_erase_prom(unit.get(), ProgressBar::callback, &bar);
    if (result != Orvek::ERR_OK)
        failUnit(where, "erasing the PROM of " + where.text() + " failed", result);
    std::printf("tarnctl: erased the PROM of %s\n", where.text().c_str());
    return kExitOk;
}

int runCalExport(const UnitAddress& where, const std::string& path, bool yes) {
    refuseOverwrite(path, yes);
    Unit unit(where);
    OwnedProm prom;
    readProm(where, unit, prom);
    const int result = tarnvna_prom_export_cal(prom.prom, path.c_str());
    if (result == Orvek::ERR_BAD_CAL)
        throw Failure(kExitUnit, "the unit at " + where.text() + " carries no calibration");
    if (result != Orvek::ERR_OK)
        throw Failure(kExitFile, "cannot write " + path + ": " + std::strerror(errno));
    std::printf("tarnctl: wrote the calibration of %s to %s\n", where.text().c_str(), path.c_str());
    return kExitOk;
}

int runCalImport(const UnitAddress& where, const std::string& path, bool yes) {
    Unit unit(where);
    OwnedProm prom;
    readProm(where, unit, prom);
    char problem[256] = "";
    const int result = tarnvna_prom_import_cal(prom.prom, path.c_str(), problem, sizeof problem);
    if (result == Orvek::ERR_BYTES)
        throw Failure(kExitFile, "cannot read " + path + ": " + std::strerror(errno));
    if (result == Orvek::ERR_BAD_CAL)
        throw Failure(kExitFile, path + ": " + (*problem ? problem : "no calibration") +
                                     ": give a file written by tarnctl cal export");
    if (result != Orvek::ERR_OK)
        fail("cannot use " + path, result);
    if (!confirm("Replace the calibration in the PROM of " + where.text() + " with " + path + "?",
                 yes))
        throw Failure(kExitCancelled, "nothing written: confirm, or give --yes");
    writeProm(where, unit, prom);
    std::printf("tarnctl: wrote the calibration from %s to the PROM of %s\n", path.c_str(),
                where.text().c_str());
    return kExitOk;
}

int runListing(const std::string& promPath, const SweepOptions& options, bool async,
               const std::string& output) {
    OwnedProm prom;
    loadProm(promPath, prom);
    tarn_hardware_details_t details{};
    if (tarnvna_prom_details(prom.prom, &details) != Orvek::ERR_OK)
        throw Failure(kExitFile, promPath + " names an unknown switch board");
    const SweepPlan plan = makePlan(options, details);
    std::vector<int> tx, rx;
    tarnvna_sweep_config_t config = configOf(plan, tx, rx);
    config.program_type = async ? Orvek::PROG_ASYNC : Orvek::PROG_SYNC;
    OwnedText listing;
    const int result = tarnvna_program_listing(prom.prom, &config, &listing.text);
    if (result != Orvek::ERR_OK)
        fail("cannot generate the program", result);
    if (output.empty()) {
        std::fputs(listing.text, stdout);
        return kExitOk;
    }
    FILE* file = std::fopen(output.c_str(), "w");
    if (!file || std::fputs(listing.text, file) < 0 || std::fclose(file) != 0)
        throw Failure(kExitFile, "cannot write " + output + ": " + std::strerror(errno));
    std::printf("tarnctl: wrote the program listing to %s\n", output.c_str());
    return kExitOk;
}

} // namespace tarnctl
