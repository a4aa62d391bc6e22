#include "prom/feature_flags.h"

#include "core/exceptions.h"
#include "prom/prom_parameters.h"

namespace Orvek {

int featureFlagToBitPosition(Hardware_Features feature) {
    switch (feature) {
    case FEATURE_SWITCHBOARD_ATTENUATOR:
        return 7;
    case FEATURE_SHAFT_ENCODER:
        return 0;
    case FEATURE_SERIAL_PORT:
        return 3;
    case FEATURE_MULTIPLE_RECEIVERS:
        return 6;
    case FEATURE_FLAG_6:
        return 2;
    case FEATURE_FLAG_7:
        return 1;
    case FEATURE_RETIRED_8:
    case FEATURE_RETIRED_9:
        throw InvalidPromException("Feature flag is no longer valid!");
    }
    throw InvalidPromException("Invalid feature flag option!");
}

bool PromParameters::getFeatureFlag(Hardware_Features feature) const {
    const int bit = featureFlagToBitPosition(feature);
    return (Feature_flags >> bit) & 1u;
}

void PromParameters::setFeatureFlag(Hardware_Features feature, bool present) {
    const uint8_t mask = static_cast<uint8_t>(1u << featureFlagToBitPosition(feature));
    Feature_flags = present ? static_cast<uint8_t>(Feature_flags | mask)
                            : static_cast<uint8_t>(Feature_flags & ~mask);
}

static bool isKnownSwitchboardType(int value) {
    return value >= SWITCHBOARD_NO_SWITCH_BOARD && value <= SWITCHBOARD_S_PARAMETER_SWITCH;
}

SwitchBoard_Type PromParameters::getSwitchboardType() const {
    const int value = Switchboard_byte & kSwitchBoardTypeMask;
    if (!isKnownSwitchboardType(value)) {
        throw InvalidPromException("Unknown switchboard type value");
    }
    return static_cast<SwitchBoard_Type>(value);
}

void PromParameters::setSwitchboardType(SwitchBoard_Type type) {
    // The nibble is cleared before the check, so a refused type leaves "no switch board".
    Switchboard_byte = static_cast<uint8_t>(Switchboard_byte & ~kSwitchBoardTypeMask);
    const int value = static_cast<int>(type);
    if (!isKnownSwitchboardType(value)) {
        throw InvalidPromException("Unknown switchboard type value");
    }
    Switchboard_byte = static_cast<uint8_t>(Switchboard_byte | value);
}

void PromParameters::unpack_feature_flag_segment(PromEntry entry) {
    if (entry.length == 1 && entry.data.size() == 1) {
        // Older units: one byte, the switch board named by bit 4 (TDD) or bit 5 (simple).
        Feature_flags = static_cast<uint8_t>(entry.data[0]);
        const bool tdd = Feature_flags & kLegacyTddSwitchBoardBit;
        const bool simple = Feature_flags & kLegacySimpleSwitchBoardBit;
        if (tdd && simple) {
            throw InvalidPromException("Multiple switchboard types in a single TARN?");
        }
        setSwitchboardType(tdd      ? SWITCHBOARD_TDD_4_PORT_SWITCH
                           : simple ? SWITCHBOARD_SIMPLE_4_PORT_SWITCH
                                    : SWITCHBOARD_NO_SWITCH_BOARD);
        setKeyPresent(PromKey::FeatureFlags, true);
        Feature_flags = static_cast<uint8_t>(
            Feature_flags & ~(kLegacyTddSwitchBoardBit | kLegacySimpleSwitchBoardBit));
    } else if (entry.length == 2 && entry.data.size() == 2) {
        Feature_flags = static_cast<uint8_t>(entry.data[0]);
        Switchboard_byte = static_cast<uint8_t>(entry.data[1]);
        setKeyPresent(PromKey::FeatureFlags, true);
    }
}

} // namespace Orvek
