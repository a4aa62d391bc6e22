// Compilation of program sources: layout, label addresses, jump and call resolution. Random
// programs are checked against a model of the layout by reading the compiled image back.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "program/program_reader.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"

namespace Orvek {
namespace {

TEST(ProgramCompile, LabelsAreResolvedInTheSecondPass) {
    const PromParameters params;
    EXPECT_EQ(ProgramSource().compile(params).program, "");

    // A forward reference, a label given twice, an unknown target.
    ProgramSource source;
    source.add<Jump>("end");
    source.add<Call>("x");
    source.add<Label>("x");
    source.add<FE>("");
    source.add<Label>("x");
    source.add<Jump>("x");
    source.add<Call>("missing");
    source.add<Label>("end");
    source.add<Return>();
    const CompiledProgram compiled = source.compile(params);
    EXPECT_EQ(compiled.program,
              "9000911fff9000930dFFFFFFFFFEFFFFFFFF9000910dffFFFFFFFFFFFFFFFF95FF");
    EXPECT_EQ(compiled.labels, (std::vector<std::string>{"x", "x", "end"}));
    EXPECT_EQ(compiled.labelAddresses, (std::vector<std::uint32_t>{13, 18, 31}));
    EXPECT_EQ(source.compile(params).program, compiled.program); // compiling changes nothing

    // Past 64 KiB the label address is kept whole; only the image keeps the low 16 bits.
    ProgramSource large;
    large.add<Call>("far");
    for (std::uint32_t i = 4; i < 0x12345 - 4; ++i)
        large.add<FD>("");
    large.add<Label>("far");
    const CompiledProgram far = large.compile(params);
    EXPECT_EQ(far.labelAddresses, std::vector<std::uint32_t>{0x12345});
    EXPECT_EQ(far.program.substr(0, 8), "90239345");
    EXPECT_EQ(far.imageSize(), 0x12345u);
}

// Random programs of labels (forward and backward references, repeated names), jumps and calls
// (some to a name never placed), register writes and delays: every instruction reads back where
// the layout puts it, and every jump or call targets the first label of its name.
TEST(ProgramCompile, RandomProgramsReadBackWithEveryTargetAtItsLabel) {
    const char* const names[] = {"startup", "jumptable start", "freqs", "a", "nowhere"};
    const PromParameters params;
    std::mt19937 random(20240611);
    for (int round = 0; round < 300; ++round) {
        struct Placed {
            InstructionKind kind;
            std::uint32_t address;
            std::string label;
        };
        std::vector<Placed> placed;
        std::map<std::string, std::uint32_t> labels; // first of each name: byte behind its marker
        ProgramSource source;
        std::uint32_t address = 0;
        for (int n = random() % 120; n >= 0; --n) {
            const std::string name = names[random() % 5];
            const unsigned kind = random() % 5;
            if (kind == 0 && name != "nowhere") {
                source.add<Label>(name);
                placed.push_back({InstructionKind::LabelMarker, address, name});
                labels.emplace(name, address += 4);
            } else if (kind == 1 || kind == 2) {
                if (kind == 1)
                    source.add<Jump>(name);
                else
                    source.add<Call>(name);
                placed.push_back(
                    {kind == 1 ? InstructionKind::Jump : InstructionKind::Call, address, name});
                address += kind == 1 ? 5 : 4;
            } else if (kind == 3) {
                source.add<Register>(0x84, static_cast<int>(random() % 256), "");
                placed.push_back({InstructionKind::RegisterWrite, address, ""});
                address += 2;
            } else {
                source.add<FD>("");
                placed.push_back({InstructionKind::Delay, address++, ""});
            }
        }
        const ProgramReader reader = ProgramReader::fromCompiled(source.compile(params));
        SCOPED_TRACE("round " + std::to_string(round));
        ASSERT_EQ(reader.size(), address);
        ASSERT_NO_THROW(reader.readAll());
        for (const Placed& p : placed) {
            const Instruction i = reader.at(p.address);
            if (p.kind == InstructionKind::Jump || p.kind == InstructionKind::Call) {
                const auto label = labels.find(p.label);
                if (label == labels.end()) {
                    EXPECT_EQ(i.kind, InstructionKind::End) << i; // unresolved: end bytes
                    continue;
                }
                EXPECT_EQ(i.target, label->second) << i;
            }
            EXPECT_EQ(i.kind, p.kind) << i;
        }
    }
}

} // namespace
} // namespace Orvek
