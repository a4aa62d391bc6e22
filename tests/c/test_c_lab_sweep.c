/* A full sweep through the exported interface from C, against a simulated unit without a
 * switch board started on the lab's units side (tests/c/with_sim.sh). */
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
