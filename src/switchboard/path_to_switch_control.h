#pragma once
// Turns a requested (transmit, receive) pair into the switch-board path object for the unit's
// board. Refusals are exceptions, which the path operations of the task turn into codes:
//   PathNotValidWithAvailableSwitchboard  the board has no such path (ERR_BAD_PATH)
//   TarnException                         transmitter off on a board that cannot do it
//   PromFeatureNotPresentException        board kind unknown: "Unknown switch board!"
#include <memory>

#include "prom/prom_parameters.h"
#include "switchboard/switchboards.h"

namespace Orvek {

// Dispatches on the unit's switch-board kind. The parameters are taken by value.
std::shared_ptr<SwitchBoardState> path_to_switch_control(const PromParameters& params,
                                                         Transmit_Path tx, Receive_Path rx);

// These three refuse tx = TARN_TX_PATH_NONE with TarnException
// "Disabling transmit requires a TDD board!" before validating anything else.
std::shared_ptr<SwitchBoardState> paths_to_four_port_switch(Transmit_Path tx, Receive_Path rx);
std::shared_ptr<SwitchBoardState> paths_to_eight_port_switch(Transmit_Path tx, Receive_Path rx);
std::shared_ptr<SwitchBoardState> paths_to_no_switch_board(Transmit_Path tx, Receive_Path rx);

// The TDD board allows the transmitter off; the S-parameter board refuses it among its other
// invalid pairs.
std::shared_ptr<SwitchBoardState> paths_to_tdd_four_port_switch(Transmit_Path tx, Receive_Path rx);
std::shared_ptr<SwitchBoardState> paths_to_s_parameter_switch_board(Transmit_Path tx,
                                                                    Receive_Path rx);

} // namespace Orvek
