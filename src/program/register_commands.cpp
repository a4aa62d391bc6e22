// Commands that write unit registers: plain, external-board and DDS tuning-word writes.
#include "program/hex_text.h"
#include "program/program_command.h"

#include <utility>

namespace Orvek {

namespace {

std::string commentLine(const std::string& comment) {
    if (comment.empty())
        return std::string();
    return "#> " + comment;
}

std::int32_t tuningWord(std::uint8_t low, std::uint8_t mid, std::uint8_t high) {
    return static_cast<std::int32_t>(low) | (static_cast<std::int32_t>(mid) << 8) |
           (static_cast<std::int32_t>(high) << 16);
}

std::string ddsText(char prefix, unsigned char low, unsigned char mid, unsigned char high) {
    // The three tuning-word registers of a DDS are <prefix>6, <prefix>5, <prefix>4 (low byte
    // first); the write of the high byte completes the word.
    std::string text;
    text.reserve(12);
    text.push_back(prefix);
    text.push_back('6');
    hex_text::appendByte(text, low);
    text.push_back(prefix);
    text.push_back('5');
    hex_text::appendByte(text, mid);
    text.push_back(prefix);
    text.push_back('4');
    hex_text::appendByte(text, high);
    return text;
}

std::string ddsLine(const std::string& comment, std::int32_t raw) {
    std::string line = "#> " + comment + " raw: 0x";
    hex_text::appendWordUpper(line, static_cast<std::uint32_t>(raw));
    return line;
}

} // namespace

Register::Register(std::uint32_t address_, std::uint32_t value_, std::string comment_)
    : address(address_), value(value_), comment(std::move(comment_)) {}

std::string Register::set(int address, int value) {
    std::string text;
    text.reserve(4);
    hex_text::appendByte(text, static_cast<std::uint32_t>(address));
    hex_text::appendByte(text, static_cast<std::uint32_t>(value));
    return text;
}

std::string Register::compile(const PromParameters&, const CompiledProgram*) const {
    return set(static_cast<int>(address), static_cast<int>(value));
}

std::string Register::humanReadable(const PromParameters&) const {
    return commentLine(comment);
}

ExternalRegister::ExternalRegister(std::uint32_t address_, std::uint32_t value_,
                                   std::string comment_)
    : address(address_), value(value_), comment(std::move(comment_)) {}

std::string ExternalRegister::set(int address, int value) {
    std::string text;
    text.reserve(8);
    text += "97";
    hex_text::appendByte(text, static_cast<std::uint32_t>(address));
    text += "98";
    hex_text::appendByte(text, static_cast<std::uint32_t>(value));
    return text;
}

std::string ExternalRegister::compile(const PromParameters&, const CompiledProgram*) const {
    return set(static_cast<int>(address), static_cast<int>(value));
}

std::string ExternalRegister::humanReadable(const PromParameters&) const {
    return commentLine(comment);
}

TxDDSRegister::TxDDSRegister(std::uint8_t low_, std::uint8_t mid_, std::uint8_t high_,
                             std::string comment_)
    : raw(tuningWord(low_, mid_, high_)), low(low_), mid(mid_), high(high_),
      comment(std::move(comment_)) {}

std::string TxDDSRegister::set(unsigned char low, unsigned char mid, unsigned char high) {
    return ddsText('0', low, mid, high);
}

std::string TxDDSRegister::compile(const PromParameters&, const CompiledProgram*) const {
    return set(static_cast<unsigned char>(low), static_cast<unsigned char>(mid),
               static_cast<unsigned char>(high));
}

std::string TxDDSRegister::humanReadable(const PromParameters&) const {
    return ddsLine(comment, raw);
}

RxDDSRegister::RxDDSRegister(std::uint8_t low_, std::uint8_t mid_, std::uint8_t high_,
                             std::string comment_)
    : raw(tuningWord(low_, mid_, high_)), low(low_), mid(mid_), high(high_),
      comment(std::move(comment_)) {}

std::string RxDDSRegister::set(unsigned char low, unsigned char mid, unsigned char high) {
    return ddsText('4', low, mid, high);
}

std::string RxDDSRegister::compile(const PromParameters&, const CompiledProgram*) const {
    return set(static_cast<unsigned char>(low), static_cast<unsigned char>(mid),
               static_cast<unsigned char>(high));
}

std::string RxDDSRegister::humanReadable(const PromParameters&) const {
    return ddsLine(comment, raw);
}

} // namespace Orvek
