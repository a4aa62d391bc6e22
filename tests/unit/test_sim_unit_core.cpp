// The simulated unit without network, fed programs written byte by byte from the unit's
// instruction set (never by the library's compiler): the texts it answers, how it executes
// programs, the physics of its samples, and malformed programs that must stop it unharmed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "sim/unit_core.h"

namespace Orvek {
namespace Sim {
namespace {

constexpr double kRef = 125.0;
constexpr int kDivide = 100; // PLL N from 9D 02 (prescaler 16) and B4 64 (B 6, A 4)

UnitHardware testHardware() {
    UnitHardware hardware;
    hardware.board = SWITCHBOARD_S_PARAMETER_SWITCH;
    hardware.receivers = 4;
    hardware.hasAttenuator = true;
    hardware.hasSerialPort = true;
    hardware.hasShaftEncoders = true;
    return hardware;
}

DutModel testDut() {
    return DutModel::parse("filter:0-1:2000:300");
}

std::uint32_t word(double f, int band) {
    return static_cast<std::uint32_t>(
        std::floor(f * (1 << band) * 16777216.0 / (kDivide * kRef) + 0.5));
}

std::string hex(unsigned value) {
    char text[4];
    std::snprintf(text, sizeof text, "%02x", value & 0xFF);
    return text;
}

// Both DDS words of a point in band 0 (transmit 06/05/04, receive 46/45/44, low byte first).
std::string tuneTo(double f, double intermediateMHz = 10.7002, int band = 0) {
    const std::uint32_t tx = word(f, band);
    const std::uint32_t rx = tx + word(intermediateMHz, band);
    return "06" + hex(tx) + "05" + hex(tx >> 8) + "04" + hex(tx >> 16) + "46" + hex(rx) + "45" +
           hex(rx >> 8) + "44" + hex(rx >> 16);
}

// Hop rate 0, PLL N = 100 loaded, band 0 with every amplifier on, receivers `mask`, path.
std::string setUp(unsigned mask, unsigned path = 0x30) {
    return "8500 9D02 B464 8401 800F A0" + hex(mask) + "82" + hex(path);
}

struct Harness {
    UnitCore core{testHardware(), {0x12, 0x34}, RfModel(testDut()), CoreOptions{}};
    double now = 1.0;

    std::optional<std::string> send(const std::string& text) {
        Command command = parseCommand(text);
        if (command.kind == CommandKind::Invalid)
            return core.refuse(text, command.problem, now);
        return core.handle(command, now);
    }
    // Uploads the program (blanks ignored) with the uploader's closing FF and runs it to its end.
    std::vector<DataPacket> run(std::string program) {
        program.erase(std::remove(program.begin(), program.end(), ' '), program.end());
        EXPECT_EQ(send("W0000" + program + "FF\n"), std::optional<std::string>("FF"));
        send("B0000\n");
        core.run(1e9, 10000000);
        EXPECT_FALSE(core.running());
        return core.takePackets();
    }
    std::vector<std::string> errors() {
        std::vector<std::string> texts;
        for (const CoreEvent& event : core.takeEvents())
            if (event.error)
                texts.push_back(event.text);
        return texts;
    }
};

TEST(SimUnitCore, AnswersTheCommandsWithTheUnitsTexts) {
    Harness h;
    const std::vector<std::pair<std::string, std::optional<std::string>>> exchanges = {
        {"Q\n", "\r\n>"},
        {"V\n", "2c"},
        {"W0123\n", "\r\n>"},
        {"Z8080\n", "\r\n>"},
        {"Z80\n", "80\r\n>             "},
        {"z80\n", "?\r\n>"},
        {"Q", "?\r\n>"},
        {"E0001\n", "34"},
        {"E0005\n", "ff"},
        {"E00013a\n", "\r\n>"},
        {"E0001\n", "34"}, // write-protected
        {"ZB601\n", "\r\n>"},
        {"E00013A\n", "\r\n>"},
        {"E0001\n", "34"}, // still programming
    };
    for (const auto& [command, reply] : exchanges)
        EXPECT_EQ(h.send(command), reply) << command;
    EXPECT_EQ(h.core.programCounter(), 0x0123);
    EXPECT_EQ(h.errors().size(), 3u);
    h.now += 0.002;
    EXPECT_EQ(h.send("E0001\n"), std::optional<std::string>("3a"));
    EXPECT_EQ(h.send("B\n"), std::nullopt); // runs; data packets are its only answer
}

TEST(SimUnitCore, WrongRegistersGiveWrongData) {
    struct Case {
        const char* name;
        std::string program;
        bool dark; // nothing received at all
    };
    // A right band-1 point: the output divider halves the VCO.
    const std::string band1 = setUp(0x03) + "800E" + tuneTo(1000.0, 10.7002, 1) + "FE";
    const std::vector<Case> cases = {
        {"band 1", band1, false},
        {"band-0 words behind band-1 bits: the IF misses the crystal filter",
         setUp(0x03) + "800E" + tuneTo(2000.0) + "FE", true},
        {"receive DDS 0.2 MHz off", setUp(0x03) + tuneTo(2000.0, 10.9) + "FE", true},
        {"PLL never loaded", "8500 800F A003 8230" + tuneTo(2000.0) + "FE", true},
        {"a frequency offset of one count (256 DDS steps, 190 kHz)",
         setUp(0x03) + "3601 3701" + tuneTo(2000.0) + "FE", true},
        {"a value the S-parameter board has no path for", setUp(0x03, 0x55) + tuneTo(2000.0) + "FE",
         true},
    };
    for (const Case& c : cases) {
        Harness h;
        const std::vector<DataPacket> packets = h.run(c.program + "8901");
        ASSERT_EQ(packets.size(), 1u) << c.name;
        const std::vector<std::uint8_t> samples(packets[0].datagram.begin() + 4,
                                                packets[0].datagram.end());
        ASSERT_EQ(samples.size(), 8u) << c.name;
        EXPECT_EQ(samples == std::vector<std::uint8_t>(8, 0), c.dark) << c.name;
    }
    Harness h;
    h.run(setUp(0x01, 0x55) + tuneTo(2000.0) + "FE FE 8901");
    const std::vector<std::string> errors = h.errors();
    ASSERT_EQ(errors.size(), 1u) << "reported once per run";
    EXPECT_NE(errors[0].find("0x82 = 0x55 selects no path"), std::string::npos) << errors[0];
}

TEST(SimUnitCore, CallsJumpsPacketsAndExternalWritesRunAsTheInstructionSetSays) {
    Harness h;
    // 0000 set-up (14 bytes); 000e call 0025, call 0025, reset counter, external 07 = 08,
    // call 0025, end; 0021 a label's marker; 0025 one sample, break packet, return.
    const std::string table = "9000 9325 9000 9325 8704 9707 9808 9000 9325 FF";
    const std::vector<DataPacket> packets = h.run(setUp(0x01) + table + "FFFFFFFF FE 8900 95FF");
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(packets[0].counter, 1);
    EXPECT_EQ(packets[1].counter, 2);
    EXPECT_EQ(packets[2].counter, 1);
    EXPECT_EQ(packets[2].tagB, 0);
    EXPECT_EQ(h.core.externalReg(7), 8);
    EXPECT_TRUE(h.errors().empty());

    // A free-running loop: 000e jump 0013; 0013 sample, packet, jump back to 0013.
    Harness loop;
    std::string program = setUp(0x01) + "9000 9113 FF FE 8901 9000 9113 FF";
    program.erase(std::remove(program.begin(), program.end(), ' '), program.end());
    loop.send("W0000" + program + "\n");
    loop.send("B0000\n");
    loop.core.run(1e9, 5000);
    EXPECT_TRUE(loop.core.running());
    EXPECT_GT(loop.core.takePackets().size(), 100u);
    // A begin while running waits for the program's end; a halt ends it and forgets the begin.
    EXPECT_EQ(loop.send("B0000\n"), std::nullopt);
    EXPECT_EQ(loop.send("Q\n"), std::optional<std::string>("\r\n>"));
    loop.core.run(1e9, 5000);
    EXPECT_FALSE(loop.core.running());
    EXPECT_TRUE(loop.core.takePackets().empty());
    EXPECT_TRUE(loop.errors().empty());
}

TEST(SimUnitCore, MalformedProgramsStopWithAReasonAndTheUnitStaysUsable) {
    const std::vector<std::pair<std::string, const char*>> cases = {
        {"8500 90709100FF", "jump to 0x7000 outside"},
        {"8500 90209300", "call to 0x2000 outside"},
        {"8500 95FF", "return with an empty call stack"},
        {"8500 90009102FF", "runaway program"},
        {"8500 FD", "without an end"},
        {"85ee FD", "hop rate register"},
        {"8500 90009302", "overflows the 32-deep call stack"},
        {"8500 9000910500 FF", "jump without its closing FF"},
        {"8500 9105 FF", "low byte without its high byte"},
        {"8500 9808 FF", "external value without its register"},
        {"8500 84", "ends inside an instruction"},
    };
    for (const auto& [program, reason] : cases) {
        Harness h;
        std::string text = program;
        text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
        h.send("W0000" + text + "\n");
        h.send("B0000\n");
        h.core.run(1e9, 10000000);
        const std::vector<std::string> errors = h.errors();
        ASSERT_EQ(errors.size(), 1u) << program;
        EXPECT_NE(errors[0].find(reason), std::string::npos) << program << ": " << errors[0];
        EXPECT_EQ(h.send("Q\n"), std::optional<std::string>("\r\n>")) << program;
        EXPECT_FALSE(h.core.running());
    }
}

} // namespace
} // namespace Sim
} // namespace Orvek
