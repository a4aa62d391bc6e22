#pragma once
// The UDP endpoint through which every exchange with units goes. Several tasks (units) may
// share it through std::shared_ptr. One mutex serialises the socket and the queues and is held
// through the wait of a receive; datagrams are queued per unit (see ReceiveQueues for what is
// admitted and how memory stays bounded), so a datagram that arrives for one unit while another
// is waited for is kept for its owner, and no operation discards another unit's datagrams.
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "link/receive_queues.h"
#include "link/transport.h"
#include "link/udp_messenger.h"

namespace Orvek {

class SocketManager : public Transport {
public:
    SocketManager();
    ~SocketManager() override;
    SocketManager(const SocketManager&) = delete;
    SocketManager& operator=(const SocketManager&) = delete;

    using Transport::receive_from;
    using Transport::send_to;

    // Forwarded to the messenger (see UDPMessenger). Datagrams are accepted from the bound
    // port only.
    int bind_socket(uint16_t port, unsigned long bufferSize) override;
    int releaseSocket();
    int get_port();
    int get_buffer_size() override;
    int get_bytes_in_buffer();
    std::string get_current_bound_address();

    std::string get_current_dst_ip() override;
    void set_current_dst_ip(const std::string& address) override;

    int send_to(const std::string& address, const std::vector<char>& bytes) override;

    int receive_from(std::vector<char>& out, const std::string& address, int timeoutMs,
                     int pollMs) override;
    int receive_from_any(std::vector<char>& out, std::string& source, int timeoutMs,
                         int pollMs) override;
    int receive_from_any(std::string& out, std::string& source, int timeoutMs, int pollMs);

    std::size_t drain(const std::string& address) override;
    void forget(const std::string& address) override;
    void interrupt(const std::string& address) override;

    // Dropped and queued datagrams so far.
    ReceiveQueues::Counters counters();

private:
    // Waits per unit address, so that an interrupt reaches only its own task's wait.
    struct WaitSlot {
        int waiters = 0;
        bool interrupted = false;
    };
    class WaitRegistration;

    std::unique_ptr<UDPMessenger> messenger;
    std::string currentDstIp;
    ReceiveQueues queues;
    std::mutex mutex;
    std::mutex waitMutex; // guards `waits` only; never held while taking `mutex`
    std::map<std::string, WaitSlot> waits;

    bool interrupted(const std::string& address);
};

} // namespace Orvek
