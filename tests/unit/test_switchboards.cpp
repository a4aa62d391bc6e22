// Every switch board against its register table, cell by cell, over a grid of all transmit and
// receive values (the eight ports, none, and one value that is no path), built directly and
// through the dispatcher. The tables are written out by hand from the board documentation.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include "core/exceptions.h"
#include "prom/prom_parameters.h"
#include "switchboard/path_to_switch_control.h"
#include "switchboard/switchboards.h"

using namespace Orvek;

namespace {

// Grid index 0..7: front-panel port n (its bits reversed into the path value); 8: none; 9: a
// value that is no path.
const int kTx[10] = {0, 64, 32, 96, 16, 80, 48, 112, -1, 1};
const int kRx[10] = {0, 4, 2, 6, 1, 5, 3, 7, -1, -2};
std::string name(const char* prefix, int i) {
    return prefix + (i < 8 ? "_P" + std::to_string(i) : i == 8 ? "_NONE" : "_UNKNOWN");
}

// The register value of the board built, or the class and text of the exception.
std::string outcome(const std::function<std::shared_ptr<SwitchBoardState>()>& make) {
    try {
        return std::to_string(make()->getRegisterValue());
    } catch (const PathNotValidWithAvailableSwitchboard& e) {
        return std::string("PathNotValidWithAvailableSwitchboard: ") + e.what();
    } catch (const PromFeatureNotPresentException& e) {
        return std::string("PromFeatureNotPresentException: ") + e.what();
    } catch (const TarnException& e) {
        return std::string("TarnException: ") + e.what();
    }
}

template <typename Board> std::shared_ptr<SwitchBoardState> build(int tx, int rx) {
    return std::make_shared<Board>(static_cast<Transmit_Path>(tx), static_cast<Receive_Path>(rx));
}

struct BoardTable {
    SwitchBoard_Type type;
    std::shared_ptr<SwitchBoardState> (*make)(int, int);
    // Per transmit value, ten cells for the receive values: the register value in hex, or T/R
    // for a refusal with the transmit/receive message. A missing row refuses every cell (T).
    const char* rows[10];
    std::string txRefusal, rxRefusal; // {tx} and {rx} stand for the names of the values passed
    bool dispatchRefusesTransmitOff;  // before the board sees it: no way to switch it off
};

const BoardTable kBoards[] = {
    {SWITCHBOARD_SIMPLE_4_PORT_SWITCH,
     build<SimpleFourPortSwitchBoard>,
     {"50 14 12 16 R R R R 10 R", "50 14 52 56 R R R R 50 R", "30 34 52 36 R R R R 30 R",
      "70 74 72 36 R R R R 70 R"},
     "The TX path must be one of the ports [0, 1, 2, 3] Passed {tx}!",
     "The RX path must be one of the ports [0, 1, 2, 3, None] Passed {rx}!",
     true},
    {SWITCHBOARD_TDD_4_PORT_SWITCH,
     build<TDDFourPortSwitchBoard>,
     {"96 94 92 96 R R R R 96 R", "D0 D6 D2 D6 R R R R D6 R", "B0 B4 B0 B6 R R R R B0 R",
      "F0 F4 F2 F0 R R R R F0 R", nullptr, nullptr, nullptr, nullptr, "51 15 13 17 R R R R 17 R"},
     "The TX path must be one of the ports [0, 1, 2, 3, None] Passed {tx}!",
     "The RX path must be one of the ports [0, 1, 2, 3, None] Passed {rx}!",
     false},
    {SWITCHBOARD_SIMPLE_8_PORT_SWITCH,
     build<SimpleEightPortSwitchBoard>,
     {"00 04 02 06 01 05 03 07 01 R", "40 44 42 46 41 45 43 47 40 R",
      "20 24 22 26 21 25 23 27 20 R", "60 64 62 66 61 65 63 67 60 R",
      "10 14 12 16 11 15 13 17 10 R", "50 54 52 56 51 55 53 57 50 R",
      "30 34 32 36 31 35 33 37 30 R", "70 74 72 76 71 75 73 77 70 R"},
     "The TX path must be one of the ports [0, 1, 2, 3, 4, 5, 6, 7] Passed {tx}!",
     "The RX path must be one of the ports [0, 1, 2, 3, 4, 5, 6, 7, None] Passed {rx}!",
     true},
    {SWITCHBOARD_NO_SWITCH_BOARD,
     build<NoSwitchBoard>,
     {"R -1 R R R R R R R R"},
     "The only valid TX path for configurations without a switchboard is port 0",
     "The only valid RX path for configurations without a switchboard is port 1",
     true},
    {SWITCHBOARD_S_PARAMETER_SWITCH,
     build<SParamSwitchBoard>,
     {"12 30 T T T T T T T T", "50 14 T T T T T T T T", "T T 11 T T T T T T T"},
     "Valid VNA Switchboard paths are 0->0, 0->1, 1->0, 1->1, 2->2 (ref).  Passed {tx}, {rx}!",
     "",
     false},
};

std::string refusal(std::string text, int t, int r) {
    for (const auto& [key, value] :
         {std::make_pair("{tx}", name("TX", t)), std::make_pair("{rx}", name("RX", r))}) {
        const auto at = text.find(key);
        if (at != std::string::npos)
            text.replace(at, 4, value);
    }
    return "PathNotValidWithAvailableSwitchboard: " + text;
}

} // namespace

TEST(SwitchBoardTables, EveryCellOfEveryBoard) {
    for (const BoardTable& board : kBoards) {
        PromParameters prom;
        prom.setSwitchboardType(board.type);
        for (int t = 0; t < 10; ++t) {
            std::istringstream cells(board.rows[t] ? board.rows[t] : "T T T T T T T T T T");
            for (int r = 0; r < 10; ++r) {
                std::string cell;
                cells >> cell;
                SCOPED_TRACE("board " + std::to_string(board.type) + ", " + name("TX", t) + ", " +
                             name("RX", r));
                std::string expected = cell == "T"   ? refusal(board.txRefusal, t, r)
                                       : cell == "R" ? refusal(board.rxRefusal, t, r)
                                                     : std::to_string(std::stoi(cell, nullptr, 16));
                EXPECT_EQ(outcome([&] { return board.make(kTx[t], kRx[r]); }), expected);
                if (t == 8 && board.dispatchRefusesTransmitOff)
                    expected = "TarnException: Disabling transmit requires a TDD board!";
                EXPECT_EQ(outcome([&] {
                              return path_to_switch_control(prom,
                                                            static_cast<Transmit_Path>(kTx[t]),
                                                            static_cast<Receive_Path>(kRx[r]));
                          }),
                          expected);
            }
        }
    }
}

TEST(SwitchBoardTables, CommentsNameThePathsAndBits) {
    const std::pair<std::shared_ptr<SwitchBoardState>, const char*> cases[] = {
        {build<SimpleFourPortSwitchBoard>(kTx[1], kRx[2]),
         "Four port switch: TX Path - 64 (TX_P1), RX Path - 2 (RX_P2), binary: 0b01010010."},
        {build<TDDFourPortSwitchBoard>(-1, -1),
         "TDD Four port switch: TX Path - -1 (TX_NONE), RX Path - -1 (RX_NONE), Transmitting: No, "
         "binary: 0b00010111."},
        {build<SimpleEightPortSwitchBoard>(kTx[5], kRx[6]),
         "Eight port switch: TX Path - 80 (TX_P5), RX Path - 3 (RX_P6), binary: 0b01010011."},
        {build<NoSwitchBoard>(kTx[0], kRx[1]),
         "No switchboard (TX Path - P0, RX Path: P1), binary: 0b11111111."},
        {build<SParamSwitchBoard>(kTx[1], kRx[0]),
         "SParameter switch board: Path - PATH_T2R1 (80), derived from TX Path - 64 (TX_P1), RX "
         "Path - 0 (RX_P0), binary: 0b01010000."},
        // An unknown stored path is kept as it is.
        {std::make_shared<SParamSwitchBoard>(static_cast<S_Parameter_Set_Path>(0x33)),
         "SParameter switch board: Path - ERROR (51).binary: 0b00110011."},
    };
    for (const auto& [board, comment] : cases) {
        EXPECT_EQ(board->getComment(), comment);
    }
}

TEST(SwitchBoardDispatch, KindIsTheLowNibbleOfTheSwitchBoardByte) {
    const char* const names[] = {"No Switch-Board Present", "Simple 4-Port Switch-Board",
                                 "TDD 4-Port Switch-Board", "Simple 8-Port Switch-Board",
                                 "S-Parameter Switch-Board"};
    PromParameters prom;
    for (int kind = 0; kind < 16; ++kind) {
        prom.Switchboard_byte = static_cast<uint8_t>(0xA0 | kind);
        const auto make = [&] {
            return path_to_switch_control(prom, TARN_TX_PATH_0, TARN_RX_PATH_1);
        };
        if (kind <= 4)
            EXPECT_EQ(make()->getSwitchboardType(), names[kind]);
        else
            EXPECT_EQ(outcome(make), "PromFeatureNotPresentException: Unknown switch board!");
    }
}

TEST(SwitchBoardState, EqualityIgnoresCommentAndRespectsKindAndPaths) {
    using Four = SimpleFourPortSwitchBoard;
    auto a = build<Four>(kTx[1], kRx[2]), b = build<Four>(kTx[1], kRx[2]);
    b->setComment("something else");
    EXPECT_EQ(b->getComment(), "something else");
    EXPECT_TRUE(*a == *b);
    // Same register value (0x50), other paths; equal paths on another kind of board.
    EXPECT_TRUE(*build<Four>(kTx[0], kRx[0]) != *build<Four>(kTx[1], kRx[0]));
    EXPECT_TRUE(*a != *build<TDDFourPortSwitchBoard>(kTx[1], kRx[2]));
    EXPECT_TRUE(*build<TDDFourPortSwitchBoard>(kTx[1], kRx[2]) != *a);
    EXPECT_TRUE(*build<TDDFourPortSwitchBoard>(-1, kRx[2]) !=
                *build<TDDFourPortSwitchBoard>(kTx[0], kRx[2]));
    // A board set from an S-parameter path is the board of that path's ports.
    EXPECT_TRUE(SParamSwitchBoard(PATH_T2R1) == *build<SParamSwitchBoard>(kTx[1], kRx[0]));
    EXPECT_TRUE(SParamSwitchBoard(PATH_REF) == *build<SParamSwitchBoard>(kTx[2], kRx[2]));
}
