#pragma once
// Simulated units for host-side lab tests: they run on their own threads inside the lab's
// units namespace (192.168.1.10-19), while the test drives them through the library from the
// host side and inspects them directly.
//
//   TEST(MyLabTest, Sweep) {
//       TARN_REQUIRE_LAB_HOST_SIDE();
//       tarnlab::SimulatedUnits units;
//       Orvek::Sim::SimUnit& unit = units.add("s-param", "192.168.1.10", 1150);
//       ASSERT_EQ(units.start(), "");
//       ... drive the unit through the library on port 1150 ...
//       unit.expectedSample(freqMHz, txPort, rxPort, receiver);   // what it should report
//       unit.log(Orvek::Sim::LogKind::Packet);                     // what it sent
//       unit.setFaults(Orvek::Sim::FaultSettings::parse("drop-packets=2"));
//   }                                                              // units stop here
//
// Setting TARN_SIM_LOG=<file> in the environment appends every unit's JSON-lines log to that
// file, for looking at a failing test afterwards.
#include <cstdint>
#include <memory>
#include <string>

#include "sim/profiles.h"
#include "sim/sim_unit.h"
#include "sim/simulator.h"

namespace tarnlab {

// A unit of `profile` at `address`:`port`, real time, no noise, no faults.
Orvek::Sim::UnitConfig simUnitConfig(const std::string& profile, const std::string& address,
                                     std::uint16_t port);

class SimulatedUnits {
public:
    SimulatedUnits();
    ~SimulatedUnits();
    SimulatedUnits(const SimulatedUnits&) = delete;
    SimulatedUnits& operator=(const SimulatedUnits&) = delete;

    // Adds a unit; it runs from start() on. std::invalid_argument for a bad configuration.
    Orvek::Sim::SimUnit& add(const Orvek::Sim::UnitConfig& config);
    Orvek::Sim::SimUnit& add(const std::string& profile, const std::string& address,
                             std::uint16_t port);

    // Starts every added unit inside the units namespace. Empty on success, else why not
    // (namespace not available, address or port in use).
    std::string start();
    // Stops every unit (also done by the destructor); their state stays inspectable.
    void stop();

    std::size_t size() const { return simulator_->size(); }
    Orvek::Sim::SimUnit& operator[](std::size_t index) { return simulator_->unit(index); }
    // The unit at `address`; std::out_of_range when there is none.
    Orvek::Sim::SimUnit& unit(const std::string& address);

private:
    std::unique_ptr<Orvek::Sim::Simulator> simulator_;
};

} // namespace tarnlab
