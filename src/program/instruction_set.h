#pragma once
// Byte values of the unit's instruction set that the compiler and the reader share.
#include <cstdint>

namespace Orvek {
namespace instruction_set {

// First opcode byte; every byte below it is a register address followed by a value.
constexpr std::uint8_t kFirstOpcode = 0xFC;
constexpr std::uint8_t kResync = 0xFC;
constexpr std::uint8_t kDelay = 0xFD;
constexpr std::uint8_t kAcquire = 0xFE;
constexpr std::uint8_t kEnd = 0xFF;
// A label occupies this many end bytes; its address is the byte behind them.
constexpr std::uint32_t kLabelMarkerLength = 4;

// Register 0x89: force out the current data packet (1 = last packet of a pass, 0 = break).
constexpr std::uint8_t kPacketTriggerRegister = 0x89;
// Register 0x90 latches the high byte of a jump or call target.
constexpr std::uint8_t kTargetHighRegister = 0x90;
// Writing the low byte of the target to 0x91 jumps, to 0x93 calls.
constexpr std::uint8_t kJumpLowRegister = 0x91;
constexpr std::uint8_t kCallLowRegister = 0x93;
// Writing 0xFF to 0x95 returns from a call.
constexpr std::uint8_t kReturnRegister = 0x95;
constexpr std::uint8_t kReturnValue = 0xFF;
// External board access: 0x97 takes the board's register address, 0x98 the value.
constexpr std::uint8_t kExternalAddressRegister = 0x97;
constexpr std::uint8_t kExternalValueRegister = 0x98;

} // namespace instruction_set
} // namespace Orvek
