#include "sim/unit_network.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "sim/sim_unit.h"

namespace Orvek {
namespace Sim {

namespace {

// A reordered packet that no later packet overtakes leaves after this long.
constexpr double kHoldBackSeconds = 0.05;
// Datagrams sent before the unit looks at its sockets again.
constexpr int kSendBurst = 256;
// How much later a late copy of a packet leaves.
constexpr double kLateCopySeconds = 0.02;

} // namespace

void UnitNetwork::open() {
    std::string error;
    const UnitConfig& config = unit_.config_;
    unicast_ = UdpSocket::bind(config.address, config.port, false, error);
    if (!unicast_.valid())
        throw std::runtime_error("simulated unit " + config.address + ": " + error);
    std::string broadcast = config.broadcastAddress;
    if (broadcast.empty())
        broadcast = subnetBroadcast(config.address);
    if (broadcast != "none") {
        broadcast_ = UdpSocket::bind(broadcast, config.port, true, error);
        if (!broadcast_.valid())
            throw std::runtime_error("simulated unit " + config.address + ": " + error);
    }
}

void UnitNetwork::close() {
    unicast_ = UdpSocket();
    broadcast_ = UdpSocket();
    alternate_ = UdpSocket();
    alternateAddress_.clear();
}

std::vector<int> UnitNetwork::descriptors() const {
    std::vector<int> fds;
    if (unicast_.valid())
        fds.push_back(unicast_.fd());
    if (broadcast_.valid())
        fds.push_back(broadcast_.fd());
    return fds;
}

void UnitNetwork::receiveAll(double now) {
    std::vector<std::uint8_t> datagram;
    sockaddr_in from{};
    for (const UdpSocket* socket : {&unicast_, &broadcast_}) {
        if (!socket->valid())
            continue;
        // Bounded, so that a flood cannot starve the program.
        for (int i = 0; i < 256 && socket->receive(datagram, from); ++i)
            handleDatagram(datagram, from, socket == &broadcast_, now);
    }
    if (upload_.expire(now)) {
        LogEntry entry;
        entry.kind = LogKind::Error;
        entry.text = "upload abandoned: no further datagram within 1 s";
        unit_.addLog(entry);
    }
}

void UnitNetwork::handleDatagram(const std::vector<std::uint8_t>& datagram, const sockaddr_in& from,
                                 bool viaBroadcast, double now) {
    const std::string text(datagram.begin(), datagram.end());
    if (unit_.faults_.settings().silent)
        return;
    if (viaBroadcast) {
        LogEntry entry;
        entry.kind = LogKind::Command;
        entry.peer = endpointText(from);
        entry.text = text;
        entry.length = text.size();
        if (text != "B\n") {
            entry.kind = LogKind::Error;
            entry.text = "ignored broadcast \"" + text.substr(0, 32) + "\"";
            unit_.addLog(entry);
            return;
        }
        entry.fault = "broadcast";
        unit_.addLog(entry);
        ++unit_.counters_.commands;
        host_ = from;
        Command begin;
        begin.kind = CommandKind::Begin;
        unit_.core_->handle(begin, now);
        unit_.logCoreEvents();
        return;
    }
    switch (upload_.feed(text, now)) {
    case UploadAssembler::Result::Incomplete:
        return;
    case UploadAssembler::Result::Complete:
        handleText(upload_.take(), from, now);
        return;
    case UploadAssembler::Result::Abandoned: {
        LogEntry entry;
        entry.kind = LogKind::Error;
        entry.peer = endpointText(from);
        entry.text = "upload abandoned: a datagram that is no part of it arrived";
        unit_.addLog(entry);
        if (upload_.feed(text, now) == UploadAssembler::Result::Incomplete)
            return;
        handleText(text, from, now);
        return;
    }
    case UploadAssembler::Result::NotUpload:
        handleText(text, from, now);
        return;
    }
}

void UnitNetwork::handleText(const std::string& text, const sockaddr_in& from, double now) {
    const Command command = parseCommand(text);
    LogEntry entry;
    entry.peer = endpointText(from);
    entry.length = text.size();
    if (command.kind == CommandKind::Upload) {
        entry.kind = LogKind::Upload;
        entry.address = command.address;
        entry.data = command.data;
        entry.length = command.data.size();
    } else {
        entry.kind = LogKind::Command;
        entry.text = text;
    }
    unit_.addLog(entry);
    ++unit_.counters_.commands;

    std::optional<std::string> reply;
    if (command.kind == CommandKind::Invalid) {
        reply = unit_.core_->refuse(text, command.problem, now);
    } else {
        host_ = from;
        reply = unit_.core_->handle(command, now);
    }
    if (command.kind == CommandKind::Halt) {
        // Packets still queued here were due after the halt, or are a backlog of a unit that
        // fell behind its clock; a real unit sends neither after it stopped.
        for (auto it = outbox_.begin(); it != outbox_.end();) {
            if (it->second.isPacket)
                it = outbox_.erase(it);
            else
                ++it;
        }
    }
    unit_.logCoreEvents();
    if (reply)
        queueReply(*reply, from, now);
}

void UnitNetwork::queueReply(const std::string& text, const sockaddr_in& to, double now) {
    Outgoing outgoing;
    outgoing.bytes.assign(text.begin(), text.end());
    outgoing.to = to;
    if (unit_.faults_.withholdNextReply()) {
        LogEntry entry;
        entry.kind = LogKind::Reply;
        entry.peer = endpointText(to);
        entry.text = text;
        entry.length = text.size();
        entry.fault = "withheld";
        unit_.addLog(entry);
        return;
    }
    const double delay = unit_.faults_.settings().replyDelayMs / 1000.0;
    if (delay <= 0) {
        // A reply leaves at once, ahead of any data packets still waiting for their time.
        transmit(outgoing, now, "");
        return;
    }
    outgoing.fault = "delayed";
    outbox_.emplace(now + delay, std::move(outgoing));
}

void UnitNetwork::queuePackets(std::vector<DataPacket> packets, double now) {
    for (DataPacket& packet : packets) {
        if (!host_) {
            LogEntry entry;
            entry.kind = LogKind::Error;
            entry.text = "data packet with no host to send it to";
            unit_.addLog(entry);
            continue;
        }
        Outgoing outgoing;
        outgoing.isPacket = true;
        outgoing.to = *host_;
        outgoing.bytes = std::move(packet.datagram);
        outgoing.packet = packet;
        const double at = unit_.config_.realTime ? std::max(packet.programSeconds, now) : now;
        outbox_.emplace(at, std::move(outgoing));
    }
}

double UnitNetwork::nextDue() const {
    double due = std::numeric_limits<double>::infinity();
    if (!outbox_.empty())
        due = outbox_.begin()->first;
    if (heldBack_)
        due = std::min(due, heldBackUntil_);
    return due;
}

void UnitNetwork::sendDue(double now) {
    // Bounded, so that a unit streaming faster than the network takes its packets still
    // hears a halt in between.
    for (int sent = 0; sent < kSendBurst && !outbox_.empty() && outbox_.begin()->first <= now;
         ++sent) {
        Outgoing outgoing = std::move(outbox_.begin()->second);
        outbox_.erase(outbox_.begin());
        if (outgoing.isPacket)
            sendPacket(std::move(outgoing), now);
        else
            transmit(outgoing, now, outgoing.fault);
    }
    if (heldBack_ && heldBackUntil_ <= now) {
        transmit(*heldBack_, now, "reordered");
        heldBack_.reset();
    }
}

void UnitNetwork::sendPacket(Outgoing outgoing, double now) {
    const PacketFate fate = unit_.faults_.nextPacket(outgoing.bytes.size());
    if (fate.drop) {
        LogEntry entry;
        entry.kind = LogKind::Packet;
        entry.peer = endpointText(outgoing.to);
        entry.programSeconds = outgoing.packet.programSeconds;
        entry.tagA = outgoing.packet.tagA;
        entry.tagB = outgoing.packet.tagB;
        entry.counter = outgoing.packet.counter;
        entry.length = outgoing.bytes.size();
        entry.fault = "dropped";
        unit_.addLog(entry);
        return;
    }
    if (fate.keepBytes)
        outgoing.bytes.resize(fate.keepBytes);
    if (fate.extend)
        outgoing.bytes.push_back(0x5A);
    std::string fault = fate.text();
    if (fate.holdBack && !heldBack_) {
        heldBack_ = std::move(outgoing);
        heldBack_->fault = fault;
        heldBackUntil_ = now + kHoldBackSeconds;
        return;
    }
    transmit(outgoing, now, fault);
    if (fate.duplicate)
        transmit(outgoing, now, fault);
    if (fate.lateCopy) {
        Outgoing late = outgoing;
        late.isPacket = false; // sent as it is, without a second fate
        outbox_.emplace(now + kLateCopySeconds, std::move(late));
    }
    if (fate.silenceAfter)
        unit_.faults_.silence();
    if (fate.restartAfter) {
        for (auto it = outbox_.begin(); it != outbox_.end();)
            it = it->second.isPacket ? outbox_.erase(it) : std::next(it);
        heldBack_.reset();
        unit_.restartCore();
        return;
    }
    if (heldBack_) {
        transmit(*heldBack_, now, heldBack_->fault);
        heldBack_.reset();
    }
}

const UdpSocket& UnitNetwork::sendingSocket(double now) {
    const std::string& from = unit_.faults_.settings().answerFrom;
    if (from.empty())
        return unicast_;
    if (from != alternateAddress_) {
        std::string error;
        alternate_ = UdpSocket::bind(from, 0, false, error);
        alternateAddress_ = from;
        if (!alternate_.valid()) {
            LogEntry entry;
            entry.kind = LogKind::Error;
            entry.programSeconds = now;
            entry.text = "cannot answer from " + from + ": " + error;
            unit_.addLog(entry);
        }
    }
    return alternate_.valid() ? alternate_ : unicast_;
}

void UnitNetwork::transmit(const Outgoing& outgoing, double now, const std::string& fault) {
    const bool silent = unit_.faults_.settings().silent;
    const bool sent = !silent && sendingSocket(now).sendTo(outgoing.to, outgoing.bytes.data(),
                                                           outgoing.bytes.size());
    LogEntry entry;
    entry.peer = endpointText(outgoing.to);
    entry.length = outgoing.bytes.size();
    entry.fault = fault;
    if (!unit_.faults_.settings().answerFrom.empty())
        entry.fault += (entry.fault.empty() ? "" : ",") + std::string("answered from ") +
                       unit_.faults_.settings().answerFrom;
    if (!sent)
        entry.fault +=
            (entry.fault.empty() ? "" : ",") + std::string(silent ? "silent" : "send failed");
    if (outgoing.isPacket) {
        entry.kind = LogKind::Packet;
        entry.programSeconds = outgoing.packet.programSeconds;
        entry.tagA = outgoing.packet.tagA;
        entry.tagB = outgoing.packet.tagB;
        entry.counter = outgoing.packet.counter;
        if (unit_.config_.logPayloads && outgoing.bytes.size() > 4)
            entry.data.assign(outgoing.bytes.begin() + 4, outgoing.bytes.end());
        unit_.counters_.packetsSent += sent;
    } else {
        entry.kind = LogKind::Reply;
        entry.text.assign(outgoing.bytes.begin(), outgoing.bytes.end());
        unit_.counters_.replies += sent;
    }
    unit_.addLog(entry);
}

} // namespace Sim
} // namespace Orvek
