// Fuzz target for the simulated unit's command parser and program interpreter. Even first
// byte: the rest are datagrams (split after each line feed) given to the unit as its network
// side does, with time passing between them. Odd first byte: the rest is a program image that
// is uploaded and run. Either way the unit answers or refuses, and a program stops within its
// instruction budget without touching memory outside its own.
#include <cstdint>
#include <string>

#include "sim/unit_core.h"

using namespace Orvek::Sim;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    UnitHardware hardware; // options from the first byte
    hardware.board =
        (data[0] & 2) ? Orvek::SWITCHBOARD_S_PARAMETER_SWITCH : Orvek::SWITCHBOARD_NO_SWITCH_BOARD;
    hardware.receivers = (data[0] & 4) ? 4 : 1;
    hardware.hasAttenuator = (data[0] & 8) != 0;
    hardware.hasSerialPort = (data[0] & 16) != 0;
    hardware.hasShaftEncoders = (data[0] & 32) != 0;
    UnitCore core(hardware, {0x12, 0x34, 0x00, 0x00}, RfModel(), CoreOptions{});
    UploadAssembler uploads;
    double now = 1.0;

    auto command = [&](const std::string& text) {
        const Command parsed = parseCommand(text);
        if (parsed.kind == CommandKind::Invalid) {
            (void)core.refuse(text, parsed.problem, now);
        } else {
            (void)core.handle(parsed, now);
        }
    };
    auto datagram = [&](const std::string& text) {
        const UploadAssembler::Result result = uploads.feed(text, now);
        if (result == UploadAssembler::Result::Complete) {
            command(uploads.take());
        } else if (result != UploadAssembler::Result::Incomplete) {
            command(text);
        }
    };
    auto pass = [&](double seconds, std::size_t budget) {
        now += seconds;
        uploads.expire(now);
        core.run(now, budget);
        (void)core.takePackets();
        (void)core.takeEvents();
    };

    std::string text;
    if (data[0] & 1) {
        static const char digits[] = "0123456789abcdef";
        text = "W0000";
        for (size_t i = 1; i < size; ++i) {
            text += digits[data[i] >> 4];
            text += digits[data[i] & 15];
        }
        datagram(text + "\n");
        datagram("B0000\n");
    } else {
        for (size_t i = 1; i < size; ++i) {
            text += static_cast<char>(data[i]);
            if (data[i] == '\n' || i + 1 == size) {
                datagram(text);
                text.clear();
                pass(0.01, 20000);
            }
        }
    }
    pass(10.0, 200000);
    return 0;
}
