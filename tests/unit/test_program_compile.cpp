// Program commands and their compilation: exact text and listing line of every command kind
// (these bytes go to the unit as they are, so letter case and digit counts matter), label
// layout and the resolution of jumps and calls.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "program/program_command.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"

namespace Orvek {
namespace {

TEST(ProgramCommand, CompiledTextAndListingLineOfEveryKind) {
    const struct {
        std::shared_ptr<ProgramCommand> command;
        const char* text;
        const char* line;
    } rows[] = {
        {std::make_shared<Register>(0x80, 0x1F, ""), "801f", ""},
        {std::make_shared<Register>(0x0A, 0x0B, "Gain"), "0a0b", "#> Gain"},
        {std::make_shared<ReceiverControlRegister>(0xA0, 0x03, "Enabled receivers bitmask"), "a003",
         "#> Enabled receivers bitmask"},
        {std::make_shared<ExternalRegister>(0x00, 0x3F, "tdd register 00"), "9700983f",
         "#> tdd register 00"},
        // Tuning words go low byte first; the listing shows the word in upper-case digits.
        {std::make_shared<TxDDSRegister>(0x56, 0x34, 0x12, "tx f=100, rx f=110.7, TX Register"),
         "065605340412", "#> tx f=100, rx f=110.7, TX Register raw: 0x00123456"},
        {std::make_shared<RxDDSRegister>(0xEF, 0xCD, 0xAB, " RX Register"), "46ef45cd44ab",
         "#>  RX Register raw: 0x00ABCDEF"},
        {std::make_shared<FC>("x"), "FC", "#> Resynchronization point (ms clock) x"},
        {std::make_shared<FD>(""), "FD", "#> Delay one point duration. "},
        {std::make_shared<FE>("sample"), "FE", "#> Acquire one input sample. sample"},
        {std::make_shared<FF>("jump table"), "FF", "#> End jump table"},
        {std::make_shared<Comment>("Band switch!"), "", "#>> Band switch!"},
        {std::make_shared<CommentBreak>("Acquisition Segment"), "", "\n\n#>> Acquisition Segment"},
        {std::make_shared<TriggerPacketTx>(true), "8901",
         "#> Packet break, force UDP packet transmission."},
        {std::make_shared<TriggerPacketTx>(false), "8900",
         "#> Packet break, force UDP packet transmission."},
        {std::make_shared<Label>("freqs"), "FFFFFFFF", "#> Label: freqs"},
        // Before the labels are placed: placeholders of the final length.
        {std::make_shared<Jump>("jumptable start"), "90xx91xxff",
         "#> Jump to address: jumptable start"},
        {std::make_shared<Call>("freqs"), "90xx93xx", "#> Call label: freqs"},
        {std::make_shared<Return>(), "95FF", "#> Call Return"},
    };
    const PromParameters params;
    for (const auto& row : rows) {
        EXPECT_EQ(row.command->compile(params, nullptr), row.text);
        EXPECT_EQ(row.command->humanReadable(params), row.line);
        EXPECT_EQ(row.command->isLabel(), std::string(row.text) == "FFFFFFFF") << row.text;
    }
}

TEST(ProgramCommand, JumpAndCallResolveTheFirstLabelOfTheirName) {
    CompiledProgram compiled;
    compiled.labels = {"startup", "freqs", "freqs"};
    compiled.labelAddresses = {0x0004, 0x0123, 0x0456};
    const PromParameters params;
    EXPECT_EQ(Jump("freqs").compile(params, &compiled), "90019123ff");
    EXPECT_EQ(Call("freqs").compile(params, &compiled), "90019323");
    // Case-sensitive, exact names; an unknown target is end bytes in each kind's own case.
    EXPECT_EQ(Jump("Freqs").compile(params, &compiled), "ffffffffff");
    EXPECT_EQ(Call("freq").compile(params, &compiled), "FFFFFFFF");
}

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

} // namespace
} // namespace Orvek
