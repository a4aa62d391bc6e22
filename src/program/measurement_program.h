#pragma once
// The measurement program of one unit as a function of plain inputs: the start-up section, the
// jump table over the measured paths and the acquisition segment over the frequency points,
// compiled, with what the measurement cycle needs to run it and check its data packets.
#include <cstdint>
#include <string>
#include <vector>

#include "core/entry_point.h"
#include "core/tdd_configuration.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"
#include "tarndll.h"

namespace Orvek {

// One measured path: the value of switch register 0x82 (negative: the board has no switch to
// set) and its listing comment.
struct MeasuredPathSwitch {
    int registerValue = -1;
    std::string comment;
};

struct MeasurementProgramInput {
    Hop_Rate hopRate = HOP_UNDEFINED;
    Rx_Gain receiverGain = TARN_GAIN_USE_DEFAULT;
    bool receiver12dBPad = false;
    bool attenuatorFitted = false; // the unit declares the switch-board attenuator
    Rx_Attenuation switchboardAttenuation = ATTEN_UNDEFINED;
    bool txPowerAmpOn = true;
    bool rxPowerAmpOn = true;
    bool txRFSwitchOn = true;
    unsigned int serialBufferSize = 0; // bytes; 0 = serial port not used
    bool shaftEncodersEnabled = false;
    bool resetShaftEncodersOnStart = false;
    bool digitalOutEnabled = false;
    bool digitalOutValue = false;
    bool frequencyOffsetEnabled = false;
    unsigned int frequencyOffsetCounts = 0; // units of 256 DDS tuning-word steps
    bool tddEnabled = false;
    TDDConfiguration tddConfiguration;
    // What TDD register 00 holds from the last build (and its readable form): a TDD board gets
    // it rewritten at every pass even when TDD is not enabled now.
    int tddFlagsWord = 0;
    std::string tddDescription;
    bool suppressFrequencyData = false;
    bool resetFrameCounterOnStart = false;
    bool sendSweepTimer = false;
    std::vector<double> frequencies;  // MHz, exactly synthesisable values
    std::vector<bool> transmitterOff; // per frequency: inside an exclusion band
    std::vector<MeasuredPathSwitch> paths;
    int enabledReceivers = 1; // bit mask written to the unit
    int receiverCount = 1;    // samples per point
    Program_Type measurementType = PROG_SYNC;
    Sync_Pulse_Mode syncPulseMode = SYNC_IGNORE;
    // The per-packet wait of a sweep is at least this (ms).
    int minimumPacketTimeoutMs = 0;
    std::string startupLabel = "startup";
    std::string mainLabel = "jumptable start";
    std::string freqsLabel = "freqs";
    // The annotated listing (with each point's synthesised frequencies) costs more than the
    // program itself, so only tools that show it ask for it.
    bool withListing = false;
};

struct MeasurementProgram {
    CompiledProgram compiled;
    EntryPoint startup;
    EntryPoint main;
    std::vector<int> packetSizes; // bytes of each data packet of one pass over the points
    int passLength = 0;           // timed points of one pass
    int generationField1 = 0;     // fixed values (1 and 1000) consumed by the measurement cycle
    int generationField2 = 0;
    int packetsPerSweep = 0;  // measured paths x packets per pass
    double sweepTimeMs = 0.0; // program time of one sweep over all paths
    std::string listing;      // annotated listing; empty unless asked for
    int tddFlagsWord = 0;     // what TDD register 00 now holds, and its readable form
    std::string tddDescription;
    // Longest program time between two data packets of a sweep, in point times, and the
    // duration of one point time (ms).
    int longestPacketGap = 0;
    double pointTimeMs = 0.0;
};

// Throws std::runtime_error "No hop rate set?" for an unknown hop rate, std::runtime_error
// "Unhandled millisecond clock enum value: <n>" (also written to standard error) for an unknown
// sync-pulse mode, and std::runtime_error "Invalid band (Not in set [0,1,2,3])" for a point in a
// band the front-end register cannot select.
MeasurementProgram generateMeasurementProgram(const MeasurementProgramInput& input,
                                              const PromParameters& prom);

// Wait for each data packet of a sweep (ms): the longest program time between two packets
// scaled and padded by the program's fixed timing fields, at least `minimumMs`.
int packetTimeoutMs(int generationField1, int generationField2, int longestPacketGap,
                    double pointTimeMs, double minimumMs);

} // namespace Orvek
