// Byte-level encoders and decoders of PROM entry data.
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include <gtest/gtest.h>

#include "prom/prom_entry.h"

using namespace Orvek;
using Bytes = std::vector<int>;

TEST(PromEncoders, IntegersKeepTheLowBytesBigEndian) {
    struct Case {
        int value;
        int count;
        Bytes expected;
    };
    const Case cases[] = {
        {0x123456, 3, {0x12, 0x34, 0x56}},
        {0x123456, 2, {0x34, 0x56}},
        {0x123456, 1, {0x56}},
        {-1, 2, {0xFF, 0xFF}},
        {0x10000, 2, {0x00, 0x00}},
    };
    for (const Case& c : cases) {
        Bytes bytes{0xAA};
        encodeInt(bytes, c.value, c.count);
        Bytes expected{0xAA};
        expected.insert(expected.end(), c.expected.begin(), c.expected.end());
        EXPECT_EQ(bytes, expected) << "value " << c.value << " count " << c.count;
    }
}

TEST(PromEncoders, UnsupportedIntegerWidthAppendsNothingAndSaysSo) {
    for (int count : {0, 4, -1}) {
        Bytes bytes;
        testing::internal::CaptureStdout();
        encodeInt(bytes, 0x123456, count);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "Error: unsupported number of bytes [encodeInt]\n");
        EXPECT_TRUE(bytes.empty());
    }
}

TEST(PromEncoders, FloatsAndDoublesAreIeeeBigEndian) {
    Bytes f;
    encodeFloat(f, 1.0);
    EXPECT_EQ(f, (Bytes{0x3F, 0x80, 0x00, 0x00}));
    Bytes d;
    encodeDouble(d, 1.0);
    EXPECT_EQ(d, (Bytes{0x3F, 0xF0, 0, 0, 0, 0, 0, 0}));
    Bytes neg;
    encodeFloat(neg, -2.5);
    EXPECT_EQ(neg, (Bytes{0xC0, 0x20, 0x00, 0x00}));
    // Beyond the float range the unit gets an infinity, not undefined narrowing.
    Bytes big;
    encodeFloat(big, 1e300);
    EXPECT_EQ(big, (Bytes{0x7F, 0x80, 0x00, 0x00}));
}

TEST(PromEncoders, StringsAndArrays) {
    Bytes s;
    const char text[] = {'A', '\0', 'z', '\xC8'};
    encodeString(s, text, 4);
    EXPECT_EQ(s, (Bytes{0x41, 0x00, 0x7A, 0xC8}));

    const double values[] = {1.0, -2.5};
    Bytes fa;
    encodeFloatArray(fa, values, 2);
    EXPECT_EQ(fa, (Bytes{0x3F, 0x80, 0, 0, 0xC0, 0x20, 0, 0}));
    Bytes none;
    encodeFloatArray(none, values, 0);
    encodeDoubleArray(none, values, 0);
    EXPECT_TRUE(none.empty());
    Bytes da;
    encodeDoubleArray(da, values, 2);
    ASSERT_EQ(da.size(), 16u);
    EXPECT_EQ(decodeDouble(da.cbegin() + 8), -2.5);
}

TEST(PromDecoders, IntegersCountOnlyTheLastFourBytes) {
    EXPECT_EQ(decodeInt({}), 0);
    EXPECT_EQ(decodeInt({0x12, 0x34, 0x56}), 0x123456);
    EXPECT_EQ(decodeInt({0x01, 0x02, 0x03, 0x04, 0x05}), 0x02030405);
    EXPECT_EQ(decodeInt({0xFF, 0xFF, 0xFF, 0xFF}), -1);
    // The shift wraps after 32 bytes: the byte 32 places before the last counts again.
    Bytes wrapped(33, 0);
    wrapped[0] = 0x07;
    EXPECT_EQ(decodeInt(wrapped), 0x07);
}

TEST(PromDecoders, WrongSizedFloatEntriesReadAsZero) {
    Bytes one;
    encodeFloat(one, 0.15625);
    EXPECT_EQ(decodeFloat(PromEntry{25, 4, one}), 0.15625);
    Bytes three(one.begin(), one.begin() + 3);
    EXPECT_EQ(decodeFloat(PromEntry{25, 3, three}), 0.0);
    Bytes five = one;
    five.push_back(0);
    EXPECT_EQ(decodeFloat(PromEntry{25, 5, five}), 0.0);

    Bytes d;
    encodeDouble(d, 1234.5678);
    EXPECT_EQ(decodeDouble(PromEntry{1, 8, d}), 1234.5678);
    EXPECT_EQ(decodeDouble(PromEntry{1, 4, one}), 0.0);
}

TEST(PromDecoders, ArraysRoundTripAndRefuseAbsurdLengths) {
    const double values[] = {0.5, -1024.0, 3.25e-3};
    Bytes f;
    encodeFloatArray(f, values, 3);
    const auto floats = decodeFloatArray(f.cbegin(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(floats[i], static_cast<double>(static_cast<float>(values[i])));
    }
    Bytes d;
    encodeDoubleArray(d, values, 3);
    const auto doubles = decodeDoubleArray(d.cbegin(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(doubles[i], values[i]);
    }
    EXPECT_THROW(decodeFloatArray(f.cbegin(), 0xFE00001u), std::bad_array_new_length);
    EXPECT_THROW(decodeDoubleArray(d.cbegin(), 0xFFFFFFFFu), std::bad_array_new_length);
}

TEST(PromDecoders, StringsAreTerminatedAndEmptyEntriesGiveNull) {
    EXPECT_EQ(decodeString(PromEntry{45, 0, {}}), nullptr);
    const auto text = decodeString(PromEntry{45, 3, {'a', 'b', 'c'}});
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text.get(), "abc");
}
