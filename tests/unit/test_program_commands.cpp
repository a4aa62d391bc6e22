// Exact text and listing line of every program command kind: these bytes go to the unit as
// they are, so letter case and digit counts matter.
#include <gtest/gtest.h>

#include <memory>
#include <string>

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

TEST(ProgramCommand, SourceOwnsCommandsAddedInAnyFormAndSkipsNull) {
    ProgramSource source;
    Register& gain = source.add<Register>(0x81, 0x10, "Gain");
    source.append(std::make_unique<FD>(""));
    std::vector<std::unique_ptr<Register>> list;
    list.push_back(std::make_unique<Register>(0x54, 0x05, "PLL gain boundary 1: 100 MHz."));
    list.push_back(nullptr);
    source.append(std::move(list));
    source.append(std::unique_ptr<FF>());
    ASSERT_EQ(source.commands.size(), 3u);
    EXPECT_EQ(source.commands[0].get(), &gain);
    EXPECT_EQ(source.compile(PromParameters()).program, "8110FD5405");
}

} // namespace
} // namespace Orvek
