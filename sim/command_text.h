#pragma once
// The unit's text commands: one datagram each, ending in a line feed, hexadecimal fields of
// fixed width in either letter case. A program upload may arrive split over several
// datagrams; UploadAssembler puts it back together.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Orvek {
namespace Sim {

enum class CommandKind {
    Halt,          // "Q\n"
    Version,       // "V\n"
    Begin,         // "B\n": run from the program counter
    BeginAt,       // "B%04x\n"
    SetCounter,    // "W%04x\n"
    Upload,        // "W%04x" + hex bytes + "\n": store the bytes from that address on
    PromRead,      // "E%04x\n"
    PromWrite,     // "E%04x%02x\n"
    RegisterRead,  // "Z%02x\n"
    RegisterWrite, // "Z%02x%02x\n"
    Invalid,
};

struct Command {
    CommandKind kind = CommandKind::Invalid;
    std::uint16_t address = 0; // program or PROM address
    std::uint8_t reg = 0;
    std::uint8_t value = 0;
    std::vector<std::uint8_t> data; // upload bytes
    std::string problem;            // why a command is invalid
};

Command parseCommand(const std::string& text);

// Collects the datagrams of one upload: the first starts with 'W' and the upload ends with
// the datagram that ends in a line feed. Every datagram in between must be hexadecimal text.
class UploadAssembler {
public:
    enum class Result {
        NotUpload,  // the datagram is not part of an upload: treat it as a command
        Incomplete, // taken; more to come
        Complete,   // taken; take() gives the whole command
        Abandoned,  // not part of the upload in progress, which is dropped: treat the
                    // datagram as a command
    };
    // `now` in seconds. An upload whose next datagram does not come within kGapSeconds is
    // dropped (see expire()).
    Result feed(const std::string& datagram, double now);
    bool inProgress() const { return active_; }
    double deadline() const { return lastAt_ + kGapSeconds; }
    // Drops an upload whose deadline passed; true when one was dropped.
    bool expire(double now);
    std::string take();

    static constexpr double kGapSeconds = 1.0;
    // Longest upload text: "W", the address, every byte of the program memory, "\n".
    static constexpr std::size_t kMaxText = 5 + 2 * 0x10000 + 1;

private:
    bool active_ = false;
    bool complete_ = false;
    double lastAt_ = 0.0;
    std::string text_;
};

} // namespace Sim
} // namespace Orvek
