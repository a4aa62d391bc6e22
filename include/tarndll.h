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

/* In C++ every enumeration is fixed to int, so any 32-bit value a C caller passes is a valid
 * value of its type (the library range-checks it, the compiler may not assume it). */
#ifdef __cplusplus
#define TARN_ENUM_BASE : int
namespace Orvek {
#else
#define TARN_ENUM_BASE
#endif

/* Result of almost every call: 0 is success, failures are negative. Two further results have
 * no name on purpose: -31 (the switch-board description cannot serve the path) and -32 (index
 * beyond the measured-path list). */
typedef enum Err_Code TARN_ENUM_BASE {
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
typedef enum Hop_Rate TARN_ENUM_BASE {
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
typedef enum Rx_Attenuation TARN_ENUM_BASE {
    ATTEN_UNDEFINED = -1,
    /* Eight steps a row. */
    /* clang-format off */
    ATTEN_0 = 0, ATTEN_1, ATTEN_2, ATTEN_3, ATTEN_4, ATTEN_5, ATTEN_6, ATTEN_7,
    ATTEN_8, ATTEN_9, ATTEN_10, ATTEN_11, ATTEN_12, ATTEN_13, ATTEN_14, ATTEN_15,
    ATTEN_16, ATTEN_17, ATTEN_18, ATTEN_19, ATTEN_20, ATTEN_21, ATTEN_22, ATTEN_23,
    ATTEN_24, ATTEN_25, ATTEN_26, ATTEN_27, ATTEN_28, ATTEN_29, ATTEN_30, ATTEN_31
    /* clang-format on */
} Rx_Attenuation;

/* Receiver IF gain: value n is 3n dB. */
typedef enum Rx_Gain TARN_ENUM_BASE {
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
typedef enum Transmit_Path TARN_ENUM_BASE {
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

typedef enum Receive_Path TARN_ENUM_BASE {
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
typedef enum SwitchBoard_Type TARN_ENUM_BASE {
    SWITCHBOARD_NO_SWITCH_BOARD = 0,
    SWITCHBOARD_SIMPLE_4_PORT_SWITCH = 1,
    SWITCHBOARD_TDD_4_PORT_SWITCH = 2,
    SWITCHBOARD_SIMPLE_8_PORT_SWITCH = 3,
    SWITCHBOARD_S_PARAMETER_SWITCH = 4
} SwitchBoard_Type;

/* Task states, in lifecycle order (checks compare them with < and >). */
typedef enum Task_State TARN_ENUM_BASE {
    TASK_UNINITIALIZED = 0,
    TASK_STOPPED = 1,
    TASK_STARTED = 2,
    TASK_RUNNING = 3
} Task_State;

typedef enum Sync_Pulse_Mode TARN_ENUM_BASE {
    SYNC_IGNORE = 2,
    SYNC_GENERATE = 3,
    SYNC_RECEIVE = 4
} Sync_Pulse_Mode;

/* PROG_SYNC: each measure() runs one sweep. PROG_ASYNC: sweeps run freely between
 * beginAsync() and haltAsync(). */
typedef enum Program_Type TARN_ENUM_BASE { PROG_SYNC = 2, PROG_ASYNC = 3 } Program_Type;

#ifdef __cplusplus
} /* namespace Orvek */
#define TARN_ENUM(type) Orvek::type
extern "C" {
#else
#define TARN_ENUM(type) type
#endif

/* Opaque handle of one measurement task bound to one unit. Made by createTask or
 * createSharedTask, released by deleteTask. A handle is used by one thread at a time; only
 * interruptMeasurement may come from a second thread. */
typedef struct task_t task_t;

/* What the unit's PROM declares, filled by getHardwareDetails. Frequencies in MHz. */
typedef struct tarn_hardware_details_t {
    int minimumFrequency;
    int maximumFrequency;
    int maximumNumberOfPoints;
    int promKey29;
    int bandBoundaries[8];
    int numberOfBandBoundaries;
    TARN_ENUM(SwitchBoard_Type) switchBoardType;
    bool hasShaftEncoder;
    bool hasSerialPort;
    bool hasSwitchboardAttenuator;
    bool hasMultipleReceivers;
    bool hasFeature7;
    bool hasFeature6;
} tarn_hardware_details_t;

/* One path's sweep, filled by extractSweepData. Every buffer belongs to the caller:
 * real[r] and imag[r] point to arrays of getNumberOfFrequencies() doubles for each enabled
 * receiver r (getnumberOfEnabledReceivers()), and serialData to at least the configured serial
 * buffer size. */
typedef struct tarn_sweep_data_t {
    double** real;
    double** imag;
    unsigned int shaftEncoder1; /* written only when the unit has shaft encoders */
    unsigned int shaftEncoder2;
    unsigned int serialByteCount; /* written only when the unit has a serial port and */
    unsigned char* serialData;    /* serialData is not null */
    unsigned int sweepTimer;      /* raw count, master clock / 256 */
    unsigned int reserved;        /* never written */
    double timestamp;             /* seconds since the sweep timer started */
    int tagB;                     /* tag B of the path's first data packet */
    int packetCounter;            /* counter of the path's first data packet */
    int frameNumber;              /* (packetCounter - 1) / paths + 1: packets per path */
} tarn_sweep_data_t;

/* Progress of the PROM download in initialize: percent done and the caller's pointer; return
 * false to cancel. */
typedef bool (*tarn_progress_fn)(int percent, void* user);

/* Rules for every function below:
 * - The handle comes first. When it, or the task inside it, is null, nothing happens and the
 *   function returns its "null result": -1 (ERR_BAD_HANDLE) unless stated.
 * - Results are Err_Code values unless stated. ERR_WRONG_STATE: the task's state does not allow
 *   the call; settings change only in TASK_UNINITIALIZED or TASK_STOPPED.
 * - Out-pointers belong to the caller and are written only on success. A null out-pointer gives
 *   ERR_BYTES ("a caller buffer missing") and writes nothing; a null handle still gives the
 *   null result first.
 * - Nothing the library returns is to be freed by the caller; returned texts and arrays stay
 *   valid as stated per function.
 * - C++ exceptions leave only where stated ("Throws"); a C caller must not let them happen (keep
 *   the values in range), since they cannot pass through C frames. */

/* "ORVEK tarndll 2.12, libtarn 1.8, libbytecode 2.10": static text, never free it. */
TARN_API extern const char* const version;
/* Returns the `version` pointer itself (static lifetime). */
TARN_API const char* versionString(void);

/* ---- Lifecycle ---- */

/* New task, TASK_UNINITIALIZED with the defaults; null when memory runs out. Release it with
 * deleteTask. */
TARN_API task_t* createTask(void);
/* New task with all defaults that shares the other task's UDP endpoint (unit arrays); address,
 * port and settings must be set on it as on any new task. Null when `other` or its task is
 * null. Release it with deleteTask; the endpoint lives until its last task is deleted. */
TARN_API task_t* createSharedTask(task_t* other);
/* Releases the task and the handle (the handle is invalid afterwards); sends nothing to the
 * unit. Null is ignored. */
TARN_API void deleteTask(task_t* task);

/* ---- Connection and state ---- */

/* Binds the task's endpoint, finds the unit, downloads and validates its PROM:
 * TASK_UNINITIALIZED -> TASK_STOPPED. `progress` may be null; it gets the percentage after
 * each PROM byte and `user`, and returning false cancels the download at once with
 * ERR_INTERRUPTED (the task keeps its earlier unit description, no closing 100).
 * ERR_WRONG_STATE, ERR_MISSING_IP, ERR_MISSING_PORT, ERR_SOCKET, ERR_NO_RESPONSE, ERR_BYTES,
 * ERR_EMPTY_PROM, ERR_BAD_PROM, ERR_INTERRUPTED. */
TARN_API int initialize(task_t* task, tarn_progress_fn progress, void* user);
/* Generates, uploads and starts the measurement program: TASK_STOPPED -> TASK_STARTED.
 * ERR_WRONG_STATE, ERR_MISSING_HOP, ERR_MISSING_FREQS, ERR_MISSING_IP, ERR_TOO_MANY_POINTS (a
 * serial buffer of 254 bytes: the unit's block register holds S + 2 in one byte, so at most
 * 253 can be measured), ERR_PROG_OVERFLOW, ERR_SOCKET, ERR_NO_RESPONSE, ERR_BYTES. Throws
 * std::runtime_error for a hop rate or sync-pulse mode outside its enumeration, and for a
 * frequency whose band the control-register builder cannot express (the task stays
 * TASK_STOPPED). */
TARN_API int start(task_t* task);
/* Halts the unit; the task is TASK_STOPPED even when the unit does not answer
 * (ERR_NO_RESPONSE). ERR_WRONG_STATE unless started or running. The last sweep's results stay
 * readable. */
TARN_API int stop(task_t* task);
/* The unit's IPv4 address; the text is copied. Returns the task to TASK_UNINITIALIZED.
 * ERR_WRONG_STATE, ERR_MISSING_IP (null text). */
TARN_API int setIPAddress(task_t* task, const char* address);
/* UDP port 1024..1279 (ERR_BAD_IP_PORT otherwise), used locally and on the unit. Returns the
 * task to TASK_UNINITIALIZED. ERR_WRONG_STATE. */
TARN_API int setIPPort(task_t* task, int port);
/* Reply time-out in milliseconds (default 100); allowed in every state. */
TARN_API int setTimeout(task_t* task, unsigned int milliseconds);
/* Task_State; TASK_UNINITIALIZED for a null handle. */
TARN_API int getState(task_t* task);
/* Milliseconds; 0 for a null handle. */
TARN_API unsigned int getTimeout(task_t* task);
/* The task's own copy, valid until the next setIPAddress or deleteTask (do not free); null
 * when unset or for a null handle. */
TARN_API const char* getIPAddress(task_t* task);
/* 0 for a null handle. */
TARN_API int getIPPort(task_t* task);
/* Sends the halt command up to `attempts` times until the unit answers with its prompt; any
 * state (it halts a running program). ERR_MISSING_IP, ERR_MISSING_PORT, ERR_SOCKET,
 * ERR_NO_RESPONSE. */
TARN_API int utilPingUnit(task_t* task, int attempts);
/* Three direct register commands that put the unit into its low-power state; allowed in
 * TASK_STOPPED and TASK_STARTED (ERR_WRONG_STATE otherwise). ERR_BYTES when the unit's
 * read-back is not exact. */
TARN_API int utilEnterLowPowerState(task_t* task);
/* The unit's description, by value; all zero before initialize. With a null handle only the
 * first thirteen fields are written (zero). Throws Orvek::InvalidPromException (a
 * std::runtime_error) when the unit's PROM names an unknown switch-board type. */
TARN_API tarn_hardware_details_t getHardwareDetails(task_t* task);

/* ---- Sweep setup ---- */

/* Stored as given; a value outside Hop_Rate makes start() throw. ERR_WRONG_STATE. */
TARN_API int setHopRate(task_t* task, TARN_ENUM(Hop_Rate) rate);
/* HOP_UNDEFINED for a null handle. */
TARN_API TARN_ENUM(Hop_Rate) getHopRate(task_t* task);
/* Frequencies in MHz, each snapped to the nearest one the synthesiser makes exactly.
 * TASK_STOPPED only (ERR_WRONG_STATE). ERR_TOO_MANY_POINTS, ERR_FREQ_OUT_OF_BOUNDS,
 * ERR_MISSING_FREQS (null array with a count); the old list stays on failure. A new list
 * clears the sweep results. */
TARN_API int setFrequencies(task_t* task, const double* frequencies, unsigned int count);
/* 0 for a null handle. */
TARN_API int getNumberOfFrequencies(task_t* task);
/* Copies all N stored frequencies (MHz) into `out`, which must hold N doubles (n is the count
 * the caller expects); ERR_TOO_MANY_POINTS without writing when N < n. */
TARN_API int getFrequencies(task_t* task, double* out, int n);
/* Snaps *frequency (MHz) in place to the nearest synthesisable frequency. Not in
 * TASK_UNINITIALIZED (ERR_WRONG_STATE). ERR_FREQ_OUT_OF_BOUNDS (unchanged). */
TARN_API int utilNearestLegalFreq(task_t* task, double* frequency);
/* Adjusts the ends of a linear sweep (MHz) so that ends and step are whole synthesiser steps.
 * Not in TASK_UNINITIALIZED. ERR_FREQ_OUT_OF_BOUNDS, ERR_TOO_MANY_POINTS. */
TARN_API int utilFixLinearSweepLimits(task_t* task, double* startMHz, double* stopMHz,
                                      unsigned int points);
/* Sets a linear sweep from start to stop (MHz, downwards when start > stop); TASK_STOPPED
 * only. A count of 0 or 1 changes nothing. Codes as setFrequencies. */
TARN_API int utilGenerateLinearSweep(task_t* task, double startMHz, double stopMHz,
                                     unsigned int points);
/* Seconds per frame (all paths of one sweep) of the started program; -1.0 when not started or
 * for a null handle. */
TARN_API double getPreciseTimePerFrame(task_t* task);
/* A band (MHz, both ends inclusive) in which the transmitter is off while the points are
 * still stepped through. TASK_STOPPED only. ERR_INVALID_PARAMETER unless 0 < low < high. */
TARN_API int addExclusionBand(task_t* task, double lowMHz, double highMHz);
/* TASK_STOPPED only. */
TARN_API int clearExclusionBands(task_t* task);
/* TASK_STOPPED only. */
TARN_API int getExclusionBandCount(task_t* task, int* count);
/* TASK_STOPPED only; -32 when index is out of range. */
TARN_API int getExclusionBand(task_t* task, int index, double* lowMHz, double* highMHz);
/* PROG_SYNC or PROG_ASYNC (ERR_WRONG_PROGRAM_TYPE otherwise). ERR_WRONG_STATE. Null result:
 * 0. */
TARN_API int setMeasurementType(task_t* task, TARN_ENUM(Program_Type) type);
/* PROG_SYNC for a null handle. */
TARN_API TARN_ENUM(Program_Type) getMeasurementType(task_t* task);
/* Stored as given; a value outside Sync_Pulse_Mode makes start() throw. ERR_WRONG_STATE.
 * Null result ERR_BAD_HANDLE. */
TARN_API int setSyncPulseMode(task_t* task, TARN_ENUM(Sync_Pulse_Mode) mode);
/* Null result ERR_BAD_HANDLE. */
TARN_API int getSyncPulseMode(task_t* task, TARN_ENUM(Sync_Pulse_Mode) * mode);

/* ---- Paths and measurement (null result ERR_BAD_HANDLE unless stated) ---- */

/* Adds a (transmit, receive) combination; sweeps measure paths in the order added. Changing
 * the list clears the sweep results. ERR_WRONG_STATE, ERR_BAD_PATH, ERR_PATH_ALREADY_MEASURED,
 * ERR_FEATURE_NOT_PRESENT, -31 (the unit's switch-board description cannot serve it); each
 * refused path also writes a line to standard error. */
TARN_API int addPathToMeasure(task_t* task, TARN_ENUM(Transmit_Path) tx,
                              TARN_ENUM(Receive_Path) rx);
/* Sets the non-null ones of *tx and *rx to -1 first (even for a null handle) and leaves them
 * there. ERR_WRONG_STATE, -32 when the index is beyond the list. Throws std::out_of_range for
 * an index equal to the count. */
TARN_API int getPathAtIndex(task_t* task, int index, TARN_ENUM(Transmit_Path) * tx,
                            TARN_ENUM(Receive_Path) * rx);
/* Not while started or running (ERR_WRONG_STATE). */
TARN_API int getMeasuredPathCount(task_t* task, int* count);
/* Not while started or running; clears the sweep results. */
TARN_API int clearMeasuredPaths(task_t* task);
/* One sweep (PROG_SYNC, TASK_STARTED) or the next free-running sweep (PROG_ASYNC,
 * TASK_RUNNING). Every packet is checked against the program (counters, tags, path order)
 * before it is decoded: a sweep that is not whole fails and leaves no results.
 * ERR_WRONG_STATE, ERR_WRONG_PROGRAM_TYPE, ERR_NO_PATHS_MEASURED, ERR_NO_RESPONSE (the unit
 * fell silent), ERR_BYTES (a packet lost, cut or out of place), ERR_INTERRUPTED, ERR_SOCKET.
 * After a failure the next call recovers by itself: it halts and re-points the unit (free
 * running: skips to the next whole sweep), and after a silence it uploads and starts the
 * program again, since the unit may have restarted. */
TARN_API int measure(task_t* task);
/* PROG_ASYNC only (ERR_WRONG_PROGRAM_TYPE): starts free-running sweeps, TASK_STARTED ->
 * TASK_RUNNING. ERR_WRONG_STATE, ERR_SOCKET. */
TARN_API int beginAsync(task_t* task);
/* Halts free-running sweeps and returns the result of re-pointing the program; check
 * getState: the task stays TASK_RUNNING if the unit did not answer. ERR_WRONG_STATE. */
TARN_API int haltAsync(task_t* task);
/* From a second thread: ends a blocked synchronous measure (TASK_STARTED only, else
 * ERR_WRONG_STATE), which then returns ERR_INTERRUPTED. Null result -1. */
TARN_API int interruptMeasurement(task_t* task);
/* Copies the last sweep of one path into the caller's buffers (see tarn_sweep_data_t); any
 * state. frameNumber is (packetCounter - 1) / number of paths + 1: with several packets per
 * path it counts packets per path, not sweeps. ERR_NO_PATHS_MEASURED, ERR_BAD_PATH,
 * ERR_PATH_HAS_NO_DATA (no sweep since the paths, frequencies or receivers changed, or the
 * last one failed), ERR_BYTES (the record or a receiver's array missing; what was copied
 * before stays), ERR_FEATURE_NOT_PRESENT, -31. */
TARN_API int extractSweepData(task_t* task, tarn_sweep_data_t* data, TARN_ENUM(Transmit_Path) tx,
                              TARN_ENUM(Receive_Path) rx);

/* ---- Optional features (null result ERR_BAD_HANDLE unless stated) ---- */

/* Enables the shaft encoders (their count resets at start). ERR_WRONG_STATE,
 * ERR_FEATURE_NOT_PRESENT. Null result: 0. */
TARN_API int setShaftEncoderFeature(task_t* task, bool enable);
/* Whether the unit has shaft encoders. */
TARN_API int isShaftEncoderPresent(task_t* task, bool* present);
/* Serial bytes returned with each sweep. ERR_WRONG_STATE, ERR_FEATURE_NOT_PRESENT,
 * ERR_TOO_MANY_POINTS above 254 bytes (checked also when disabling); 254 is accepted here but
 * refused by start(), so use at most 253. Null result: 0. */
TARN_API int setSerialPortFeature(task_t* task, bool enable, unsigned int bufferSize);
/* Whether the unit has a serial port. */
TARN_API int isSerialPortPresent(task_t* task, bool* present);
/* Whether each sweep carries the unit's sweep timer (timestamp); any state. */
TARN_API int setSendSweepTimer(task_t* task, bool enable);
TARN_API int getSendSweepTimer(task_t* task, bool* enabled);
/* Whether start() resets the unit's packet counter (and with it the frame number); any
 * state. */
TARN_API int setResetFrameCounterOnStart(task_t* task, bool enable);
TARN_API int getResetFrameCounterOnStart(task_t* task, bool* enabled);
/* Bit mask of receivers 0..3; anything but 1 needs the multiple-receiver feature
 * (ERR_FEATURE_NOT_PRESENT). ERR_WRONG_STATE. Clears the sweep results. */
TARN_API int setEnabledReceivers(task_t* task, unsigned char mask);
TARN_API int getEnabledReceivers(task_t* task, unsigned char* mask);
/* Receivers a sweep carries: the set bits among 0..3, at least 1. */
TARN_API int getnumberOfEnabledReceivers(task_t* task, int* count);
/* IF gain, 3 dB per step; TARN_GAIN_USE_DEFAULT programs 0. Stored as given: a value outside
 * Rx_Gain programs its low byte. ERR_WRONG_STATE. */
TARN_API int setIfGain(task_t* task, TARN_ENUM(Rx_Gain) gain);
/* Any state. */
TARN_API int setReceiver12dBPad(task_t* task, bool enable);
TARN_API int getReceiver12dBPad(task_t* task, bool* enabled);
/* TDD switch-board timing: five flags (TDD, nulling, slave, power amplifier, LNA; non-zero
 * is on), an extra value (non-zero switches the attenuator bit on), the attenuator value and
 * six timing values (each at most 255, else ERR_INVALID_PARAMETER). ERR_WRONG_STATE,
 * ERR_FEATURE_NOT_PRESENT without the TDD board (also when disabling). Null result -1. Throws
 * Orvek::InvalidPromException when the unit's PROM names an unknown switch-board type. */
TARN_API int configureTddSettings(task_t* task, bool enable, unsigned char flag1,
                                  unsigned char flag2, unsigned char flag3, unsigned char flag4,
                                  unsigned char flag5, unsigned char extra,
                                  unsigned short attenuator, unsigned int t1, unsigned int t2,
                                  unsigned int t3, unsigned int t4, unsigned int t5,
                                  unsigned int t6);

/* ---- Unit arrays (null result -1 if any element is null; a null array with a count gives
 * ERR_BYTES) ---- */

/* Checks that the tasks deliver sweeps of the same shape (paths, points, point times; the
 * first task's program must be built). ERR_TASK_ARRAY_INVALID with a line on standard error. */
TARN_API int validateArrayTasks(task_t** tasks, unsigned int count);
/* Sets every task TASK_RUNNING (a task not TASK_STARTED stops the walk with ERR_WRONG_STATE,
 * the earlier ones stay TASK_RUNNING) and broadcasts the begin command to 192.168.1.255 port
 * 1024. ERR_TASK_ARRAY_INVALID (empty), ERR_SOCKET. */
TARN_API int broadcastBeginCommand(task_t** tasks, unsigned int count);

#ifdef __cplusplus
} /* extern "C" */

/* C++-only overloads, exported under their mangled names. */

/* The task's own frequency list (MHz), valid until the next setFrequencies or deleteTask (do
 * not free); null for a null handle or before the first list. */
TARN_API const double* getFrequencies(task_t* task);
/* Serial-port presence and buffer size (all bits set when the unit has no serial port).
 * Null result: 0; ERR_BYTES when either pointer is null. */
TARN_API int getSerialPortFeature(task_t* task, bool* present, unsigned int* bufferSize);
/* Writes the gain (ERR_BYTES when `gain` is null); `unused` is never touched and may be null.
 * Null result ERR_BAD_HANDLE. */
TARN_API int getIfGain(task_t* task, int* gain, bool* unused);
#endif

#endif /* TARNDLL_H */
