#pragma once
// The unit's PROM: a byte array written one byte per command. A write only takes while
// writing is enabled, and needs a programming time during which reads still return the old
// byte. Times are seconds on the unit's clock.
#include <cstdint>
#include <map>
#include <vector>

namespace Orvek {
namespace Sim {

class PromMemory {
public:
    // `image` is placed at address 0; the rest of the capacity reads as erased (0xFF).
    PromMemory(const std::vector<std::uint8_t>& image, int capacity);

    int capacity() const { return static_cast<int>(cells_.size()); }

    // Byte at `address` as a reader sees it at `now`; 0xFF beyond the capacity.
    std::uint8_t read(int address, double now);

    enum class WriteResult { Started, OutOfRange, NotTaken };
    // Starts programming `value` at `address`; it becomes readable `programmingDelay`
    // seconds later. `attemptsNeeded` > 1 makes each byte ignore that many writes minus one
    // before one takes (a worn cell); `fail` forces this one write to be ignored.
    WriteResult write(int address, std::uint8_t value, double now, double programmingDelay,
                      int attemptsNeeded, bool fail);

    // Whole contents with every write whose programming time has passed.
    std::vector<std::uint8_t> contents(double now);
    // Replaces the contents at once (pending writes are dropped).
    void load(const std::vector<std::uint8_t>& image);

private:
    void settle(double now);

    struct Pending {
        std::uint8_t value;
        double readyAt;
    };
    std::vector<std::uint8_t> cells_;
    std::map<int, Pending> pending_;
    std::map<int, int> attempts_;
};

} // namespace Sim
} // namespace Orvek
