#pragma once
// Measurement internals of a task: generation of the device program, the measurement cycle and
// the decoding of the unit's data packets into sweep data.
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarndll.h"
#include "task/sweep_collection.h"
#include "task/sweep_data.h"
#include "task/tarn_task.h"

namespace Orvek {

struct PacketData;
struct EntryPoint;

class TarnTask::TaskHelpers {
public:
    explicit TaskHelpers(TarnTask* owner) : task(owner) {}
    TaskHelpers(const TaskHelpers&) = delete;
    TaskHelpers& operator=(const TaskHelpers&) = delete;

    // --- Program generation ---

    // Generates, compiles and keeps the whole program of the task (TASK_STOPPED only, otherwise
    // nothing happens), with its entry points, packet sizes, timing figures and listing. Throws
    // like generateMeasurementProgram; the previous program is then kept.
    void buildTarnProgramNormal();
    // The annotated listing of the program last built (empty before the first build). The task
    // keeps what that build was made from and renders the listing when asked: rendering costs
    // several times the build itself, and start() has no use for it.
    std::string programListing() const;
    // Points the unit's program counter at the jump table ("W%04x"). TASK_STARTED only
    // (ERR_WRONG_STATE); otherwise the exchange's code.
    int setPcToMainEntryPoint();

    // --- Measurement cycle ---

    // Runs (or, free-running, collects) one sweep and decodes it into the task's results.
    Err_Code doMeasure(bool async);
    // The halt exchange ("Q\n" until the prompt), up to `attempts` times.
    Err_Code haltInternal(int attempts);
    // ERR_BYTES unless the packet count is the entry point's and every packet whose expected
    // length exceeds 13 bytes has exactly that length; ERR_NO_PATHS_MEASURED without paths.
    Err_Code validatePacketLengths(const std::vector<PacketData>& packets, const EntryPoint& entry);
    // Validates, then decodes the packets of one sweep into one SweepData per measured path.
    Err_Code getDataFromPacketsNormal(const std::vector<PacketData>& packets,
                                      std::vector<SweepData>& results);

    // Whether the transmitter is to be off at `freq` (MHz).
    bool freqInExclusionBand(double freq);

    // Seconds since the unit's sweep timer started, for a new timer count: a count below half
    // the previous one means the 32-bit counter wrapped.
    double sweepTimestamp(uint32_t count);

    TarnTask* task;
    // The inputs of the last build, for its listing.
    struct BuildInputs;
    std::shared_ptr<const BuildInputs> lastBuild;
    // Sweep-timer bookkeeping across sweeps: the previous count and the accumulated wraps.
    uint32_t previousSweepTimer = 0;
    uint64_t sweepTimerOffset = 0;
    // Seconds per sweep-timer tick: 256 master-clock periods (set at initialisation).
    double timeBase = 0.0;
    // What one wrap of the 32-bit sweep timer adds: 2^32 - 1 (not 2^32), kept exactly so that
    // timestamps stay comparable with those the library has always reported.
    uint32_t sweepTimerWrapIncrement = 0xFFFFFFFFu;

    // Wait for each data packet of a sweep (ms): the longest program time between two packets
    // scaled and padded by the program's fixed timing fields, at least the task's time-out.
    int packetTimeoutMs() const;
    // Longest program time between two data packets of a sweep, in point times, and the
    // duration of one point time (ms), from the last program build.
    int longestPacketGap = 0;
    double pointTimeMs = 0.0;

    // Points the unit's program counter at the jump table, in any state.
    int pointAtMainEntry();
    // Halts the unit, uploads the program again, runs its start-up section and re-points it
    // (and lets it run free again when the task is TASK_RUNNING).
    Err_Code reloadProgram();

    // What the next measure() does first after a failed sweep: nothing; resynchronise (a
    // synchronous sweep halts and re-points the unit, a free-running one skips to the next
    // sweep boundary by the counter); or reload the program, since a silence may mean that
    // the unit restarted.
    enum class Recovery { None, Resync, Reload };
    Recovery recovery = Recovery::None;
    SweepSync sweepSync;
    // Set by interruptMeasurement() (from another thread) so that the interrupted sweep reports
    // ERR_INTERRUPTED rather than a time-out.
    std::atomic<bool> interruptRequested{false};
};

} // namespace Orvek
