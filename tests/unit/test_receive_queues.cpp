// The endpoint's memory bound: a unit whose task stopped reading loses its own oldest datagrams
// and cannot use up the room of the others.
#include <gtest/gtest.h>

#include "link/receive_queues.h"

using Orvek::ReceiveQueues;

TEST(ReceiveQueues, TheLargestBacklogLosesItsOldestWhenTheBoundIsReached) {
    ReceiveQueues queues;
    queues.setUnitPort(1100);
    queues.address("192.168.1.10"); // streams, nobody reads
    queues.address("192.168.1.11"); // a unit whose task reads
    auto deliver = [&](const char* from, std::size_t size, char fill) {
        const std::vector<char> datagram(size, fill);
        return queues.deliver(from, 1100, datagram.data(), datagram.size());
    };
    ASSERT_TRUE(deliver("192.168.1.11", 100, 'b'));
    const std::size_t fit = (ReceiveQueues::maxQueuedBytes - 100) / 8000;
    for (std::size_t i = 0; i < fit + 10; ++i)
        ASSERT_TRUE(deliver("192.168.1.10", 8000, static_cast<char>(i)));
    EXPECT_EQ(queues.counters().overflowDropped, 10u);
    std::vector<char> out;
    ASSERT_TRUE(queues.take("192.168.1.11", out));
    EXPECT_EQ(out, std::vector<char>(100, 'b'));
    ASSERT_TRUE(queues.take("192.168.1.10", out));
    EXPECT_EQ(out.front(), static_cast<char>(10)); // the oldest went first

    for (std::size_t i = 0; i < ReceiveQueues::maxQueuedDatagrams; ++i)
        deliver("192.168.1.11", 1, 'c');
    EXPECT_EQ(queues.counters().queuedDatagrams, ReceiveQueues::maxQueuedDatagrams);
    queues.forget("192.168.1.10");
    queues.forget("192.168.1.11");
    EXPECT_EQ(queues.counters().queuedBytes, 0u);
    EXPECT_FALSE(deliver("192.168.1.11", 1, 'c')); // no longer addressed
}
