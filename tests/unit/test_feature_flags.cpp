// Feature bits and the switch-board type in both forms of the feature-flag entry.
#include <functional>

#include <gtest/gtest.h>

#include "core/exceptions.h"
#include "prom/prom_parameters.h"

using namespace Orvek;

namespace {

std::string invalidPromText(const std::function<void()>& action) {
    try {
        action();
    } catch (const InvalidPromException& e) {
        return e.what();
    }
    return "(nothing thrown)";
}

} // namespace

TEST(FeatureFlags, BitPositionsAndRefusedValues) {
    const std::pair<Hardware_Features, int> bits[] = {
        {FEATURE_SWITCHBOARD_ATTENUATOR, 7}, {FEATURE_SHAFT_ENCODER, 0}, {FEATURE_SERIAL_PORT, 3},
        {FEATURE_MULTIPLE_RECEIVERS, 6},     {FEATURE_FLAG_6, 2},        {FEATURE_FLAG_7, 1}};
    PromParameters p;
    for (const auto& [feature, bit] : bits) {
        EXPECT_EQ(featureFlagToBitPosition(feature), bit);
        p.Feature_flags = 0x55;
        p.setFeatureFlag(feature, !(0x55 & (1 << bit)));
        EXPECT_EQ(p.Feature_flags, 0x55 ^ (1 << bit)) << feature;
        EXPECT_EQ(p.getFeatureFlag(feature), !(0x55 & (1 << bit)));
    }
    for (int value : {-1, 0, 1, 8, 9, 10}) {
        const auto feature = static_cast<Hardware_Features>(value);
        const char* text = value == 8 || value == 9 ? "Feature flag is no longer valid!"
                                                    : "Invalid feature flag option!";
        EXPECT_EQ(invalidPromText([&] { featureFlagToBitPosition(feature); }), text);
        EXPECT_EQ(invalidPromText([&] { p.getFeatureFlag(feature); }), text);
        EXPECT_EQ(invalidPromText([&] { p.setFeatureFlag(feature, true); }), text);
    }
}

TEST(SwitchBoardType, LowNibbleOnlyAndRefusedValuesClearIt) {
    PromParameters p;
    p.Switchboard_byte = 0x25;
    EXPECT_EQ(invalidPromText([&] { p.getSwitchboardType(); }), "Unknown switchboard type value");
    p.setSwitchboardType(SWITCHBOARD_TDD_4_PORT_SWITCH);
    EXPECT_EQ(p.Switchboard_byte, 0x22);

    p.Switchboard_byte = 0x93;
    EXPECT_EQ(invalidPromText([&] { p.setSwitchboardType(static_cast<SwitchBoard_Type>(5)); }),
              "Unknown switchboard type value");
    EXPECT_EQ(p.Switchboard_byte, 0x90); // cleared before the refusal
}

TEST(FeatureFlagEntry, OneAndTwoByteForms) {
    struct Case {
        PromEntry entry;
        int features, switchboardByte; // -1: the entry is ignored
    };
    const Case cases[] = {
        // One byte: bit 4 names the TDD board, bit 5 the simple four-port board; the high
        // nibble of the switch-board byte is carried, its low nibble replaced.
        {{28, 1, {0x11}}, 0x01, 0xF2},
        {{28, 1, {0x20}}, 0x00, 0xF1},
        {{28, 1, {0xC8}}, 0xC8, 0xF0},
        // Two bytes: bits 4 and 5 are ordinary feature bits.
        {{28, 2, {0x30, 0xA4}}, 0x30, 0xA4},
        // A length that disagrees with the data, or another size.
        {{28, 2, {0x01}}, -1, 0},
        {{28, 3, {1, 2, 3}}, -1, 0},
    };
    for (const Case& c : cases) {
        PromParameters p;
        p.Switchboard_byte = 0xF3;
        p.unpack_feature_flag_segment(c.entry);
        SCOPED_TRACE(c.entry.length);
        EXPECT_EQ(p.isKeyPresent(28), c.features >= 0);
        EXPECT_EQ(p.Feature_flags, c.features < 0 ? 0 : c.features);
        EXPECT_EQ(p.Switchboard_byte, c.features < 0 ? 0xF3 : c.switchboardByte);
    }

    PromParameters both;
    EXPECT_EQ(invalidPromText([&] {
                  both.unpack_feature_flag_segment(PromEntry{28, 1, {0x30}});
              }),
              "Multiple switchboard types in a single TARN?");
    EXPECT_FALSE(both.isKeyPresent(28));
}
