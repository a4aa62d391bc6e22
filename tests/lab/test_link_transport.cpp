// The shared UDP endpoint over real sockets: splitting and pacing of long messages, per-sender
// queues, the order of receive_from_any, zero time-outs and interrupting a wait.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <thread>

#include "fake_unit.h"
#include "lab_endpoint.h"
#include "lab_namespace.h"
#include "tarndll.h"

using namespace std::chrono_literals;
using tarnlab::FakeUnit;
using tarnlab::Reply;

namespace {

constexpr uint16_t port = 1100;
const std::string unitA = "192.168.1.10";
const std::string unitB = "192.168.1.11";
const std::string unitC = "192.168.1.12";
// Sorts before unitB as text although its last octet is larger.
const std::string unitSpare = "192.168.1.100";

class LinkTransport : public ::testing::Test {
protected:
    void SetUp() override {
        TARN_REQUIRE_LAB_HOST_SIDE();
        endpoint = tarnlab::boundEndpoint(port);
        ASSERT_NE(endpoint, nullptr) << "cannot bind port " << port;
    }
    std::shared_ptr<Orvek::SocketManager> endpoint;
};

TEST_F(LinkTransport, LongMessagesAreSplitAt1400BytesAndPacedAboutOneMillisecondApart) {
    FakeUnit unit(unitA, port, tarnlab::silentScript());
    struct Case {
        std::size_t length;
        std::vector<std::size_t> datagrams;
    };
    const Case cases[] = {
        {0, {0}}, {1400, {1400}}, {1401, {1400, 1}}, {2800, {1400, 1400}}, {2801, {1400, 1400, 1}}};
    for (const Case& c : cases) {
        SCOPED_TRACE("message of " + std::to_string(c.length) + " bytes");
        unit.clearReceived();
        std::vector<char> message(c.length);
        for (std::size_t i = 0; i < c.length; ++i) {
            message[i] = static_cast<char>('a' + i % 26);
        }
        ASSERT_EQ(endpoint->send_to(unitA, message), Orvek::ERR_OK);
        ASSERT_TRUE(unit.waitForReceived(c.datagrams.size(), 2s));
        std::this_thread::sleep_for(20ms); // nothing more may follow
        const auto received = unit.received();
        ASSERT_EQ(received.size(), c.datagrams.size());
        std::string joined;
        for (std::size_t i = 0; i < received.size(); ++i) {
            EXPECT_EQ(received[i].bytes.size(), c.datagrams[i]);
            EXPECT_EQ(received[i].from, tarnlab::hostAddress);
            joined += received[i].bytes;
            if (i > 0) {
                // The pause is at least 1 ms; the upper bound only guards against a lost pause
                // being mistaken for pacing, and is loose for loaded machines.
                const double gap = tarnlab::millisecondsBetween(received[i - 1].at, received[i].at);
                EXPECT_GE(gap, 0.9) << "slice " << i;
                EXPECT_LT(gap, 200.0) << "slice " << i;
            }
        }
        EXPECT_EQ(joined, std::string(message.begin(), message.end()));
    }
}

TEST_F(LinkTransport, SendingToAnUnparseableAddressFailsInsteadOfBroadcasting) {
    EXPECT_EQ(endpoint->send_to(std::string("192.168.1.x"), std::string("Q\n")), Orvek::ERR_SOCKET);
    Orvek::SocketManager closed;
    EXPECT_EQ(closed.send_to(unitA, std::string("Q\n")), Orvek::ERR_SOCKET);
    EXPECT_EQ(closed.get_current_bound_address(), "Socket not open!");
}

TEST_F(LinkTransport, BindingAgainWithTheSameSettingsKeepsTheSocket) {
    EXPECT_EQ(endpoint->get_current_bound_address(), "0.0.0.0");
    EXPECT_EQ(endpoint->get_port(), port);
    EXPECT_GE(endpoint->get_buffer_size(), 8388608);
    // A datagram waiting on the socket survives a repeated bind only if the socket is kept.
    FakeUnit unit(unitA, port);
    unit.sendToHost(Reply("kept"));
    ASSERT_TRUE(tarnlab::waitForWaitingBytes(*endpoint));
    EXPECT_EQ(endpoint->bind_socket(port, 8388608), Orvek::ERR_OK);
    std::string reply;
    EXPECT_EQ(endpoint->receive_from(reply, unitA, 0, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "kept");
}

TEST_F(LinkTransport, AReceiveBufferSmallerThanAskedIsRefusedWithAdvice) {
    // The kernel grants at most twice net.core.rmem_max; ask for more than that.
    std::ifstream limit("/proc/sys/net/core/rmem_max");
    unsigned long rmemMax = 0;
    ASSERT_TRUE(limit >> rmemMax);
    const unsigned long tooLarge = 2 * rmemMax + 4096;
    Orvek::SocketManager manager;
    testing::internal::CaptureStderr();
    EXPECT_EQ(manager.bind_socket(port, tooLarge), Orvek::ERR_SOCKET);
    const std::string advice = testing::internal::GetCapturedStderr();
    const std::string size = std::to_string(tooLarge);
    EXPECT_NE(advice.find("Actual allocated buffer size does not match request! Requested: " +
                          size + " actual: "),
              std::string::npos)
        << advice;
    EXPECT_NE(advice.find("Add `net.core.rmem_max = " + size + "` to `/etc/sysctl.conf`"),
              std::string::npos)
        << advice;
    EXPECT_EQ(manager.get_current_bound_address(), "Socket not open!");
    EXPECT_EQ(manager.send_to(unitA, std::string("Q\n")), Orvek::ERR_SOCKET);
}

TEST_F(LinkTransport, AnotherUnitsDatagramsStayQueuedForIt) {
    FakeUnit a(unitA, port);
    FakeUnit b(unitB, port);
    b.sendToHost(Reply("b1"));
    b.sendToHost(Reply("b2", 1ms));
    a.sendToHost(Reply("a1", 30ms));

    std::string reply;
    ASSERT_EQ(endpoint->receive_from(reply, unitA, 2000, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "a1");
    // B's datagrams arrived first, while A was waited for; they are B's, in order.
    ASSERT_EQ(endpoint->receive_from(reply, unitB, 0, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "b1");
    ASSERT_EQ(endpoint->receive_from(reply, unitB, 0, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "b2");
    EXPECT_EQ(endpoint->receive_from(reply, unitB, 0, 1), Orvek::ERR_NO_RESPONSE);
    EXPECT_EQ(reply, "");
}

TEST_F(LinkTransport, ReceiveFromAnyTakesSendersInAddressTextOrder) {
    FakeUnit b(unitB, port);
    FakeUnit c(unitC, port);
    FakeUnit spare(unitSpare, port);
    // Arrival order C, B, spare; text order spare ("...1.100") < B ("...1.11") < C.
    c.sendToHost(Reply("c"));
    b.sendToHost(Reply("b", 5ms));
    spare.sendToHost(Reply("spare", 10ms));
    std::this_thread::sleep_for(100ms);
    ASSERT_TRUE(tarnlab::waitForWaitingBytes(*endpoint));

    std::vector<std::string> order;
    for (int i = 0; i < 3; ++i) {
        std::string reply;
        std::string source;
        ASSERT_EQ(endpoint->receive_from_any(reply, source, 100, 1), Orvek::ERR_OK);
        EXPECT_EQ(reply, source == unitSpare ? "spare" : source == unitB ? "b" : "c");
        order.push_back(source);
    }
    EXPECT_EQ(order, (std::vector<std::string>{unitSpare, unitB, unitC}));
    std::string reply;
    std::string source;
    EXPECT_EQ(endpoint->receive_from_any(reply, source, 0, 1), Orvek::ERR_NO_RESPONSE);
}

TEST_F(LinkTransport, ZeroTimeOutStillDrainsTheSocketAndTriesOnce) {
    FakeUnit a(unitA, port);
    FakeUnit b(unitB, port);
    std::string reply;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(endpoint->receive_from(reply, unitA, 0, 50), Orvek::ERR_NO_RESPONSE);
    // One short receive (1 ms rounded up to one poll step), nowhere near a real time-out.
    EXPECT_LT(tarnlab::millisecondsBetween(start, std::chrono::steady_clock::now()), 500.0);

    b.sendToHost(Reply("for b"));
    ASSERT_TRUE(tarnlab::waitForWaitingBytes(*endpoint));
    EXPECT_EQ(endpoint->receive_from(reply, unitA, 0, 1), Orvek::ERR_NO_RESPONSE);
    a.sendToHost(Reply("for a"));
    ASSERT_TRUE(tarnlab::waitForWaitingBytes(*endpoint));
    EXPECT_EQ(endpoint->receive_from(reply, unitA, 0, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "for a");
    EXPECT_EQ(endpoint->receive_from(reply, unitB, 0, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "for b");
}

TEST_F(LinkTransport, FlushDiscardsEverythingThatArrivedBefore) {
    FakeUnit a(unitA, port);
    a.sendToHost(Reply("stale 1"));
    a.sendToHost(Reply("stale 2"));
    std::this_thread::sleep_for(50ms);
    std::string reply;
    ASSERT_EQ(endpoint->receive_from(reply, unitA, 0, 1), Orvek::ERR_OK); // queues "stale 2"
    endpoint->flush_buffers();
    a.sendToHost(Reply("fresh"));
    ASSERT_EQ(endpoint->receive_from(reply, unitA, 1000, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "fresh");
}

TEST_F(LinkTransport, AnEmptyDatagramDoesNotHideTheDataBehindIt) {
    FakeUnit a(unitA, port);
    a.sendToHost(Reply(""));
    a.sendToHost(Reply("behind", 5ms));
    std::string reply;
    ASSERT_EQ(endpoint->receive_from(reply, unitA, 1000, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "behind");
}

// Runs `receive` on this thread and interrupts it from another after 100 ms; returns how long
// the receive took, in milliseconds.
template <class Receive>
double interruptedAfter100ms(Orvek::SocketManager& endpoint, Receive receive, int& result) {
    std::atomic<bool> done{false};
    std::thread interrupter([&] {
        std::this_thread::sleep_for(100ms);
        // Keep interrupting until the receive is over, in case the first one arrived before
        // the receive had started (an interrupt with no wait in progress is forgotten).
        while (!done.load()) {
            endpoint.interrupt();
            std::this_thread::sleep_for(20ms);
        }
    });
    const auto start = std::chrono::steady_clock::now();
    result = receive();
    const double took = tarnlab::millisecondsBetween(start, std::chrono::steady_clock::now());
    done = true;
    interrupter.join();
    return took;
}

TEST_F(LinkTransport, InterruptFromAnotherThreadEndsALongReceive) {
    std::string reply;
    std::string source;
    int result = 0;
    // Bounds are far below the 10 s time-outs but loose enough for a loaded machine.
    double took = interruptedAfter100ms(
        *endpoint, [&] { return endpoint->receive_from(reply, unitA, 10000, 50); }, result);
    EXPECT_EQ(result, Orvek::ERR_NO_RESPONSE);
    EXPECT_LT(took, 2000.0);

    took = interruptedAfter100ms(
        *endpoint, [&] { return endpoint->receive_from(reply, unitA, 10000, 0); }, result);
    EXPECT_EQ(result, Orvek::ERR_NO_RESPONSE);
    EXPECT_LT(took, 2000.0);

    took = interruptedAfter100ms(
        *endpoint, [&] { return endpoint->receive_from_any(reply, source, 10000, 50); }, result);
    EXPECT_EQ(result, Orvek::ERR_NO_RESPONSE);
    EXPECT_LT(took, 2000.0);
}

TEST_F(LinkTransport, InterruptIsNotLostWhileOtherUnitsKeepSending) {
    // B's steady traffic makes the wait for A go round its loop again and again; the
    // interrupt must still end it.
    FakeUnit b(unitB, port);
    for (int i = 0; i < 200; ++i) {
        b.sendToHost(Reply("b", std::chrono::milliseconds(5 * i)));
    }
    std::string reply;
    int result = 0;
    const double took = interruptedAfter100ms(
        *endpoint, [&] { return endpoint->receive_from(reply, unitA, 10000, 50); }, result);
    EXPECT_EQ(result, Orvek::ERR_NO_RESPONSE);
    EXPECT_LT(took, 2000.0);
}

TEST_F(LinkTransport, AnInterruptWithNoWaitInProgressIsForgotten) {
    FakeUnit a(unitA, port);
    endpoint->interrupt();
    a.sendToHost(Reply("late", 100ms));
    std::string reply;
    EXPECT_EQ(endpoint->receive_from(reply, unitA, 2000, 1), Orvek::ERR_OK);
    EXPECT_EQ(reply, "late");
}

} // namespace
