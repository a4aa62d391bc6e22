// Fuzz target for the link layer's reply parsing: a scripted unit answers each command with
// replies taken from the input (none, one or two, late or on time, of any bytes), and a
// foreign sender interjects. The exchanges return their codes; none reads past a reply.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "core/exceptions.h"
#include "link/device_commands.h"
#include "link/prom_transfer.h"
#include "prom/prom_parameters.h"
#include "scripted_transport.h"

namespace {

const std::string kUnit = "192.168.1.10";

class ReplySource {
public:
    ReplySource(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    tarntest::Replies next() {
        tarntest::Replies replies;
        if (at_ >= size_) {
            return replies; // a silent unit
        }
        const uint8_t control = data_[at_++];
        for (int i = 0; i < control % 3 && at_ < size_; ++i) {
            const std::size_t wanted = data_[at_++] % 48;
            const std::size_t length = std::min<std::size_t>(wanted, size_ - at_);
            replies.emplace_back(std::string(data_ + at_, data_ + at_ + length),
                                 (control >> 2) * 20);
            at_ += length;
        }
        return replies;
    }
    bool empty() const { return at_ >= size_; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
};

bool keepGoing(int, void*) {
    return true;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    auto transport = std::make_shared<tarntest::ScriptedTransport>();
    auto source = std::make_shared<ReplySource>(data + 2, size - 2);
    transport->setUnit(kUnit, [source](const std::string&) { return source->next(); });
    if (data[0] & 1) {
        transport->arrive("192.168.1.99", tarntest::Reply("\r\n>", 1));
    }
    const Orvek::Endpoint endpoint = transport;

    (void)Orvek::getFirmwareVersion(endpoint, kUnit);
    (void)Orvek::haltExchange(endpoint, kUnit, 100, 2);
    (void)Orvek::TARN::enterLowPower(endpoint, kUnit, 100);
    std::vector<int> bytes;
    (void)Orvek::readPromBytes(endpoint, kUnit, 0, 3, bytes);

    Orvek::EntryPoint entry;
    entry.address = 0x40;
    entry.packetCount = 1 + data[1] % 6;
    entry.packetTimeoutMs = 100;
    entry.packetLengths.assign(static_cast<std::size_t>(entry.packetCount), 8);
    std::vector<Orvek::PacketData> packets;
    (void)Orvek::TARN::runProgram(endpoint, kUnit, entry, packets, true);

    Orvek::PromParameters parameters;
    try {
        (void)Orvek::TARN::downloadProm(endpoint, kUnit, parameters, keepGoing, nullptr);
    } catch (const Orvek::InvalidPromException&) {
        // documented: an entry running past the end of the image
    }
    return 0;
}
