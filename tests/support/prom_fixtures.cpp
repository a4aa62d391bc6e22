#include "prom_fixtures.h"

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

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

// Values are compared through their text: exact for numbers ("%.17g"), and any NaN equals any
// other NaN (a NaN from a damaged image must survive its own re-encoding).
template <typename T> std::string show(const T& value) {
    if constexpr (std::is_arithmetic_v<T>) {
        char text[32];
        std::snprintf(text, sizeof text, "%.17g", static_cast<double>(value));
        return std::isnan(static_cast<double>(value)) ? "nan" : text;
    } else if constexpr (std::is_same_v<T, std::string>) {
        return '"' + value + '"';
    } else {
        std::string text = "[";
        for (const auto& element : value) {
            text += show(element) + " ";
        }
        return text + "]";
    }
}

// Names and texts of the values, the names taken from the stringified argument list.
template <typename... T>
std::vector<std::pair<std::string, std::string>> named(std::string names, const T&... values) {
    std::vector<std::pair<std::string, std::string>> fields;
    for (const std::string& text : {show(values)...}) {
        const std::size_t comma = names.find(',');
        fields.emplace_back(names.substr(0, comma), text);
        names.erase(0, comma == std::string::npos ? comma : names.find_first_not_of(", ", comma));
    }
    return fields;
}
#define TARN_NAMED(...) named(#__VA_ARGS__, __VA_ARGS__)

std::vector<std::pair<std::string, std::string>> describe(const PromParameters& p) {
    std::string keys;
    for (int key = 1; key <= Orvek::PromKey::Last; ++key) {
        keys += p.isKeyPresent(key) ? '1' : '0';
    }
    auto fields = TARN_NAMED(
        keys, p.Header_bytes[3], p.Header_bytes[16], p.Feature_flags, p.Switchboard_byte,
        p.Header_tag, p.Prom_geometry_1, p.Prom_geometry_2, p.Minimum_freq, p.Maximum_freq,
        p.Maximum_number_of_points, p.Number_of_band_boundaries, p.Band_boundaries, p.PLL_type,
        p.Int_PLL_Div, p.Frac_PLL_MOD, p.Number_of_PLL_loop_gain_boundaries,
        p.PLL_loop_gain_boundaries, p.PLL_loop_gain_boundary_addresses, p.PLL_prescaler_in_use,
        p.PLL_prescaler_setting, p.DDS_reference_frequency, p.Master_clock_frequency, p.Reserved_27,
        p.Unit_serial_number, p.Reserved_30, p.Reserved_31, p.Reserved_58, p.Reserved_59,
        p.Number_of_calibration_points, p.Texts);
    for (int c = 0; c < Orvek::kCalibrationColumns; ++c) {
        fields.emplace_back("calibration column " + std::to_string(c), show(p.Calibration_data[c]));
    }
    return fields;
}

} // namespace

::testing::AssertionResult promParametersEqual(const PromParameters& e, const PromParameters& a) {
    const auto expected = describe(e), actual = describe(a);
    std::string differences;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (expected[i].second != actual[i].second) {
            differences += expected[i].first + ": expected " + expected[i].second + ", got " +
                           actual[i].second + "\n";
        }
    }
    if (differences.empty()) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << differences;
}

} // namespace tarntest
