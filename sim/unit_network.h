#pragma once
// The network side of a simulated unit: its sockets, the reassembly of split uploads, the
// queue of replies and data packets waiting for their send time, and the faults applied when
// they leave. Used by SimUnit on its own thread with the unit's lock held.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/command_text.h"
#include "sim/udp_socket.h"
#include "sim/unit_core.h"

namespace Orvek {
namespace Sim {

class SimUnit;

class UnitNetwork {
public:
    explicit UnitNetwork(SimUnit& unit) : unit_(unit) {}

    // Binds the unit's sockets; std::runtime_error when one cannot be bound.
    void open();
    void close();
    std::vector<int> descriptors() const;

    // Reads and handles every datagram waiting on the unit's sockets.
    void receiveAll(double now);
    // Queues data packets the program produced, to leave at their program time (real time)
    // or at once.
    void queuePackets(std::vector<DataPacket> packets, double now);
    // Sends everything whose time has come.
    void sendDue(double now);
    // Time of the next queued send (infinity when nothing waits).
    double nextDue() const;

private:
    struct Outgoing {
        bool isPacket = false;
        std::vector<std::uint8_t> bytes;
        sockaddr_in to{};
        DataPacket packet; // header fields and program time of a data packet
        std::string fault;
    };

    void handleDatagram(const std::vector<std::uint8_t>& datagram, const sockaddr_in& from,
                        bool viaBroadcast, double now);
    void handleText(const std::string& text, const sockaddr_in& from, double now);
    void queueReply(const std::string& text, const sockaddr_in& to, double now);
    void sendPacket(Outgoing outgoing, double now);
    void transmit(const Outgoing& outgoing, double now, const std::string& fault);
    const UdpSocket& sendingSocket(double now);

    SimUnit& unit_;
    UdpSocket unicast_;
    UdpSocket broadcast_;
    UdpSocket alternate_;
    std::string alternateAddress_;
    UploadAssembler upload_;
    std::optional<sockaddr_in> host_; // where data packets go: the last commander
    std::multimap<double, Outgoing> outbox_;
    std::optional<Outgoing> heldBack_;
    double heldBackUntil_ = 0.0;
};

} // namespace Sim
} // namespace Orvek
