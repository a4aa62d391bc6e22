#pragma once
// One measurement context bound to one TARN unit: connection, sweep and feature settings, the
// unit description read from its PROM, the generated device program, the measured-path list and
// the last sweep's results, with the state machine that decides which call is allowed when.
//
// Every operation returns an Err_Code (0 success, negative failure) unless noted. Settings only
// change while the task is TASK_UNINITIALIZED or TASK_STOPPED; otherwise ERR_WRONG_STATE.
// A task is used by one thread at a time; only interruptMeasurement() may come from another.
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/entry_point.h"
#include "core/tdd_configuration.h"
#include "program/program_source.h"
#include "prom/feature_flags.h"
#include "prom/prom_parameters.h"
#include "tarndll.h"
#include "task/exclusion_band.h"

namespace Orvek {

class Transport;
class SwitchBoardState;
struct SweepData;

// What starts a sweep. Only TRIGGER_SOFTWARE makes the host send the begin command itself;
// with any other value the sweep waits for its trigger source. Not exported.
enum Trigger_Type : int32_t {
    TRIGGER_EXTERNAL = 1,
    TRIGGER_SOFTWARE = 2,
};

// The task's state record: every setting and result, with the defaults of a new task.
struct TaskState {
    // Read by interruptMeasurement() from another thread.
    std::atomic<Task_State> state{TASK_UNINITIALIZED};
    std::unique_ptr<char[]> ipAddress; // null until setIPAddress
    int port = 0;
    unsigned int timeout = 100; // milliseconds, for every command exchange with the unit
    std::shared_ptr<Transport> socketManager; // the UDP endpoint, shared by an array's tasks
    Hop_Rate hopRate = HOP_UNDEFINED;
    Rx_Attenuation switchboardAttenuation = ATTEN_UNDEFINED;
    Rx_Gain receiverGain = TARN_GAIN_USE_DEFAULT;
    bool receiver12dBPad = false;
    bool shaftEncodersEnabled = false;
    bool resetShaftEncodersOnStart = false;
    bool digitalOutEnabled = false;
    bool digitalOutValue = false;
    unsigned int serialBufferSize = 0; // bytes; 0 = serial port not used
    bool tddEnabled = false;
    TDDConfiguration tddConfiguration;
    // What the program preamble last wrote to TDD register 00, and its readable form.
    int tddFlagsWord = 0;
    std::string tddDescription;
    bool txPowerAmpOn = true;
    bool rxPowerAmpOn = true;
    bool txRFSwitchOn = true;
    bool suppressFrequencyData = false;
    std::unique_ptr<double[]> frequencies; // MHz, exactly synthesisable values
    unsigned int numberOfFrequencies = 0;
    bool frequencyOffsetEnabled = false;
    bool resetFrameCounterOnStart = false;
    bool sendSweepTimer = false;
    unsigned int frequencyOffsetCounts = 0; // units of 256 DDS tuning-word steps
    std::vector<std::shared_ptr<SwitchBoardState>> measuredPaths;
    int enabledReceivers = 1; // bit mask, receivers 0..3
    Program_Type measurementType = PROG_SYNC;
    Trigger_Type sweepTriggerType = TRIGGER_SOFTWARE;
    Sync_Pulse_Mode syncPulseMode = SYNC_IGNORE;
    PromParameters promParameters;
    CompiledProgram compiledProgram;
    std::string startupLabel = "startup";
    std::string mainLabel = "jumptable start";
    std::string freqsLabel = "freqs";
    // Products of program generation, kept until the next build.
    EntryPoint startupEntryPoint;
    EntryPoint mainEntryPoint;
    std::vector<int> packetSizes; // bytes of each data packet of one pass over the points
    int pointCountPerFrame = 0;   // timed points of one pass (pass length); 0 = not built
    int generationField1 = 0;     // fixed values written by the generator (1 and 1000),
    int generationField2 = 0;     // consumed by the measurement cycle
    int packetsPerSweep = 0;      // measured paths x packets per pass
    double sweepTimeMs = 0.0;     // program time of one sweep over all paths
    std::vector<ExclusionBand> exclusionBands; // in insertion order, never merged
    std::vector<SweepData> sweepResults;       // one per measured path, in list order
};

class TarnTask {
public:
    // Measurement internals (program generation, measurement cycle, packet decoding).
    class TaskHelpers;
    friend class TaskHelpers;
    // Unit tests reach the state record through this (defined only in tests).
    friend struct TarnTaskTestAccess;
    // The companion library (its own copy of these sources) reaches its own tasks through this.
    friend struct TarnTaskToolAccess;

    // A new task: TASK_UNINITIALIZED, no address, port 0, its own unbound socket manager.
    TarnTask();
    // A fresh task (all defaults) that shares `other`'s socket manager, so several units can be
    // driven through one local UDP port. Nothing else is copied.
    TarnTask(TarnTask& other);
    TarnTask& operator=(const TarnTask&) = delete;
    // Releases everything; sends nothing to the unit.
    virtual ~TarnTask();

    // --- Connection and initialisation ---
    // Stores a private copy of the text (no syntax check); the task becomes uninitialised.
    // ERR_WRONG_STATE while started/running, ERR_MISSING_IP for null.
    Err_Code setIPAddress(const char* address);
    // Port 1024..1279, used locally and at the unit; the task becomes uninitialised.
    // ERR_WRONG_STATE, ERR_BAD_IP_PORT.
    Err_Code setIPPort(int port);
    Err_Code setTimeout(unsigned int milliseconds); // any state
    unsigned int getTimeout();
    Task_State getState();
    const char* getIPAddress(); // the task's own copy, or null
    int getIPPort();
    // Binds the endpoint, addresses the unit and runs the halt exchange up to `attempts` times.
    // ERR_MISSING_IP, ERR_MISSING_PORT, socket codes, ERR_NO_RESPONSE. Any state; it halts a
    // running program on the unit.
    Err_Code utilPingUnit(int attempts);
    // TASK_UNINITIALIZED -> TASK_STOPPED: bind, ping, download and validate the PROM, derive the
    // time base. `progress` (may be null) gets 0..100 and the user pointer; false cancels the
    // download. ERR_WRONG_STATE, ERR_MISSING_IP, ERR_MISSING_PORT, socket codes,
    // ERR_NO_RESPONSE, ERR_EMPTY_PROM, ERR_BAD_PROM, download codes.
    Err_Code initialize(bool (*progress)(int, void*), void* user);
    // The task's own unit parameters (reset values before the first download); never null.
    PromParameters* getHardwareDetails();

    // --- Plain settings (no checks, always ERR_OK) ---
    Err_Code setReceiver12dBPadEnabled(bool enabled);
    bool getReceiver12dBPadEnabled();
    Err_Code setResetFrameCounterOnStart(bool reset);
    bool getResetFrameCounterOnStart();
    Err_Code setSendSweepTimer(bool send);
    bool getSendSweepTimer();

    // --- Getters ---
    Hop_Rate getHopRate();
    Rx_Gain getReceiverGain();
    int getEnabledReceivers();
    // Set bits among the four low bits of the mask; a mask without any counts as one receiver.
    int getnumberOfEnabledReceivers();
    Program_Type getMeasurementType();
    Trigger_Type getSweepTriggerType();
    Sync_Pulse_Mode getSyncPulseMode();
    bool isShaftEncoderEnabled();
    bool isShaftEncoderResetOnStartEnabled();
    bool isDigitalOutEnabled();
    bool digitalOutValue();
    bool getTXPowerAmpState();
    bool getRXPowerAmpState();
    bool getTXRFSwitchState();
    bool getSuppressFrequencyDataSetting();
    bool isTDDEnabled();
    TDDConfiguration getTDDConfiguration();
    bool isSerialPortEnabled();
    // (unsigned)-1 when the unit has no serial port, else the configured size.
    unsigned int getSerialPortBufferSize();
    bool isSwitchboardAttenuationEnabled();
    Rx_Attenuation getSwitchboardAttenuation();
    // Whether the unit declares the feature. Throws the value ERR_UNKNOWN_FEATURE for a feature
    // without a flag bit, and InvalidPromException for retired or unknown feature values.
    bool getFeaturePresent(Hardware_Features feature);

    // --- Checked settings (ERR_WRONG_STATE unless not started, then as listed) ---
    Err_Code setHopRate(Hop_Rate rate);
    Err_Code setReceiverGain(Rx_Gain gain);
    Err_Code setEnabledReceivers(unsigned char mask); // ERR_FEATURE_NOT_PRESENT
    Err_Code configureShaftEncodersFeature(bool enable,
                                           bool resetOnStart); // ERR_FEATURE_NOT_PRESENT
    // Size at most 254 bytes (checked even when disabling). ERR_FEATURE_NOT_PRESENT,
    // ERR_TOO_MANY_POINTS.
    Err_Code configureSerialPortFeature(bool enable, unsigned int size);
    Err_Code configureSwitchboardAttenuationFeature(bool enable, Rx_Attenuation attenuation);
    // Needs the TDD switch board (also to disable); every timing and the attenuator value at most
    // 255. ERR_FEATURE_NOT_PRESENT, ERR_INVALID_PARAMETER. A switch-board value the library does
    // not know throws InvalidPromException.
    Err_Code configureTDDFeature(bool enable, TDDConfiguration configuration);
    Err_Code configureDigitalOutFeature(bool enable, bool value);
    Err_Code configureTXPowerAmpFeature(bool on);
    Err_Code configureRXPowerAmpFeature(bool on);
    Err_Code configureTXRFSwitchFeature(bool on);
    Err_Code setSuppressFrequencyData(bool suppress);
    Err_Code setMeasurementType(Program_Type type); // ERR_WRONG_PROGRAM_TYPE
    Err_Code setSweepTriggerType(Trigger_Type type);
    Err_Code setSyncPulseMode(Sync_Pulse_Mode mode);

    // --- Frequency plan (MHz) ---
    // TASK_STOPPED only. Every frequency within the unit's limits; stored snapped to the nearest
    // synthesisable frequency. ERR_TOO_MANY_POINTS, ERR_FREQ_OUT_OF_BOUNDS.
    Err_Code setFrequencies(const double* freqs, unsigned int count);
    const double* getFrequencies(); // the task's array, valid until the next setFrequencies
    int getNumberOfFrequencies();
    // Snaps in place. Not in TASK_UNINITIALIZED. ERR_FREQ_OUT_OF_BOUNDS (unchanged).
    Err_Code utilNearestLegalFreq(double& freq);
    // Rounds the ends to whole tuning steps with a whole-step spacing for `count` points.
    Err_Code utilFixLinearSweepLimits(double& start, double& stop, unsigned int count);
    // TASK_STOPPED only; a count of 0 or 1 changes nothing. start > stop sweeps downwards.
    Err_Code utilGenerateLinearSweep(double start, double stop, unsigned int count);
    // Exclusion bands, TASK_STOPPED only. low < high and low > 0, else ERR_INVALID_PARAMETER.
    Err_Code addExclusionBand(double low, double high);
    Err_Code clearExclusionBands();
    Err_Code getExclusionBandCount(int& count);
    // Index beyond the list: -32.
    Err_Code getExclusionBand(int index, double& low, double& high);
    // Receive-synthesiser offset in units of 256 tuning-word steps; not while started/running.
    Err_Code setFrequencyOffset(bool enabled, unsigned int counts);
    bool getFrequencyOffsetEnabled();
    unsigned int getFrequencyOffsetCounts();
    double getFrequencyOffset(); // MHz; 0.0 before initialisation
    // Seconds per frame (all paths of one sweep) while started/running, else -1.0.
    double getPreciseTimePerFrame();

    // --- Measured paths ---
    // Not while started/running. ERR_BAD_PATH (another kind of board), ERR_PATH_ALREADY_MEASURED.
    Err_Code addPathToMeasure(std::shared_ptr<SwitchBoardState> path);
    // Maps the pair for the unit's board; mapping exceptions become ERR_BAD_PATH, -31 or
    // ERR_FEATURE_NOT_PRESENT with a line on standard error; others escape.
    Err_Code addPathToMeasure(Transmit_Path tx, Receive_Path rx);
    Err_Code clearMeasuredPaths();
    Err_Code getMeasuredPathCount(int& count);
    // Returns -32 for an index above the count; an index equal to the count lets
    // std::out_of_range escape. Does not write tx or rx.
    Err_Code getPathAtIndex(int index, Transmit_Path& tx, Receive_Path& rx);

    // --- Measurement cycle ---
    Err_Code start();
    Err_Code stop();
    Err_Code measure();
    Err_Code beginAsync();
    Err_Code haltAsync();
    Err_Code interruptMeasurement();
    Err_Code extractSweepData(const std::shared_ptr<SwitchBoardState>& path, SweepData& out);
    Err_Code extractSweepData(Transmit_Path tx, Receive_Path rx, SweepData& out);

    // --- Low power ---
    // Switches the unit's front end off with direct register writes; TASK_STOPPED or
    // TASK_STARTED only. ERR_BYTES unless the read-back reply is exact.
    Err_Code enterLowPowerState();

    // --- Unit arrays ---
    // Whether the tasks deliver sweeps of the same shape. ERR_TASK_ARRAY_INVALID with a line on
    // standard error.
    static Err_Code validateArrayTasks(std::vector<TarnTask*> tasks);
    // Moves every (started) task to TASK_RUNNING and broadcasts the begin command on the shared
    // endpoint. ERR_TASK_ARRAY_INVALID, ERR_WRONG_STATE, socket codes.
    static Err_Code broadcastBeginCommand(std::vector<TarnTask*> tasks);
    // The broadcast send itself (to 192.168.1.255, port 1024), run on the first task.
    // Its name is the one the interface has always used, reserved identifier or not.
    Err_Code __broadcastBeginCommand(); // NOLINT(bugprone-reserved-identifier)

private:
    // TaskHelpers works on the task through these two (it is a friend).
    std::unique_ptr<TaskState> state_;
    std::unique_ptr<TaskHelpers> helpers_;

    bool isNotStarted() const;
    // Checks address and port, binds the shared endpoint and points it at this task's unit.
    Err_Code connectEndpoint();
};

} // namespace Orvek
