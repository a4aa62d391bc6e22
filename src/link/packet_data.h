#pragma once
// One data packet received from a unit during a program run.
#include <cstdint>
#include <vector>

namespace Orvek {

// Datagram layout (big-endian): tag A, tag B, 16-bit packet counter, then the payload. The
// payload is an owned copy of datagram bytes 4..end; a packet always has at least one byte of
// payload because shorter datagrams are rejected when the run collects them.
struct PacketData {
    int32_t tagA = 0;
    int32_t tagB = 0;
    int32_t packetCounter = 0;
    std::vector<uint8_t> payload;

    int32_t payloadLength() const { return static_cast<int32_t>(payload.size()); }

    // Splits a received datagram into its fields. The caller checks the minimum length.
    static PacketData fromDatagram(const std::vector<char>& datagram);
};

inline PacketData PacketData::fromDatagram(const std::vector<char>& datagram) {
    PacketData packet;
    auto byteAt = [&](std::size_t i) {
        return i < datagram.size() ? static_cast<uint8_t>(datagram[i]) : uint8_t{0};
    };
    packet.tagA = byteAt(0);
    packet.tagB = byteAt(1);
    packet.packetCounter = (byteAt(2) << 8) | byteAt(3);
    if (datagram.size() > 4) {
        packet.payload.assign(datagram.begin() + 4, datagram.end());
    }
    return packet;
}

} // namespace Orvek
