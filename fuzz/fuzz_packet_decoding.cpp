// Fuzz target for data packet decoding: the first bytes choose the sweep's layout and the
// expected packet lengths, the rest are the packets as received (each prefixed by its length).
// Whatever arrives, decoding stays inside each payload and inside the sweep's points.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "task/packet_decoding.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 6) {
        return 0;
    }
    Orvek::SweepPacketLayout layout;
    layout.serialBufferSize = data[0] % 64;
    layout.shaftEncoders = (data[1] & 1) != 0;
    layout.sweepTimer = (data[1] & 2) != 0;
    layout.receivers = Orvek::enabledReceiverIndexes(data[1] >> 4);
    layout.points = data[2] | ((data[3] & 0x0F) << 8); // up to 4095 points
    layout.numberOfPaths = 1 + data[3] % 7;
    const std::size_t count = 1 + data[4] % 8;
    const uint8_t lengthScale = data[5];
    std::size_t at = 6;

    std::vector<Orvek::PacketData> packets;
    std::vector<int> expected;
    while (packets.size() < count && at < size) {
        Orvek::PacketData packet;
        packet.packetCounter = data[at] | (data[at] << 8);
        const std::size_t length = std::min<std::size_t>(data[at] * 8u, size - at - 1);
        packet.payload.assign(data + at + 1, data + at + 1 + length);
        at += 1 + length;
        // Expected lengths that disagree with what arrived, and one entry too few.
        expected.push_back(static_cast<int>(length) + (lengthScale % 5) - 2);
        packets.push_back(std::move(packet));
    }
    if (!expected.empty() && (lengthScale & 0x80)) {
        expected.pop_back();
    }
    Orvek::SweepData sweep;
    Orvek::decodePathPackets(packets.data(), packets.size(), expected, layout, sweep);
    for (const Orvek::ComplexData& receiver : sweep.receiverData) {
        if (receiver.real.size() != layout.points || receiver.imag.size() != layout.points) {
            std::fprintf(stderr, "decoded sweep does not have the layout's points\n");
            std::abort();
        }
    }
    return 0;
}
