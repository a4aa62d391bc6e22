#pragma once
// One measured path on the unit's RF switch board: its transmit and receive ports, the byte
// written to the board's switch control register (unit register 0x82) to select it, and a
// readable comment that the program listing shows next to that write.
//
// Objects are always made through std::make_shared of the concrete class (see
// path_to_switch_control.h), so each one is destroyed as its own type. The base destructor is
// protected and non-virtual: deleting through a base pointer does not compile.
#include <string>

#include "tarndll.h"

namespace Orvek {

// The five paths of the S-parameter (two-port) board, named by their switch register value.
// Internal only: these are not part of the exported constants. The fixed underlying type lets
// any stored value be represented (an unknown one renders as "ERROR").
enum S_Parameter_Set_Path : int {
    PATH_REF = 17,  // 0x11: reference path (port 2 to port 2)
    PATH_T1R1 = 18, // 0x12
    PATH_T2R2 = 20, // 0x14
    PATH_T1R2 = 48, // 0x30
    PATH_T2R1 = 80  // 0x50
};

class SwitchBoardState {
public:
    // Same dynamic type and same switch setting; the comment never takes part. The base
    // version is unreachable in practice (the base is abstract) and throws std::runtime_error.
    virtual bool operator==(const SwitchBoardState& other) const;
    bool operator!=(const SwitchBoardState& other) const { return !(*this == other); }

    // The byte for the switch control register, or a negative value when the unit needs no
    // switch write for this path (no switch board fitted).
    virtual int getRegisterValue() const;

    virtual void getPaths(Transmit_Path& tx, Receive_Path& rx) const = 0;

    virtual void setComment(std::string comment);
    virtual std::string getComment() const;

    // Display name of the board kind, e.g. "TDD 4-Port Switch-Board". All paths of one task
    // must share it.
    virtual std::string getSwitchboardType() const = 0;

protected:
    SwitchBoardState() = default;
    SwitchBoardState(const SwitchBoardState&) = default;
    SwitchBoardState& operator=(const SwitchBoardState&) = default;
    ~SwitchBoardState() = default;

private:
    std::string comment_;
};

// Front-panel port number (0..7) of a path value, or -1 for "none" and -2 for a value that is
// no path at all. Path values are the port number with bits 0 and 2 swapped, shifted into the
// transmit (bits 6..4) or receive (bits 2..0) field.
int txPortNumber(int txPath);
int rxPortNumber(int rxPath);

} // namespace Orvek

// Renderings used in switch comments and path error messages.
std::string tx_port_to_string(Orvek::Transmit_Path tx); // "TX_P0".."TX_P7", "TX_NONE", "TX_UNKNOWN"
std::string rx_port_to_string(Orvek::Receive_Path rx);  // "RX_P0".."RX_P7", "RX_NONE", "RX_UNKNOWN"
std::string s_param_to_string(Orvek::S_Parameter_Set_Path path); // "PATH_T1R1"..., or "ERROR"
// "0b" and bits 7..0 of value; higher bits are ignored, so -1 gives "0b11111111".
std::string bin_format(int value);
