/*
 * libtarndll: host-side driver of the TARN RF vector measurement unit.
 *
 * Every value that crosses this interface is a 32-bit signed integer from one of the
 * enumerations below. Each enumerator is also exported from the shared library as a read-only
 * `const int` under its plain name, so that callers without this header (dlsym, foreign
 * function interfaces) read the same values at run time.
 *
 * The header is valid C99 and C++. In C++ the enumerations live in namespace Orvek.
 */
#ifndef TARNDLL_H
#define TARNDLL_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#if defined(TARN_BUILDING_LIBRARY)
#define TARN_API __attribute__((visibility("default")))
#else
#define TARN_API
#endif

#ifdef __cplusplus
namespace Orvek {
#endif

/* Result of almost every call: 0 is success, failures are negative. Two further results have
 * no name on purpose: -31 (the switch-board description cannot serve the path) and -32 (index
 * beyond the measured-path list). */
typedef enum Err_Code {
    ERR_OK = 0,
    ERR_BAD_HANDLE = -1,
    ERR_BAD_ATTEN = -2,
    ERR_BAD_CAL = -3,
    ERR_BAD_HOP = -4,
    ERR_BAD_PATH = -5,
    ERR_BAD_PROM = -6,
    ERR_BYTES = -7,
    ERR_FREQ_OUT_OF_BOUNDS = -8,
    ERR_INTERRUPTED = -9,
    ERR_NO_RESPONSE = -10,
    ERR_MISSING_IP = -11,
    ERR_MISSING_PORT = -12,
    ERR_MISSING_HOP = -13,
    ERR_MISSING_ATTEN = -14,
    ERR_MISSING_FREQS = -15,
    ERR_PROG_OVERFLOW = -16,
    ERR_SOCKET = -17,
    ERR_TOO_MANY_POINTS = -18,
    ERR_WRONG_STATE = -19,
    ERR_EMPTY_PROM = -20,
    ERR_PATH_ALREADY_MEASURED = -21,
    ERR_NO_PATHS_MEASURED = -22,
    ERR_NO_ATTEN_PRESENT = -23,
    ERR_WRONG_PROGRAM_TYPE = -24,
    ERR_FEATURE_NOT_PRESENT = -25,
    ERR_UNKNOWN_FEATURE = -26,
    ERR_BAD_IP_PORT = -27,
    ERR_TASK_ARRAY_INVALID = -28,
    ERR_PATH_HAS_NO_DATA = -29,
    ERR_INVALID_PARAMETER = -30
} Err_Code;

/* Point rate of a sweep; a smaller value hops faster. */
typedef enum Hop_Rate {
    HOP_UNDEFINED = -1,
    HOP_90K = 0,
    HOP_45K = 1,
    HOP_30K = 2,
    HOP_15K = 3,
    HOP_7K = 4,
    HOP_3K = 5,
    HOP_2K = 6,
    HOP_1K = 7,
    HOP_550 = 8,
    HOP_312 = 9,
    HOP_156 = 10,
    HOP_78 = 11,
    HOP_39 = 12,
    HOP_20 = 13
} Hop_Rate;

/* Switch-board step attenuator setting; the value is the attenuation in whole dB. */
typedef enum Rx_Attenuation {
    ATTEN_UNDEFINED = -1,
    ATTEN_0 = 0, ATTEN_1, ATTEN_2, ATTEN_3, ATTEN_4, ATTEN_5, ATTEN_6, ATTEN_7,
    ATTEN_8, ATTEN_9, ATTEN_10, ATTEN_11, ATTEN_12, ATTEN_13, ATTEN_14, ATTEN_15,
    ATTEN_16, ATTEN_17, ATTEN_18, ATTEN_19, ATTEN_20, ATTEN_21, ATTEN_22, ATTEN_23,
    ATTEN_24, ATTEN_25, ATTEN_26, ATTEN_27, ATTEN_28, ATTEN_29, ATTEN_30, ATTEN_31
} Rx_Attenuation;

/* Receiver IF gain: value n is 3n dB. */
typedef enum Rx_Gain {
    TARN_GAIN_USE_DEFAULT = -1,
    TARN_GAIN_0 = 0,
    TARN_GAIN_3 = 1,
    TARN_GAIN_6 = 2,
    TARN_GAIN_9 = 3,
    TARN_GAIN_12 = 4,
    TARN_GAIN_15 = 5,
    TARN_GAIN_18 = 6,
    TARN_GAIN_21 = 7,
    TARN_GAIN_24 = 8,
    TARN_GAIN_27 = 9,
    TARN_GAIN_30 = 10,
    TARN_GAIN_33 = 11,
    TARN_GAIN_36 = 12,
    TARN_GAIN_39 = 13,
    TARN_GAIN_42 = 14,
    TARN_GAIN_45 = 15
} Rx_Gain;

/* Path values are the switch-control bit patterns: front-panel port n written as a 3-bit number
 * with bits 0 and 2 swapped, in bits 6..4 for transmit and bits 2..0 for receive. */
typedef enum Transmit_Path {
    TARN_TX_PATH_NONE = -1,
    TARN_TX_PATH_0 = 0x00,
    TARN_TX_PATH_1 = 0x40,
    TARN_TX_PATH_2 = 0x20,
    TARN_TX_PATH_3 = 0x60,
    TARN_TX_PATH_4 = 0x10,
    TARN_TX_PATH_5 = 0x50,
    TARN_TX_PATH_6 = 0x30,
    TARN_TX_PATH_7 = 0x70
} Transmit_Path;

typedef enum Receive_Path {
    TARN_RX_PATH_NONE = -1,
    TARN_RX_PATH_0 = 0,
    TARN_RX_PATH_1 = 4,
    TARN_RX_PATH_2 = 2,
    TARN_RX_PATH_3 = 6,
    TARN_RX_PATH_4 = 1,
    TARN_RX_PATH_5 = 5,
    TARN_RX_PATH_6 = 3,
    TARN_RX_PATH_7 = 7
} Receive_Path;

/* Kind of switch board fitted to the unit, as its PROM declares it. */
typedef enum SwitchBoard_Type {
    SWITCHBOARD_NO_SWITCH_BOARD = 0,
    SWITCHBOARD_SIMPLE_4_PORT_SWITCH = 1,
    SWITCHBOARD_TDD_4_PORT_SWITCH = 2,
    SWITCHBOARD_SIMPLE_8_PORT_SWITCH = 3,
    SWITCHBOARD_S_PARAMETER_SWITCH = 4
} SwitchBoard_Type;

/* Task states, in lifecycle order (checks compare them with < and >). */
typedef enum Task_State {
    TASK_UNINITIALIZED = 0,
    TASK_STOPPED = 1,
    TASK_STARTED = 2,
    TASK_RUNNING = 3
} Task_State;

typedef enum Sync_Pulse_Mode {
    SYNC_IGNORE = 2,
    SYNC_GENERATE = 3,
    SYNC_RECEIVE = 4
} Sync_Pulse_Mode;

/* PROG_SYNC: each measure() runs one sweep. PROG_ASYNC: sweeps run freely between
 * beginAsync() and haltAsync(). */
typedef enum Program_Type {
    PROG_SYNC = 2,
    PROG_ASYNC = 3
} Program_Type;

#ifdef __cplusplus
} /* namespace Orvek */
extern "C" {
#endif

/* "ORVEK tarndll 2.12, libtarn 1.8, libbytecode 2.10": static text, never free it. */
TARN_API extern const char* const version;

/* Returns the `version` pointer itself. */
TARN_API const char* versionString(void);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TARNDLL_H */
