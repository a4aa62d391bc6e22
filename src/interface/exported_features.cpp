// Exported optional-feature functions: shaft encoders, serial port, sweep timer, receivers,
// gain and the TDD switch board.
#include "interface/task_handle.h"
#include "prom/feature_flags.h"

using Orvek::TarnTask;
using Orvek::taskOf;

extern "C" {

// Null handle reports success (0), like setSerialPortFeature and setMeasurementType.
TARN_API int setShaftEncoderFeature(task_t* handle, bool enable) {
    TarnTask* task = taskOf(handle);
    return task ? task->configureShaftEncodersFeature(enable, true)
                : static_cast<int>(Orvek::TASK_UNINITIALIZED);
}

TARN_API int isShaftEncoderPresent(task_t* handle, bool* present) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!present)
        return Orvek::ERR_BYTES;
    *present = task->getFeaturePresent(Orvek::FEATURE_SHAFT_ENCODER);
    return Orvek::ERR_OK;
}

TARN_API int setSerialPortFeature(task_t* handle, bool enable, unsigned int bufferSize) {
    TarnTask* task = taskOf(handle);
    return task ? task->configureSerialPortFeature(enable, bufferSize)
                : static_cast<int>(Orvek::TASK_UNINITIALIZED);
}

TARN_API int isSerialPortPresent(task_t* handle, bool* present) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!present)
        return Orvek::ERR_BYTES;
    *present = task->getFeaturePresent(Orvek::FEATURE_SERIAL_PORT);
    return Orvek::ERR_OK;
}

TARN_API int setSendSweepTimer(task_t* handle, bool enable) {
    TarnTask* task = taskOf(handle);
    return task ? task->setSendSweepTimer(enable) : Orvek::ERR_BAD_HANDLE;
}

TARN_API int getSendSweepTimer(task_t* handle, bool* enabled) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!enabled)
        return Orvek::ERR_BYTES;
    *enabled = task->getSendSweepTimer();
    return Orvek::ERR_OK;
}

TARN_API int setResetFrameCounterOnStart(task_t* handle, bool enable) {
    TarnTask* task = taskOf(handle);
    return task ? task->setResetFrameCounterOnStart(enable) : Orvek::ERR_BAD_HANDLE;
}

TARN_API int getResetFrameCounterOnStart(task_t* handle, bool* enabled) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!enabled)
        return Orvek::ERR_BYTES;
    *enabled = task->getResetFrameCounterOnStart();
    return Orvek::ERR_OK;
}

TARN_API int setEnabledReceivers(task_t* handle, unsigned char mask) {
    TarnTask* task = taskOf(handle);
    return task ? task->setEnabledReceivers(mask) : Orvek::ERR_BAD_HANDLE;
}

TARN_API int getEnabledReceivers(task_t* handle, unsigned char* mask) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!mask)
        return Orvek::ERR_BYTES;
    *mask = static_cast<unsigned char>(task->getEnabledReceivers());
    return Orvek::ERR_OK;
}

TARN_API int getnumberOfEnabledReceivers(task_t* handle, int* count) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!count)
        return Orvek::ERR_BYTES;
    *count = task->getnumberOfEnabledReceivers();
    return Orvek::ERR_OK;
}

TARN_API int setIfGain(task_t* handle, Orvek::Rx_Gain gain) {
    TarnTask* task = taskOf(handle);
    return task ? task->setReceiverGain(gain) : Orvek::ERR_BAD_HANDLE;
}

TARN_API int setReceiver12dBPad(task_t* handle, bool enable) {
    TarnTask* task = taskOf(handle);
    return task ? task->setReceiver12dBPadEnabled(enable) : Orvek::ERR_BAD_HANDLE;
}

TARN_API int getReceiver12dBPad(task_t* handle, bool* enabled) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!enabled)
        return Orvek::ERR_BYTES;
    *enabled = task->getReceiver12dBPadEnabled();
    return Orvek::ERR_OK;
}

// The first timing word cannot be set from here; t1..t6 fill words 2..7.
TARN_API int configureTddSettings(task_t* handle, bool enable, unsigned char flag1,
                                  unsigned char flag2, unsigned char flag3, unsigned char flag4,
                                  unsigned char flag5, unsigned char extra,
                                  unsigned short attenuator, unsigned int t1, unsigned int t2,
                                  unsigned int t3, unsigned int t4, unsigned int t5,
                                  unsigned int t6) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return -1;
    Orvek::TDDConfiguration configuration;
    configuration.flag1 = flag1;
    configuration.flag2 = flag2;
    configuration.flag3 = flag3;
    configuration.flag4 = flag4;
    configuration.flag5 = flag5;
    configuration.attenuatorValue = attenuator;
    configuration.extraValue = extra;
    const unsigned int timings[7] = {0, t1, t2, t3, t4, t5, t6};
    for (int k = 0; k < 7; ++k)
        configuration.timing[k] = timings[k];
    return task->configureTDDFeature(enable, configuration);
}

} // extern "C"

// Presence, and the buffer size (all bits set without a serial port). Null handle: 0.
TARN_API int getSerialPortFeature(task_t* handle, bool* present, unsigned int* bufferSize) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::TASK_UNINITIALIZED;
    if (!present || !bufferSize)
        return Orvek::ERR_BYTES;
    *present = task->getFeaturePresent(Orvek::FEATURE_SERIAL_PORT);
    *bufferSize = task->getSerialPortBufferSize();
    return Orvek::ERR_OK;
}

// `unused` is part of the signature callers were built against; it is never written.
TARN_API int getIfGain(task_t* handle, int* gain, bool* /*unused*/) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!gain)
        return Orvek::ERR_BYTES;
    *gain = task->getReceiverGain();
    return Orvek::ERR_OK;
}
