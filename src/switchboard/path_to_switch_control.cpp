#include "switchboard/path_to_switch_control.h"

#include "core/exceptions.h"

namespace Orvek {

namespace {

void refuseTransmitterOff(Transmit_Path tx) {
    if (tx == TARN_TX_PATH_NONE) {
        throw TarnException("Disabling transmit requires a TDD board!");
    }
}

} // namespace

std::shared_ptr<SwitchBoardState> path_to_switch_control(const PromParameters& params,
                                                         Transmit_Path tx, Receive_Path rx) {
    // The board kind is the low nibble of the PROM's switch-board byte. It is read raw so that a
    // kind this library does not know is reported as such rather than as a corrupt PROM.
    switch (params.Switchboard_byte & kSwitchBoardTypeMask) {
    case SWITCHBOARD_NO_SWITCH_BOARD:
        return paths_to_no_switch_board(tx, rx);
    case SWITCHBOARD_SIMPLE_4_PORT_SWITCH:
        return paths_to_four_port_switch(tx, rx);
    case SWITCHBOARD_TDD_4_PORT_SWITCH:
        return paths_to_tdd_four_port_switch(tx, rx);
    case SWITCHBOARD_SIMPLE_8_PORT_SWITCH:
        return paths_to_eight_port_switch(tx, rx);
    case SWITCHBOARD_S_PARAMETER_SWITCH:
        return paths_to_s_parameter_switch_board(tx, rx);
    }
    throw PromFeatureNotPresentException("Unknown switch board!");
}

std::shared_ptr<SwitchBoardState> paths_to_four_port_switch(Transmit_Path tx, Receive_Path rx) {
    refuseTransmitterOff(tx);
    return std::make_shared<SimpleFourPortSwitchBoard>(tx, rx);
}

std::shared_ptr<SwitchBoardState> paths_to_eight_port_switch(Transmit_Path tx, Receive_Path rx) {
    refuseTransmitterOff(tx);
    return std::make_shared<SimpleEightPortSwitchBoard>(tx, rx);
}

std::shared_ptr<SwitchBoardState> paths_to_no_switch_board(Transmit_Path tx, Receive_Path rx) {
    refuseTransmitterOff(tx);
    return std::make_shared<NoSwitchBoard>(tx, rx);
}

std::shared_ptr<SwitchBoardState> paths_to_tdd_four_port_switch(Transmit_Path tx, Receive_Path rx) {
    return std::make_shared<TDDFourPortSwitchBoard>(tx, rx);
}

std::shared_ptr<SwitchBoardState> paths_to_s_parameter_switch_board(Transmit_Path tx,
                                                                    Receive_Path rx) {
    return std::make_shared<SParamSwitchBoard>(tx, rx);
}

} // namespace Orvek
