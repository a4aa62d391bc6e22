#include "link/device_commands.h"

#include <cstdio>

#include "link/transport.h"
#include "tarndll.h"

namespace Orvek {

namespace {

// Time-outs and poll intervals of the exchanges, in milliseconds.
constexpr int versionTimeoutMs = 250;
constexpr int versionPollMs = 50;
constexpr int packetPollMs = 50;
constexpr int collectPassMs = 50;
constexpr int collectPollMs = 5;

// A data packet is tag A, tag B, a 16-bit counter and at least one payload byte.
constexpr std::size_t minimumPacketSize = 5;

} // namespace

int getFirmwareVersion(const Endpoint& endpoint, const std::string& address) {
    if (endpoint->send_to(address, std::string("V\n")) != ERR_OK) {
        return 0;
    }
    std::string reply;
    if (endpoint->receive_from(reply, address, versionTimeoutMs, versionPollMs) != ERR_OK) {
        return 0;
    }
    unsigned version = 0;
    if (std::sscanf(reply.c_str(), "%02x", &version) != 1) {
        return 0;
    }
    return static_cast<int>(version);
}

namespace TARN {

int sendMessage(const Endpoint& endpoint, const std::string& address,
                const std::vector<char>& message, std::vector<char>& reply, int timeoutMs,
                int pollMs) {
    const int sent = endpoint->send_to(address, message);
    if (sent != ERR_OK) {
        return sent;
    }
    return endpoint->receive_from(reply, address, timeoutMs, pollMs);
}

int sendMessage(const Endpoint& endpoint, const std::string& address, const std::string& message,
                std::string& reply, int timeoutMs, int pollMs) {
    std::vector<char> received;
    const int result =
        sendMessage(endpoint, address, std::vector<char>(message.begin(), message.end()), received,
                    timeoutMs, pollMs);
    reply.assign(received.begin(), received.end());
    return result;
}

int runProgram(const Endpoint& endpoint, const std::string& address, const EntryPoint& entry,
               std::vector<PacketData>& packets, bool sendBegin) {
    if (sendBegin) {
        // Run from the entry's address.
        char command[16];
        std::snprintf(command, sizeof command, "B%04x\n", entry.address & 0xFFFFu);
        const int sent = endpoint->send_to(address, std::string(command));
        if (sent != ERR_OK) {
            return sent;
        }
    }
    packets.clear();
    if (entry.packetCount <= 0) {
        return ERR_OK;
    }
    packets.reserve(static_cast<std::size_t>(entry.packetCount));
    std::vector<char> datagram;
    for (int i = 0; i < entry.packetCount; ++i) {
        const int received =
            endpoint->receive_from(datagram, address, entry.packetTimeoutMs, packetPollMs);
        if (received != ERR_OK) {
            return received;
        }
        if (datagram.size() < minimumPacketSize) {
            return ERR_BYTES;
        }
        packets.push_back(PacketData::fromDatagram(datagram));
    }
    return ERR_OK;
}

int receiveMultiple(const Endpoint& endpoint,
                    std::vector<std::pair<std::string, std::vector<char>>>& datagrams,
                    int timeoutMs, int expectedCount, ProgressCallback callback, void* context) {
    const int allowedEmptyPasses = timeoutMs / collectPassMs;
    if (allowedEmptyPasses <= 0) {
        return ERR_OK;
    }
    int emptyPasses = 0;
    while (emptyPasses < allowedEmptyPasses) {
        std::vector<char> datagram;
        std::string sender;
        const int received =
            endpoint->receive_from_any(datagram, sender, collectPassMs, collectPollMs);
        if (received == ERR_NO_RESPONSE) {
            ++emptyPasses;
        } else if (received != ERR_OK) {
            return received;
        } else {
            datagrams.emplace_back(std::move(sender), std::move(datagram));
        }
        if (callback != nullptr) {
            callback(0, context);
        }
        if (expectedCount > 0 && datagrams.size() >= static_cast<std::size_t>(expectedCount)) {
            return ERR_OK;
        }
    }
    return ERR_OK;
}

} // namespace TARN
} // namespace Orvek
