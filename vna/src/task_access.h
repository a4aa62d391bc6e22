#pragma once
// The companion library drives tasks of its own copy of the driver code; these reach their
// internals. Only tasks made inside this library ever come here: a task_t of libtarndll is
// another library's object and is never looked into.
#include <memory>
#include <string>

#include "task/tarn_task.h"
#include "task/task_helpers.h"

namespace Orvek {

struct TarnTaskToolAccess {
    static TaskState& state(TarnTask& task) { return *task.state_; }
    static TarnTask::TaskHelpers& helpers(TarnTask& task) { return *task.helpers_; }
};

} // namespace Orvek
