// The unit's low-power state, entered by direct register writes without a program.
#include "link/device_commands.h"
#include "link/socket_manager.h"
#include "task/tarn_task.h"

namespace Orvek {

namespace {

constexpr unsigned int kReplyPollMs = 50;
// Register 0x80 = 0x80 switches the front end's amplifiers, switches and supplies off.
const std::string kFrontEndOff = "Z8080\n";
// Register 0x84 = 0x08 strobes the I/O update so the new 0x80 value reaches the hardware.
const std::string kTriggerIoUpdate = "Z8408\n";
const std::string kReadFrontEnd = "Z80\n";
// The unit echoes the register value, then its prompt padded with blanks to 18 characters.
const std::string kExpectedReadBack = "80\r\n>             ";

} // namespace

Err_Code TarnTask::enterLowPowerState() {
    if (state_->state != TASK_STOPPED && state_->state != TASK_STARTED)
        return ERR_WRONG_STATE;
    const std::shared_ptr<SocketManager>& endpoint = state_->socketManager;
    const std::string address = state_->ipAddress ? state_->ipAddress.get() : "";
    endpoint->set_current_dst_ip(address);
    // A missing reply to the writes shows up as a wrong read-back.
    std::string reply;
    TARN::sendMessage(endpoint, address, kFrontEndOff, reply, state_->timeout, kReplyPollMs);
    TARN::sendMessage(endpoint, address, kTriggerIoUpdate, reply, state_->timeout, kReplyPollMs);
    TARN::sendMessage(endpoint, address, kReadFrontEnd, reply, state_->timeout, kReplyPollMs);
    return reply == kExpectedReadBack ? ERR_OK : ERR_BYTES;
}

} // namespace Orvek
