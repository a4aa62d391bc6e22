#pragma once
// The editable form of a unit program (an ordered, owning list of commands) and its compiled
// form (the hex image plus the address of every label).
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "program/program_command.h"

namespace Orvek {

class PromParameters;

struct CompiledProgram {
    // Program image as hex text, two digits per byte, no separators; size in bytes = length / 2.
    std::string program;
    // Name of every label in command order; duplicates are kept.
    std::vector<std::string> labels;
    // Byte address of labels[i]: the byte just behind its four marker bytes.
    std::vector<std::uint32_t> labelAddresses;

    // Address of the first label named exactly `name`; false (and `address` untouched) when
    // there is none.
    bool findLabel(const std::string& name, std::uint32_t& address) const;

    std::size_t imageSize() const { return program.size() / 2; }
};

class ProgramSource {
public:
    ProgramSource() = default;
    ProgramSource(ProgramSource&&) noexcept = default;
    ProgramSource& operator=(ProgramSource&&) noexcept = default;
    ProgramSource(const ProgramSource&) = delete;
    ProgramSource& operator=(const ProgramSource&) = delete;

    // Commands in program order, owned by the source. Generators append to the end.
    ProgramCommandList commands;

    // Appends a new command built from `args` and returns it.
    template <class Command, class... Args> Command& add(Args&&... args) {
        static_assert(std::is_base_of<ProgramCommand, Command>::value,
                      "only program commands can be added");
        auto command = std::make_unique<Command>(std::forward<Args>(args)...);
        Command& result = *command;
        commands.push_back(std::move(command));
        return result;
    }

    // Takes ownership of a command (null is ignored).
    template <class Command> void append(std::unique_ptr<Command> command) {
        static_assert(std::is_base_of<ProgramCommand, Command>::value,
                      "only program commands can be added");
        if (command)
            commands.push_back(std::move(command));
    }

    // Takes ownership of every command of a list, in order (null elements are ignored).
    template <class Command> void append(std::vector<std::unique_ptr<Command>> list) {
        for (auto& command : list)
            append(std::move(command));
    }

    // Two passes: the first lays out the image and records every label's address (jumps and
    // calls give placeholders of their final length), the second resolves jumps and calls.
    // Does not change the source.
    CompiledProgram compile(const PromParameters& params) const;

    // One line per command (an empty line for a command without listing text).
    std::string humanReadable(const PromParameters& params) const;

    // Annotated listing: a header of the unit's synthesiser parameters, then every command's
    // listing line followed by its image address and bytes. The second form takes this
    // source's compile() result instead of compiling again.
    std::string compiledHumanReadable(const PromParameters& params) const;
    std::string compiledHumanReadable(const PromParameters& params,
                                      const CompiledProgram& compiled) const;
};

} // namespace Orvek
