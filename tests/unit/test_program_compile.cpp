// Compilation of program sources: layout, label addresses, jump and call resolution, the plain
// listing. Random programs are checked against an independent model of the layout by reading
// the compiled image back.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "program/program_reader.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"

namespace Orvek {
namespace {

TEST(ProgramCompile, EmptySourceGivesEmptyImageAndListing) {
    PromParameters params;
    ProgramSource source;
    const CompiledProgram compiled = source.compile(params);
    EXPECT_EQ(compiled.program, "");
    EXPECT_TRUE(compiled.labels.empty());
    EXPECT_TRUE(compiled.labelAddresses.empty());
    EXPECT_EQ(source.humanReadable(params), "");
}

TEST(ProgramCompile, LabelAddressIsTheByteBehindItsMarker) {
    PromParameters params;
    ProgramSource source;
    source.add<Label>("a");
    source.add<FD>("");
    source.add<Jump>("a");
    const CompiledProgram compiled = source.compile(params);
    EXPECT_EQ(compiled.program, "FFFFFFFFFD90009104ff");
    ASSERT_EQ(compiled.labels, std::vector<std::string>{"a"});
    EXPECT_EQ(compiled.labelAddresses, std::vector<std::uint32_t>{4});
    // Compiling again gives the same result: the source is not changed by compiling.
    EXPECT_EQ(source.compile(params).program, compiled.program);
}

TEST(ProgramCompile, ForwardReferencesResolveInTheSecondPass) {
    PromParameters params;
    ProgramSource source;
    source.add<Jump>("end");
    source.add<Call>("end");
    source.add<Register>(0x84, 0x40, "Reset system timer");
    source.add<Label>("end");
    source.add<Return>();
    // jump (5) + call (4) + register (2) + marker (4): "end" is at 15.
    EXPECT_EQ(source.compile(params).program, "9000910fff9000930f8440FFFFFFFF95FF");
}

TEST(ProgramCompile, DuplicateLabelsAreKeptAndJumpsGoToTheFirst) {
    PromParameters params;
    ProgramSource source;
    source.add<Label>("x");
    source.add<FE>("");
    source.add<Label>("x");
    source.add<Jump>("x");
    source.add<Call>("missing");
    const CompiledProgram compiled = source.compile(params);
    EXPECT_EQ(compiled.labels, (std::vector<std::string>{"x", "x"}));
    EXPECT_EQ(compiled.labelAddresses, (std::vector<std::uint32_t>{4, 9}));
    EXPECT_EQ(compiled.program, "FFFFFFFFFEFFFFFFFF90009104ffFFFFFFFF");
}

TEST(ProgramCompile, TargetsBeyond64KiBKeepOnlyTheirLow16Bits) {
    PromParameters params;
    ProgramSource source;
    source.add<Call>("far");
    const std::uint32_t delays = 0x12345 - 4 - 4;
    for (std::uint32_t i = 0; i < delays; ++i)
        source.add<FD>("");
    source.add<Label>("far");
    const CompiledProgram compiled = source.compile(params);
    ASSERT_EQ(compiled.labelAddresses, std::vector<std::uint32_t>{0x12345});
    EXPECT_EQ(compiled.program.substr(0, 8), "90239345");
    EXPECT_EQ(compiled.imageSize(), 0x12345u);
}

TEST(ProgramCompile, PlainListingHasOneLinePerCommand) {
    PromParameters params;
    ProgramSource source;
    source.add<Comment>("standardProgramPreamble section");
    source.add<Register>(0x80, 0x0E, "");
    source.add<FD>("");
    source.add<CommentBreak>("BuildJumpTable section");
    EXPECT_EQ(source.humanReadable(params), "#>> standardProgramPreamble section\n"
                                            "\n"
                                            "#> Delay one point duration. \n"
                                            "\n\n#>> BuildJumpTable section\n");
}

// --- Random programs against an independent layout model.

const char* const kLabelNames[] = {"startup", "jumptable start", "freqs", "a", "b"};
const char* const kUnplacedName = "nowhere";

// Register addresses that mean nothing special to the unit, so a write reads back as a write.
std::uint8_t plainRegister(std::mt19937& random) {
    static const std::uint8_t registers[] = {0x04, 0x20, 0x36, 0x37, 0x44, 0x70, 0x80, 0x81,
                                             0x82, 0x84, 0x85, 0x87, 0x8e, 0x9b, 0x9d, 0xa0};
    return registers[random() % sizeof registers];
}

struct GeneratedProgram {
    ProgramSource source;
    std::vector<Instruction> expected; // what the image must read back as
    // Start of the marker of the first label of each name.
    std::map<std::string, std::uint32_t> firstMarker;
};

Instruction instruction(InstructionKind kind, std::uint32_t address, std::uint32_t length) {
    Instruction result;
    result.kind = kind;
    result.address = address;
    result.length = length;
    return result;
}

GeneratedProgram generate(std::mt19937& random, int commandCount) {
    GeneratedProgram program;
    // Label addresses follow from the byte size of everything before them.
    struct Pending {
        std::size_t index; // into expected
        std::string label;
        bool isJump;
    };
    std::vector<Pending> transfers;
    std::uint32_t address = 0;
    auto emit = [&](Instruction i) {
        program.expected.push_back(i);
        address += i.length;
    };
    for (int n = 0; n < commandCount; ++n) {
        const unsigned choice = random() % 12;
        if (choice == 0) {
            const std::string name = kLabelNames[random() % 5];
            program.source.add<Label>(name);
            Instruction marker = instruction(InstructionKind::LabelMarker, address, 4);
            marker.target = address + 4;
            program.firstMarker.emplace(name, address); // keeps the first
            emit(marker);
        } else if (choice == 1 || choice == 2) {
            const bool isJump = choice == 1;
            const std::string name =
                random() % 8 == 0 ? std::string(kUnplacedName) : kLabelNames[random() % 5];
            if (isJump)
                program.source.add<Jump>(name);
            else
                program.source.add<Call>(name);
            transfers.push_back({program.expected.size(), name, isJump});
            emit(instruction(isJump ? InstructionKind::Jump : InstructionKind::Call, address,
                             isJump ? 5 : 4));
        } else if (choice <= 5) {
            const std::uint8_t reg = plainRegister(random);
            const std::uint8_t value = static_cast<std::uint8_t>(random());
            program.source.add<Register>(reg, value, random() % 2 ? "" : "comment");
            Instruction write = instruction(InstructionKind::RegisterWrite, address, 2);
            write.reg = reg;
            write.value = value;
            emit(write);
        } else if (choice == 6) {
            const std::uint8_t low = random(), mid = random(), high = random();
            const bool tx = random() % 2;
            if (tx)
                program.source.add<TxDDSRegister>(low, mid, high, "TX Register");
            else
                program.source.add<RxDDSRegister>(low, mid, high, " RX Register");
            const std::uint8_t base = tx ? 0x06 : 0x46;
            const std::uint8_t bytes[] = {low, mid, high};
            for (int k = 0; k < 3; ++k) {
                Instruction write = instruction(InstructionKind::RegisterWrite, address, 2);
                write.reg = static_cast<std::uint8_t>(base - k);
                write.value = bytes[k];
                emit(write);
            }
        } else if (choice == 7) {
            const unsigned which = random() % 4;
            static const InstructionKind kinds[] = {InstructionKind::Resync, InstructionKind::Delay,
                                                    InstructionKind::Acquire, InstructionKind::End};
            if (which == 0)
                program.source.add<FC>("");
            else if (which == 1)
                program.source.add<FD>("");
            else if (which == 2)
                program.source.add<FE>("");
            else
                program.source.add<FF>("");
            emit(instruction(kinds[which], address, 1));
        } else if (choice == 8) {
            const bool last = random() % 2;
            program.source.add<TriggerPacketTx>(last);
            Instruction trigger = instruction(InstructionKind::PacketTrigger, address, 2);
            trigger.value = last ? 1 : 0;
            emit(trigger);
        } else if (choice == 9) {
            program.source.add<Return>();
            emit(instruction(InstructionKind::Return, address, 2));
        } else if (choice == 10) {
            const std::uint8_t reg = random() % 8, value = random();
            program.source.add<ExternalRegister>(reg, value, "tdd register");
            Instruction write = instruction(InstructionKind::ExternalWrite, address, 4);
            write.reg = reg;
            write.value = value;
            emit(write);
        } else if (random() % 2) {
            program.source.add<Comment>("note");
        } else {
            program.source.add<CommentBreak>("section");
        }
    }

    // Resolve transfers now that every label is placed; an unplaced target leaves end bytes
    // (five for a jump, four for a call) in place of the instruction.
    std::vector<Instruction> resolved;
    std::size_t next = 0;
    for (std::size_t i = 0; i < program.expected.size(); ++i) {
        Instruction current = program.expected[i];
        if (next < transfers.size() && transfers[next].index == i) {
            const Pending& transfer = transfers[next++];
            auto found = program.firstMarker.find(transfer.label);
            if (found == program.firstMarker.end()) {
                for (std::uint32_t k = 0; k < current.length; ++k)
                    resolved.push_back(instruction(InstructionKind::End, current.address + k, 1));
                continue;
            }
            current.target = (found->second + 4) & 0xFFFF;
        }
        resolved.push_back(current);
    }
    program.expected = std::move(resolved);
    return program;
}

// Empty when equal, else the first instruction that differs (vectors print too long to read).
std::string firstDifference(const std::vector<Instruction>& actual,
                            const std::vector<Instruction>& expected) {
    for (std::size_t i = 0; i < actual.size() && i < expected.size(); ++i) {
        if (actual[i] != expected[i]) {
            return "instruction " + std::to_string(i) + ": read " + formatInstruction(actual[i]) +
                   " (length " + std::to_string(actual[i].length) + "), expected " +
                   formatInstruction(expected[i]) + " (length " +
                   std::to_string(expected[i].length) + ")";
        }
    }
    if (actual.size() != expected.size())
        return "read " + std::to_string(actual.size()) + " instructions, expected " +
               std::to_string(expected.size());
    return "";
}

// Joins the byte lines ("0004\t84 40") of an annotated listing back into program text,
// checking that each line's address continues where the previous one ended.
std::string listedImage(const std::string& listing) {
    std::string image;
    std::istringstream lines(listing);
    std::string line;
    while (std::getline(lines, line)) {
        const std::size_t tab = line.find('\t');
        if (line.rfind("#>", 0) == 0 || line.empty() || tab == std::string::npos)
            continue;
        const unsigned long address = std::stoul(line.substr(0, tab), nullptr, 16);
        EXPECT_EQ(address, image.size() / 2) << line;
        for (char c : line.substr(tab + 1)) {
            if (c != ' ')
                image.push_back(c);
        }
    }
    return image;
}

TEST(ProgramCompile, RandomProgramsReadBackAsTheirCommands) {
    PromParameters params;
    std::mt19937 random(20240611);
    for (int round = 0; round < 300; ++round) {
        GeneratedProgram program = generate(random, 1 + static_cast<int>(random() % 120));
        const CompiledProgram compiled = program.source.compile(params);
        SCOPED_TRACE("round " + std::to_string(round) + ", image " + compiled.program);

        const ProgramReader reader = ProgramReader::fromCompiled(compiled);
        const std::vector<Instruction> actual = reader.readAll();
        ASSERT_EQ(firstDifference(actual, program.expected), "");

        // Every resolved jump or call lands on the first label of its name, just behind the
        // label's marker, at an instruction boundary.
        std::map<std::uint32_t, bool> boundaries;
        for (const Instruction& i : actual)
            boundaries[i.address] = true;
        for (const auto& label : program.firstMarker) {
            std::uint32_t address = 0;
            ASSERT_TRUE(compiled.findLabel(label.first, address));
            EXPECT_EQ(address, label.second + 4);
        }
        for (const Instruction& i : actual) {
            if (i.kind != InstructionKind::Jump && i.kind != InstructionKind::Call)
                continue;
            ASSERT_GE(i.target, 4u);
            for (std::uint32_t k = i.target - 4; k < i.target; ++k)
                EXPECT_EQ(reader.image()[k], 0xFF);
            EXPECT_NE(reader.labelNameAt(i.target), nullptr) << i;
            EXPECT_TRUE(i.target == reader.size() || boundaries.count(i.target)) << i;
        }

        // The annotated listing shows the same bytes at the same addresses.
        EXPECT_EQ(listedImage(program.source.compiledHumanReadable(params)), compiled.program);
    }
}

} // namespace
} // namespace Orvek
