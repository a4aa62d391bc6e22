#include "task/sweep_collection.h"

#include "link/transport.h"

namespace Orvek {
namespace {

constexpr int kPacketPollMs = 50;
// A data packet is tag A, tag B, a 16-bit counter and at least one payload byte.
constexpr std::size_t kMinimumPacketSize = 5;
// Tag B of the packet that closes a path's pass (the program's final packet trigger).
constexpr int kLastPacketOfPathTag = 1;
// Datagrams skipped beyond one sweep's worth before the stream counts as broken: a duplicate
// or a stray now and then is tolerated, a unit that never lines up is not.
constexpr int kSkipAllowance = 64;

// Signed distance from `expected` to `counter` on the 16-bit wrapping counter.
int counterDistance(int counter, uint16_t expected) {
    return static_cast<int16_t>(static_cast<uint16_t>(counter - expected));
}

} // namespace

Err_Code collectSweep(const std::shared_ptr<Transport>& endpoint, const std::string& address,
                      const SweepShape& shape, bool toBoundary, SweepSync& sync,
                      std::vector<PacketData>& packets, const std::atomic<bool>& interrupted) {
    packets.clear();
    const int total = shape.paths * shape.packetsPerPath;
    if (total <= 0)
        return ERR_OK;
    packets.reserve(static_cast<std::size_t>(total));
    const int skipLimit = total + kSkipAllowance;
    int skipped = 0;
    std::vector<char> datagram;
    Err_Code result = ERR_OK;
    while (static_cast<int>(packets.size()) < total) {
        if (interrupted) {
            result = ERR_INTERRUPTED;
            break;
        }
        const int received =
            endpoint->receive_from(datagram, address, shape.packetTimeoutMs, kPacketPollMs);
        if (received != ERR_OK) {
            result = static_cast<Err_Code>(received);
            break;
        }
        // Shorter than any data packet: a command reply that arrived after its exchange gave
        // up on it (a halt or program-counter prompt on a slow unit). It is no part of the
        // sweep, and a data packet cut that short still shows as a gap in the counters.
        if (datagram.size() < kMinimumPacketSize) {
            if (++skipped > skipLimit) {
                result = ERR_BYTES;
                break;
            }
            continue;
        }
        // The header decides whether the datagram belongs to the sweep; the payload is copied
        // only for packets that are kept.
        PacketData packet = PacketData::headerOf(datagram);
        const int position = static_cast<int>(packets.size()) % shape.packetsPerPath;
        const int wantedTagB = position == shape.packetsPerPath - 1 ? kLastPacketOfPathTag : 0;
        bool skip = sync.tagKnown && packet.tagA != sync.unitTag;
        if (!skip && packets.empty()) {
            if (sync.counterKnown && toBoundary) {
                const uint16_t offset =
                    static_cast<uint16_t>(packet.packetCounter - sync.nextCounter);
                skip = offset % total != 0;
            } else if (sync.counterKnown) {
                const int distance = counterDistance(packet.packetCounter, sync.nextCounter);
                if (distance > 0) {
                    result = ERR_BYTES; // the sweep's first packets were lost
                    break;
                }
                skip = distance < 0;
            }
            // Without a known counter only the tag tells a path's first packet.
            skip = skip || packet.tagB != wantedTagB;
        } else if (!skip) {
            const int distance = counterDistance(
                packet.packetCounter, static_cast<uint16_t>(packets.back().packetCounter + 1));
            if (distance > 0 || (distance == 0 && packet.tagB != wantedTagB)) {
                result = ERR_BYTES;
                break;
            }
            skip = distance < 0; // a duplicate, or older than the sweep
        }
        if (skip) {
            if (++skipped > skipLimit) {
                result = ERR_BYTES;
                break;
            }
            continue;
        }
        packet.takePayload(datagram);
        packets.push_back(std::move(packet));
    }

    if (result == ERR_OK) {
        sync.counterKnown = true;
        sync.nextCounter = static_cast<uint16_t>(packets.back().packetCounter + 1);
        sync.tagKnown = true;
        sync.unitTag = packets.back().tagA;
    } else if (!packets.empty()) {
        // Later sweeps begin a whole number of sweeps after this one's first packet.
        sync.counterKnown = true;
        sync.nextCounter = static_cast<uint16_t>(packets.front().packetCounter);
    }
    return result;
}

} // namespace Orvek
