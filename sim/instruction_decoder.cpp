#include "sim/instruction_decoder.h"

namespace Orvek {
namespace Sim {

namespace {

constexpr std::uint8_t kResync = 0xFC;
constexpr std::uint8_t kDelay = 0xFD;
constexpr std::uint8_t kAcquire = 0xFE;
constexpr std::uint8_t kEnd = 0xFF;
constexpr std::uint8_t kSendPacket = 0x89;
constexpr std::uint8_t kTargetHigh = 0x90;
constexpr std::uint8_t kJumpLow = 0x91;
constexpr std::uint8_t kCallLow = 0x93;
constexpr std::uint8_t kReturn = 0x95;
constexpr std::uint8_t kExternalAddress = 0x97;
constexpr std::uint8_t kExternalValue = 0x98;

} // namespace

const char* describe(DecodeProblem problem) {
    switch (problem) {
    case DecodeProblem::None:
        return "none";
    case DecodeProblem::OutsideImage:
        return "ran outside the program image without an end";
    case DecodeProblem::Truncated:
        return "the image ends inside an instruction";
    case DecodeProblem::JumpWithoutEnd:
        return "jump without its closing FF";
    case DecodeProblem::LoneTargetByte:
        return "jump or call low byte without its high byte";
    case DecodeProblem::LoneExternal:
        return "external value without its register";
    }
    return "unknown problem";
}

DecodeProblem decodeStep(const std::vector<std::uint8_t>& memory, std::uint32_t end,
                         std::uint32_t address, Step& step) {
    if (end > memory.size())
        end = static_cast<std::uint32_t>(memory.size());
    if (address >= end)
        return DecodeProblem::OutsideImage;
    const auto at = [&](std::uint32_t offset) { return memory[address + offset]; };
    const std::uint32_t left = end - address;
    Step s;
    s.address = address;
    switch (at(0)) {
    case kResync:
        s.op = Op::Resync;
        break;
    case kDelay:
        s.op = Op::Delay;
        break;
    case kAcquire:
        s.op = Op::Acquire;
        break;
    case kEnd:
        s.op = Op::End;
        break;
    default:
        if (left < 2)
            return DecodeProblem::Truncated;
        s.length = 2;
        s.reg = at(0);
        s.value = at(1);
        if (s.reg == kJumpLow || s.reg == kCallLow)
            return DecodeProblem::LoneTargetByte;
        if (s.reg == kExternalValue)
            return DecodeProblem::LoneExternal;
        if (s.reg == kSendPacket) {
            s.op = Op::SendPacket;
        } else if (s.reg == kReturn && s.value == kEnd) {
            s.op = Op::Return;
        } else if (s.reg == kTargetHigh && left >= 3 && (at(2) == kJumpLow || at(2) == kCallLow)) {
            const bool call = at(2) == kCallLow;
            s.length = call ? 4 : 5;
            if (left < s.length)
                return DecodeProblem::Truncated;
            if (!call && at(4) != kEnd)
                return DecodeProblem::JumpWithoutEnd;
            s.op = call ? Op::Call : Op::Jump;
            s.target = static_cast<std::uint16_t>((at(1) << 8) | at(3));
        } else if (s.reg == kExternalAddress && left >= 3 && at(2) == kExternalValue) {
            if (left < 4)
                return DecodeProblem::Truncated;
            s.op = Op::ExternalWrite;
            s.length = 4;
            s.reg = at(1);
            s.value = at(3);
        } else {
            s.op = Op::Write;
        }
        break;
    }
    step = s;
    return DecodeProblem::None;
}

} // namespace Sim
} // namespace Orvek
