// Front-end control registers 0x80 and 0x82: exact bytes and listing comments.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "hardware/control_registers.h"

using namespace Orvek;

TEST(BitHelpers, FirstArgumentIsTheTopBitAndArraysStartAtBitZero) {
    EXPECT_EQ(bitsToByte(true, false, false, false, false, false, false, false), 0x80);
    EXPECT_EQ(bitsToByte(false, true, false, true, false, false, true, true), 0x53);
    EXPECT_EQ(byteToArray(0xA4),
              (std::vector<bool>{false, false, true, false, false, true, false, true}));
}

TEST(Reg80, BandCodesSwitchesAndComment) {
    const struct {
        unsigned band;
        bool txPa, rxPa, txSwitch;
        Reg82Function reg82;
        bool suppliesOff;
        unsigned value;
        const char* comment;
    } cases[] = {
        // The band code sits in bits 6 and 0.
        {0, false, false, false, REG82_DIGITAL_OUTPUT, false, 0x01,
         "band=0 txPA=off rxPA=off txRFswitch=off reg82=dout, +-5v supplies=on"},
        {1, false, false, false, REG82_DIGITAL_OUTPUT, false, 0x00, nullptr},
        {2, true, false, true, REG82_ATTENUATOR, false, 0x6A,
         "band=2 txPA=on rxPA=off txRFswitch=on reg82=atten, +-5v supplies=on"},
        {3, true, true, true, REG82_ATTENUATOR, true, 0xEF,
         "band=3 txPA=on rxPA=on txRFswitch=on reg82=atten, +-5v supplies=off"},
        {1, false, true, false, REG82_DIGITAL_OUTPUT, false, 0x04, nullptr},
        {1, false, false, true, REG82_DIGITAL_OUTPUT, false, 0x08, nullptr},
        {1, false, false, false, REG82_ATTENUATOR, false, 0x20, nullptr},
        // Only the attenuator function sets bit 5; 0 means the digital output too.
        {1, false, false, false, static_cast<Reg82Function>(0), false, 0x00, nullptr},
    };
    for (const auto& c : cases) {
        auto reg = buildReg80(c.band, c.txPa, c.rxPa, c.txSwitch, c.reg82, c.suppliesOff);
        EXPECT_EQ(reg->address, 0x80u);
        EXPECT_EQ(reg->value, c.value) << c.band << " " << c.comment;
        if (c.comment) {
            EXPECT_EQ(reg->comment, c.comment);
        }
    }
    for (unsigned band : {4u, 0xFFFFFFFFu}) {
        try {
            buildReg80(band, false, false, false, REG82_DIGITAL_OUTPUT, false);
            ADD_FAILURE() << "band " << band << " accepted";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string(e.what()), "Invalid band (Not in set [0,1,2,3])");
        }
    }
}

TEST(Reg82, AttenuatorLinesAreActiveLow) {
    // 16 and 8 dB switch on lines 6 and 5, 4, 2 and 1 dB on lines 2..0; bit 4 is passed through.
    const struct {
        Rx_Attenuation atten;
        bool bit4;
        unsigned value;
        const char* comment;
    } cases[] = {
        {ATTEN_0, false, 0x67, "Attenuation = 0dB (0b00000000, reg0b01100111)."},
        {ATTEN_1, false, 0x66, "Attenuation = 1dB (0b00000001, reg0b01100110)."},
        {ATTEN_2, false, 0x65, "Attenuation = 2dB (0b00000010, reg0b01100101)."},
        {ATTEN_4, false, 0x63, "Attenuation = 4dB (0b00000100, reg0b01100011)."},
        {ATTEN_8, true, 0x57, "Attenuation = 8dB (0b00001000, reg0b01010111)."},
        {ATTEN_16, false, 0x27, "Attenuation = 16dB (0b00010000, reg0b00100111)."},
        {ATTEN_31, true, 0x10, "Attenuation = 31dB (0b00011111, reg0b00010000)."},
        {ATTEN_UNDEFINED, true, 0x10, "Attenuation = -1dB (0b11111111, reg0b00010000)."},
    };
    for (const auto& c : cases) {
        auto reg = buildReg82Atten(c.atten, c.bit4);
        EXPECT_EQ(reg->address, 0x82u);
        EXPECT_EQ(reg->value, c.value) << c.comment;
        EXPECT_EQ(reg->comment, c.comment);
    }
}
