#pragma once
// The five switch-board kinds a unit can carry. Each constructor validates the requested
// (transmit, receive) pair for its board before setting anything, computes the switch register
// value and writes the comment; a refused pair throws PathNotValidWithAvailableSwitchboard
// whose text names the allowed ports and the rejected path, e.g.
// "The TX path must be one of the ports [0, 1, 2, 3] Passed TX_P4!".
#include <string>

#include "switchboard/switchboard_state.h"

namespace Orvek {

// The boards that switch one transmit and one receive port and store both. Two of them are the
// same path when they are the same kind of board with the same ports.
class PortPairSwitchBoard : public SwitchBoardState {
public:
    bool operator==(const SwitchBoardState& other) const override;
    void getPaths(Transmit_Path& tx, Receive_Path& rx) const override;

protected:
    PortPairSwitchBoard() = default;
    ~PortPairSwitchBoard() = default;

    // Set by each constructor only after the pair has passed the board's validation.
    Receive_Path rx_ = TARN_RX_PATH_NONE;
    Transmit_Path tx_ = TARN_TX_PATH_NONE;
};

// Transmit and receive each switched to one of four ports; the transmitter is always on.
class SimpleFourPortSwitchBoard final : public PortPairSwitchBoard {
public:
    SimpleFourPortSwitchBoard(Transmit_Path tx, Receive_Path rx);

    int getRegisterValue() const override;
    std::string getSwitchboardType() const override;
};

// Four-port board for time-division duplex operation: the transmitter may be switched off
// (TARN_TX_PATH_NONE), and the external TDD controller sits behind it.
class TDDFourPortSwitchBoard final : public PortPairSwitchBoard {
public:
    TDDFourPortSwitchBoard(Transmit_Path tx, Receive_Path rx);

    int getRegisterValue() const override;
    std::string getSwitchboardType() const override;
};

// Transmit and receive each switched to one of eight ports.
class SimpleEightPortSwitchBoard final : public PortPairSwitchBoard {
public:
    SimpleEightPortSwitchBoard(Transmit_Path tx, Receive_Path rx);

    int getRegisterValue() const override;
    std::string getSwitchboardType() const override;
};

// No switch board: the unit's only path is transmit port 0 to receive port 1, and no switch
// register is written (register value -1).
class NoSwitchBoard final : public PortPairSwitchBoard {
public:
    NoSwitchBoard(Transmit_Path tx, Receive_Path rx);

    int getRegisterValue() const override;
    std::string getSwitchboardType() const override;
};

// Two-port S-parameter board with a reference path; its five paths are the
// S_Parameter_Set_Path values, which are also the register values.
class SParamSwitchBoard final : public SwitchBoardState {
public:
    // Accepts (0,0), (0,1), (1,0), (1,1) and (2,2) (front-panel port numbers).
    SParamSwitchBoard(Transmit_Path tx, Receive_Path rx);
    // Stores the path as given, without checking it.
    explicit SParamSwitchBoard(S_Parameter_Set_Path path);

    bool operator==(const SwitchBoardState& other) const override;
    int getRegisterValue() const override;
    // Leaves both outputs untouched for a stored value that is no S-parameter path.
    void getPaths(Transmit_Path& tx, Receive_Path& rx) const override;
    std::string getSwitchboardType() const override;

private:
    S_Parameter_Set_Path path_;
};

} // namespace Orvek
