// The whole measurement program of a task: start-up section, jump table and the acquisition
// segment that steps through the frequency points, with the bookkeeping the measurement cycle
// needs (entry points, the size of every data packet, timing figures, the listing).
#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>

#include "hardware/control_registers.h"
#include "hardware/frequency_synthesis.h"
#include "hardware/point_timing.h"
#include "program/program_source.h"
#include "task/task_helpers.h"

namespace Orvek {
namespace {

// The unit sends a data packet once the running byte count of the pass exceeds this...
constexpr int kPacketBreakBytes = 1399;
// ...unless no more than this many sample bytes remain, which then join the last packet.
constexpr int kShortTailBytes = 20;
// I and Q of one receiver, 16 bits each.
constexpr int kBytesPerSample = 4;

// Register 0x87 requests the auxiliary blocks of a pass; the next FE acquires the block.
constexpr uint32_t kRegAuxRequest = 0x87;
constexpr uint32_t kAuxSerialData = 0x08;
constexpr uint32_t kAuxShaftEncoders = 0x01;
constexpr uint32_t kAuxSweepTimer = 0x10;
constexpr int kSerialBlockExtraBytes = 2; // count byte and spare byte around the serial data
constexpr int kEncoderBlockBytes = 4;
constexpr int kTimerBlockBytes = 4;

// Fixed fields recorded with every program. The per-packet time-out of a sweep is
// kTimeoutScale times the longest program time between two data packets, plus kTimeoutMarginMs
// for the network, the host's scheduling and a millisecond-clock resynchronisation.
constexpr int kTimeoutScale = 1;
constexpr int kTimeoutMarginMs = 1000;

struct AcquisitionPlan {
    int passLength = 0;     // timed points of one pass, as the unit's frame timing counts them
    int packetsPerPass = 0; // data packets of one pass
    int longestGap = 0;     // most point times between the starts of two consecutive packets
};

} // namespace

int TarnTask::TaskHelpers::packetTimeoutMs() const {
    const TaskState& s = *task->state_;
    const double programMs =
        s.generationField1 * longestPacketGap * pointTimeMs + s.generationField2;
    // Callers that trigger sweeps externally or reach the unit over a slow link lengthen the
    // wait with the task's time-out.
    const double wait = std::max(programMs, static_cast<double>(s.timeout));
    return static_cast<int>(std::min(std::ceil(wait), static_cast<double>(INT_MAX)));
}

void TarnTask::TaskHelpers::savePacketSize(int packetNumber, int byteCount) {
    TaskState& s = *task->state_;
    if (!s.suppressFrequencyData) {
        s.packetSizes.push_back(byteCount);
        return;
    }
    // Without frequency data only the first packet carries anything: the auxiliary blocks.
    int auxiliary = 0;
    if (packetNumber == 1) {
        if (s.serialBufferSize != 0)
            auxiliary += static_cast<int>(s.serialBufferSize) + kSerialBlockExtraBytes;
        if (s.shaftEncodersEnabled)
            auxiliary += kEncoderBlockBytes;
        if (s.sendSweepTimer)
            auxiliary += kTimerBlockBytes;
    }
    s.packetSizes.push_back(auxiliary);
}

namespace {

// Appends the acquisition segment (a subroutine called once per measured path) and records
// the packet sizes through the helpers.
AcquisitionPlan appendAcquisitionSegment(TarnTask::TaskHelpers& helpers, TaskState& s,
                                         int receivers, ProgramSource& source) {
    const PromParameters& prom = s.promParameters;
    AcquisitionPlan plan;
    const int pointBytes = kBytesPerSample * receivers;

    source.add<CommentBreak>("Acquisition Segment");
    source.add<Label>(s.freqsLabel);
    if (prom.getSwitchboardType() == SWITCHBOARD_TDD_4_PORT_SWITCH)
        source.add<ExternalRegister>(0, static_cast<uint32_t>(s.tddFlagsWord), "tdd register 00");

    // The first packet of a pass carries the auxiliary blocks before the samples, so its byte
    // count starts at their total.
    int byteCount = 0;
    int gap = 0; // point times since the last packet went out
    if (s.serialBufferSize != 0) {
        source.add<Register>(kRegAuxRequest, kAuxSerialData, "return serial data");
        if (!s.shaftEncodersEnabled) {
            source.add<FD>("");
            source.add<FD>("");
            gap += 2;
        }
        byteCount += static_cast<int>(s.serialBufferSize) + kSerialBlockExtraBytes;
        plan.passLength += 1;
    } else {
        source.add<Comment>("Not sending serial data!");
    }
    if (s.shaftEncodersEnabled) {
        source.add<Register>(kRegAuxRequest, kAuxShaftEncoders, "send shaft encoder data");
        source.add<FE>("");
        source.add<FD>("");
        byteCount += kEncoderBlockBytes;
        plan.passLength += 2;
        gap += 2;
    } else {
        source.add<Comment>("Not using shaft encoders!");
    }
    if (s.sendSweepTimer) {
        source.add<Register>(kRegAuxRequest, kAuxSweepTimer, "Send sweep timer data");
        source.add<FE>("");
        byteCount += kTimerBlockBytes;
        plan.passLength += 1;
        gap += 1;
    } else {
        source.add<Comment>("Not sending sweep-timer data!");
    }

    const int count = static_cast<int>(s.numberOfFrequencies);
    const int bandFDs = bandChangeFDs(s.hopRate);
    int previousBand = -1;
    bool previousOutside = false;
    int packetNumber = 0;
    for (int i = 0; i < count; ++i) {
        const double f = s.frequencies[i];
        // Inside an exclusion band the point is stepped through with the transmitter off.
        const bool outside = !helpers.freqInExclusionBand(f);
        const int band = freqToBand(f, prom, false);
        unsigned char tx2 = 0, tx1 = 0, tx0 = 0, rx2 = 0, rx1 = 0, rx0 = 0;
        std::string description;
        freqToRegisters(f, band, prom, tx2, tx1, tx0, rx2, rx1, rx0, &description);
        source.add<TxDDSRegister>(tx0, tx1, tx2, description + ", TX Register");
        source.add<RxDDSRegister>(rx0, rx1, rx2, " RX Register");

        if (band != previousBand) {
            source.add<Comment>("Band switch!");
            source.append(buildReg80(static_cast<unsigned int>(band), s.txPowerAmpOn && outside,
                                     s.rxPowerAmpOn, s.txRFSwitchOn && outside,
                                     REG82_DIGITAL_OUTPUT, false));
            // The synthesiser settles for a few point times after a band change.
            for (int k = 0; k < bandFDs; ++k)
                source.add<FD>("");
            plan.passLength += bandFDs;
            gap += bandFDs;
            previousBand = band;
            previousOutside = outside;
        } else if (outside != previousOutside) {
            source.add<Comment>("Exclusion Band!");
            source.append(buildReg80(static_cast<unsigned int>(band), s.txPowerAmpOn && outside,
                                     s.rxPowerAmpOn, s.txRFSwitchOn && outside,
                                     REG82_DIGITAL_OUTPUT, false));
            previousOutside = outside;
        }

        if (s.suppressFrequencyData) {
            // The point is timed but not sampled, so it adds nothing to any packet.
            source.add<FD>("");
        } else {
            source.add<FE>("");
            byteCount += pointBytes;
        }
        plan.passLength += 1;
        gap += 1;

        const int remainingBytes = (count - 1 - i) * pointBytes;
        if (remainingBytes > kShortTailBytes && byteCount > kPacketBreakBytes) {
            source.add<FD>("");
            source.add<TriggerPacketTx>(false);
            ++packetNumber;
            helpers.savePacketSize(packetNumber, byteCount);
            byteCount = 0;
            plan.passLength += 2;
            plan.longestGap = std::max(plan.longestGap, gap + 1);
            gap = 1; // the FD behind the packet break
        }
    }

    source.add<FD>("");
    source.add<TriggerPacketTx>(true);
    helpers.savePacketSize(packetNumber + 1, byteCount);
    source.add<FD>("");
    source.add<Return>();
    plan.passLength += 2;
    plan.longestGap = std::max(plan.longestGap, gap + 1);
    plan.packetsPerPass = packetNumber + 1;
    return plan;
}

} // namespace

void TarnTask::TaskHelpers::buildTarnProgramNormal() {
    TaskState& s = *task->state_;
    if (s.state != TASK_STOPPED)
        return;
    const PromParameters& prom = s.promParameters;
    // An unknown hop rate throws here, before anything of the task has changed.
    const double msPoint = msPerPoint(s.hopRate, prom.Master_clock_frequency);

    std::vector<int> previousSizes = std::move(s.packetSizes);
    s.packetSizes.clear();
    ProgramSource source;
    AcquisitionPlan plan;
    try {
        standardProgramPreamble(source);
        buildJumpTable(source);
        plan = appendAcquisitionSegment(*this, s, task->getnumberOfEnabledReceivers(), source);
    } catch (...) {
        s.packetSizes = std::move(previousSizes);
        throw;
    }

    s.compiledProgram = source.compile(prom);
    uint32_t address = 0;
    if (s.compiledProgram.findLabel(s.startupLabel, address))
        s.startupEntryPoint.address = address;
    if (s.compiledProgram.findLabel(s.mainLabel, address))
        s.mainEntryPoint.address = address;

    const int paths = static_cast<int>(s.measuredPaths.size());
    s.pointCountPerFrame = plan.passLength;
    s.generationField1 = kTimeoutScale;
    s.generationField2 = kTimeoutMarginMs;
    s.packetsPerSweep = paths * plan.packetsPerPass;
    s.sweepTimeMs = msPoint * (paths * plan.passLength);

    // Between two packets the unit may also run the end of the previous pass and the jump
    // table's entry for the next path (and wait for the millisecond clock).
    int lead = 1;
    if (s.syncPulseMode != SYNC_IGNORE)
        lead += 2;
    if (!s.tddEnabled && s.serialBufferSize != 0)
        lead += 1;
    longestPacketGap = plan.longestGap + lead;
    pointTimeMs = msPoint;

    s.startupEntryPoint.name = s.startupLabel;
    s.startupEntryPoint.packetCount = 0; // the start-up section sends no data
    s.startupEntryPoint.packetTimeoutMs = kTimeoutMarginMs;
    s.startupEntryPoint.packetLengths.clear();
    s.mainEntryPoint.name = s.mainLabel;
    s.mainEntryPoint.packetCount = s.packetsPerSweep;
    s.mainEntryPoint.packetTimeoutMs = packetTimeoutMs();
    s.mainEntryPoint.packetLengths = s.packetSizes;

    s.programListing = source.compiledHumanReadable(prom);
}

} // namespace Orvek
