/* Every exported function with a null handle, and with a box whose task is null, returns its
 * fixed null result and writes nothing (getPathAtIndex presets its outputs). Then the state
 * checks of a fresh task that need no unit. */
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

static void check_fresh_task(void) {
    task_t* task = createTask();
    CHECK(task != NULL);
    if (!task)
        return;
    CHECK_EQ(getState(task), TASK_UNINITIALIZED);
    CHECK_EQ(getTimeout(task), 100);
    CHECK_EQ(getHopRate(task), HOP_UNDEFINED);
    CHECK_EQ(getMeasurementType(task), PROG_SYNC);
    CHECK(getIPAddress(task) == NULL);

    CHECK_EQ(setIPPort(task, 1023), ERR_BAD_IP_PORT);
    CHECK_EQ(setIPPort(task, 1280), ERR_BAD_IP_PORT);
    CHECK_EQ(setIPPort(task, 1279), ERR_OK);
    CHECK_EQ(getIPPort(task), 1279);
    CHECK_EQ(setIPAddress(task, NULL), ERR_MISSING_IP);
    CHECK_EQ(setIPAddress(task, "192.168.1.10"), ERR_OK);
    CHECK(strcmp(getIPAddress(task), "192.168.1.10") == 0);

    /* Nothing below needs a unit: every call is refused by its state check. */
    CHECK_EQ(start(task), ERR_WRONG_STATE);
    CHECK_EQ(stop(task), ERR_WRONG_STATE);
    CHECK_EQ(measure(task), ERR_WRONG_STATE);
    CHECK_EQ(beginAsync(task), ERR_WRONG_STATE);
    CHECK_EQ(haltAsync(task), ERR_WRONG_STATE);
    CHECK_EQ(interruptMeasurement(task), ERR_WRONG_STATE);
    CHECK_EQ(utilEnterLowPowerState(task), ERR_WRONG_STATE);
    CHECK_EQ(setMeasurementType(task, (Program_Type)7), ERR_WRONG_PROGRAM_TYPE);
    double f = 1000.0;
    CHECK_EQ(setFrequencies(task, &f, 1), ERR_WRONG_STATE);
    CHECK_EQ(getNumberOfFrequencies(task), 0);

    double out[4] = {0};
    CHECK_EQ(getFrequencies(task, out, 1), ERR_TOO_MANY_POINTS);
    CHECK_EQ(getFrequencies(task, out, 0), ERR_OK);

    tarn_sweep_data_t sweep;
    memset(&sweep, 0, sizeof sweep);
    CHECK_EQ(extractSweepData(task, &sweep, TARN_TX_PATH_0, TARN_RX_PATH_1),
             ERR_NO_PATHS_MEASURED);

    task_t* shared = createSharedTask(task);
    CHECK(shared != NULL);
    CHECK_EQ(getState(shared), TASK_UNINITIALIZED);
    CHECK(getIPAddress(shared) == NULL);
    deleteTask(shared);
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
    check_fresh_task();

    if (check_failures)
        fprintf(stderr, "%d check(s) failed\n", check_failures);
    return check_failures ? 1 : 0;
}
