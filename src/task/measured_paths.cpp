// The list of (transmit, receive) paths a sweep measures, in the order they were added.
#include "switchboard/path_to_switch_control.h"
#include "switchboard/switchboard_state.h"
#include "task/path_exceptions.h"
#include "task/sweep_data.h"
#include "task/tarn_task.h"

namespace Orvek {

namespace {

// Index beyond the path list; the value has no name among the error codes.
constexpr int kIndexBeyondList = -32;

} // namespace

Err_Code TarnTask::addPathToMeasure(std::shared_ptr<SwitchBoardState> path) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    if (!path)
        return ERR_BAD_PATH;
    const std::string kind = path->getSwitchboardType();
    for (const auto& listed : state_->measuredPaths) {
        // One program drives one switch board; paths of different kinds cannot be mixed.
        if (listed->getSwitchboardType() != kind)
            return ERR_BAD_PATH;
        if (*listed == *path)
            return ERR_PATH_ALREADY_MEASURED;
    }
    state_->measuredPaths.push_back(std::move(path));
    // Sweep results are found by their place in the list.
    state_->sweepResults.clear();
    return ERR_OK;
}

Err_Code TarnTask::addPathToMeasure(Transmit_Path tx, Receive_Path rx) {
    // The mapping runs before any state check, against whatever description the task holds.
    return convertPathExceptions(
        [&] { return addPathToMeasure(path_to_switch_control(state_->promParameters, tx, rx)); });
}

Err_Code TarnTask::clearMeasuredPaths() {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->measuredPaths.clear();
    state_->sweepResults.clear();
    return ERR_OK;
}

Err_Code TarnTask::getMeasuredPathCount(int& count) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    count = static_cast<int>(state_->measuredPaths.size());
    return ERR_OK;
}

Err_Code TarnTask::getPathAtIndex(int index, Transmit_Path& /*tx*/, Receive_Path& /*rx*/) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    const auto& paths = state_->measuredPaths;
    if (static_cast<unsigned int>(index) > paths.size())
        return static_cast<Err_Code>(kIndexBeyondList);
    // An index equal to the count is refused by the checked access, which throws
    // std::out_of_range to the caller. The paths are deliberately not reported: callers receive
    // the "none" values that the exported layer presets.
    std::shared_ptr<SwitchBoardState> entry = paths.at(static_cast<std::size_t>(index));
    entry.reset();
    return ERR_OK;
}

} // namespace Orvek
