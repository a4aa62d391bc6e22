#include "link/udp_messenger.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include "link/receive_queues.h"
#include "tarndll.h"

namespace Orvek {

std::atomic<bool> sleepingReceiveBaseline{false};

namespace {

using Clock = std::chrono::steady_clock;

std::string dottedQuad(const sockaddr_in& address) {
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return text;
}

int millisecondsUntil(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
    if (left.count() <= 0) {
        return 0;
    }
    // Round up so that a wait never ends just before its deadline.
    return static_cast<int>((left.count() + 999) / 1000);
}

} // namespace

struct UDPMessenger::State {
    int sockfd = -1;
    uint16_t port = 0;
    uint32_t rxBufferSize = static_cast<uint32_t>(defaultBufferSize);
    bool isOpen = false;
    std::atomic<bool> keepWaiting{false};
    // Set by interrupt() before it writes to the pipe, so that arming a wait only touches the
    // pipe when there is something to drain.
    std::atomic<bool> wakePending{false};
    // Receive buffer of the queueing receives, allocated once (they run under the manager's
    // lock, one at a time).
    std::vector<char> scratch = std::vector<char>(maxDatagramSize);
    // Self-pipe: interrupt() writes a byte so that a wait in poll() ends at once.
    int wakeRead = -1;
    int wakeWrite = -1;
};

UDPMessenger::UDPMessenger() : state(std::make_unique<State>()) {
    int fds[2];
    if (pipe(fds) == 0) {
        for (int fd : fds) {
            fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
            fcntl(fd, F_SETFD, FD_CLOEXEC);
        }
        state->wakeRead = fds[0];
        state->wakeWrite = fds[1];
    }
    // Without the pipe an interrupt is still noticed, at the end of the current poll step.
}

UDPMessenger::~UDPMessenger() {
    releaseSocket();
    if (state->wakeRead >= 0) {
        close(state->wakeRead);
        close(state->wakeWrite);
    }
}

void UDPMessenger::debugSocketError() {}

int UDPMessenger::releaseSocket() {
    int result = 0;
    if (state->sockfd >= 0) {
        const int one = 1;
        setsockopt(state->sockfd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        result = close(state->sockfd);
        state->sockfd = -1;
    }
    state->isOpen = false;
    return result;
}

int UDPMessenger::bind_socket(uint16_t port, unsigned long bufferSize) {
    if (state->port == port && state->rxBufferSize == bufferSize) {
        if (state->isOpen) {
            return ERR_OK;
        }
    } else if (state->isOpen) {
        releaseSocket();
    }
    // A descriptor left by an earlier failed bind is closed, not leaked.
    releaseSocket();
    state->port = port;

    state->sockfd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (state->sockfd < 0) {
        debugSocketError();
        return ERR_SOCKET;
    }
    const int one = 1;
    if (setsockopt(state->sockfd, SOL_SOCKET, SO_BROADCAST, &one, sizeof one) != 0) {
        std::fprintf(stderr, "Failure configuring SO_BROADCAST\n");
        debugSocketError();
        return ERR_SOCKET;
    }
    const int flags = fcntl(state->sockfd, F_GETFL);
    if (flags < 0 || fcntl(state->sockfd, F_SETFL, flags | O_NONBLOCK) != 0) {
        return ERR_SOCKET;
    }
    const int requested = static_cast<int>(bufferSize);
    if (setsockopt(state->sockfd, SOL_SOCKET, SO_RCVBUF, &requested, sizeof requested) != 0) {
        std::fprintf(stderr,
                     "Failure configuring socket buffer to %lu bytes. You may need to enable "
                     "large rx buffers manually if on linux\n",
                     bufferSize);
    } else {
        // Linux grants at most twice net.core.rmem_max; a smaller buffer would drop packets of
        // a sweep burst, so the shortfall is refused rather than tolerated.
        int actual = 0;
        socklen_t size = sizeof actual;
        getsockopt(state->sockfd, SOL_SOCKET, SO_RCVBUF, &actual, &size);
        if (static_cast<unsigned long>(actual) < bufferSize) {
            std::fprintf(stderr,
                         "Actual allocated buffer size does not match request! Requested: %lu "
                         "actual: %d. You probably need to look at setting `rmem_max` "
                         "(`net.core.rmem_max`) to at least %lu bytes.\n",
                         bufferSize, actual, bufferSize);
            std::fprintf(stderr,
                         "Add `net.core.rmem_max = %lu` to `/etc/sysctl.conf`, or run `sysctl -w "
                         "net.core.rmem_max=%lu` (though `sysctl` settings will not persist "
                         "across reboots).\n",
                         bufferSize, bufferSize);
            state->rxBufferSize = static_cast<uint32_t>(bufferSize);
            debugSocketError();
            return ERR_SOCKET;
        }
    }
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = htons(port);
    if (bind(state->sockfd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
        state->isOpen = false;
        debugSocketError();
        return ERR_SOCKET;
    }
    state->isOpen = true;
    return ERR_OK;
}

uint16_t UDPMessenger::getPort() const {
    return state->port;
}

int UDPMessenger::getBufferSize() const {
    int size = 0;
    socklen_t length = sizeof size;
    if (getsockopt(state->sockfd, SOL_SOCKET, SO_RCVBUF, &size, &length) != 0) {
        return -1;
    }
    return size;
}

std::string UDPMessenger::getBoundAddress() const {
    if (!state->isOpen) {
        return "Socket not open!";
    }
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (getsockname(state->sockfd, reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        return "ERROR reading bound address!";
    }
    return dottedQuad(local);
}

int UDPMessenger::send_to(const std::string& address, const std::vector<char>& bytes) {
    if (!state->isOpen) {
        debugSocketError();
        return ERR_SOCKET;
    }
    sockaddr_in destination{};
    destination.sin_family = AF_INET;
    destination.sin_port = htons(state->port);
    // inet_aton accepts what inet_addr accepts but reports a bad text instead of turning it
    // into the broadcast address.
    if (inet_aton(address.c_str(), &destination.sin_addr) == 0) {
        debugSocketError();
        return ERR_SOCKET;
    }
    auto sendSlice = [&](const char* data, std::size_t length) {
        for (int attempt = 0;; ++attempt) {
            const ssize_t sent =
                sendto(state->sockfd, data, length, 0, reinterpret_cast<sockaddr*>(&destination),
                       sizeof destination);
            if (sent >= 0) {
                return true;
            }
            // A full send buffer is transient: wait (bounded) until it drains.
            const bool transient =
                errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == ENOBUFS;
            if (!transient || attempt >= 50) {
                debugSocketError();
                return false;
            }
            pollfd writable{state->sockfd, POLLOUT, 0};
            poll(&writable, 1, 2);
        }
    };
    const char* data = bytes.data();
    std::size_t left = bytes.size();
    while (left > maxSendSize) {
        if (!sendSlice(data, maxSendSize)) {
            return ERR_SOCKET;
        }
        data += maxSendSize;
        left -= maxSendSize;
        std::this_thread::sleep_for(std::chrono::microseconds(slicePauseMicroseconds));
    }
    return sendSlice(data, left) ? ERR_OK : ERR_SOCKET;
}

int UDPMessenger::available_bytes() const {
    int bytes = 0;
    if (ioctl(state->sockfd, FIONREAD, &bytes) != 0) {
        return -1;
    }
    return bytes;
}

// Takes the next datagram if one is waiting: 1 when `buffer` holds it, 0 when nothing is
// waiting, -1 on a socket failure. One non-blocking recvfrom per check keeps the spin phase
// cheap. An empty datagram (which a unit never sends) is discarded: FIONREAD cannot tell it
// from an empty socket, and left in place it would hide everything queued behind it.
int UDPMessenger::tryRead(char* buffer, std::size_t length, std::size_t& received,
                          std::string& source, uint16_t& sourcePort) {
    for (;;) {
        sockaddr_in sender{};
        socklen_t senderLength = sizeof sender;
        const ssize_t got = recvfrom(state->sockfd, buffer, length, MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr*>(&sender), &senderLength);
        if (got > 0) {
            source = dottedQuad(sender);
            sourcePort = ntohs(sender.sin_port);
            received = static_cast<std::size_t>(got);
            return 1;
        }
        if (got == 0 || errno == EINTR) {
            continue;
        }
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return 0;
        }
        source = dottedQuad(sender);
        debugSocketError();
        return -1;
    }
}

// Waits until the socket is readable, interrupt() is called or timeoutMs (-1: no limit)
// passes. Returns true when woken early (data, interrupt or a signal).
bool UDPMessenger::waitReadable(int timeoutMs) {
    pollfd fds[2] = {{state->sockfd, POLLIN, 0}, {state->wakeRead, POLLIN, 0}};
    const nfds_t count = state->wakeRead >= 0 ? 2 : 1;
    if (count == 1 && (timeoutMs < 0 || timeoutMs > 5)) {
        timeoutMs = 5; // no wake-up pipe: notice an interrupt soon anyway
    }
    const int ready = poll(fds, count, timeoutMs);
    if (count == 2 && (fds[1].revents & POLLIN) != 0) {
        // interrupt() clears the flag before it writes, so the flag already tells the caller;
        // a wake-up left over from before this wait must not turn the wait into a spin.
        char drained[64];
        while (read(state->wakeRead, drained, sizeof drained) > 0) {
        }
    }
    return ready != 0;
}

void UDPMessenger::armWait() {
    if (state->wakeRead >= 0 && state->wakePending.exchange(false)) {
        char drained[64];
        while (read(state->wakeRead, drained, sizeof drained) > 0) {
        }
    }
    state->keepWaiting.store(true);
}

void UDPMessenger::interrupt() {
    state->keepWaiting.store(false);
    state->wakePending.store(true);
    if (state->wakeWrite >= 0) {
        const char wake = 1;
        // A full pipe already holds a wake-up; nothing more to do.
        [[maybe_unused]] const ssize_t written = write(state->wakeWrite, &wake, 1);
    }
}

bool UDPMessenger::waitInterrupted() const {
    return !state->keepWaiting.load();
}

int UDPMessenger::receive(char* buffer, std::size_t length, std::size_t& received,
                          std::string& source, int timeoutMs, int pollMs, Wait wait) {
    uint16_t sourcePort = 0;
    return receiveFrom(buffer, length, received, source, sourcePort, timeoutMs, pollMs, wait);
}

int UDPMessenger::receiveFrom(char* buffer, std::size_t length, std::size_t& received,
                              std::string& source, uint16_t& sourcePort, int timeoutMs, int pollMs,
                              Wait wait) {
    if (!state->isOpen || length == 0) {
        return ERR_SOCKET;
    }
    if (wait == Wait::Fresh) {
        armWait();
    }
    auto keepGoing = [&] { return timeoutMs != 0 && state->keepWaiting.load(); };
    // 1: got one, 0: nothing yet, -1: socket failure.
    auto check = [&] { return tryRead(buffer, length, received, source, sourcePort); };
    auto outcome = [](int checked) { return checked > 0 ? ERR_OK : ERR_SOCKET; };

    if (pollMs <= 0) {
        // No poll interval: wait without counting time until data or an interrupt.
        for (;;) {
            const int checked = check();
            if (checked != 0) {
                return outcome(checked);
            }
            if (!keepGoing()) {
                return ERR_NO_RESPONSE;
            }
            waitReadable(-1);
        }
    }

    if (sleepingReceiveBaseline.load(std::memory_order_relaxed)) {
        for (int polls = 0; polls <= spinPolls; ++polls) {
            const int checked = check();
            if (checked != 0) {
                return outcome(checked);
            }
        }
        const long long steps = timeoutMs < 0 ? 1 : static_cast<long long>(timeoutMs) / pollMs + 1;
        for (long long step = 0; step < steps && keepGoing(); ++step) {
            std::this_thread::sleep_for(std::chrono::milliseconds(pollMs));
            const int checked = check();
            if (checked != 0) {
                return outcome(checked);
            }
        }
        return ERR_NO_RESPONSE;
    }
    // The first checks spin, to catch a fast reply without any scheduling delay.
    // Yielding between checks costs nothing on an idle host and lets whatever else is runnable
    // (on a small host, possibly the very process that is to answer) use the processor.
    // The spin lasts a few round trips (a reply on the unit's LAN takes tens of microseconds),
    // not longer: a stream's data packets come a millisecond or so apart, and spinning through
    // each gap would keep a core busy for nothing. On a loaded host every yield can cost a
    // whole time slice as well. The poll steps below then take over; they wake on readiness.
    const Clock::time_point spinEnd = Clock::now() + std::chrono::microseconds(200);
    for (int polls = 0; polls <= spinPolls; ++polls) {
        const int checked = check();
        if (checked != 0) {
            return outcome(checked);
        }
        if (!keepGoing()) {
            return ERR_NO_RESPONSE;
        }
        if (Clock::now() >= spinEnd) {
            break;
        }
        sched_yield();
    }
    // Then wait in steps of pollMs until more than timeoutMs has been spent waiting: that is
    // timeoutMs / pollMs + 1 whole steps. Readiness ends a step early, so a datagram is taken
    // the moment it arrives.
    const long long steps = timeoutMs < 0 ? 1 : static_cast<long long>(timeoutMs) / pollMs + 1;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(steps * pollMs);
    for (;;) {
        const int left = millisecondsUntil(deadline);
        if (left > 0) {
            waitReadable(left < pollMs ? left : pollMs);
        }
        const int checked = check();
        if (checked != 0) {
            return outcome(checked);
        }
        if (left <= 0 || !keepGoing()) {
            return ERR_NO_RESPONSE;
        }
    }
}

int UDPMessenger::receive(std::vector<char>& out, std::string& source, int timeoutMs, int pollMs) {
    std::vector<char> buffer(maxDatagramSize);
    std::size_t received = 0;
    const int result = receive(buffer.data(), buffer.size(), received, source, timeoutMs, pollMs);
    if (result == ERR_OK) {
        out = std::move(buffer);
    }
    return result;
}

int UDPMessenger::receive_waiting(ReceiveQueues& queues, std::size_t limit) {
    if (!state->isOpen) {
        return ERR_SOCKET;
    }
    std::vector<char>& buffer = state->scratch;
    for (std::size_t taken = 0; taken < limit; ++taken) {
        std::size_t received = 0;
        std::string sender;
        uint16_t senderPort = 0;
        const int checked = tryRead(buffer.data(), buffer.size(), received, sender, senderPort);
        if (checked < 0) {
            return ERR_SOCKET;
        }
        if (checked == 0) {
            return ERR_OK;
        }
        queues.deliver(sender, senderPort, buffer.data(), received);
    }
    return ERR_OK;
}

int UDPMessenger::receive_into(ReceiveQueues& queues, int timeoutMs, int pollMs, Wait wait) {
    std::vector<char>& buffer = state->scratch;
    std::size_t received = 0;
    std::string sender;
    uint16_t senderPort = 0;
    const int result = receiveFrom(buffer.data(), buffer.size(), received, sender, senderPort,
                                   timeoutMs, pollMs, wait);
    if (result == ERR_OK) {
        queues.deliver(sender, senderPort, buffer.data(), received);
    }
    return result;
}

} // namespace Orvek
