// Fuzz target for the link layer's reply parsing: a scripted unit answers each command with
// replies taken from the input (none, one or two, late or on time, of any bytes), and a
// foreign sender interjects. The exchanges return their codes; none reads past a reply.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/exceptions.h"
#include "link/device_commands.h"
#include "link/prom_transfer.h"
#include "prom/prom_parameters.h"
#include "scripted_transport.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::string unit = "192.168.1.10";
    auto transport = std::make_shared<tarntest::ScriptedTransport>();
    auto at = std::make_shared<size_t>(2);
    // Per command: a control byte (reply count modulo 3, delay in 20 ms steps above bit 1),
    // then each reply as a length byte and its bytes. Past the input's end the unit is silent.
    transport->setUnit(unit, [=](const std::string&) {
        tarntest::Replies replies;
        const uint8_t control = *at < size ? data[(*at)++] : 0;
        for (int i = 0; i < control % 3 && *at < size; ++i) {
            const size_t wanted = data[(*at)++] % 48;
            const size_t length = std::min(wanted, size - *at);
            replies.emplace_back(std::string(data + *at, data + *at + length), (control >> 2) * 20);
            *at += length;
        }
        return replies;
    });
    if (data[0] & 1) {
        transport->arrive("192.168.1.99", tarntest::Reply("\r\n>", 1));
    }
    const Orvek::Endpoint endpoint = transport;

    (void)Orvek::getFirmwareVersion(endpoint, unit);
    (void)Orvek::haltExchange(endpoint, unit, 100, 2);
    (void)Orvek::TARN::enterLowPower(endpoint, unit, 100);
    std::vector<int> bytes;
    (void)Orvek::readPromBytes(endpoint, unit, 0, 3, bytes);
    Orvek::EntryPoint entry;
    entry.address = 0x40;
    entry.packetCount = 1 + data[1] % 6;
    entry.packetTimeoutMs = 100;
    entry.packetLengths.assign(static_cast<std::size_t>(entry.packetCount), 8);
    std::vector<Orvek::PacketData> packets;
    (void)Orvek::TARN::runProgram(endpoint, unit, entry, packets, true);
    Orvek::PromParameters parameters;
    try {
        (void)Orvek::TARN::downloadProm(endpoint, unit, parameters, nullptr, nullptr);
    } catch (const Orvek::InvalidPromException&) {
        // documented: an entry running past the end of the image
    }
    return 0;
}
