// Front-end control registers 0x80 and 0x82: exact bytes and listing comments.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "hardware/control_registers.h"

using namespace Orvek;

TEST(BitHelpers, BitOrderOfBothDirections) {
    EXPECT_EQ(bitsToByte(true, false, false, false, false, false, false, false), 0x80);
    EXPECT_EQ(bitsToByte(false, false, false, false, false, false, false, true), 0x01);
    EXPECT_EQ(bitsToByte(false, true, false, true, false, false, true, false), 0x52);
    EXPECT_EQ(bitsToByte(true, true, true, true, true, true, true, true), 0xFF);

    EXPECT_EQ(byteToArray(0x01),
              (std::vector<bool>{true, false, false, false, false, false, false, false}));
    EXPECT_EQ(byteToArray(0xA4),
              (std::vector<bool>{false, false, true, false, false, true, false, true}));
    for (int v = 0; v < 256; ++v) {
        const std::vector<bool> b = byteToArray(static_cast<unsigned char>(v));
        ASSERT_EQ(b.size(), 8u);
        EXPECT_EQ(bitsToByte(b[7], b[6], b[5], b[4], b[3], b[2], b[1], b[0]), v);
    }
}

TEST(Reg80, BandCodesSwitchesAndComment) {
    // Band code in bits 6 and 0 is 0x01, 0x00, 0x40, 0x41 for bands 0..3.
    const unsigned bandCode[4] = {0x01, 0x00, 0x40, 0x41};
    for (unsigned band = 0; band < 4; ++band) {
        auto quiet = buildReg80(band, false, false, false, REG82_DIGITAL_OUTPUT, false);
        EXPECT_EQ(quiet->address, 0x80u);
        EXPECT_EQ(quiet->value, bandCode[band]);
        EXPECT_EQ(quiet->comment, "band=" + std::to_string(band) +
                                      " txPA=off rxPA=off txRFswitch=off reg82=dout, +-5v "
                                      "supplies=on");
    }
    EXPECT_EQ(buildReg80(0, true, false, false, REG82_DIGITAL_OUTPUT, false)->value, 0x03u);
    EXPECT_EQ(buildReg80(1, false, true, false, REG82_DIGITAL_OUTPUT, false)->value, 0x04u);
    EXPECT_EQ(buildReg80(1, false, false, true, REG82_DIGITAL_OUTPUT, false)->value, 0x08u);
    EXPECT_EQ(buildReg80(1, false, false, false, REG82_ATTENUATOR, false)->value, 0x20u);
    EXPECT_EQ(buildReg80(1, false, false, false, REG82_DIGITAL_OUTPUT, true)->value, 0x80u);
    // Only the attenuator function sets bit 5; the preamble passes 1, and 0 means dout too.
    EXPECT_EQ(buildReg80(1, false, false, false, static_cast<Reg82Function>(0), false)->value, 0u);

    auto all = buildReg80(3, true, true, true, REG82_ATTENUATOR, true);
    EXPECT_EQ(all->value, 0xEFu);
    EXPECT_EQ(all->comment, "band=3 txPA=on rxPA=on txRFswitch=on reg82=atten, +-5v supplies=off");

    auto example = buildReg80(2, true, false, true, REG82_ATTENUATOR, false);
    EXPECT_EQ(example->value, 0x6Au);
    EXPECT_EQ(example->comment,
              "band=2 txPA=on rxPA=off txRFswitch=on reg82=atten, +-5v supplies=on");

    for (unsigned band : {4u, 7u, 0xFFFFFFFFu}) {
        try {
            buildReg80(band, false, false, false, REG82_DIGITAL_OUTPUT, false);
            ADD_FAILURE() << "band " << band << " accepted";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string(e.what()), "Invalid band (Not in set [0,1,2,3])");
        }
    }
}

TEST(Reg82, AttenuatorLinesAreActiveLow) {
    struct Case {
        Rx_Attenuation atten;
        bool bit4;
        unsigned value;
        const char* comment;
    };
    const Case cases[] = {
        {ATTEN_0, false, 0x67, "Attenuation = 0dB (0b00000000, reg0b01100111)."},
        {ATTEN_5, false, 0x62, "Attenuation = 5dB (0b00000101, reg0b01100010)."},
        {ATTEN_16, false, 0x27, "Attenuation = 16dB (0b00010000, reg0b00100111)."},
        {ATTEN_8, true, 0x57, "Attenuation = 8dB (0b00001000, reg0b01010111)."},
        {ATTEN_31, false, 0x00, "Attenuation = 31dB (0b00011111, reg0b00000000)."},
        {ATTEN_31, true, 0x10, "Attenuation = 31dB (0b00011111, reg0b00010000)."},
        {ATTEN_UNDEFINED, true, 0x10, "Attenuation = -1dB (0b11111111, reg0b00010000)."},
    };
    for (const Case& c : cases) {
        auto reg = buildReg82Atten(c.atten, c.bit4);
        EXPECT_EQ(reg->address, 0x82u);
        EXPECT_EQ(reg->value, c.value) << c.comment;
        EXPECT_EQ(reg->comment, c.comment);
    }
    // Every setting reads back from the lines: 16 and 8 dB in bits 6 and 5, 4..1 dB in 2..0.
    for (int dB = 0; dB <= 31; ++dB) {
        const unsigned v = buildReg82Atten(static_cast<Rx_Attenuation>(dB), false)->value;
        const unsigned lines = ~v & 0x67;
        EXPECT_EQ(int(((lines >> 6) & 1) << 4 | ((lines >> 5) & 1) << 3 | (lines & 7)), dB);
        EXPECT_EQ(buildReg82Atten(static_cast<Rx_Attenuation>(dB), true)->value, v | 0x10);
    }
}
