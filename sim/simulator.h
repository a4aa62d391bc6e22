#pragma once
// Several simulated units in one process, sharing a clock and an optional JSON-lines log.
#include <memory>
#include <string>
#include <vector>

#include "sim/sim_unit.h"

namespace Orvek {
namespace Sim {

class Simulator {
public:
    // `logPath`: JSON-lines file every unit appends to ("-" for standard output, empty for
    // none). std::runtime_error if it cannot be opened.
    explicit Simulator(const std::string& logPath = "");
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Adds a unit (not started). std::invalid_argument for a bad configuration.
    SimUnit& addUnit(const UnitConfig& config);

    // Starts every unit not yet started, from the calling thread's network namespace.
    // std::runtime_error if a unit's sockets cannot be bound (units started before stay up).
    void start();
    void stop();

    std::size_t size() const { return units_.size(); }
    SimUnit& unit(std::size_t index) { return *units_.at(index); }
    // Null when no unit has that address.
    SimUnit* find(const std::string& address);

private:
    SimUnit::Clock::time_point origin_;
    std::shared_ptr<LogSink> sink_;
    std::vector<std::unique_ptr<SimUnit>> units_;
};

} // namespace Sim
} // namespace Orvek
