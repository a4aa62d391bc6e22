#include "hardware/control_registers.h"

#include <cstdio>
#include <stdexcept>

#include "switchboard/switchboard_state.h"

namespace Orvek {

namespace {

constexpr std::uint32_t kFrontEndControlRegister = 0x80;
constexpr std::uint32_t kAttenuatorRegister = 0x82;

const char* onOff(bool on) {
    return on ? "on" : "off";
}

} // namespace

unsigned char bitsToByte(bool b7, bool b6, bool b5, bool b4, bool b3, bool b2, bool b1, bool b0) {
    return static_cast<unsigned char>(b7 << 7 | b6 << 6 | b5 << 5 | b4 << 4 | b3 << 3 | b2 << 2 |
                                      b1 << 1 | b0);
}

std::vector<bool> byteToArray(unsigned char value) {
    std::vector<bool> bits(8);
    for (int i = 0; i < 8; ++i) {
        bits[i] = ((value >> i) & 1) != 0;
    }
    return bits;
}

std::unique_ptr<Register> buildReg80(unsigned int band, bool txPA, bool rxPA, bool txRFswitch,
                                     Reg82Function reg82, bool suppliesOff) {
    if (band > 3) {
        throw std::runtime_error("Invalid band (Not in set [0,1,2,3])");
    }
    // The band code is not a binary count: 0 -> bit 0, 1 -> none, 2 -> bit 6, 3 -> both.
    const bool bandBit6 = band >= 2;
    const bool bandBit0 = band == 0 || band == 3;
    const bool attenuator = reg82 == REG82_ATTENUATOR;
    const unsigned char value =
        bitsToByte(suppliesOff, bandBit6, attenuator, false, txRFswitch, rxPA, txPA, bandBit0);

    char comment[128];
    std::snprintf(comment, sizeof comment,
                  "band=%d txPA=%s rxPA=%s txRFswitch=%s reg82=%s, +-5v supplies=%s",
                  static_cast<int>(band), onOff(txPA), onOff(rxPA), onOff(txRFswitch),
                  attenuator ? "atten" : "dout", suppliesOff ? "off" : "on");
    return std::make_unique<Register>(kFrontEndControlRegister, value, comment);
}

std::unique_ptr<Register> buildReg82Atten(Rx_Attenuation atten, bool bit4) {
    const int dB = static_cast<int>(atten);
    const unsigned char a = static_cast<unsigned char>(dB & 0xFF);
    const std::vector<bool> bits = byteToArray(a);
    // Attenuator lines are active-low: the 16 and 8 dB steps sit in bits 6 and 5, the 4, 2
    // and 1 dB steps in bits 2..0.
    const unsigned char value =
        bitsToByte(false, !bits[4], !bits[3], bit4, false, !bits[2], !bits[1], !bits[0]);

    const std::string comment = "Attenuation = " + std::to_string(dB) + "dB (" + bin_format(a) +
                                ", reg" + bin_format(value) + ").";
    return std::make_unique<Register>(kAttenuatorRegister, value, comment);
}

} // namespace Orvek
