#include "prom/prom_entry.h"

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>

namespace Orvek {

namespace {

// Array decoders refuse counts above this, as an allocation of that many doubles would.
constexpr unsigned kMaxDecodedArrayLength = 0xFE00000;

void appendBigEndian(std::vector<int>& bytes, uint64_t value, int byteCount) {
    for (int shift = 8 * (byteCount - 1); shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<int>((value >> shift) & 0xFF));
    }
}

template <typename Iterator> uint64_t readBigEndian(Iterator it, int byteCount) {
    uint64_t value = 0;
    for (int i = 0; i < byteCount; ++i, ++it) {
        value = (value << 8) | static_cast<uint64_t>(*it & 0xFF);
    }
    return value;
}

// Narrowing a double beyond the float range is undefined in C++; the unit expects what IEEE
// rounding gives, an infinity of the same sign.
float toFloat(double value) {
    constexpr double maxFloat = std::numeric_limits<float>::max();
    if (std::isfinite(value) && std::fabs(value) > maxFloat) {
        return value > 0 ? std::numeric_limits<float>::infinity()
                         : -std::numeric_limits<float>::infinity();
    }
    return static_cast<float>(value);
}

} // namespace

void encodeInt(std::vector<int>& bytes, int value, int byteCount) {
    if (byteCount < 1 || byteCount > 3) {
        std::printf("Error: unsupported number of bytes [encodeInt]\n");
        return;
    }
    appendBigEndian(bytes, static_cast<uint32_t>(value), byteCount);
}

void encodeFloat(std::vector<int>& bytes, double value) {
    const float narrowed = toFloat(value);
    uint32_t raw = 0;
    std::memcpy(&raw, &narrowed, sizeof raw);
    appendBigEndian(bytes, raw, 4);
}

void encodeDouble(std::vector<int>& bytes, double value) {
    uint64_t raw = 0;
    std::memcpy(&raw, &value, sizeof raw);
    appendBigEndian(bytes, raw, 8);
}

void encodeString(std::vector<int>& bytes, const char* text, unsigned length) {
    for (unsigned i = 0; i < length; ++i) {
        bytes.push_back(static_cast<unsigned char>(text[i]));
    }
}

void encodeFloatArray(std::vector<int>& bytes, const double* values, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        encodeFloat(bytes, values[i]);
    }
}

void encodeDoubleArray(std::vector<int>& bytes, const double* values, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        encodeDouble(bytes, values[i]);
    }
}

int decodeInt(const std::vector<int>& bytes) {
    uint32_t value = 0;
    const size_t n = bytes.size();
    for (size_t i = 0; i < n; ++i) {
        // The shift wraps at 256 bits, so only the last four bytes (of up to 32) count.
        const unsigned shift = static_cast<unsigned>((8 * (n - 1 - i)) & 0xFF);
        if (shift < 32) {
            value |= static_cast<uint32_t>(bytes[i] & 0xFF) << shift;
        }
    }
    return static_cast<int>(value);
}

double decodeFloat(std::vector<int>::const_iterator it) {
    const uint32_t raw = static_cast<uint32_t>(readBigEndian(it, 4));
    float value = 0.0f;
    std::memcpy(&value, &raw, sizeof value);
    return value;
}

double decodeDouble(std::vector<int>::const_iterator it) {
    const uint64_t raw = readBigEndian(it, 8);
    double value = 0.0;
    std::memcpy(&value, &raw, sizeof value);
    return value;
}

double decodeFloat(const PromEntry& entry) {
    return entry.data.size() == 4 ? decodeFloat(entry.data.cbegin()) : 0.0;
}

double decodeDouble(const PromEntry& entry) {
    return entry.data.size() == 8 ? decodeDouble(entry.data.cbegin()) : 0.0;
}

std::unique_ptr<double[]> decodeFloatArray(std::vector<int>::const_iterator it, unsigned count) {
    if (count > kMaxDecodedArrayLength) {
        throw std::bad_array_new_length();
    }
    std::unique_ptr<double[]> values(new double[count]);
    for (unsigned i = 0; i < count; ++i) {
        values[i] = decodeFloat(it + 4 * static_cast<std::ptrdiff_t>(i));
    }
    return values;
}

std::unique_ptr<double[]> decodeDoubleArray(std::vector<int>::const_iterator it, unsigned count) {
    if (count > kMaxDecodedArrayLength) {
        throw std::bad_array_new_length();
    }
    std::unique_ptr<double[]> values(new double[count]);
    for (unsigned i = 0; i < count; ++i) {
        values[i] = decodeDouble(it + 8 * static_cast<std::ptrdiff_t>(i));
    }
    return values;
}

std::unique_ptr<char[]> decodeString(const PromEntry& entry) {
    if (entry.data.empty()) {
        return nullptr;
    }
    const size_t n = entry.data.size();
    std::unique_ptr<char[]> text(new char[n + 1]);
    for (size_t i = 0; i < n; ++i) {
        text[i] = static_cast<char>(entry.data[i] & 0xFF);
    }
    text[n] = '\0';
    return text;
}

} // namespace Orvek
