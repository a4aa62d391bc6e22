// Exported path and measurement functions, and the copy of one path's sweep into the caller's
// buffers.
#include "interface/task_handle.h"
#include "prom/feature_flags.h"
#include "task/sweep_data.h"

using Orvek::TarnTask;
using Orvek::taskOf;

extern "C" {

TARN_API int addPathToMeasure(task_t* handle, Orvek::Transmit_Path tx, Orvek::Receive_Path rx) {
    TarnTask* task = taskOf(handle);
    return task ? task->addPathToMeasure(tx, rx) : Orvek::ERR_BAD_HANDLE;
}

// The task never writes the paths, so callers always see them at -1 (kept on purpose).
TARN_API int getPathAtIndex(task_t* handle, int index, Orvek::Transmit_Path* tx,
                            Orvek::Receive_Path* rx) {
    if (tx)
        *tx = Orvek::TARN_TX_PATH_NONE;
    if (rx)
        *rx = Orvek::TARN_RX_PATH_NONE;
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    if (!tx || !rx)
        return Orvek::ERR_BYTES;
    return task->getPathAtIndex(index, *tx, *rx);
}

TARN_API int getMeasuredPathCount(task_t* handle, int* count) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;
    return count ? task->getMeasuredPathCount(*count) : Orvek::ERR_BYTES;
}

TARN_API int clearMeasuredPaths(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->clearMeasuredPaths() : Orvek::ERR_BAD_HANDLE;
}

TARN_API int measure(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->measure() : Orvek::ERR_BAD_HANDLE;
}

TARN_API int beginAsync(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->beginAsync() : Orvek::ERR_BAD_HANDLE;
}

TARN_API int haltAsync(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->haltAsync() : Orvek::ERR_BAD_HANDLE;
}

TARN_API int interruptMeasurement(task_t* handle) {
    TarnTask* task = taskOf(handle);
    return task ? task->interruptMeasurement() : -1;
}

TARN_API int extractSweepData(task_t* handle, tarn_sweep_data_t* data, Orvek::Transmit_Path tx,
                              Orvek::Receive_Path rx) {
    TarnTask* task = taskOf(handle);
    if (!task)
        return Orvek::ERR_BAD_HANDLE;

    Orvek::SweepData sweep;
    const int result = task->extractSweepData(tx, rx, sweep);
    if (result != Orvek::ERR_OK)
        return result;
    if (!data || !data->real || !data->imag)
        return Orvek::ERR_BYTES;

    data->sweepTimer = sweep.sweepTimer;
    data->timestamp = sweep.timestamp;
    data->tagB = sweep.tagB;
    data->packetCounter = sweep.packetCounter;
    data->frameNumber = sweep.frameNumber;

    const int points = task->getNumberOfFrequencies();
    const int receivers = task->getnumberOfEnabledReceivers();
    for (int r = 0; r < receivers; ++r) {
        if (!data->real[r] || !data->imag[r])
            return Orvek::ERR_BYTES;
        // The decoder sizes every receiver's arrays to the frequency count of the sweep; a
        // receiver the sweep did not carry has nothing to copy.
        if (static_cast<size_t>(r) >= sweep.receiverData.size())
            continue;
        const Orvek::ComplexData& samples = sweep.receiverData[r];
        const int available = static_cast<int>(samples.length());
        for (int i = 0; i < points && i < available; ++i) {
            data->real[r][i] = samples.real[i];
            data->imag[r][i] = samples.imag[i];
        }
    }

    if (task->getFeaturePresent(Orvek::FEATURE_SHAFT_ENCODER)) {
        data->shaftEncoder1 = sweep.shaftEncoder1;
        data->shaftEncoder2 = sweep.shaftEncoder2;
    }
    if (task->getFeaturePresent(Orvek::FEATURE_SERIAL_PORT) && data->serialData) {
        data->serialByteCount = sweep.serialCount;
        const unsigned int size = task->getSerialPortBufferSize();
        for (unsigned int i = 0; i < size && i < sweep.serialData.size(); ++i)
            data->serialData[i] = sweep.serialData[i];
    }
    return Orvek::ERR_OK;
}

} // extern "C"
