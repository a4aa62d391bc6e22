// Fuzz target for the simulated unit's command parser and program interpreter. Even first
// byte: the rest are datagrams (split after each line feed) given to the unit as its network
// side does, with time passing between them. Odd first byte: the rest is a program image that
// is uploaded and run. Either way the unit answers or refuses, and a program stops within its
// instruction budget without touching memory outside its own.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "sim/unit_core.h"

namespace {

Orvek::Sim::UnitHardware hardware(uint8_t options) {
    Orvek::Sim::UnitHardware unit;
    unit.board =
        (options & 2) ? Orvek::SWITCHBOARD_S_PARAMETER_SWITCH : Orvek::SWITCHBOARD_NO_SWITCH_BOARD;
    unit.receivers = (options & 4) ? 4 : 1;
    unit.hasAttenuator = (options & 8) != 0;
    unit.hasSerialPort = (options & 16) != 0;
    unit.hasShaftEncoders = (options & 32) != 0;
    return unit;
}

struct Unit {
    explicit Unit(uint8_t options)
        : core(hardware(options), {0x12, 0x34, 0x00, 0x00}, Orvek::Sim::RfModel(),
               Orvek::Sim::CoreOptions{}) {}

    void datagram(const std::string& text) {
        switch (uploads.feed(text, now)) {
        case Orvek::Sim::UploadAssembler::Result::Incomplete:
            return;
        case Orvek::Sim::UploadAssembler::Result::Complete:
            command(uploads.take());
            return;
        default:
            command(text);
        }
    }
    void command(const std::string& text) {
        const Orvek::Sim::Command parsed = Orvek::Sim::parseCommand(text);
        if (parsed.kind == Orvek::Sim::CommandKind::Invalid) {
            (void)core.refuse(text, parsed.problem, now);
        } else {
            (void)core.handle(parsed, now);
        }
    }
    void pass(double seconds, std::size_t budget) {
        now += seconds;
        uploads.expire(now);
        core.run(now, budget);
        (void)core.takePackets();
        (void)core.takeEvents();
    }

    Orvek::Sim::UnitCore core;
    Orvek::Sim::UploadAssembler uploads;
    double now = 1.0;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    Unit unit(data[0]);
    if (data[0] & 1) {
        static const char digits[] = "0123456789abcdef";
        std::string upload = "W0000";
        for (size_t i = 1; i < size; ++i) {
            upload += digits[data[i] >> 4];
            upload += digits[data[i] & 15];
        }
        unit.datagram(upload + "\n");
        unit.datagram("B0000\n");
        unit.pass(10.0, 200000);
        return 0;
    }
    std::string text;
    for (size_t i = 1; i < size; ++i) {
        text += static_cast<char>(data[i]);
        if (data[i] == '\n' || i + 1 == size) {
            unit.datagram(text);
            text.clear();
            unit.pass(0.01, 20000);
        }
    }
    unit.pass(10.0, 200000);
    return 0;
}
