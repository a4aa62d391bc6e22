#include "link/receive_queues.h"

namespace Orvek {

void ReceiveQueues::address(const std::string& unit) {
    queues.emplace(unit, Queue{});
}

void ReceiveQueues::forget(const std::string& unit) {
    drop(unit);
    queues.erase(unit);
}

std::vector<char> ReceiveQueues::popFront(Queue& queue) {
    std::vector<char> front = std::move(queue.datagrams.front());
    queue.datagrams.pop_front();
    queue.bytes -= front.size();
    totals.queuedBytes -= front.size();
    --totals.queuedDatagrams;
    return front;
}

void ReceiveQueues::makeRoomFor(std::size_t length) {
    while (totals.queuedDatagrams > 0 && (totals.queuedDatagrams + 1 > maxQueuedDatagrams ||
                                          totals.queuedBytes + length > maxQueuedBytes)) {
        Queue* largest = nullptr;
        for (auto& entry : queues) {
            if (!entry.second.datagrams.empty() &&
                (largest == nullptr || entry.second.bytes > largest->bytes)) {
                largest = &entry.second;
            }
        }
        popFront(*largest);
        ++totals.overflowDropped;
    }
}

bool ReceiveQueues::deliver(const std::string& sender, uint16_t senderPort, const char* data,
                            std::size_t length) {
    auto found = queues.find(sender);
    if (found == queues.end() || senderPort != unitPort || length > maxQueuedBytes) {
        ++totals.foreignDropped;
        return false;
    }
    makeRoomFor(length);
    if (spares.empty()) {
        found->second.datagrams.emplace_back(data, data + length);
    } else {
        found->second.datagrams.push_back(std::move(spares.back()));
        spares.pop_back();
        found->second.datagrams.back().assign(data, data + length);
    }
    found->second.bytes += length;
    totals.queuedBytes += length;
    ++totals.queuedDatagrams;
    return true;
}

bool ReceiveQueues::take(const std::string& unit, std::vector<char>& out) {
    auto found = queues.find(unit);
    if (found == queues.end() || found->second.datagrams.empty()) {
        return false;
    }
    std::vector<char> front = popFront(found->second);
    // A caller's large buffer is not kept: spares stay datagram-sized.
    if (out.capacity() != 0 && out.capacity() <= 65536 && spares.size() < maxSpareBuffers)
        spares.push_back(std::move(out));
    out = std::move(front);
    return true;
}

bool ReceiveQueues::firstWaiting(std::string& unit) const {
    for (const auto& entry : queues) {
        if (!entry.second.datagrams.empty()) {
            unit = entry.first;
            return true;
        }
    }
    return false;
}

std::size_t ReceiveQueues::drop(const std::string& unit) {
    auto found = queues.find(unit);
    if (found == queues.end()) {
        return 0;
    }
    const std::size_t count = found->second.datagrams.size();
    while (!found->second.datagrams.empty()) {
        popFront(found->second);
    }
    found->second.datagrams.shrink_to_fit();
    return count;
}

} // namespace Orvek
