#pragma once
// One simulated unit on the network: it listens on its own address and port (and on the
// subnet's broadcast address at that port, for the array begin "B\n"), answers the unit's
// text commands, runs the programs it is sent and streams data packets to the host that
// commanded it last. Every method is safe to call from any thread while the unit runs.
//
// Timing: in real-time mode every FD and FE takes one point time of the hop rate and master
// clock, FC waits for the next millisecond, and a data packet leaves no earlier than the
// program time at which the program sent it. In fast mode the program runs as fast as it can
// and packets leave at once.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "sim/dut_model.h"
#include "sim/faults.h"
#include "sim/rf_model.h"
#include "sim/sim_log.h"
#include "sim/unit_hardware.h"

namespace Orvek {
namespace Sim {

class UnitCore;
struct CoreOptions;
class UnitNetwork;

struct UnitConfig {
    std::string address = "192.168.1.10";
    std::uint16_t port = 1024;
    std::string profile = "s-param"; // see profiles.h
    // PROM contents; empty: the profile's image for this address. An image that does not
    // describe a valid unit (blank, corrupt) is served as it is while the unit is built as
    // its profile says.
    std::vector<std::uint8_t> promImage;
    std::optional<DutModel> dut; // empty: DutModel::standardBench for the profile's plan
    bool realTime = true;
    double noiseCounts = 0.0;     // ADC noise, standard deviation in counts
    std::uint64_t seed = 1;       // noise generator
    double triggerPeriodMs = 0.0; // > 0: an external trigger runs the program when idle
    int firmwareVersion = 0x2c;
    double promWriteDelayMs = 1.0; // programming time of one PROM byte
    bool logPayloads = false;      // keep packet payloads in the log
    // Where the array begin "B\n" is heard: empty for the /24 broadcast address of
    // `address`, "none" to listen for no broadcast.
    std::string broadcastAddress;
    FaultSettings faults;
};

// Counters of what the unit did since it started.
struct UnitStatus {
    bool running = false;
    std::uint16_t programCounter = 0;
    std::uint32_t executionAddress = 0;
    std::uint16_t packetCounter = 0; // counter of the next data packet
    std::uint32_t imageSize = 0;     // bytes of program uploaded
    std::uint64_t commands = 0;
    std::uint64_t replies = 0;
    std::uint64_t packetsSent = 0;
    std::uint64_t errors = 0;
};

class SimUnit {
public:
    using Clock = std::chrono::steady_clock;

    // std::invalid_argument for an unknown profile or a bad address.
    explicit SimUnit(const UnitConfig& config, std::shared_ptr<LogSink> sink = nullptr,
                     Clock::time_point origin = Clock::now());
    ~SimUnit();
    SimUnit(const SimUnit&) = delete;
    SimUnit& operator=(const SimUnit&) = delete;

    // Opens the sockets from the calling thread, so in its network namespace, and starts the
    // unit's thread (which stays in that namespace). std::runtime_error if a socket cannot be
    // bound.
    void start();
    // Stops the thread and closes the sockets; the state stays inspectable.
    void stop();

    const UnitConfig& config() const { return config_; }
    const std::string& address() const { return config_.address; }
    std::uint16_t port() const { return config_.port; }
    const UnitHardware& hardware() const { return hardware_; }

    // --- Faults, switchable while the unit runs (restarting the fault generator).
    void setFaults(const FaultSettings& faults);
    FaultSettings faults() const;

    // --- Log.
    std::vector<LogEntry> log() const;
    std::vector<LogEntry> log(LogKind kind) const;
    void clearLog();
    UnitStatus status() const;

    // --- Model: what the unit's receivers see.
    void setDut(DutModel dut);
    DutModel dut() const;
    // The unit's own imperfections between its receivers and the DUT (its profile's).
    ErrorBox errorBox() const;
    // The electrical state the unit's registers set now.
    RfState rfState() const;
    // What receiver 0..3 reports for a path and frequency with the unit's present gain,
    // attenuation, amplifier and frequency-offset settings, tuned exactly, without noise. (A
    // frequency offset moves the receiver's IF off its crystal filter by 256 DDS steps per
    // count, so the receivers then see next to nothing.)
    IqSample expectedSample(double frequencyMHz, int txPort, int rxPort, int receiver) const;
    IqSample expectedSample(double frequencyMHz, const SwitchPath& path, int receiver) const;
    // What receiver 0..3 reports in any electrical state (see RfState), without noise.
    IqSample expectedSample(const RfState& state, int receiver) const;
    // The transmit frequency the unit's registers tune to now, in MHz.
    double tunedFrequencyMHz() const;

    // --- Registers and memories.
    std::uint8_t reg(std::uint8_t address) const;
    std::uint8_t externalReg(std::uint8_t address) const;
    std::vector<std::uint8_t> promContents() const;
    void setPromContents(const std::vector<std::uint8_t>& image);
    std::vector<std::uint8_t> programImage() const;

    // --- Auxiliary inputs.
    void feedSerial(const std::vector<std::uint8_t>& bytes);
    void setSerialInstrument(bool on);
    void setShaftEncoderRates(double countsPerSecond1, double countsPerSecond2);

    // Waits until `condition` holds (checked every millisecond) or `timeoutMs` passed.
    bool waitFor(const std::function<bool(const UnitStatus&)>& condition, int timeoutMs) const;

    // Seconds on the unit's clock now.
    double now() const;

private:
    void loop();
    void serviceOnce(double now);
    double nextWakeup(double now) const;
    void drainCore(double now);
    void logCoreEvents();
    void addLog(LogEntry entry);
    // A restart: a new core as at power-up, with the PROM and the DUT kept.
    void restartCore();

    UnitConfig config_;
    UnitHardware hardware_;
    Clock::time_point origin_;
    UnitLog log_;
    FaultInjector faults_;
    std::unique_ptr<UnitCore> core_;
    std::unique_ptr<CoreOptions> coreOptions_;
    std::unique_ptr<UnitNetwork> network_;
    UnitStatus counters_;

    // Every lock taken outside the unit's own thread goes through callerLock(): a unit that has
    // fallen behind real time (on a slow or emulated host) runs its loop without pausing, and a
    // plain mutex would let it take the lock back each time before a waiting caller got it.
    std::unique_lock<std::mutex> callerLock() const;
    mutable std::mutex mutex_;
    mutable std::atomic<int> callersWaiting_{0};
    std::thread thread_;
    bool stopRequested_ = false;
    int wakeFd_ = -1;

    friend class UnitNetwork;
};

} // namespace Sim
} // namespace Orvek
