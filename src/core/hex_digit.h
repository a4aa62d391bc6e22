#pragma once
// Value of one hex digit in the unit's text (program images, PROM byte replies).

namespace Orvek {

// 0..15 for 0-9, a-f and A-F; -1 for anything else.
inline int hexDigitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace Orvek
