// Unit arrays: several units, one task each, sharing one endpoint and started together by one
// broadcast begin command.
#include <iostream>

#include "link/device_commands.h"
#include "task/tarn_task.h"

namespace Orvek {

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
    return static_cast<Err_Code>(TARN::broadcastBegin(state_->socketManager));
}

} // namespace Orvek
