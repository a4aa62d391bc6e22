// A connection of the companion library's own to a unit, for servicing it: PROM image read,
// write and erase. Every transfer is verified byte by byte by the link layer.
#include <memory>
#include <new>
#include <string>

#include "link/prom_transfer.h"
#include "link/socket_manager.h"
#include "prom_image.h"
#include "task_access.h"

using namespace Orvek;
using namespace Orvek::Vna;

struct tarnvna_unit_t {
    TarnTask task;
    std::string address;
};

namespace {

constexpr int kPingAttempts = 10;
constexpr int kReadChunk = 32;
// Write-enable exchange: the unit answers once it has switched.
constexpr int kEnableTimeoutMs = 150;
constexpr int kEnablePollMs = 50;

const std::shared_ptr<SocketManager>& endpointOf(tarnvna_unit_t& unit) {
    return TarnTaskToolAccess::state(unit.task).socketManager;
}

// Progress after `done` of `total`, as the driver's own PROM download reports it.
bool report(tarn_progress_fn progress, void* user, std::size_t done, std::size_t total) {
    if (!progress)
        return true;
    return progress(static_cast<int>(done * 100.0 / static_cast<double>(total)), user);
}

int readImage(tarnvna_unit_t& unit, tarn_progress_fn progress, void* user,
              std::vector<std::uint8_t>& image) {
    const auto& endpoint = endpointOf(unit);
    std::vector<int> bytes;
    int result = readPromBytes(endpoint, unit.address, 0, 33, bytes);
    if (result != ERR_OK)
        return result;
    std::vector<std::uint8_t> head(bytes.begin(), bytes.end());
    const std::size_t length = isBlankImage(head) ? 0 : imageLength(head);
    if (length == 0)
        return ERR_EMPTY_PROM;
    if (length > kMaxImageBytes)
        return ERR_BAD_PROM;
    image.clear();
    if (!report(progress, user, 0, length))
        return ERR_INTERRUPTED;
    while (image.size() < length) {
        const int first = static_cast<int>(image.size());
        const int last = static_cast<int>(std::min(length, image.size() + kReadChunk)) - 1;
        result = readPromBytes(endpoint, unit.address, first, last, bytes);
        if (result != ERR_OK)
            return result;
        image.insert(image.end(), bytes.begin(), bytes.end());
        if (!report(progress, user, image.size(), length))
            return ERR_INTERRUPTED;
    }
    return ERR_OK;
}

int setWriteEnable(tarnvna_unit_t& unit, bool enable) {
    std::string reply;
    return TARN::sendMessage(endpointOf(unit), unit.address, enable ? "ZB601\n" : "ZB600\n", reply,
                             kEnableTimeoutMs, kEnablePollMs);
}

struct CancelWatch {
    tarn_progress_fn progress;
    void* user;
    bool cancelled = false;
};

bool watchCancel(int percent, void* context) {
    auto* watch = static_cast<CancelWatch*>(context);
    if (watch->progress && !watch->progress(percent, watch->user))
        watch->cancelled = true;
    return !watch->cancelled;
}

} // namespace

extern "C" {

int tarnvna_unit_open(const char* address, int port, unsigned int timeout_ms,
                      tarnvna_unit_t** unit) {
    if (!unit)
        return ERR_INVALID_PARAMETER;
    if (!address)
        return ERR_MISSING_IP;
    try {
        auto opened = std::make_unique<tarnvna_unit_t>();
        int result = opened->task.setIPAddress(address);
        if (result == ERR_OK)
            result = opened->task.setIPPort(port);
        if (result == ERR_OK && timeout_ms > 0)
            result = opened->task.setTimeout(timeout_ms);
        if (result == ERR_OK)
            result = opened->task.utilPingUnit(kPingAttempts);
        if (result != ERR_OK)
            return result;
        opened->address = address;
        *unit = opened.release();
        return ERR_OK;
    } catch (...) {
        return ERR_SOCKET;
    }
}

void tarnvna_unit_close(tarnvna_unit_t* unit) {
    delete unit;
}

int tarnvna_unit_firmware(tarnvna_unit_t* unit, int* version) {
    if (!unit || !version)
        return ERR_INVALID_PARAMETER;
    *version = getFirmwareVersion(endpointOf(*unit), unit->address);
    return ERR_OK;
}

int tarnvna_unit_read_prom(tarnvna_unit_t* unit, tarn_progress_fn progress, void* user,
                           tarnvna_prom_t** prom) {
    if (!unit || !prom)
        return ERR_INVALID_PARAMETER;
    try {
        auto read = std::make_unique<tarnvna_prom_t>();
        std::vector<std::uint8_t> image;
        int result = readImage(*unit, progress, user, image);
        if (result == ERR_OK)
            result = decodeImage(std::move(image), *read);
        if (result == ERR_OK)
            *prom = read.release();
        return result;
    } catch (...) {
        return ERR_BAD_PROM;
    }
}

int tarnvna_unit_write_prom(tarnvna_unit_t* unit, const tarnvna_prom_t* prom,
                            tarn_progress_fn progress, void* user) {
    if (!unit || !prom || prom->image.empty())
        return ERR_INVALID_PARAMETER;
    int result = setWriteEnable(*unit, true);
    if (result != ERR_OK)
        return result;
    const std::size_t total = prom->image.size();
    bool cancelled = !report(progress, user, 0, total);
    int failure = ERR_OK;
    for (std::size_t i = 0; i < total && !cancelled; ++i) {
        failure =
            writePromByte(endpointOf(*unit), unit->address, static_cast<int>(i), prom->image[i]);
        if (failure != ERR_OK)
            break;
        cancelled = !report(progress, user, i + 1, total);
    }
    // Write-enable goes off whatever happened, so the unit is never left writable.
    result = setWriteEnable(*unit, false);
    if (failure != ERR_OK)
        return failure;
    return cancelled ? ERR_INTERRUPTED : result;
}

int tarnvna_unit_erase_prom(tarnvna_unit_t* unit, tarn_progress_fn progress, void* user) {
    if (!unit)
        return ERR_INVALID_PARAMETER;
    try {
        // The capacity comes from the unit's own description where it has a readable one.
        PromParameters parameters;
        std::vector<std::uint8_t> image;
        tarnvna_prom_t current;
        if (readImage(*unit, nullptr, nullptr, image) == ERR_OK &&
            decodeImage(std::move(image), current) == ERR_OK)
            parameters = current.parameters;
        CancelWatch watch{progress, user};
        const int result =
            TARN::eraseProm(endpointOf(*unit), unit->address, parameters, watchCancel, &watch);
        return watch.cancelled ? ERR_INTERRUPTED : result;
    } catch (...) {
        return ERR_SOCKET;
    }
}

} // extern "C"
