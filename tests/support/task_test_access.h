#pragma once
// Unit tests of TarnTask: reach its state record, and give a task a unit description with round
// numbers so that expected frequencies can be worked out by hand, without any network traffic.
#include <cstdint>
#include <memory>

#include "task/tarn_task.h"
#include "task/task_helpers.h"

namespace Orvek {

struct TarnTaskTestAccess {
    static TaskState& state(TarnTask& task) { return *task.state_; }
    static TarnTask::TaskHelpers& helpers(TarnTask& task) { return *task.helpers_; }
};

} // namespace Orvek

namespace tarntest {

// Band-0 tuning step of the test unit: N x f_ref / 2^24 = 100 x 167.77216 MHz / 2^24 = 1 kHz;
// band b steps 1 kHz / 2^b. Every band spans tuning words 3,000,000 to 6,000,000.
constexpr double kTestUnitBand0StepMHz = 1e-3;
constexpr double kTestUnitMasterClockMHz = 100.0;

// Range 10..6000 MHz, at most 1000 points, eight bands with lower edges 3000, 1500, 750, 375,
// 187.5, 93.75, 46.875 and 23.4375 MHz (rounded down to whole MHz as the PROM holds them),
// integer PLL N = 100, DDS reference 167.77216 MHz, master clock 100 MHz.
inline void describeTestUnit(Orvek::PromParameters& unit, Orvek::SwitchBoard_Type board,
                             uint8_t featureFlags) {
    using namespace Orvek;
    unit.reset();
    unit.Minimum_freq = 10;
    unit.Maximum_freq = 6000;
    unit.Maximum_number_of_points = 1000;
    unit.Number_of_band_boundaries = 8;
    unit.Band_boundaries = {3000, 1500, 750, 375, 187, 93, 46, 23};
    unit.PLL_type = 0;
    unit.Int_PLL_Div = 100;
    unit.Number_of_PLL_loop_gain_boundaries = 0;
    unit.PLL_prescaler_in_use = 0;
    unit.DDS_reference_frequency = 167.77216;
    unit.Master_clock_frequency = kTestUnitMasterClockMHz;
    unit.Feature_flags = featureFlags;
    unit.setSwitchboardType(board);
    // Keys 3..16 (range, points, band plan, PLL type and divider), 18, 23, 25, 26 and 28.
    for (int key = PromKey::MinimumFreq; key <= PromKey::IntPllDiv; ++key)
        unit.setKeyPresent(key, true);
    for (int key :
         {PromKey::NumberOfPllLoopGainBoundaries, PromKey::PllPrescalerInUse,
          PromKey::DdsReferenceFrequency, PromKey::MasterClockFrequency, PromKey::FeatureFlags})
        unit.setKeyPresent(key, true);
}

// A task in TASK_STOPPED against the test unit, as if initialize() had succeeded.
inline std::unique_ptr<Orvek::TarnTask>
makeStoppedTask(Orvek::SwitchBoard_Type board = Orvek::SWITCHBOARD_SIMPLE_4_PORT_SWITCH,
                uint8_t featureFlags = 0) {
    auto task = std::make_unique<Orvek::TarnTask>();
    describeTestUnit(*task->getHardwareDetails(), board, featureFlags);
    Orvek::TarnTaskTestAccess::state(*task).state = Orvek::TASK_STOPPED;
    return task;
}

inline void setTaskState(Orvek::TarnTask& task, Orvek::Task_State state) {
    Orvek::TarnTaskTestAccess::state(task).state = state;
}

} // namespace tarntest
