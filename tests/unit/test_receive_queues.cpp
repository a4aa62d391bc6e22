// What the endpoint keeps: only addressed units on the endpoint's port, within a memory bound
// that a unit nobody reads cannot use up for the others.
#include <gtest/gtest.h>

#include "link/receive_queues.h"

using Orvek::ReceiveQueues;

namespace {

bool deliver(ReceiveQueues& queues, const std::string& from, uint16_t port, std::size_t size,
             char fill = 'x') {
    const std::vector<char> datagram(size, fill);
    return queues.deliver(from, port, datagram.data(), datagram.size());
}

TEST(ReceiveQueues, OnlyAddressedUnitsOnTheEndpointsPortAreQueued) {
    ReceiveQueues queues;
    queues.setUnitPort(1100);
    queues.address("192.168.1.10");
    EXPECT_TRUE(deliver(queues, "192.168.1.10", 1100, 8));
    EXPECT_FALSE(deliver(queues, "192.168.1.10", 1101, 8)); // the unit's address, another port
    EXPECT_FALSE(deliver(queues, "192.168.1.11", 1100, 8)); // a sender no task addresses
    EXPECT_EQ(queues.counters().foreignDropped, 2u);
    EXPECT_EQ(queues.counters().queuedDatagrams, 1u);
    std::string first;
    ASSERT_TRUE(queues.firstWaiting(first));
    EXPECT_EQ(first, "192.168.1.10");

    queues.forget("192.168.1.10");
    EXPECT_EQ(queues.counters().queuedBytes, 0u);
    EXPECT_FALSE(deliver(queues, "192.168.1.10", 1100, 8));
}

TEST(ReceiveQueues, TheLargestBacklogLosesItsOldestWhenTheBoundIsReached) {
    ReceiveQueues queues;
    queues.setUnitPort(1100);
    queues.address("192.168.1.10"); // streams, nobody reads
    queues.address("192.168.1.11"); // a unit whose task reads
    const std::size_t big = 8000;
    const std::size_t fit = ReceiveQueues::maxQueuedBytes / big;
    ASSERT_TRUE(deliver(queues, "192.168.1.11", 1100, 100, 'b'));
    for (std::size_t i = 0; i < fit + 10; ++i)
        ASSERT_TRUE(deliver(queues, "192.168.1.10", 1100, big, static_cast<char>(i)));
    EXPECT_LE(queues.counters().queuedBytes, ReceiveQueues::maxQueuedBytes);
    EXPECT_EQ(queues.counters().overflowDropped, 10u);
    std::vector<char> out;
    ASSERT_TRUE(queues.take("192.168.1.11", out));
    EXPECT_EQ(out, std::vector<char>(100, 'b'));
    ASSERT_TRUE(queues.take("192.168.1.10", out));
    EXPECT_EQ(out.front(), static_cast<char>(10)); // the oldest went first

    // The datagram count is bounded too.
    ReceiveQueues small;
    small.setUnitPort(1100);
    small.address("192.168.1.10");
    for (std::size_t i = 0; i < ReceiveQueues::maxQueuedDatagrams + 5; ++i)
        deliver(small, "192.168.1.10", 1100, 1);
    EXPECT_EQ(small.counters().queuedDatagrams, ReceiveQueues::maxQueuedDatagrams);
    EXPECT_EQ(small.drop("192.168.1.10"), ReceiveQueues::maxQueuedDatagrams);
    EXPECT_EQ(small.counters().queuedBytes, 0u);
}

} // namespace
