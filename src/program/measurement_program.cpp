// The whole measurement program: start-up section, jump table and the acquisition segment that
// steps through the frequency points, with the bookkeeping the measurement cycle needs (entry
// points, the size of every data packet, timing figures, the listing).
#include "program/measurement_program.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "hardware/frequency_synthesis.h"
#include "hardware/point_timing.h"
#include "program/hardware_commands.h"
#include "program/measurement_sections.h"

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

int packetTimeoutMs(int generationField1, int generationField2, int longestPacketGap,
                    double pointTimeMs, double minimumMs) {
    const double programMs = generationField1 * longestPacketGap * pointTimeMs + generationField2;
    // Callers that trigger sweeps externally or reach the unit over a slow link lengthen the
    // wait with the task's time-out.
    const double wait = std::max(programMs, minimumMs);
    return static_cast<int>(std::min(std::ceil(wait), static_cast<double>(INT_MAX)));
}

namespace {

// Expected payload of data packet `packetNumber` (from 1) whose running byte count is
// `byteCount`.
int recordedPacketSize(const MeasurementProgramInput& s, int packetNumber, int byteCount) {
    if (!s.suppressFrequencyData)
        return byteCount;
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
    return auxiliary;
}

// Appends the acquisition segment (a subroutine called once per measured path) and records
// the size of every packet of a pass.
AcquisitionPlan appendAcquisitionSegment(const MeasurementProgramInput& s,
                                         const PromParameters& prom, int tddFlagsWord,
                                         ProgramSource& source, std::vector<int>& packetSizes) {
    AcquisitionPlan plan;
    const int pointBytes = kBytesPerSample * s.receiverCount;

    source.add<CommentBreak>("Acquisition Segment");
    source.add<Label>(s.freqsLabel);
    if (prom.getSwitchboardType() == SWITCHBOARD_TDD_4_PORT_SWITCH)
        source.add<ExternalRegister>(0, static_cast<uint32_t>(tddFlagsWord), "tdd register 00");

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

    const int count = static_cast<int>(s.frequencies.size());
    const int bandFDs = bandChangeFDs(s.hopRate);
    int previousBand = -1;
    bool previousOutside = false;
    int packetNumber = 0;
    for (int i = 0; i < count; ++i) {
        const double f = s.frequencies[i];
        // Inside an exclusion band the point is stepped through with the transmitter off.
        const bool outside =
            !(i < static_cast<int>(s.transmitterOff.size()) && s.transmitterOff[i]);
        const int band = freqToBand(f, prom, false);
        unsigned char tx2 = 0, tx1 = 0, tx0 = 0, rx2 = 0, rx1 = 0, rx0 = 0;
        std::string description;
        freqToRegisters(f, band, prom, tx2, tx1, tx0, rx2, rx1, rx0,
                        s.withListing ? &description : nullptr);
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
            packetSizes.push_back(recordedPacketSize(s, packetNumber, byteCount));
            byteCount = 0;
            plan.passLength += 2;
            plan.longestGap = std::max(plan.longestGap, gap + 1);
            gap = 1; // the FD behind the packet break
        }
    }

    source.add<FD>("");
    source.add<TriggerPacketTx>(true);
    packetSizes.push_back(recordedPacketSize(s, packetNumber + 1, byteCount));
    source.add<FD>("");
    source.add<Return>();
    plan.passLength += 2;
    plan.longestGap = std::max(plan.longestGap, gap + 1);
    plan.packetsPerPass = packetNumber + 1;
    return plan;
}

} // namespace

MeasurementProgram generateMeasurementProgram(const MeasurementProgramInput& s,
                                              const PromParameters& prom) {
    MeasurementProgram p;
    const double msPoint = msPerPoint(s.hopRate, prom.Master_clock_frequency);
    p.tddFlagsWord = s.tddFlagsWord;
    p.tddDescription = s.tddDescription;

    ProgramSource source;
    appendStartupSection(s, prom, source, p.tddFlagsWord, p.tddDescription);
    appendJumpTable(s, p.tddFlagsWord, p.tddDescription, source);
    const AcquisitionPlan plan =
        appendAcquisitionSegment(s, prom, p.tddFlagsWord, source, p.packetSizes);

    p.compiled = source.compile(prom);
    const int paths = static_cast<int>(s.paths.size());
    p.passLength = plan.passLength;
    p.generationField1 = kTimeoutScale;
    p.generationField2 = kTimeoutMarginMs;
    p.packetsPerSweep = paths * plan.packetsPerPass;
    p.sweepTimeMs = msPoint * (paths * plan.passLength);

    // Between two packets the unit may also run the end of the previous pass and the jump
    // table's entry for the next path (and wait for the millisecond clock).
    int lead = 1;
    if (s.syncPulseMode != SYNC_IGNORE)
        lead += 2;
    if (!s.tddEnabled && s.serialBufferSize != 0)
        lead += 1;
    p.longestPacketGap = plan.longestGap + lead;
    p.pointTimeMs = msPoint;

    // A label the program lacks leaves its entry point at address 0.
    p.compiled.findLabel(s.startupLabel, p.startup.address);
    p.startup.name = s.startupLabel;
    p.startup.packetCount = 0; // the start-up section sends no data
    p.startup.packetTimeoutMs = kTimeoutMarginMs;
    p.compiled.findLabel(s.mainLabel, p.main.address);
    p.main.name = s.mainLabel;
    p.main.packetCount = p.packetsPerSweep;
    p.main.packetTimeoutMs =
        packetTimeoutMs(p.generationField1, p.generationField2, p.longestPacketGap, msPoint,
                        static_cast<double>(s.minimumPacketTimeoutMs));
    p.main.packetLengths = p.packetSizes;

    if (s.withListing)
        p.listing = source.compiledHumanReadable(prom, p.compiled);
    return p;
}

} // namespace Orvek
