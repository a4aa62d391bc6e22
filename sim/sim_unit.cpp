#include "sim/sim_unit.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "sim/profiles.h"
#include "sim/udp_socket.h"
#include "sim/unit_core.h"
#include "sim/unit_network.h"

namespace Orvek {
namespace Sim {

namespace {

// How far the program may run ahead of the wall clock in real-time mode.
constexpr double kHorizonSeconds = 0.002;
// Instructions per slice before the unit looks at its sockets again.
constexpr std::size_t kSliceBudget = 20000;
// Longest sleep while nothing is due.
constexpr double kIdleSeconds = 0.05;

std::uint8_t lastOctet(const std::string& address) {
    sockaddr_in parsed{};
    if (!parseAddress(address, 0, parsed))
        throw std::invalid_argument("simulated unit address is not IPv4: " + address);
    return static_cast<std::uint8_t>(ntohl(parsed.sin_addr.s_addr) & 0xFF);
}

} // namespace

SimUnit::SimUnit(const UnitConfig& config, std::shared_ptr<LogSink> sink, Clock::time_point origin)
    : config_(config), origin_(origin), log_(std::move(sink)) {
    const std::uint8_t octet = lastOctet(config_.address);
    PromParameters description = profileParameters(config_.profile, octet);
    std::vector<std::uint8_t> image = config_.promImage;
    if (image.empty()) {
        image = profilePromImage(config_.profile, octet);
    } else {
        // A custom image that describes a valid unit also says what the unit is built from;
        // a blank or corrupt one is served as it is by a unit built as its profile says.
        std::string problem;
        parametersFromImage(image, description, problem);
    }
    hardware_ = hardwareFromParameters(description);
    const DutModel dut =
        config_.dut ? *config_.dut
                    : DutModel::standardBench(description.Minimum_freq, description.Maximum_freq);
    CoreOptions options;
    options.unitOctet = octet;
    options.firmwareVersion = config_.firmwareVersion;
    options.promWriteDelaySeconds = config_.promWriteDelayMs / 1000.0;
    options.noiseCounts = config_.noiseCounts;
    options.noiseSeed = config_.seed;
    coreOptions_ = std::make_unique<CoreOptions>(options);
    core_ = std::make_unique<UnitCore>(
        hardware_, image, RfModel(dut, ErrorBox::forProfile(config_.profile)), options);
    faults_.configure(config_.faults);
    core_->setFaultInjector(&faults_);
    network_ = std::make_unique<UnitNetwork>(*this);
}

void SimUnit::restartCore() {
    const double t = now();
    core_ = std::make_unique<UnitCore>(hardware_, core_->prom().contents(t), core_->rf(),
                                       *coreOptions_);
    core_->setFaultInjector(&faults_);
    LogEntry entry;
    entry.kind = LogKind::Event;
    entry.text = "unit restarted: program lost";
    addLog(entry);
}

SimUnit::~SimUnit() {
    stop();
}

std::unique_lock<std::mutex> SimUnit::callerLock() const {
    ++callersWaiting_;
    std::unique_lock<std::mutex> lock(mutex_);
    --callersWaiting_;
    return lock;
}

double SimUnit::now() const {
    return std::chrono::duration<double>(Clock::now() - origin_).count();
}

void SimUnit::start() {
    const auto lock = callerLock();
    if (thread_.joinable())
        return;
    network_->open();
    wakeFd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wakeFd_ < 0) {
        network_->close();
        throw std::runtime_error("simulated unit " + config_.address + ": eventfd failed");
    }
    stopRequested_ = false;
    LogEntry entry;
    entry.kind = LogKind::Event;
    entry.text = "unit up on port " + std::to_string(config_.port) + " (" + config_.profile +
                 (config_.realTime ? ", real time" : ", fast") + ")";
    addLog(entry);
    thread_ = std::thread([this] { loop(); });
}

void SimUnit::stop() {
    {
        const auto lock = callerLock();
        if (!thread_.joinable())
            return;
        stopRequested_ = true;
        const std::uint64_t one = 1;
        if (write(wakeFd_, &one, sizeof one) < 0) {
            // The thread still sees the flag at its next wake-up.
        }
    }
    thread_.join();
    const auto lock = callerLock();
    network_->close();
    ::close(wakeFd_);
    wakeFd_ = -1;
}

void SimUnit::addLog(LogEntry entry) {
    entry.wallSeconds = now();
    entry.unit = config_.address;
    if (entry.kind == LogKind::Error)
        ++counters_.errors;
    log_.add(std::move(entry));
}

void SimUnit::logCoreEvents() {
    for (CoreEvent& event : core_->takeEvents()) {
        LogEntry entry;
        entry.kind = event.error ? LogKind::Error : LogKind::Event;
        entry.text = std::move(event.text);
        entry.programSeconds = event.programSeconds;
        addLog(std::move(entry));
    }
}

void SimUnit::drainCore(double now) {
    logCoreEvents();
    network_->queuePackets(core_->takePackets(), now);
}

void SimUnit::serviceOnce(double now) {
    if (core_->running()) {
        const double until =
            config_.realTime ? now + kHorizonSeconds : std::numeric_limits<double>::infinity();
        core_->run(until, kSliceBudget);
    }
    drainCore(now);
    network_->sendDue(now);
}

double SimUnit::nextWakeup(double now) const {
    double wake = now + kIdleSeconds;
    if (core_->running()) {
        if (!config_.realTime)
            return now;
        wake = std::min(wake, core_->programTime() - kHorizonSeconds / 2);
    }
    wake = std::min(wake, network_->nextDue());
    if (config_.triggerPeriodMs > 0) {
        const double period = config_.triggerPeriodMs / 1000.0;
        wake = std::min(wake, (std::floor(now / period) + 1.0) * period);
    }
    return std::max(wake, now);
}

void SimUnit::loop() {
    double lastTrigger = now();
    while (true) {
        // Let callers from other threads in first (see callerLock()).
        while (callersWaiting_.load() > 0)
            std::this_thread::yield();
        double wait = 0.0;
        std::vector<pollfd> fds;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stopRequested_)
                return;
            double t = now();
            if (config_.triggerPeriodMs > 0) {
                const double period = config_.triggerPeriodMs / 1000.0;
                if (std::floor(t / period) > std::floor(lastTrigger / period)) {
                    lastTrigger = t;
                    core_->trigger(t);
                }
            }
            serviceOnce(t);
            t = now();
            wait = nextWakeup(t) - t;
            for (int fd : network_->descriptors())
                fds.push_back(pollfd{fd, POLLIN, 0});
            fds.push_back(pollfd{wakeFd_, POLLIN, 0});
        }
        timespec timeout{};
        timeout.tv_sec = static_cast<time_t>(wait);
        timeout.tv_nsec = static_cast<long>((wait - std::floor(wait)) * 1e9);
        const int ready = ppoll(fds.data(), fds.size(), &timeout, nullptr);
        if (ready <= 0)
            continue;
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopRequested_)
            return;
        network_->receiveAll(now());
        drainCore(now());
    }
}

void SimUnit::setFaults(const FaultSettings& faults) {
    const auto lock = callerLock();
    faults_.configure(faults);
    LogEntry entry;
    entry.kind = LogKind::Event;
    entry.text = "faults: " + faults.describe();
    addLog(entry);
}

FaultSettings SimUnit::faults() const {
    const auto lock = callerLock();
    return faults_.settings();
}

std::vector<LogEntry> SimUnit::log() const {
    const auto lock = callerLock();
    return log_.entries();
}

std::vector<LogEntry> SimUnit::log(LogKind kind) const {
    const auto lock = callerLock();
    std::vector<LogEntry> selected;
    for (LogEntry& entry : log_.entries())
        if (entry.kind == kind)
            selected.push_back(std::move(entry));
    return selected;
}

void SimUnit::clearLog() {
    const auto lock = callerLock();
    log_.clear();
}

UnitStatus SimUnit::status() const {
    const auto lock = callerLock();
    UnitStatus status = counters_;
    status.running = core_->running();
    status.programCounter = core_->programCounter();
    status.executionAddress = core_->executionAddress();
    status.packetCounter = core_->packetCounter();
    status.imageSize = core_->imageSize();
    return status;
}

void SimUnit::setDut(DutModel dut) {
    const auto lock = callerLock();
    core_->setDut(std::move(dut));
}

DutModel SimUnit::dut() const {
    const auto lock = callerLock();
    return core_->rf().dut();
}

ErrorBox SimUnit::errorBox() const {
    const auto lock = callerLock();
    return core_->rf().errorBox();
}

RfState SimUnit::rfState() const {
    const auto lock = callerLock();
    return core_->rfState();
}

IqSample SimUnit::expectedSample(double frequencyMHz, const SwitchPath& path, int receiver) const {
    const auto lock = callerLock();
    RfState state = core_->rfState();
    state.txFrequencyMHz = frequencyMHz;
    state.rxFrequencyMHz =
        frequencyMHz + kIntermediateFrequencyMHz + core_->receiverOffsetMHz(frequencyMHz);
    state.synthesiserLocked = true;
    state.path = path;
    if (receiver >= hardware_.receivers)
        return IqSample{};
    return core_->rf().sample(state, receiver);
}

IqSample SimUnit::expectedSample(const RfState& state, int receiver) const {
    const auto lock = callerLock();
    if (receiver >= hardware_.receivers)
        return IqSample{};
    return core_->rf().sample(state, receiver);
}

IqSample SimUnit::expectedSample(double frequencyMHz, int txPort, int rxPort, int receiver) const {
    SwitchPath path;
    path.transmitting = txPort >= 0;
    path.txPort = txPort;
    path.rxPort = rxPort;
    return expectedSample(frequencyMHz, path, receiver);
}

double SimUnit::tunedFrequencyMHz() const {
    const auto lock = callerLock();
    return core_->rfState().txFrequencyMHz;
}

std::uint8_t SimUnit::reg(std::uint8_t address) const {
    const auto lock = callerLock();
    return core_->reg(address);
}

std::uint8_t SimUnit::externalReg(std::uint8_t address) const {
    const auto lock = callerLock();
    return core_->externalReg(address);
}

std::vector<std::uint8_t> SimUnit::promContents() const {
    const auto lock = callerLock();
    return core_->prom().contents(now());
}

void SimUnit::setPromContents(const std::vector<std::uint8_t>& image) {
    const auto lock = callerLock();
    core_->prom().load(image);
}

std::vector<std::uint8_t> SimUnit::programImage() const {
    const auto lock = callerLock();
    const auto& memory = core_->programMemory();
    return std::vector<std::uint8_t>(memory.begin(), memory.begin() + core_->imageSize());
}

void SimUnit::feedSerial(const std::vector<std::uint8_t>& bytes) {
    const auto lock = callerLock();
    core_->serial().feed(bytes);
}

void SimUnit::setSerialInstrument(bool on) {
    const auto lock = callerLock();
    core_->serial().setInstrument(on);
}

void SimUnit::setShaftEncoderRates(double countsPerSecond1, double countsPerSecond2) {
    const auto lock = callerLock();
    core_->encoders().setRates(countsPerSecond1, countsPerSecond2);
}

bool SimUnit::waitFor(const std::function<bool(const UnitStatus&)>& condition,
                      int timeoutMs) const {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        if (condition(status()))
            return true;
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace Sim
} // namespace Orvek
