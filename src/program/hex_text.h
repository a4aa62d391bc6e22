#pragma once
// Hex formatting for program text, equivalent to printf's "%02x", "%04x" and "%08X" but without
// the format parsing, since a sweep program holds tens of thousands of these.
#include <cstdint>
#include <string>

namespace Orvek {
namespace hex_text {

// Appends `value` in lower-case hex, at least `width` digits (1 to 8) and more when it does not
// fit them, exactly as "%0<width>x" prints an unmasked value.
inline void appendPadded(std::string& out, std::uint32_t value, int width) {
    static const char digits[] = "0123456789abcdef";
    char buffer[8];
    int count = 0;
    do {
        buffer[count++] = digits[value & 0xF];
        value >>= 4;
    } while (value != 0);
    while (count < width && count < 8)
        buffer[count++] = '0';
    while (count > 0)
        out.push_back(buffer[--count]);
}

// "%02x": a register address or value; wider values print wider.
inline void appendByte(std::string& out, std::uint32_t value) {
    appendPadded(out, value, 2);
}

// Appends `value` as exactly eight upper-case hex digits ("%08X").
inline void appendWordUpper(std::string& out, std::uint32_t value) {
    static const char digits[] = "0123456789ABCDEF";
    for (int shift = 28; shift >= 0; shift -= 4)
        out.push_back(digits[(value >> shift) & 0xF]);
}

} // namespace hex_text
} // namespace Orvek
