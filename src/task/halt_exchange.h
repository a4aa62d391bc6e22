#pragma once
// The halt exchange: "Q\n" stops whatever program runs on the unit and makes it answer with its
// prompt, which is also how a unit is found. Shared by ping, stop and the asynchronous halt.
#include <memory>
#include <string>

#include "tarndll.h"

namespace Orvek {

class SocketManager;

// Each attempt sends "Q\n" and waits up to `timeoutMs` (poll 50 ms) for the reply, discards
// every datagram still queued from the unit (a halted sweep leaves data packets behind), then
// sends "Q\n" again; the attempt succeeds when that reply is longer than two characters and
// starts with "\r\n>". ERR_OK on the first success, ERR_NO_RESPONSE after `attempts` failures
// (at once when attempts < 1). The caller binds the endpoint and sets its destination.
Err_Code haltExchange(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
                      unsigned int timeoutMs, int attempts);

} // namespace Orvek
