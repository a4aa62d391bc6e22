#pragma once
// One measured path's decoded sweep.
#include <cstdint>
#include <vector>

namespace Orvek {

// Complex samples of one receiver: as many real and imaginary parts as the sweep has points.
// Samples are the unit's raw signed 16-bit I and Q values, unscaled.
struct ComplexData {
    std::vector<double> real;
    std::vector<double> imag;

    ComplexData() = default;
    explicit ComplexData(std::size_t points) : real(points, 0.0), imag(points, 0.0) {}
    std::size_t length() const { return real.size(); }
};

struct SweepData {
    // One entry per enabled receiver, in the order of `receivers`.
    std::vector<ComplexData> receiverData;
    uint32_t shaftEncoder1 = 0;
    uint32_t shaftEncoder2 = 0;
    int32_t reserved1 = 0;
    // Number of bytes the unit's serial port had buffered, and the buffer itself (as long as
    // the configured serial buffer size; unused bytes are zero).
    uint32_t serialCount = 0;
    std::vector<uint8_t> serialData;
    // Raw count of the unit's sweep timer (one tick per 256 master-clock periods).
    uint32_t sweepTimer = 0;
    int32_t reserved2 = 0;
    // Seconds since the sweep timer started, with its wraps accounted for.
    double timestamp = 0.0;
    // Header of the path's first data packet.
    int32_t packetCounter = 0;
    int32_t tagA = 0;
    int32_t tagB = 0;
    // (packet counter - 1) / number of paths + 1: the sweep number with one packet per path;
    // with several packets per path it counts packets per path, not sweeps.
    int32_t frameNumber = 0;
    int32_t numberOfPoints = 0;
    // Indexes (0..3) of the enabled receivers, ascending.
    std::vector<unsigned> receivers;
};

} // namespace Orvek
