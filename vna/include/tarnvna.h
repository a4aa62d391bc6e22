/*
 * libtarnvna: companion of libtarndll for what goes beyond the driver's fixed interface:
 * texts for every result code, Touchstone 1.1 and CSV files, and servicing a unit (its PROM,
 * its calibration, the program a configuration would upload).
 *
 * libtarnvna carries its own private copy of the driver code, compiled from the same sources
 * in the same build as the libtarndll it ships with; install the two from one build. It never
 * looks inside a task_t: a tarnvna_unit_t is its own connection to a unit. Do not hold a
 * tarnvna_unit_t and a libtarndll task on the same local port at the same time (both bind it).
 *
 * Valid C99 and C++. Every function returns 0 (ERR_OK) or a negative Err_Code unless stated,
 * writes its out-parameters only on success, never throws and never prints. Frequencies are
 * MHz, except inside Touchstone files (Hz).
 */
#ifndef TARNVNA_H
#define TARNVNA_H

#include <stddef.h>

#include "tarndll.h"

#if defined(TARNVNA_BUILDING_LIBRARY)
#define TARNVNA_API __attribute__((visibility("default")))
#else
#define TARNVNA_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Result codes ---- */

/* "ERR_NO_RESPONSE", or "-31" / "-32" for the two unnamed codes, "unknown code" otherwise.
 * Static text; never free it. */
TARNVNA_API const char* tarnvna_error_name(int code);
/* What happened, in a few words ("the unit did not answer in time"). Static text. */
TARNVNA_API const char* tarnvna_error_text(int code);
/* What to do about it ("check the unit's address and port, its power and its cable").
 * Static text; empty for ERR_OK. */
TARNVNA_API const char* tarnvna_error_hint(int code);

/* ---- Networks: S-parameters of N ports at a set of frequencies ---- */

/* S(i,j) (1-based: the wave leaving port i per wave entering port j) at point k is
 * re[(k * ports + i - 1) * ports + j - 1] (and im likewise). Made by the caller for writing;
 * made by tarnvna_touchstone_read, then released with tarnvna_network_free. */
typedef struct tarnvna_network_t {
    unsigned int ports;
    unsigned int points;
    double* freq_mhz;
    double* re;
    double* im;
} tarnvna_network_t;

/* Writes a Touchstone 1.1 file: the comment lines (each line of `comment`, which may be null,
 * prefixed with "! "), the option line "# Hz S RI R 50", then the points in ascending
 * frequency (a downward sweep is reversed). Two ports in the order S11 S21 S12 S22; three or
 * more one matrix row after another, at most four pairs per line. ERR_INVALID_PARAMETER for 0
 * or more than 99 ports, no points, a missing array, a frequency that is not positive and
 * finite, or two points at one frequency; ERR_BYTES when the file cannot be written (errno
 * tells why); a partly written file is removed. */
TARNVNA_API int tarnvna_touchstone_write(const char* path, const tarnvna_network_t* network,
                                         const char* comment);
/* Reads a Touchstone 1.x file whose port count comes from the name (".s2p"); frequency units
 * Hz/kHz/MHz/GHz and the RI, MA and DB formats. Stops at the noise data of a two-port.
 * ERR_BYTES when the file cannot be read, ERR_INVALID_PARAMETER when it is malformed. */
TARNVNA_API int tarnvna_touchstone_read(const char* path, tarnvna_network_t* network);
/* Releases the arrays of a network filled by tarnvna_touchstone_read and zeroes it. */
TARNVNA_API void tarnvna_network_free(tarnvna_network_t* network);

/* ---- Tables: named complex columns at a set of frequencies (CSV) ---- */

/* Column c at point k is re[k * columns + c] (and im likewise). */
typedef struct tarnvna_table_t {
    unsigned int columns;
    unsigned int points;
    double* freq_mhz;
    char** names;
    double* re;
    double* im;
} tarnvna_table_t;

/* Writes CSV with a header row "freq_mhz,NAME_re,NAME_im,..." and one row per point in
 * ascending frequency, 17 significant digits. Names must be non-empty and free of commas,
 * quotes and line breaks. Errors as tarnvna_touchstone_write. */
TARNVNA_API int tarnvna_csv_write(const char* path, const tarnvna_table_t* table);
/* Reads what tarnvna_csv_write writes. Errors as tarnvna_touchstone_read. */
TARNVNA_API int tarnvna_csv_read(const char* path, tarnvna_table_t* table);
TARNVNA_API void tarnvna_table_free(tarnvna_table_t* table);

/* ---- PROM images ---- */

/* A unit's PROM image with its decoded description. Owned by the caller; release with
 * tarnvna_prom_free. */
typedef struct tarnvna_prom_t tarnvna_prom_t;

/* Loads an image file: raw bytes, or hexadecimal text (two digits per byte, white space
 * between bytes allowed), told apart by content. ERR_BYTES (unreadable, empty or over 64 KiB),
 * ERR_EMPTY_PROM (erased), ERR_BAD_PROM (does not decode to a valid unit description). */
TARNVNA_API int tarnvna_prom_load(const char* path, tarnvna_prom_t** prom);
/* Saves the image as hexadecimal text, 32 bytes per line. ERR_BYTES when it cannot be
 * written. */
TARNVNA_API int tarnvna_prom_save(const tarnvna_prom_t* prom, const char* path);
TARNVNA_API void tarnvna_prom_free(tarnvna_prom_t* prom);
/* The image's bytes (the prom's own; valid until it is changed or freed) and their count. */
TARNVNA_API const unsigned char* tarnvna_prom_bytes(const tarnvna_prom_t* prom, size_t* size);
/* The hardware details record libtarndll's getHardwareDetails gives for this description. */
TARNVNA_API int tarnvna_prom_details(const tarnvna_prom_t* prom, tarn_hardware_details_t* details);
/* The decoded description as text, every key present (json: one JSON object; otherwise
 * "name: value" lines). *text is the caller's; release it with tarnvna_free. */
TARNVNA_API int tarnvna_prom_describe(const tarnvna_prom_t* prom, int json, char** text);
/* Writes the calibration as CSV (25 columns). ERR_BAD_CAL when the description has none,
 * ERR_BYTES when the file cannot be written. */
TARNVNA_API int tarnvna_prom_export_cal(const tarnvna_prom_t* prom, const char* path);
/* Replaces the calibration with a CSV file's and re-encodes the image; the prom is untouched
 * on failure. ERR_BYTES (unreadable), ERR_BAD_CAL (malformed: `errors`, which may be null,
 * receives the first problem, cut to `errors_size`), ERR_TOO_MANY_POINTS (the image would not
 * fit the PROM). */
TARNVNA_API int tarnvna_prom_import_cal(tarnvna_prom_t* prom, const char* path, char* errors,
                                        size_t errors_size);

/* ---- Calibration: the 12-term error model ---- */

/* Error terms, in the column order of the calibration CSV: forward (port 1 driving) then
 * reverse (port 2 driving) directivity, source match, reflection tracking, isolation, load
 * match and transmission tracking. */
enum {
    TARNVNA_EDF,
    TARNVNA_ESF,
    TARNVNA_ERF,
    TARNVNA_EXF,
    TARNVNA_ELF,
    TARNVNA_ETF,
    TARNVNA_EDR,
    TARNVNA_ESR,
    TARNVNA_ERR,
    TARNVNA_EXR,
    TARNVNA_ELR,
    TARNVNA_ETR,
    TARNVNA_TERMS
};

/* Term t at point k is re[k * TARNVNA_TERMS + t] (and im likewise); frequencies strictly
 * ascending. Made by the caller, or by this library (then released with tarnvna_cal_free). */
typedef struct tarnvna_cal_t {
    unsigned int points;
    double* freq_mhz;
    double* re;
    double* im;
} tarnvna_cal_t;

/* tarnvna_cal_interpolate and tarnvna_cal_apply: beyond the table's ends use the end values
 * instead of failing. */
#define TARNVNA_CAL_EXTRAPOLATE 1

/* The table a PROM description carries. ERR_BAD_CAL when it has none or its frequencies are
 * not ascending. Release with tarnvna_cal_free. */
TARNVNA_API int tarnvna_prom_cal(const tarnvna_prom_t* prom, tarnvna_cal_t* cal);
/* Replaces the description's table and re-encodes the image (the prom is untouched on
 * failure). ERR_BAD_CAL for an invalid table, ERR_TOO_MANY_POINTS when the image would not fit
 * the PROM. Write the image to the unit with tarnvna_unit_write_prom. */
TARNVNA_API int tarnvna_prom_set_cal(tarnvna_prom_t* prom, const tarnvna_cal_t* cal);
/* The calibration CSV (25 columns, "Freq,EDFi,EDFq,..."). Write: ERR_BAD_CAL for an invalid
 * table, ERR_BYTES when the file cannot be written (an existing file is then kept). Read:
 * ERR_BYTES (unreadable), ERR_BAD_CAL (malformed or not ascending). */
TARNVNA_API int tarnvna_cal_write(const char* path, const tarnvna_cal_t* cal);
TARNVNA_API int tarnvna_cal_read(const char* path, tarnvna_cal_t* cal);
TARNVNA_API void tarnvna_cal_free(tarnvna_cal_t* cal);

/* Every term at `count` frequencies (any order), linear in the real and imaginary parts
 * between the table's points. ERR_FREQ_OUT_OF_BOUNDS for a frequency outside the table unless
 * flags hold TARNVNA_CAL_EXTRAPOLATE; ERR_BAD_CAL for an invalid table. *result is the
 * caller's (tarnvna_cal_free); its frequencies are the ones asked for, in their order, so it
 * is a table only when they ascend. */
TARNVNA_API int tarnvna_cal_interpolate(const tarnvna_cal_t* cal, const double* freq_mhz,
                                        unsigned int count, int flags, tarnvna_cal_t* result);

/* Corrects raw ratios: a two-port network (the four raw ratios, S11 S21 S12 S22 measured with
 * port 1 and then port 2 driving) with all twelve terms, a one-port (reflection only, port 1)
 * with the forward directivity, source match and reflection tracking. The terms are
 * interpolated to the network's frequencies (flags as tarnvna_cal_interpolate). *corrected is
 * the caller's (tarnvna_network_free). ERR_INVALID_PARAMETER for another port count, codes as
 * tarnvna_cal_interpolate, ERR_BAD_CAL when the terms make the correction singular (a zero
 * tracking term). */
TARNVNA_API int tarnvna_cal_apply(const tarnvna_cal_t* cal, int flags, const tarnvna_network_t* raw,
                                  tarnvna_network_t* corrected);

/* A coaxial standard by its usual coefficients: an offset line (delay, loss, impedance) ending
 * in an open (capacitance c0 + c1 f + c2 f^2 + c3 f^3, f in Hz), a short (inductance
 * l0 + l1 f + ...) or a load (resistance). */
enum { TARNVNA_STANDARD_OPEN, TARNVNA_STANDARD_SHORT, TARNVNA_STANDARD_LOAD };
typedef struct tarnvna_standard_t {
    int kind;
    double offset_delay_ps;
    double offset_loss_gohm_per_s;
    double offset_z0_ohm; /* 0 means 50 */
    double c[4];          /* 1e-15 F, 1e-27 F/Hz, 1e-36 F/Hz^2, 1e-45 F/Hz^3 */
    double l[4];          /* 1e-12 H, 1e-24 H/Hz, 1e-33 H/Hz^2, 1e-42 H/Hz^3 */
    double load_ohm;      /* 0 means 50 */
} tarnvna_standard_t;

/* The standard's reflection at `count` frequencies as a one-port network (the caller's,
 * tarnvna_network_free). ERR_INVALID_PARAMETER for an unknown kind, a negative value or a
 * frequency that is not positive and finite. */
TARNVNA_API int tarnvna_standard_model(const tarnvna_standard_t* standard, const double* freq_mhz,
                                       unsigned int count, tarnvna_network_t* model);

/* SOLT: the raw sweeps of the standards, all two-port networks of raw ratios at the same
 * frequencies: shorts, opens and loads on both ports (the loads' transmission ratios are the
 * isolation terms), and the thru between the ports. The models say what the standards are,
 * each null for the ideal one (short -1, open +1, load 0, a flush thru): one-port networks for
 * the reflection standards of each port, a two-port for the thru, at any frequencies that
 * cover the sweep's (interpolated, never extrapolated). */
typedef struct tarnvna_solt_t {
    const tarnvna_network_t* shorts;
    const tarnvna_network_t* opens;
    const tarnvna_network_t* loads;
    const tarnvna_network_t* thru;
    const tarnvna_network_t* short_model[2];
    const tarnvna_network_t* open_model[2];
    const tarnvna_network_t* load_model[2];
    const tarnvna_network_t* thru_model;
} tarnvna_solt_t;

/* The twelve terms at the sweep's frequencies, which must ascend. ERR_INVALID_PARAMETER for a
 * missing sweep, another port count or differing frequencies; ERR_FREQ_OUT_OF_BOUNDS when a
 * model does not cover the sweep; ERR_BAD_CAL when the standards do not determine the terms
 * (two standards that measure alike, a thru that transmits nothing). *cal is the caller's
 * (tarnvna_cal_free). */
TARNVNA_API int tarnvna_cal_solt(const tarnvna_solt_t* solt, tarnvna_cal_t* cal);

/* ---- The program a configuration would upload ---- */

/* A sweep configuration as the driver's setters take it. Frequencies: `frequency_count` values
 * from `frequencies`, or else a linear sweep of `points` from start_mhz to stop_mhz. Paths:
 * `path_count` pairs of Transmit_Path / Receive_Path values. gain TARN_GAIN_USE_DEFAULT and
 * attenuation ATTEN_UNDEFINED leave them unset. */
typedef struct tarnvna_sweep_config_t {
    const double* frequencies;
    unsigned int frequency_count;
    double start_mhz;
    double stop_mhz;
    unsigned int points;
    int hop_rate;
    int gain;
    int attenuation;
    unsigned char receivers;
    int program_type;
    unsigned int path_count;
    const int* tx;
    const int* rx;
} tarnvna_sweep_config_t;

/* The annotated listing of the program libtarndll's start() would generate for this
 * configuration on the unit the prom describes; nothing is sent anywhere. *listing is the
 * caller's (tarnvna_free). The setters' codes (ERR_BAD_HOP, ERR_FREQ_OUT_OF_BOUNDS,
 * ERR_BAD_PATH, ...), ERR_INVALID_PARAMETER for a value outside its enumeration,
 * ERR_PROG_OVERFLOW when the program does not fit the unit. */
TARNVNA_API int tarnvna_program_listing(const tarnvna_prom_t* prom,
                                        const tarnvna_sweep_config_t* config, char** listing);

/* ---- Servicing a unit over the network ---- */

typedef struct tarnvna_unit_t tarnvna_unit_t;

/* Binds the local port (1024..1279, the unit's own) and pings the unit. ERR_MISSING_IP,
 * ERR_BAD_IP_PORT, ERR_SOCKET, ERR_NO_RESPONSE. Release with tarnvna_unit_close. */
TARNVNA_API int tarnvna_unit_open(const char* address, int port, unsigned int timeout_ms,
                                  tarnvna_unit_t** unit);
TARNVNA_API void tarnvna_unit_close(tarnvna_unit_t* unit);
/* The firmware version the unit reports (0 when it did not say). */
TARNVNA_API int tarnvna_unit_firmware(tarnvna_unit_t* unit, int* version);
/* Reads the whole PROM image (the entry list's length decides how much). progress (may be
 * null) gets 0..100; false cancels (ERR_INTERRUPTED). ERR_EMPTY_PROM for an erased PROM,
 * ERR_BAD_PROM when the image does not decode to a valid description, transfer codes. */
TARNVNA_API int tarnvna_unit_read_prom(tarnvna_unit_t* unit, tarn_progress_fn progress, void* user,
                                       tarnvna_prom_t** prom);
/* Writes the image byte by byte from address 0, each verified; write-enable is always
 * switched off again. progress as above; cancelling leaves a partly written PROM
 * (ERR_INTERRUPTED). ERR_BAD_PROM when a byte does not verify, transfer codes. */
TARNVNA_API int tarnvna_unit_write_prom(tarnvna_unit_t* unit, const tarnvna_prom_t* prom,
                                        tarn_progress_fn progress, void* user);
/* Erases the whole PROM (its capacity as the unit's own description says, 32 KiB when it has
 * none). Results as tarnvna_unit_write_prom. */
TARNVNA_API int tarnvna_unit_erase_prom(tarnvna_unit_t* unit, tarn_progress_fn progress,
                                        void* user);

/* Releases text returned by this library. Null is ignored. */
TARNVNA_API void tarnvna_free(void* text);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TARNVNA_H */
