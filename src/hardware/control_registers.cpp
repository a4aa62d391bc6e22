#include "hardware/control_registers.h"

#include <stdexcept>

namespace Orvek {

std::uint8_t bitsToByte(bool b7, bool b6, bool b5, bool b4, bool b3, bool b2, bool b1, bool b0) {
    return static_cast<std::uint8_t>(b7 << 7 | b6 << 6 | b5 << 5 | b4 << 4 | b3 << 3 | b2 << 2 |
                                     b1 << 1 | b0);
}

std::uint8_t reg80Value(unsigned int band, bool txPA, bool rxPA, bool txRFswitch,
                        Reg82Function reg82, bool suppliesOff) {
    if (band > 3) {
        throw std::runtime_error("Invalid band (Not in set [0,1,2,3])");
    }
    // The band code is not a binary count: 0 -> bit 0, 1 -> none, 2 -> bit 6, 3 -> both.
    const bool bandBit6 = band >= 2;
    const bool bandBit0 = band == 0 || band == 3;
    return bitsToByte(suppliesOff, bandBit6, reg82 == REG82_ATTENUATOR, false, txRFswitch, rxPA,
                      txPA, bandBit0);
}

std::uint8_t reg82AttenuatorValue(int dB, bool bit4) {
    const auto a = static_cast<unsigned>(dB) & 0xFF;
    auto bit = [a](int i) { return ((a >> i) & 1) != 0; };
    // Attenuator lines are active-low: the 16 and 8 dB steps sit in bits 6 and 5, the 4, 2
    // and 1 dB steps in bits 2..0.
    return bitsToByte(false, !bit(4), !bit(3), bit4, false, !bit(2), !bit(1), !bit(0));
}

} // namespace Orvek
