#pragma once
// The unit's text command protocol: short ASCII commands, one datagram each, ending in a line
// feed, sent through the shared SocketManager to the unit's address and port. Replies are
// accepted only from the unit addressed; datagrams of other units stay queued for them. Every
// failure is an Err_Code; nothing throws.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/entry_point.h"
#include "link/packet_data.h"

namespace Orvek {

class SocketManager;
struct CompiledProgram;

// Firmware version of the unit: "V\n" answered by two hex digits within 250 ms. 0 when the
// unit does not answer or the reply does not parse (callers treat 0 as "no unit").
int getFirmwareVersion(const std::shared_ptr<SocketManager>& endpoint, const std::string& address);

namespace TARN {

// Progress/keep-going callback: percent, caller context; returning false cancels where the
// operation says so.
using ProgressCallback = bool (*)(int, void*);

// Longest program text (hex characters) the unit accepts.
constexpr std::size_t maxProgramTextLength = 0x1FFF0;

// Sends `message` and waits for one reply from `address`. 0, ERR_SOCKET or ERR_NO_RESPONSE;
// on failure `reply` is left unchanged.
int sendMessage(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
                const std::vector<char>& message, std::vector<char>& reply, int timeoutMs,
                int pollMs);
// String form: `reply` always receives the reply's bytes (empty after a failure).
int sendMessage(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
                const std::string& message, std::string& reply, int timeoutMs, int pollMs);

// Uploads the compiled program as "W0000" + program text + "FF\n" and waits up to 5 s for the
// acknowledgement "FF" from the manager's current destination address (the task selects its
// unit before uploading). 0, ERR_PROG_OVERFLOW (text longer than 0x1FFF0 characters, nothing
// sent), ERR_SOCKET, ERR_NO_RESPONSE or ERR_BYTES (any other acknowledgement).
int uploadProgram(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
                  const CompiledProgram& program);

// Runs the program from `entry` ("B%04x\n", only when `sendBegin`) and collects the entry's
// number of data packets from `address` in arrival order, each within the entry's per-packet
// time-out. 0, ERR_SOCKET, ERR_NO_RESPONSE or ERR_BYTES (a datagram under 5 bytes); packets
// received before a failure stay in `packets`.
int runProgram(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
               const EntryPoint& entry, std::vector<PacketData>& packets, bool sendBegin);

// Collects datagrams from any sender in passes of 50 ms until `expectedCount` (if positive)
// have arrived or timeoutMs / 50 passes came back empty. `callback` (may be null) is called
// with (0, context) after every pass; its result is ignored. 0 (a short collection is not an
// error) or the code of a failed receive other than a time-out.
int receiveMultiple(const std::shared_ptr<SocketManager>& endpoint,
                    std::vector<std::pair<std::string, std::vector<char>>>& datagrams,
                    int timeoutMs, int expectedCount, ProgressCallback callback, void* context);

} // namespace TARN
} // namespace Orvek
