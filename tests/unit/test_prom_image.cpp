// Whole PROM images: entry lists, header detection and the round trip through the image.
// Damaged, truncated and blank images are replayed from the fuzz corpus.
#include <gtest/gtest.h>

#include "core/exceptions.h"
#include "prom/prom_parameters.h"
#include "prom_fixtures.h"

using namespace Orvek;
using Bytes = std::vector<int>;

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

    try {
        p.deserializeFromBytestream({0, 3, 0, 10, 1, 2, 3, 4, 5, 6});
        FAIL() << "an entry running past the end was accepted";
    } catch (const InvalidPromException& e) {
        EXPECT_STREQ(e.what(), "Prom contains a entry that has a size value larger then all the "
                               "data in the Prom!");
    }
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
