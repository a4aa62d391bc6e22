// Decoding compiled images: every instruction form, the end-byte/label ambiguity, and malformed
// input (bad text, truncation) reported without reading past the image.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "program/program_reader.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"

namespace Orvek {
namespace {

std::vector<std::string> kinds(const std::vector<Instruction>& instructions) {
    std::vector<std::string> names;
    for (const Instruction& i : instructions)
        names.push_back(formatInstruction(i));
    return names;
}

std::vector<std::string> readHex(const std::string& hex) {
    return kinds(ProgramReader::fromHex(hex).readAll());
}

TEST(ProgramReader, DecodesEveryInstructionForm) {
    EXPECT_EQ(readHex("8440FCFDFEFF8901890090019123ff9001932395FF9700983f"),
              (std::vector<std::string>{"0000: write 84 = 40", "0002: resync", "0003: delay",
                                        "0004: acquire", "0005: end", "0006: packet 01",
                                        "0008: packet 00", "000a: jump 0123", "000f: call 0123",
                                        "0013: return", "0015: external 00 = 3f"}));

    const Instruction jump = ProgramReader::fromHex("90019123ff").at(0);
    EXPECT_EQ(jump.kind, InstructionKind::Jump);
    EXPECT_EQ(jump.length, 5u);
    EXPECT_EQ(jump.target, 0x0123u);
    EXPECT_EQ(jump.next(), 5u);
}

TEST(ProgramReader, RegisterSequencesWithoutTheirPartnerStayPlainWrites) {
    // A high-byte latch alone, a 0x95 write of another value, an external address without value.
    EXPECT_EQ(readHex("90019001950097059005"),
              (std::vector<std::string>{"0000: write 90 = 01", "0002: write 90 = 01",
                                        "0004: write 95 = 00", "0006: write 97 = 05",
                                        "0008: write 90 = 05"}));
    // Address bytes of 0xFC and above are opcodes, so FD after a value starts a new instruction.
    EXPECT_EQ(readHex("80FDFD"), (std::vector<std::string>{"0000: write 80 = fd", "0002: delay"}));
}

TEST(ProgramReader, AcceptsEitherLetterCaseAndRejectsBadText) {
    EXPECT_EQ(readHex("9b0A"), readHex("9B0a"));

    std::vector<std::uint8_t> bytes{1, 2, 3};
    std::size_t bad = 0;
    EXPECT_FALSE(parseProgramHex("840", bytes, &bad));
    EXPECT_EQ(bad, 3u);
    EXPECT_TRUE(bytes.empty());
    EXPECT_FALSE(parseProgramHex("8440 8", bytes, &bad));
    EXPECT_EQ(bad, 4u);
    EXPECT_FALSE(parseProgramHex("84x0", bytes, &bad));
    EXPECT_EQ(bad, 2u);
    EXPECT_FALSE(parseProgramHex("90xx91xxff", bytes)); // a first-pass placeholder
    EXPECT_TRUE(parseProgramHex("", bytes));
    EXPECT_TRUE(bytes.empty());

    try {
        ProgramReader::fromHex("84g0");
        FAIL() << "bad text accepted";
    } catch (const ProgramFormatError& error) {
        EXPECT_EQ(error.status(), ReadStatus::BadHexText);
        EXPECT_EQ(error.offset(), 2u);
        EXPECT_STREQ(error.what(),
                     "program image: program text is not an even number of hex digits at "
                     "character 2");
    }
}

TEST(ProgramReader, ReportsTruncatedInstructionsAtTheirAddress) {
    struct Case {
        const char* hex;
        ReadStatus status;
        std::uint32_t address;
    } cases[] = {
        {"844084", ReadStatus::TruncatedInstruction, 2}, // register without value
        {"FD900193", ReadStatus::TruncatedInstruction, 1},
        {"90019123", ReadStatus::TruncatedInstruction, 0}, // jump without its end byte
        {"9001912300", ReadStatus::MissingJumpEnd, 0},
        {"9001912384", ReadStatus::MissingJumpEnd, 0},
        {"970098", ReadStatus::TruncatedInstruction, 0},
        {"8440900191", ReadStatus::TruncatedInstruction, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.hex);
        const ProgramReader reader = ProgramReader::fromHex(c.hex);
        std::vector<Instruction> decoded;
        std::uint32_t failedAt = 99;
        EXPECT_EQ(reader.readAll(decoded, &failedAt), c.status);
        EXPECT_EQ(failedAt, c.address);
        // Everything before the fault is still returned.
        EXPECT_EQ(decoded.empty() ? 0u : decoded.back().next(), c.address);
        EXPECT_THROW(reader.readAll(), ProgramFormatError);
    }

    try {
        ProgramReader::fromHex("8440FD84").readAll();
        FAIL() << "truncation not reported";
    } catch (const ProgramFormatError& error) {
        EXPECT_EQ(error.status(), ReadStatus::TruncatedInstruction);
        EXPECT_STREQ(error.what(), "program image: image ends inside an instruction at address "
                                   "0x0003");
    }
}

TEST(ProgramReader, AddressesOutsideTheImageAreRefused) {
    const ProgramReader reader = ProgramReader::fromHex("8440");
    Instruction untouched;
    untouched.address = 77;
    Instruction out = untouched;
    EXPECT_EQ(reader.decodeAt(2, out), ReadStatus::OutOfImage);
    EXPECT_EQ(reader.decodeAt(0xFFFFFFFFu, out), ReadStatus::OutOfImage);
    EXPECT_EQ(out, untouched);
    EXPECT_THROW(reader.at(2), ProgramFormatError);
    // Mid-instruction, the value byte is read as a register address without a value.
    EXPECT_EQ(reader.decodeAt(1, out), ReadStatus::TruncatedInstruction);
    EXPECT_EQ(ProgramReader::fromHex("").readAll().size(), 0u);
}

TEST(ProgramReader, LabelAddressesResolveRunsOfEndBytes) {
    // An end followed by a label is five 0xFF bytes: only the label addresses tell them apart.
    PromParameters params;
    ProgramSource source;
    source.add<FF>("jump table");
    source.add<Label>("freqs");
    source.add<FE>("");
    source.add<Call>("nowhere"); // unresolved: four end bytes
    source.add<Return>();
    const CompiledProgram compiled = source.compile(params);
    ASSERT_EQ(compiled.program, "FFFFFFFFFFFEFFFFFFFF95FF");

    const ProgramReader withLabels = ProgramReader::fromCompiled(compiled);
    EXPECT_EQ(
        kinds(withLabels.readAll()),
        (std::vector<std::string>{"0000: end", "0001: label 0005", "0005: acquire", "0006: end",
                                  "0007: end", "0008: end", "0009: end", "000a: return"}));
    std::uint32_t address = 0;
    ASSERT_TRUE(withLabels.findLabel("freqs", address));
    EXPECT_EQ(address, 5u);
    EXPECT_FALSE(withLabels.findLabel("nowhere", address));
    ASSERT_NE(withLabels.labelNameAt(5), nullptr);
    EXPECT_EQ(*withLabels.labelNameAt(5), "freqs");
    EXPECT_EQ(withLabels.labelNameAt(4), nullptr);
    EXPECT_TRUE(withLabels.isLabelAddress(5));

    // Without labels, four end bytes in a row are taken as a marker wherever they start.
    EXPECT_EQ(readHex(compiled.program),
              (std::vector<std::string>{"0000: label 0004", "0004: end", "0005: acquire",
                                        "0006: label 000a", "000a: return"}));
}

// Random and mutated images: every address decodes to Ok or a status, and no instruction
// reaches past the image (the sanitizer build turns any stray read into a failure).
TEST(ProgramReader, ArbitraryBytesNeverDecodePastTheImage) {
    std::mt19937 random(77);
    const std::uint8_t interesting[] = {0x89, 0x90, 0x91, 0x93, 0x95, 0x97,
                                        0x98, 0xFC, 0xFD, 0xFE, 0xFF, 0x00};
    for (int round = 0; round < 2000; ++round) {
        std::vector<std::uint8_t> bytes(random() % 24);
        for (auto& b : bytes)
            b = random() % 2 ? interesting[random() % sizeof interesting]
                             : static_cast<std::uint8_t>(random());
        std::vector<std::uint32_t> labels;
        if (random() % 2 && !bytes.empty())
            labels.push_back(random() % (bytes.size() + 1));
        const ProgramReader reader(bytes, labels);
        for (std::uint32_t address = 0; address <= bytes.size(); ++address) {
            Instruction instruction;
            const ReadStatus status = reader.decodeAt(address, instruction);
            if (status == ReadStatus::Ok) {
                ASSERT_GE(instruction.length, 1u);
                ASSERT_LE(instruction.next(), bytes.size());
                ASSERT_EQ(instruction.address, address);
            } else {
                ASSERT_TRUE(address == bytes.size() || status != ReadStatus::OutOfImage);
            }
        }
        std::vector<Instruction> all;
        std::uint32_t failedAt = 0;
        if (reader.readAll(all, &failedAt) == ReadStatus::Ok)
            ASSERT_EQ(all.empty() ? 0u : all.back().next(), bytes.size());
        else
            ASSERT_LT(failedAt, bytes.size());
    }
}

} // namespace
} // namespace Orvek
