// Whole PROM images: entry lists, header detection, the round trip through the image, and
// malformed images from a damaged or blank PROM.
#include <random>

#include <gtest/gtest.h>

#include "interface/exceptions.h"
#include "prom/prom_parameters.h"
#include "prom/prom_validation.h"
#include "prom_fixtures.h"

using namespace Orvek;
using Bytes = std::vector<int>;

namespace {

const char* const kOverrunText =
    "Prom contains a entry that has a size value larger then all the data in the Prom!";

Bytes entryBytes(int key, const Bytes& data) {
    Bytes b{(key >> 8) & 0xFF, key & 0xFF, static_cast<int>(data.size() >> 8) & 0xFF,
            static_cast<int>(data.size()) & 0xFF};
    b.insert(b.end(), data.begin(), data.end());
    return b;
}

// A 20-byte header with a non-blank tag, the list length, the entries and the end marker.
Bytes imageWithHeader(const std::vector<Bytes>& entries) {
    Bytes list;
    for (const Bytes& e : entries) {
        list.insert(list.end(), e.begin(), e.end());
    }
    const Bytes end = entryBytes(0xFFFF, {0});
    list.insert(list.end(), end.begin(), end.end());
    Bytes image(20, 0);
    image[2] = 0x01;
    image.push_back(static_cast<int>(list.size() >> 8));
    image.push_back(static_cast<int>(list.size() & 0xFF));
    image.insert(image.end(), list.begin(), list.end());
    return image;
}

} // namespace

TEST(PromEntryList, SerialisesKeyLengthAndDataWithTheListLengthFirst) {
    const PromParameters p;
    EXPECT_EQ(p.serializeToBytestream({}), (Bytes{0x00, 0x00}));
    const std::vector<PromEntry> entries{{3, 2, {0x01, 0xF4}}, {0xFFFF, 1, {0}}};
    EXPECT_EQ(p.serializeToBytestream(entries), (Bytes{0x00, 0x0B, 0x00, 0x03, 0x00, 0x02, 0x01,
                                                       0xF4, 0xFF, 0xFF, 0x00, 0x01, 0x00}));
    // The stored length is written as it is, even when it disagrees with the data.
    EXPECT_EQ(p.serializeToBytestream({{7, 9, {1}}}), (Bytes{0, 5, 0, 7, 0, 9, 1}));
}

TEST(PromEntryList, ParsesUntilTheEndMarkerOrTheShortTail) {
    const PromParameters p;
    EXPECT_TRUE(p.deserializeFromBytestream({0xFF, 0xFF, 0, 1, 0, 0, 3, 0, 2}).empty());
    EXPECT_TRUE(p.deserializeFromBytestream({0, 3, 0, 0}).empty()); // exactly four bytes
    EXPECT_TRUE(p.deserializeFromBytestream({}).empty());
    EXPECT_TRUE(p.deserializeFromBytestream({0, 3}).empty());

    auto entries = p.deserializeFromBytestream({0, 3, 0, 2, 1, 2, 0, 4, 0, 0, 0, 6, 0, 1, 9});
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].key, 3);
    EXPECT_EQ(entries[0].data, (Bytes{1, 2}));
    EXPECT_EQ(entries[1].key, 4);
    EXPECT_TRUE(entries[1].data.empty());
    EXPECT_EQ(entries[2].data, (Bytes{9}));

    // Fewer than five remaining bytes are never read as an entry.
    entries = p.deserializeFromBytestream({0, 6, 0, 1, 9, 0, 7, 0, 0});
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].key, 6);
}

TEST(PromEntryList, EntryRunningPastTheEndThrows) {
    const PromParameters p;
    Bytes bytes{0, 3, 0, 10, 1, 2, 3, 4, 5, 6};
    try {
        p.deserializeFromBytestream(bytes);
        FAIL() << "no exception";
    } catch (const InvalidPromException& e) {
        EXPECT_STREQ(e.what(), kOverrunText);
    }
    bytes.push_back(7);
    EXPECT_THROW(p.deserializeFromBytestream(bytes), InvalidPromException);
}

TEST(PromHeader, OnlyTagAddressAndLastByteAreWritten) {
    PromParameters p;
    p.Header_tag = 0xABCDEF;
    for (size_t i = 0; i < p.Header_bytes.size(); ++i) {
        p.Header_bytes[i] = static_cast<uint8_t>(0x40 + i);
    }
    Bytes expected(20, 0);
    expected[0] = 0xAB;
    expected[1] = 0xCD;
    expected[2] = 0xEF;
    expected[6] = 0x43;  // header byte 3
    expected[19] = 0x50; // header byte 16
    EXPECT_EQ(p.serializeCustomIPHeader(), expected);
}

TEST(PromImage, HeaderIsDetectedFromItsFirstElevenBytes) {
    const Bytes entries{0x00, 0x03, 0x00, 0x02, 0x00, 0x64, 0x00, 0x04, 0x00,
                        0x02, 0x17, 0x70, 0xFF, 0xFF, 0x00, 0x01, 0x00};
    // Bytes 0..10 all 0x00 or 0xFF: no header, the list length stands at offset 0 and the
    // entries begin at offset 2. Here two empty key-0 entries lead the list.
    Bytes blank{0x00, 0x00, 0, 0, 0, 0, 0, 0, 0, 0};
    blank.insert(blank.end(), entries.begin(), entries.end());
    PromParameters p;
    testing::internal::CaptureStdout();
    p.interpretFullBytestream(blank);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Warning: unrecognized prom key value: 0 [PromParameters::digestPromData]\n"
              "Warning: unrecognized prom key value: 0 [PromParameters::digestPromData]\n");
    EXPECT_EQ(p.Minimum_freq, 100);
    EXPECT_EQ(p.Maximum_freq, 6000);
    EXPECT_EQ(p.Header_tag, 0);

    // One byte among 0..10 that is neither 0x00 nor 0xFF makes the first 20 bytes a header.
    Bytes withHeader(20, 0xFF);
    withHeader[10] = 0x01;
    withHeader[6] = 12; // header byte 3
    withHeader.push_back(0);
    withHeader.push_back(static_cast<int>(entries.size()));
    withHeader.insert(withHeader.end(), entries.begin(), entries.end());
    p.interpretFullBytestream(withHeader);
    EXPECT_EQ(p.Header_tag, 0xFFFFFF);
    EXPECT_EQ(p.unitAddress(), 12);
    EXPECT_EQ(p.Header_bytes[7], 0x01);
    EXPECT_EQ(p.Maximum_freq, 6000);

    // A header of 0xFF bytes counts as blank: its bytes are then read as the entry list.
    Bytes ffHeader(20, 0xFF);
    ffHeader.insert(ffHeader.end(), entries.begin(), entries.end());
    p.interpretFullBytestream(ffHeader);
    EXPECT_FALSE(p.isKeyPresent(3));

    // Images of 12 bytes or fewer never have a header.
    p.interpretFullBytestream({0x12, 0x34, 0x56, 0x78});
    EXPECT_EQ(p.Header_tag, 0);
}

TEST(PromImage, InterpretingResetsFirst) {
    PromParameters p = tarntest::makeCompletePromParameters();
    p.interpretFullBytestream(imageWithHeader({entryBytes(5, {0x01, 0x00})}));
    EXPECT_EQ(p.Maximum_number_of_points, 256);
    EXPECT_FALSE(p.isKeyPresent(3));
    EXPECT_EQ(p.Minimum_freq, 0);
    EXPECT_EQ(p.Calibration_data[0].size(), 0u);
    EXPECT_TRUE(p.isKeyPresent(1)); // geometry defaults survive an image without them
    EXPECT_EQ(p.promCapacity(), 32768);
}

TEST(PromImage, EveryKeyFamilyRoundTrips) {
    for (int calPoints : {0, 1, 7}) {
        const PromParameters original = tarntest::makeCompletePromParameters(calPoints, 11);
        const Bytes image = original.generateFullBytestream();
        // The list length at offset 20 counts every byte after it.
        ASSERT_EQ((image[20] << 8 | image[21]), static_cast<int>(image.size()) - 22);
        PromParameters decoded;
        decoded.interpretFullBytestream(image);
        EXPECT_TRUE(tarntest::promParametersEqual(original, decoded)) << calPoints << " points";
        EXPECT_TRUE(decoded.hasCalData());
        EXPECT_EQ(decoded.generateFullBytestream(), image);
    }
}

TEST(PromImage, RoundTripOfSparseParametersKeepsAbsentKeysAbsent) {
    PromParameters original;
    original.Header_tag = 0x000100;
    original.Minimum_freq = 0xFFFF;
    original.setKeyPresent(3, true);
    original.Texts[2] = ""; // key 47: an empty text is present with no data bytes
    original.setKeyPresent(47, true);
    original.PLL_loop_gain_boundaries[2] = 2100; // key 21 alone
    original.setKeyPresent(21, true);
    original.Number_of_calibration_points = 2; // count without columns: no calibration
    original.setKeyPresent(32, true);
    original.setKeyPresent(33, true);

    PromParameters decoded;
    decoded.interpretFullBytestream(original.generateFullBytestream());
    EXPECT_TRUE(tarntest::promParametersEqual(original, decoded));
    EXPECT_FALSE(decoded.hasCalData());
    EXPECT_EQ(decoded.calibrationColumn(0), nullptr);
}

TEST(PromImage, ResetParametersBuildTheGeometryEntriesOnly) {
    std::vector<PromEntry> entries{{99, 0, {}}};
    PromParameters().buildPromData(entries); // appends, does not clear
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[1].key, 1);
    EXPECT_EQ(entries[1].data, (Bytes{0x00, 0x40}));
    EXPECT_EQ(entries[2].key, 2);
    EXPECT_EQ(entries[2].data, (Bytes{0x02, 0x00}));
    EXPECT_EQ(entries[3].key, 0xFFFF);
    EXPECT_EQ(entries[3].length, 1);
    EXPECT_EQ(entries[3].data, (Bytes{0}));
}

TEST(PromImage, FeatureEntryIsBuiltInTheTwoByteForm) {
    PromParameters p;
    p.Feature_flags = 0x81;
    p.setSwitchboardType(SWITCHBOARD_TDD_4_PORT_SWITCH);
    p.setKeyPresent(28, true);
    std::vector<PromEntry> entries;
    p.buildPromData(entries);
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[2].key, 28);
    EXPECT_EQ(entries[2].data, (Bytes{0x81, 0x02}));
}

TEST(PromImage, CalibrationColumnShorterThanItsCountIsPaddedNotOverread) {
    PromParameters p = tarntest::makeCompletePromParameters(4);
    p.Calibration_data[5].resize(1);
    PromParameters decoded;
    decoded.interpretFullBytestream(p.generateFullBytestream());
    ASSERT_EQ(decoded.Calibration_data[5].size(), 4u);
    EXPECT_EQ(decoded.Calibration_data[5][0], p.Calibration_data[5][0]);
    EXPECT_EQ(decoded.Calibration_data[5][3], 0.0);

    // A calibration entry shorter than the count in the image itself decodes what is there.
    std::vector<PromEntry> entries;
    tarntest::makeCompletePromParameters(4).buildPromData(entries);
    for (PromEntry& e : entries) {
        if (e.key == 60) {
            e.data.resize(6);
            e.length = 6;
        }
    }
    PromParameters short60;
    short60.digestPromData(entries);
    ASSERT_EQ(short60.Calibration_data[12].size(), 4u);
    EXPECT_EQ(short60.Calibration_data[12][1], 0.0);
}

// Random, mutated, truncated and blank images must decode or fail with InvalidPromException,
// never crash or read outside the image (this runs under the sanitizers in CI). Whatever
// decodes must survive its own re-encoding unchanged.
TEST(PromImageRobustness, RandomAndMutatedImages) {
    std::mt19937 rng(20240611);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const Bytes valid = tarntest::makeCompletePromParameters(2).generateFullBytestream();

    int decoded = 0;
    int refused = 0;
    testing::internal::CaptureStdout(); // unknown keys print warnings
    for (int round = 0; round < 3000; ++round) {
        Bytes image;
        switch (round % 6) {
        case 0: // random bytes of random length
            image.resize(static_cast<size_t>(pick(0, 120)));
            for (int& b : image) {
                b = pick(0, 255);
            }
            break;
        case 1: // valid image with bytes flipped
            image = valid;
            for (int n = pick(1, 6); n > 0; --n) {
                image[static_cast<size_t>(pick(0, static_cast<int>(image.size()) - 1))] =
                    pick(0, 255);
            }
            break;
        case 2: // valid image cut short
            image.assign(valid.begin(), valid.begin() + pick(0, static_cast<int>(valid.size())));
            break;
        case 3: // an entry's length field made large
            image = valid;
            image[static_cast<size_t>(pick(22, static_cast<int>(image.size()) - 2))] = 0xFF;
            break;
        case 4: // blank or nearly blank
            image.assign(static_cast<size_t>(pick(0, 64)), round % 12 == 4 ? 0xFF : 0x00);
            if (!image.empty() && pick(0, 1)) {
                image[static_cast<size_t>(pick(0, static_cast<int>(image.size()) - 1))] =
                    pick(0, 255);
            }
            break;
        default: // bytes inserted into a valid image
            image = valid;
            image.insert(image.begin() + pick(0, static_cast<int>(image.size())),
                         static_cast<size_t>(pick(1, 5)), pick(0, 255));
            break;
        }

        PromParameters p;
        try {
            p.interpretFullBytestream(image);
        } catch (const InvalidPromException&) {
            ++refused;
            continue;
        }
        ++decoded;
        try {
            (void)TARN::validatePromVerbose(p, true);
        } catch (const InvalidPromException&) {
            // switch-board nibble above 4
        }
        // A decoded description re-encodes to an image that decodes to the same values (a
        // non-blank tag keeps the header recognisable).
        p.Header_tag = 0x000100;
        PromParameters again;
        again.interpretFullBytestream(p.generateFullBytestream());
        ASSERT_TRUE(tarntest::promParametersEqual(p, again)) << "round " << round;
    }
    testing::internal::GetCapturedStdout();
    // Both outcomes must be exercised, or the generator above has gone wrong.
    EXPECT_GT(decoded, 800);
    EXPECT_GT(refused, 100);
}
