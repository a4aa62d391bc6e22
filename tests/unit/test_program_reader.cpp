// Decoding compiled images: every instruction form. (Arbitrary bytes are the program reader's
// fuzz target's work.)
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "program/program_reader.h"

namespace Orvek {
namespace {

std::string listing(const std::vector<Instruction>& instructions) {
    std::string text;
    for (const Instruction& i : instructions)
        text += formatInstruction(i) + "\n";
    return text;
}

std::string readHex(const std::string& hex) {
    return listing(ProgramReader::fromHex(hex).readAll());
}

TEST(ProgramReader, DecodesEveryInstructionForm) {
    EXPECT_EQ(readHex("8440FCFDFEFF8901890090019123ff9001932395FF9700983f"),
              "0000: write 84 = 40\n0002: resync\n0003: delay\n0004: acquire\n0005: end\n"
              "0006: packet 01\n0008: packet 00\n000a: jump 0123\n000f: call 0123\n"
              "0013: return\n0015: external 00 = 3f\n");
    // Sequences without their partner stay plain writes: a high-byte latch alone, 0x95 with
    // another value, an external address without its value.
    EXPECT_EQ(readHex("90019001950097059005"), "0000: write 90 = 01\n0002: write 90 = 01\n"
                                               "0004: write 95 = 00\n0006: write 97 = 05\n"
                                               "0008: write 90 = 05\n");
    // A value byte of 0xFC and above is still a value; either letter case is accepted.
    EXPECT_EQ(readHex("80FDfd"), "0000: write 80 = fd\n0002: delay\n");
}

} // namespace
} // namespace Orvek
