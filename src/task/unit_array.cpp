// Unit arrays: several units, one task each, sharing one endpoint and started together by one
// broadcast begin command.
#include <iostream>

#include "link/socket_manager.h"
#include "task/tarn_task.h"

namespace Orvek {

namespace {

// The array protocol: every unit of an array sits on the 192.168.1.x network and listens on
// port 1024 for the broadcast begin.
const std::string kArrayBroadcastAddress = "192.168.1.255";
constexpr uint16_t kArrayPort = 1024;
const std::string kBeginCommand = "B\n";
constexpr unsigned long kDefaultReceiveBufferBytes = 8388608;

} // namespace

Err_Code TarnTask::validateArrayTasks(std::vector<TarnTask*> tasks) {
    if (tasks.empty())
        return ERR_TASK_ARRAY_INVALID;
    const TaskState& reference = *tasks.front()->state_;
    if (reference.pointCountPerFrame == 0) {
        std::cerr << "No point times? Has the tarn program not yet been built?" << std::endl;
        return ERR_TASK_ARRAY_INVALID;
    }
    for (std::size_t i = 1; i < tasks.size(); ++i) {
        const TaskState& other = *tasks[i]->state_;
        if (other.measuredPaths.size() != reference.measuredPaths.size()) {
            std::cerr << "Task with mismatching number of combos to measure!" << std::endl;
            return ERR_TASK_ARRAY_INVALID;
        }
        if (other.pointCountPerFrame != reference.pointCountPerFrame ||
            other.numberOfFrequencies != reference.numberOfFrequencies) {
            std::cerr << "Task with mismatching number of point-times!" << std::endl;
            return ERR_TASK_ARRAY_INVALID;
        }
    }
    return ERR_OK;
}

Err_Code TarnTask::broadcastBeginCommand(std::vector<TarnTask*> tasks) {
    if (tasks.empty())
        return ERR_TASK_ARRAY_INVALID;
    // Each task is marked running as soon as it is checked, before the next is looked at.
    for (TarnTask* task : tasks) {
        if (task->state_->state != TASK_STARTED)
            return ERR_WRONG_STATE;
        task->state_->state = TASK_RUNNING;
    }
    return tasks.front()->__broadcastBeginCommand();
}

Err_Code TarnTask::__broadcastBeginCommand() {
    const std::shared_ptr<SocketManager>& endpoint = state_->socketManager;
    // Re-bound with the size the kernel granted, so that the re-bind does not shrink the room
    // the coming burst of packets needs. A closed endpoint reports no size; ask for the usual.
    const int granted = endpoint->get_buffer_size();
    const unsigned long bufferSize =
        granted > 0 ? static_cast<unsigned long>(granted) : kDefaultReceiveBufferBytes;
    const std::string savedDestination = endpoint->get_current_dst_ip();

    endpoint->bind_socket(kArrayPort, bufferSize);
    endpoint->set_current_dst_ip(kArrayBroadcastAddress);
    int result = endpoint->send_to(kArrayBroadcastAddress, kBeginCommand);
    if (result != 0)
        return static_cast<Err_Code>(result);
    endpoint->bind_socket(kArrayPort, bufferSize);
    endpoint->set_current_dst_ip(savedDestination);
    return static_cast<Err_Code>(result);
}

} // namespace Orvek
