#include "prom/prom_parameters.h"

namespace Orvek {

PromParameters::PromParameters() {
    reset();
}

void PromParameters::reset() {
    for (auto& column : Calibration_data) {
        std::vector<double>().swap(column);
    }
    Header_tag = 0;
    Header_bytes.fill(0);
    present_.fill(false);

    // A unit whose PROM was never read is assumed to carry the common 32 KiB part, so that it
    // can still be erased completely.
    Prom_geometry_1 = 64;
    Prom_geometry_2 = 512;
    present_[PromKey::PromGeometry1] = true;
    present_[PromKey::PromGeometry2] = true;

    Minimum_freq = 0;
    Maximum_freq = 0;
    Maximum_number_of_points = 0;
    Number_of_band_boundaries = 0;
    Band_boundaries.fill(0);
    PLL_type = 0;
    Int_PLL_Div = 0;
    Frac_PLL_MOD = 0;
    Number_of_PLL_loop_gain_boundaries = 0;
    PLL_loop_gain_boundaries.fill(0);
    PLL_prescaler_in_use = 0;
    PLL_prescaler_setting = 0;
    DDS_reference_frequency = 0.0;
    Master_clock_frequency = 0.0;
    Reserved_27 = 0;
    Feature_flags = 0;
    Switchboard_byte = 0;
    Unit_serial_number = 0;
    Reserved_30 = 0;
    Reserved_31 = 0;
    Number_of_calibration_points = 0;
    for (auto& text : Texts) {
        text.clear();
    }
    PLL_loop_gain_boundary_addresses.fill(0);
    Reserved_58 = 0;
    Reserved_59 = 0;
}

bool PromParameters::isKeyPresent(int key) const {
    return key >= 1 && key <= PromKey::Last && present_[key];
}

void PromParameters::setKeyPresent(int key, bool present) {
    if (key >= 1 && key <= PromKey::Last) {
        present_[key] = present;
    }
}

int PromParameters::calibrationKeyForColumn(int column) {
    constexpr int lowCount = PromKey::LastCalColumnLow - PromKey::FirstCalColumnLow + 1;
    if (column < 0 || column >= kCalibrationColumns) {
        return -1;
    }
    return column < lowCount ? PromKey::FirstCalColumnLow + column
                             : PromKey::FirstCalColumnHigh + (column - lowCount);
}

int PromParameters::calibrationColumnForKey(int key) {
    constexpr int lowCount = PromKey::LastCalColumnLow - PromKey::FirstCalColumnLow + 1;
    if (key >= PromKey::FirstCalColumnLow && key <= PromKey::LastCalColumnLow) {
        return key - PromKey::FirstCalColumnLow;
    }
    if (key >= PromKey::FirstCalColumnHigh && key <= PromKey::LastCalColumnHigh) {
        return lowCount + (key - PromKey::FirstCalColumnHigh);
    }
    return -1;
}

bool PromParameters::hasCalData() const {
    if (!isKeyPresent(PromKey::NumberOfCalPoints)) {
        return false;
    }
    for (int column = 0; column < kCalibrationColumns; ++column) {
        if (!isKeyPresent(calibrationKeyForColumn(column))) {
            return false;
        }
    }
    return true;
}

const double* PromParameters::calibrationColumn(int column) const {
    if (column < 0 || column >= kCalibrationColumns || Calibration_data[column].empty()) {
        return nullptr;
    }
    return Calibration_data[column].data();
}

} // namespace Orvek
