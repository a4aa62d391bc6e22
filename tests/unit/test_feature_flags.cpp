// Feature bits and the switch-board type in both forms of the feature-flag entry.
#include <functional>

#include <gtest/gtest.h>

#include "interface/exceptions.h"
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

TEST(FeatureFlags, BitPositions) {
    const std::pair<Hardware_Features, int> table[] = {
        {FEATURE_SWITCHBOARD_ATTENUATOR, 7}, {FEATURE_SHAFT_ENCODER, 0}, {FEATURE_SERIAL_PORT, 3},
        {FEATURE_MULTIPLE_RECEIVERS, 6},     {FEATURE_FLAG_6, 2},        {FEATURE_FLAG_7, 1},
    };
    for (const auto& row : table) {
        EXPECT_EQ(featureFlagToBitPosition(row.first), row.second) << row.first;
    }
}

TEST(FeatureFlags, ValuesWithoutBitThrowTheirTexts) {
    for (int retired : {8, 9}) {
        EXPECT_EQ(invalidPromText(
                      [&] { featureFlagToBitPosition(static_cast<Hardware_Features>(retired)); }),
                  "Feature flag is no longer valid!");
    }
    for (int unknown : {-1, 0, 1, 10, 1000}) {
        EXPECT_EQ(invalidPromText(
                      [&] { featureFlagToBitPosition(static_cast<Hardware_Features>(unknown)); }),
                  "Invalid feature flag option!");
    }
    PromParameters p;
    EXPECT_EQ(invalidPromText([&] { p.getFeatureFlag(FEATURE_RETIRED_8); }),
              "Feature flag is no longer valid!");
    EXPECT_EQ(invalidPromText([&] { p.setFeatureFlag(static_cast<Hardware_Features>(1), true); }),
              "Invalid feature flag option!");
}

TEST(FeatureFlags, SetAndGetTouchOnlyTheirBit) {
    PromParameters p;
    p.setFeatureFlag(FEATURE_SWITCHBOARD_ATTENUATOR, true);
    p.setFeatureFlag(FEATURE_SERIAL_PORT, true);
    EXPECT_EQ(p.Feature_flags, 0x88);
    EXPECT_TRUE(p.getFeatureFlag(FEATURE_SERIAL_PORT));
    EXPECT_FALSE(p.getFeatureFlag(FEATURE_SHAFT_ENCODER));
    p.setFeatureFlag(FEATURE_SWITCHBOARD_ATTENUATOR, false);
    EXPECT_EQ(p.Feature_flags, 0x08);
}

TEST(SwitchBoardType, LowNibbleOnlyAndRefusedValuesClearIt) {
    PromParameters p;
    p.Switchboard_byte = 0x25;
    EXPECT_EQ(invalidPromText([&] { p.getSwitchboardType(); }), "Unknown switchboard type value");
    p.setSwitchboardType(SWITCHBOARD_TDD_4_PORT_SWITCH);
    EXPECT_EQ(p.Switchboard_byte, 0x22);
    EXPECT_EQ(p.getSwitchboardType(), SWITCHBOARD_TDD_4_PORT_SWITCH);

    p.Switchboard_byte = 0x93;
    EXPECT_EQ(invalidPromText([&] { p.setSwitchboardType(static_cast<SwitchBoard_Type>(5)); }),
              "Unknown switchboard type value");
    EXPECT_EQ(p.Switchboard_byte, 0x90); // cleared before the refusal
    EXPECT_EQ(p.getSwitchboardType(), SWITCHBOARD_NO_SWITCH_BOARD);
}

TEST(FeatureFlagEntry, LegacyOneByteForm) {
    struct Case {
        int byte;
        uint8_t features;
        SwitchBoard_Type board;
    };
    const Case cases[] = {
        {0x11, 0x01, SWITCHBOARD_TDD_4_PORT_SWITCH},
        {0x20, 0x00, SWITCHBOARD_SIMPLE_4_PORT_SWITCH},
        {0xC8, 0xC8, SWITCHBOARD_NO_SWITCH_BOARD},
    };
    for (const Case& c : cases) {
        PromParameters p;
        p.Switchboard_byte = 0xF3; // high nibble is carried, low nibble replaced
        p.unpack_feature_flag_segment(PromEntry{28, 1, {c.byte}});
        EXPECT_TRUE(p.isKeyPresent(28));
        EXPECT_EQ(p.Feature_flags, c.features) << c.byte;
        EXPECT_EQ(p.getSwitchboardType(), c.board) << c.byte;
        EXPECT_EQ(p.Switchboard_byte & 0xF0, 0xF0);
    }

    PromParameters both;
    EXPECT_EQ(invalidPromText([&] {
                  both.unpack_feature_flag_segment(PromEntry{28, 1, {0x30}});
              }),
              "Multiple switchboard types in a single TARN?");
    EXPECT_FALSE(both.isKeyPresent(28));
}

TEST(FeatureFlagEntry, TwoByteFormAndOtherSizes) {
    PromParameters p;
    p.unpack_feature_flag_segment(PromEntry{28, 2, {0x80, 0x04}});
    EXPECT_TRUE(p.isKeyPresent(28));
    EXPECT_TRUE(p.getFeatureFlag(FEATURE_SWITCHBOARD_ATTENUATOR));
    EXPECT_EQ(p.getSwitchboardType(), SWITCHBOARD_S_PARAMETER_SWITCH);
    // In the two-byte form bits 4 and 5 are ordinary bits and stay set.
    p.unpack_feature_flag_segment(PromEntry{28, 2, {0x30, 0xA1}});
    EXPECT_EQ(p.Feature_flags, 0x30);
    EXPECT_EQ(p.Switchboard_byte, 0xA1);

    // A length field that disagrees with the data, or another size, is ignored.
    for (const PromEntry& odd : {PromEntry{28, 2, {0x01}}, PromEntry{28, 1, {0x01, 0x02}},
                                 PromEntry{28, 3, {1, 2, 3}}, PromEntry{28, 0, {}}}) {
        PromParameters q;
        q.unpack_feature_flag_segment(odd);
        EXPECT_FALSE(q.isKeyPresent(28));
        EXPECT_EQ(q.Feature_flags, 0);
    }
}
