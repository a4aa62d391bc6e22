// What a PROM description offers beyond the image: the hardware details record, and the
// calibration it carries as the 25-column CSV file.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "interface/task_handle.h"
#include "prom_image.h"
#include "text_file.h"

using namespace Orvek;
using namespace Orvek::Vna;

extern "C" {

int tarnvna_prom_details(const tarnvna_prom_t* prom, tarn_hardware_details_t* details) {
    if (!prom || !details)
        return ERR_INVALID_PARAMETER;
    try {
        // The record is made exactly as the driver makes it, by its own code on a task that
        // holds this description.
        TarnTask task;
        *task.getHardwareDetails() = prom->parameters;
        task_t handle{&task};
        *details = getHardwareDetails(&handle);
        return ERR_OK;
    } catch (...) {
        return ERR_BAD_PROM;
    }
}

int tarnvna_prom_export_cal(const tarnvna_prom_t* prom, const char* path) {
    if (!prom || !path)
        return ERR_INVALID_PARAMETER;
    if (!prom->parameters.hasCalData())
        return ERR_BAD_CAL;
    // Written beside the target first: the writer reports nothing, so the result is checked
    // before it replaces anything.
    const std::string temporary = std::string(path) + ".part";
    std::remove(temporary.c_str());
    prom->parameters.saveCalToFile(temporary);
    std::string written;
    const bool complete =
        readWholeFile(temporary, written) && std::count(written.begin(), written.end(), '\n') ==
                                                 prom->parameters.Number_of_calibration_points + 1;
    if (!complete || std::rename(temporary.c_str(), path) != 0) {
        std::remove(temporary.c_str());
        return ERR_BYTES;
    }
    return ERR_OK;
}

int tarnvna_prom_import_cal(tarnvna_prom_t* prom, const char* path, char* errors,
                            size_t errors_size) {
    if (!prom || !path)
        return ERR_INVALID_PARAMETER;
    std::string text;
    if (!readWholeFile(path, text))
        return ERR_BYTES;
    try {
        PromParameters updated = prom->parameters;
        std::string problems;
        updated.loadCalFromFile(path, problems);
        if (!problems.empty() || !updated.hasCalData()) {
            if (errors && errors_size > 0) {
                const std::string first = problems.substr(0, problems.find('\n'));
                std::snprintf(errors, errors_size, "%s", first.c_str());
            }
            return ERR_BAD_CAL;
        }
        const std::vector<int> bytes = updated.generateFullBytestream();
        if (bytes.size() > kMaxImageBytes ||
            static_cast<long>(bytes.size()) > static_cast<long>(updated.promCapacity()))
            return ERR_TOO_MANY_POINTS;
        prom->image.assign(bytes.begin(), bytes.end());
        prom->parameters = updated;
        return ERR_OK;
    } catch (...) {
        return ERR_BAD_CAL;
    }
}

} // extern "C"
