#include "sim/simulator.h"

namespace Orvek {
namespace Sim {

Simulator::Simulator(const std::string& logPath) : origin_(SimUnit::Clock::now()) {
    if (!logPath.empty())
        sink_ = std::make_shared<LogSink>(logPath);
}

Simulator::~Simulator() {
    stop();
}

SimUnit& Simulator::addUnit(const UnitConfig& config) {
    units_.push_back(std::make_unique<SimUnit>(config, sink_, origin_));
    return *units_.back();
}

void Simulator::start() {
    for (auto& unit : units_)
        unit->start();
}

void Simulator::stop() {
    for (auto& unit : units_)
        unit->stop();
}

SimUnit* Simulator::find(const std::string& address) {
    for (auto& unit : units_)
        if (unit->address() == address)
            return unit.get();
    return nullptr;
}

} // namespace Sim
} // namespace Orvek
