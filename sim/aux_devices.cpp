#include "sim/aux_devices.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace Orvek {
namespace Sim {

void SerialPort::feed(const std::vector<std::uint8_t>& bytes) {
    for (std::uint8_t byte : bytes) {
        if (buffer_.size() >= kBufferSize)
            return;
        buffer_.push_back(byte);
    }
}

std::vector<std::uint8_t> SerialPort::readBlock(int blockLength) {
    if (blockLength <= 0)
        return {};
    if (buffer_.empty() && instrument_) {
        char line[48];
        const int n = std::snprintf(line, sizeof line, "$SIM%03u,%06u\r\n", unitOctet_,
                                    static_cast<unsigned>(++lines_ % 1000000));
        feed(std::vector<std::uint8_t>(line, line + n));
    }
    const std::size_t room = blockLength > 2 ? static_cast<std::size_t>(blockLength - 2) : 0;
    const std::size_t taken = std::min(room, buffer_.size());
    std::vector<std::uint8_t> block;
    block.reserve(static_cast<std::size_t>(blockLength));
    block.push_back(static_cast<std::uint8_t>(taken));
    for (std::size_t i = 0; i < taken; ++i) {
        block.push_back(buffer_.front());
        buffer_.pop_front();
    }
    block.resize(1 + room, 0);
    block.push_back(static_cast<std::uint8_t>(std::min<std::size_t>(buffer_.size(), 255)));
    block.resize(static_cast<std::size_t>(blockLength));
    return block;
}

std::uint16_t ShaftEncoders::position(int encoder, double now) const {
    const double rate = encoder == 1 ? rate1_ : rate2_;
    const double counts = std::floor(rate * (now - zero_));
    const double wrapped = counts - 65536.0 * std::floor(counts / 65536.0);
    return static_cast<std::uint16_t>(wrapped);
}

std::vector<std::uint8_t> ShaftEncoders::block(double now) const {
    const std::uint16_t one = position(1, now);
    const std::uint16_t two = position(2, now);
    return {static_cast<std::uint8_t>(one >> 8), static_cast<std::uint8_t>(one),
            static_cast<std::uint8_t>(two >> 8), static_cast<std::uint8_t>(two)};
}

std::uint32_t SweepTimer::count(double now) const {
    const double ticks = std::floor((now - zero_) * masterClockMHz_ * 1e6 / 256.0);
    if (!(ticks > 0.0))
        return 0;
    return static_cast<std::uint32_t>(std::fmod(ticks, 4294967296.0));
}

std::vector<std::uint8_t> SweepTimer::block(double now) const {
    const std::uint32_t value = count(now);
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

} // namespace Sim
} // namespace Orvek
