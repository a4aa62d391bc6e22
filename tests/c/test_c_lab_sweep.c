/* A full sweep through the exported interface from C, against a simulated unit without a
 * switch board started on the lab's units side (tests/c/with_sim.sh). */
#include <limits.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "check.h"
#include "tarndll.h"

enum { POINTS = 21 };

static bool count_progress(int percent, void* user) {
    int* calls = (int*)user;
    ++*calls;
    return percent >= 0 && percent <= 100;
}

/* Hostile arguments on an initialised, stopped task: every call returns a defined code, writes
 * only what it documents and leaves the task usable. Out-of-range enumerations are passed as
 * the integers a careless binding would pass. */
static void check_hostile_arguments(task_t* task) {
    const double huge = 1e308;
    double low = 7.0, high = 7.0, f = 1e12;
    double some[2] = {NAN, INFINITY};
    int count = 7;
    TARN_ENUM(Transmit_Path) tx = TARN_TX_PATH_0;
    TARN_ENUM(Receive_Path) rx = TARN_RX_PATH_0;
    tarn_sweep_data_t sweep;
    memset(&sweep, 0, sizeof sweep);

    CHECK_EQ(setIPAddress(task, NULL), ERR_MISSING_IP);
    CHECK_EQ(setIPPort(task, -1), ERR_BAD_IP_PORT);
    CHECK_EQ(setIPPort(task, INT_MAX), ERR_BAD_IP_PORT);
    CHECK_EQ(setFrequencies(task, NULL, UINT_MAX), ERR_TOO_MANY_POINTS);
    CHECK_EQ(setFrequencies(task, NULL, 3), ERR_MISSING_FREQS);
    CHECK_EQ(setFrequencies(task, some, 2), ERR_FREQ_OUT_OF_BOUNDS);
    CHECK_EQ(setFrequencies(task, &huge, 1), ERR_FREQ_OUT_OF_BOUNDS);
    CHECK_EQ(utilGenerateLinearSweep(task, 1000.0, 2000.0, UINT_MAX), ERR_TOO_MANY_POINTS);
    CHECK_EQ(utilGenerateLinearSweep(task, -huge, huge, 10), ERR_FREQ_OUT_OF_BOUNDS);
    CHECK_EQ(utilFixLinearSweepLimits(task, &low, &high, UINT_MAX), ERR_FREQ_OUT_OF_BOUNDS);
    CHECK_EQ(utilNearestLegalFreq(task, &f), ERR_FREQ_OUT_OF_BOUNDS);
    CHECK(f == 1e12);
    CHECK_EQ(getFrequencies(task, some, -5), ERR_OK);
    CHECK_EQ(getNumberOfFrequencies(task), 0);
    CHECK_EQ(addExclusionBand(task, NAN, 2.0), ERR_INVALID_PARAMETER);
    CHECK_EQ(addExclusionBand(task, 2.0, 1.0), ERR_INVALID_PARAMETER);
    CHECK_EQ(getExclusionBand(task, -1, &low, &high), -32);
    CHECK_EQ(getExclusionBand(task, INT_MAX, &low, &high), -32);
    CHECK_EQ(setMeasurementType(task, (TARN_ENUM(Program_Type))77), ERR_WRONG_PROGRAM_TYPE);
    CHECK_EQ(addPathToMeasure(task, (TARN_ENUM(Transmit_Path)) - 5, (TARN_ENUM(Receive_Path))99),
             ERR_BAD_PATH);
    CHECK_EQ(getPathAtIndex(task, -1, &tx, &rx), -32);
    CHECK_EQ(getPathAtIndex(task, INT_MAX, &tx, &rx), -32);
    CHECK_EQ(getMeasuredPathCount(task, &count), ERR_OK);
    CHECK_EQ(count, 0);
    CHECK_EQ(extractSweepData(task, NULL, TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_NO_PATHS_MEASURED);
    CHECK_EQ(extractSweepData(task, &sweep, (TARN_ENUM(Transmit_Path))1000,
                              (TARN_ENUM(Receive_Path)) - 1000),
             ERR_BAD_PATH);
    /* This unit has four receivers; bits above receiver 3 carry none. */
    CHECK_EQ(setEnabledReceivers(task, 0xF0), ERR_OK);
    CHECK_EQ(getnumberOfEnabledReceivers(task, &count), ERR_OK);
    CHECK_EQ(count, 1);
    CHECK_EQ(setEnabledReceivers(task, 1), ERR_OK);
    CHECK_EQ(setIfGain(task, (TARN_ENUM(Rx_Gain))1000), ERR_OK); /* stored as given */
    CHECK_EQ(setIfGain(task, TARN_GAIN_USE_DEFAULT), ERR_OK);
    CHECK_EQ(setSerialPortFeature(task, true, UINT_MAX), ERR_TOO_MANY_POINTS);
    CHECK_EQ(configureTddSettings(task, true, 255, 255, 255, 255, 255, 255, 65535, UINT_MAX,
                                  UINT_MAX, UINT_MAX, UINT_MAX, UINT_MAX, UINT_MAX),
             ERR_FEATURE_NOT_PRESENT);
    CHECK_EQ(utilPingUnit(task, INT_MIN), ERR_NO_RESPONSE);
    task_t* array[2] = {task, NULL};
    CHECK_EQ(validateArrayTasks(array, 0), ERR_TASK_ARRAY_INVALID);
    CHECK_EQ(validateArrayTasks(array, 2), -1);
    CHECK_EQ(broadcastBeginCommand(array, 0), ERR_TASK_ARRAY_INVALID);
    CHECK_EQ(getState(task), TASK_STOPPED);
}

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: %s <unit address> <port>\n", argv[0]);
        return 2;
    }
    task_t* task = createTask();
    CHECK(task != NULL);
    if (!task)
        return 1;

    int progress_calls = 0;
    CHECK_EQ(setIPAddress(task, argv[1]), ERR_OK);
    CHECK_EQ(setIPPort(task, atoi(argv[2])), ERR_OK);
    CHECK_EQ(setTimeout(task, 200), ERR_OK);
    CHECK_EQ(initialize(task, count_progress, &progress_calls), ERR_OK);
    CHECK(progress_calls > 0);
    CHECK_EQ(getState(task), TASK_STOPPED);
    CHECK_EQ(initialize(task, NULL, NULL), ERR_WRONG_STATE);
    check_hostile_arguments(task);

    tarn_hardware_details_t unit = getHardwareDetails(task);
    CHECK(unit.maximumFrequency > unit.minimumFrequency);
    CHECK_EQ(unit.switchBoardType, SWITCHBOARD_NO_SWITCH_BOARD);

    /* Not startable until the sweep is described. */
    CHECK_EQ(start(task), ERR_MISSING_HOP);
    CHECK_EQ(setHopRate(task, HOP_45K), ERR_OK);
    CHECK_EQ(start(task), ERR_MISSING_FREQS);
    /* Inside the passband of the simulated DUT, a filter centred at the geometric middle of
     * the unit's range with a bandwidth of a fifth of its centre. */
    double centre = sqrt((double)unit.minimumFrequency * unit.maximumFrequency);
    double low = centre * 0.95, high = centre * 1.05;
    CHECK_EQ(utilGenerateLinearSweep(task, low, high, POINTS), ERR_OK);
    CHECK_EQ(getNumberOfFrequencies(task), POINTS);
    CHECK_EQ(addPathToMeasure(task, TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    CHECK_EQ(addPathToMeasure(task, TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_PATH_ALREADY_MEASURED);
    CHECK_EQ(addPathToMeasure(task, TARN_TX_PATH_1, TARN_RX_PATH_1), ERR_BAD_PATH);

    CHECK_EQ(start(task), ERR_OK);
    CHECK_EQ(getState(task), TASK_STARTED);
    CHECK(getPreciseTimePerFrame(task) > 0.0);
    CHECK_EQ(setHopRate(task, HOP_1K), ERR_WRONG_STATE);

    double re[POINTS], im[POINTS];
    double* reals[1] = {re};
    double* imags[1] = {im};
    int previous_frame = 0;
    for (int sweep_number = 0; sweep_number < 3; ++sweep_number) {
        CHECK_EQ(measure(task), ERR_OK);
        memset(re, 0, sizeof re);
        memset(im, 0, sizeof im);
        tarn_sweep_data_t sweep;
        memset(&sweep, 0, sizeof sweep);
        sweep.real = reals;
        sweep.imag = imags;
        CHECK_EQ(extractSweepData(task, &sweep, TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
        /* The filter passes between ports 0 and 1: every point carries signal. */
        for (int i = 0; i < POINTS; ++i)
            CHECK(hypot(re[i], im[i]) > 0.0);
        if (sweep_number > 0)
            CHECK_EQ(sweep.frameNumber, previous_frame + 1);
        previous_frame = sweep.frameNumber;

        sweep.real = NULL;
        CHECK_EQ(extractSweepData(task, &sweep, TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_BYTES);
    }

    CHECK_EQ(stop(task), ERR_OK);
    CHECK_EQ(getState(task), TASK_STOPPED);
    CHECK_EQ(utilEnterLowPowerState(task), ERR_OK);
    deleteTask(task);

    if (check_failures)
        fprintf(stderr, "%d check(s) failed\n", check_failures);
    return check_failures ? 1 : 0;
}
