/*
 * basic_sweep: the shortest complete measurement with libtarndll.
 *
 *   basic_sweep <unit address> <port> [output.csv]
 *
 * Finds the unit, sweeps 101 points around the geometric centre of its frequency range on one
 * path (transmit port 0 -> receive port 1), prints every tenth point as raw I/Q counts and as
 * magnitude in dB, and optionally writes every point to a CSV file. The simulated unit
 * (scripts/lab) carries a band-pass filter between ports 0 and 1 at exactly that centre, so the
 * sweep shows its pass band and both skirts; with a real unit, put your device there or change
 * the sweep. Build: cc -std=c99 basic_sweep.c $(pkg-config --cflags --libs tarndll) -lm
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include <tarndll.h>

/* Every call returns an Err_Code; turn it into words for the user. */
static const char* describe(int code) {
    switch (code) {
    case ERR_OK:
        return "success";
    case ERR_BAD_HANDLE:
        return "invalid task handle";
    case ERR_BAD_ATTEN:
        return "attenuation not acceptable";
    case ERR_BAD_CAL:
        return "calibration data unusable";
    case ERR_BAD_HOP:
        return "hop rate not acceptable";
    case ERR_BAD_PATH:
        return "path not valid for the unit's switch board";
    case ERR_BAD_PROM:
        return "the unit's PROM failed validation";
    case ERR_BYTES:
        return "wrong number of bytes received, or a buffer is missing";
    case ERR_FREQ_OUT_OF_BOUNDS:
        return "frequency outside the unit's range";
    case ERR_INTERRUPTED:
        return "measurement interrupted";
    case ERR_NO_RESPONSE:
        return "the unit did not answer in time";
    case ERR_MISSING_IP:
        return "no IP address set";
    case ERR_MISSING_PORT:
        return "no port set";
    case ERR_MISSING_HOP:
        return "no hop rate set";
    case ERR_MISSING_ATTEN:
        return "no attenuation set";
    case ERR_MISSING_FREQS:
        return "no frequencies set";
    case ERR_PROG_OVERFLOW:
        return "the measurement program does not fit the unit";
    case ERR_SOCKET:
        return "socket error (is the port free?)";
    case ERR_TOO_MANY_POINTS:
        return "too many points";
    case ERR_WRONG_STATE:
        return "call not allowed in the task's current state";
    case ERR_EMPTY_PROM:
        return "the unit's PROM is empty";
    case ERR_PATH_ALREADY_MEASURED:
        return "path already added";
    case ERR_NO_PATHS_MEASURED:
        return "no path added";
    case ERR_NO_ATTEN_PRESENT:
        return "the unit has no switch-board attenuator";
    case ERR_WRONG_PROGRAM_TYPE:
        return "wrong measurement type for this call";
    case ERR_FEATURE_NOT_PRESENT:
        return "the unit lacks the feature";
    case ERR_UNKNOWN_FEATURE:
        return "unknown feature";
    case ERR_BAD_IP_PORT:
        return "port outside 1024..1279";
    case ERR_TASK_ARRAY_INVALID:
        return "these tasks cannot run as an array";
    case ERR_PATH_HAS_NO_DATA:
        return "no data for this path yet";
    case ERR_INVALID_PARAMETER:
        return "parameter out of range";
    case -31:
        return "the unit's switch-board description cannot serve this path";
    case -32:
        return "index beyond the list";
    default:
        return "unknown error";
    }
}

/* Reports a failed call and tells main() to clean up. */
static int failed(const char* call, int code) {
    if (code == ERR_OK)
        return 0;
    fprintf(stderr, "%s failed: %d (%s)\n", call, code, describe(code));
    return 1;
}

/* initialize() reports the PROM download once per byte, so the same percentage comes many
 * times; show each one once. Returning false would cancel the download. */
static bool show_progress(int percent, void* user) {
    int* last_shown = user;
    if (percent == *last_shown)
        return true;
    *last_shown = percent;
    fprintf(stderr, "\rreading the unit's PROM: %3d%%", percent);
    if (percent >= 100)
        fputc('\n', stderr);
    return true;
}

/* Magnitude of one sample relative to the ADC's full scale of 32768 counts. */
static double dbfs(double i, double q) {
    double magnitude = sqrt(i * i + q * q);
    return magnitude > 0 ? 20.0 * log10(magnitude / 32768.0) : -INFINITY;
}

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: %s <unit address> <port 1024-1279> [output.csv]\n", argv[0]);
        return 2;
    }
    const char* csv_path = argc > 3 ? argv[3] : NULL;
    enum { POINTS = 101 };
    double real0[POINTS], imag0[POINTS];
    int status = 1;

    task_t* task = createTask();
    if (!task) {
        fprintf(stderr, "out of memory\n");
        return 1;
    }

    /* 1. Where the unit is, then find it and read its description. */
    int last_percent = -1;
    if (failed("setIPAddress", setIPAddress(task, argv[1])) ||
        failed("setIPPort", setIPPort(task, atoi(argv[2]))) ||
        failed("initialize", initialize(task, show_progress, &last_percent)))
        goto cleanup;

    /* 2. A linear sweep from 0.75 to 1.25 times the geometric centre of the unit's range (MHz),
     *    kept inside the range. The library snaps the points to frequencies the synthesiser
     *    makes exactly. */
    tarn_hardware_details_t unit = getHardwareDetails(task);
    double centre = sqrt((double)unit.minimumFrequency * unit.maximumFrequency);
    double low = fmax(0.75 * centre, unit.minimumFrequency);
    double high = fmin(1.25 * centre, unit.maximumFrequency);
    if (failed("setHopRate", setHopRate(task, HOP_15K)) ||
        failed("utilGenerateLinearSweep", utilGenerateLinearSweep(task, low, high, POINTS)))
        goto cleanup;

    /* 3. What to measure: transmit on port 0, receive on port 1 (a unit without a switch
     *    board offers exactly this path). */
    if (failed("addPathToMeasure", addPathToMeasure(task, TARN_TX_PATH_0, TARN_RX_PATH_1)))
        goto cleanup;

    /* 4. Build and upload the measurement program, run one sweep, stop. */
    if (failed("start", start(task)))
        goto cleanup;
    int measured = measure(task);
    int stopped = stop(task);
    if (failed("measure", measured) || failed("stop", stopped))
        goto cleanup;

    /* 5. Copy the path's data into our arrays: one real and one imaginary array per enabled
     *    receiver (one receiver here). */
    double* reals[1] = {real0};
    double* imags[1] = {imag0};
    tarn_sweep_data_t sweep = {0};
    sweep.real = reals;
    sweep.imag = imags;
    if (failed("extractSweepData", extractSweepData(task, &sweep, TARN_TX_PATH_0, TARN_RX_PATH_1)))
        goto cleanup;

    double freqs[POINTS];
    int n = getNumberOfFrequencies(task);
    if (n != POINTS || failed("getFrequencies", getFrequencies(task, freqs, n)))
        goto cleanup;

    printf("%d points, %.3f to %.3f MHz, frame %d\n", n, freqs[0], freqs[n - 1], sweep.frameNumber);
    printf("  frequency (MHz)        I        Q   magnitude (dBFS)\n");
    for (int i = 0; i < n; i += 10)
        printf("  %15.4f %8.0f %8.0f %18.1f\n", freqs[i], real0[i], imag0[i],
               dbfs(real0[i], imag0[i]));

    if (csv_path) {
        FILE* out = fopen(csv_path, "w");
        if (!out) {
            perror(csv_path);
            goto cleanup;
        }
        fprintf(out, "frequency_mhz,i,q,magnitude_dbfs\n");
        for (int i = 0; i < n; ++i)
            fprintf(out, "%.6f,%.0f,%.0f,%.2f\n", freqs[i], real0[i], imag0[i],
                    dbfs(real0[i], imag0[i]));
        fclose(out);
        printf("wrote %s\n", csv_path);
    }
    status = 0;

cleanup:
    deleteTask(task);
    return status;
}
