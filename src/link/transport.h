#pragma once
// What the unit's protocol needs from the network: send a message to a unit, take the next
// datagram one unit sent, wait for any unit, drop what one unit left queued, and end one
// task's wait. The UDP endpoint (SocketManager) is the implementation the library uses; the
// protocol functions in link/ see only this interface.
//
// Units are told apart by their dotted-quad address. A unit listens and sends on the port the
// endpoint is bound to, so an accepted datagram always came from that port of a unit that a
// task addresses (sent to, selected or waits for). Every failure is an Err_Code; nothing
// throws.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Orvek {

class Transport {
public:
    virtual ~Transport() = default;

    // Opens the endpoint on local `port` (the units' port) with a kernel receive buffer of
    // `bufferSize` bytes. 0 or ERR_SOCKET. Binding again with the same port keeps the socket
    // and what is queued.
    virtual int bind_socket(uint16_t port, unsigned long bufferSize) = 0;
    // The receive buffer the kernel granted, or -1 when closed.
    virtual int get_buffer_size() = 0;

    // The unit the task in charge last selected ("" at first). Selecting a unit lets its
    // datagrams be queued.
    virtual std::string get_current_dst_ip() = 0;
    virtual void set_current_dst_ip(const std::string& address) = 0;

    // Sends one message to the unit (split into paced datagrams when long). 0 or ERR_SOCKET.
    virtual int send_to(const std::string& address, const std::vector<char>& bytes) = 0;
    int send_to(const std::string& address, const std::string& message) {
        return send_to(address, std::vector<char>(message.begin(), message.end()));
    }

    // Next datagram from the unit at `address`, waiting about timeoutMs (0: only what is
    // already there). Datagrams of other units that arrive meanwhile stay queued for them.
    // 0, ERR_NO_RESPONSE (time-out, or interrupt(address)) with `out` unchanged, ERR_SOCKET.
    virtual int receive_from(std::vector<char>& out, const std::string& address, int timeoutMs,
                             int pollMs) = 0;
    // As above; `out` holds the datagram's bytes exactly, and is empty after a failure.
    int receive_from(std::string& out, const std::string& address, int timeoutMs, int pollMs) {
        std::vector<char> datagram;
        const int result = receive_from(datagram, address, timeoutMs, pollMs);
        out.assign(datagram.begin(), datagram.end());
        return result;
    }
    // Next datagram from any addressed unit; among units with waiting data the lowest address
    // text goes first. 0 or ERR_NO_RESPONSE.
    virtual int receive_from_any(std::vector<char>& out, std::string& source, int timeoutMs,
                                 int pollMs) = 0;

    // Discards every datagram queued from `address` (also those already waiting on the
    // socket, up to a bound that a flood cannot hold open); other units' queues are untouched.
    // Returns how many were dropped.
    virtual std::size_t drain(const std::string& address) = 0;
    // The unit is no longer addressed: its queue is freed and its datagrams are dropped until
    // a task addresses it again.
    virtual void forget(const std::string& address) = 0;
    // Ends the wait for `address` in progress (or about to take its turn), from any thread,
    // within a poll step; that receive returns ERR_NO_RESPONSE. Other waits go on. Forgotten
    // when nothing waits for `address`.
    virtual void interrupt(const std::string& address) = 0;
};

} // namespace Orvek
