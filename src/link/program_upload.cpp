// Program upload: the compiled image goes to the unit as one hex text command.
#include <chrono>

#include "link/device_commands.h"
#include "link/transport.h"
#include "program/program_source.h"
#include "tarndll.h"

namespace Orvek {
namespace TARN {

namespace {
// The unit acknowledges only after storing the whole image.
constexpr int uploadAckTimeoutMs = 5000;
constexpr int uploadAckPollMs = 50;
// A whole sweep of the fastest, largest program fits in far fewer datagrams.
constexpr int maxStaleBeforeAck = 4096;
} // namespace

int uploadProgram(const Endpoint& endpoint, const std::string& address,
                  const CompiledProgram& program) {
    if (program.program.size() > maxProgramTextLength) {
        return ERR_PROG_OVERFLOW;
    }
    // "W0000" loads from address 0; "FF" ends the image text.
    std::string message;
    message.reserve(program.program.size() + 8);
    message += "W0000";
    message += program.program;
    message += "FF\n";
    // A reply to an earlier command that came after its time-out would pass for the
    // acknowledgement (or spoil it): whatever the unit left queued is dropped first.
    endpoint->drain(address);
    const int sent = endpoint->send_to(address, message);
    if (sent != ERR_OK) {
        return sent;
    }
    // Taken from the unit uploaded to, not from whichever unit is selected: another task
    // sharing the endpoint may select its own unit meanwhile.
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(uploadAckTimeoutMs);
    std::vector<char> reply;
    for (int stale = 0;; ++stale) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                              deadline - std::chrono::steady_clock::now())
                              .count();
        const int received = endpoint->receive_from(
            reply, address, static_cast<int>(left > 0 ? left : 0), uploadAckPollMs);
        if (received != ERR_OK) {
            return received;
        }
        // Data packets of a run the unit was just halted in, or a prompt that came late, can
        // still be on their way after the drain; they do not begin as an acknowledgement does.
        const bool answer = !reply.empty() && (reply[0] == 'F' || reply[0] == 'f');
        if (!answer && stale < maxStaleBeforeAck) {
            continue;
        }
        return reply.size() >= 2 && reply[0] == 'F' && reply[1] == 'F' ? ERR_OK : ERR_BYTES;
    }
}

} // namespace TARN
} // namespace Orvek
