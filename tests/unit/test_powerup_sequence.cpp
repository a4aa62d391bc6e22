// The fixed power-up set-up: its compiled image and its listing.
#include <gtest/gtest.h>

#include <string>

#include "hardware/powerup_sequence.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"

using namespace Orvek;

TEST(PowerupSequence, FixedImageAndListing) {
    ProgramSource source;
    source.append(standardPowerupSequence());
    const PromParameters prom;
    EXPECT_EQ(source.compile(prom).program, "800e8300850084088e7fFDFD7500740035003400FDFD"
                                            "33083202310030007308720271807000FDFD970098009b009a18");

    const std::string fd = "#> Delay one point duration. \n";
    EXPECT_EQ(source.humanReadable(prom),
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
