/* Every exported function with a null handle, and with a box whose task is null, returns its
 * fixed null result and writes nothing (getPathAtIndex presets its outputs). A live task
 * refuses null out-pointers with ERR_BYTES. */
#include <stdlib.h>
#include <string.h>

#include "check.h"
#include "tarndll.h"

/* The box layout is one pointer; a box holding null must count as a bad handle too. */
static void check_null_results(task_t* h) {
    double d = 7.0, d2 = 7.0;
    int i = 7;
    bool b = true;
    unsigned char uc = 7;
    Sync_Pulse_Mode mode = SYNC_GENERATE;
    Transmit_Path tx = TARN_TX_PATH_3;
    Receive_Path rx = TARN_RX_PATH_3;
    tarn_sweep_data_t sweep;
    memset(&sweep, 0x5a, sizeof sweep);

    CHECK_EQ(initialize(h, NULL, NULL), -1);
    CHECK_EQ(start(h), -1);
    CHECK_EQ(stop(h), -1);
    CHECK_EQ(setIPAddress(h, "192.168.1.10"), -1);
    CHECK_EQ(setIPPort(h, 1100), -1);
    CHECK_EQ(setTimeout(h, 10), -1);
    CHECK_EQ(getState(h), TASK_UNINITIALIZED);
    CHECK_EQ(getTimeout(h), 0);
    CHECK(getIPAddress(h) == NULL);
    CHECK_EQ(getIPPort(h), 0);
    CHECK_EQ(utilPingUnit(h, 1), -1);
    CHECK_EQ(utilEnterLowPowerState(h), -1);

    CHECK_EQ(setHopRate(h, HOP_1K), -1);
    CHECK_EQ(getHopRate(h), HOP_UNDEFINED);
    CHECK_EQ(setFrequencies(h, &d, 1), -1);
    CHECK_EQ(getNumberOfFrequencies(h), 0);
    CHECK_EQ(getFrequencies(h, &d, 1), -1);
    CHECK_EQ(utilNearestLegalFreq(h, &d), -1);
    CHECK_EQ(utilFixLinearSweepLimits(h, &d, &d2, 3), -1);
    CHECK(d == 7.0 && d2 == 7.0);
    CHECK_EQ(utilGenerateLinearSweep(h, 1000.0, 2000.0, 3), -1);
    CHECK(getPreciseTimePerFrame(h) == -1.0);
    CHECK_EQ(addExclusionBand(h, 1.0, 2.0), -1);
    CHECK_EQ(clearExclusionBands(h), -1);
    CHECK_EQ(getExclusionBandCount(h, &i), -1);
    CHECK_EQ(getExclusionBand(h, 0, &d, &d2), -1);
    CHECK_EQ(i, 7);
    /* These report success with a null handle. */
    CHECK_EQ(setMeasurementType(h, PROG_ASYNC), 0);
    CHECK_EQ(setShaftEncoderFeature(h, true), 0);
    CHECK_EQ(setSerialPortFeature(h, true, 4), 0);
    CHECK_EQ(getMeasurementType(h), PROG_SYNC);
    CHECK_EQ(setSyncPulseMode(h, SYNC_RECEIVE), ERR_BAD_HANDLE);
    CHECK_EQ(getSyncPulseMode(h, &mode), ERR_BAD_HANDLE);
    CHECK_EQ(mode, SYNC_GENERATE);

    CHECK_EQ(addPathToMeasure(h, TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_BAD_HANDLE);
    CHECK_EQ(getPathAtIndex(h, 0, &tx, &rx), ERR_BAD_HANDLE);
    CHECK_EQ(tx, TARN_TX_PATH_NONE);
    CHECK_EQ(rx, TARN_RX_PATH_NONE);
    CHECK_EQ(getMeasuredPathCount(h, &i), ERR_BAD_HANDLE);
    CHECK_EQ(getMeasuredPathCount(h, NULL), ERR_BAD_HANDLE); /* the handle is checked first */
    CHECK_EQ(clearMeasuredPaths(h), ERR_BAD_HANDLE);
    CHECK_EQ(measure(h), ERR_BAD_HANDLE);
    CHECK_EQ(beginAsync(h), ERR_BAD_HANDLE);
    CHECK_EQ(haltAsync(h), ERR_BAD_HANDLE);
    CHECK_EQ(interruptMeasurement(h), -1);
    CHECK_EQ(extractSweepData(h, &sweep, TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_BAD_HANDLE);

    CHECK_EQ(isShaftEncoderPresent(h, &b), ERR_BAD_HANDLE);
    CHECK_EQ(isSerialPortPresent(h, &b), ERR_BAD_HANDLE);
    CHECK_EQ(setSendSweepTimer(h, true), ERR_BAD_HANDLE);
    CHECK_EQ(getSendSweepTimer(h, &b), ERR_BAD_HANDLE);
    CHECK_EQ(setResetFrameCounterOnStart(h, true), ERR_BAD_HANDLE);
    CHECK_EQ(getResetFrameCounterOnStart(h, &b), ERR_BAD_HANDLE);
    CHECK_EQ(setEnabledReceivers(h, 3), ERR_BAD_HANDLE);
    CHECK_EQ(getEnabledReceivers(h, &uc), ERR_BAD_HANDLE);
    CHECK_EQ(getnumberOfEnabledReceivers(h, &i), ERR_BAD_HANDLE);
    CHECK_EQ(setIfGain(h, TARN_GAIN_9), ERR_BAD_HANDLE);
    CHECK_EQ(setReceiver12dBPad(h, true), ERR_BAD_HANDLE);
    CHECK_EQ(getReceiver12dBPad(h, &b), ERR_BAD_HANDLE);
    CHECK(b == true && uc == 7 && i == 7);
    CHECK_EQ(configureTddSettings(h, true, 1, 0, 0, 0, 0, 0, 10, 1, 2, 3, 4, 5, 6), -1);

    task_t* array[2] = {h, h};
    CHECK_EQ(validateArrayTasks(array, 2), -1);
    CHECK_EQ(broadcastBeginCommand(array, 2), -1);
}

static void check_hardware_details_of_null(void) {
    tarn_hardware_details_t details = getHardwareDetails(NULL);
    CHECK_EQ(details.minimumFrequency, 0);
    CHECK_EQ(details.maximumFrequency, 0);
    CHECK_EQ(details.maximumNumberOfPoints, 0);
    CHECK_EQ(details.promKey29, 0);
    for (int k = 0; k < 8; ++k)
        CHECK_EQ(details.bandBoundaries[k], 0);
    CHECK_EQ(details.numberOfBandBoundaries, 0);
}

/* A live task and null out-pointers: ERR_BYTES and nothing written, never a crash. */
static void check_null_out_pointers(void) {
    task_t* task = createTask();
    CHECK(task != NULL);
    if (!task)
        return;
    CHECK_EQ(getExclusionBandCount(task, NULL), ERR_BYTES);
    CHECK_EQ(getExclusionBand(task, 0, NULL, NULL), ERR_BYTES);
    CHECK_EQ(utilNearestLegalFreq(task, NULL), ERR_BYTES);
    CHECK_EQ(utilFixLinearSweepLimits(task, NULL, NULL, 3), ERR_BYTES);
    CHECK_EQ(getSyncPulseMode(task, NULL), ERR_BYTES);
    CHECK_EQ(getPathAtIndex(task, 0, NULL, NULL), ERR_BYTES);
    CHECK_EQ(getMeasuredPathCount(task, NULL), ERR_BYTES);
    CHECK_EQ(isShaftEncoderPresent(task, NULL), ERR_BYTES);
    CHECK_EQ(isSerialPortPresent(task, NULL), ERR_BYTES);
    CHECK_EQ(getSendSweepTimer(task, NULL), ERR_BYTES);
    CHECK_EQ(getResetFrameCounterOnStart(task, NULL), ERR_BYTES);
    CHECK_EQ(getEnabledReceivers(task, NULL), ERR_BYTES);
    CHECK_EQ(getnumberOfEnabledReceivers(task, NULL), ERR_BYTES);
    CHECK_EQ(getReceiver12dBPad(task, NULL), ERR_BYTES);
    CHECK_EQ(validateArrayTasks(NULL, 1), ERR_BYTES);
    CHECK_EQ(broadcastBeginCommand(NULL, 1), ERR_BYTES);
    CHECK(createSharedTask(NULL) == NULL);

    /* n is what the caller expects; the caller's array must hold all stored frequencies. */
    double out[1] = {0};
    CHECK_EQ(getFrequencies(task, out, 1), ERR_TOO_MANY_POINTS);
    CHECK_EQ(getFrequencies(task, out, 0), ERR_OK);
    deleteTask(task);
}

int main(void) {
    check_null_results(NULL);

    /* A box whose task pointer is null. */
    task_t* empty_box = (task_t*)calloc(1, sizeof(void*));
    check_null_results(empty_box);
    deleteTask(empty_box); /* frees only the box */
    deleteTask(NULL);

    check_hardware_details_of_null();
    check_null_out_pointers();

    if (check_failures)
        fprintf(stderr, "%d check(s) failed\n", check_failures);
    return check_failures ? 1 : 0;
}
