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

    // The header fields of a received datagram, without the payload (missing bytes read as 0).
    static PacketData headerOf(const std::vector<char>& datagram);
    // Header and payload. The caller checks the minimum length.
    static PacketData fromDatagram(const std::vector<char>& datagram);
    // Copies the payload (bytes 4..end) of the datagram this header came from.
    void takePayload(const std::vector<char>& datagram);
};

inline PacketData PacketData::headerOf(const std::vector<char>& datagram) {
    PacketData packet;
    auto byteAt = [&](std::size_t i) {
        return i < datagram.size() ? static_cast<uint8_t>(datagram[i]) : uint8_t{0};
    };
    packet.tagA = byteAt(0);
    packet.tagB = byteAt(1);
    packet.packetCounter = (byteAt(2) << 8) | byteAt(3);
    return packet;
}

inline void PacketData::takePayload(const std::vector<char>& datagram) {
    if (datagram.size() > 4) {
        payload.assign(datagram.begin() + 4, datagram.end());
    } else {
        payload.clear();
    }
}

inline PacketData PacketData::fromDatagram(const std::vector<char>& datagram) {
    PacketData packet = headerOf(datagram);
    packet.takePayload(datagram);
    return packet;
}

} // namespace Orvek
