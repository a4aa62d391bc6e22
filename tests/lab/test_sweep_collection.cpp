// The packet checks of a sweep, fed with hand-made packet streams over the lab host's own
// loopback: what is skipped, what breaks a sweep, where the next one starts, and the 16-bit
// counter's wrap. Two paths of two packets each: tag B is 0, 1, 0, 1.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "lab_endpoint.h"
#include "task/sweep_collection.h"

using namespace Orvek;

namespace {

constexpr uint16_t kPort = 1245;
const char* const kSender = "127.0.0.1";

struct Sent {
    int tagA, tagB, counter;
};

void send(const std::vector<Sent>& packets) {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(kPort);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (const Sent& p : packets) {
        const unsigned char datagram[6] = {static_cast<unsigned char>(p.tagA),
                                           static_cast<unsigned char>(p.tagB),
                                           static_cast<unsigned char>(p.counter >> 8),
                                           static_cast<unsigned char>(p.counter),
                                           0x12,
                                           0x34};
        sendto(fd, datagram, sizeof datagram, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
    close(fd);
}

} // namespace

TEST(SweepCollection, ChecksCountersTagsAndPathOrder) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    auto endpoint = tarnlab::boundEndpoint(kPort);
    ASSERT_NE(endpoint, nullptr);
    const SweepShape shape{2, 2, 100};
    std::atomic<bool> interrupted{false};
    struct Case {
        const char* what;
        bool known;      // the counter of the sweep's first packet is known (7)
        bool toBoundary; // skip to the next sweep boundary first
        std::vector<Sent> sent;
        Err_Code result;
        std::vector<int> counters; // of the collected packets
        int next;                  // counter the next sweep is expected to begin with
    } cases[] = {
        // clang-format off
        {"clean", true, false,
         {{9, 0, 7}, {9, 1, 8}, {9, 0, 9}, {9, 1, 10}}, ERR_OK, {7, 8, 9, 10}, 11},
        {"stale, duplicate and foreign tag A skipped", true, false,
         {{9, 1, 6}, {9, 0, 7}, {9, 0, 7}, {4, 1, 8}, {9, 1, 8}, {9, 0, 9}, {9, 1, 10}}, ERR_OK,
         {7, 8, 9, 10}, 11},
        {"gap", true, false, {{9, 0, 7}, {9, 1, 8}, {9, 1, 10}}, ERR_BYTES, {7, 8}, 7},
        {"first packets lost", true, false, {{9, 0, 9}}, ERR_BYTES, {}, 7},
        {"tag B out of place", true, false, {{9, 0, 7}, {9, 0, 8}}, ERR_BYTES, {7}, 7},
        {"unknown counter starts at a path's first packet", false, false,
         {{9, 1, 4}, {9, 0, 5}, {9, 1, 6}, {9, 0, 7}, {9, 1, 8}}, ERR_OK, {5, 6, 7, 8}, 9},
        {"resynchronised at the next boundary", true, true,
         {{9, 1, 8}, {9, 0, 9}, {9, 1, 10}, {9, 0, 11}, {9, 1, 12}, {9, 0, 13}, {9, 1, 14}},
         ERR_OK, {11, 12, 13, 14}, 15},
        {"silence", true, false, {{9, 0, 7}}, ERR_NO_RESPONSE, {7}, 7},
        // clang-format on
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SweepSync sync;
        sync.counterKnown = c.known;
        sync.nextCounter = 7;
        sync.tagKnown = true;
        sync.unitTag = 9;
        send(c.sent);
        std::vector<PacketData> packets;
        EXPECT_EQ(collectSweep(endpoint, kSender, shape, c.toBoundary, sync, packets, interrupted),
                  c.result);
        std::vector<int> counters;
        for (const PacketData& p : packets)
            counters.push_back(p.packetCounter);
        EXPECT_EQ(counters, c.counters);
        EXPECT_EQ(sync.nextCounter, c.next);
        endpoint->discard_from(kSender);
    }

    // The counter wraps from 65535 to 0 within a sweep and between sweeps.
    SweepSync sync;
    sync.counterKnown = true;
    sync.nextCounter = 65534;
    send({{9, 0, 65534}, {9, 1, 65535}, {9, 0, 0}, {9, 1, 1}});
    std::vector<PacketData> packets;
    EXPECT_EQ(collectSweep(endpoint, kSender, shape, false, sync, packets, interrupted), ERR_OK);
    EXPECT_EQ(sync.nextCounter, 2);
    send({{9, 1, 65535}, {9, 0, 2}, {9, 1, 3}, {9, 0, 4}, {9, 1, 5}});
    EXPECT_EQ(collectSweep(endpoint, kSender, shape, false, sync, packets, interrupted), ERR_OK);
    EXPECT_EQ(packets.front().packetCounter, 2);
}
