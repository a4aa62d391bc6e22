#include "prom_fixtures.h"

#include <cmath>
#include <cstring>
#include <random>
#include <sstream>

namespace tarntest {

using Orvek::PromParameters;

PromParameters makeCompletePromParameters(int calibrationPoints, unsigned seed) {
    PromParameters p;
    p.Header_tag = 0x54524E; // non-blank: the image is read back with its header
    p.Header_bytes[3] = 10;
    p.Header_bytes[16] = 0x5A;

    p.Prom_geometry_1 = 64;
    p.Prom_geometry_2 = 512;
    p.Minimum_freq = 50;
    p.Maximum_freq = 6000;
    p.Maximum_number_of_points = 4096;
    p.Number_of_band_boundaries = 8;
    // Boundary 1 is the lower edge of band 0, the highest band; each band halves.
    p.Band_boundaries = {3000, 1500, 750, 375, 188, 94, 47, 24};
    p.PLL_type = 0;
    p.Int_PLL_Div = 100;
    p.Frac_PLL_MOD = 4095;
    p.Number_of_PLL_loop_gain_boundaries = 4;
    p.PLL_loop_gain_boundaries = {500, 1200, 2500, 4800};
    p.PLL_prescaler_in_use = 1;
    p.PLL_prescaler_setting = 2;
    p.DDS_reference_frequency = 1000.0;
    p.Master_clock_frequency = 100.0;
    p.Reserved_27 = 0x1234;
    p.Feature_flags = 0xCF; // every feature bit, none of the legacy switch-board bits
    p.Switchboard_byte = 0x30 | Orvek::SWITCHBOARD_S_PARAMETER_SWITCH;
    p.Unit_serial_number = 40321;
    p.Reserved_30 = 0xBEEF;
    p.Reserved_31 = 7;
    p.Number_of_calibration_points = calibrationPoints;
    for (size_t i = 0; i < p.Texts.size(); ++i) {
        p.Texts[i] = "text " + std::to_string(45 + i);
    }
    p.Texts[0] = "TARN-6000 rev C";
    p.PLL_loop_gain_boundary_addresses = {0xA0, 0xA1, 0xA2, 0xA3};
    p.Reserved_58 = 0x58;
    p.Reserved_59 = 0xFF;

    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> term(-1.0f, 1.0f);
    for (int c = 0; c < Orvek::kCalibrationColumns; ++c) {
        p.Calibration_data[c].resize(static_cast<size_t>(calibrationPoints));
        for (int i = 0; i < calibrationPoints; ++i) {
            p.Calibration_data[c][i] = c == 0 ? 100.0 + 12.5 * i : static_cast<double>(term(rng));
        }
    }
    for (int key = 1; key <= Orvek::PromKey::Last; ++key) {
        p.setKeyPresent(key, true);
    }
    return p;
}

namespace {

bool sameDouble(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) {
        return std::isnan(a) && std::isnan(b);
    }
    return a == b;
}

class Differences {
public:
    template <typename T> void check(const char* name, const T& expected, const T& actual) {
        if (!(expected == actual)) {
            out_ << name << ": expected " << +expected << ", got " << +actual << "\n";
        }
    }
    void checkDouble(const char* name, double expected, double actual) {
        if (!sameDouble(expected, actual)) {
            out_ << name << ": expected " << expected << ", got " << actual << "\n";
        }
    }
    void checkText(const std::string& name, const std::string& expected,
                   const std::string& actual) {
        if (expected != actual) {
            out_ << name << ": expected \"" << expected << "\", got \"" << actual << "\"\n";
        }
    }
    std::string str() const { return out_.str(); }

private:
    std::ostringstream out_;
};

} // namespace

::testing::AssertionResult promParametersEqual(const PromParameters& e, const PromParameters& a) {
    Differences d;
    d.check("Header_tag", e.Header_tag, a.Header_tag);
    d.check("Header byte 3", e.Header_bytes[3], a.Header_bytes[3]);
    d.check("Header byte 16", e.Header_bytes[16], a.Header_bytes[16]);
    for (int key = 1; key <= Orvek::PromKey::Last; ++key) {
        if (e.isKeyPresent(key) != a.isKeyPresent(key)) {
            d.check(("presence of key " + std::to_string(key)).c_str(), e.isKeyPresent(key),
                    a.isKeyPresent(key));
        }
    }
    d.check("Prom_geometry_1", e.Prom_geometry_1, a.Prom_geometry_1);
    d.check("Prom_geometry_2", e.Prom_geometry_2, a.Prom_geometry_2);
    d.check("Minimum_freq", e.Minimum_freq, a.Minimum_freq);
    d.check("Maximum_freq", e.Maximum_freq, a.Maximum_freq);
    d.check("Maximum_number_of_points", e.Maximum_number_of_points, a.Maximum_number_of_points);
    d.check("Number_of_band_boundaries", e.Number_of_band_boundaries, a.Number_of_band_boundaries);
    for (size_t i = 0; i < e.Band_boundaries.size(); ++i) {
        d.check("Band_boundaries", e.Band_boundaries[i], a.Band_boundaries[i]);
    }
    d.check("PLL_type", e.PLL_type, a.PLL_type);
    d.check("Int_PLL_Div", e.Int_PLL_Div, a.Int_PLL_Div);
    d.check("Frac_PLL_MOD", e.Frac_PLL_MOD, a.Frac_PLL_MOD);
    d.check("Number_of_PLL_loop_gain_boundaries", e.Number_of_PLL_loop_gain_boundaries,
            a.Number_of_PLL_loop_gain_boundaries);
    for (size_t i = 0; i < 4; ++i) {
        d.check("PLL_loop_gain_boundaries", e.PLL_loop_gain_boundaries[i],
                a.PLL_loop_gain_boundaries[i]);
        d.check("PLL_loop_gain_boundary_addresses", e.PLL_loop_gain_boundary_addresses[i],
                a.PLL_loop_gain_boundary_addresses[i]);
    }
    d.check("PLL_prescaler_in_use", e.PLL_prescaler_in_use, a.PLL_prescaler_in_use);
    d.check("PLL_prescaler_setting", e.PLL_prescaler_setting, a.PLL_prescaler_setting);
    d.checkDouble("DDS_reference_frequency", e.DDS_reference_frequency, a.DDS_reference_frequency);
    d.checkDouble("Master_clock_frequency", e.Master_clock_frequency, a.Master_clock_frequency);
    d.check("Reserved_27", e.Reserved_27, a.Reserved_27);
    d.check("Feature_flags", e.Feature_flags, a.Feature_flags);
    d.check("Switchboard_byte", e.Switchboard_byte, a.Switchboard_byte);
    d.check("Unit_serial_number", e.Unit_serial_number, a.Unit_serial_number);
    d.check("Reserved_30", e.Reserved_30, a.Reserved_30);
    d.check("Reserved_31", e.Reserved_31, a.Reserved_31);
    d.check("Reserved_58", e.Reserved_58, a.Reserved_58);
    d.check("Reserved_59", e.Reserved_59, a.Reserved_59);
    d.check("Number_of_calibration_points", e.Number_of_calibration_points,
            a.Number_of_calibration_points);
    for (size_t i = 0; i < e.Texts.size(); ++i) {
        d.checkText("text of key " + std::to_string(45 + i), e.Texts[i], a.Texts[i]);
    }
    for (int c = 0; c < Orvek::kCalibrationColumns; ++c) {
        const auto& ec = e.Calibration_data[c];
        const auto& ac = a.Calibration_data[c];
        if (ec.size() != ac.size()) {
            d.check(("size of calibration column " + std::to_string(c)).c_str(), ec.size(),
                    ac.size());
            continue;
        }
        for (size_t i = 0; i < ec.size(); ++i) {
            d.checkDouble("calibration value", ec[i], ac[i]);
        }
    }
    const std::string differences = d.str();
    if (differences.empty()) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << differences;
}

} // namespace tarntest
