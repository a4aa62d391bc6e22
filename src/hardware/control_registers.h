#pragma once
// The two 8-bit control registers of the RF front end:
//
// Register 0x80:  bit 7  +-5 V supplies off
//                 bit 6  band bit (bands 2, 3)
//                 bit 5  register 0x82 drives the attenuator (else the digital output)
//                 bit 4  0
//                 bit 3  transmit RF switch on
//                 bit 2  receive amplifier on
//                 bit 1  transmit amplifier on
//                 bit 0  band bit (bands 0, 3)
// Register 0x82:  the receive step attenuator (active-low lines) when selected by 0x80 bit 5.
#include <cstdint>

namespace Orvek {

constexpr std::uint8_t kFrontEndControlRegister = 0x80;
constexpr std::uint8_t kAttenuatorRegister = 0x82;

// What register 0x82 drives, selected by bit 5 of register 0x80.
enum Reg82Function : int {
    REG82_DIGITAL_OUTPUT = 1, // digital output lines (any value other than 2 selects these)
    REG82_ATTENUATOR = 2,     // switch-board step attenuator
};

// b7 is the most significant bit (0x80), b0 the least (0x01).
std::uint8_t bitsToByte(bool b7, bool b6, bool b5, bool b4, bool b3, bool b2, bool b1, bool b0);

// Value of register 0x80 for `band` 0..3 with the given switches. Throws std::runtime_error
// "Invalid band (Not in set [0,1,2,3])" for any other band.
std::uint8_t reg80Value(unsigned int band, bool txPA, bool rxPA, bool txRFswitch,
                        Reg82Function reg82, bool suppliesOff);

// Value of register 0x82 for an attenuation in whole dB (only its low five bits count);
// `bit4` sets bit 4, which the preamble toggles to strobe the attenuator latch.
std::uint8_t reg82AttenuatorValue(int dB, bool bit4);

} // namespace Orvek
