// Two-pass compilation of a program source and its plain listing.
#include "program/program_source.h"

#include <algorithm>

namespace Orvek {

bool CompiledProgram::findLabel(const std::string& name, std::uint32_t& address) const {
    const std::size_t count = std::min(labels.size(), labelAddresses.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (labels[i] == name) {
            address = labelAddresses[i];
            return true;
        }
    }
    return false;
}

CompiledProgram ProgramSource::compile(const PromParameters& params) const {
    CompiledProgram result;
    struct Reference {
        const ProgramCommand* command;
        std::size_t offset; // of its placeholder text
        std::size_t length;
    };
    std::vector<Reference> references;

    // First pass: placeholders have their final length, so every label address is final.
    for (const auto& command : commands) {
        if (!command)
            continue;
        const std::size_t offset = result.program.size();
        result.program += command->compile(params, nullptr);
        if (command->refersToLabels())
            references.push_back({command.get(), offset, result.program.size() - offset});
        if (command->isLabel()) {
            // Only Label answers true; the check keeps a stray override from being misread.
            if (const auto* label = dynamic_cast<const Label*>(command.get())) {
                result.labels.push_back(label->get_label());
                result.labelAddresses.push_back(
                    static_cast<std::uint32_t>(result.program.size() / 2));
            }
        }
    }

    // Second pass: only jumps and calls change, each in place. Going backwards keeps the
    // earlier offsets valid even if a text should resolve to another length.
    for (auto reference = references.rbegin(); reference != references.rend(); ++reference) {
        result.program.replace(reference->offset, reference->length,
                               reference->command->compile(params, &result));
    }
    return result;
}

std::string ProgramSource::humanReadable(const PromParameters& params) const {
    std::string listing;
    for (const auto& command : commands) {
        if (command)
            listing += command->humanReadable(params);
        listing += '\n';
    }
    return listing;
}

} // namespace Orvek
