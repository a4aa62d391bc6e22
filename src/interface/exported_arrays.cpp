// Exported unit-array functions: several tasks that share one endpoint, started together.
#include <vector>

#include "interface/task_handle.h"

using Orvek::TarnTask;

namespace {

// The tasks of the caller's array in order, or false at the first null box or task.
bool collectTasks(task_t** handles, unsigned int count, std::vector<TarnTask*>& tasks) {
    for (unsigned int i = 0; i < count; ++i) {
        TarnTask* task = Orvek::taskOf(handles[i]);
        if (!task)
            return false;
        tasks.push_back(task);
    }
    return true;
}

} // namespace

extern "C" {

TARN_API int validateArrayTasks(task_t** handles, unsigned int count) {
    if (!handles && count > 0)
        return Orvek::ERR_BYTES;
    std::vector<TarnTask*> tasks;
    return collectTasks(handles, count, tasks) ? TarnTask::validateArrayTasks(tasks) : -1;
}

TARN_API int broadcastBeginCommand(task_t** handles, unsigned int count) {
    if (!handles && count > 0)
        return Orvek::ERR_BYTES;
    std::vector<TarnTask*> tasks;
    return collectTasks(handles, count, tasks) ? TarnTask::broadcastBeginCommand(tasks) : -1;
}

} // extern "C"
