// Turning the unit parameters back into PROM entries, the writer's side of the digest.
#include <cstring>

#include "prom/prom_parameters.h"

namespace Orvek {

namespace {

// Appends the data bytes of one key.
void encodeKey(const PromParameters& p, int key, std::vector<int>& bytes) {
    using namespace PromKey;
    const int column = PromParameters::calibrationColumnForKey(key);
    if (column >= 0) {
        // Always exactly `count` floats, so the entry digests back with the same point count
        // even if the column holds fewer values than the count says.
        const std::vector<double>& values = p.Calibration_data[column];
        const int count = p.Number_of_calibration_points > 0 ? p.Number_of_calibration_points : 0;
        for (int i = 0; i < count; ++i) {
            encodeFloat(bytes, static_cast<size_t>(i) < values.size() ? values[i] : 0.0);
        }
        return;
    }
    if (key >= FirstText && key <= LastText) {
        const char* text = p.Texts[key - FirstText].c_str();
        encodeString(bytes, text, static_cast<unsigned>(std::strlen(text)));
        return;
    }
    if (key >= FirstBandBoundary && key < FirstBandBoundary + 8) {
        encodeInt(bytes, p.Band_boundaries[key - FirstBandBoundary], 2);
        return;
    }
    if (key >= FirstPllLoopGainBoundary && key < FirstPllLoopGainBoundary + 4) {
        encodeInt(bytes, p.PLL_loop_gain_boundaries[key - FirstPllLoopGainBoundary], 2);
        return;
    }
    if (key >= FirstPllLoopGainAddress && key < FirstPllLoopGainAddress + 4) {
        encodeInt(bytes, p.PLL_loop_gain_boundary_addresses[key - FirstPllLoopGainAddress], 1);
        return;
    }
    switch (key) {
    case PromGeometry1:
        encodeInt(bytes, p.Prom_geometry_1, 2);
        break;
    case PromGeometry2:
        encodeInt(bytes, p.Prom_geometry_2, 2);
        break;
    case MinimumFreq:
        encodeInt(bytes, p.Minimum_freq, 2);
        break;
    case MaximumFreq:
        encodeInt(bytes, p.Maximum_freq, 2);
        break;
    case MaximumNumberOfPoints:
        encodeInt(bytes, p.Maximum_number_of_points, 2);
        break;
    case NumberOfBandBoundaries:
        encodeInt(bytes, p.Number_of_band_boundaries, 1);
        break;
    case PllType:
        encodeInt(bytes, p.PLL_type, 1);
        break;
    case IntPllDiv:
        encodeInt(bytes, p.Int_PLL_Div, 1);
        break;
    case FracPllMod:
        encodeInt(bytes, p.Frac_PLL_MOD, 2);
        break;
    case NumberOfPllLoopGainBoundaries:
        encodeInt(bytes, p.Number_of_PLL_loop_gain_boundaries, 1);
        break;
    case PllPrescalerInUse:
        encodeInt(bytes, p.PLL_prescaler_in_use, 1);
        break;
    case PllPrescalerSetting:
        encodeInt(bytes, p.PLL_prescaler_setting, 1);
        break;
    case DdsReferenceFrequency:
        encodeFloat(bytes, p.DDS_reference_frequency);
        break;
    case MasterClockFrequency:
        encodeFloat(bytes, p.Master_clock_frequency);
        break;
    case Reserved27:
        encodeInt(bytes, p.Reserved_27, 2);
        break;
    case FeatureFlags:
        // Always the two-byte form: feature byte, then the switch-board byte.
        encodeInt(bytes, p.Feature_flags << 8 | p.Switchboard_byte, 2);
        break;
    case UnitSerialNumber:
        encodeInt(bytes, p.Unit_serial_number, 2);
        break;
    case Reserved30:
        encodeInt(bytes, p.Reserved_30, 2);
        break;
    case Reserved31:
        encodeInt(bytes, p.Reserved_31, 2);
        break;
    case NumberOfCalPoints:
        encodeInt(bytes, p.Number_of_calibration_points, 2);
        break;
    case Reserved58:
        encodeInt(bytes, p.Reserved_58, 1);
        break;
    case Reserved59:
        encodeInt(bytes, p.Reserved_59, 1);
        break;
    default:
        break;
    }
}

} // namespace

void PromParameters::buildPromData(std::vector<PromEntry>& entries) const {
    for (int key = 1; key <= PromKey::Last; ++key) {
        if (!isKeyPresent(key)) {
            continue;
        }
        PromEntry entry;
        entry.key = key;
        encodeKey(*this, key, entry.data);
        entry.length = static_cast<int>(entry.data.size());
        entries.push_back(std::move(entry));
    }
    entries.push_back(PromEntry{kPromEndKey, 1, {0}});
}

} // namespace Orvek
