// The unit's low-power state, entered by direct register commands without a program.
#include "link/device_commands.h"
#include "task/tarn_task.h"

namespace Orvek {

Err_Code TarnTask::enterLowPowerState() {
    if (state_->state != TASK_STOPPED && state_->state != TASK_STARTED)
        return ERR_WRONG_STATE;
    const std::string address = state_->ipAddress ? state_->ipAddress.get() : "";
    state_->socketManager->set_current_dst_ip(address);
    return static_cast<Err_Code>(
        TARN::enterLowPower(state_->socketManager, address, static_cast<int>(state_->timeout)));
}

} // namespace Orvek
