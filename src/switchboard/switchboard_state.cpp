#include "switchboard/switchboard_state.h"

#include <stdexcept>
#include <utility>

namespace Orvek {

bool SwitchBoardState::operator==(const SwitchBoardState&) const {
    throw std::runtime_error(
        "Base class comparison operator called? This should not ever be reachable!");
}

int SwitchBoardState::getRegisterValue() const {
    return 0;
}

void SwitchBoardState::setComment(std::string comment) {
    comment_ = std::move(comment);
}

std::string SwitchBoardState::getComment() const {
    return comment_;
}

namespace {

// Ports 0..7 with bits 0 and 2 swapped: the switch wiring reverses the three control lines.
constexpr int kReversedPort[8] = {0, 4, 2, 6, 1, 5, 3, 7};

int reversedFieldToPort(int field) {
    for (int port = 0; port < 8; ++port) {
        if (kReversedPort[port] == field) {
            return port;
        }
    }
    return -2;
}

} // namespace

int txPortNumber(int txPath) {
    if (txPath == -1) {
        return -1;
    }
    if (txPath < 0 || (txPath & ~0x70) != 0) {
        return -2;
    }
    return reversedFieldToPort(txPath >> 4);
}

int rxPortNumber(int rxPath) {
    if (rxPath == -1) {
        return -1;
    }
    if (rxPath < 0 || rxPath > 7) {
        return -2;
    }
    return reversedFieldToPort(rxPath);
}

} // namespace Orvek

namespace {

std::string portToString(const char* prefix, int port) {
    std::string text(prefix);
    if (port >= 0) {
        return text + "P" + std::to_string(port);
    }
    return text + (port == -1 ? "NONE" : "UNKNOWN");
}

} // namespace

std::string tx_port_to_string(Orvek::Transmit_Path tx) {
    return portToString("TX_", Orvek::txPortNumber(tx));
}

std::string rx_port_to_string(Orvek::Receive_Path rx) {
    return portToString("RX_", Orvek::rxPortNumber(rx));
}

std::string s_param_to_string(Orvek::S_Parameter_Set_Path path) {
    switch (path) {
    case Orvek::PATH_REF:
        return "PATH_REF";
    case Orvek::PATH_T1R1:
        return "PATH_T1R1";
    case Orvek::PATH_T2R2:
        return "PATH_T2R2";
    case Orvek::PATH_T1R2:
        return "PATH_T1R2";
    case Orvek::PATH_T2R1:
        return "PATH_T2R1";
    }
    return "ERROR";
}

std::string bin_format(int value) {
    const auto bits = static_cast<unsigned>(value); // a negative value shows its low byte
    std::string text = "0b";
    for (int bit = 7; bit >= 0; --bit) {
        text += ((bits >> bit) & 1u) ? '1' : '0';
    }
    return text;
}
