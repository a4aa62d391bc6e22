// Exported lifecycle, connection and state functions: each checks the handle and forwards to
// the task unchanged.
#include <cstdlib>
#include <new>

#include "interface/task_handle.h"
#include "prom/feature_flags.h"
#include "prom/prom_parameters.h"

using Orvek::TarnTask;
using Orvek::taskOf;

namespace {

// Boxes a task; the box is malloc'ed so that deleteTask can free it whatever allocated the task.
task_t* boxTask(TarnTask* (*make)(TarnTask*), TarnTask* from) {
    auto* box = static_cast<task_t*>(std::malloc(sizeof(task_t)));
    if (!box)
        return nullptr;
    box->task = make(from);
    return box;
}

} // namespace

extern "C" {

TARN_API task_t* createTask(void) {
    return boxTask([](TarnTask*) { return new TarnTask(); }, nullptr);
}

// Null when there is no task to share with.
TARN_API task_t* createSharedTask(task_t* other) {
    TarnTask* task = taskOf(other);
    if (!task)
        return nullptr;
    return boxTask([](TarnTask* from) { return new TarnTask(*from); }, task);
}

TARN_API void deleteTask(task_t* handle) {
    if (!handle)
        return;
    delete handle->task;
    std::free(handle);
}

TARN_API int initialize(task_t* handle, tarn_progress_fn progress, void* user) {
    TarnTask* task = taskOf(handle);
    return task ? task->initialize(progress, user) : -1;
}

TARN_API int start(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->start() : -1;
}

TARN_API int stop(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->stop() : -1;
}

TARN_API int setIPAddress(task_t* handle, const char* address) {
    TarnTask* task = taskOf(handle);
    return task ? task->setIPAddress(address) : -1;
}

TARN_API int setIPPort(task_t* handle, int port) {
    TarnTask* task = taskOf(handle);
    return task ? task->setIPPort(port) : -1;
}

TARN_API int setTimeout(task_t* handle, unsigned int milliseconds) {
    TarnTask* task = taskOf(handle);
    return task ? task->setTimeout(milliseconds) : -1;
}

TARN_API int getState(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->getState() : Orvek::TASK_UNINITIALIZED;
}

TARN_API unsigned int getTimeout(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->getTimeout() : 0;
}

TARN_API const char* getIPAddress(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->getIPAddress() : nullptr;
}

TARN_API int getIPPort(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->getIPPort() : 0;
}

TARN_API int utilPingUnit(task_t* handle, int attempts) {
    TarnTask* task = taskOf(handle);
    return task ? task->utilPingUnit(attempts) : -1;
}

TARN_API int utilEnterLowPowerState(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->enterLowPowerState() : -1;
}

TARN_API tarn_hardware_details_t getHardwareDetails(task_t* handle) {
    tarn_hardware_details_t details;
    details.minimumFrequency = 0;
    details.maximumFrequency = 0;
    details.maximumNumberOfPoints = 0;
    details.promKey29 = 0;
    for (int& boundary : details.bandBoundaries)
        boundary = 0;
    details.numberOfBandBoundaries = 0;
    TarnTask* task = taskOf(handle);
    if (!task)
        return details;

    if (const Orvek::PromParameters* unit = task->getHardwareDetails()) {
        details.minimumFrequency = unit->Minimum_freq;
        details.maximumFrequency = unit->Maximum_freq;
        details.maximumNumberOfPoints = unit->Maximum_number_of_points;
        details.promKey29 = unit->Unit_serial_number;
        for (int k = 0; k < 8; ++k)
            details.bandBoundaries[k] = unit->Band_boundaries[k];
        details.numberOfBandBoundaries = unit->Number_of_band_boundaries;
        details.switchBoardType = unit->getSwitchboardType();
    }
    details.hasShaftEncoder = task->getFeaturePresent(Orvek::FEATURE_SHAFT_ENCODER);
    details.hasSerialPort = task->getFeaturePresent(Orvek::FEATURE_SERIAL_PORT);
    details.hasSwitchboardAttenuator =
        task->getFeaturePresent(Orvek::FEATURE_SWITCHBOARD_ATTENUATOR);
    details.hasMultipleReceivers = task->getFeaturePresent(Orvek::FEATURE_MULTIPLE_RECEIVERS);
    details.hasFeature7 = task->getFeaturePresent(Orvek::FEATURE_FLAG_7);
    details.hasFeature6 = task->getFeaturePresent(Orvek::FEATURE_FLAG_6);
    return details;
}

} // extern "C"
