#pragma once
// Record of everything a simulated unit received and sent: commands, replies, reassembled
// program uploads, data packets with their times, and the unit's own events and errors. Kept
// in memory for tests to inspect, and optionally written as JSON lines, one object per line.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <fstream>
#include <iosfwd>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Orvek {
namespace Sim {

enum class LogKind {
    Command, // a text command received ("rx")
    Reply,   // the unit's answer ("tx")
    Upload,  // a reassembled program upload ("rx"); `data` holds the bytes stored
    Packet,  // a data packet ("tx"); header fields set, `data` holds the payload if kept
    Event,   // something the unit did (program start and end, PROM write, fault applied)
    Error,   // something the unit refused (malformed program or command)
};

const char* logKindName(LogKind kind);

struct LogEntry {
    double wallSeconds = 0.0;     // since the simulator started
    double programSeconds = -1.0; // unit clock of a packet or program event, else -1
    std::string unit;             // the unit's address
    LogKind kind = LogKind::Event;
    std::string peer; // "address:port" of the other side, if any
    std::string text; // command or reply text, or the event's description
    std::vector<std::uint8_t> data;
    std::uint32_t address = 0;              // upload load address
    std::size_t length = 0;                 // datagram or upload length in bytes
    int tagA = -1, tagB = -1, counter = -1; // data packet header
    std::string fault;                      // fault applied to this datagram, if any

    bool isCommand(const std::string& command) const {
        return kind == LogKind::Command && text == command;
    }
};

// One JSON object (without line end).
std::string toJson(const LogEntry& entry);

// A file (or stream) shared by every unit of a simulator.
class LogSink {
public:
    // Appends to `path`; "-" writes to standard output. std::runtime_error if it cannot open.
    explicit LogSink(const std::string& path);
    void write(const LogEntry& entry);

private:
    std::mutex mutex_;
    std::ofstream file_;
    std::ostream* out_ = nullptr;
};

// A unit's in-memory log. Not locked: the unit guards it with its own lock.
class UnitLog {
public:
    static constexpr std::size_t kDefaultCapacity = 200000;

    explicit UnitLog(std::shared_ptr<LogSink> sink = nullptr,
                     std::size_t capacity = kDefaultCapacity)
        : sink_(std::move(sink)), capacity_(capacity) {}

    void add(LogEntry entry);
    std::vector<LogEntry> entries() const { return {entries_.begin(), entries_.end()}; }
    void clear() { entries_.clear(); }
    std::size_t dropped() const { return dropped_; }

private:
    std::shared_ptr<LogSink> sink_;
    std::size_t capacity_;
    std::deque<LogEntry> entries_;
    std::size_t dropped_ = 0;
};

} // namespace Sim
} // namespace Orvek
