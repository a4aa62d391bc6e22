// Unit arrays without the network: the shape check of validateArrayTasks with its messages, and
// the broadcast's refusals (which must happen before anything is sent).
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;
using tarntest::makeStoppedTask;
using tarntest::setTaskState;

namespace {

// A task that looks as if its program had been built for `points` frequencies and `paths`.
std::unique_ptr<TarnTask> builtTask(int points, int paths, int passLength) {
    auto task = makeStoppedTask(SWITCHBOARD_SIMPLE_8_PORT_SWITCH);
    std::vector<double> freqs(points, 1000.0);
    EXPECT_EQ(task->setFrequencies(freqs.data(), points), ERR_OK);
    for (int p = 0; p < paths; ++p) {
        EXPECT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, static_cast<Receive_Path>(p)), ERR_OK);
    }
    Orvek::TarnTaskTestAccess::state(*task).pointCountPerFrame = passLength;
    return task;
}

Err_Code validate(const std::vector<TarnTask*>& tasks, std::string& message) {
    testing::internal::CaptureStderr();
    Err_Code result = TarnTask::validateArrayTasks(tasks);
    message = testing::internal::GetCapturedStderr();
    return result;
}

} // namespace

TEST(UnitArray, TasksMustDeliverSweepsOfTheSameShape) {
    std::string message;
    EXPECT_EQ(validate({}, message), ERR_TASK_ARRAY_INVALID);
    EXPECT_EQ(message, "");

    auto unbuilt = builtTask(10, 1, 0);
    auto a = builtTask(10, 2, 12);
    EXPECT_EQ(validate({unbuilt.get(), a.get()}, message), ERR_TASK_ARRAY_INVALID);
    EXPECT_EQ(message, "No point times? Has the tarn program not yet been built?\n");

    EXPECT_EQ(validate({a.get()}, message), ERR_OK);
    EXPECT_EQ(message, "");

    auto same = builtTask(10, 2, 12);
    auto fewerPaths = builtTask(10, 1, 12);
    auto otherPoints = builtTask(11, 2, 12);
    auto otherPass = builtTask(10, 2, 13);
    EXPECT_EQ(validate({a.get(), same.get(), a.get()}, message), ERR_OK);
    EXPECT_EQ(validate({a.get(), same.get(), fewerPaths.get()}, message), ERR_TASK_ARRAY_INVALID);
    EXPECT_EQ(message, "Task with mismatching number of combos to measure!\n");
    EXPECT_EQ(validate({a.get(), otherPoints.get()}, message), ERR_TASK_ARRAY_INVALID);
    EXPECT_EQ(message, "Task with mismatching number of point-times!\n");
    EXPECT_EQ(validate({a.get(), otherPass.get()}, message), ERR_TASK_ARRAY_INVALID);
    EXPECT_EQ(message, "Task with mismatching number of point-times!\n");
    // Only the shape counts, not the state: an unbuilt task may follow a built reference as
    // long as its counts agree.
    setTaskState(*same, TASK_UNINITIALIZED);
    EXPECT_EQ(validate({a.get(), same.get()}, message), ERR_OK);
}

TEST(UnitArray, BroadcastRefusesBeforeSendingAndMarksTheTasksCheckedSoFar) {
    EXPECT_EQ(TarnTask::broadcastBeginCommand({}), ERR_TASK_ARRAY_INVALID);
    auto first = builtTask(10, 1, 12);
    auto second = builtTask(10, 1, 12);
    auto third = builtTask(10, 1, 12);
    setTaskState(*first, TASK_STARTED);
    setTaskState(*third, TASK_STARTED);
    // The second task is only stopped: nothing is sent, but the first is already running.
    EXPECT_EQ(TarnTask::broadcastBeginCommand({first.get(), second.get(), third.get()}),
              ERR_WRONG_STATE);
    EXPECT_EQ(first->getState(), TASK_RUNNING);
    EXPECT_EQ(second->getState(), TASK_STOPPED);
    EXPECT_EQ(third->getState(), TASK_STARTED);
    // A running task is not started either.
    EXPECT_EQ(TarnTask::broadcastBeginCommand({first.get()}), ERR_WRONG_STATE);
}
