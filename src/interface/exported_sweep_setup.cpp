// Exported sweep-setup functions: hop rate, frequency plan, exclusion bands, measurement type.
#include "interface/task_handle.h"

using Orvek::TarnTask;
using Orvek::taskOf;

extern "C" {

TARN_API int setHopRate(task_t* handle, Orvek::Hop_Rate rate) {
    TarnTask* task = taskOf(handle);
    return task ? task->setHopRate(rate) : -1;
}

TARN_API Orvek::Hop_Rate getHopRate(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->getHopRate() : Orvek::HOP_UNDEFINED;
}

TARN_API int setFrequencies(task_t* handle, const double* frequencies, unsigned int count) {
    TarnTask* task = taskOf(handle);
    return task ? task->setFrequencies(frequencies, count) : -1;
}

TARN_API int getNumberOfFrequencies(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->getNumberOfFrequencies() : 0;
}

// n is the count the caller expects; the caller's array must hold all N stored frequencies.
TARN_API int getFrequencies(task_t* handle, double* out, int n) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return -1;
    const int stored = task->getNumberOfFrequencies();
    if (stored < n)
        return Orvek::ERR_TOO_MANY_POINTS;
    if (!out && stored > 0)
        return Orvek::ERR_BYTES;
    const double* frequencies = task->getFrequencies();
    for (int i = 0; i < stored; ++i)
        out[i] = frequencies[i];
    return Orvek::ERR_OK;
}

TARN_API int utilNearestLegalFreq(task_t* handle, double* frequency) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return -1;
    return frequency ? task->utilNearestLegalFreq(*frequency) : Orvek::ERR_BYTES;
}

TARN_API int utilFixLinearSweepLimits(task_t* handle, double* startMHz, double* stopMHz,
                                      unsigned int points) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return -1;
    if (!startMHz || !stopMHz)
        return Orvek::ERR_BYTES;
    return task->utilFixLinearSweepLimits(*startMHz, *stopMHz, points);
}

TARN_API int utilGenerateLinearSweep(task_t* handle, double startMHz, double stopMHz,
                                     unsigned int points) {
    TarnTask* task = taskOf(handle);
    return task ? task->utilGenerateLinearSweep(startMHz, stopMHz, points) : -1;
}

TARN_API double getPreciseTimePerFrame(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->getPreciseTimePerFrame() : -1.0;
}

TARN_API int addExclusionBand(task_t* handle, double lowMHz, double highMHz) {
    TarnTask* task = taskOf(handle);
    return task ? task->addExclusionBand(lowMHz, highMHz) : -1;
}

TARN_API int clearExclusionBands(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->clearExclusionBands() : -1;
}

TARN_API int getExclusionBandCount(task_t* handle, int* count) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return -1;
    return count ? task->getExclusionBandCount(*count) : Orvek::ERR_BYTES;
}

TARN_API int getExclusionBand(task_t* handle, int index, double* lowMHz, double* highMHz) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return -1;
    if (!lowMHz || !highMHz)
        return Orvek::ERR_BYTES;
    return task->getExclusionBand(index, *lowMHz, *highMHz);
}

// A null handle reports success here (0, the value of TASK_UNINITIALIZED).
TARN_API int setMeasurementType(task_t* handle, Orvek::Program_Type type) {
    TarnTask* task = taskOf(handle);
    return task ? task->setMeasurementType(type) : static_cast<int>(Orvek::TASK_UNINITIALIZED);
}

TARN_API Orvek::Program_Type getMeasurementType(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->getMeasurementType() : Orvek::PROG_SYNC;
}

TARN_API int setSyncPulseMode(task_t* handle, Orvek::Sync_Pulse_Mode mode) {
    TarnTask* task = taskOf(handle);
    return task ? task->setSyncPulseMode(mode) : Orvek::ERR_BAD_HANDLE;
}

TARN_API int getSyncPulseMode(task_t* handle, Orvek::Sync_Pulse_Mode* mode) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!mode)
        return Orvek::ERR_BYTES;
    *mode = task->getSyncPulseMode();
    return Orvek::ERR_OK;
}

} // extern "C"

// The task's own list; valid until the next setFrequencies.
TARN_API const double* getFrequencies(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->getFrequencies() : nullptr;
}
