// The unit's description in its PROM: entry encoders and decoders against hand-written
// big-endian IEEE bytes, whole images (entry lists, header detection, the round trip), the
// digest and the validation report a user sees, the feature-flag entry and switch-board type,
// and the calibration CSV file. Damaged, truncated and blank images are replayed from the fuzz
// corpus.
#include <cstdio>
#include <fstream>
#include <functional>
#include <new>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "core/exceptions.h"
#include "prom/prom_entry.h"
#include "prom/prom_parameters.h"
#include "prom/prom_validation.h"
#include "prom_fixtures.h"

using namespace Orvek;
using Bytes = std::vector<int>;

namespace {

std::string invalidPromText(const std::function<void()>& action) {
    try {
        action();
    } catch (const InvalidPromException& e) {
        return e.what();
    }
    return "(nothing thrown)";
}

const std::string kHeader = "Freq,EDFi,EDFq,ESFi,ESFq,ERFi,ERFq,EXFi,EXFq,ELFi,ELFq,ETFi,ETFq,"
                            "EDRi,EDRq,ESRi,ESRq,ERRi,ERRq,EXRi,EXRq,ELRi,ELRq,ETRi,ETRq\n";

std::string tempPath() {
    return testing::TempDir() + "tarn_cal_" +
           testing::UnitTest::GetInstance()->current_test_info()->name() + ".csv";
}

std::string row(int columns, double first) {
    std::string line;
    for (int i = 0; i < columns; ++i) {
        line += (i ? "," : "") + std::to_string(first + i);
    }
    return line + "\n";
}

// Loads `text` as a calibration file into a unit that already has four points.
PromParameters loaded(const std::string& text, std::string& errors) {
    std::ofstream(tempPath()) << text;
    PromParameters p = tarntest::makeCompletePromParameters(4);
    p.loadCalFromFile(tempPath(), errors);
    std::remove(tempPath().c_str());
    return p;
}

} // namespace

TEST(PromEncoders, BigEndianBytesOfEveryKind) {
    const struct {
        int value, count;
        Bytes expected;
    } ints[] = {{0x123456, 3, {0x12, 0x34, 0x56}},
                {0x123456, 2, {0x34, 0x56}},
                {0x123456, 1, {0x56}},
                {-1, 2, {0xFF, 0xFF}},
                {0x123456, 0, {}},
                {0x123456, 4, {}}};
    for (const auto& c : ints) {
        Bytes bytes{0xAA}; // appended to, never cleared
        testing::internal::CaptureStdout();
        encodeInt(bytes, c.value, c.count);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  c.expected.empty() ? "Error: unsupported number of bytes [encodeInt]\n" : "");
        Bytes expected{0xAA};
        expected.insert(expected.end(), c.expected.begin(), c.expected.end());
        EXPECT_EQ(bytes, expected) << c.value << " in " << c.count;
    }

    Bytes f, d, s;
    const double values[] = {1.0, -2.5, 1e300};
    encodeFloatArray(f, values, 3); // beyond the float range the unit gets an infinity
    EXPECT_EQ(f, (Bytes{0x3F, 0x80, 0, 0, 0xC0, 0x20, 0, 0, 0x7F, 0x80, 0, 0}));
    encodeDouble(d, 1.0);
    EXPECT_EQ(d, (Bytes{0x3F, 0xF0, 0, 0, 0, 0, 0, 0}));
    encodeString(s, "A\0z\xC8", 4);
    EXPECT_EQ(s, (Bytes{0x41, 0x00, 0x7A, 0xC8}));
}

TEST(PromDecoders, IntegersFloatsAndStrings) {
    EXPECT_EQ(decodeInt({}), 0);
    EXPECT_EQ(decodeInt({0x12, 0x34, 0x56}), 0x123456);
    EXPECT_EQ(decodeInt({0x01, 0x02, 0x03, 0x04, 0x05}), 0x02030405); // the last four count
    EXPECT_EQ(decodeInt({0xFF, 0xFF, 0xFF, 0xFF}), -1);

    // Floats and doubles must have exactly their size; anything else reads as zero.
    const Bytes one{0x3E, 0x20, 0, 0}; // 0.15625
    EXPECT_EQ(decodeFloat(PromEntry{25, 4, one}), 0.15625);
    EXPECT_EQ(decodeFloat(PromEntry{25, 3, Bytes(one.begin(), one.end() - 1)}), 0.0);
    EXPECT_EQ(decodeFloat(PromEntry{25, 5, {0x3E, 0x20, 0, 0, 0}}), 0.0);
    EXPECT_EQ(decodeDouble(PromEntry{1, 4, one}), 0.0);

    EXPECT_EQ(decodeString(PromEntry{45, 0, {}}), nullptr);
    EXPECT_STREQ(decodeString(PromEntry{45, 3, {'a', 'b', 'c'}}).get(), "abc");
}

TEST(PromDecoders, ArraysRoundTripAndRefuseAbsurdLengths) {
    const double values[] = {0.5, -1024.0, 3.25e-3};
    Bytes f, d;
    encodeFloatArray(f, values, 3);
    encodeDoubleArray(d, values, 3);
    const auto floats = decodeFloatArray(f.cbegin(), 3);
    const auto doubles = decodeDoubleArray(d.cbegin(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(floats[i], static_cast<double>(static_cast<float>(values[i])));
        EXPECT_EQ(doubles[i], values[i]);
    }
    // A damaged count must not turn into a huge allocation.
    EXPECT_THROW(decodeFloatArray(f.cbegin(), 0xFE00001u), std::bad_array_new_length);
    EXPECT_THROW(decodeDoubleArray(d.cbegin(), 0xFFFFFFFFu), std::bad_array_new_length);
}

TEST(PromEntryList, SerialisesAndParsesKeyLengthAndData) {
    const PromParameters p;
    // The list length comes first; a stored length is written as it is, even when wrong.
    EXPECT_EQ(p.serializeToBytestream({{3, 2, {0x01, 0xF4}}, {7, 9, {1}}}),
              (Bytes{0, 11, 0, 3, 0, 2, 0x01, 0xF4, 0, 7, 0, 9, 1}));
    // An unread unit builds only the assumed geometry, then the end marker.
    std::vector<PromEntry> built;
    p.buildPromData(built);
    EXPECT_EQ(p.serializeToBytestream(built),
              (Bytes{0, 17, 0, 1, 0, 2, 0x00, 0x40, 0, 2, 0, 2, 0x02, 0x00, 0xFF, 0xFF, 0, 1, 0}));

    // Parsing stops at the end marker or a tail too short for an entry.
    EXPECT_TRUE(p.deserializeFromBytestream({0xFF, 0xFF, 0, 1, 0, 0, 3, 0, 2}).empty());
    EXPECT_TRUE(p.deserializeFromBytestream({0, 3, 0, 0}).empty());
    auto entries = p.deserializeFromBytestream({0, 3, 0, 2, 1, 2, 0, 4, 0, 0, 0, 6, 0, 1, 9});
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].key, 3);
    EXPECT_EQ(entries[0].data, (Bytes{1, 2}));
    EXPECT_TRUE(entries[1].data.empty());
    EXPECT_EQ(entries[2].data, (Bytes{9}));
    EXPECT_EQ(p.deserializeFromBytestream({0, 6, 0, 1, 9, 0, 7, 0, 0}).size(), 1u);

    EXPECT_EQ(invalidPromText([&] {
                  p.deserializeFromBytestream({0, 3, 0, 10, 1, 2, 3, 4, 5, 6});
              }),
              "Prom contains a entry that has a size value larger then all the data in the Prom!");
}

TEST(PromImage, HeaderIsDetectedFromItsFirstElevenBytes) {
    PromParameters p;
    const Bytes entries{0, 3, 0, 2, 0x00, 0x64, 0, 4, 0, 2, 0x17, 0x70, 0xFF, 0xFF, 0, 1, 0};
    // Bytes 0..10 all 0x00 or 0xFF: no header; here the list length reads as two empty key-0
    // entries.
    Bytes blank(10, 0);
    blank.insert(blank.end(), entries.begin(), entries.end());
    testing::internal::CaptureStdout();
    p.interpretFullBytestream(blank);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Warning: unrecognized prom key value: 0 [PromParameters::digestPromData]\n"
              "Warning: unrecognized prom key value: 0 [PromParameters::digestPromData]\n");
    EXPECT_EQ(p.Minimum_freq, 100);
    EXPECT_EQ(p.Header_tag, 0);

    // One byte among 0..10 that is neither makes the first 20 bytes a header.
    Bytes withHeader(20, 0xFF);
    withHeader[0] = 0x12, withHeader[10] = 0x01;
    withHeader[6] = 12, withHeader[19] = 0x5A; // header bytes 3 (the unit's address) and 16
    withHeader.push_back(0);
    withHeader.push_back(static_cast<int>(entries.size()));
    withHeader.insert(withHeader.end(), entries.begin(), entries.end());
    p.interpretFullBytestream(withHeader);
    EXPECT_EQ(p.Header_tag, 0x12FFFF);
    EXPECT_EQ(p.unitAddress(), 12);
    EXPECT_EQ(p.Header_bytes[16], 0x5A);
    EXPECT_EQ(p.Maximum_freq, 6000);

    // An erased (0xFF) header is blank: its bytes are read as the entry list.
    Bytes erased(20, 0xFF);
    erased.insert(erased.end(), entries.begin(), entries.end());
    p.interpretFullBytestream(erased);
    EXPECT_FALSE(p.isKeyPresent(3));
}

TEST(PromImage, EveryKeyFamilyRoundTripsAndAbsentKeysStayAbsent) {
    for (int calPoints : {0, 1, 7}) {
        const PromParameters original = tarntest::makeCompletePromParameters(calPoints, 11);
        const Bytes image = original.generateFullBytestream();
        ASSERT_EQ((image[20] << 8 | image[21]), static_cast<int>(image.size()) - 22);
        PromParameters decoded;
        decoded.interpretFullBytestream(image);
        EXPECT_TRUE(tarntest::promParametersEqual(original, decoded)) << calPoints << " points";
        EXPECT_EQ(decoded.generateFullBytestream(), image);
    }

    PromParameters sparse;
    sparse.Header_tag = 0x000100;
    sparse.Minimum_freq = 0xFFFF;
    sparse.Maximum_number_of_points = 256;
    sparse.Texts[2] = ""; // key 47: an empty text is present with no data bytes
    sparse.PLL_loop_gain_boundaries[2] = 2100;
    sparse.Number_of_calibration_points = 2; // a count without columns is no calibration
    for (int key : {3, 5, 21, 32, 33, 47}) {
        sparse.setKeyPresent(key, true);
    }
    const Bytes image = sparse.generateFullBytestream();
    PromParameters decoded;
    decoded.interpretFullBytestream(image);
    EXPECT_TRUE(tarntest::promParametersEqual(sparse, decoded));
    EXPECT_FALSE(decoded.hasCalData());

    // Decoding starts from a reset unit: nothing of a previous description survives.
    PromParameters reused = tarntest::makeCompletePromParameters();
    reused.interpretFullBytestream(image);
    EXPECT_TRUE(tarntest::promParametersEqual(sparse, reused));
}

TEST(PromImage, ShortCalibrationIsPaddedNotOverread) {
    PromParameters p = tarntest::makeCompletePromParameters(4);
    p.Calibration_data[5].resize(1);
    PromParameters decoded;
    decoded.interpretFullBytestream(p.generateFullBytestream());
    EXPECT_EQ(decoded.Calibration_data[5],
              (std::vector<double>{p.Calibration_data[5][0], 0, 0, 0}));

    // An entry shorter than the count in the image itself decodes what is there.
    std::vector<PromEntry> entries;
    tarntest::makeCompletePromParameters(4).buildPromData(entries);
    for (PromEntry& e : entries) {
        if (e.key == 60) {
            e.data.resize(6);
            e.length = 6;
        }
    }
    decoded.digestPromData(entries);
    ASSERT_EQ(decoded.Calibration_data[12].size(), 4u);
    EXPECT_EQ(decoded.Calibration_data[12][1], 0.0);
}

TEST(PromDigest, WrongSizedEntriesAreAbsentUnknownKeysWarnLaterEntriesWin) {
    PromParameters p;
    testing::internal::CaptureStdout();
    p.digestPromData({{3, 3, {0x00, 0x64, 0x00}}, // three bytes for a 16-bit key
                      {6, 2, {0x00, 0x08}},       // two bytes for a one-byte key
                      {26, 8, Bytes(8, 0x40)},    // a double where a float belongs
                      {80, 1, {1}},
                      {5, 2, {0x01, 0x00}},
                      {0xFFFF, 1, {0}}, // the end marker itself is ignored quietly
                      {5, 2, {0x02, 0x00}}});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Warning: unrecognized prom key value: 80 [PromParameters::digestPromData]\n");
    EXPECT_FALSE(p.isKeyPresent(3) || p.isKeyPresent(6) || p.isKeyPresent(26));
    EXPECT_EQ(p.Minimum_freq, 0);
    EXPECT_EQ(p.Maximum_number_of_points, 512);
}

TEST(PromDigest, CalibrationIsDecodedOnlyWhenEveryColumnIsPresent) {
    EXPECT_EQ(PromParameters::calibrationKeyForColumn(11), 44);
    EXPECT_EQ(PromParameters::calibrationKeyForColumn(12), 60);
    EXPECT_EQ(PromParameters::calibrationColumnForKey(72), 24);
    EXPECT_EQ(PromParameters::calibrationColumnForKey(45), -1);

    std::vector<PromEntry> entries;
    tarntest::makeCompletePromParameters(5).buildPromData(entries);
    PromParameters complete;
    complete.digestPromData(entries);
    ASSERT_TRUE(complete.hasCalData());
    EXPECT_EQ(complete.calibrationColumn(0)[4], 150.0);

    ASSERT_EQ(entries[entries.size() - 2].key, 72); // the last column, before the end marker
    entries.erase(entries.end() - 2);
    PromParameters incomplete;
    incomplete.digestPromData(entries);
    EXPECT_FALSE(incomplete.hasCalData());
    EXPECT_TRUE(incomplete.isKeyPresent(33)); // the columns seen stay marked present
    EXPECT_EQ(incomplete.calibrationColumn(0), nullptr);
}

TEST(PromValidation, ReportsEveryProblemInOrder) {
    auto report = TARN::validatePromVerbose(tarntest::makeCompletePromParameters(), true);
    EXPECT_TRUE(report.first);
    EXPECT_EQ(report.second, "");

    report = TARN::validatePromVerbose(PromParameters(), true);
    EXPECT_FALSE(report.first);
    EXPECT_EQ(report.second, " - Missing parameter: Minimum_freq\n"
                             " - Missing parameter: Maximum_freq\n"
                             " - Missing parameter: Master_clock_frequency\n"
                             " - Missing parameter: Maximum_number_of_points\n"
                             " - Missing parameter: Number_of_band_boundaries\n"
                             " - Missing parameter: PLL_type\n"
                             " - Missing parameter: DDS_reference_frequency\n"
                             " - Missing parameter: Feature_flags\n"
                             " - Missing parameter: feature flags indicates no switch board\n");

    PromParameters p = tarntest::makeCompletePromParameters();
    p.Master_clock_frequency = 0.0;
    p.Number_of_band_boundaries = 0;
    p.PLL_type = 1; // fractional: needs key 17, only key 16 present
    p.DDS_reference_frequency = -10.0;
    for (int key : {17, 18, 24}) { // 24: prescaler in use without its setting
        p.setKeyPresent(key, false);
    }
    report = TARN::validatePromVerbose(p, true);
    EXPECT_FALSE(report.first);
    EXPECT_EQ(report.second, " - Bad parameter: Master clock frequency <= 0\n"
                             " - Bad parameter: number of band boundaries <= 0\n"
                             " - Missing PLL detail parameter (Int PLL Div/Frac PLL MOD)\n"
                             " - Missing parameter: Number_of_PLL_loop_gain_boundaries\n"
                             " - Missing parameter: PLL prescaler setting\n"
                             " - Bad parameter: DDS ref freq <= 0\n");

    // Integer PLL needs key 16; a prescaler not in use needs no setting.
    p = tarntest::makeCompletePromParameters();
    p.PLL_prescaler_in_use = 0;
    for (int key : {16, 17, 23, 24}) {
        p.setKeyPresent(key, false);
    }
    EXPECT_EQ(TARN::validatePromVerbose(p, false).second,
              " - Missing PLL detail parameter (Int PLL Div/Frac PLL MOD)\n"
              " - Missing parameter: PLL_prescaler_in_use\n");
}

TEST(PromValidation, SwitchBoardIsCheckedOnlyOnRequest) {
    PromParameters p = tarntest::makeCompletePromParameters();
    p.setSwitchboardType(SWITCHBOARD_NO_SWITCH_BOARD);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(TARN::validateProm(p, false));
    EXPECT_FALSE(TARN::validateProm(p, true));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "PROM Is invalid! Configuration errors:\n"
              " - Missing parameter: feature flags indicates no switch board\n");

    p.Switchboard_byte = 0x07;
    EXPECT_TRUE(TARN::validatePromVerbose(p, false).first);
    EXPECT_THROW(TARN::validatePromVerbose(p, true), InvalidPromException);
}

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

TEST(CalibrationFile, SaveWritesTheExactFormatAndLoadReproducesIt) {
    PromParameters original = tarntest::makeCompletePromParameters(50, 3);
    original.Calibration_data[1][0] = 1.0 / 3.0;
    original.Calibration_data[24][1] = -2.5;
    original.saveCalToFile(tempPath());
    std::stringstream text;
    text << std::ifstream(tempPath()).rdbuf();
    EXPECT_EQ(text.str().rfind(kHeader + "100.0000000000000000,0.3333333333333333,", 0), 0u);
    EXPECT_NE(text.str().find(",-2.5000000000000000\n125.0000000000000000,"), std::string::npos);

    PromParameters p;
    std::string errors;
    p.loadCalFromFile(tempPath(), errors);
    std::remove(tempPath().c_str());
    EXPECT_EQ(errors, "");
    ASSERT_EQ(p.Number_of_calibration_points, 50);
    EXPECT_TRUE(p.hasCalData());
    for (int c = 0; c < kCalibrationColumns; ++c) {
        ASSERT_EQ(p.Calibration_data[c].size(), 50u);
        for (int i = 0; i < 50; ++i) {
            EXPECT_NEAR(p.Calibration_data[c][i], original.Calibration_data[c][i], 1e-15);
        }
    }
}

TEST(CalibrationFile, AcceptedShapes) {
    std::string errors;
    // A header alone is a calibration of no points.
    PromParameters p = loaded(kHeader, errors);
    EXPECT_EQ(p.Number_of_calibration_points, 0);
    EXPECT_TRUE(p.hasCalData());
    EXPECT_EQ(p.calibrationColumn(0), nullptr);

    // Any first line is skipped and extra columns are ignored.
    p = loaded("not a header at all\n" + row(26, 10) + row(25, 20), errors);
    EXPECT_EQ(errors, "");
    ASSERT_EQ(p.Number_of_calibration_points, 2);
    EXPECT_EQ(p.Calibration_data[24][0], 34.0);
    EXPECT_EQ(p.Calibration_data[0][1], 20.0);

    // Unreadable and unwritable paths are ignored quietly.
    p.loadCalFromFile(tempPath() + ".does-not-exist", errors);
    p.saveCalToFile(testing::TempDir() + "no-such-dir/x.csv");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(p.Number_of_calibration_points, 2);
}

TEST(CalibrationFile, MalformedLineReportsConversionsPlusOneAndKeepsTheOldData) {
    const std::pair<std::string, std::string> cases[] = {
        {row(25, 1) + row(24, 2), "line 25"},
        {row(25, 1) + "\n", "line 1"},
        {"1,2,x,4\n", "line 3"},
    };
    for (const auto& [body, line] : cases) {
        std::string errors = "earlier;";
        const PromParameters p = loaded(kHeader + body, errors);
        EXPECT_EQ(errors, "earlier;Error during import: " + line +
                              " had wrong number of columns (expected 25)\n");
        EXPECT_EQ(p.Calibration_data[7],
                  tarntest::makeCompletePromParameters(4).Calibration_data[7]);
    }
}
