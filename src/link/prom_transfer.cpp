#include "link/prom_transfer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <thread>

#include "core/hex_digit.h"
#include "prom/prom_parameters.h"
#include "tarndll.h"

namespace Orvek {

namespace {

// Per-byte exchanges, in milliseconds. The unit answers a read at once; a slow network or a
// busy unit gets the task's time-out, never less than these. A unit that misses a read is
// halted and asked again with a longer wait.
constexpr int readTimeoutMs = 100;
constexpr int haltTimeoutMs = 150;
constexpr int rereadTimeoutMs = 250;
constexpr int bytePollMs = 1;
constexpr int writeTimeoutMs = 150;
// Write enable/disable of the PROM.
constexpr int enableTimeoutMs = 150;
constexpr int enablePollMs = 50;
// The PROM needs time to program a byte: a pause after the write, and from the fourth failed
// read-back on a rewrite with a pause that grows by 5 ms per attempt.
constexpr int programPauseMs = 2;
constexpr int firstRetryDelayMs = 10;
constexpr int retryDelayStepMs = 5;
constexpr int rewriteFromAttempt = 5;
constexpr int maxAttempts = 25;
// The image header, and the 16-bit entry-list length behind it.
constexpr int headerBytes = 20;
constexpr int probeLastAddress = 33;
constexpr long long maxPromBytes = 0x10000;
// Datagrams that answer nothing asked (a unit still streaming) that one wait puts up with.
constexpr int maxUnaskedReplies = 64;

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::string readCommand(int promAddress) {
    char command[16];
    std::snprintf(command, sizeof command, "E%04x\n", static_cast<unsigned>(promAddress) & 0xFFFFu);
    return command;
}

// A byte reply begins with exactly two hex digits. (A scanf conversion would also take a sign
// or a blank, and "-1" would become a negative byte.)
bool parseHexByte(const std::string& reply, int& value) {
    const int high = reply.size() >= 2 ? hexDigitValue(reply[0]) : -1;
    const int low = reply.size() >= 2 ? hexDigitValue(reply[1]) : -1;
    if (high < 0 || low < 0) {
        return false;
    }
    value = high * 16 + low;
    return true;
}

bool isPrompt(const std::string& reply) {
    return reply.size() >= 3 && reply.compare(0, 3, "\r\n>") == 0;
}

// A session of PROM reads with one unit. Byte replies carry no address, so a reply that comes
// after its wait ended must not be taken for the next byte. The unit answers every command
// once and in order: a byte read with two hex digits, a halt with its prompt. The session
// keeps the requests not yet answered, oldest first; a reply answers the oldest request of its
// kind, and the requests before that one are lost. Only the answer to the latest request is
// used; earlier (late) answers are dropped.
class PromReadSession {
public:
    PromReadSession(const Endpoint& endpoint, const std::string& address, int timeoutMs)
        : endpoint(endpoint), address(address), readMs(std::max(readTimeoutMs, timeoutMs)),
          haltMs(std::max(haltTimeoutMs, timeoutMs)),
          rereadMs(std::max(rereadTimeoutMs, timeoutMs)) {
        // Stale datagrams of this unit only; other units' queues belong to other tasks.
        endpoint->drain(address);
    }

    // "E%04x\n" answered by two hex digits; a silent unit is halted and asked once more.
    int readByte(int promAddress, int& value) {
        const std::string command = readCommand(promAddress);
        std::string reply;
        int result = exchange(command, Kind::Byte, readMs, reply);
        if (result == ERR_NO_RESPONSE) {
            std::string prompt;
            result = exchange("Q\n", Kind::Halt, haltMs, prompt);
            if (result != ERR_SOCKET) {
                result = exchange(command, Kind::Byte, rereadMs, reply);
            }
        }
        if (result != ERR_OK) {
            return result;
        }
        if (reply.size() < 2 || !parseHexByte(reply, value)) {
            return ERR_BYTES;
        }
        return ERR_OK;
    }

private:
    enum class Kind { Byte, Halt };

    const Endpoint& endpoint;
    const std::string& address;
    const int readMs, haltMs, rereadMs;
    std::deque<Kind> unanswered;

    int exchange(const std::string& command, Kind kind, int timeoutMs, std::string& reply) {
        const int sent = endpoint->send_to(address, command);
        if (sent != ERR_OK) {
            return sent;
        }
        unanswered.push_back(kind);
        for (int unasked = 0; unasked < maxUnaskedReplies;) {
            const int received = endpoint->receive_from(reply, address, timeoutMs, bytePollMs);
            if (received != ERR_OK) {
                return received;
            }
            const Kind answers = isPrompt(reply) ? Kind::Halt : Kind::Byte;
            const auto request = std::find(unanswered.begin(), unanswered.end(), answers);
            if (request == unanswered.end()) {
                ++unasked;
                continue;
            }
            const bool latest = request + 1 == unanswered.end();
            unanswered.erase(unanswered.begin(), request + 1);
            if (latest) {
                return ERR_OK;
            }
        }
        return ERR_NO_RESPONSE;
    }
};

bool allBlank(const std::vector<int>& bytes) {
    for (int byte : bytes) {
        if (byte != 0x00 && byte != 0xFF) {
            return false;
        }
    }
    return true;
}

int percentOf(int done, int total) {
    return static_cast<int>(100.0f * static_cast<float>(done) / static_cast<float>(total));
}

int readRange(PromReadSession& session, int first, int last, std::vector<int>& bytes) {
    bytes.clear();
    if (last < first) {
        return ERR_OK;
    }
    bytes.reserve(static_cast<std::size_t>(last - first) + 1);
    for (int promAddress = first; promAddress <= last; ++promAddress) {
        int value = 0;
        const int result = session.readByte(promAddress, value);
        if (result != ERR_OK) {
            return result;
        }
        bytes.push_back(value);
    }
    return ERR_OK;
}

// Writes `image` from address 0 between write enable and disable; the per-byte results do not
// change the outcome, but the unit is never left write-enabled.
int writeImage(const Endpoint& endpoint, const std::string& address, const std::vector<int>* image,
               int byteCount, int fillValue, TARN::ProgressCallback callback, void* context,
               bool reportStart) {
    std::string reply;
    const int enabled =
        TARN::sendMessage(endpoint, address, "ZB601\n", reply, enableTimeoutMs, enablePollMs);
    if (enabled != ERR_OK) {
        return enabled;
    }
    bool keepGoing = true;
    if (reportStart && callback != nullptr) {
        keepGoing = callback(0, context);
    }
    for (int i = 0; keepGoing && i < byteCount; ++i) {
        writePromByte(endpoint, address, i, image != nullptr ? (*image)[i] : fillValue);
        if (callback != nullptr) {
            keepGoing = callback(percentOf(i + 1, byteCount), context);
        }
    }
    return TARN::sendMessage(endpoint, address, "ZB600\n", reply, enableTimeoutMs, enablePollMs);
}

} // namespace

int readPromBytes(const Endpoint& endpoint, const std::string& address, int first, int last,
                  std::vector<int>& bytes, int timeoutMs) {
    PromReadSession session(endpoint, address, timeoutMs);
    return readRange(session, first, last, bytes);
}

int writePromByte(const Endpoint& endpoint, const std::string& address, int promAddress,
                  int value) {
    char write[16];
    std::snprintf(write, sizeof write, "E%04x%02x\n", static_cast<unsigned>(promAddress) & 0xFFFFu,
                  static_cast<unsigned>(value) & 0xFFu);
    const std::string read = readCommand(promAddress);
    const int expected = value & 0xFF;

    std::string reply;
    int result = TARN::sendMessage(endpoint, address, write, reply, writeTimeoutMs, bytePollMs);
    if (result != ERR_OK) {
        return result;
    }
    pause(programPauseMs);
    int delay = firstRetryDelayMs;
    for (int attempt = 1;; delay += retryDelayStepMs) {
        result = TARN::sendMessage(endpoint, address, read, reply, writeTimeoutMs, bytePollMs);
        if (result != ERR_OK) {
            return result;
        }
        int readBack = -1;
        if (parseHexByte(reply, readBack) && readBack == expected) {
            return ERR_OK;
        }
        ++attempt;
        if (attempt >= rewriteFromAttempt) {
            pause(2 * delay);
            TARN::sendMessage(endpoint, address, write, reply, writeTimeoutMs, bytePollMs);
            pause(delay);
            if (attempt > maxAttempts) {
                return ERR_BAD_PROM;
            }
        }
    }
}

namespace TARN {

int downloadProm(const Endpoint& endpoint, const std::string& address, PromParameters& parameters,
                 ProgressCallback callback, void* context, int timeoutMs) {
    PromReadSession session(endpoint, address, timeoutMs);
    std::vector<int> bytes;
    int result = readRange(session, 0, probeLastAddress, bytes);
    if (result != ERR_OK) {
        return result;
    }
    if (allBlank(bytes)) {
        return ERR_EMPTY_PROM;
    }
    result = readRange(session, headerBytes, headerBytes + 1, bytes);
    if (result != ERR_OK) {
        return result;
    }
    // The image is L + 22 bytes; the last two are never needed, because the entry parser
    // ignores a tail shorter than an entry header plus one byte.
    const int total = bytes[0] * 256 + bytes[1] + headerBytes;

    if (callback != nullptr && !callback(0, context)) {
        return ERR_INTERRUPTED;
    }
    std::vector<int> image;
    image.reserve(static_cast<std::size_t>(total));
    for (int promAddress = 0; promAddress < total; ++promAddress) {
        int value = 0;
        result = session.readByte(promAddress, value);
        if (result != ERR_OK) {
            return result;
        }
        image.push_back(value);
        if (callback != nullptr &&
            !callback(static_cast<int>((promAddress + 1) * 100.0 / total), context)) {
            return ERR_INTERRUPTED;
        }
    }
    if (callback != nullptr) {
        callback(100, context);
    }
    parameters.interpretFullBytestream(image);
    return ERR_OK;
}
int eraseProm(const Endpoint& endpoint, const std::string& address,
              const PromParameters& parameters, ProgressCallback callback, void* context) {
    // PROM addresses are 16 bits wide: a larger geometry product (only from a corrupt PROM)
    // would just erase the same bytes again, for hours.
    const long long product =
        static_cast<long long>(parameters.Prom_geometry_1) * parameters.Prom_geometry_2;
    const int capacity = static_cast<int>(std::max(0LL, std::min(product, maxPromBytes)));
    return writeImage(endpoint, address, nullptr, capacity, 0xFF, callback, context, false);
}

int uploadProm(const Endpoint& endpoint, const std::string& address,
               const PromParameters& parameters, ProgressCallback callback, void* context,
               bool keepBlankImage) {
    std::vector<int> image;
    bool haveImage = false;
    if (keepBlankImage) {
        std::vector<int> listLength;
        const int result = readPromBytes(endpoint, address, headerBytes, headerBytes + 1,
                                         listLength, readTimeoutMs);
        if (result != ERR_OK) {
            return result;
        }
        if (listLength[0] == 0xFF && listLength[1] == 0xFF) {
            // No entry list on the PROM: write only an empty, header-less one.
            image = {0x00, 0x00};
            haveImage = true;
        }
    }
    if (!haveImage) {
        image = parameters.generateFullBytestream();
    }
    return writeImage(endpoint, address, &image, static_cast<int>(image.size()), 0, callback,
                      context, true);
}

} // namespace TARN
} // namespace Orvek
