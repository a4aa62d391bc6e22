// Settings that are checked against the task's state and the unit's hardware.
#include "task/sweep_data.h"
#include "task/tarn_task.h"

namespace Orvek {

namespace {

// Largest serial buffer the unit returns with a sweep: the block is size + 2 bytes and the
// unit's size register is 8 bits wide.
constexpr unsigned int kMaxSerialBufferSize = 254;
// TDD timing and attenuator registers of the external board are 8 bits wide.
constexpr uint32_t kMaxTddRegisterValue = 255;

} // namespace

Err_Code TarnTask::setHopRate(Hop_Rate rate) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->hopRate = rate;
    return ERR_OK;
}

Err_Code TarnTask::setReceiverGain(Rx_Gain gain) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->receiverGain = gain;
    return ERR_OK;
}

Err_Code TarnTask::setEnabledReceivers(unsigned char mask) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    if (mask != 1 && !getFeaturePresent(FEATURE_MULTIPLE_RECEIVERS))
        return ERR_FEATURE_NOT_PRESENT;
    state_->enabledReceivers = mask;
    // Sweep results hold the receivers they were measured with.
    state_->sweepResults.clear();
    return ERR_OK;
}

Err_Code TarnTask::configureShaftEncodersFeature(bool enable, bool resetOnStart) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    if (!getFeaturePresent(FEATURE_SHAFT_ENCODER))
        return ERR_FEATURE_NOT_PRESENT;
    state_->shaftEncodersEnabled = enable;
    state_->resetShaftEncodersOnStart = resetOnStart;
    return ERR_OK;
}

Err_Code TarnTask::configureSerialPortFeature(bool enable, unsigned int size) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    if (!getFeaturePresent(FEATURE_SERIAL_PORT))
        return ERR_FEATURE_NOT_PRESENT;
    if (size > kMaxSerialBufferSize)
        return ERR_TOO_MANY_POINTS;
    state_->serialBufferSize = enable ? size : 0;
    return ERR_OK;
}

Err_Code TarnTask::configureSwitchboardAttenuationFeature(bool enable, Rx_Attenuation attenuation) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    if (enable && !getFeaturePresent(FEATURE_SWITCHBOARD_ATTENUATOR))
        return ERR_NO_ATTEN_PRESENT;
    // Enabling is expressed by the value alone: anything but ATTEN_UNDEFINED is programmed.
    state_->switchboardAttenuation = attenuation;
    return ERR_OK;
}

Err_Code TarnTask::configureTDDFeature(bool enable, TDDConfiguration configuration) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    if (state_->promParameters.getSwitchboardType() != SWITCHBOARD_TDD_4_PORT_SWITCH)
        return ERR_FEATURE_NOT_PRESENT;
    for (uint32_t timing : configuration.timing) {
        if (timing > kMaxTddRegisterValue)
            return ERR_INVALID_PARAMETER;
    }
    if (configuration.attenuatorValue > kMaxTddRegisterValue)
        return ERR_INVALID_PARAMETER;
    state_->tddEnabled = enable;
    state_->tddConfiguration = std::move(configuration);
    return ERR_OK;
}

Err_Code TarnTask::configureDigitalOutFeature(bool enable, bool value) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->digitalOutEnabled = enable;
    state_->digitalOutValue = value;
    return ERR_OK;
}

Err_Code TarnTask::configureTXPowerAmpFeature(bool on) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->txPowerAmpOn = on;
    return ERR_OK;
}

Err_Code TarnTask::configureRXPowerAmpFeature(bool on) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->rxPowerAmpOn = on;
    return ERR_OK;
}

Err_Code TarnTask::configureTXRFSwitchFeature(bool on) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->txRFSwitchOn = on;
    return ERR_OK;
}

Err_Code TarnTask::setSuppressFrequencyData(bool suppress) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->suppressFrequencyData = suppress;
    return ERR_OK;
}

Err_Code TarnTask::setMeasurementType(Program_Type type) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    if (type != PROG_SYNC && type != PROG_ASYNC)
        return ERR_WRONG_PROGRAM_TYPE;
    state_->measurementType = type;
    return ERR_OK;
}

// The trigger type and sync-pulse mode are stored unchecked: the program generator refuses
// values it cannot program when the task is started.
Err_Code TarnTask::setSweepTriggerType(Trigger_Type type) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->sweepTriggerType = type;
    return ERR_OK;
}

Err_Code TarnTask::setSyncPulseMode(Sync_Pulse_Mode mode) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->syncPulseMode = mode;
    return ERR_OK;
}

} // namespace Orvek
