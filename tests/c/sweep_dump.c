/* Sweeps the four paths of a simulated S-parameter unit with both receivers through the exported
 * interface and writes every sample, so that builds for two hosts compare number by number. */
#include <stdio.h>
#include <stdlib.h>

#include "tarndll.h"

enum { POINTS = 101 };

static const int paths[4][2] = {{TARN_TX_PATH_0, TARN_RX_PATH_0},
                                {TARN_TX_PATH_0, TARN_RX_PATH_1},
                                {TARN_TX_PATH_1, TARN_RX_PATH_0},
                                {TARN_TX_PATH_1, TARN_RX_PATH_1}};

#define TRY(call)                                                                                  \
    do {                                                                                           \
        int code = (call);                                                                         \
        if (code != ERR_OK)                                                                        \
            return fprintf(stderr, "sweep_dump: %s returned %d\n", #call, code), 1;                \
    } while (0)

int main(int argc, char** argv) {
    if (argc != 4)
        return fprintf(stderr, "usage: %s <unit address> <port> <output>\n", argv[0]), 2;
    task_t* task = createTask();
    FILE* out = fopen(argv[3], "w");
    if (!task || !out)
        return perror("sweep_dump"), 1;
    TRY(setIPAddress(task, argv[1]));
    TRY(setIPPort(task, atoi(argv[2])));
    TRY(initialize(task, NULL, NULL));
    tarn_hardware_details_t unit = getHardwareDetails(task);
    TRY(setHopRate(task, HOP_15K));
    TRY(setEnabledReceivers(task, 0x3));
    TRY(utilGenerateLinearSweep(task, unit.minimumFrequency, unit.maximumFrequency, POINTS));
    for (int p = 0; p < 4; ++p)
        TRY(addPathToMeasure(task, paths[p][0], paths[p][1]));
    TRY(start(task));
    for (int sweep_number = 0; sweep_number < 2; ++sweep_number) {
        TRY(measure(task));
        for (int p = 0; p < 4; ++p) {
            double re[2][POINTS], im[2][POINTS];
            double* reals[2] = {re[0], re[1]};
            double* imags[2] = {im[0], im[1]};
            tarn_sweep_data_t data = {.real = reals, .imag = imags};
            TRY(extractSweepData(task, &data, paths[p][0], paths[p][1]));
            fprintf(out, "path %d frame %d packet %d\n", p, data.frameNumber, data.packetCounter);
            for (int r = 0; r < 2; ++r)
                for (int i = 0; i < POINTS; ++i)
                    fprintf(out, "%d %d %d %.17g %.17g\n", p, r, i, re[r][i], im[r][i]);
        }
    }
    TRY(stop(task));
    deleteTask(task);
    return fclose(out) == 0 ? 0 : 1;
}
