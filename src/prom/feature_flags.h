#pragma once
// Optional hardware a unit may declare in its PROM, and the bit each one occupies in the
// feature-flag byte of PROM key 28.
#include <cstdint>

namespace Orvek {

// Internal only: these names are not exported from the shared library.
enum Hardware_Features : int32_t {
    FEATURE_SWITCHBOARD_ATTENUATOR = 2, // step attenuator on the switch board, bit 7
    FEATURE_SHAFT_ENCODER = 3,          // shaft-encoder inputs, bit 0
    FEATURE_SERIAL_PORT = 4,            // serial port returned with each sweep, bit 3
    FEATURE_MULTIPLE_RECEIVERS = 5,     // more than one receiver may be enabled, bit 6
    FEATURE_FLAG_6 = 6,                 // bit 2, reported only
    FEATURE_FLAG_7 = 7,                 // bit 1, reported only
    FEATURE_RETIRED_8 = 8,              // no longer has a bit
    FEATURE_RETIRED_9 = 9,              // no longer has a bit
};

// Bit of the feature-flag byte that holds `feature`. Throws InvalidPromException with
// "Feature flag is no longer valid!" for the retired values 8 and 9 and with
// "Invalid feature flag option!" for any other value without a bit.
int featureFlagToBitPosition(Hardware_Features feature);

// In the older one-byte form of key 28, bits 4 and 5 of the feature byte name the switch board
// instead of a feature.
constexpr uint8_t kLegacyTddSwitchBoardBit = 0x10;
constexpr uint8_t kLegacySimpleSwitchBoardBit = 0x20;

// The switch-board byte keeps the board kind in its low nibble; the high nibble is carried
// through untouched.
constexpr uint8_t kSwitchBoardTypeMask = 0x0F;

} // namespace Orvek
