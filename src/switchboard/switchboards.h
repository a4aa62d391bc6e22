#pragma once
// The five switch-board kinds a unit can carry. Each constructor validates the requested
// (transmit, receive) pair for its board before setting anything, computes the switch register
// value and writes the comment; a refused pair throws PathNotValidWithAvailableSwitchboard
// whose text names the allowed ports and the rejected path, e.g.
// "The TX path must be one of the ports [0, 1, 2, 3] Passed TX_P4!".
#include <string>

#include "switchboard/switchboard_state.h"

namespace Orvek {

// Transmit and receive each switched to one of four ports; the transmitter is always on.
class SimpleFourPortSwitchBoard final : public SwitchBoardState {
public:
    SimpleFourPortSwitchBoard(Transmit_Path tx, Receive_Path rx);

    bool operator==(const SwitchBoardState& other) const override;
    int getRegisterValue() const override;
    void getPaths(Transmit_Path& tx, Receive_Path& rx) const override;
    std::string getSwitchboardType() const override;

private:
    Receive_Path rx_;
    Transmit_Path tx_;
};

// Four-port board for time-division duplex operation: the transmitter may be switched off
// (TARN_TX_PATH_NONE), and the external TDD controller sits behind it.
class TDDFourPortSwitchBoard final : public SwitchBoardState {
public:
    TDDFourPortSwitchBoard(Transmit_Path tx, Receive_Path rx);

    bool operator==(const SwitchBoardState& other) const override;
    int getRegisterValue() const override;
    void getPaths(Transmit_Path& tx, Receive_Path& rx) const override;
    std::string getSwitchboardType() const override;

private:
    Receive_Path rx_;
    Transmit_Path tx_;
};

// Transmit and receive each switched to one of eight ports.
class SimpleEightPortSwitchBoard final : public SwitchBoardState {
public:
    SimpleEightPortSwitchBoard(Transmit_Path tx, Receive_Path rx);

    bool operator==(const SwitchBoardState& other) const override;
    int getRegisterValue() const override;
    void getPaths(Transmit_Path& tx, Receive_Path& rx) const override;
    std::string getSwitchboardType() const override;

private:
    Receive_Path rx_;
    Transmit_Path tx_;
};

// No switch board: the unit's only path is transmit port 0 to receive port 1, and no switch
// register is written (register value -1).
class NoSwitchBoard final : public SwitchBoardState {
public:
    NoSwitchBoard(Transmit_Path tx, Receive_Path rx);

    bool operator==(const SwitchBoardState& other) const override;
    int getRegisterValue() const override;
    void getPaths(Transmit_Path& tx, Receive_Path& rx) const override;
    std::string getSwitchboardType() const override;

private:
    Receive_Path rx_;
    Transmit_Path tx_;
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
