// Byte-level encoders and decoders of PROM entry data: the unit's PROM layout is big-endian
// IEEE, so these are checked against hand-written bytes, not only by round trip.
#include <new>

#include <gtest/gtest.h>

#include "prom/prom_entry.h"

using namespace Orvek;
using Bytes = std::vector<int>;

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
