// Storing decoded PROM entries into the unit parameters.
#include <algorithm>
#include <cstdio>

#include "prom/prom_parameters.h"

namespace Orvek {

namespace {

int twoByteValue(const PromEntry& entry) {
    return (entry.data[0] & 0xFF) << 8 | (entry.data[1] & 0xFF);
}

bool isCalibrationColumnKey(int key) {
    return PromParameters::calibrationColumnForKey(key) >= 0;
}

// Number of data bytes a fixed-size key must carry.
size_t expectedSize(int key) {
    using namespace PromKey;
    switch (key) {
    case NumberOfBandBoundaries:
    case PllType:
    case IntPllDiv:
    case NumberOfPllLoopGainBoundaries:
    case PllPrescalerInUse:
    case PllPrescalerSetting:
    case Reserved58:
    case Reserved59:
        return 1;
    case DdsReferenceFrequency:
    case MasterClockFrequency:
        return 4;
    default:
        break;
    }
    if (key >= FirstPllLoopGainAddress && key < FirstPllLoopGainAddress + 4) {
        return 1;
    }
    return 2;
}

} // namespace

void PromParameters::digestPromData(const std::vector<PromEntry>& entries) {
    for (const PromEntry& entry : entries) {
        const int key = entry.key;
        if (key == kPromEndKey) {
            continue;
        }
        if (key < 1 || key > PromKey::Last) {
            std::printf(
                "Warning: unrecognized prom key value: %d [PromParameters::digestPromData]\n", key);
            continue;
        }
        if (key == PromKey::FeatureFlags) {
            unpack_feature_flag_segment(entry);
            continue;
        }
        if (isCalibrationColumnKey(key)) {
            // Decoded in the second pass, once the point count is known to be complete.
            setKeyPresent(key, true);
            continue;
        }
        if (key >= PromKey::FirstText && key <= PromKey::LastText) {
            const std::unique_ptr<char[]> text = decodeString(entry);
            Texts[key - PromKey::FirstText] = text ? text.get() : "";
            setKeyPresent(key, true);
            continue;
        }
        if (entry.data.size() != expectedSize(key)) {
            continue; // a wrong-sized entry leaves the key absent
        }
        const int byte0 = entry.data[0] & 0xFF;
        switch (key) {
        case PromKey::PromGeometry1:
            Prom_geometry_1 = twoByteValue(entry);
            break;
        case PromKey::PromGeometry2:
            Prom_geometry_2 = twoByteValue(entry);
            break;
        case PromKey::MinimumFreq:
            Minimum_freq = twoByteValue(entry);
            break;
        case PromKey::MaximumFreq:
            Maximum_freq = twoByteValue(entry);
            break;
        case PromKey::MaximumNumberOfPoints:
            Maximum_number_of_points = twoByteValue(entry);
            break;
        case PromKey::NumberOfBandBoundaries:
            Number_of_band_boundaries = byte0;
            break;
        case PromKey::PllType:
            PLL_type = byte0;
            break;
        case PromKey::IntPllDiv:
            Int_PLL_Div = byte0;
            break;
        case PromKey::FracPllMod:
            Frac_PLL_MOD = twoByteValue(entry);
            break;
        case PromKey::NumberOfPllLoopGainBoundaries:
            Number_of_PLL_loop_gain_boundaries = byte0;
            break;
        case PromKey::PllPrescalerInUse:
            PLL_prescaler_in_use = byte0;
            break;
        case PromKey::PllPrescalerSetting:
            PLL_prescaler_setting = byte0;
            break;
        case PromKey::DdsReferenceFrequency:
            DDS_reference_frequency = decodeFloat(entry);
            break;
        case PromKey::MasterClockFrequency:
            Master_clock_frequency = decodeFloat(entry);
            break;
        case PromKey::Reserved27:
            Reserved_27 = twoByteValue(entry);
            break;
        case PromKey::UnitSerialNumber:
            Unit_serial_number = twoByteValue(entry);
            break;
        case PromKey::Reserved30:
            Reserved_30 = twoByteValue(entry);
            break;
        case PromKey::Reserved31:
            Reserved_31 = twoByteValue(entry);
            break;
        case PromKey::NumberOfCalPoints:
            Number_of_calibration_points = twoByteValue(entry);
            break;
        case PromKey::Reserved58:
            Reserved_58 = byte0;
            break;
        case PromKey::Reserved59:
            Reserved_59 = byte0;
            break;
        default:
            if (key >= PromKey::FirstBandBoundary && key < PromKey::FirstBandBoundary + 8) {
                Band_boundaries[key - PromKey::FirstBandBoundary] = twoByteValue(entry);
            } else if (key >= PromKey::FirstPllLoopGainBoundary &&
                       key < PromKey::FirstPllLoopGainBoundary + 4) {
                PLL_loop_gain_boundaries[key - PromKey::FirstPllLoopGainBoundary] =
                    twoByteValue(entry);
            } else if (key >= PromKey::FirstPllLoopGainAddress &&
                       key < PromKey::FirstPllLoopGainAddress + 4) {
                PLL_loop_gain_boundary_addresses[key - PromKey::FirstPllLoopGainAddress] = byte0;
            }
            break;
        }
        setKeyPresent(key, true);
    }

    if (!hasCalData()) {
        return;
    }
    // Second pass: every column is there, so decode each one with the point count. A column
    // shorter than the count keeps zeros for the points it lacks.
    const unsigned count =
        Number_of_calibration_points > 0 ? static_cast<unsigned>(Number_of_calibration_points) : 0;
    for (const PromEntry& entry : entries) {
        const int column = calibrationColumnForKey(entry.key);
        if (column < 0) {
            continue;
        }
        const unsigned available = static_cast<unsigned>(entry.data.size() / 4);
        const unsigned decoded = available < count ? available : count;
        const std::unique_ptr<double[]> values = decodeFloatArray(entry.data.cbegin(), decoded);
        std::vector<double>& target = Calibration_data[column];
        target.assign(count, 0.0);
        std::copy(values.get(), values.get() + decoded, target.begin());
    }
}

} // namespace Orvek
