// Labels and the commands that transfer control to them.
#include "program/hex_text.h"
#include "program/instruction_set.h"
#include "program/program_command.h"
#include "program/program_source.h"

#include <utility>

namespace Orvek {

namespace {

using namespace instruction_set;

bool resolve(const CompiledProgram* compiled, const std::string& label, std::uint32_t& address) {
    return compiled != nullptr && compiled->findLabel(label, address);
}

// Only the low 16 bits of a target reach the unit's program counter.
std::string targetText(std::uint32_t lowRegister, std::uint32_t address) {
    std::string text;
    text.reserve(10);
    hex_text::appendByte(text, kTargetHighRegister);
    hex_text::appendByte(text, (address & 0xFF00u) >> 8);
    hex_text::appendByte(text, lowRegister);
    hex_text::appendByte(text, address & 0xFFu);
    return text;
}

} // namespace

Label::Label(std::string name_) : name(std::move(name_)) {}

std::string Label::compile(const PromParameters&, const CompiledProgram*) const {
    return "FFFFFFFF";
}

std::string Label::humanReadable(const PromParameters&) const {
    return "#> Label: " + name;
}

Jump::Jump(std::string label_) : label(std::move(label_)) {}

std::string Jump::compile(const PromParameters&, const CompiledProgram* compiled) const {
    if (compiled == nullptr)
        return "90xx91xxff";
    std::uint32_t address = 0;
    if (!resolve(compiled, label, address))
        return "ffffffffff";
    // The trailing end byte stops the unit should the jump ever be skipped.
    return targetText(kJumpLowRegister, address) + "ff";
}

std::string Jump::humanReadable(const PromParameters&) const {
    return "#> Jump to address: " + label;
}

Call::Call(std::string label_) : label(std::move(label_)) {}

std::string Call::compile(const PromParameters&, const CompiledProgram* compiled) const {
    if (compiled == nullptr)
        return "90xx93xx";
    std::uint32_t address = 0;
    if (!resolve(compiled, label, address))
        return "FFFFFFFF";
    return targetText(kCallLowRegister, address);
}

std::string Call::humanReadable(const PromParameters&) const {
    return "#> Call label: " + label;
}

} // namespace Orvek
