// An array of simulated units on the array port: one broadcast "B\n" to 192.168.1.255 starts
// every unit's program at once, and each streams its own packets back.
// TARN_LAB_USES_PORT_1024
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "lab_endpoint.h"
#include "lab_namespace.h"
#include "link/device_commands.h"
#include "link/socket_manager.h"
#include "program/program_source.h"
#include "sim_units.h"

namespace {

using namespace Orvek;

TEST(SimUnitArray, OneBroadcastBeginStartsEveryUnitThatListens) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    tarnlab::SimulatedUnits units;
    const std::vector<std::string> addresses = {"192.168.1.10", "192.168.1.11", "192.168.1.12"};
    for (const std::string& address : addresses)
        units.add("s-param", address, 1024);
    Sim::UnitConfig deaf = tarnlab::simUnitConfig("s-param", "192.168.1.13", 1024);
    deaf.broadcastAddress = "none";
    units.add(deaf);
    ASSERT_EQ(units.start(), "");

    auto endpoint = tarnlab::boundEndpoint(1024);
    ASSERT_NE(endpoint, nullptr);
    // Each unit: three packets, then the end; the program counter points at it.
    ProgramSource program;
    program.add<FF>("");
    program.add<Label>("sweep");
    program.add<Register>(0x85, 0x00, "");
    for (int i = 0; i < 3; ++i) {
        program.add<FE>("");
        program.add<TriggerPacketTx>(i == 2);
    }
    program.add<FF>("");
    const CompiledProgram compiled = program.compile(PromParameters());
    std::uint32_t sweep = 0;
    ASSERT_TRUE(compiled.findLabel("sweep", sweep));
    char setCounter[16];
    std::snprintf(setCounter, sizeof setCounter, "W%04x\n", sweep);
    for (const std::string& address : addresses) {
        endpoint->set_current_dst_ip(address);
        ASSERT_EQ(TARN::uploadProgram(endpoint, address, compiled), 0);
        std::string reply;
        ASSERT_EQ(TARN::sendMessage(endpoint, address, setCounter, reply, 200, 1), 0);
    }
    endpoint->set_current_dst_ip("192.168.1.13");
    ASSERT_EQ(TARN::uploadProgram(endpoint, "192.168.1.13", compiled), 0);

    ASSERT_EQ(endpoint->send_to("192.168.1.255", std::string("B\n")), 0);
    std::vector<std::pair<std::string, std::vector<char>>> datagrams;
    ASSERT_EQ(TARN::receiveMultiple(endpoint, datagrams, 300, 10, nullptr, nullptr), 0);
    std::map<std::string, std::vector<int>> counters;
    for (const auto& [from, datagram] : datagrams) {
        if (from == "192.168.1.1")
            continue; // the host hears its own broadcast
        ASSERT_EQ(datagram.size(), 8u);
        EXPECT_EQ(static_cast<std::uint8_t>(datagram[0]), std::stoi(from.substr(10)));
        counters[from].push_back(datagram[3]);
    }
    for (const std::string& address : addresses)
        EXPECT_EQ(counters[address], (std::vector<int>{1, 2, 3})) << address;
    EXPECT_EQ(counters.count("192.168.1.13"), 0u) << "a unit not listening for broadcasts";
    EXPECT_EQ(units.unit("192.168.1.13").status().packetsSent, 0u);
    for (const std::string& address : addresses)
        EXPECT_GE(units.unit(address).log(Sim::LogKind::Packet).size(), 3u);
}

} // namespace
