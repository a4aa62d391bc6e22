#include "link/prom_transfer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "link/socket_manager.h"
#include "prom/prom_parameters.h"
#include "tarndll.h"

namespace Orvek {

namespace {

// Per-byte exchanges, in milliseconds. Reads are answered at once; a unit that misses one is
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

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::string readCommand(int promAddress) {
    char command[16];
    std::snprintf(command, sizeof command, "E%04x\n", static_cast<unsigned>(promAddress) & 0xFFFFu);
    return command;
}

bool parseHexByte(const std::string& reply, int& value) {
    unsigned parsed = 0;
    if (std::sscanf(reply.c_str(), "%02x", &parsed) != 1) {
        return false;
    }
    value = static_cast<int>(parsed);
    return true;
}

// One byte read: "E%04x\n" answered by two hex digits from the unit in charge.
int readOneByte(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
                int promAddress, int& value) {
    const std::string command = readCommand(promAddress);
    int result = endpoint->send_to(address, command);
    if (result != ERR_OK) {
        return result;
    }
    std::string reply;
    result =
        endpoint->receive_from(reply, endpoint->get_current_dst_ip(), readTimeoutMs, bytePollMs);
    if (result == ERR_NO_RESPONSE) {
        // Recovery: halt whatever the unit is doing, then ask once more.
        result = endpoint->send_to(address, std::string("Q\n"));
        if (result != ERR_OK) {
            return result;
        }
        endpoint->receive_from(reply, endpoint->get_current_dst_ip(), haltTimeoutMs, bytePollMs);
        // A loaded host can time out just before the byte arrives: drop that late answer (and
        // a late prompt) so the second read is matched with its own reply, not a stale one.
        std::string stale;
        for (int dropped = 0; dropped < 1024; ++dropped) {
            if (endpoint->receive_from(stale, endpoint->get_current_dst_ip(), 0, bytePollMs) != ERR_OK) {
                break;
            }
        }
        result = endpoint->send_to(address, command);
        if (result != ERR_OK) {
            return result;
        }
        result = endpoint->receive_from(reply, endpoint->get_current_dst_ip(), rereadTimeoutMs,
                                        bytePollMs);
    }
    if (result != ERR_OK) {
        return result;
    }
    if (reply.size() < 2 || !parseHexByte(reply, value)) {
        return ERR_BYTES;
    }
    return ERR_OK;
}

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

// Writes `image` from address 0 between write enable and disable; the per-byte results do not
// change the outcome, but the unit is never left write-enabled.
int writeImage(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
               const std::vector<int>* image, int byteCount, int fillValue,
               TARN::ProgressCallback callback, void* context, bool reportStart) {
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

int readPromBytes(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
                  int first, int last, std::vector<int>& bytes) {
    endpoint->flush_buffers();
    bytes.clear();
    if (last < first) {
        return ERR_OK;
    }
    bytes.reserve(static_cast<std::size_t>(last - first) + 1);
    for (int promAddress = first; promAddress <= last; ++promAddress) {
        int value = 0;
        const int result = readOneByte(endpoint, address, promAddress, value);
        if (result != ERR_OK) {
            return result;
        }
        bytes.push_back(value);
    }
    return ERR_OK;
}

int writePromByte(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
                  int promAddress, int value) {
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

int downloadProm(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
                 PromParameters& parameters, ProgressCallback callback, void* context) {
    std::vector<int> bytes;
    int result = readPromBytes(endpoint, address, 0, probeLastAddress, bytes);
    if (result != ERR_OK) {
        return result;
    }
    if (allBlank(bytes)) {
        return ERR_EMPTY_PROM;
    }
    result = readPromBytes(endpoint, address, headerBytes, headerBytes + 1, bytes);
    if (result != ERR_OK) {
        return result;
    }
    // The image is L + 22 bytes; the last two are never needed, because the entry parser
    // ignores a tail shorter than an entry header plus one byte.
    const int total = bytes[0] * 256 + bytes[1] + headerBytes;

    endpoint->flush_buffers();
    if (callback != nullptr && !callback(0, context)) {
        return ERR_INTERRUPTED;
    }
    std::vector<int> image;
    image.reserve(static_cast<std::size_t>(total));
    for (int promAddress = 0; promAddress < total; ++promAddress) {
        int value = 0;
        result = readOneByte(endpoint, address, promAddress, value);
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

int eraseProm(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
              const PromParameters& parameters, ProgressCallback callback, void* context) {
    // PROM addresses are 16 bits wide: a larger geometry product (only from a corrupt PROM)
    // would just erase the same bytes again, for hours.
    const long long product =
        static_cast<long long>(parameters.Prom_geometry_1) * parameters.Prom_geometry_2;
    const int capacity = static_cast<int>(std::max(0LL, std::min(product, maxPromBytes)));
    return writeImage(endpoint, address, nullptr, capacity, 0xFF, callback, context, false);
}

int uploadProm(const std::shared_ptr<SocketManager>& endpoint, const std::string& address,
               const PromParameters& parameters, ProgressCallback callback, void* context,
               bool keepBlankImage) {
    std::vector<int> image;
    bool haveImage = false;
    if (keepBlankImage) {
        std::vector<int> listLength;
        const int result =
            readPromBytes(endpoint, address, headerBytes, headerBytes + 1, listLength);
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
