#pragma once
// The unit's auxiliary inputs whose readings a program can put into its data packets: the
// serial port's receive buffer, two shaft encoders and the sweep timer. Times are seconds on
// the unit's clock.
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace Orvek {
namespace Sim {

// Bytes arriving at the unit's serial port. Unless told otherwise an instrument on the port
// sends a short text line whenever the buffer runs dry, so every read carries some data.
class SerialPort {
public:
    static constexpr std::size_t kBufferSize = 4096;

    explicit SerialPort(std::uint8_t unitOctet) : unitOctet_(unitOctet) {}

    // Bytes as if received on the port (beyond the buffer size they are lost).
    void feed(const std::vector<std::uint8_t>& bytes);
    // Switches the built-in instrument on or off.
    void setInstrument(bool on) { instrument_ = on; }

    // The serial block of a data packet, `blockLength` bytes (register 0x8E): the number of
    // bytes taken, blockLength - 2 data bytes (zero padded), then the number of bytes still
    // waiting (at most 255). Shorter blocks are cut from the end; 0 gives no block.
    std::vector<std::uint8_t> readBlock(int blockLength);

private:
    std::uint8_t unitOctet_;
    bool instrument_ = true;
    std::uint32_t lines_ = 0;
    std::deque<std::uint8_t> buffer_;
};

// Two shaft encoders turning at constant rates (counts per second, either sign); each reads
// as a 16-bit counter.
class ShaftEncoders {
public:
    void setRates(double rate1, double rate2) { rate1_ = rate1, rate2_ = rate2; }
    void reset(double now) { zero_ = now; }
    std::uint16_t position(int encoder, double now) const;
    // Encoder 1 then encoder 2, 16-bit big-endian each.
    std::vector<std::uint8_t> block(double now) const;

private:
    double rate1_ = 1000.0;
    double rate2_ = -250.0;
    double zero_ = 0.0;
};

// Counts master-clock cycles / 256 from its last reset, as a 32-bit counter.
class SweepTimer {
public:
    explicit SweepTimer(double masterClockMHz) : masterClockMHz_(masterClockMHz) {}
    void reset(double now) { zero_ = now; }
    std::uint32_t count(double now) const;
    // The count, 32-bit big-endian.
    std::vector<std::uint8_t> block(double now) const;

private:
    double masterClockMHz_;
    double zero_ = 0.0;
};

} // namespace Sim
} // namespace Orvek
