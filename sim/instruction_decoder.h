#pragma once
// The unit's instruction decoder, as the unit's firmware reads its program memory. It is the
// unit's side of the instruction set and shares nothing with the host's program compiler, so
// that a wrong byte in a compiled program shows up as a unit doing something else.
//
// Instruction set:
//   FC              wait for the next tick of the millisecond clock
//   FD              delay one point
//   FE              acquire one sample, or the auxiliary block requested before it
//   FF              end (a label's four FF bytes end a program that runs into them)
//   aa vv           write vv to register aa (aa below FC)
//   89 vv           send the data packet collected so far, tagged vv
//   90 hh 91 ll FF  jump to hhll; the FF behind it is part of the jump
//   90 hh 93 ll     call hhll; the return point is the byte behind ll
//   95 FF           return from a call
//   97 aa 98 vv     write vv to register aa of the external (TDD) board
// The target and external registers are only ever written in those sequences: a 91, 93 or 98
// write on its own is a malformed program, not a register write.
#include <cstdint>
#include <vector>

namespace Orvek {
namespace Sim {

enum class Op : std::uint8_t {
    Write,      // `reg` = `value`
    Resync,     // FC
    Delay,      // FD
    Acquire,    // FE
    End,        // FF
    SendPacket, // `value` is the packet's tag
    Jump,       // to `target`
    Call,       // `target`
    Return,
    ExternalWrite, // external register `reg` = `value`
};

struct Step {
    Op op = Op::End;
    std::uint32_t address = 0;
    std::uint32_t length = 1;
    std::uint8_t reg = 0;
    std::uint8_t value = 0;
    std::uint16_t target = 0;
    std::uint32_t next() const { return address + length; }
};

enum class DecodeProblem : std::uint8_t {
    None,
    OutsideImage,   // the address lies at or behind the end of the uploaded image
    Truncated,      // the image ends inside an instruction
    JumpWithoutEnd, // 90 hh 91 ll not followed by FF
    LoneTargetByte, // 91 or 93 written without the 90 before it
    LoneExternal,   // 98 written without the 97 before it
};

const char* describe(DecodeProblem problem);

// Decodes the instruction at `address` of the first `end` bytes of `memory`.
DecodeProblem decodeStep(const std::vector<std::uint8_t>& memory, std::uint32_t end,
                         std::uint32_t address, Step& step);

} // namespace Sim
} // namespace Orvek
