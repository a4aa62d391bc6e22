// The UDP endpoint over real sockets: pacing of long messages, the receive buffer, interrupts
// between threads, a flood of strangers while a unit streams, and an array of shared tasks
// initialised from two threads and started by broadcast.
// TARN_CONCURRENCY_CASES LinkTransport.AnInterrupt*:LinkSharedTasks.*
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <thread>

#include "foreign_flood.h"
#include "lab_endpoint.h"
#include "sim_units.h"
#include "tarndll.h"
#include "task/sweep_data.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

const std::string unitA = "192.168.1.10";
const std::string unitB = "192.168.1.11";

struct LinkTransport : ::testing::Test {
    static constexpr uint16_t port = 1100;
    std::shared_ptr<Orvek::SocketManager> endpoint;
    void SetUp() override {
        TARN_REQUIRE_LAB_HOST_SIDE();
        endpoint = tarnlab::boundEndpoint(port);
        ASSERT_NE(endpoint, nullptr);
    }
};

TEST_F(LinkTransport, LongMessagesAreSplitAt1400BytesAndPaced) {
    const int unit = tarnlab::unitsSideSocket(unitA, port);
    ASSERT_GE(unit, 0);
    for (const std::size_t length : {0, 1400, 1401, 2801}) {
        const std::string message(length, 'm');
        const auto start = Clock::now();
        ASSERT_EQ(endpoint->send_to(unitA, message), Orvek::ERR_OK);
        const std::size_t slices = length == 0 ? 1 : (length + 1399) / 1400;
        EXPECT_GE(tarnlab::millisecondsBetween(start, Clock::now()), 0.9 * (slices - 1));
        std::this_thread::sleep_for(20ms);
        std::string joined;
        char buffer[2000];
        std::size_t got = 0;
        for (ssize_t n; (n = recv(unit, buffer, sizeof buffer, 0)) >= 0; ++got) {
            EXPECT_LE(n, 1400);
            joined.append(buffer, static_cast<std::size_t>(n));
        }
        EXPECT_EQ(got, slices) << length;
        EXPECT_EQ(joined, message);
    }
    close(unit);

    // Read as inet_addr reads it, the text would become the broadcast address.
    EXPECT_EQ(endpoint->send_to(std::string("192.168.1.x"), std::string("Q\n")), Orvek::ERR_SOCKET);
    // A smaller buffer than asked would drop packets of a sweep burst.
    std::ifstream limit("/proc/sys/net/core/rmem_max");
    unsigned long rmemMax = 0;
    ASSERT_TRUE(limit >> rmemMax);
    Orvek::SocketManager manager;
    testing::internal::CaptureStderr();
    EXPECT_EQ(manager.bind_socket(port + 1, 2 * rmemMax + 4096), Orvek::ERR_SOCKET);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("net.core.rmem_max"), std::string::npos);
}

TEST_F(LinkTransport, AnInterruptEndsOnlyTheWaitForItsOwnUnit) {
    double waitedA = 0, waitedB = 0;
    auto timedWait = [this](const std::string& unit, double& waited) {
        std::string reply;
        const auto start = Clock::now();
        EXPECT_EQ(endpoint->receive_from(reply, unit, 1500, 50), Orvek::ERR_NO_RESPONSE);
        waited = tarnlab::millisecondsBetween(start, Clock::now());
    };
    std::thread a(timedWait, unitA, std::ref(waitedA));
    std::thread b(timedWait, unitB, std::ref(waitedB));
    std::this_thread::sleep_for(200ms);
    endpoint->interrupt(unitA);
    a.join();
    b.join();
    EXPECT_LT(waitedA, 1200.0);
    EXPECT_GE(waitedB, 1400.0); // its own whole time-out, whichever turn it had
    // An interrupt while nothing waits does not cut the next wait short.
    endpoint->interrupt(unitA);
    timedWait(unitA, waitedA);
    EXPECT_GE(waitedA, 1400.0);
}

TEST(LinkFlood, SweepsGoOnAndMemoryStaysBoundedWhileStrangersFloodThePort) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    constexpr uint16_t port = 1106;
    tarnlab::SimulatedUnits units;
    units.add("simple-4port", "192.168.1.12", port);
    ASSERT_EQ(units.start(), "");
    const long quietKiB = tarnlab::residentKiB();
    ASSERT_GT(quietKiB, 0);
    {
        Orvek::TarnTask task;
        ASSERT_EQ(task.setIPAddress("192.168.1.12"), Orvek::ERR_OK);
        ASSERT_EQ(task.setIPPort(port), Orvek::ERR_OK);
        ASSERT_EQ(task.initialize(nullptr, nullptr), Orvek::ERR_OK);
        ASSERT_EQ(task.setHopRate(Orvek::HOP_15K), Orvek::ERR_OK);
        ASSERT_EQ(task.setMeasurementType(Orvek::PROG_ASYNC), Orvek::ERR_OK);
        ASSERT_EQ(task.utilGenerateLinearSweep(1000.0, 1500.0, 101), Orvek::ERR_OK);
        ASSERT_EQ(task.addPathToMeasure(Orvek::TARN_TX_PATH_2, Orvek::TARN_RX_PATH_3),
                  Orvek::ERR_OK);
        ASSERT_EQ(task.start(), Orvek::ERR_OK);
        ASSERT_EQ(task.beginAsync(), Orvek::ERR_OK);
        tarnlab::ForeignFlood flood(port, 200);
        ASSERT_TRUE(flood.ok());
        int sweeps = 0;
        for (const auto end = Clock::now() + 3s; Clock::now() < end; ++sweeps)
            ASSERT_EQ(task.measure(), Orvek::ERR_OK) << "sweep " << sweeps;
        const auto counters = dynamic_cast<Orvek::SocketManager&>(
                                  *Orvek::TarnTaskTestAccess::state(task).socketManager)
                                  .counters();
        EXPECT_GT(counters.foreignDropped, 10000u);
        EXPECT_LT(tarnlab::residentKiB() - quietKiB, 64 * 1024);
        std::printf("%d sweeps, %zu foreign datagrams, RSS %ld -> %ld KiB\n", sweeps, flood.sent(),
                    quietKiB, tarnlab::residentKiB());
        EXPECT_EQ(task.stop(), Orvek::ERR_OK);
    }
}

// TARN_LAB_USES_PORT_1024: the array protocol fixes the port, so this test takes the lock.
TEST(LinkSharedTasks, AnArrayInitialisedFromTwoThreadsStartsByBroadcastAndEachGetsItsOwnData) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    using namespace Orvek;
    const char* const addresses[] = {"192.168.1.13", "192.168.1.14"};
    tarnlab::SimulatedUnits units;
    for (int i = 0; i < 2; ++i) { // each thru its own length, so that swapped data shows
        Sim::UnitConfig config = tarnlab::simUnitConfig("simple-4port", addresses[i], 1024);
        Sim::DutModel dut = Sim::DutModel::standardBench(200.0, 3200.0);
        dut.connectThru(2, 3, 0.5 + 2.0 * i);
        config.dut = dut;
        units.add(config);
    }
    ASSERT_EQ(units.start(), "");
    TarnTask first;
    TarnTask second(first);
    TarnTask* tasks[] = {&first, &second};
    Err_Code results[2] = {ERR_SOCKET, ERR_SOCKET};
    auto initialise = [&](int i) {
        tasks[i]->setIPAddress(addresses[i]);
        tasks[i]->setIPPort(1024);
        results[i] = tasks[i]->initialize(nullptr, nullptr);
    };
    std::thread one(initialise, 0), two(initialise, 1);
    one.join();
    two.join();
    for (TarnTask* task : tasks) {
        ASSERT_EQ(results[task == &second], ERR_OK);
        ASSERT_EQ(task->setHopRate(HOP_1K), ERR_OK);
        ASSERT_EQ(task->setMeasurementType(PROG_ASYNC), ERR_OK);
        ASSERT_EQ(task->utilGenerateLinearSweep(1000.0, 1500.0, 25), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_2, TARN_RX_PATH_3), ERR_OK);
        ASSERT_EQ(task->start(), ERR_OK);
    }
    ASSERT_EQ(TarnTask::broadcastBeginCommand({&first, &second}), ERR_OK);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(tasks[i]->measure(), ERR_OK);
        SweepData data;
        ASSERT_EQ(tasks[i]->extractSweepData(TARN_TX_PATH_2, TARN_RX_PATH_3, data), ERR_OK);
        for (int k = 0; k < 25; ++k) {
            const Sim::IqSample expected =
                units[i].expectedSample(tasks[i]->getFrequencies()[k], 2, 3, 0);
            EXPECT_NEAR(data.receiverData[0].real[k], expected.i, 1.0) << i << " " << k;
            EXPECT_NEAR(data.receiverData[0].imag[k], expected.q, 1.0) << i << " " << k;
            EXPECT_GT(std::abs(expected.i) + std::abs(expected.q), 100.0); // a real signal
        }
        EXPECT_EQ(tasks[i]->stop(), ERR_OK);
    }
}

} // namespace
