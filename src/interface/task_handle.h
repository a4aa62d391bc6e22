#pragma once
// The exported handle: a malloc'ed box of exactly one pointer to the task. Two kinds of null
// (no box, or a box without a task) both count as a bad handle.
#include "tarndll.h"
#include "task/tarn_task.h"

struct task_t {
    Orvek::TarnTask* task;
};

namespace Orvek {

// The task behind a handle, or null for either kind of null handle.
inline TarnTask* taskOf(task_t* handle) {
    return handle ? handle->task : nullptr;
}

} // namespace Orvek
