// Every switch board against its register table, cell by cell, over a grid of all transmit and
// receive values (the eight ports, none, and one value that is no path at all). The expected
// tables are written out here by hand from the board documentation, not derived from the code.
#include <gtest/gtest.h>

#include <bitset>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "interface/exceptions.h"
#include "prom/prom_parameters.h"
#include "switchboard/path_to_switch_control.h"
#include "switchboard/switchboards.h"

using namespace Orvek;

namespace {

// Front-panel port n -> path value (bits of n reversed, transmit in bits 6..4).
const Transmit_Path kTx[8] = {TARN_TX_PATH_0, TARN_TX_PATH_1, TARN_TX_PATH_2, TARN_TX_PATH_3,
                              TARN_TX_PATH_4, TARN_TX_PATH_5, TARN_TX_PATH_6, TARN_TX_PATH_7};
const Receive_Path kRx[8] = {TARN_RX_PATH_0, TARN_RX_PATH_1, TARN_RX_PATH_2, TARN_RX_PATH_3,
                             TARN_RX_PATH_4, TARN_RX_PATH_5, TARN_RX_PATH_6, TARN_RX_PATH_7};

// Grid columns: ports 0..7, then none, then a value that is no path.
constexpr int kNone = 8;
constexpr int kBogus = 9;
constexpr int kGrid = 10;

Transmit_Path txAt(int i) {
    return i < 8 ? kTx[i] : (i == kNone ? TARN_TX_PATH_NONE : static_cast<Transmit_Path>(1));
}
Receive_Path rxAt(int i) {
    return i < 8 ? kRx[i] : (i == kNone ? TARN_RX_PATH_NONE : static_cast<Receive_Path>(-2));
}
std::string txName(int i) {
    return i < 8 ? "TX_P" + std::to_string(i) : (i == kNone ? "TX_NONE" : "TX_UNKNOWN");
}
std::string rxName(int i) {
    return i < 8 ? "RX_P" + std::to_string(i) : (i == kNone ? "RX_NONE" : "RX_UNKNOWN");
}
std::string bits(int value) {
    return "0b" + std::bitset<8>(value & 0xFF).to_string();
}

// What a construction produced: a board, or an exception of a precise class with its text.
struct Outcome {
    std::shared_ptr<SwitchBoardState> board;
    std::string kind;
    std::string message;
};

Outcome run(const std::function<std::shared_ptr<SwitchBoardState>()>& make) {
    Outcome out;
    try {
        out.board = make();
    } catch (const PathNotValidWithAvailableSwitchboard& e) {
        out.kind = "PathNotValidWithAvailableSwitchboard";
        out.message = e.what();
    } catch (const PromFeatureNotPresentException& e) {
        out.kind = "PromFeatureNotPresentException";
        out.message = e.what();
    } catch (const InvalidPromException& e) {
        out.kind = "InvalidPromException";
        out.message = e.what();
    } catch (const TarnException& e) {
        out.kind = "TarnException";
        out.message = e.what();
    } catch (const std::exception& e) {
        out.kind = "other";
        out.message = e.what();
    }
    return out;
}

const std::string kPathError = "PathNotValidWithAvailableSwitchboard";

// One board under test: how to build it directly and through the dispatcher, and what every
// cell of the grid must give (a register value and comment, or an exception).
struct Expect {
    bool ok;
    int value;
    std::string kindOrComment; // comment when ok, exception class otherwise
    std::string message;
};

void checkGrid(
    const char* board, SwitchBoard_Type type,
    const std::function<std::shared_ptr<SwitchBoardState>(Transmit_Path, Receive_Path)>& direct,
    const std::function<Expect(int, int)>& expectDirect,
    const std::function<Expect(int, int)>& expectDispatch) {
    PromParameters prom;
    prom.setSwitchboardType(type);
    for (int t = 0; t < kGrid; ++t) {
        for (int r = 0; r < kGrid; ++r) {
            SCOPED_TRACE(std::string(board) + " tx " + txName(t) + " rx " + rxName(r));
            const Outcome viaConstructor = run([&] { return direct(txAt(t), rxAt(r)); });
            const Outcome viaDispatch =
                run([&] { return path_to_switch_control(prom, txAt(t), rxAt(r)); });
            const std::pair<const Outcome*, Expect> cases[] = {
                {&viaConstructor, expectDirect(t, r)}, {&viaDispatch, expectDispatch(t, r)}};
            for (const auto& [outcome, expected] : cases) {
                if (expected.ok) {
                    ASSERT_TRUE(outcome->board) << outcome->kind << ": " << outcome->message;
                    EXPECT_EQ(outcome->board->getRegisterValue(), expected.value);
                    EXPECT_EQ(outcome->board->getComment(), expected.kindOrComment);
                } else {
                    EXPECT_FALSE(outcome->board);
                    EXPECT_EQ(outcome->kind, expected.kindOrComment);
                    EXPECT_EQ(outcome->message, expected.message);
                }
            }
        }
    }
}

Expect fail(const std::string& kind, const std::string& message) {
    return {false, 0, kind, message};
}

std::string pathsPart(int t, int r) {
    return "TX Path - " + std::to_string(txAt(t)) + " (" + txName(t) + "), RX Path - " +
           std::to_string(rxAt(r)) + " (" + rxName(r) + "), ";
}

const char* const kTransmitOff = "Disabling transmit requires a TDD board!";

} // namespace

TEST(SwitchBoardTables, SimpleFourPort) {
    // rows: transmit port 0..3; columns: receive port 0..3, none
    const int table[4][5] = {
        {0x50, 0x14, 0x12, 0x16, 0x10},
        {0x50, 0x14, 0x52, 0x56, 0x50},
        {0x30, 0x34, 0x52, 0x36, 0x30},
        {0x70, 0x74, 0x72, 0x36, 0x70},
    };
    auto expect = [&](int t, int r) {
        if (t > 3) {
            return fail(kPathError, "The TX path must be one of the ports [0, 1, 2, 3] Passed " +
                                        txName(t) + "!");
        }
        if (r > 3 && r != kNone) {
            return fail(kPathError,
                        "The RX path must be one of the ports [0, 1, 2, 3, None] Passed " +
                            rxName(r) + "!");
        }
        const int value = table[t][r == kNone ? 4 : r];
        return Expect{true, value,
                      "Four port switch: " + pathsPart(t, r) + "binary: " + bits(value) + ".", ""};
    };
    checkGrid(
        "simple4", SWITCHBOARD_SIMPLE_4_PORT_SWITCH,
        [](Transmit_Path tx, Receive_Path rx) {
            return std::make_shared<SimpleFourPortSwitchBoard>(tx, rx);
        },
        expect,
        [&](int t, int r) {
            return t == kNone ? fail("TarnException", kTransmitOff) : expect(t, r);
        });
}

TEST(SwitchBoardTables, TddFourPort) {
    // rows: transmit port 0..3, none; columns: receive port 0..3, none
    const int table[5][5] = {
        {0x96, 0x94, 0x92, 0x96, 0x96}, {0xD0, 0xD6, 0xD2, 0xD6, 0xD6},
        {0xB0, 0xB4, 0xB0, 0xB6, 0xB0}, {0xF0, 0xF4, 0xF2, 0xF0, 0xF0},
        {0x51, 0x15, 0x13, 0x17, 0x17},
    };
    auto expect = [&](int t, int r) {
        if (t > 3 && t != kNone) {
            return fail(kPathError,
                        "The TX path must be one of the ports [0, 1, 2, 3, None] Passed " +
                            txName(t) + "!");
        }
        if (r > 3 && r != kNone) {
            return fail(kPathError,
                        "The RX path must be one of the ports [0, 1, 2, 3, None] Passed " +
                            rxName(r) + "!");
        }
        const int value = table[t == kNone ? 4 : t][r == kNone ? 4 : r];
        return Expect{true, value,
                      "TDD Four port switch: " + pathsPart(t, r) + "Transmitting: " +
                          (t == kNone ? "No" : "Yes") + ", binary: " + bits(value) + ".",
                      ""};
    };
    checkGrid(
        "tdd4", SWITCHBOARD_TDD_4_PORT_SWITCH,
        [](Transmit_Path tx, Receive_Path rx) {
            return std::make_shared<TDDFourPortSwitchBoard>(tx, rx);
        },
        expect, expect);
}

TEST(SwitchBoardTables, SimpleEightPort) {
    // Transmit port bits in 6..4 and receive port bits in 2..0, each port number bit-reversed;
    // receive none contributes nothing, except that transmit port 0 with receive none gives 0x01.
    const int txBits[8] = {0x00, 0x40, 0x20, 0x60, 0x10, 0x50, 0x30, 0x70};
    const int rxBits[8] = {0, 4, 2, 6, 1, 5, 3, 7};
    auto expect = [&](int t, int r) {
        if (t > 7) {
            return fail(kPathError,
                        "The TX path must be one of the ports [0, 1, 2, 3, 4, 5, 6, 7] Passed " +
                            txName(t) + "!");
        }
        if (r == kBogus) {
            return fail(
                kPathError,
                "The RX path must be one of the ports [0, 1, 2, 3, 4, 5, 6, 7, None] Passed " +
                    rxName(r) + "!");
        }
        const int value = r == kNone ? (t == 0 ? 0x01 : txBits[t]) : (txBits[t] | rxBits[r]);
        return Expect{true, value,
                      "Eight port switch: " + pathsPart(t, r) + "binary: " + bits(value) + ".", ""};
    };
    checkGrid(
        "simple8", SWITCHBOARD_SIMPLE_8_PORT_SWITCH,
        [](Transmit_Path tx, Receive_Path rx) {
            return std::make_shared<SimpleEightPortSwitchBoard>(tx, rx);
        },
        expect,
        [&](int t, int r) {
            return t == kNone ? fail("TarnException", kTransmitOff) : expect(t, r);
        });
}

TEST(SwitchBoardTables, NoBoard) {
    auto expect = [&](int t, int r) {
        if (t != 0) {
            return fail(
                kPathError,
                "The only valid TX path for configurations without a switchboard is port 0");
        }
        if (r != 1) {
            return fail(
                kPathError,
                "The only valid RX path for configurations without a switchboard is port 1");
        }
        return Expect{true, -1, "No switchboard (TX Path - P0, RX Path: P1), binary: 0b11111111.",
                      ""};
    };
    checkGrid(
        "none", SWITCHBOARD_NO_SWITCH_BOARD,
        [](Transmit_Path tx, Receive_Path rx) { return std::make_shared<NoSwitchBoard>(tx, rx); },
        expect,
        [&](int t, int r) {
            return t == kNone ? fail("TarnException", kTransmitOff) : expect(t, r);
        });
}

TEST(SwitchBoardTables, SParameterFromPorts) {
    struct Valid {
        int t, r, value;
        const char* name;
    };
    const Valid valid[] = {{0, 0, 0x12, "PATH_T1R1"},
                           {0, 1, 0x30, "PATH_T1R2"},
                           {1, 0, 0x50, "PATH_T2R1"},
                           {1, 1, 0x14, "PATH_T2R2"},
                           {2, 2, 0x11, "PATH_REF"}};
    auto expect = [&](int t, int r) {
        for (const Valid& v : valid) {
            if (v.t == t && v.r == r) {
                return Expect{true, v.value,
                              std::string("SParameter switch board: Path - ") + v.name + " (" +
                                  std::to_string(v.value) + "), derived from " + pathsPart(t, r) +
                                  "binary: " + bits(v.value) + ".",
                              ""};
            }
        }
        return fail(kPathError,
                    "Valid VNA Switchboard paths are 0->0, 0->1, 1->0, 1->1, 2->2 (ref).  Passed " +
                        txName(t) + ", " + rxName(r) + "!");
    };
    checkGrid(
        "sparam", SWITCHBOARD_S_PARAMETER_SWITCH,
        [](Transmit_Path tx, Receive_Path rx) {
            return std::make_shared<SParamSwitchBoard>(tx, rx);
        },
        expect, expect);
}

TEST(SwitchBoardTables, SParameterFromPathRoundTrips) {
    struct Case {
        S_Parameter_Set_Path path;
        const char* name;
        int t, r;
    };
    const Case cases[] = {{PATH_REF, "PATH_REF", 2, 2},
                          {PATH_T1R1, "PATH_T1R1", 0, 0},
                          {PATH_T2R2, "PATH_T2R2", 1, 1},
                          {PATH_T1R2, "PATH_T1R2", 0, 1},
                          {PATH_T2R1, "PATH_T2R1", 1, 0}};
    for (const Case& c : cases) {
        SParamSwitchBoard board(c.path);
        EXPECT_EQ(board.getRegisterValue(), static_cast<int>(c.path));
        EXPECT_EQ(board.getComment(), std::string("SParameter switch board: Path - ") + c.name +
                                          " (" + std::to_string(c.path) +
                                          ").binary: " + bits(c.path) + ".");
        Transmit_Path tx = TARN_TX_PATH_7;
        Receive_Path rx = TARN_RX_PATH_7;
        board.getPaths(tx, rx);
        EXPECT_EQ(tx, kTx[c.t]);
        EXPECT_EQ(rx, kRx[c.r]);
        EXPECT_TRUE(board == SParamSwitchBoard(kTx[c.t], kRx[c.r]));
    }
    // An unknown stored path is kept as it is and leaves getPaths' outputs alone.
    SParamSwitchBoard odd(static_cast<S_Parameter_Set_Path>(0x33));
    EXPECT_EQ(odd.getRegisterValue(), 0x33);
    EXPECT_EQ(odd.getComment(), "SParameter switch board: Path - ERROR (51).binary: 0b00110011.");
    Transmit_Path tx = TARN_TX_PATH_5;
    Receive_Path rx = TARN_RX_PATH_5;
    odd.getPaths(tx, rx);
    EXPECT_EQ(tx, TARN_TX_PATH_5);
    EXPECT_EQ(rx, TARN_RX_PATH_5);
}

TEST(SwitchBoardDispatch, BoardKindFromPromAndUnknownKind) {
    struct Case {
        uint8_t byte;
        const char* name;
    };
    // The high nibble of the switch-board byte is not part of the kind.
    const Case cases[] = {{0x00, "No Switch-Board Present"},
                          {0x31, "Simple 4-Port Switch-Board"},
                          {0x02, "TDD 4-Port Switch-Board"},
                          {0xF3, "Simple 8-Port Switch-Board"},
                          {0x04, "S-Parameter Switch-Board"}};
    for (const Case& c : cases) {
        PromParameters prom;
        prom.Switchboard_byte = c.byte;
        auto board = path_to_switch_control(prom, TARN_TX_PATH_0, TARN_RX_PATH_1);
        ASSERT_TRUE(board);
        EXPECT_EQ(board->getSwitchboardType(), c.name);
        Transmit_Path tx;
        Receive_Path rx;
        board->getPaths(tx, rx);
        EXPECT_EQ(tx, TARN_TX_PATH_0);
        EXPECT_EQ(rx, TARN_RX_PATH_1);
    }
    for (uint8_t kind : {5, 9, 15}) {
        PromParameters prom;
        prom.Switchboard_byte = kind;
        const Outcome out =
            run([&] { return path_to_switch_control(prom, TARN_TX_PATH_0, TARN_RX_PATH_1); });
        EXPECT_EQ(out.kind, "PromFeatureNotPresentException");
        EXPECT_EQ(out.message, "Unknown switch board!");
    }
}

TEST(SwitchBoardState, EqualityIgnoresCommentAndRespectsKind) {
    auto a = std::make_shared<SimpleFourPortSwitchBoard>(TARN_TX_PATH_1, TARN_RX_PATH_2);
    auto b = std::make_shared<SimpleFourPortSwitchBoard>(TARN_TX_PATH_1, TARN_RX_PATH_2);
    b->setComment("something else");
    EXPECT_TRUE(*a == *b);
    EXPECT_EQ(a->getComment(),
              "Four port switch: TX Path - 64 (TX_P1), RX Path - 2 (RX_P2), binary: 0b01010010.");
    EXPECT_EQ(b->getComment(), "something else");

    // Same register value, other paths: still a different path.
    EXPECT_FALSE(SimpleFourPortSwitchBoard(TARN_TX_PATH_0, TARN_RX_PATH_0) ==
                 SimpleFourPortSwitchBoard(TARN_TX_PATH_1, TARN_RX_PATH_0));
    EXPECT_FALSE(*a == SimpleFourPortSwitchBoard(TARN_TX_PATH_1, TARN_RX_PATH_3));
    EXPECT_FALSE(*a == SimpleFourPortSwitchBoard(TARN_TX_PATH_2, TARN_RX_PATH_2));

    // Equal paths on different kinds of board are different paths.
    const TDDFourPortSwitchBoard tdd(TARN_TX_PATH_1, TARN_RX_PATH_2);
    const SimpleEightPortSwitchBoard eight(TARN_TX_PATH_1, TARN_RX_PATH_2);
    EXPECT_FALSE(*a == tdd);
    EXPECT_FALSE(tdd == *a);
    EXPECT_FALSE(eight == *a);
    EXPECT_TRUE(tdd == TDDFourPortSwitchBoard(TARN_TX_PATH_1, TARN_RX_PATH_2));
    EXPECT_FALSE(tdd == TDDFourPortSwitchBoard(TARN_TX_PATH_NONE, TARN_RX_PATH_2));
    EXPECT_FALSE(SParamSwitchBoard(PATH_T1R1) == SParamSwitchBoard(PATH_T1R2));
    EXPECT_FALSE(SParamSwitchBoard(PATH_T1R1) ==
                 SimpleFourPortSwitchBoard(TARN_TX_PATH_0, TARN_RX_PATH_0));

    // Held through the base, as the measured path list holds them.
    std::shared_ptr<SwitchBoardState> base = a;
    EXPECT_TRUE(*base == *b);
    EXPECT_TRUE(*base != tdd);
}

TEST(SwitchBoardState, RenderingOfPathsAndBits) {
    const char* txNames[8] = {"TX_P0", "TX_P1", "TX_P2", "TX_P3",
                              "TX_P4", "TX_P5", "TX_P6", "TX_P7"};
    const char* rxNames[8] = {"RX_P0", "RX_P1", "RX_P2", "RX_P3",
                              "RX_P4", "RX_P5", "RX_P6", "RX_P7"};
    for (int port = 0; port < 8; ++port) {
        EXPECT_EQ(tx_port_to_string(kTx[port]), txNames[port]);
        EXPECT_EQ(rx_port_to_string(kRx[port]), rxNames[port]);
    }
    EXPECT_EQ(tx_port_to_string(TARN_TX_PATH_NONE), "TX_NONE");
    EXPECT_EQ(rx_port_to_string(TARN_RX_PATH_NONE), "RX_NONE");
    // Receive-field bits make no transmit path, and no negative value but -1 is a path. (Values
    // beyond each enumeration's range cannot be formed in C++ without undefined behaviour.)
    for (int value : {1, 4, 0x41, 0x7F, -2, -128}) {
        EXPECT_EQ(tx_port_to_string(static_cast<Transmit_Path>(value)), "TX_UNKNOWN") << value;
    }
    for (int value : {-2, -8}) {
        EXPECT_EQ(rx_port_to_string(static_cast<Receive_Path>(value)), "RX_UNKNOWN") << value;
    }
    EXPECT_EQ(s_param_to_string(static_cast<S_Parameter_Set_Path>(19)), "ERROR");

    EXPECT_EQ(bin_format(0x96), "0b10010110");
    EXPECT_EQ(bin_format(0x01), "0b00000001");
    EXPECT_EQ(bin_format(256), "0b00000000");
    EXPECT_EQ(bin_format(-1), "0b11111111");
    EXPECT_EQ(bin_format(0x17F), "0b01111111");
}
