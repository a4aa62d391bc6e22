#include "sim/sim_log.h"

#include <cstdio>
#include <iostream>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace Orvek {
namespace Sim {

namespace {

std::string hexText(const std::vector<std::uint8_t>& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (std::uint8_t byte : bytes) {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 0xF]);
    }
    return text;
}

} // namespace

const char* logKindName(LogKind kind) {
    switch (kind) {
    case LogKind::Command:
        return "command";
    case LogKind::Reply:
        return "reply";
    case LogKind::Upload:
        return "upload";
    case LogKind::Packet:
        return "packet";
    case LogKind::Event:
        return "event";
    case LogKind::Error:
        return "error";
    }
    return "event";
}

std::string toJson(const LogEntry& entry) {
    nlohmann::ordered_json json;
    json["t"] = entry.wallSeconds;
    json["unit"] = entry.unit;
    json["kind"] = logKindName(entry.kind);
    switch (entry.kind) {
    case LogKind::Command:
    case LogKind::Upload:
        json["dir"] = "rx";
        break;
    case LogKind::Reply:
    case LogKind::Packet:
        json["dir"] = "tx";
        break;
    default:
        break;
    }
    if (entry.programSeconds >= 0.0)
        json["programTime"] = entry.programSeconds;
    if (!entry.peer.empty())
        json["peer"] = entry.peer;
    if (!entry.text.empty()) {
        // Datagrams may hold any byte; keep the JSON valid UTF-8 by escaping the rest.
        std::string safe;
        for (unsigned char c : entry.text) {
            if (c < 0x80) {
                safe.push_back(static_cast<char>(c));
            } else {
                char buffer[8];
                std::snprintf(buffer, sizeof buffer, "\\x%02x", c);
                safe += buffer;
            }
        }
        json["text"] = safe;
    }
    if (entry.kind == LogKind::Upload) {
        json["address"] = entry.address;
        json["length"] = entry.length;
        json["hex"] = hexText(entry.data);
    }
    if (entry.kind == LogKind::Packet) {
        json["tagA"] = entry.tagA;
        json["tagB"] = entry.tagB;
        json["counter"] = entry.counter;
        json["length"] = entry.length;
        if (!entry.data.empty())
            json["payload"] = hexText(entry.data);
    }
    if (!entry.fault.empty())
        json["fault"] = entry.fault;
    return json.dump();
}

LogSink::LogSink(const std::string& path) {
    if (path == "-") {
        out_ = &std::cout;
        return;
    }
    file_.open(path, std::ios::app);
    if (!file_)
        throw std::runtime_error("cannot open log file " + path);
    out_ = &file_;
}

void LogSink::write(const LogEntry& entry) {
    const std::string line = toJson(entry);
    std::lock_guard<std::mutex> lock(mutex_);
    *out_ << line << '\n';
    out_->flush();
}

void UnitLog::add(LogEntry entry) {
    if (sink_)
        sink_->write(entry);
    if (capacity_ == 0)
        return;
    if (entries_.size() >= capacity_) {
        entries_.pop_front();
        ++dropped_;
    }
    entries_.push_back(std::move(entry));
}

} // namespace Sim
} // namespace Orvek
