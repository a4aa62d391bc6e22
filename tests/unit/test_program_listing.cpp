// The annotated listing people read when a sweep looks wrong: header of synthesiser parameters,
// then listing lines and addressed bytes.
#include <gtest/gtest.h>

#include <string>

#include "program/program_source.h"
#include "prom/prom_parameters.h"

namespace Orvek {
namespace {

PromParameters exampleUnit() {
    PromParameters params;
    params.Header_bytes[3] = 10;
    params.DDS_reference_frequency = 300.0;
    params.Int_PLL_Div = 100;
    params.Number_of_PLL_loop_gain_boundaries = 2;
    params.PLL_loop_gain_boundary_addresses = {0x54, 0x55, 0, 0};
    params.PLL_loop_gain_boundaries = {1500, 3000, 0, 0};
    params.PLL_prescaler_setting = 2;
    params.Number_of_band_boundaries = 4;
    params.Band_boundaries = {2000, 1000, 500, 250, 0, 0, 0, 0};
    return params;
}

const char* const kExampleHeader = "#>> Constructing program for tarn at IP: 10\n"
                                   "#>> DDS Reference Frequency: 300.000000\n"
                                   "#>> PLL Divider: 100\n"
                                   "#>> Number of PLL loop gain boundaries: 2\n"
                                   "#>> Pll loop gain boundary - address: 84 value: 1500\n"
                                   "#>> Pll loop gain boundary - address: 85 value: 3000\n"
                                   "#>> Pll loop gain boundary - address: 0 value: 0\n"
                                   "#>> Pll loop gain boundary - address: 0 value: 0\n"
                                   "#>> Integer PLL prescaler: 2\n"
                                   "#>> Number of band boundaries: 4\n"
                                   "#>> Band boundary 1: 2000\n"
                                   "#>> Band boundary 2: 1000\n"
                                   "#>> Band boundary 3: 500\n"
                                   "#>> Band boundary 4: 250\n"
                                   "#>> Band boundary 5: 0\n"
                                   "#>> Band boundary 6: 0\n"
                                   "#>> Band boundary 7: 0\n"
                                   "#>> Band boundary 8: 0\n";

TEST(ProgramListing, ShowsTheUnitThenEveryCommandWithItsAddressAndBytes) {
    const PromParameters params = exampleUnit();
    EXPECT_EQ(ProgramSource().compiledHumanReadable(params), kExampleHeader);
    ProgramSource source;
    source.add<CommentBreak>("Startup Section");
    source.add<Label>("startup");
    source.add<Register>(0x84, 0x40, "Reset system timer");
    source.add<Register>(0x80, 0x0E, "");
    source.add<Comment>("Band switch!");
    source.add<TxDDSRegister>(0x56, 0x34, 0x12, "tx f=1, rx f=2, TX Register");
    source.add<Call>("freqs");
    source.add<Jump>("startup");
    source.add<FF>("jump table");
    source.add<Label>("freqs");
    source.add<FE>("");
    source.add<TriggerPacketTx>(true);
    source.add<Return>();

    const std::string expected = std::string(kExampleHeader) +
                                 "\n\n#>> Startup Section\n"
                                 "#> Label: startup\n"
                                 "0000\tFF FF FF FF\n"
                                 "#> Reset system timer\n"
                                 "0004\t84 40\n"
                                 "0006\t80 0e\n"
                                 "#>> Band switch!\n"
                                 "#> tx f=1, rx f=2, TX Register raw: 0x00123456\n"
                                 "0008\t06 56 05 34 04 12\n"
                                 "#> Call label: freqs\n"
                                 "000e\t90 00 93 1c\n"
                                 "#> Jump to address: startup\n"
                                 "0012\t90 00 91 04 ff\n"
                                 "#> End jump table\n"
                                 "0017\tFF\n"
                                 "#> Label: freqs\n"
                                 "0018\tFF FF FF FF\n"
                                 "#> Acquire one input sample. \n"
                                 "001c\tFE\n"
                                 "#> Packet break, force UDP packet transmission.\n"
                                 "001d\t89 01\n"
                                 "#> Call Return\n"
                                 "001f\t95 FF\n";
    EXPECT_EQ(source.compiledHumanReadable(params), expected);
}

} // namespace
} // namespace Orvek
