// The annotated listing of a compiled program: the unit's synthesiser set-up, then every
// command's listing line with its image address and bytes.
#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "program/hex_text.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"

namespace Orvek {

namespace {

void appendHeaderLine(std::string& out, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

void appendHeaderLine(std::string& out, const char* format, ...) {
    char line[160];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    out += "#>> ";
    out += line;
    out += '\n';
}

void appendHeader(std::string& out, const PromParameters& params) {
    appendHeaderLine(out, "Constructing program for tarn at IP: %d", params.unitAddress());
    appendHeaderLine(out, "DDS Reference Frequency: %f", params.DDS_reference_frequency);
    appendHeaderLine(out, "PLL Divider: %d", params.Int_PLL_Div);
    appendHeaderLine(out, "Number of PLL loop gain boundaries: %d",
                     params.Number_of_PLL_loop_gain_boundaries);
    for (std::size_t k = 0; k < params.PLL_loop_gain_boundaries.size(); ++k) {
        appendHeaderLine(out, "Pll loop gain boundary - address: %d value: %d",
                         params.PLL_loop_gain_boundary_addresses[k],
                         params.PLL_loop_gain_boundaries[k]);
    }
    appendHeaderLine(out, "Integer PLL prescaler: %d", params.PLL_prescaler_setting);
    appendHeaderLine(out, "Number of band boundaries: %d", params.Number_of_band_boundaries);
    for (std::size_t k = 0; k < params.Band_boundaries.size(); ++k) {
        appendHeaderLine(out, "Band boundary %zu: %d", k + 1, params.Band_boundaries[k]);
    }
}

// "8440" -> "84 40": one blank between bytes, none after the last.
void appendSpacedBytes(std::string& out, const std::string& text) {
    for (std::size_t i = 0; i < text.size(); i += 2) {
        if (i != 0)
            out += ' ';
        out.append(text, i, 2);
    }
}

// "%04x": four digits, more once the image passes 64 KiB.
void appendAddress(std::string& out, std::size_t address) {
    hex_text::appendPadded(out, static_cast<std::uint32_t>(address), 4);
}

} // namespace

std::string ProgramSource::compiledHumanReadable(const PromParameters& params) const {
    // Jumps and calls need the label addresses to render their final bytes.
    return compiledHumanReadable(params, compile(params));
}

std::string ProgramSource::compiledHumanReadable(const PromParameters& params,
                                                 const CompiledProgram& compiled) const {
    std::string listing;
    // Roughly: each byte shows as three characters, plus a listing line per command.
    listing.reserve(compiled.program.size() * 2 + commands.size() * 48 + 1024);
    appendHeader(listing, params);

    std::size_t address = 0;
    for (const auto& command : commands) {
        if (!command)
            continue;
        const std::string text = command->compile(params, &compiled);
        const std::string line = command->humanReadable(params);
        if (!line.empty()) {
            listing += line;
            listing += '\n';
        }
        if (!text.empty()) {
            appendAddress(listing, address);
            listing += '\t';
            appendSpacedBytes(listing, text);
            listing += '\n';
        }
        address += text.size() / 2;
    }
    return listing;
}

} // namespace Orvek
