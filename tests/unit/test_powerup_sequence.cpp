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
    EXPECT_EQ(compiled.program, "800e"
                                "8300"
                                "8500"
                                "8408"
                                "8e7f"
                                "FD"
                                "FD"
                                "7500"
                                "7400"
                                "3500"
                                "3400"
                                "FD"
                                "FD"
                                "3308"
                                "3202"
                                "3100"
                                "3000"
                                "7308"
                                "7202"
                                "7180"
                                "7000"
                                "FD"
                                "FD"
                                "9700"
                                "9800"
                                "9b00"
                                "9a18");
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

TEST(PowerupSequence, EveryCallGivesItsOwnCommands) {
    ProgramCommandList first = standardPowerupSequence();
    ProgramCommandList second = standardPowerupSequence();
    ASSERT_EQ(first.size(), second.size());
    for (size_t i = 0; i < first.size(); ++i) {
        EXPECT_NE(first[i].get(), second[i].get());
    }
    first.clear();
    ProgramSource source;
    source.append(std::move(second));
    EXPECT_EQ(source.compile(PromParameters()).program.size(), 2u * 48);
}
