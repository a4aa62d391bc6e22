#include "switchboard/switchboards.h"

#include <typeinfo>

#include "core/exceptions.h"

namespace Orvek {

namespace {

constexpr int kNone = -1;

[[noreturn]] void refusePath(const char* allowed, const std::string& rendered) {
    throw PathNotValidWithAvailableSwitchboard((allowed + rendered + "!").c_str());
}

// Port numbers must be 0..maxPort; "none" only where the board can leave that side unused.
bool portAllowed(int port, int maxPort, bool noneAllowed) {
    if (port == kNone) {
        return noneAllowed;
    }
    return port >= 0 && port <= maxPort;
}

std::string pathsText(Transmit_Path tx, Receive_Path rx) {
    return "TX Path - " + std::to_string(tx) + " (" + tx_port_to_string(tx) + "), RX Path - " +
           std::to_string(rx) + " (" + rx_port_to_string(rx) + "), ";
}

} // namespace

// ---- Boards holding a port pair -----------------------------------------------------------

bool PortPairSwitchBoard::operator==(const SwitchBoardState& other) const {
    if (typeid(*this) != typeid(other)) {
        return false;
    }
    const auto& that = dynamic_cast<const PortPairSwitchBoard&>(other);
    return rx_ == that.rx_ && tx_ == that.tx_;
}

void PortPairSwitchBoard::getPaths(Transmit_Path& tx, Receive_Path& rx) const {
    tx = tx_;
    rx = rx_;
}

// ---- Simple 4-port ------------------------------------------------------------------------

SimpleFourPortSwitchBoard::SimpleFourPortSwitchBoard(Transmit_Path tx, Receive_Path rx) {
    if (!portAllowed(txPortNumber(tx), 3, false)) {
        refusePath("The TX path must be one of the ports [0, 1, 2, 3] Passed ",
                   tx_port_to_string(tx));
    }
    if (!portAllowed(rxPortNumber(rx), 3, true)) {
        refusePath("The RX path must be one of the ports [0, 1, 2, 3, None] Passed ",
                   rx_port_to_string(rx));
    }
    rx_ = rx;
    tx_ = tx;
    setComment("Four port switch: " + pathsText(tx, rx) +
               "binary: " + bin_format(getRegisterValue()) + ".");
}

int SimpleFourPortSwitchBoard::getRegisterValue() const {
    // Bit 4 enables the board. When transmit and receive name the same port the transmitter
    // is moved to another port so that it never drives the receiver directly.
    if (txPortNumber(tx_) == rxPortNumber(rx_)) {
        static constexpr int kSamePort[4] = {0x50, 0x14, 0x52, 0x36};
        return kSamePort[txPortNumber(tx_)];
    }
    return 0x10 | tx_ | (rx_ == kNone ? 0 : rx_);
}

std::string SimpleFourPortSwitchBoard::getSwitchboardType() const {
    return "Simple 4-Port Switch-Board";
}

// ---- TDD 4-port ---------------------------------------------------------------------------

TDDFourPortSwitchBoard::TDDFourPortSwitchBoard(Transmit_Path tx, Receive_Path rx) {
    if (!portAllowed(txPortNumber(tx), 3, true)) {
        refusePath("The TX path must be one of the ports [0, 1, 2, 3, None] Passed ",
                   tx_port_to_string(tx));
    }
    if (!portAllowed(rxPortNumber(rx), 3, true)) {
        refusePath("The RX path must be one of the ports [0, 1, 2, 3, None] Passed ",
                   rx_port_to_string(rx));
    }
    rx_ = rx;
    tx_ = tx;
    setComment("TDD Four port switch: " + pathsText(tx, rx) + "Transmitting: " +
               (tx != kNone ? "Yes" : "No") + ", binary: " + bin_format(getRegisterValue()) + ".");
}

int TDDFourPortSwitchBoard::getRegisterValue() const {
    if (tx_ == kNone) {
        // Transmitter off (base 0x11). Receiving on port 0 points the idle transmit switch at
        // port 1 to keep port 0 isolated; receiving nothing parks the receive switch on port 3.
        if (rx_ == TARN_RX_PATH_0) {
            return 0x51;
        }
        return 0x11 | (rx_ == kNone ? TARN_RX_PATH_3 : rx_);
    }
    // Transmitting (base 0x90). With the receiver on the transmit port, or unused, the receive
    // switch is parked away from the transmitter: port 3 for transmit ports 0 and 1, port 0
    // for ports 2 and 3.
    if (rx_ == kNone || txPortNumber(tx_) == rxPortNumber(rx_)) {
        const int parked = txPortNumber(tx_) <= 1 ? TARN_RX_PATH_3 : TARN_RX_PATH_0;
        return 0x90 | tx_ | parked;
    }
    return 0x90 | tx_ | rx_;
}

std::string TDDFourPortSwitchBoard::getSwitchboardType() const {
    return "TDD 4-Port Switch-Board";
}

// ---- Simple 8-port ------------------------------------------------------------------------

SimpleEightPortSwitchBoard::SimpleEightPortSwitchBoard(Transmit_Path tx, Receive_Path rx) {
    if (!portAllowed(txPortNumber(tx), 7, false)) {
        refusePath("The TX path must be one of the ports [0, 1, 2, 3, 4, 5, 6, 7] Passed ",
                   tx_port_to_string(tx));
    }
    if (!portAllowed(rxPortNumber(rx), 7, true)) {
        refusePath("The RX path must be one of the ports [0, 1, 2, 3, 4, 5, 6, 7, None] Passed ",
                   rx_port_to_string(rx));
    }
    rx_ = rx;
    tx_ = tx;
    setComment("Eight port switch: " + pathsText(tx, rx) +
               "binary: " + bin_format(getRegisterValue()) + ".");
}

int SimpleEightPortSwitchBoard::getRegisterValue() const {
    if (rx_ == kNone) {
        // An all-zero word would select transmit port 0 and receive port 0 together.
        return tx_ == TARN_TX_PATH_0 ? 0x01 : (tx_ & 0xFF);
    }
    return (tx_ | rx_) & 0xFF;
}

std::string SimpleEightPortSwitchBoard::getSwitchboardType() const {
    return "Simple 8-Port Switch-Board";
}

// ---- No board -----------------------------------------------------------------------------

NoSwitchBoard::NoSwitchBoard(Transmit_Path tx, Receive_Path rx) {
    if (tx != TARN_TX_PATH_0) {
        throw PathNotValidWithAvailableSwitchboard(
            "The only valid TX path for configurations without a switchboard is port 0");
    }
    if (rx != TARN_RX_PATH_1) {
        throw PathNotValidWithAvailableSwitchboard(
            "The only valid RX path for configurations without a switchboard is port 1");
    }
    rx_ = rx;
    tx_ = tx;
    setComment("No switchboard (TX Path - P0, RX Path: P1), binary: " +
               bin_format(getRegisterValue()) + ".");
}

int NoSwitchBoard::getRegisterValue() const {
    return -1;
}

std::string NoSwitchBoard::getSwitchboardType() const {
    return "No Switch-Board Present";
}

// ---- S-parameter board --------------------------------------------------------------------

namespace {

struct SParamPair {
    Transmit_Path tx;
    Receive_Path rx;
    S_Parameter_Set_Path path;
};

// Front-panel ports 0 and 1 are the two test ports; port 2 to port 2 is the reference path.
constexpr SParamPair kSParamPairs[] = {
    {TARN_TX_PATH_0, TARN_RX_PATH_0, PATH_T1R1}, {TARN_TX_PATH_0, TARN_RX_PATH_1, PATH_T1R2},
    {TARN_TX_PATH_1, TARN_RX_PATH_0, PATH_T2R1}, {TARN_TX_PATH_1, TARN_RX_PATH_1, PATH_T2R2},
    {TARN_TX_PATH_2, TARN_RX_PATH_2, PATH_REF},
};

S_Parameter_Set_Path sParamPathFor(Transmit_Path tx, Receive_Path rx) {
    for (const SParamPair& pair : kSParamPairs) {
        if (pair.tx == tx && pair.rx == rx) {
            return pair.path;
        }
    }
    throw PathNotValidWithAvailableSwitchboard(
        ("Valid VNA Switchboard paths are 0->0, 0->1, 1->0, 1->1, 2->2 (ref).  Passed " +
         tx_port_to_string(tx) + ", " + rx_port_to_string(rx) + "!")
            .c_str());
}

} // namespace

SParamSwitchBoard::SParamSwitchBoard(Transmit_Path tx, Receive_Path rx)
    : path_(sParamPathFor(tx, rx)) {
    setComment("SParameter switch board: Path - " + s_param_to_string(path_) + " (" +
               std::to_string(path_) + "), derived from " + pathsText(tx, rx) +
               "binary: " + bin_format(getRegisterValue()) + ".");
}

SParamSwitchBoard::SParamSwitchBoard(S_Parameter_Set_Path path) : path_(path) {
    setComment("SParameter switch board: Path - " + s_param_to_string(path_) + " (" +
               std::to_string(path_) + ")." + "binary: " + bin_format(getRegisterValue()) + ".");
}

int SParamSwitchBoard::getRegisterValue() const {
    return path_;
}

bool SParamSwitchBoard::operator==(const SwitchBoardState& other) const {
    if (typeid(*this) != typeid(other)) {
        return false;
    }
    return path_ == dynamic_cast<const SParamSwitchBoard&>(other).path_;
}

void SParamSwitchBoard::getPaths(Transmit_Path& tx, Receive_Path& rx) const {
    for (const SParamPair& pair : kSParamPairs) {
        if (pair.path == path_) {
            tx = pair.tx;
            rx = pair.rx;
            return;
        }
    }
}

std::string SParamSwitchBoard::getSwitchboardType() const {
    return "S-Parameter Switch-Board";
}

} // namespace Orvek
