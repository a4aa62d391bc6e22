#pragma once
// The unit's text command protocol: short ASCII commands, one datagram each, ending in a line
// feed, sent through the shared endpoint to the unit's address and port. Every command text
// the library sends is formatted here (and in prom_transfer.cpp). Replies are accepted only
// from the unit addressed; datagrams of other units stay queued for them. Every failure is an
// Err_Code; nothing throws.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/entry_point.h"
#include "link/packet_data.h"

#include "link/transport.h"
#include "tarndll.h"

namespace Orvek {

struct CompiledProgram;
using Endpoint = std::shared_ptr<Transport>;

// Firmware version of the unit: "V\n" answered by two hex digits within 250 ms. 0 when the
// unit does not answer or the reply does not parse (callers treat 0 as "no unit").
int getFirmwareVersion(const Endpoint& endpoint, const std::string& address);

namespace TARN {

// Progress/keep-going callback: percent, caller context; returning false cancels where the
// operation says so.
using ProgressCallback = bool (*)(int, void*);

// Longest program text (hex characters) the unit accepts.
constexpr std::size_t maxProgramTextLength = 0x1FFF0;

// Sends `message` and waits for one reply from `address`. 0, ERR_SOCKET or ERR_NO_RESPONSE;
// on failure `reply` is left unchanged.
int sendMessage(const Endpoint& endpoint, const std::string& address,
                const std::vector<char>& message, std::vector<char>& reply, int timeoutMs,
                int pollMs);
// String form: `reply` always receives the reply's bytes (empty after a failure).
int sendMessage(const Endpoint& endpoint, const std::string& address, const std::string& message,
                std::string& reply, int timeoutMs, int pollMs);

// Uploads the compiled program as "W0000" + program text + "FF\n" and waits up to 5 s for the
// acknowledgement "FF" from the unit; datagrams the unit left queued are dropped first, and
// later ones that cannot be an acknowledgement (not beginning with "F" or "f") are skipped. 0,
// ERR_PROG_OVERFLOW (text longer than 0x1FFF0 characters, nothing sent), ERR_SOCKET,
// ERR_NO_RESPONSE or ERR_BYTES (any other acknowledgement).
int uploadProgram(const Endpoint& endpoint, const std::string& address,
                  const CompiledProgram& program);

// Runs the program from `entry` ("B%04x\n", only when `sendBegin`) and collects the entry's
// number of data packets from `address` in arrival order, each within the entry's per-packet
// time-out. 0, ERR_SOCKET, ERR_NO_RESPONSE or ERR_BYTES (a datagram under 5 bytes); packets
// received before a failure stay in `packets`.
int runProgram(const Endpoint& endpoint, const std::string& address, const EntryPoint& entry,
               std::vector<PacketData>& packets, bool sendBegin);

// Collects datagrams from any sender in passes of 50 ms until `expectedCount` (if positive)
// have arrived or timeoutMs / 50 passes came back empty. `callback` (may be null) is called
// with (0, context) after every pass; its result is ignored. 0 (a short collection is not an
// error) or the code of a failed receive other than a time-out.
int receiveMultiple(const Endpoint& endpoint,
                    std::vector<std::pair<std::string, std::vector<char>>>& datagrams,
                    int timeoutMs, int expectedCount, ProgressCallback callback, void* context);

// Points the unit's program counter at `entryAddress` ("W%04x\n", low 16 bits) and waits for
// its reply (not interpreted). 0, ERR_SOCKET or ERR_NO_RESPONSE.
int setProgramCounter(const Endpoint& endpoint, const std::string& address, uint32_t entryAddress,
                      int timeoutMs);

// Runs the program from the unit's program counter ("B\n"); nothing is awaited (the data
// packets follow). 0 or ERR_SOCKET.
int beginAtProgramCounter(const Endpoint& endpoint, const std::string& address);

// Switches the unit's front end off with two register writes (0x80 = 0x80, then the I/O update
// strobe 0x84 = 0x08) and reads register 0x80 back. 0 when the read-back is exactly the unit's
// answer "80\r\n>" padded with 13 blanks, else ERR_BYTES (also when a reply is missing).
int enterLowPower(const Endpoint& endpoint, const std::string& address, int timeoutMs);

// Starts every unit of an array at once: "B\n" to 192.168.1.255 from local port 1024 (the
// units of an array listen there). The endpoint is bound to port 1024 with the buffer the
// kernel granted, and its selected unit is kept. 0 or the endpoint's code.
int broadcastBegin(const Endpoint& endpoint);

} // namespace TARN

// The halt exchange: "Q\n" stops whatever program runs on the unit and makes it answer with its
// prompt, which is also how a unit is found. Each attempt sends "Q\n" and waits up to
// `timeoutMs` (poll 50 ms) for the reply, drops every datagram still queued from the unit (a
// halted sweep leaves data packets behind), then sends "Q\n" again; the attempt succeeds when
// that reply is longer than two characters and starts with "\r\n>". ERR_OK on the first
// success, ERR_NO_RESPONSE after `attempts` failures (at once when attempts < 1). The caller
// binds the endpoint.
Err_Code haltExchange(const Endpoint& endpoint, const std::string& address, unsigned int timeoutMs,
                      int attempts);

} // namespace Orvek
