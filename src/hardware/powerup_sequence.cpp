#include "hardware/powerup_sequence.h"

#include <utility>

namespace Orvek {

namespace {

void addRegister(ProgramCommandList& list, std::uint32_t address, std::uint32_t value,
                 std::string comment = std::string()) {
    list.push_back(std::make_unique<Register>(address, value, std::move(comment)));
}

void addDelay(ProgramCommandList& list) {
    list.push_back(std::make_unique<FD>(std::string()));
}

} // namespace

ProgramCommandList standardPowerupSequence() {
    ProgramCommandList list;
    list.push_back(
        std::make_unique<Comment>("<<<<<<<<<< Start of hard coded startup configuration."));
    addRegister(list, 0x80, 0x0E);
    addRegister(list, 0x83, 0x00, "Set IF gain offset register");
    // Overwritten with the task's hop rate later in the preamble.
    addRegister(list, 0x85, 0x00, "Set sweep rate to 90K?");
    addRegister(list, 0x84, 0x08, "Trigger IO update");
    addRegister(list, 0x8E, 0x7F, "Send 0x7F serial bytes");
    addDelay(list);
    addDelay(list);
    addRegister(list, 0x75, 0x00);
    addRegister(list, 0x74, 0x00);
    addRegister(list, 0x35, 0x00);
    addRegister(list, 0x34, 0x00);
    addDelay(list);
    addDelay(list);
    // The 0x3x and 0x7x groups get the same set-up except 0x71, which takes 0x80 where 0x31
    // takes 0x00; the difference is intended.
    addRegister(list, 0x33, 0x08);
    addRegister(list, 0x32, 0x02);
    addRegister(list, 0x31, 0x00);
    addRegister(list, 0x30, 0x00);
    addRegister(list, 0x73, 0x08);
    addRegister(list, 0x72, 0x02);
    addRegister(list, 0x71, 0x80);
    addRegister(list, 0x70, 0x00);
    addDelay(list);
    addDelay(list);
    // External-board write of 0x00 to its register 0x00, spelled out as two plain writes.
    addRegister(list, 0x97, 0x00, "Write 0x00 to external board address 0x00.");
    addRegister(list, 0x98, 0x00);
    addRegister(list, 0x9B, 0x00, "No polarimetric measurements.");
    addRegister(list, 0x9A, 0x18, "Enable all 6 bits of TXS/RXS, Separate TxSw and TxPaOn");
    list.push_back(std::make_unique<Comment>("<<<<<<<<<< End hard-coded startup segment."));
    return list;
}

} // namespace Orvek
