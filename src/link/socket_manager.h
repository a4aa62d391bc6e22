#pragma once
// The one UDP endpoint through which every exchange with units goes. Several tasks (units) may
// share it through std::shared_ptr; one mutex serialises every operation, held through the
// whole wait of a receive. Datagrams are queued per sender address, so a datagram that arrives
// for one unit while another is being waited for is kept for its owner.
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "link/udp_messenger.h"

namespace Orvek {

class SocketManager {
public:
    SocketManager();
    ~SocketManager();
    SocketManager(const SocketManager&) = delete;
    SocketManager& operator=(const SocketManager&) = delete;

    // Forwarded to the messenger (see UDPMessenger).
    int bind_socket(uint16_t port, unsigned long bufferSize);
    int releaseSocket();
    int get_port();
    int get_buffer_size();
    int get_bytes_in_buffer();
    std::string get_current_bound_address();

    // The unit address that the task in charge last selected ("" for a new manager).
    std::string get_current_dst_ip();
    void set_current_dst_ip(const std::string& address);

    // Split and paced as UDPMessenger::send_to. 0 or ERR_SOCKET.
    int send_to(const std::string& address, const std::vector<char>& bytes);
    // The string's bytes, without terminator.
    int send_to(const std::string& address, const std::string& message);

    // Ends a receive in progress (on any thread) within one poll interval; that receive
    // returns ERR_NO_RESPONSE. Does not take the lock.
    void interrupt();

    // Next datagram from `address`. Datagrams from other senders that arrive meanwhile stay
    // queued for them. Waits about timeoutMs (always one last short receive after the
    // deadline). 0, or ERR_NO_RESPONSE with `out` unchanged (ERR_SOCKET when the socket is
    // closed or fails).
    int receive_from(std::vector<char>& out, const std::string& address, int timeoutMs, int pollMs);
    // As above; `out` holds the datagram's bytes exactly, and is empty after a failure.
    int receive_from(std::string& out, const std::string& address, int timeoutMs, int pollMs);
    // Next datagram from any sender; among senders with waiting data the lowest address text
    // (string order, not arrival order) goes first. 0 or ERR_NO_RESPONSE.
    int receive_from_any(std::vector<char>& out, std::string& source, int timeoutMs, int pollMs);
    int receive_from_any(std::string& out, std::string& source, int timeoutMs, int pollMs);

    // Takes everything waiting off the socket and discards every queue.
    void flush_buffers();
    // Takes everything waiting off the socket and discards what `address` sent, without
    // waiting; other senders' datagrams stay queued. The number of datagrams discarded.
    int discard_from(const std::string& address);

    // The caller must hold the lock (only the manager's own operations do).
    int receive_waiting_unlocked();
    int receive_any_unlocked(int timeoutMs, int pollMs,
                             UDPMessenger::Wait wait = UDPMessenger::Wait::Fresh);

private:
    std::unique_ptr<UDPMessenger> messenger;
    std::string currentDstIp;
    DatagramQueues queues;
    std::mutex mutex;

    bool takeFrom(const std::string& address, std::vector<char>& out);
};

} // namespace Orvek
