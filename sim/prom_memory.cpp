#include "sim/prom_memory.h"

#include <algorithm>

namespace Orvek {
namespace Sim {

PromMemory::PromMemory(const std::vector<std::uint8_t>& image, int capacity)
    : cells_(static_cast<size_t>(std::max(capacity, 0)), 0xFF) {
    load(image);
}

void PromMemory::load(const std::vector<std::uint8_t>& image) {
    std::fill(cells_.begin(), cells_.end(), 0xFF);
    std::copy_n(image.begin(), std::min(image.size(), cells_.size()), cells_.begin());
    pending_.clear();
    attempts_.clear();
}

void PromMemory::settle(double now) {
    for (auto it = pending_.begin(); it != pending_.end();) {
        if (it->second.readyAt <= now) {
            cells_[static_cast<size_t>(it->first)] = it->second.value;
            it = pending_.erase(it);
        } else {
            ++it;
        }
    }
}

std::uint8_t PromMemory::read(int address, double now) {
    if (address < 0 || address >= capacity())
        return 0xFF;
    settle(now);
    return cells_[static_cast<size_t>(address)];
}

PromMemory::WriteResult PromMemory::write(int address, std::uint8_t value, double now,
                                          double programmingDelay, int attemptsNeeded, bool fail) {
    if (address < 0 || address >= capacity())
        return WriteResult::OutOfRange;
    settle(now);
    int& attempts = attempts_[address];
    ++attempts;
    if (fail || attempts < attemptsNeeded)
        return WriteResult::NotTaken;
    attempts = 0;
    pending_[address] = Pending{value, now + std::max(programmingDelay, 0.0)};
    return WriteResult::Started;
}

std::vector<std::uint8_t> PromMemory::contents(double now) {
    settle(now);
    return cells_;
}

} // namespace Sim
} // namespace Orvek
