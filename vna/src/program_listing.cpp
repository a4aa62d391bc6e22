// The program a configuration would upload, generated offline by the driver's own generator on
// a task that holds a unit description instead of a connection.
#include <exception>
#include <string>

#include "link/device_commands.h"
#include "prom_image.h"
#include "task_access.h"
#include "text_file.h"

using namespace Orvek;
using namespace Orvek::Vna;

namespace {

bool inRange(int value, int low, int high) {
    return value >= low && value <= high;
}

int configure(TarnTask& task, const tarnvna_sweep_config_t& c) {
    if (!inRange(c.hop_rate, HOP_90K, HOP_20) ||
        !inRange(c.gain, TARN_GAIN_USE_DEFAULT, TARN_GAIN_45) ||
        !inRange(c.attenuation, ATTEN_UNDEFINED, ATTEN_31) ||
        (c.program_type != PROG_SYNC && c.program_type != PROG_ASYNC) || c.receivers > 0x0F)
        return ERR_INVALID_PARAMETER;
    if (c.path_count == 0 || !c.tx || !c.rx)
        return ERR_NO_PATHS_MEASURED;
    int result = task.setHopRate(static_cast<Hop_Rate>(c.hop_rate));
    if (result == ERR_OK && c.frequency_count > 0)
        result = c.frequencies ? task.setFrequencies(c.frequencies, c.frequency_count)
                               : ERR_MISSING_FREQS;
    else if (result == ERR_OK)
        result = task.utilGenerateLinearSweep(c.start_mhz, c.stop_mhz, c.points);
    if (result == ERR_OK && task.getNumberOfFrequencies() == 0)
        result = ERR_MISSING_FREQS;
    if (result == ERR_OK && c.gain != TARN_GAIN_USE_DEFAULT)
        result = task.setReceiverGain(static_cast<Rx_Gain>(c.gain));
    if (result == ERR_OK && c.attenuation != ATTEN_UNDEFINED)
        result = task.configureSwitchboardAttenuationFeature(
            true, static_cast<Rx_Attenuation>(c.attenuation));
    if (result == ERR_OK && c.receivers != 0)
        result = task.setEnabledReceivers(c.receivers);
    if (result == ERR_OK)
        result = task.setMeasurementType(static_cast<Program_Type>(c.program_type));
    for (unsigned i = 0; result == ERR_OK && i < c.path_count; ++i)
        result = task.addPathToMeasure(static_cast<Transmit_Path>(c.tx[i]),
                                       static_cast<Receive_Path>(c.rx[i]));
    return result;
}

} // namespace

extern "C" {

int tarnvna_program_listing(const tarnvna_prom_t* prom, const tarnvna_sweep_config_t* config,
                            char** listing) {
    if (!prom || !config || !listing)
        return ERR_INVALID_PARAMETER;
    try {
        TarnTask task;
        TaskState& state = TarnTaskToolAccess::state(task);
        state.promParameters = prom->parameters;
        state.state = TASK_STOPPED; // as after initialize(), without a unit
        const int result = configure(task, *config);
        if (result != ERR_OK)
            return result;
        TarnTaskToolAccess::helpers(task).buildTarnProgramNormal();
        if (state.compiledProgram.program.empty())
            return ERR_BYTES;
        if (state.compiledProgram.program.size() > TARN::maxProgramTextLength)
            return ERR_PROG_OVERFLOW;
        char* copy = mallocCopy(TarnTaskToolAccess::helpers(task).programListing());
        if (!copy)
            return ERR_BYTES;
        *listing = copy;
        return ERR_OK;
    } catch (const Err_Code code) {
        return code;
    } catch (...) {
        // A setting the generator cannot express (the setters let some through).
        return ERR_INVALID_PARAMETER;
    }
}

} // extern "C"
