#pragma once
// Settings of the external TDD switch board, copied in and out whole.
#include <cstdint>
#include <string>

namespace Orvek {

// flag1..flag5 (non-zero = on): tdd, nulling, slave, power amplifier, LNA; the attenuator switch
// is on when extraValue is non-zero. TDD register 07 takes attenuatorValue, registers 01..06 take
// timing[1]..timing[6]; timing[0] cannot be set through the flat interface and is carried along.
struct TDDConfiguration {
    uint8_t flag1 = 0;
    uint8_t flag2 = 0;
    uint8_t flag3 = 0;
    uint8_t flag4 = 0;
    uint8_t flag5 = 0;
    uint16_t attenuatorValue = 0; // at most 255
    uint32_t extraValue = 0;
    uint32_t timing[7] = {0, 0, 0, 0, 0, 0, 0}; // each at most 255
    std::string name;
};

} // namespace Orvek
