// The short control commands of a unit: halt, program counter, begin, low power and the
// array's broadcast begin.
#include <cstdio>

#include "link/device_commands.h"
#include "tarndll.h"

namespace Orvek {

namespace {

constexpr int kReplyPollMs = 50;
// A halted unit sends nothing more, so the datagrams left behind are bounded by what its last
// sweep had in flight.
const std::string kHalt = "Q\n";
const std::string kBeginAtCounter = "B\n";
// Register 0x80 = 0x80 switches the front end's amplifiers, switches and supplies off;
// register 0x84 = 0x08 strobes the I/O update so the new value reaches the hardware.
const std::string kFrontEndOff = "Z8080\n";
const std::string kTriggerIoUpdate = "Z8408\n";
const std::string kReadFrontEnd = "Z80\n";
// The unit echoes the register value, then its prompt padded with blanks to 18 characters.
const std::string kFrontEndOffReadBack = "80\r\n>             ";
// The array protocol: every unit of an array sits on the 192.168.1.x network and listens on
// port 1024 for the broadcast begin.
const std::string kArrayBroadcastAddress = "192.168.1.255";
constexpr uint16_t kArrayPort = 1024;
constexpr unsigned long kDefaultReceiveBufferBytes = 8388608;

bool isPrompt(const std::string& reply) {
    return reply.size() > 2 && reply[0] == '\r' && reply[1] == '\n' && reply[2] == '>';
}

} // namespace

Err_Code haltExchange(const Endpoint& endpoint, const std::string& address, unsigned int timeoutMs,
                      int attempts) {
    if (attempts < 1) {
        return ERR_NO_RESPONSE;
    }
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::string reply;
        // The first reply may be buried behind the packets of a sweep that was running; the
        // second "Q\n" is asked of a quiet unit.
        TARN::sendMessage(endpoint, address, kHalt, reply, static_cast<int>(timeoutMs),
                          kReplyPollMs);
        endpoint->drain(address);
        TARN::sendMessage(endpoint, address, kHalt, reply, static_cast<int>(timeoutMs),
                          kReplyPollMs);
        if (isPrompt(reply)) {
            return ERR_OK;
        }
    }
    return ERR_NO_RESPONSE;
}

namespace TARN {

int setProgramCounter(const Endpoint& endpoint, const std::string& address, uint32_t entryAddress,
                      int timeoutMs) {
    char command[16];
    std::snprintf(command, sizeof command, "W%04x\n", entryAddress & 0xFFFFu);
    std::string reply;
    return sendMessage(endpoint, address, std::string(command), reply, timeoutMs, kReplyPollMs);
}

int beginAtProgramCounter(const Endpoint& endpoint, const std::string& address) {
    return endpoint->send_to(address, kBeginAtCounter);
}

int enterLowPower(const Endpoint& endpoint, const std::string& address, int timeoutMs) {
    // A missing reply to the writes shows up as a wrong read-back.
    std::string reply;
    sendMessage(endpoint, address, kFrontEndOff, reply, timeoutMs, kReplyPollMs);
    sendMessage(endpoint, address, kTriggerIoUpdate, reply, timeoutMs, kReplyPollMs);
    sendMessage(endpoint, address, kReadFrontEnd, reply, timeoutMs, kReplyPollMs);
    return reply == kFrontEndOffReadBack ? ERR_OK : ERR_BYTES;
}

int broadcastBegin(const Endpoint& endpoint) {
    // Re-bound with the size the kernel granted, so that the re-bind does not shrink the room
    // the coming burst of packets needs. A closed endpoint reports no size; ask for the usual.
    const int granted = endpoint->get_buffer_size();
    const unsigned long bufferSize =
        granted > 0 ? static_cast<unsigned long>(granted) : kDefaultReceiveBufferBytes;
    const std::string savedDestination = endpoint->get_current_dst_ip();

    endpoint->bind_socket(kArrayPort, bufferSize);
    endpoint->set_current_dst_ip(kArrayBroadcastAddress);
    const int result = endpoint->send_to(kArrayBroadcastAddress, kBeginAtCounter);
    // Nothing answers from the broadcast address; it is not a unit to queue for.
    endpoint->forget(kArrayBroadcastAddress);
    if (result != ERR_OK) {
        return result;
    }
    endpoint->bind_socket(kArrayPort, bufferSize);
    endpoint->set_current_dst_ip(savedDestination);
    return result;
}

} // namespace TARN
} // namespace Orvek
