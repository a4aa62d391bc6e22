// The measurement life of a task on its unit: start (build, upload, run the start-up section),
// synchronous and free-running sweeps, halting, interruption and stop.
#include <string>
#include <vector>

#include "link/device_commands.h"
#include "link/transport.h"
#include "task/halt_exchange.h"
#include "task/sweep_collection.h"
#include "task/task_helpers.h"

namespace Orvek {
namespace {

// How often to try the halt exchange before the unit counts as silent.
constexpr int kHaltAttempts = 5;
// Largest serial buffer whose block length (S + 2) fits the unit's one-byte register.
constexpr unsigned int kLargestSerialBuffer = 253;

} // namespace

Err_Code TarnTask::start() {
    TaskState& s = *state_;
    if (s.state != TASK_STOPPED)
        return ERR_WRONG_STATE;
    if (s.hopRate == HOP_UNDEFINED)
        return ERR_MISSING_HOP;
    // A sweep without points would only ever deliver empty packets.
    if (!s.frequencies || s.numberOfFrequencies == 0)
        return ERR_MISSING_FREQS;
    // The unit's serial block register holds S + 2 in one byte.
    if (s.serialBufferSize > kLargestSerialBuffer)
        return ERR_TOO_MANY_POINTS;
    if (!s.ipAddress)
        return ERR_MISSING_IP;
    const std::string address = s.ipAddress.get();
    s.socketManager->set_current_dst_ip(address);

    helpers_->buildTarnProgramNormal();
    // Results of an earlier program describe other settings.
    s.sweepResults.clear();
    helpers_->recovery = TaskHelpers::Recovery::None;
    helpers_->sweepSync = SweepSync();

    int result = TARN::uploadProgram(s.socketManager, address, s.compiledProgram);
    if (result != ERR_OK)
        return static_cast<Err_Code>(result);
    std::vector<PacketData> discarded;
    result = TARN::runProgram(s.socketManager, address, s.startupEntryPoint, discarded, true);
    if (result != ERR_OK)
        return static_cast<Err_Code>(result);
    s.state = TASK_STARTED;
    return static_cast<Err_Code>(helpers_->setPcToMainEntryPoint());
}

Err_Code TarnTask::stop() {
    TaskState& s = *state_;
    if (s.state != TASK_STARTED && s.state != TASK_RUNNING)
        return ERR_WRONG_STATE;
    s.state = TASK_STOPPED;
    if (s.ipAddress)
        s.socketManager->set_current_dst_ip(s.ipAddress.get());
    return helpers_->haltInternal(kHaltAttempts);
}

Err_Code TarnTask::beginAsync() {
    TaskState& s = *state_;
    if (s.state != TASK_STARTED)
        return ERR_WRONG_STATE;
    if (s.measurementType != PROG_ASYNC)
        return ERR_WRONG_PROGRAM_TYPE;
    helpers_->recovery = TaskHelpers::Recovery::None;
    helpers_->sweepSync.counterKnown = false;
    if (s.sweepTriggerType == TRIGGER_SOFTWARE) {
        // Packets of earlier sweeps are no part of the stream to come.
        s.socketManager->drain(s.ipAddress.get());
        // Run from the program counter, which start() or haltAsync() left at the jump table.
        const int result = TARN::beginAtProgramCounter(s.socketManager, s.ipAddress.get());
        if (result != ERR_OK)
            return static_cast<Err_Code>(result);
    }
    s.state = TASK_RUNNING;
    return ERR_OK;
}

Err_Code TarnTask::haltAsync() {
    TaskState& s = *state_;
    if (s.state != TASK_RUNNING)
        return ERR_WRONG_STATE;
    s.socketManager->set_current_dst_ip(s.ipAddress.get());
    // The state tells the caller whether the unit really stopped; the result is that of
    // pointing the program counter back at the jump table.
    if (helpers_->haltInternal(kHaltAttempts) == ERR_OK)
        s.state = TASK_STARTED;
    return static_cast<Err_Code>(helpers_->setPcToMainEntryPoint());
}

Err_Code TarnTask::measure() {
    const TaskState& s = *state_;
    switch (s.measurementType) {
    case PROG_SYNC:
        if (s.state != TASK_STARTED)
            return ERR_WRONG_STATE;
        return helpers_->doMeasure(false);
    case PROG_ASYNC:
        if (s.state != TASK_RUNNING)
            return ERR_WRONG_STATE;
        return helpers_->doMeasure(true);
    }
    return ERR_WRONG_PROGRAM_TYPE;
}

Err_Code TarnTask::interruptMeasurement() {
    if (state_->state != TASK_STARTED)
        return ERR_WRONG_STATE;
    helpers_->interruptRequested = true;
    if (state_->ipAddress)
        state_->socketManager->interrupt(state_->ipAddress.get());
    return ERR_OK;
}

Err_Code TarnTask::TaskHelpers::haltInternal(int attempts) {
    const TaskState& s = *task->state_;
    if (!s.ipAddress)
        return ERR_MISSING_IP;
    return haltExchange(s.socketManager, s.ipAddress.get(), s.timeout, attempts);
}

int TarnTask::TaskHelpers::setPcToMainEntryPoint() {
    if (task->state_->state != TASK_STARTED)
        return ERR_WRONG_STATE;
    return pointAtMainEntry();
}

int TarnTask::TaskHelpers::pointAtMainEntry() {
    const TaskState& s = *task->state_;
    return TARN::setProgramCounter(s.socketManager, s.ipAddress.get(), s.mainEntryPoint.address,
                                   static_cast<int>(s.timeout));
}

Err_Code TarnTask::TaskHelpers::reloadProgram() {
    TaskState& s = *task->state_;
    const std::string address = s.ipAddress.get();
    // A unit that lost power has lost its program; one that merely paused answers the halt too,
    // and loading the same program again costs it nothing but the upload.
    Err_Code result = haltInternal(1);
    if (result != ERR_OK)
        return result;
    int loaded = TARN::uploadProgram(s.socketManager, address, s.compiledProgram);
    std::vector<PacketData> discarded;
    if (loaded == ERR_OK)
        loaded = TARN::runProgram(s.socketManager, address, s.startupEntryPoint, discarded, true);
    if (loaded == ERR_OK)
        loaded = pointAtMainEntry();
    if (loaded == ERR_OK && s.state == TASK_RUNNING && s.sweepTriggerType == TRIGGER_SOFTWARE) {
        s.socketManager->drain(address);
        loaded = TARN::beginAtProgramCounter(s.socketManager, address);
    }
    // The start-up section restarted the sweep timer.
    previousSweepTimer = 0;
    sweepSync.counterKnown = false;
    return static_cast<Err_Code>(loaded);
}

Err_Code TarnTask::TaskHelpers::doMeasure(bool async) {
    TaskState& s = *task->state_;
    const bool asyncRunning = async && s.measurementType == PROG_ASYNC && s.state == TASK_RUNNING;
    const bool syncStarted = !async && s.measurementType == PROG_SYNC && s.state == TASK_STARTED;
    if (!asyncRunning && !syncStarted)
        return ERR_WRONG_STATE;
    if (s.measuredPaths.empty())
        return ERR_NO_PATHS_MEASURED;
    s.sweepResults.clear();

    const bool sendBegin = s.measurementType == PROG_SYNC && s.sweepTriggerType == TRIGGER_SOFTWARE;
    const std::string address = s.ipAddress.get();
    s.socketManager->set_current_dst_ip(address);
    const Recovery pending = recovery;
    if (pending == Recovery::Reload) {
        const Err_Code reloaded = reloadProgram();
        if (reloaded != ERR_OK)
            return reloaded;
    } else if (pending == Recovery::Resync && sendBegin) {
        // The unit may still be in the failed sweep: halting ends it, and the program counter
        // goes back to the jump table. How many packets it sent meanwhile is unknown.
        haltInternal(1);
        pointAtMainEntry();
        sweepSync.counterKnown = false;
    }
    recovery = Recovery::None;
    interruptRequested = false;

    EntryPoint entry = s.mainEntryPoint;
    if (sendBegin) {
        // Whatever the unit sent before this sweep began is no part of it.
        s.socketManager->drain(address);
        EntryPoint begin = entry;
        begin.packetCount = 0; // only the begin command; the sweep is collected below
        std::vector<PacketData> none;
        const int sent = TARN::runProgram(s.socketManager, address, begin, none, true);
        if (sent != ERR_OK)
            return static_cast<Err_Code>(sent);
    }

    SweepShape shape;
    shape.paths = static_cast<int>(s.measuredPaths.size());
    shape.packetsPerPath = entry.packetCount / shape.paths;
    // The task's time-out may have changed since the program was built.
    shape.packetTimeoutMs = packetTimeoutMs();
    const bool toBoundary = pending == Recovery::Resync && !sendBegin;
    std::vector<PacketData> packets;
    Err_Code result = collectSweep(s.socketManager, address, shape, toBoundary, sweepSync, packets,
                                   interruptRequested);
    if (result == ERR_OK)
        result = getDataFromPacketsNormal(packets, s.sweepResults);
    if (result == ERR_OK)
        return ERR_OK;

    s.sweepResults.clear();
    if (interruptRequested.exchange(false)) {
        recovery = Recovery::Resync;
        return ERR_INTERRUPTED;
    }
    // Silence may mean the unit restarted and lost its program; bad packets only that this
    // sweep cannot be trusted.
    recovery = result == ERR_NO_RESPONSE ? Recovery::Reload : Recovery::Resync;
    return result;
}

} // namespace Orvek
