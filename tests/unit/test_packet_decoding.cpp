// Decoding of data packets into sweep data: payload layout, sample conversion, the frame number
// and the bounds the decoder must keep whatever arrives.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "task/packet_decoding.h"

using namespace Orvek;

namespace {

void putU16(std::vector<uint8_t>& bytes, uint16_t value) {
    bytes.push_back(static_cast<uint8_t>(value >> 8));
    bytes.push_back(static_cast<uint8_t>(value & 0xFF));
}

void putU32(std::vector<uint8_t>& bytes, uint32_t value) {
    putU16(bytes, static_cast<uint16_t>(value >> 16));
    putU16(bytes, static_cast<uint16_t>(value & 0xFFFF));
}

// A sample value that identifies its point, receiver and part.
int16_t sampleFor(unsigned point, unsigned receiver, bool q) {
    return static_cast<int16_t>(point * 16 + receiver * 2 + (q ? 1 : 0) - 300);
}

void putPoints(std::vector<uint8_t>& bytes, unsigned first, unsigned count,
               const std::vector<unsigned>& receivers) {
    for (unsigned k = first; k < first + count; ++k) {
        for (unsigned r : receivers) {
            putU16(bytes, static_cast<uint16_t>(sampleFor(k, r, false)));
            putU16(bytes, static_cast<uint16_t>(sampleFor(k, r, true)));
        }
    }
}

PacketData packet(std::vector<uint8_t> payload, int counter = 1) {
    PacketData p;
    p.tagA = 0xA5;
    p.tagB = 0x5A;
    p.packetCounter = counter;
    p.payload = std::move(payload);
    return p;
}

SweepPacketLayout layoutOf(unsigned points, std::vector<unsigned> receivers) {
    SweepPacketLayout layout;
    layout.points = points;
    layout.receivers = std::move(receivers);
    return layout;
}

void expectPoint(const SweepData& sweep, unsigned point) {
    for (std::size_t r = 0; r < sweep.receivers.size(); ++r) {
        const unsigned receiver = sweep.receivers[r];
        EXPECT_EQ(sweep.receiverData[r].real[point], sampleFor(point, receiver, false))
            << "point " << point << " receiver " << receiver;
        EXPECT_EQ(sweep.receiverData[r].imag[point], sampleFor(point, receiver, true))
            << "point " << point << " receiver " << receiver;
    }
}

void expectZero(const SweepData& sweep, unsigned point) {
    for (const ComplexData& data : sweep.receiverData) {
        EXPECT_EQ(data.real[point], 0.0) << "point " << point;
        EXPECT_EQ(data.imag[point], 0.0) << "point " << point;
    }
}

} // namespace

TEST(PacketDecoding, TwoReceiversShareEachPointInAscendingOrder) {
    const std::vector<unsigned> receivers = enabledReceiverIndexes(0b0101);
    ASSERT_EQ(receivers, (std::vector<unsigned>{0, 2}));
    EXPECT_EQ(enabledReceiverIndexes(0xF0), (std::vector<unsigned>{0})); // only bits 0..3 count
    std::vector<uint8_t> payload;
    putPoints(payload, 0, 3, receivers);
    ASSERT_EQ(payload.size(), 24u); // 8 bytes per point

    SweepData sweep;
    decodePathPackets(std::vector<PacketData>{packet(payload)}.data(), 1, {24},
                      layoutOf(3, receivers), sweep);
    EXPECT_EQ(sweep.receivers, receivers);
    ASSERT_EQ(sweep.receiverData.size(), 2u);
    for (unsigned k = 0; k < 3; ++k)
        expectPoint(sweep, k);
    EXPECT_EQ(sweep.numberOfPoints, 3);
    EXPECT_EQ(sweep.tagA, 0xA5);
    EXPECT_EQ(sweep.tagB, 0x5A);
}

TEST(PacketDecoding, AuxiliaryBlocksPrecedeTheSamplesOfTheFirstPacket) {
    // Serial buffer of 4 bytes (block of 6), both encoders, sweep timer: samples at offset 14.
    std::vector<uint8_t> payload{3, 'a', 'b', 'c', 0, 0xEE};
    putU16(payload, 0xFFFE); // encoder 1
    putU16(payload, 0x1234); // encoder 2
    putU32(payload, 0x89ABCDEF);
    ASSERT_EQ(payload.size(), 14u);
    putPoints(payload, 0, 2, {0});

    SweepPacketLayout layout = layoutOf(2, {0});
    layout.serialBufferSize = 4;
    layout.shaftEncoders = true;
    layout.sweepTimer = true;
    SweepData sweep;
    const bool timer = decodePathPackets(std::vector<PacketData>{packet(payload)}.data(), 1,
                                         {static_cast<int>(payload.size())}, layout, sweep);
    EXPECT_TRUE(timer);
    EXPECT_EQ(sweep.serialCount, 3u);
    EXPECT_EQ(sweep.serialData, (std::vector<uint8_t>{'a', 'b', 'c', 0}));
    EXPECT_EQ(sweep.shaftEncoder1, 0xFFFEu);
    EXPECT_EQ(sweep.shaftEncoder2, 0x1234u);
    EXPECT_EQ(sweep.sweepTimer, 0x89ABCDEFu);
    expectPoint(sweep, 0);
    expectPoint(sweep, 1);
}

TEST(PacketDecoding, SamplesAreRawSignedSixteenBitValues) {
    std::vector<uint8_t> payload;
    putU16(payload, 0xFFFF);
    putU16(payload, 0x8000);
    putU16(payload, 0x7FFF);
    putU16(payload, 0x0001);
    SweepData sweep;
    decodePathPackets(std::vector<PacketData>{packet(payload)}.data(), 1, {8}, layoutOf(2, {0}),
                      sweep);
    EXPECT_EQ(sweep.receiverData[0].real[0], -1.0);
    EXPECT_EQ(sweep.receiverData[0].imag[0], -32768.0);
    EXPECT_EQ(sweep.receiverData[0].real[1], 32767.0);
    EXPECT_EQ(sweep.receiverData[0].imag[1], 1.0);
}

TEST(PacketDecoding, LaterPacketsContinueThePointSequence) {
    std::vector<uint8_t> first;
    std::vector<uint8_t> second;
    std::vector<uint8_t> third;
    putPoints(first, 0, 4, {1});
    putPoints(second, 4, 4, {1});
    putPoints(third, 8, 2, {1});
    const std::vector<PacketData> packets{packet(first, 7), packet(second, 8), packet(third, 9)};
    SweepData sweep;
    decodePathPackets(packets.data(), 3, {16, 16, 8}, layoutOf(10, {1}), sweep);
    for (unsigned k = 0; k < 10; ++k)
        expectPoint(sweep, k);
    EXPECT_EQ(sweep.packetCounter, 7);
}

TEST(PacketDecoding, FrameNumberCountsSweepsFromThePathsFirstPacketCounter) {
    std::vector<uint8_t> payload;
    putPoints(payload, 0, 1, {0});
    SweepPacketLayout layout = layoutOf(1, {0});
    layout.numberOfPaths = 3;
    SweepData sweep;
    // One packet per path: counters 4..6 are the second sweep.
    decodePathPackets(std::vector<PacketData>{packet(payload, 6)}.data(), 1, {4}, layout, sweep);
    EXPECT_EQ(sweep.frameNumber, 2);
    decodePathPackets(std::vector<PacketData>{packet(payload, 7)}.data(), 1, {4}, layout, sweep);
    EXPECT_EQ(sweep.frameNumber, 3);
    // Two packets per path: a sweep of three paths is six packets.
    const std::vector<PacketData> second{packet(payload, 7), packet(payload, 8)};
    decodePathPackets(second.data(), 2, {4, 0}, layout, sweep);
    EXPECT_EQ(sweep.frameNumber, 2);
    const std::vector<PacketData> third{packet(payload, 13), packet(payload, 14)};
    decodePathPackets(third.data(), 2, {4, 0}, layout, sweep);
    EXPECT_EQ(sweep.frameNumber, 3);
}

TEST(PacketDecoding, ShortFirstPacketLeavesCutOffBlocksZero) {
    // Serial block of 2 + 2 bytes complete, encoder block cut after 3 bytes, no timer block.
    std::vector<uint8_t> payload{2, 'x', 'y', 0, 0x01, 0x02, 0x03};
    SweepPacketLayout layout = layoutOf(1, {0});
    layout.serialBufferSize = 2;
    layout.shaftEncoders = true;
    layout.sweepTimer = true;
    SweepData sweep;
    const bool timer =
        decodePathPackets(std::vector<PacketData>{packet(payload)}.data(), 1, {13}, layout, sweep);
    EXPECT_FALSE(timer);
    EXPECT_EQ(sweep.serialCount, 2u);
    EXPECT_EQ(sweep.serialData, (std::vector<uint8_t>{'x', 'y'}));
    EXPECT_EQ(sweep.shaftEncoder1, 0u);
    EXPECT_EQ(sweep.sweepTimer, 0u);
    expectZero(sweep, 0);

    // A lone count byte: the serial data stays zero and nothing else is read.
    decodePathPackets(std::vector<PacketData>{packet({9})}.data(), 1, {13}, layout, sweep);
    EXPECT_EQ(sweep.serialCount, 9u);
    EXPECT_EQ(sweep.serialData, (std::vector<uint8_t>{0, 0}));
}

TEST(PacketDecoding, StaysWithinPayloadsExpectedLengthsAndPointCount) {
    std::vector<uint8_t> six;
    putPoints(six, 0, 6, {0});
    std::vector<uint8_t> halfOfTwo(six.begin(), six.begin() + 6); // a point and a half
    struct Case {
        const char* what;
        std::vector<PacketData> packets;
        std::vector<int> expected;
        unsigned points;
        unsigned decoded; // points 0..decoded-1 hold data, the rest stay zero
    } cases[] = {
        {"short tolerated packet", {packet(halfOfTwo)}, {12}, 3, 1},
        {"more points than the sweep has", {packet(six), packet(six)}, {24, 24}, 2, 2},
        {"long packet", {packet(six)}, {8}, 4, 2},
        {"no expected length for later packets", {packet(six), packet(six)}, {8}, 4, 2},
        {"zero expected length", {packet(six), packet(six)}, {8, 0}, 4, 2},
        {"no packets at all", {}, {}, 3, 0},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.what);
        SweepData sweep;
        decodePathPackets(c.packets.data(), c.packets.size(), c.expected, layoutOf(c.points, {0}),
                          sweep);
        ASSERT_EQ(sweep.receiverData.size(), 1u);
        ASSERT_EQ(sweep.receiverData[0].length(), c.points);
        for (unsigned k = 0; k < c.points; ++k) {
            if (k < c.decoded)
                expectPoint(sweep, k);
            else
                expectZero(sweep, k);
        }
    }
}
