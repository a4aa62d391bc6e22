// Construction, destruction and the plain settings of a task.
#include "task/tarn_task.h"

#include <cstring>

#include "link/socket_manager.h"
#include "switchboard/switchboard_state.h"
#include "task/sweep_data.h"
#include "task/task_helpers.h"

namespace Orvek {

TarnTask::TarnTask()
    : state_(std::make_unique<TaskState>()), helpers_(std::make_unique<TaskHelpers>(this)) {
    state_->socketManager = std::make_shared<SocketManager>();
}

TarnTask::TarnTask(TarnTask& other) : TarnTask() {
    // The endpoint made for this task is released here; the units of an array are told apart
    // by address on the shared one.
    state_->socketManager = other.state_->socketManager;
}

TarnTask::~TarnTask() {
    // What the unit left queued on a shared endpoint goes with its task.
    if (state_->ipAddress)
        state_->socketManager->forget(state_->ipAddress.get());
}

bool TarnTask::isNotStarted() const {
    return state_->state == TASK_UNINITIALIZED || state_->state == TASK_STOPPED;
}

Err_Code TarnTask::setTimeout(unsigned int milliseconds) {
    state_->timeout = milliseconds;
    return ERR_OK;
}

unsigned int TarnTask::getTimeout() {
    return state_->timeout;
}
Task_State TarnTask::getState() {
    return state_->state;
}
const char* TarnTask::getIPAddress() {
    return state_->ipAddress.get();
}
int TarnTask::getIPPort() {
    return state_->port;
}

Err_Code TarnTask::setReceiver12dBPadEnabled(bool enabled) {
    state_->receiver12dBPad = enabled;
    return ERR_OK;
}

bool TarnTask::getReceiver12dBPadEnabled() {
    return state_->receiver12dBPad;
}

Err_Code TarnTask::setResetFrameCounterOnStart(bool reset) {
    state_->resetFrameCounterOnStart = reset;
    return ERR_OK;
}

bool TarnTask::getResetFrameCounterOnStart() {
    return state_->resetFrameCounterOnStart;
}

Err_Code TarnTask::setSendSweepTimer(bool send) {
    state_->sendSweepTimer = send;
    return ERR_OK;
}

bool TarnTask::getSendSweepTimer() {
    return state_->sendSweepTimer;
}

Hop_Rate TarnTask::getHopRate() {
    return state_->hopRate;
}
Rx_Gain TarnTask::getReceiverGain() {
    return state_->receiverGain;
}
int TarnTask::getEnabledReceivers() {
    return state_->enabledReceivers;
}

int TarnTask::getnumberOfEnabledReceivers() {
    int count = 0;
    for (int bit = 0; bit < 4; ++bit) {
        if (state_->enabledReceivers & (1 << bit))
            ++count;
    }
    // The unit always runs its first receiver, even with an empty mask.
    return count == 0 ? 1 : count;
}

Program_Type TarnTask::getMeasurementType() {
    return state_->measurementType;
}
Trigger_Type TarnTask::getSweepTriggerType() {
    return state_->sweepTriggerType;
}
Sync_Pulse_Mode TarnTask::getSyncPulseMode() {
    return state_->syncPulseMode;
}
bool TarnTask::isShaftEncoderEnabled() {
    return state_->shaftEncodersEnabled;
}
bool TarnTask::isShaftEncoderResetOnStartEnabled() {
    return state_->resetShaftEncodersOnStart;
}
bool TarnTask::isDigitalOutEnabled() {
    return state_->digitalOutEnabled;
}
bool TarnTask::digitalOutValue() {
    return state_->digitalOutValue;
}
bool TarnTask::getTXPowerAmpState() {
    return state_->txPowerAmpOn;
}
bool TarnTask::getRXPowerAmpState() {
    return state_->rxPowerAmpOn;
}
bool TarnTask::getTXRFSwitchState() {
    return state_->txRFSwitchOn;
}
bool TarnTask::getSuppressFrequencyDataSetting() {
    return state_->suppressFrequencyData;
}
bool TarnTask::isTDDEnabled() {
    return state_->tddEnabled;
}
TDDConfiguration TarnTask::getTDDConfiguration() {
    return state_->tddConfiguration;
}
bool TarnTask::isSerialPortEnabled() {
    return state_->serialBufferSize != 0;
}

unsigned int TarnTask::getSerialPortBufferSize() {
    if (!getFeaturePresent(FEATURE_SERIAL_PORT))
        return static_cast<unsigned int>(-1);
    return state_->serialBufferSize;
}

bool TarnTask::isSwitchboardAttenuationEnabled() {
    return state_->switchboardAttenuation != ATTEN_UNDEFINED;
}

Rx_Attenuation TarnTask::getSwitchboardAttenuation() {
    return state_->switchboardAttenuation;
}

bool TarnTask::getFeaturePresent(Hardware_Features feature) {
    // featureFlagToBitPosition throws for retired and unknown values; a negative position is
    // reported to the caller as the code itself.
    if (featureFlagToBitPosition(feature) < 0)
        throw ERR_UNKNOWN_FEATURE;
    return state_->promParameters.getFeatureFlag(feature);
}

PromParameters* TarnTask::getHardwareDetails() {
    return &state_->promParameters;
}

} // namespace Orvek
