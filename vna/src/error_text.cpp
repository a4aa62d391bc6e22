// Texts of the driver's result codes: the name, what happened and what the user can do.
#include "tarnvna.h"

namespace {

struct CodeText {
    int code;
    const char* name;
    const char* text;
    const char* hint;
};

const CodeText kTexts[] = {
    {0, "ERR_OK", "success", ""},
    {-1, "ERR_BAD_HANDLE", "no task behind the handle", "create the task with createTask first"},
    {-2, "ERR_BAD_ATTEN", "attenuation not acceptable", "use 0 to 31 dB"},
    {-3, "ERR_BAD_CAL", "calibration data unusable",
     "check the calibration file: a header line and 25 numbers per line"},
    {-4, "ERR_BAD_HOP", "hop rate not acceptable", "use one of the listed hop rates"},
    {-5, "ERR_BAD_PATH", "the unit's switch board has no such path",
     "choose ports the unit's switch board has (see the unit's info)"},
    {-6, "ERR_BAD_PROM", "the unit's PROM description is not valid",
     "restore a good PROM image to the unit"},
    {-7, "ERR_BYTES", "wrong number of bytes, or a buffer or file missing",
     "check the file or buffer; a unit that sends short packets needs servicing"},
    {-8, "ERR_FREQ_OUT_OF_BOUNDS", "frequency outside the unit's range",
     "keep every frequency within the unit's range (see the unit's info)"},
    {-9, "ERR_INTERRUPTED", "interrupted", "run it again"},
    {-10, "ERR_NO_RESPONSE", "the unit did not answer in time",
     "check the unit's address and port, its power and its cable"},
    {-11, "ERR_MISSING_IP", "no unit address set", "give the unit's IPv4 address"},
    {-12, "ERR_MISSING_PORT", "no port set", "give the unit's UDP port (1024 to 1279)"},
    {-13, "ERR_MISSING_HOP", "no hop rate set", "set a hop rate before starting"},
    {-14, "ERR_MISSING_ATTEN", "no attenuation set", "set an attenuation before starting"},
    {-15, "ERR_MISSING_FREQS", "no frequencies set", "set the frequencies before starting"},
    {-16, "ERR_PROG_OVERFLOW", "the measurement program does not fit the unit",
     "measure fewer points or fewer paths"},
    {-17, "ERR_SOCKET", "a network socket operation failed",
     "check that no other program uses the local port and that the receive buffer may grow "
     "to 4 MiB (scripts/setup raises net.core.rmem_max)"},
    {-18, "ERR_TOO_MANY_POINTS", "too many points, or a size beyond its limit",
     "use fewer points than the unit's maximum (see the unit's info)"},
    {-19, "ERR_WRONG_STATE", "the task is not in a state that allows this",
     "stop the task before changing settings; initialise it before measuring"},
    {-20, "ERR_EMPTY_PROM", "the unit's PROM is erased",
     "restore the unit's PROM image (tarnctl prom restore FILE)"},
    {-21, "ERR_PATH_ALREADY_MEASURED", "the path is already in the list", "give each path once"},
    {-22, "ERR_NO_PATHS_MEASURED", "no path to measure", "add at least one path"},
    {-23, "ERR_NO_ATTEN_PRESENT", "the unit has no switch-board attenuator",
     "leave the attenuation unset on this unit"},
    {-24, "ERR_WRONG_PROGRAM_TYPE", "wrong measurement type for this call",
     "use a synchronous task for single sweeps, an asynchronous one for streaming"},
    {-25, "ERR_FEATURE_NOT_PRESENT", "the unit lacks the hardware this needs",
     "check the unit's features (see the unit's info)"},
    {-26, "ERR_UNKNOWN_FEATURE", "unknown hardware feature", "use a listed feature"},
    {-27, "ERR_BAD_IP_PORT", "port outside 1024 to 1279", "give a port from 1024 to 1279"},
    {-28, "ERR_TASK_ARRAY_INVALID", "the tasks cannot run together",
     "give every unit of the array the same frequencies, paths and settings"},
    {-29, "ERR_PATH_HAS_NO_DATA", "the path holds no data", "measure the path first"},
    {-30, "ERR_INVALID_PARAMETER", "a value outside its range",
     "check the values against their documented ranges"},
    {-31, "-31", "the unit's switch-board description cannot serve the path",
     "the unit's PROM describes a switch board the driver cannot drive: have it serviced"},
    {-32, "-32", "index beyond the list", "use an index below the list's length"},
};

const CodeText* find(int code) {
    for (const CodeText& entry : kTexts)
        if (entry.code == code)
            return &entry;
    return nullptr;
}

} // namespace

extern "C" {

const char* tarnvna_error_name(int code) {
    const CodeText* entry = find(code);
    return entry ? entry->name : "unknown code";
}

const char* tarnvna_error_text(int code) {
    const CodeText* entry = find(code);
    return entry ? entry->text : "unknown result code";
}

const char* tarnvna_error_hint(int code) {
    const CodeText* entry = find(code);
    return entry ? entry->hint : "check that libtarnvna comes from the same build as libtarndll";
}

} // extern "C"
