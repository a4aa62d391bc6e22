// The shared UDP endpoint over real sockets: splitting and pacing of long messages, per-sender
// queues, the order of receive_from_any, zero time-outs and interrupting a wait.
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <thread>

#include "fake_unit.h"
#include "lab_endpoint.h"
#include "tarndll.h"

using namespace std::chrono_literals;
using tarnlab::Clock;
using tarnlab::FakeUnit;
using tarnlab::Reply;

namespace {

const std::string unitA = "192.168.1.10";
const std::string unitB = "192.168.1.11";
const std::string unitC = "192.168.1.12";
// Sorts before unitB as text although its last octet is larger.
const std::string unitSpare = "192.168.1.100";

using LinkTransport = tarnlab::EndpointTest<1100>;

TEST_F(LinkTransport, LongMessagesAreSplitAt1400BytesAndPacedAboutOneMillisecondApart) {
    FakeUnit unit(unitA, port);
    const std::pair<std::size_t, std::vector<std::size_t>> cases[] = {
        {0, {0}}, {1400, {1400}}, {1401, {1400, 1}}, {2800, {1400, 1400}}, {2801, {1400, 1400, 1}}};
    for (const auto& [length, slices] : cases) {
        SCOPED_TRACE(std::to_string(length) + " bytes");
        unit.clearReceived();
        std::string message;
        for (std::size_t i = 0; i < length; ++i)
            message.push_back(static_cast<char>('a' + i % 26));
        ASSERT_EQ(endpoint->send_to(unitA, message), Orvek::ERR_OK);
        ASSERT_TRUE(unit.waitForReceived(slices.size(), 2s));
        std::this_thread::sleep_for(20ms); // nothing more may follow
        const auto received = unit.received();
        ASSERT_EQ(received.size(), slices.size());
        std::string joined;
        for (std::size_t i = 0; i < received.size(); ++i) {
            EXPECT_EQ(received[i].bytes.size(), slices[i]);
            joined += received[i].bytes;
            if (i == 0)
                continue;
            // At least the 1 ms pause; the upper bound, loose for a loaded machine, catches a
            // pause far too long.
            const double gap = tarnlab::millisecondsBetween(received[i - 1].at, received[i].at);
            EXPECT_GE(gap, 0.9) << "slice " << i;
            EXPECT_LT(gap, 200.0) << "slice " << i;
        }
        EXPECT_EQ(joined, message);
    }
}

TEST_F(LinkTransport, AShortReceiveBufferAndAnUnparseableAddressAreRefused) {
    // Read as inet_addr reads it, the text would become the broadcast address.
    EXPECT_EQ(endpoint->send_to(std::string("192.168.1.x"), std::string("Q\n")), Orvek::ERR_SOCKET);

    // The kernel grants at most twice net.core.rmem_max; a smaller buffer than asked would drop
    // packets of a sweep burst.
    std::ifstream limit("/proc/sys/net/core/rmem_max");
    unsigned long rmemMax = 0;
    ASSERT_TRUE(limit >> rmemMax);
    const unsigned long tooLarge = 2 * rmemMax + 4096;
    Orvek::SocketManager manager;
    testing::internal::CaptureStderr();
    EXPECT_EQ(manager.bind_socket(port, tooLarge), Orvek::ERR_SOCKET);
    const std::string advice = testing::internal::GetCapturedStderr();
    EXPECT_NE(advice.find("Add `net.core.rmem_max = " + std::to_string(tooLarge) + "`"),
              std::string::npos)
        << advice;
    EXPECT_EQ(manager.send_to(unitA, std::string("Q\n")), Orvek::ERR_SOCKET);
}

TEST_F(LinkTransport, AnotherUnitsDatagramsStayQueuedForItUntilFlushed) {
    FakeUnit a(unitA, port);
    FakeUnit b(unitB, port);
    std::string reply;
    const auto start = Clock::now();
    EXPECT_EQ(endpoint->receive_from(reply, unitA, 0, 50), Orvek::ERR_NO_RESPONSE);
    EXPECT_LT(tarnlab::millisecondsBetween(start, Clock::now()), 500.0); // one try, no wait

    for (const char* text : {"b1", "b2", "b3"})
        b.sendToHost(Reply(text));
    a.sendToHost(Reply("")); // never sent by a unit: not a reply
    a.sendToHost(Reply("a1", 30ms));
    ASSERT_EQ(endpoint->receive_from(reply, unitA, 2000, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "a1");
    a.sendToHost(Reply("a2"));
    ASSERT_TRUE(tarnlab::waitForWaitingBytes(*endpoint));
    // Every task binds the shared endpoint again; that must keep the socket and what waits.
    EXPECT_EQ(endpoint->bind_socket(port, 8388608), Orvek::ERR_OK);
    // A zero time-out still reads the socket once.
    EXPECT_EQ(endpoint->receive_from(reply, unitA, 0, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "a2");
    for (const char* text : {"b1", "b2"}) {
        ASSERT_EQ(endpoint->receive_from(reply, unitB, 0, 1), Orvek::ERR_OK);
        EXPECT_EQ(reply, text);
    }
    // Flushing drops both what is queued ("b3") and what waits on the socket.
    a.sendToHost(Reply("stale"));
    ASSERT_TRUE(tarnlab::waitForWaitingBytes(*endpoint));
    endpoint->flush_buffers();
    EXPECT_EQ(endpoint->receive_from(reply, unitB, 0, 1), Orvek::ERR_NO_RESPONSE);
    EXPECT_EQ(reply, "");
    EXPECT_EQ(endpoint->receive_from(reply, unitA, 0, 1), Orvek::ERR_NO_RESPONSE);
}

TEST_F(LinkTransport, ReceiveFromAnyTakesSendersInAddressTextOrder) {
    FakeUnit b(unitB, port);
    FakeUnit c(unitC, port);
    FakeUnit spare(unitSpare, port);
    // Arrival order C, B, spare; text order spare ("...1.100") < B ("...1.11") < C.
    c.sendToHost(Reply("c"));
    b.sendToHost(Reply("b"));
    spare.sendToHost(Reply("spare"));
    std::this_thread::sleep_for(100ms);
    std::vector<std::string> taken;
    std::string reply;
    std::string source;
    while (endpoint->receive_from_any(reply, source, 0, 1) == Orvek::ERR_OK)
        taken.push_back(source + " " + reply);
    EXPECT_EQ(taken, (std::vector<std::string>{unitSpare + " spare", unitB + " b", unitC + " c"}));
}

TEST_F(LinkTransport, InterruptFromAnotherThreadEndsAWaitInProgressOnly) {
    FakeUnit a(unitA, port);
    FakeUnit b(unitB, port);
    std::string reply;
    std::string source;
    struct Case {
        const char* what;
        std::function<int()> receive;
        bool trafficFromB; // takes the wait round its loop again and again
    };
    const Case cases[] = {
        {"poll 50", [&] { return endpoint->receive_from(reply, unitA, 10000, 50); }, false},
        {"no poll interval", [&] { return endpoint->receive_from(reply, unitA, 10000, 0); }, false},
        {"any", [&] { return endpoint->receive_from_any(reply, source, 10000, 50); }, false},
        {"B sending", [&] { return endpoint->receive_from(reply, unitA, 10000, 50); }, true},
    };
    for (const Case& c : cases) {
        for (int i = 0; c.trafficFromB && i < 300; ++i)
            b.sendToHost(Reply("b", std::chrono::milliseconds(5 * i)));
        std::atomic<bool> done{false};
        std::thread interrupter([&] {
            std::this_thread::sleep_for(100ms);
            // Repeated, in case the first came before the wait began (and was forgotten).
            for (; !done; std::this_thread::sleep_for(20ms))
                endpoint->interrupt();
        });
        const auto start = Clock::now();
        EXPECT_EQ(c.receive(), Orvek::ERR_NO_RESPONSE) << c.what;
        // Far below the 10 s time-out, loose enough for a loaded machine.
        EXPECT_LT(tarnlab::millisecondsBetween(start, Clock::now()), 2000.0) << c.what;
        done = true;
        interrupter.join();
    }
    // An interrupt while nothing waits does not cut the next wait short.
    endpoint->interrupt();
    a.sendToHost(Reply("late", 100ms));
    EXPECT_EQ(endpoint->receive_from(reply, unitA, 2000, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "late");
}

} // namespace
