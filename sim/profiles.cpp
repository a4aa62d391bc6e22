#include "sim/profiles.h"

#include <cctype>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "prom/prom_validation.h"
#include "sim/error_box.h"

namespace Orvek {
namespace Sim {

namespace {

struct FrequencyPlan {
    int minimumMHz;
    int maximumMHz;
    int divideRatio; // PLL N: keeps the DDS between 16 and 32 MHz in every band
    int gainBoundariesMHz[2];
};

// Octave bands down from the top: band k covers [max / 2^(k+1), max / 2^k).
const FrequencyPlan kPlanLow{200, 3200, 100, {1000, 2400}};
const FrequencyPlan kPlanHigh{400, 6400, 200, {2000, 4800}};

struct ProfileDefinition {
    const char* name;
    SwitchBoard_Type board;
    const FrequencyPlan* plan;
    bool attenuator;
    bool shaftEncoders;
    bool serialPort;
    bool calibration;
};

const ProfileDefinition kProfiles[] = {
    {"none", SWITCHBOARD_NO_SWITCH_BOARD, &kPlanLow, false, true, true, false},
    {"simple-4port", SWITCHBOARD_SIMPLE_4_PORT_SWITCH, &kPlanLow, true, false, true, false},
    {"tdd-4port", SWITCHBOARD_TDD_4_PORT_SWITCH, &kPlanLow, true, false, false, false},
    {"simple-8port", SWITCHBOARD_SIMPLE_8_PORT_SWITCH, &kPlanHigh, true, true, true, false},
    {"s-param", SWITCHBOARD_S_PARAMETER_SWITCH, &kPlanHigh, true, true, true, true},
};

const ProfileDefinition& findProfile(const std::string& name) {
    for (const auto& profile : kProfiles)
        if (name == profile.name)
            return profile;
    std::string known;
    for (const auto& profile : kProfiles)
        known += std::string(known.empty() ? "" : ", ") + profile.name;
    throw std::invalid_argument("unknown unit profile \"" + name + "\" (known: " + known + ")");
}

void setPresent(PromParameters& p, std::initializer_list<int> keys) {
    for (int key : keys)
        p.setKeyPresent(key, true);
}

// The factory calibration: the unit's own error box measured at 25 points across the plan,
// close enough for linear interpolation to stay within a few parts in 1e5 (its terms turn by
// under 0.02 rad between points). Keeping the table short keeps the PROM quick to read.
void addCalibration(PromParameters& p, const FrequencyPlan& plan, const ErrorBox& box) {
    const int points = 25;
    p.Number_of_calibration_points = points;
    p.setKeyPresent(PromKey::NumberOfCalPoints, true);
    for (auto& column : p.Calibration_data)
        column.assign(points, 0.0);
    for (int i = 0; i < points; ++i) {
        const double f = plan.minimumMHz + (plan.maximumMHz - plan.minimumMHz) *
                                               static_cast<double>(i) / (points - 1);
        p.Calibration_data[0][i] = f;
        const std::array<Complex, 12> terms = box.terms(f);
        // The PROM holds single precision; the description says what the PROM holds.
        for (int t = 0; t < 12; ++t) {
            p.Calibration_data[1 + 2 * t][i] = static_cast<float>(terms[t].real());
            p.Calibration_data[2 + 2 * t][i] = static_cast<float>(terms[t].imag());
        }
    }
    for (int column = 0; column < kCalibrationColumns; ++column)
        p.setKeyPresent(PromParameters::calibrationKeyForColumn(column), true);
}

bool isHexText(const std::string& text) {
    bool sawDigit = false;
    for (unsigned char c : text) {
        if (std::isxdigit(c))
            sawDigit = true;
        else if (!std::isspace(c))
            return false;
    }
    return sawDigit;
}

} // namespace

std::vector<std::string> profileNames() {
    std::vector<std::string> names;
    for (const auto& profile : kProfiles)
        names.push_back(profile.name);
    return names;
}

bool isProfile(const std::string& name) {
    for (const auto& profile : kProfiles)
        if (name == profile.name)
            return true;
    return false;
}

PromParameters profileParameters(const std::string& name, std::uint8_t unitOctet) {
    const ProfileDefinition& profile = findProfile(name);
    const FrequencyPlan& plan = *profile.plan;
    PromParameters p;
    p.Header_tag = 0x54524E;
    p.Header_bytes[3] = unitOctet;
    p.Header_bytes[16] = 0x01;

    p.Minimum_freq = plan.minimumMHz;
    p.Maximum_freq = plan.maximumMHz;
    p.Maximum_number_of_points = 4000;
    p.Number_of_band_boundaries = 4;
    // Boundary k is the lower edge of band k - 1; the unused bands 4..7 are empty intervals
    // at the bottom of the plan.
    for (int k = 0; k < 8; ++k)
        p.Band_boundaries[k] = plan.maximumMHz >> (k < 4 ? k + 1 : 4);
    setPresent(p, {PromKey::MinimumFreq, PromKey::MaximumFreq, PromKey::MaximumNumberOfPoints,
                   PromKey::NumberOfBandBoundaries});
    for (int k = 0; k < 8; ++k)
        p.setKeyPresent(PromKey::FirstBandBoundary + k, true);

    p.PLL_type = 0;
    p.Int_PLL_Div = plan.divideRatio;
    p.Number_of_PLL_loop_gain_boundaries = 2;
    p.PLL_loop_gain_boundaries[0] = plan.gainBoundariesMHz[0];
    p.PLL_loop_gain_boundaries[1] = plan.gainBoundariesMHz[1];
    p.PLL_loop_gain_boundary_addresses[0] = 0x3A;
    p.PLL_loop_gain_boundary_addresses[1] = 0x3B;
    p.PLL_prescaler_in_use = 1;
    p.PLL_prescaler_setting = 0; // the default /16 prescaler
    setPresent(p, {PromKey::PllType, PromKey::IntPllDiv, PromKey::NumberOfPllLoopGainBoundaries,
                   PromKey::FirstPllLoopGainBoundary, PromKey::FirstPllLoopGainBoundary + 1,
                   PromKey::FirstPllLoopGainAddress, PromKey::FirstPllLoopGainAddress + 1,
                   PromKey::PllPrescalerInUse, PromKey::PllPrescalerSetting});

    p.DDS_reference_frequency = 125.0;
    p.Master_clock_frequency = 32.0;
    setPresent(p, {PromKey::DdsReferenceFrequency, PromKey::MasterClockFrequency});

    p.setFeatureFlag(FEATURE_MULTIPLE_RECEIVERS, true);
    p.setFeatureFlag(FEATURE_SWITCHBOARD_ATTENUATOR, profile.attenuator);
    p.setFeatureFlag(FEATURE_SHAFT_ENCODER, profile.shaftEncoders);
    p.setFeatureFlag(FEATURE_SERIAL_PORT, profile.serialPort);
    p.setSwitchboardType(profile.board);
    p.setKeyPresent(PromKey::FeatureFlags, true);

    p.Reserved_27 = 3; // hardware revision
    p.Unit_serial_number = 5000 + unitOctet;
    p.setKeyPresent(PromKey::Reserved27, true);
    p.setKeyPresent(PromKey::UnitSerialNumber, true);
    p.Texts[0] = "TARN simulated unit";
    p.Texts[1] = profile.name;
    p.setKeyPresent(PromKey::FirstText, true);
    p.setKeyPresent(PromKey::FirstText + 1, true);

    if (profile.calibration)
        addCalibration(p, plan, ErrorBox::forProfile(profile.name));
    return p;
}

std::vector<std::uint8_t> profilePromImage(const std::string& name, std::uint8_t unitOctet) {
    const std::vector<int> image = profileParameters(name, unitOctet).generateFullBytestream();
    std::vector<std::uint8_t> bytes;
    bytes.reserve(image.size());
    for (int value : image)
        bytes.push_back(static_cast<std::uint8_t>(value));
    return bytes;
}

UnitHardware hardwareFromParameters(const PromParameters& p) {
    UnitHardware hardware;
    hardware.masterClockMHz = p.Master_clock_frequency;
    hardware.ddsReferenceMHz = p.DDS_reference_frequency;
    hardware.vcoMinimumMHz = p.Band_boundaries[0];
    hardware.vcoMaximumMHz = p.Maximum_freq;
    hardware.board = p.getSwitchboardType();
    hardware.receivers = p.getFeatureFlag(FEATURE_MULTIPLE_RECEIVERS) ? 4 : 1;
    hardware.hasAttenuator = p.getFeatureFlag(FEATURE_SWITCHBOARD_ATTENUATOR);
    hardware.hasSerialPort = p.getFeatureFlag(FEATURE_SERIAL_PORT);
    hardware.hasShaftEncoders = p.getFeatureFlag(FEATURE_SHAFT_ENCODER);
    hardware.promCapacity = p.promCapacity();
    return hardware;
}

bool parametersFromImage(const std::vector<std::uint8_t>& image, PromParameters& parameters,
                         std::string& problem) {
    try {
        PromParameters decoded;
        decoded.interpretFullBytestream(std::vector<int>(image.begin(), image.end()));
        const auto [valid, problems] = TARN::validatePromVerbose(decoded, false);
        if (!valid) {
            problem = problems;
            return false;
        }
        if (decoded.promCapacity() <= 0 || decoded.promCapacity() > 0x10000) {
            problem = "PROM geometry outside 1..65536 bytes";
            return false;
        }
        decoded.getSwitchboardType(); // throws for a board the unit cannot have
        parameters = decoded;
        return true;
    } catch (const std::exception& error) {
        problem = error.what();
        return false;
    }
}

bool hardwareFromImage(const std::vector<std::uint8_t>& image, UnitHardware& hardware,
                       std::string& problem) {
    PromParameters parameters;
    if (!parametersFromImage(image, parameters, problem))
        return false;
    hardware = hardwareFromParameters(parameters);
    return true;
}

std::vector<std::uint8_t> blankPromImage(int capacity) {
    return std::vector<std::uint8_t>(static_cast<std::size_t>(capacity > 0 ? capacity : 0), 0xFF);
}

std::vector<std::uint8_t> loadPromFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot open PROM image " + path);
    const std::string content((std::istreambuf_iterator<char>(in)),
                              std::istreambuf_iterator<char>());
    if (content.size() > 0x10000 * 3 + 4096)
        throw std::runtime_error("PROM image " + path + " is too large");
    std::vector<std::uint8_t> bytes;
    if (!isHexText(content)) {
        bytes.assign(content.begin(), content.end());
    } else {
        std::istringstream words(content);
        std::string word;
        while (words >> word) {
            if (word.size() % 2 != 0)
                throw std::runtime_error("PROM image " + path + ": odd hex group \"" + word + "\"");
            for (std::size_t i = 0; i < word.size(); i += 2)
                bytes.push_back(
                    static_cast<std::uint8_t>(std::stoul(word.substr(i, 2), nullptr, 16)));
        }
    }
    if (bytes.size() > 0x10000)
        throw std::runtime_error("PROM image " + path + " holds more than 65536 bytes");
    return bytes;
}

void savePromFile(const std::string& path, const std::vector<std::uint8_t>& image) {
    std::ofstream out(path);
    if (!out)
        throw std::runtime_error("cannot write PROM image " + path);
    char byte[4];
    for (std::size_t i = 0; i < image.size(); ++i) {
        std::snprintf(byte, sizeof byte, "%02x", image[i]);
        out << byte << ((i % 32 == 31 || i + 1 == image.size()) ? "\n" : " ");
    }
    if (!out)
        throw std::runtime_error("cannot write PROM image " + path);
}

} // namespace Sim
} // namespace Orvek
