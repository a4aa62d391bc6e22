// The task's side of program generation: its settings become the generator's input, and the
// generated program with its figures replaces the task's previous one.
#include <memory>
#include <string>
#include <utility>

#include "program/measurement_program.h"
#include "switchboard/switchboard_state.h"
#include "task/exclusion_band.h"
#include "task/task_helpers.h"

namespace Orvek {
namespace {

MeasurementProgramInput programInput(TarnTask& task, const TaskState& s) {
    MeasurementProgramInput in;
    in.hopRate = s.hopRate;
    in.receiverGain = s.receiverGain;
    in.receiver12dBPad = s.receiver12dBPad;
    in.attenuatorFitted = task.getFeaturePresent(FEATURE_SWITCHBOARD_ATTENUATOR);
    in.switchboardAttenuation = s.switchboardAttenuation;
    in.txPowerAmpOn = s.txPowerAmpOn;
    in.rxPowerAmpOn = s.rxPowerAmpOn;
    in.txRFSwitchOn = s.txRFSwitchOn;
    in.serialBufferSize = s.serialBufferSize;
    in.shaftEncodersEnabled = s.shaftEncodersEnabled;
    in.resetShaftEncodersOnStart = s.resetShaftEncodersOnStart;
    in.digitalOutEnabled = s.digitalOutEnabled;
    in.digitalOutValue = s.digitalOutValue;
    in.frequencyOffsetEnabled = s.frequencyOffsetEnabled;
    in.frequencyOffsetCounts = s.frequencyOffsetCounts;
    in.tddEnabled = s.tddEnabled;
    in.tddConfiguration = s.tddConfiguration;
    in.tddFlagsWord = s.tddFlagsWord;
    in.tddDescription = s.tddDescription;
    in.suppressFrequencyData = s.suppressFrequencyData;
    in.resetFrameCounterOnStart = s.resetFrameCounterOnStart;
    in.sendSweepTimer = s.sendSweepTimer;
    in.frequencies.assign(s.frequencies.get(), s.frequencies.get() + s.numberOfFrequencies);
    for (double f : in.frequencies)
        in.transmitterOff.push_back(freqInExclusionBand(s.exclusionBands, f));
    for (const auto& path : s.measuredPaths)
        in.paths.push_back({path->getRegisterValue(), path->getComment()});
    in.enabledReceivers = s.enabledReceivers;
    in.receiverCount = task.getnumberOfEnabledReceivers();
    in.measurementType = s.measurementType;
    in.syncPulseMode = s.syncPulseMode;
    in.minimumPacketTimeoutMs = static_cast<int>(s.timeout);
    in.startupLabel = s.startupLabel;
    in.mainLabel = s.mainLabel;
    in.freqsLabel = s.freqsLabel;
    return in;
}

} // namespace

struct TarnTask::TaskHelpers::BuildInputs {
    MeasurementProgramInput input;
    PromParameters prom;
};

void TarnTask::TaskHelpers::buildTarnProgramNormal() {
    TaskState& s = *task->state_;
    if (s.state != TASK_STOPPED)
        return;
    auto inputs =
        std::make_shared<BuildInputs>(BuildInputs{programInput(*task, s), s.promParameters});
    MeasurementProgram p = generateMeasurementProgram(inputs->input, inputs->prom);
    lastBuild = std::move(inputs);

    s.compiledProgram = std::move(p.compiled);
    s.startupEntryPoint = std::move(p.startup);
    s.mainEntryPoint = std::move(p.main);
    s.packetSizes = std::move(p.packetSizes);
    s.pointCountPerFrame = p.passLength;
    s.generationField1 = p.generationField1;
    s.generationField2 = p.generationField2;
    s.packetsPerSweep = p.packetsPerSweep;
    s.sweepTimeMs = p.sweepTimeMs;
    s.tddFlagsWord = p.tddFlagsWord;
    s.tddDescription = std::move(p.tddDescription);
    longestPacketGap = p.longestPacketGap;
    pointTimeMs = p.pointTimeMs;
}

std::string TarnTask::TaskHelpers::programListing() const {
    if (!lastBuild)
        return std::string();
    // The same inputs give the same program; only the listing is added.
    MeasurementProgramInput input = lastBuild->input;
    input.withListing = true;
    return generateMeasurementProgram(input, lastBuild->prom).listing;
}

int TarnTask::TaskHelpers::packetTimeoutMs() const {
    const TaskState& s = *task->state_;
    return Orvek::packetTimeoutMs(s.generationField1, s.generationField2, longestPacketGap,
                                  pointTimeMs, static_cast<double>(s.timeout));
}

} // namespace Orvek
