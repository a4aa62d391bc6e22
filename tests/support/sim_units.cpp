#include "sim_units.h"

#include <cstdlib>
#include <stdexcept>

#include "lab_namespace.h"

namespace tarnlab {

Orvek::Sim::UnitConfig simUnitConfig(const std::string& profile, const std::string& address,
                                     std::uint16_t port) {
    Orvek::Sim::UnitConfig config;
    config.profile = profile;
    config.address = address;
    config.port = port;
    return config;
}

SimulatedUnits::SimulatedUnits() {
    const char* logPath = std::getenv("TARN_SIM_LOG");
    simulator_ = std::make_unique<Orvek::Sim::Simulator>(logPath != nullptr ? logPath : "");
}

SimulatedUnits::~SimulatedUnits() {
    stop();
}

Orvek::Sim::SimUnit& SimulatedUnits::add(const Orvek::Sim::UnitConfig& config) {
    return simulator_->addUnit(config);
}

Orvek::Sim::SimUnit& SimulatedUnits::add(const std::string& profile, const std::string& address,
                                         std::uint16_t port) {
    return add(simUnitConfig(profile, address, port));
}

std::string SimulatedUnits::start() {
    std::string failure;
    // The units' sockets and threads are made on a thread inside the units namespace, where
    // they stay after that thread has ended.
    UnitsThread starter([&] {
        try {
            simulator_->start();
        } catch (const std::exception& error) {
            failure = error.what();
        }
    });
    starter.join();
    if (!starter.error().empty())
        return starter.error();
    return failure;
}

void SimulatedUnits::stop() {
    simulator_->stop();
}

Orvek::Sim::SimUnit& SimulatedUnits::unit(const std::string& address) {
    Orvek::Sim::SimUnit* found = simulator_->find(address);
    if (!found)
        throw std::out_of_range("no simulated unit at " + address);
    return *found;
}

} // namespace tarnlab
