// Decoding of data packets into sweep data: sample conversion and the bounds
// the decoder must keep whatever arrives.
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
