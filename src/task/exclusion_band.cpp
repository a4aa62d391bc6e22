// Exclusion bands of the frequency plan.
#include "task/exclusion_band.h"

#include "task/tarn_task.h"

namespace Orvek {

namespace {

// Index beyond the band list; the value has no name among the error codes.
constexpr int kIndexBeyondList = -32;

} // namespace

bool freqInExclusionBand(const std::vector<ExclusionBand>& bands, double freq) {
    for (const ExclusionBand& band : bands) {
        if (band.low <= freq && freq <= band.high)
            return true;
    }
    return false;
}

Err_Code TarnTask::addExclusionBand(double low, double high) {
    if (state_->state != TASK_STOPPED)
        return ERR_WRONG_STATE;
    // Written so that NaN ends are refused as well.
    if (!(low < high) || !(low > 0.0))
        return ERR_INVALID_PARAMETER;
    state_->exclusionBands.push_back(ExclusionBand{low, high});
    return ERR_OK;
}

Err_Code TarnTask::clearExclusionBands() {
    if (state_->state != TASK_STOPPED)
        return ERR_WRONG_STATE;
    state_->exclusionBands.clear();
    return ERR_OK;
}

Err_Code TarnTask::getExclusionBandCount(int& count) {
    if (state_->state != TASK_STOPPED)
        return ERR_WRONG_STATE;
    count = static_cast<int>(state_->exclusionBands.size());
    return ERR_OK;
}

Err_Code TarnTask::getExclusionBand(int index, double& low, double& high) {
    if (state_->state != TASK_STOPPED)
        return ERR_WRONG_STATE;
    if (index < 0 || static_cast<std::size_t>(index) >= state_->exclusionBands.size())
        return static_cast<Err_Code>(kIndexBeyondList);
    low = state_->exclusionBands[index].low;
    high = state_->exclusionBands[index].high;
    return ERR_OK;
}

} // namespace Orvek
