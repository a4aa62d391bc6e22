// The measurement life of a task on its unit: start (build, upload, run the start-up section),
// synchronous and free-running sweeps, halting, interruption and stop.
#include <string>
#include <vector>

#include "link/device_commands.h"
#include "link/transport.h"
#include "task/halt_exchange.h"
#include "task/task_helpers.h"

namespace Orvek {
namespace {

// How often to try the halt exchange before the unit counts as silent.
constexpr int kHaltAttempts = 5;

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
    if (!s.ipAddress)
        return ERR_MISSING_IP;
    const std::string address = s.ipAddress.get();
    s.socketManager->set_current_dst_ip(address);

    helpers_->buildTarnProgramNormal();

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
    if (s.sweepTriggerType == TRIGGER_SOFTWARE) {
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
    const TaskState& s = *task->state_;
    if (s.state != TASK_STARTED)
        return ERR_WRONG_STATE;
    return TARN::setProgramCounter(s.socketManager, s.ipAddress.get(), s.mainEntryPoint.address,
                                   static_cast<int>(s.timeout));
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

    EntryPoint entry = s.mainEntryPoint;
    // The task's time-out may have changed since the program was built.
    entry.packetTimeoutMs = packetTimeoutMs();
    const bool sendBegin = s.measurementType == PROG_SYNC && s.sweepTriggerType == TRIGGER_SOFTWARE;
    const std::string address = s.ipAddress.get();
    if (sendBegin && recoverBeforeNextSweep) {
        // An earlier sweep failed part-way: the unit may still be sweeping, and packets of that
        // sweep may still be queued. Halting it ends both (the halt exchange drains the unit's
        // queue); then the program counter goes back to the jump table.
        s.socketManager->set_current_dst_ip(address);
        haltInternal(1);
        setPcToMainEntryPoint();
    }
    recoverBeforeNextSweep = false;
    interruptRequested = false;

    std::vector<PacketData> packets;
    const int result = TARN::runProgram(s.socketManager, address, entry, packets, sendBegin);
    if (result != ERR_OK) {
        recoverBeforeNextSweep = true;
        if (interruptRequested.exchange(false))
            return ERR_INTERRUPTED;
        return static_cast<Err_Code>(result);
    }
    const Err_Code decoded = getDataFromPacketsNormal(packets, s.sweepResults);
    if (decoded != ERR_OK) {
        recoverBeforeNextSweep = true;
        s.sweepResults.clear();
    }
    return decoded;
}

} // namespace Orvek
