#pragma once
// The library's only socket: one non-blocking IPv4 UDP socket bound to a local port on all
// interfaces. It sends byte vectors to a dotted-quad address (on the same port number it is
// bound to, because the unit listens on that port) and hands back datagrams with the address
// that sent them. It knows nothing of the unit's protocol and takes no lock; SocketManager
// serialises its use. Every failure is an Err_Code; nothing throws.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Orvek {

class ReceiveQueues;

// Benchmark hook, off unless a benchmark sets it (internal, never exported): timed receives
// then behave like the plain driver loop the library is compared against, 701 back-to-back
// polls and then whole sleeps of the poll interval, ignoring readiness.
extern std::atomic<bool> sleepingReceiveBaseline;

class UDPMessenger {
public:
    // Largest datagram read (jumbo frame payload); every receive buffer has this size.
    static constexpr std::size_t maxDatagramSize = 9001;
    // Largest datagram sent; longer messages are split into slices of this size.
    static constexpr std::size_t maxSendSize = 1400;
    // Pause after each slice of a split message, so the unit's receiver is not overrun.
    static constexpr unsigned slicePauseMicroseconds = 1000;
    // Readiness checks made before a timed receive starts to wait; the time they take is not
    // counted against the time-out.
    static constexpr int spinPolls = 700;
    // Receive buffer requested unless told otherwise: the unit streams packets in bursts.
    static constexpr unsigned long defaultBufferSize = 8388608;

    // Whether a timed receive starts a new wait (re-arming the interrupt flag) or continues
    // one that the caller armed with armWait().
    enum class Wait { Fresh, Continue };

    UDPMessenger();
    ~UDPMessenger();
    UDPMessenger(const UDPMessenger&) = delete;
    UDPMessenger& operator=(const UDPMessenger&) = delete;

    // Opens the socket with SO_BROADCAST, non-blocking, the given receive buffer, bound to
    // `port` on all interfaces. 0 or ERR_SOCKET (also when the kernel grants a smaller buffer
    // than asked; the message says how to raise net.core.rmem_max). Calling it again with the
    // same port and the stored size while open does nothing.
    int bind_socket(uint16_t port, unsigned long bufferSize);
    // Closes the socket; returns the result of close (0 when there was none).
    int releaseSocket();
    uint16_t getPort() const;
    // The kernel's SO_RCVBUF value, or -1.
    int getBufferSize() const;
    // Local address, "Socket not open!" or "ERROR reading bound address!".
    std::string getBoundAddress() const;

    // Sends `bytes` to `address` (dotted quad) on the bound port: one datagram up to 1400
    // bytes, else 1400-byte slices 1 ms apart and the remainder last. 0 or ERR_SOCKET (closed,
    // unparseable address or a failed sendto; slices already sent are not recalled).
    int send_to(const std::string& address, const std::vector<char>& bytes);

    // Bytes of the next waiting datagram (FIONREAD), 0 if none, -1 on failure.
    int available_bytes() const;

    // Timed receive of one datagram into `buffer`. timeoutMs 0 checks once; pollMs 0 waits
    // without counting time until a datagram arrives or interrupt() is called. Otherwise up to
    // 700 quick checks within 200 microseconds, then waits for readability in steps of at most
    // pollMs until more than timeoutMs has been spent waiting. 0, ERR_NO_RESPONSE (time-out or
    // interrupt) or ERR_SOCKET.
    int receive(char* buffer, std::size_t length, std::size_t& received, std::string& source,
                int timeoutMs, int pollMs, Wait wait = Wait::Fresh);
    // As above into a 9001-byte buffer; on success `out` holds all 9001 bytes whatever the
    // datagram's length (callers of this form know the length from the content).
    int receive(std::vector<char>& out, std::string& source, int timeoutMs, int pollMs);
    // Hands the datagrams already waiting, at most `limit` of them, to `queues` (which admits
    // or drops each) without waiting. The limit matters when a sender outpaces the host: the
    // socket then never runs empty, and only the limit ends the call. 0 or ERR_SOCKET.
    int receive_waiting(ReceiveQueues& queues, std::size_t limit);
    // One timed receive; on success the datagram (exactly its bytes, with its sender's address
    // and port) goes to `queues`. Otherwise the receive's code.
    int receive_into(ReceiveQueues& queues, int timeoutMs, int pollMs, Wait wait = Wait::Fresh);

    // Starts a wait that several receives with Wait::Continue share.
    void armWait();
    // Ends a wait in progress at once, from any thread, without any lock. An interrupt that
    // arrives while nothing waits is forgotten by the next fresh wait.
    void interrupt();
    // True once interrupt() has ended the current wait.
    bool waitInterrupted() const;

    // Called at every socket failure.
    void debugSocketError();

private:
    struct State;
    std::unique_ptr<State> state;

    int tryRead(char* buffer, std::size_t length, std::size_t& received, std::string& source,
                uint16_t& sourcePort);
    int receiveFrom(char* buffer, std::size_t length, std::size_t& received, std::string& source,
                    uint16_t& sourcePort, int timeoutMs, int pollMs, Wait wait);
    bool waitReadable(int timeoutMs);
};

} // namespace Orvek
