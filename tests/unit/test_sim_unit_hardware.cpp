// The simulated unit's own register arithmetic, checked against the library's independent
// implementation: what the library writes for a path, band, PLL or hop rate must mean that
// path, band, divider and point time to the unit.
#include <gtest/gtest.h>

#include <cmath>

#include "hardware/frequency_synthesis.h"
#include "hardware/point_timing.h"
#include "prom/prom_parameters.h"
#include "sim/unit_hardware.h"
#include "switchboard/path_to_switch_control.h"

namespace Orvek {
namespace Sim {
namespace {

const Transmit_Path kTx[] = {TARN_TX_PATH_0, TARN_TX_PATH_1, TARN_TX_PATH_2, TARN_TX_PATH_3,
                             TARN_TX_PATH_4, TARN_TX_PATH_5, TARN_TX_PATH_6, TARN_TX_PATH_7};
const Receive_Path kRx[] = {TARN_RX_PATH_0, TARN_RX_PATH_1, TARN_RX_PATH_2, TARN_RX_PATH_3,
                            TARN_RX_PATH_4, TARN_RX_PATH_5, TARN_RX_PATH_6, TARN_RX_PATH_7};

SwitchPath decodeLibraryPath(SwitchBoard_Type board, Transmit_Path tx, Receive_Path rx) {
    PromParameters params;
    params.setSwitchboardType(board);
    const int value = path_to_switch_control(params, tx, rx)->getRegisterValue();
    return decodeSwitchRegister(board, true, static_cast<std::uint8_t>(value));
}

TEST(SimUnitHardware, PortBoardsConnectThePathsTheLibraryAsksFor) {
    struct Board {
        SwitchBoard_Type type;
        int ports;
    };
    for (Board board :
         {Board{SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 4}, Board{SWITCHBOARD_TDD_4_PORT_SWITCH, 4},
          Board{SWITCHBOARD_SIMPLE_8_PORT_SWITCH, 8}}) {
        for (int t = 0; t < board.ports; ++t) {
            for (int r = 0; r < board.ports; ++r) {
                const SwitchPath path = decodeLibraryPath(board.type, kTx[t], kRx[r]);
                EXPECT_TRUE(path.transmitting);
                if (t != r) {
                    EXPECT_EQ(path.txPort, t) << "board " << board.type << " " << t << "->" << r;
                    EXPECT_EQ(path.rxPort, r) << "board " << board.type << " " << t << "->" << r;
                } else if (board.type == SWITCHBOARD_SIMPLE_8_PORT_SWITCH) {
                    EXPECT_EQ(path.txPort, t);
                    EXPECT_EQ(path.rxPort, t);
                } else {
                    // The 4-port boards cannot transmit and receive on one port: they move one
                    // of the two away.
                    EXPECT_NE(path.rxPort, path.txPort) << "board " << board.type << " " << t;
                }
            }
            // Receive none parks the receiver off the transmitting port (the simple 4-port
            // board leaves it on port 0).
            const SwitchPath none = decodeLibraryPath(board.type, kTx[t], TARN_RX_PATH_NONE);
            EXPECT_EQ(none.txPort, t);
            if (board.type != SWITCHBOARD_SIMPLE_4_PORT_SWITCH) {
                EXPECT_NE(none.rxPort, t) << "board " << board.type << " tx " << t;
            }
        }
    }
    for (int r = 0; r < 4; ++r) {
        const SwitchPath off =
            decodeLibraryPath(SWITCHBOARD_TDD_4_PORT_SWITCH, TARN_TX_PATH_NONE, kRx[r]);
        EXPECT_FALSE(off.transmitting);
        EXPECT_EQ(off.rxPort, r);
    }
}

TEST(SimUnitHardware, SParameterBoardAndNoBoardPaths) {
    struct Case {
        int tx, rx;
    };
    for (Case c : {Case{0, 0}, Case{0, 1}, Case{1, 0}, Case{1, 1}}) {
        const SwitchPath path =
            decodeLibraryPath(SWITCHBOARD_S_PARAMETER_SWITCH, kTx[c.tx], kRx[c.rx]);
        EXPECT_TRUE(path.transmitting);
        EXPECT_FALSE(path.internalReference);
        EXPECT_EQ(path.txPort, c.tx);
        EXPECT_EQ(path.rxPort, c.rx);
    }
    EXPECT_TRUE(
        decodeLibraryPath(SWITCHBOARD_S_PARAMETER_SWITCH, kTx[2], kRx[2]).internalReference);
    EXPECT_FALSE(decodeSwitchRegister(SWITCHBOARD_S_PARAMETER_SWITCH, true, 0x55).transmitting);

    const SwitchPath fixed = decodeLibraryPath(SWITCHBOARD_NO_SWITCH_BOARD, kTx[0], kRx[1]);
    EXPECT_EQ(fixed.txPort, 0);
    EXPECT_EQ(fixed.rxPort, 1);
    EXPECT_TRUE(decodeSwitchRegister(SWITCHBOARD_NO_SWITCH_BOARD, false, 0).transmitting);
    // Before its first write a switch board keeps the transmitter off the ports.
    EXPECT_FALSE(decodeSwitchRegister(SWITCHBOARD_SIMPLE_8_PORT_SWITCH, false, 0).transmitting);
}

TEST(SimUnitHardware, SynthesiserAgreesWithTheLibrarysTuningWords) {
    PromParameters prom;
    prom.PLL_type = 0;
    prom.Int_PLL_Div = 100;
    prom.DDS_reference_frequency = 125.0;
    prom.Maximum_freq = 3200;
    const int boundaries[8] = {1600, 800, 400, 200, 200, 200, 200, 200};
    for (int k = 0; k < 8; ++k)
        prom.Band_boundaries[k] = boundaries[k];
    const std::uint8_t bandBits[4] = {0x01, 0x00, 0x40, 0x41};
    for (double f : {200.0, 333.3, 399.99, 400.0, 1234.5678, 1600.0, 3199.0, 3200.0}) {
        const int band = freqToBand(f, prom, false);
        ASSERT_GE(band, 0) << f;
        unsigned char tx[3], rx[3];
        const double produced =
            freqToRegisters(f, band, prom, tx[2], tx[1], tx[0], rx[2], rx[1], rx[0], nullptr);
        const std::uint32_t txWord = (tx[2] << 16) | (tx[1] << 8) | tx[0];
        const std::uint32_t rxWord = (rx[2] << 16) | (rx[1] << 8) | rx[0];
        const int unitBand = bandFromControlRegister(bandBits[band]);
        EXPECT_EQ(unitBand, band);
        EXPECT_NEAR(synthesiserOutputMHz(txWord, unitBand, 100, 125.0), produced, 1e-9) << f;
        const double intermediate = synthesiserOutputMHz(rxWord, unitBand, 100, 125.0) -
                                    synthesiserOutputMHz(txWord, unitBand, 100, 125.0);
        EXPECT_LT(std::abs(intermediate - kIntermediateFrequencyMHz), 0.001) << f;
    }
}

TEST(SimUnitHardware, PllDividerAndPointClockAgreeWithTheLibrary) {
    PromParameters prom;
    prom.PLL_type = 0;
    prom.PLL_prescaler_in_use = 1;
    for (int setting = 0; setting <= 3; ++setting) {
        prom.PLL_prescaler_setting = setting;
        const int prescaler[] = {16, 8, 32, 64};
        for (int n = prescaler[setting]; n < 16 * prescaler[setting]; n += 7) {
            if (n % prescaler[setting] > 15)
                continue; // the A counter has four bits: such N cannot be programmed
            prom.Int_PLL_Div = n;
            int reg1 = 0, reg2 = 0;
            buildPLLRegs(prom, reg1, reg2);
            EXPECT_EQ(
                pllDivideRatio(static_cast<std::uint8_t>(reg1), static_cast<std::uint8_t>(reg2)), n)
                << "setting " << setting;
        }
    }
    for (int hop = HOP_90K; hop <= HOP_20; ++hop)
        EXPECT_NEAR(hopRateCycles(hop) / 32e6, sPerPoint(static_cast<Hop_Rate>(hop), 32.0), 1e-15);
    EXPECT_EQ(hopRateCycles(14), 0u);
    EXPECT_EQ(hopRateCycles(-1), 0u);
}

TEST(SimUnitHardware, AttenuatorLinesAreActiveLow) {
    EXPECT_EQ(attenuatorFromRegister(0x67), 0); // all lines high: 0 dB
    EXPECT_EQ(attenuatorFromRegister(0x62), 5);
    EXPECT_EQ(attenuatorFromRegister(0x00), 31);
    EXPECT_EQ(attenuatorFromRegister(0x10), 31); // bit 4 is the latch flag, not a line
    EXPECT_EQ(attenuatorFromRegister(0x27), 16);
}

} // namespace
} // namespace Sim
} // namespace Orvek
