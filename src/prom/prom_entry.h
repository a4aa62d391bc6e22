#pragma once
// One tagged entry of a PROM image, and the big-endian encoders and decoders of its data.
//
// PROM bytes travel one per element of a std::vector<int>, each element 0..255, because the
// PROM transfer reads and writes them one byte per text command.
#include <cstdint>
#include <memory>
#include <vector>

namespace Orvek {

// Key that ends the entry list (an erased PROM reads 0xFF bytes).
constexpr int kPromEndKey = 0xFFFF;

struct PromEntry {
    int key = 0;           // unsigned 16-bit on the wire
    int length = 0;        // unsigned 16-bit count of data bytes on the wire
    std::vector<int> data; // one byte per element
};

// --- Encoders: each appends big-endian bytes to `bytes`. ---

// Low 8, 16 or 24 bits of `value` for byteCount 1, 2 or 3. Any other count prints
// "Error: unsupported number of bytes [encodeInt]" on standard output and appends nothing.
void encodeInt(std::vector<int>& bytes, int value, int byteCount);
// IEEE 754 binary32 of `value` (narrowed first), 4 bytes.
void encodeFloat(std::vector<int>& bytes, double value);
// IEEE 754 binary64, 8 bytes.
void encodeDouble(std::vector<int>& bytes, double value);
// `length` characters of `text`, NUL bytes included, no terminator.
void encodeString(std::vector<int>& bytes, const char* text, unsigned length);
void encodeFloatArray(std::vector<int>& bytes, const double* values, unsigned count);
void encodeDoubleArray(std::vector<int>& bytes, const double* values, unsigned count);

// --- Decoders. ---

// Big-endian accumulation; only the last four bytes count, an empty vector gives 0.
int decodeInt(const std::vector<int>& bytes);
// Read 4 (8) bytes starting at `it`; the caller guarantees they exist.
double decodeFloat(std::vector<int>::const_iterator it);
double decodeDouble(std::vector<int>::const_iterator it);
// The entry must hold exactly 4 (8) data bytes, otherwise the result is 0.0.
double decodeFloat(const PromEntry& entry);
double decodeDouble(const PromEntry& entry);
// `count` consecutive values starting at `it`; the caller guarantees 4 (8) * count bytes.
// A count above 0xFE00000 throws std::bad_array_new_length.
std::unique_ptr<double[]> decodeFloatArray(std::vector<int>::const_iterator it, unsigned count);
std::unique_ptr<double[]> decodeDoubleArray(std::vector<int>::const_iterator it, unsigned count);
// The entry's data as a NUL-terminated text; null for an entry without data.
std::unique_ptr<char[]> decodeString(const PromEntry& entry);

} // namespace Orvek
