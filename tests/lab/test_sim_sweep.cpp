// A sweep program built with the program model, uploaded and run through the link functions
// against simulated units over the lab: every sample that comes back must be what the unit's
// DUT model gives at the programmed frequency on the programmed switch path.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <memory>
#include <string>
#include <vector>

#include "hardware/frequency_synthesis.h"
#include "hardware/point_timing.h"
#include "lab_namespace.h"
#include "link/device_commands.h"
#include "link/socket_manager.h"
#include "program/hardware_commands.h"
#include "program/program_source.h"
#include "sim_units.h"
#include "switchboard/path_to_switch_control.h"

namespace {

using namespace Orvek;

const Transmit_Path kTx[] = {TARN_TX_PATH_0, TARN_TX_PATH_1, TARN_TX_PATH_2, TARN_TX_PATH_3,
                             TARN_TX_PATH_4, TARN_TX_PATH_5, TARN_TX_PATH_6, TARN_TX_PATH_7};
const Receive_Path kRx[] = {TARN_RX_PATH_0, TARN_RX_PATH_1, TARN_RX_PATH_2, TARN_RX_PATH_3,
                            TARN_RX_PATH_4, TARN_RX_PATH_5, TARN_RX_PATH_6, TARN_RX_PATH_7};

struct PathRequest {
    int tx; // -1: transmitter off
    int rx;
};

// What the test programmed, to check the packets against.
struct SweepPlan {
    CompiledProgram program;
    EntryPoint startup;
    EntryPoint main;
    std::vector<double> frequencies; // as synthesised
    std::vector<int> registerValues; // 0x82 per path
    int receivers = 0;
};

// Start-up, a table that selects each path and calls the sweep, and the sweep: tuning words,
// band changes, one FE per point and a packet break every 1400 bytes or so.
SweepPlan buildSweep(const PromParameters& prom, const std::vector<double>& requested,
                     const std::vector<std::shared_ptr<SwitchBoardState>>& paths,
                     std::uint8_t receiverMask, Hop_Rate hop) {
    SweepPlan plan;
    for (int r = 0; r < 4; ++r)
        plan.receivers += (receiverMask >> r) & 1;
    ProgramSource source;
    source.add<Label>("startup");
    source.add<Register>(0x84, 0x40, "Reset system timer");
    source.add<Register>(0x85, hop, "Hop rate");
    source.add<Register>(0x81, 0x00, "Gain");
    int pll1 = 0, pll2 = 0;
    buildPLLRegs(prom, pll1, pll2);
    source.add<Register>(0x9D, pll1, "PLL reg 1");
    source.add<Register>(0xB4, pll2, "PLL reg 2");
    source.append(buildPLLBoundaries(prom));
    source.add<Register>(0x84, 0x01, "Load PLLs");
    source.add<FD>("");
    source.add<FD>("");
    source.append(buildReg80(0, true, true, true, REG82_DIGITAL_OUTPUT, false));
    source.add<Register>(0xA0, receiverMask, "Enabled receivers bitmask");
    source.add<FF>("");

    source.add<Label>("main");
    for (const auto& path : paths) {
        const int value = path->getRegisterValue();
        plan.registerValues.push_back(value);
        if (value >= 0)
            source.add<Register>(0x82, value, path->getComment());
        source.add<Call>("freqs");
    }
    source.add<FF>("");

    source.add<Label>("freqs");
    int previousBand = -1;
    int bytes = 0;
    const int count = static_cast<int>(requested.size());
    for (int i = 0; i < count; ++i) {
        const int band = freqToBand(requested[i], prom, false);
        unsigned char t2, t1, t0, r2, r1, r0;
        plan.frequencies.push_back(
            freqToRegisters(requested[i], band, prom, t2, t1, t0, r2, r1, r0, nullptr));
        source.add<TxDDSRegister>(t0, t1, t2, "");
        source.add<RxDDSRegister>(r0, r1, r2, "");
        if (band != previousBand) {
            source.append(buildReg80(band, true, true, true, REG82_DIGITAL_OUTPUT, false));
            for (int k = 0; k < bandChangeFDs(hop); ++k)
                source.add<FD>("");
            previousBand = band;
        }
        source.add<FE>("");
        bytes += 4 * plan.receivers;
        const int remaining = (count - 1 - i) * 4 * plan.receivers;
        if (remaining > 20 && bytes > 1399) {
            source.add<FD>("");
            source.add<TriggerPacketTx>(false);
            plan.main.packetLengths.push_back(bytes);
            bytes = 0;
        }
    }
    source.add<FD>("");
    source.add<TriggerPacketTx>(true);
    plan.main.packetLengths.push_back(bytes);
    source.add<FD>("");
    source.add<Return>();

    plan.program = source.compile(prom);
    EXPECT_TRUE(plan.program.findLabel("startup", plan.startup.address));
    EXPECT_TRUE(plan.program.findLabel("main", plan.main.address));
    plan.startup.packetTimeoutMs = 1000;
    plan.main.packetCount = static_cast<int>(paths.size() * plan.main.packetLengths.size());
    plan.main.packetTimeoutMs = 1000;
    return plan;
}

class SimSweep : public ::testing::Test {
protected:
    void SetUp() override { TARN_REQUIRE_LAB_HOST_SIDE(); }

    // Starts one unit of `profile`, runs a sweep over `paths` and checks every sample.
    void sweepAndCheck(const std::string& profile, const std::string& address, std::uint16_t port,
                       const std::vector<PathRequest>& requests,
                       const std::vector<double>& frequencies, std::uint8_t receiverMask) {
        Sim::SimUnit& unit = units.add(profile, address, port);
        ASSERT_EQ(units.start(), "");
        const PromParameters prom = Sim::profileParameters(profile, 10);

        std::vector<std::shared_ptr<SwitchBoardState>> paths;
        for (const PathRequest& request : requests)
            paths.push_back(path_to_switch_control(
                prom, request.tx < 0 ? TARN_TX_PATH_NONE : kTx[request.tx], kRx[request.rx]));
        const SweepPlan plan = buildSweep(prom, frequencies, paths, receiverMask, HOP_90K);

        auto endpoint = std::make_shared<SocketManager>();
        ASSERT_EQ(endpoint->bind_socket(port, 8388608), 0);
        endpoint->set_current_dst_ip(address);
        ASSERT_EQ(TARN::uploadProgram(endpoint, address, plan.program), 0);
        std::vector<PacketData> packets;
        ASSERT_EQ(TARN::runProgram(endpoint, address, plan.startup, packets, true), 0);
        // No waiting for the start-up to finish: a begin waits for the running program.
        ASSERT_EQ(TARN::runProgram(endpoint, address, plan.main, packets, true), 0);
        ASSERT_EQ(static_cast<int>(packets.size()), plan.main.packetCount);

        const std::size_t perPath = plan.main.packetLengths.size();
        int measured = 0;
        for (std::size_t p = 0; p < requests.size(); ++p) {
            SCOPED_TRACE(profile + " path " + std::to_string(p));
            std::vector<std::uint8_t> payload;
            for (std::size_t k = 0; k < perPath; ++k) {
                const PacketData& packet = packets[p * perPath + k];
                EXPECT_EQ(packet.payloadLength(), plan.main.packetLengths[k]);
                EXPECT_EQ(packet.packetCounter, static_cast<int>(p * perPath + k + 1));
                EXPECT_EQ(packet.tagB, k + 1 == perPath ? 1 : 0);
                payload.insert(payload.end(), packet.payload.begin(), packet.payload.end());
            }
            ASSERT_EQ(payload.size(), frequencies.size() * 4 * plan.receivers);
            Sim::SwitchPath path = unit.switchPath(
                static_cast<std::uint8_t>(plan.registerValues[p] < 0 ? 0 : plan.registerValues[p]));
            if (requests[p].tx >= 0 && !path.internalReference &&
                requests[p].tx != requests[p].rx) {
                // The board connects what was asked for.
                EXPECT_EQ(path.txPort, requests[p].tx);
                EXPECT_EQ(path.rxPort, requests[p].rx);
            }
            EXPECT_EQ(path.transmitting, requests[p].tx >= 0);
            std::size_t offset = 0;
            int nonZero = 0;
            for (std::size_t i = 0; i < frequencies.size(); ++i) {
                for (int r = 0; r < 4; ++r) {
                    if (!(receiverMask & (1 << r)))
                        continue;
                    const Sim::IqSample expected =
                        unit.expectedSample(plan.frequencies[i], path, r);
                    const auto i16 = [&](std::size_t at) {
                        return static_cast<std::int16_t>((payload[at] << 8) | payload[at + 1]);
                    };
                    EXPECT_NEAR(i16(offset), expected.i, 1) << "point " << i << " rx " << r;
                    EXPECT_NEAR(i16(offset + 2), expected.q, 1) << "point " << i << " rx " << r;
                    nonZero += i16(offset) != 0 || i16(offset + 2) != 0;
                    offset += 4;
                }
            }
            measured += nonZero;
            if (!path.transmitting) {
                EXPECT_EQ(nonZero, 0) << "with the transmitter off nothing is received";
            }
        }
        EXPECT_GT(measured, 0) << "a sweep that measures nothing proves nothing";
        EXPECT_EQ(unit.status().errors, 0u);
    }

    tarnlab::SimulatedUnits units;
};

// Frequencies in all four bands of a plan, out of order so that bands change back and forth.
std::vector<double> acrossBands(double minimum, double maximum, int count) {
    std::vector<double> f;
    for (int i = 0; i < count; ++i) {
        const double x = static_cast<double>((i * 7) % count) / (count - 1);
        f.push_back(minimum * std::pow(maximum / minimum, x));
    }
    return f;
}

TEST_F(SimSweep, SParameterBoardAllFivePathsTwoReceivers) {
    sweepAndCheck("s-param", "192.168.1.10", 1150, {{0, 0}, {0, 1}, {1, 0}, {1, 1}, {2, 2}},
                  acrossBands(400.0, 6400.0, 40), 0x03);
}

TEST_F(SimSweep, TddBoardWithTheTransmitterOffAndFourReceiversOverSeveralPackets) {
    std::vector<double> f;
    for (int i = 0; i < 400; ++i)
        f.push_back(700.0 + i * 2.5);
    sweepAndCheck("tdd-4port", "192.168.1.11", 1151, {{0, 1}, {-1, 1}, {2, 3}}, f, 0x0F);
}

TEST_F(SimSweep, EightPortBoardOneReceiver) {
    // Ports 5 and 4 carry a short and an open: no transmission between them, but the short's
    // reflection on (5, 5); port 7 is matched and isolated.
    sweepAndCheck("simple-8port", "192.168.1.12", 1152, {{0, 1}, {5, 4}, {5, 5}, {7, 0}},
                  acrossBands(400.0, 6400.0, 360), 0x01);
}

} // namespace
