#include "task/packet_decoding.h"

#include <algorithm>

namespace Orvek {
namespace {

constexpr std::size_t kEncoderBlockBytes = 4;
constexpr std::size_t kTimerBlockBytes = 4;
constexpr std::size_t kBytesPerSample = 4; // I and Q, 16 bits each

uint16_t readU16(const std::vector<uint8_t>& bytes, std::size_t offset) {
    return static_cast<uint16_t>((bytes[offset] << 8) | bytes[offset + 1]);
}

uint32_t readU32(const std::vector<uint8_t>& bytes, std::size_t offset) {
    return (uint32_t{bytes[offset]} << 24) | (uint32_t{bytes[offset + 1]} << 16) |
           (uint32_t{bytes[offset + 2]} << 8) | uint32_t{bytes[offset + 3]};
}

double readSample(const std::vector<uint8_t>& bytes, std::size_t offset) {
    return static_cast<double>(static_cast<int16_t>(readU16(bytes, offset)));
}

// Reads whole points from `offset` while the offset is below the expected length, continuing
// at point `point`. A point is read only when all of its receivers' samples are in the payload.
void readSamples(const std::vector<uint8_t>& payload, std::size_t offset, std::size_t expected,
                 const SweepPacketLayout& layout, unsigned& point, SweepData& out) {
    const std::size_t pointBytes = kBytesPerSample * layout.receivers.size();
    while (offset < expected && point < layout.points && offset + pointBytes <= payload.size()) {
        for (std::size_t r = 0; r < layout.receivers.size(); ++r) {
            out.receiverData[r].real[point] = readSample(payload, offset);
            out.receiverData[r].imag[point] = readSample(payload, offset + 2);
            offset += kBytesPerSample;
        }
        ++point;
    }
}

} // namespace

std::vector<unsigned> enabledReceiverIndexes(int mask) {
    std::vector<unsigned> indexes;
    for (unsigned r = 0; r < 4; ++r) {
        if (mask & (1 << r))
            indexes.push_back(r);
    }
    if (indexes.empty())
        indexes.push_back(0);
    return indexes;
}

bool decodePathPackets(const PacketData* packets, std::size_t count,
                       const std::vector<int>& expectedLengths, const SweepPacketLayout& layout,
                       SweepData& out) {
    out = SweepData();
    out.receivers = layout.receivers.empty() ? std::vector<unsigned>{0} : layout.receivers;
    SweepPacketLayout effective = layout;
    effective.receivers = out.receivers;
    out.receiverData.assign(out.receivers.size(), ComplexData(layout.points));
    out.serialData.assign(layout.serialBufferSize, 0);
    out.numberOfPoints = static_cast<int32_t>(layout.points);
    if (count == 0 || packets == nullptr)
        return false;

    const PacketData& first = packets[0];
    out.packetCounter = first.packetCounter;
    out.tagA = first.tagA;
    out.tagB = first.tagB;
    // Kept as applications have always read it: with several packets per path it counts
    // packets per path, not sweeps.
    const int paths = layout.numberOfPaths > 0 ? layout.numberOfPaths : 1;
    out.frameNumber = (first.packetCounter - 1) / paths + 1;

    auto expectedLength = [&](std::size_t j) -> std::size_t {
        return j < expectedLengths.size() && expectedLengths[j] > 0
                   ? static_cast<std::size_t>(expectedLengths[j])
                   : 0;
    };

    const std::vector<uint8_t>& payload = first.payload;
    std::size_t offset = 0;
    if (layout.serialBufferSize != 0) {
        if (!payload.empty())
            out.serialCount = payload[0];
        const std::size_t available = payload.size() > 1 ? payload.size() - 1 : 0;
        const std::size_t copied = std::min<std::size_t>(layout.serialBufferSize, available);
        std::copy_n(payload.begin() + (payload.empty() ? 0 : 1), copied, out.serialData.begin());
        offset = layout.serialBufferSize + 2;
    }
    if (layout.shaftEncoders) {
        if (offset + kEncoderBlockBytes <= payload.size()) {
            out.shaftEncoder1 = readU16(payload, offset);
            out.shaftEncoder2 = readU16(payload, offset + 2);
        }
        offset += kEncoderBlockBytes;
    }
    bool timerPresent = false;
    if (layout.sweepTimer) {
        if (offset + kTimerBlockBytes <= payload.size()) {
            out.sweepTimer = readU32(payload, offset);
            timerPresent = true;
        }
        offset += kTimerBlockBytes;
    }

    unsigned point = 0;
    readSamples(payload, offset, expectedLength(0), effective, point, out);
    for (std::size_t j = 1; j < count; ++j) {
        const std::size_t expected = expectedLength(j);
        if (expected != 0)
            readSamples(packets[j].payload, 0, expected, effective, point, out);
    }
    return timerPresent;
}

} // namespace Orvek
