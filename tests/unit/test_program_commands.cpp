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

class ProgramCommandTest : public ::testing::Test {
protected:
    std::string text(const ProgramCommand& command, const CompiledProgram* compiled = nullptr) {
        return command.compile(params, compiled);
    }
    std::string line(const ProgramCommand& command) { return command.humanReadable(params); }

    PromParameters params;
};

TEST_F(ProgramCommandTest, RegisterWritesAddressAndValueAsLowerCaseHex) {
    EXPECT_EQ(text(Register(0x80, 0x1F, "")), "801f");
    EXPECT_EQ(text(Register(0x0A, 0x0B, "")), "0a0b");
    EXPECT_EQ(line(Register(0x80, 0x1F, "")), "");
    EXPECT_EQ(line(Register(0x80, 0x1F, "Gain")), "#> Gain");
    EXPECT_EQ(Register::set(0xAB, 0xCD), "abcd");
    // Values are not masked: a value wider than a byte prints wider, as the unit's tooling
    // expects generators to keep values in range.
    EXPECT_EQ(Register::set(0x97, 0x1234), "971234");
    EXPECT_EQ(Register::set(-1, 0), "ffffffff00");

    ReceiverControlRegister receivers(0xA0, 0x03, "Enabled receivers bitmask");
    EXPECT_EQ(text(receivers), "a003");
    EXPECT_EQ(line(receivers), "#> Enabled receivers bitmask");
    EXPECT_FALSE(receivers.isLabel());
}

TEST_F(ProgramCommandTest, ExternalRegisterGoesThroughRegisters97And98) {
    ExternalRegister tdd(0x00, 0x3F, "tdd register 00");
    EXPECT_EQ(text(tdd), "9700983f");
    EXPECT_EQ(line(tdd), "#> tdd register 00");
    EXPECT_EQ(line(ExternalRegister(7, 0x1FF, "")), "");
    EXPECT_EQ(text(ExternalRegister(7, 0x1FF, "")), "9707981ff");
    EXPECT_EQ(ExternalRegister::set(0x12, 0xAB), "971298ab");
}

TEST_F(ProgramCommandTest, DdsTuningWordsGoLowByteFirst) {
    TxDDSRegister tx(0x56, 0x34, 0x12, "tx f=100, rx f=110.7, TX Register");
    EXPECT_EQ(tx.raw, 0x123456);
    EXPECT_EQ(text(tx), "065605340412");
    EXPECT_EQ(line(tx), "#> tx f=100, rx f=110.7, TX Register raw: 0x00123456");

    RxDDSRegister rx(0xEF, 0xCD, 0xAB, " RX Register");
    EXPECT_EQ(rx.raw, 0xABCDEF);
    EXPECT_EQ(text(rx), "46ef45cd44ab");
    // Upper-case digits in the listing, and the raw word even with an empty comment.
    EXPECT_EQ(line(rx), "#>  RX Register raw: 0x00ABCDEF");
    EXPECT_EQ(line(RxDDSRegister(0, 0, 0, "")), "#>  raw: 0x00000000");
    EXPECT_EQ(TxDDSRegister::set(1, 2, 3), "060105020403");
    EXPECT_EQ(RxDDSRegister::set(1, 2, 3), "460145024403");
}

TEST_F(ProgramCommandTest, OneByteOpcodesAreUpperCase) {
    EXPECT_EQ(text(FC("")), "FC");
    EXPECT_EQ(text(FD("")), "FD");
    EXPECT_EQ(text(FE("")), "FE");
    EXPECT_EQ(text(FF("")), "FF");
    EXPECT_EQ(line(FC("x")), "#> Resynchronization point (ms clock) x");
    EXPECT_EQ(line(FD("")), "#> Delay one point duration. ");
    EXPECT_EQ(line(FE("sample")), "#> Acquire one input sample. sample");
    EXPECT_EQ(line(FF("jump table")), "#> End jump table");
}

TEST_F(ProgramCommandTest, CommentsAddNoBytes) {
    EXPECT_EQ(text(Comment("Band switch!")), "");
    EXPECT_EQ(line(Comment("Band switch!")), "#>> Band switch!");
    EXPECT_EQ(text(CommentBreak("Acquisition Segment")), "");
    EXPECT_EQ(line(CommentBreak("Acquisition Segment")), "\n\n#>> Acquisition Segment");
}

TEST_F(ProgramCommandTest, PacketTriggerVariantsDifferOnlyInValue) {
    EXPECT_EQ(text(TriggerPacketTx(true)), "8901");
    EXPECT_EQ(text(TriggerPacketTx(false)), "8900");
    EXPECT_EQ(line(TriggerPacketTx(true)), "#> Packet break, force UDP packet transmission.");
    EXPECT_EQ(line(TriggerPacketTx(false)), line(TriggerPacketTx(true)));
}

TEST_F(ProgramCommandTest, LabelIsFourEndBytes) {
    Label label("freqs");
    EXPECT_EQ(text(label), "FFFFFFFF");
    EXPECT_EQ(line(label), "#> Label: freqs");
    EXPECT_TRUE(label.isLabel());
    EXPECT_EQ(label.get_label(), "freqs");

    const ProgramCommand& asBase = label;
    EXPECT_TRUE(asBase.isLabel());
}

TEST_F(ProgramCommandTest, JumpAndCallHavePlaceholdersOfFinalLength) {
    EXPECT_EQ(text(Jump("freqs")), "90xx91xxff");
    EXPECT_EQ(text(Call("freqs")), "90xx93xx");
    EXPECT_EQ(text(Return()), "95FF");
    EXPECT_EQ(line(Jump("jumptable start")), "#> Jump to address: jumptable start");
    EXPECT_EQ(line(Call("freqs")), "#> Call label: freqs");
    EXPECT_EQ(line(Return()), "#> Call Return");
}

TEST_F(ProgramCommandTest, JumpAndCallResolveTheFirstLabelOfTheirName) {
    CompiledProgram compiled;
    compiled.labels = {"startup", "freqs", "freqs", "wide"};
    compiled.labelAddresses = {0x0004, 0x0123, 0x0456, 0x12345};

    EXPECT_EQ(text(Jump("freqs"), &compiled), "90019123ff");
    EXPECT_EQ(text(Call("freqs"), &compiled), "90019323");
    EXPECT_EQ(text(Jump("startup"), &compiled), "90009104ff");
    // Only the low 16 bits of a target reach the image.
    EXPECT_EQ(text(Jump("wide"), &compiled), "90239145ff");
    EXPECT_EQ(text(Call("wide"), &compiled), "90239345");
    // Case-sensitive, exact names; an unknown target is end bytes in each kind's own case.
    EXPECT_EQ(text(Jump("Freqs"), &compiled), "ffffffffff");
    EXPECT_EQ(text(Call("freq"), &compiled), "FFFFFFFF");
}

TEST_F(ProgramCommandTest, SourceOwnsCommandsAddedInAnyForm) {
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
    EXPECT_EQ(source.compile(params).program, "8110FD5405");
}

} // namespace
} // namespace Orvek
