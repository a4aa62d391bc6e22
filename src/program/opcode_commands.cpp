// One-byte opcodes, listing-only comments, the packet trigger and the call return.
#include "program/program_command.h"

#include <utility>

namespace Orvek {

FC::FC(std::string comment_) : comment(std::move(comment_)) {}

std::string FC::compile(const PromParameters&, const CompiledProgram*) const {
    return "FC";
}

std::string FC::humanReadable(const PromParameters&) const {
    return "#> Resynchronization point (ms clock) " + comment;
}

FD::FD(std::string comment_) : comment(std::move(comment_)) {}

std::string FD::compile(const PromParameters&, const CompiledProgram*) const {
    return "FD";
}

std::string FD::humanReadable(const PromParameters&) const {
    return "#> Delay one point duration. " + comment;
}

FE::FE(std::string comment_) : comment(std::move(comment_)) {}

std::string FE::compile(const PromParameters&, const CompiledProgram*) const {
    return "FE";
}

std::string FE::humanReadable(const PromParameters&) const {
    return "#> Acquire one input sample. " + comment;
}

FF::FF(std::string comment_) : comment(std::move(comment_)) {}

std::string FF::compile(const PromParameters&, const CompiledProgram*) const {
    return "FF";
}

std::string FF::humanReadable(const PromParameters&) const {
    return "#> End " + comment;
}

Comment::Comment(std::string text_) : text(std::move(text_)) {}

std::string Comment::compile(const PromParameters&, const CompiledProgram*) const {
    return std::string();
}

std::string Comment::humanReadable(const PromParameters&) const {
    return "#>> " + text;
}

CommentBreak::CommentBreak(std::string text_) : text(std::move(text_)) {}

std::string CommentBreak::compile(const PromParameters&, const CompiledProgram*) const {
    return std::string();
}

std::string CommentBreak::humanReadable(const PromParameters&) const {
    return "\n\n#>> " + text;
}

TriggerPacketTx::TriggerPacketTx(bool variant_) : variant(variant_) {}

std::string TriggerPacketTx::compile(const PromParameters&, const CompiledProgram*) const {
    return variant ? "8901" : "8900";
}

std::string TriggerPacketTx::humanReadable(const PromParameters&) const {
    return "#> Packet break, force UDP packet transmission.";
}

std::string Return::compile(const PromParameters&, const CompiledProgram*) const {
    return "95FF";
}

std::string Return::humanReadable(const PromParameters&) const {
    return "#> Call Return";
}

} // namespace Orvek
