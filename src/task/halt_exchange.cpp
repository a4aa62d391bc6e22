// The halt exchange with a unit: "Q\n" until the unit answers with its prompt.
#include "task/halt_exchange.h"

#include "link/device_commands.h"
#include "link/socket_manager.h"

namespace Orvek {

namespace {

const std::string kHaltCommand = "Q\n";
constexpr unsigned int kReplyPollMs = 50;
// A halted unit sends nothing more, so the datagrams left behind are bounded by what its last
// sweep had in flight; the cap only protects against a unit that keeps streaming regardless.
constexpr int kMaxDiscardedDatagrams = 65536;

bool isPrompt(const std::string& reply) {
    return reply.size() > 2 && reply[0] == '\r' && reply[1] == '\n' && reply[2] == '>';
}

} // namespace

Err_Code haltExchange(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
                      unsigned int timeoutMs, int attempts) {
    if (attempts < 1)
        return ERR_NO_RESPONSE;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::string reply;
        // The first reply may be buried behind the packets of a sweep that was running; the
        // second "Q\n" is asked of a quiet unit.
        TARN::sendMessage(endpoint, address, kHaltCommand, reply, timeoutMs, kReplyPollMs);
        std::vector<char> stale;
        for (int discarded = 0; discarded < kMaxDiscardedDatagrams; ++discarded) {
            if (endpoint->receive_from(stale, address, 0, kReplyPollMs) != 0)
                break;
        }
        TARN::sendMessage(endpoint, address, kHaltCommand, reply, timeoutMs, kReplyPollMs);
        if (isPrompt(reply))
            return ERR_OK;
    }
    return ERR_NO_RESPONSE;
}

} // namespace Orvek
