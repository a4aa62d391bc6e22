#include "sim/unit_core.h"

#include <algorithm>
#include <cstdio>

#include "sim/faults.h"

namespace Orvek {
namespace Sim {

namespace {

// The prompt that ends every acknowledgement.
const char* const kPrompt = "\r\n>";

std::string hex2(unsigned value) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "%02x", value & 0xFF);
    return buffer;
}

std::string printable(const std::string& text) {
    std::string out;
    for (unsigned char c : text.substr(0, 64)) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else if (c < 0x20 || c >= 0x7F)
            out += "\\x" + hex2(c);
        else
            out.push_back(static_cast<char>(c));
    }
    if (text.size() > 64)
        out += "...";
    return out;
}

} // namespace

UnitCore::UnitCore(const UnitHardware& hardware, const std::vector<std::uint8_t>& promImage,
                   RfModel rf, const CoreOptions& options)
    : hardware_(hardware), options_(options), rf_(std::move(rf)), memory_(kProgramMemory, 0xFF),
      prom_(promImage, hardware.promCapacity), serial_(options.unitOctet),
      timer_(hardware.masterClockMHz), noise_(options.noiseSeed) {}

UnitCore::~UnitCore() = default;

void UnitCore::note(const std::string& text, bool error, double programSeconds) {
    events_.push_back(CoreEvent{error, text, programSeconds});
}

std::vector<DataPacket> UnitCore::takePackets() {
    std::vector<DataPacket> taken;
    taken.swap(packets_);
    return taken;
}

std::vector<CoreEvent> UnitCore::takeEvents() {
    std::vector<CoreEvent> taken;
    taken.swap(events_);
    return taken;
}

std::string UnitCore::refuse(const std::string& datagram, const std::string& problem, double now) {
    (void)now;
    note("refused \"" + printable(datagram) + "\": " + problem, true);
    return std::string("?") + kPrompt;
}

std::optional<std::string> UnitCore::handle(const Command& command, double now) {
    switch (command.kind) {
    case CommandKind::Halt:
        pendingBegin_.reset();
        if (running_)
            stop("halted by the host", false);
        packet_.clear();
        pendingBlocks_.clear();
        return std::string(kPrompt);
    case CommandKind::Version:
        return hex2(static_cast<unsigned>(options_.firmwareVersion));
    case CommandKind::Begin:
    case CommandKind::BeginAt:
        if (command.kind == CommandKind::BeginAt)
            pc_ = command.address;
        if (running_) {
            // One program at a time: the begin waits for the running program's end.
            pendingBegin_ = pc_;
            char text[80];
            std::snprintf(text, sizeof text, "run 0x%04x deferred until the running program ends",
                          pc_);
            note(text, false, programTime_);
        } else {
            begin(pc_, now,
                  command.kind == CommandKind::Begin ? "run from the program counter" : "run");
        }
        return std::nullopt;
    case CommandKind::SetCounter:
        pc_ = command.address;
        return std::string(kPrompt);
    case CommandKind::Upload:
        return storeUpload(command, now);
    case CommandKind::PromRead:
        return hex2(prom_.read(command.address, now));
    case CommandKind::PromWrite: {
        char text[64];
        if (!(registers_[0xB6] & 0x01)) {
            std::snprintf(text, sizeof text, "PROM write 0x%04x=0x%02x refused: write-protected",
                          command.address, command.value);
            note(text, true);
            return std::string(kPrompt);
        }
        const int attempts = faults_ ? faults_->settings().promWriteAttempts : 1;
        const bool fail = faults_ && faults_->failPromWrite();
        const auto result = prom_.write(command.address, command.value, now,
                                        options_.promWriteDelaySeconds, attempts, fail);
        if (result == PromMemory::WriteResult::OutOfRange) {
            std::snprintf(text, sizeof text, "PROM write 0x%04x beyond the capacity of %d bytes",
                          command.address, prom_.capacity());
            note(text, true);
        } else if (result == PromMemory::WriteResult::NotTaken) {
            std::snprintf(text, sizeof text, "PROM write 0x%04x=0x%02x did not take",
                          command.address, command.value);
            note(text, false);
        }
        return std::string(kPrompt);
    }
    case CommandKind::RegisterRead:
        // The register monitor pads its line to a fixed width.
        return hex2(registers_[command.reg]) + kPrompt + std::string(13, ' ');
    case CommandKind::RegisterWrite:
        writeRegister(command.reg, command.value, false);
        return std::string(kPrompt);
    case CommandKind::Invalid:
        break;
    }
    return refuse("", command.problem, now);
}

std::string UnitCore::storeUpload(const Command& command, double now) {
    (void)now;
    const std::size_t end = command.address + command.data.size();
    char text[96];
    if (end > kProgramMemory) {
        std::snprintf(text, sizeof text,
                      "upload of %zu bytes at 0x%04x does not fit the %zu-byte program memory",
                      command.data.size(), command.address, kProgramMemory);
        note(text, true);
        return std::string("?") + kPrompt;
    }
    pendingBegin_.reset();
    if (running_)
        stop("halted by a program upload", false);
    std::copy(command.data.begin(), command.data.end(), memory_.begin() + command.address);
    loadedEnd_ = std::max<std::uint32_t>(loadedEnd_, static_cast<std::uint32_t>(end));
    std::snprintf(text, sizeof text, "stored %zu program bytes at 0x%04x", command.data.size(),
                  command.address);
    note(text, false);
    // The loader answers with the last byte it stored.
    char last[8];
    std::snprintf(last, sizeof last, "%02X", command.data.empty() ? 0xFF : command.data.back());
    return last;
}

void UnitCore::trigger(double now) {
    if (running_)
        return;
    begin(pc_, now, "external trigger: run");
}

void UnitCore::writeRegister(std::uint8_t address, std::uint8_t value, bool fromProgram) {
    registers_[address] = value;
    written_[address] = true;
    switch (address) {
    case 0x84:
        if (value & 0x01) {
            pllDivideRatio_ = pllDivideRatio(registers_[0x9D], registers_[0xB4]);
        }
        if (value & 0x08) {
            // The attenuator takes its lines from 0x82 on the update that latches (bit 4).
            if (hardware_.hasAttenuator && (registers_[0x82] & 0x10))
                attenuatorDb_ = attenuatorFromRegister(registers_[0x82]);
        }
        if (value & 0x40)
            timer_.reset(programTime_);
        break;
    case 0x87:
        if (value & 0x02)
            encoders_.reset(programTime_);
        if (value & 0x04)
            counter_ = 1;
        if (!fromProgram)
            break;
        if (value & 0x08)
            appendToPacket(serial_.readBlock(registers_[0x8E]));
        if (value & 0x01)
            pendingBlocks_.push_back(0x01);
        if (value & 0x10)
            pendingBlocks_.push_back(0x10);
        break;
    case 0x98:
        external_[registers_[0x97]] = value;
        break;
    default:
        break;
    }
}

} // namespace Sim
} // namespace Orvek
