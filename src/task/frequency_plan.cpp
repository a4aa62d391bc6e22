// The frequency plan: validating, snapping and generating sweep frequencies (MHz), the receive
// synthesiser offset and the frame time.
#include <cmath>
#include <vector>

#include "hardware/frequency_synthesis.h"
#include "hardware/point_timing.h"
#include "task/sweep_data.h"
#include "task/tarn_task.h"

namespace Orvek {

namespace {

// The point limit of a unit is a 16-bit PROM value. Counts that do not fit an int are refused
// as well rather than wrapping to a negative number that would pass the comparison.
bool exceedsPointLimit(unsigned int count, int maximumPoints) {
    return maximumPoints < 0 || count > static_cast<unsigned int>(maximumPoints);
}

bool outsideLimits(double freq, const PromParameters& unit) {
    return freq > static_cast<double>(unit.Maximum_freq) ||
           freq < static_cast<double>(unit.Minimum_freq);
}

} // namespace

Err_Code TarnTask::setFrequencies(const double* freqs, unsigned int count) {
    if (state_->state != TASK_STOPPED)
        return ERR_WRONG_STATE;
    const PromParameters& unit = state_->promParameters;
    if (exceedsPointLimit(count, unit.Maximum_number_of_points))
        return ERR_TOO_MANY_POINTS;
    if (count > 0 && freqs == nullptr)
        return ERR_MISSING_FREQS;
    for (unsigned int i = 0; i < count; ++i) {
        // Written so that a NaN is refused too.
        if (!(freqs[i] >= unit.Minimum_freq && freqs[i] <= unit.Maximum_freq))
            return ERR_FREQ_OUT_OF_BOUNDS;
    }
    auto snapped = std::make_unique<double[]>(count);
    for (unsigned int i = 0; i < count; ++i) {
        double freq = freqs[i];
        utilNearestLegalFreq(freq);
        snapped[i] = freq;
    }
    state_->frequencies = std::move(snapped);
    state_->numberOfFrequencies = count;
    // Sweep results are per point of the list they were measured with.
    state_->sweepResults.clear();
    return ERR_OK;
}

const double* TarnTask::getFrequencies() {
    return state_->frequencies.get();
}

int TarnTask::getNumberOfFrequencies() {
    return static_cast<int>(state_->numberOfFrequencies);
}

Err_Code TarnTask::utilNearestLegalFreq(double& freq) {
    if (state_->state == TASK_UNINITIALIZED)
        return ERR_WRONG_STATE;
    const PromParameters& unit = state_->promParameters;
    if (outsideLimits(freq, unit))
        return ERR_FREQ_OUT_OF_BOUNDS;
    // A frequency below the lowest band edge has no band; it is stored as 0.0 so that the
    // caller sees it was not synthesisable.
    int band = freqToBand(freq, unit, false);
    unsigned char tx2, tx1, tx0, rx2, rx1, rx0;
    freq = freqToRegisters(freq, band, unit, tx2, tx1, tx0, rx2, rx1, rx0, nullptr);
    return ERR_OK;
}

Err_Code TarnTask::utilFixLinearSweepLimits(double& start, double& stop, unsigned int count) {
    if (state_->state == TASK_UNINITIALIZED)
        return ERR_WRONG_STATE;
    const PromParameters& unit = state_->promParameters;
    if (outsideLimits(start, unit) || outsideLimits(stop, unit))
        return ERR_FREQ_OUT_OF_BOUNDS;
    if (exceedsPointLimit(count, unit.Maximum_number_of_points))
        return ERR_TOO_MANY_POINTS;

    if (count < 2 || start == stop) {
        // A single frequency: round each end to a whole tuning step towards the middle of the
        // unit's range, where it is sure to stay legal.
        double mid = unit.Minimum_freq + (unit.Maximum_freq - unit.Minimum_freq) * 0.5;
        for (double* end : {&start, &stop}) {
            int band = freqToBand(*end, unit, false);
            double word = freqToDDS(*end, band, unit);
            word = *end > mid ? std::floor(word) : std::ceil(word);
            *end = DDSToFreq(word, band, unit);
        }
        return ERR_OK;
    }

    // The low end rounds up and the high end down, so both stay inside the requested span; the
    // step is a whole number of band-0 tuning steps, and the high end follows from it.
    bool reversed = start > stop;
    double low = reversed ? stop : start;
    double high = reversed ? start : stop;
    int bandLow = freqToBand(low, unit, false);
    low = DDSToFreq(std::ceil(freqToDDS(low, bandLow, unit)), bandLow, unit);
    int bandHigh = freqToBand(high, unit, false);
    high = DDSToFreq(std::floor(freqToDDS(high, bandHigh, unit)), bandHigh, unit);
    double step = (high - low) / (count - 1);
    double stepWord = std::floor(freqToDDS(step, 0, unit));
    high = low + (count - 1) * DDSToFreq(stepWord, 0, unit);
    start = reversed ? high : low;
    stop = reversed ? low : high;
    return ERR_OK;
}

Err_Code TarnTask::utilGenerateLinearSweep(double start, double stop, unsigned int count) {
    if (state_->state != TASK_STOPPED)
        return ERR_WRONG_STATE;
    const PromParameters& unit = state_->promParameters;
    if (outsideLimits(start, unit) || outsideLimits(stop, unit))
        return ERR_FREQ_OUT_OF_BOUNDS;
    if (exceedsPointLimit(count, unit.Maximum_number_of_points))
        return ERR_TOO_MANY_POINTS;
    Err_Code result = utilFixLinearSweepLimits(start, stop, count);
    if (result != ERR_OK)
        return result;
    // One point or none is not a sweep: the current list is kept.
    if (count <= 1)
        return ERR_OK;
    double step = (stop - start) / (count - 1);
    std::vector<double> sweep(count);
    for (unsigned int i = 0; i < count; ++i)
        sweep[i] = start + i * step;
    return setFrequencies(sweep.data(), count);
}

Err_Code TarnTask::setFrequencyOffset(bool enabled, unsigned int counts) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    state_->frequencyOffsetEnabled = enabled;
    state_->frequencyOffsetCounts = counts;
    return ERR_OK;
}

bool TarnTask::getFrequencyOffsetEnabled() {
    return state_->frequencyOffsetEnabled;
}

unsigned int TarnTask::getFrequencyOffsetCounts() {
    return state_->frequencyOffsetCounts;
}

double TarnTask::getFrequencyOffset() {
    if (state_->state == TASK_UNINITIALIZED)
        return 0.0;
    // The offset register holds bits 8..15 of the tuning word; the product wraps at 32 bits
    // like the unit's own arithmetic.
    uint32_t word = static_cast<uint32_t>(state_->frequencyOffsetCounts) * 256u;
    return DDSToFreq(static_cast<double>(word), 0, state_->promParameters);
}

double TarnTask::getPreciseTimePerFrame() {
    if (state_->state != TASK_STARTED && state_->state != TASK_RUNNING)
        return -1.0;
    uint32_t points = static_cast<uint32_t>(state_->pointCountPerFrame) *
                      static_cast<uint32_t>(state_->measuredPaths.size());
    return sPerPoint(state_->hopRate, state_->promParameters.Master_clock_frequency) *
           static_cast<double>(points);
}

} // namespace Orvek
