// Finding the unit and reading its description: address, port, ping and initialisation.
#include <cstring>

#include "core/exceptions.h"
#include "link/prom_transfer.h"
#include "link/socket_manager.h"
#include "prom/prom_validation.h"
#include "task/halt_exchange.h"
#include "task/tarn_task.h"
#include "task/task_helpers.h"

namespace Orvek {

namespace {

// The unit streams a sweep's packets in one burst; the endpoint asks the kernel for room for it.
constexpr unsigned long kReceiveBufferBytes = 8388608;
// Ports the unit can be configured to; the same number is bound locally.
constexpr int kFirstPort = 1024;
constexpr unsigned int kPortWindow = 255;
constexpr int kPingRounds = 5;
constexpr int kAttemptsPerPing = 5;
// The sweep timer counts 256 master-clock periods per tick.
constexpr double kClockPeriodsPerTimerTick = 256.0;

} // namespace

Err_Code TarnTask::setIPAddress(const char* address) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    if (address == nullptr)
        return ERR_MISSING_IP;
    std::size_t length = std::strlen(address);
    auto copy = std::make_unique<char[]>(length + 1);
    std::memcpy(copy.get(), address, length + 1);
    state_->ipAddress = std::move(copy);
    state_->state = TASK_UNINITIALIZED;
    return ERR_OK;
}

Err_Code TarnTask::setIPPort(int port) {
    if (!isNotStarted())
        return ERR_WRONG_STATE;
    // Unsigned arithmetic, so that ports below the window wrap to large values.
    if (static_cast<unsigned int>(port) - static_cast<unsigned int>(kFirstPort) > kPortWindow)
        return ERR_BAD_IP_PORT;
    state_->port = port;
    state_->state = TASK_UNINITIALIZED;
    return ERR_OK;
}

Err_Code TarnTask::connectEndpoint() {
    if (!state_->ipAddress)
        return ERR_MISSING_IP;
    if (state_->port == 0)
        return ERR_MISSING_PORT;
    const int result =
        state_->socketManager->bind_socket(static_cast<uint16_t>(state_->port), kReceiveBufferBytes);
    if (result != 0)
        return static_cast<Err_Code>(result);
    state_->socketManager->set_current_dst_ip(state_->ipAddress.get());
    return ERR_OK;
}

Err_Code TarnTask::utilPingUnit(int attempts) {
    const Err_Code connected = connectEndpoint();
    if (connected != ERR_OK)
        return connected;
    return haltExchange(state_->socketManager, state_->ipAddress.get(), state_->timeout, attempts);
}

Err_Code TarnTask::initialize(bool (*progress)(int, void*), void* user) {
    if (state_->state != TASK_UNINITIALIZED)
        return ERR_WRONG_STATE;
    const Err_Code connected = connectEndpoint();
    if (connected != ERR_OK)
        return connected;
    const std::shared_ptr<SocketManager>& endpoint = state_->socketManager;
    const std::string address = state_->ipAddress.get();

    Err_Code ping = ERR_NO_RESPONSE;
    for (int round = 0; round < kPingRounds; ++round) {
        ping = utilPingUnit(kAttemptsPerPing);
        if (ping == ERR_OK)
            break;
    }
    if (ping != ERR_OK)
        return ping;

    PromParameters& parameters = state_->promParameters;
    int result = ERR_OK;
    try {
        result = TARN::downloadProm(endpoint, address, parameters, progress, user);
    } catch (const InvalidPromException&) {
        // The bytes came from the unit: an image that cannot even be decoded is as unusable as
        // one that fails validation.
        return ERR_BAD_PROM;
    }
    if (result != 0)
        return static_cast<Err_Code>(result);
    if (!TARN::validateProm(parameters, false))
        return ERR_BAD_PROM;

    double masterClockHz = parameters.Master_clock_frequency * 1000000.0;
    if (masterClockHz > 0.0 && parameters.isKeyPresent(PromKey::MasterClockFrequency))
        helpers_->timeBase = kClockPeriodsPerTimerTick / masterClockHz;

    state_->state = TASK_STOPPED;
    return ERR_OK;
}

} // namespace Orvek
