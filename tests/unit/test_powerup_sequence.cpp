// The fixed power-up set-up: its compiled image and its listing.
#include <gtest/gtest.h>

#include <string>

#include "hardware/powerup_sequence.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"

using namespace Orvek;

TEST(PowerupSequence, CompilesToTheFixedImage) {
    ProgramSource source;
    source.append(standardPowerupSequence());
    ASSERT_EQ(source.commands.size(), 29u);
    const PromParameters prom;
    const CompiledProgram compiled = source.compile(prom);
    // Two bytes per register write, one per delay; the two comments add nothing.
    const std::string expected = "800e8300850084088e7fFDFD7500740035003400FDFD"
                                 "33083202310030007308720271807000FDFD970098009b009a18";
    EXPECT_EQ(compiled.program, expected);
    EXPECT_TRUE(compiled.labels.empty());
}

TEST(PowerupSequence, ListingCarriesTheFixedComments) {
    ProgramSource source;
    source.append(standardPowerupSequence());
    const std::string fd = "#> Delay one point duration. \n";
    EXPECT_EQ(source.humanReadable(PromParameters()),
              "#>> <<<<<<<<<< Start of hard coded startup configuration.\n"
              "\n"
              "#> Set IF gain offset register\n"
              "#> Set sweep rate to 90K?\n"
              "#> Trigger IO update\n"
              "#> Send 0x7F serial bytes\n" +
                  fd + fd + "\n\n\n\n" + fd + fd + "\n\n\n\n\n\n\n\n" + fd + fd +
                  "#> Write 0x00 to external board address 0x00.\n"
                  "\n"
                  "#> No polarimetric measurements.\n"
                  "#> Enable all 6 bits of TXS/RXS, Separate TxSw and TxPaOn\n"
                  "#>> <<<<<<<<<< End hard-coded startup segment.\n");
}
