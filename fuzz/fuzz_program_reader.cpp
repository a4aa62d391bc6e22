// Fuzz target for the program reader: arbitrary program text and images decode or give a
// status, never a read past the image, and every instruction decoded lies inside the image.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "program/program_reader.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    // Odd first byte: the rest is program text; else raw image bytes with label addresses
    // taken from the first few bytes.
    std::vector<uint8_t> image;
    std::vector<uint32_t> labels;
    if (data[0] & 1) {
        const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
        if (!Orvek::parseProgramHex(text, image)) {
            if (!image.empty()) {
                std::abort();
            }
            return 0;
        }
    } else {
        image.assign(data + 1, data + size);
        for (std::size_t i = 1; i + 1 < size && i < 9; i += 2) {
            labels.push_back(data[i] | (data[i + 1] << 8));
        }
    }
    const Orvek::ProgramReader reader =
        (data[0] & 2) ? Orvek::ProgramReader(image, labels) : Orvek::ProgramReader(image);
    std::vector<Orvek::Instruction> instructions;
    uint32_t failedAt = 0;
    (void)reader.readAll(instructions, &failedAt);
    for (const Orvek::Instruction& instruction : instructions) {
        if (instruction.length == 0 || instruction.next() > reader.size()) {
            std::fprintf(stderr, "instruction outside the image\n");
            std::abort();
        }
        (void)Orvek::formatInstruction(instruction);
    }
    // Decoding from every address, not only from instruction boundaries.
    Orvek::Instruction instruction;
    for (uint32_t address = 0; address <= reader.size() && address < 4096; ++address) {
        const Orvek::ReadStatus status = reader.decodeAt(address, instruction);
        const bool inside =
            status == Orvek::ReadStatus::Ok
                ? instruction.length > 0 && instruction.next() <= reader.size()
                : (status == Orvek::ReadStatus::OutOfImage) == (address == reader.size());
        if (!inside) {
            std::fprintf(stderr, "address %u decodes outside the image\n", address);
            std::abort();
        }
    }
    return 0;
}
