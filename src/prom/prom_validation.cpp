#include "prom/prom_validation.h"

#include <cstdio>

namespace Orvek {
namespace TARN {

std::pair<bool, std::string> validatePromVerbose(const PromParameters& parameters,
                                                 bool checkSwitchBoard) {
    const PromParameters& p = parameters;
    std::string problems;

    if (!p.isKeyPresent(PromKey::MinimumFreq)) {
        problems += " - Missing parameter: Minimum_freq\n";
    }
    if (!p.isKeyPresent(PromKey::MaximumFreq)) {
        problems += " - Missing parameter: Maximum_freq\n";
    }

    if (!p.isKeyPresent(PromKey::MasterClockFrequency)) {
        problems += " - Missing parameter: Master_clock_frequency\n";
    } else if (!(p.Master_clock_frequency > 0.0)) {
        problems += " - Bad parameter: Master clock frequency <= 0\n";
    }

    if (!p.isKeyPresent(PromKey::MaximumNumberOfPoints)) {
        problems += " - Missing parameter: Maximum_number_of_points\n";
    }
    if (!p.isKeyPresent(PromKey::NumberOfBandBoundaries)) {
        problems += " - Missing parameter: Number_of_band_boundaries\n";
    } else if (p.Number_of_band_boundaries < 1) {
        problems += " - Bad parameter: number of band boundaries <= 0\n";
    }

    if (!p.isKeyPresent(PromKey::PllType)) {
        problems += " - Missing parameter: PLL_type\n";
    } else {
        const int detailKey = p.PLL_type == 0 ? PromKey::IntPllDiv : PromKey::FracPllMod;
        if (!p.isKeyPresent(detailKey)) {
            problems += " - Missing PLL detail parameter (Int PLL Div/Frac PLL MOD)\n";
        }
        if (!p.isKeyPresent(PromKey::NumberOfPllLoopGainBoundaries)) {
            problems += " - Missing parameter: Number_of_PLL_loop_gain_boundaries\n";
        }
        if (!p.isKeyPresent(PromKey::PllPrescalerInUse)) {
            problems += " - Missing parameter: PLL_prescaler_in_use\n";
        }
        if (p.PLL_prescaler_in_use != 0 && !p.isKeyPresent(PromKey::PllPrescalerSetting)) {
            problems += " - Missing parameter: PLL prescaler setting\n";
        }
    }

    if (!p.isKeyPresent(PromKey::DdsReferenceFrequency)) {
        problems += " - Missing parameter: DDS_reference_frequency\n";
    } else if (!(p.DDS_reference_frequency > 0.0)) {
        problems += " - Bad parameter: DDS ref freq <= 0\n";
    }

    if (!p.isKeyPresent(PromKey::FeatureFlags)) {
        problems += " - Missing parameter: Feature_flags\n";
    }
    // Runs even without key 28: a unit that declares nothing has no switch board either.
    if (checkSwitchBoard && p.getSwitchboardType() == SWITCHBOARD_NO_SWITCH_BOARD) {
        problems += " - Missing parameter: feature flags indicates no switch board\n";
    }

    const bool valid = problems.empty();
    return {valid, problems};
}

bool validateProm(const PromParameters& parameters, bool checkSwitchBoard) {
    const auto result = validatePromVerbose(parameters, checkSwitchBoard);
    if (!result.first) {
        std::fprintf(stderr, "PROM Is invalid! Configuration errors:\n%s", result.second.c_str());
    }
    return result.first;
}

} // namespace TARN
} // namespace Orvek
