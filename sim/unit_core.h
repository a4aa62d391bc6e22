#pragma once
// The logic of one simulated unit without network or threads: its registers, program memory,
// program interpreter, PROM, auxiliary inputs and radio. The caller passes the time (seconds
// on the unit's clock) into every call and takes the packets and events it produced.
//
// Register map, as far as the unit acts on it:
//   0x04-0x06  transmit DDS word (bits 23..16, 15..8, 7..0)   0x44-0x46  receive DDS word
//   0x36       frequency offset of the receiver, in 256 DDS steps (enabled by 0x37 bit 0)
//   0x80       band bits 6 and 0, tx amplifier bit 1, rx amplifier bit 2, tx RF switch bit 3,
//              supplies off bit 7
//   0x81       IF gain, 3 dB per step in bits 3..0; bit 4 switches in a 12 dB pad
//   0x82       switch board path (decoding per board), or the receive attenuator's lines when
//              latched by an I/O update while bit 4 is set
//   0x84       strobes: bit 0 loads the PLL from 0x9D/0xB4, bit 3 I/O update, bit 6 resets
//              the sweep timer
//   0x85       hop rate (point time, 0..13)
//   0x87       requests: bit 0 shaft encoders and bit 4 sweep timer (each taken by the next
//              FE), bit 3 appends the serial block, bit 1 resets the encoders, bit 2 the
//              packet counter
//   0x89       sends the data packet collected so far; the value becomes its tag B
//   0x8E       serial block length in bytes (0: none)
//   0x90/0x91/0x93/0x95   jump, call, return;  0x97/0x98  external board write (see
//              instruction_decoder.h)
//   0xA0       enabled receivers, bits 3..0 (none set: receiver 0)
//   0xB6       PROM write enable, bit 0
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "sim/aux_devices.h"
#include "sim/command_text.h"
#include "sim/instruction_decoder.h"
#include "sim/prom_memory.h"
#include "sim/rf_model.h"
#include "sim/unit_hardware.h"

namespace Orvek {
namespace Sim {

class FaultInjector;

struct DataPacket {
    std::vector<std::uint8_t> datagram; // 4-byte header and payload
    double programSeconds = 0.0;        // when the program sent it
    std::uint8_t tagA = 0;
    std::uint8_t tagB = 0;
    std::uint16_t counter = 0;
};

struct CoreEvent {
    bool error = false;
    std::string text;
    double programSeconds = -1.0;
};

struct CoreOptions {
    std::uint8_t unitOctet = 10; // last byte of the unit's address; tag A of its packets
    int firmwareVersion = 0x2c;  // answered to "V\n"
    double promWriteDelaySeconds = 0.001;
    double noiseCounts = 0.0; // standard deviation of the ADC noise, 0 for none
    std::uint64_t noiseSeed = 1;
};

class UnitCore {
public:
    static constexpr std::size_t kProgramMemory = 0x10000;
    static constexpr std::size_t kPacketBuffer = 8192;
    static constexpr int kCallDepth = 32;
    // Instructions in a row that take no time before the program counts as run away.
    static constexpr std::uint64_t kRunawayLimit = 1000000;

    UnitCore(const UnitHardware& hardware, const std::vector<std::uint8_t>& promImage, RfModel rf,
             const CoreOptions& options);
    ~UnitCore();

    // Faults consulted by PROM writes (may be null).
    void setFaultInjector(FaultInjector* faults) { faults_ = faults; }

    // Carries out one command received at `now`; returns the reply, if the command has one.
    std::optional<std::string> handle(const Command& command, double now);
    // Reply to a datagram that is no valid command.
    std::string refuse(const std::string& datagram, const std::string& problem, double now);
    // An external trigger: runs from the program counter if the unit is idle.
    void trigger(double now);

    bool running() const { return running_; }
    double programTime() const { return programTime_; }
    // Executes until the program time passes `until`, the program stops, or `budget`
    // instructions have run.
    void run(double until, std::size_t budget);

    std::vector<DataPacket> takePackets();
    std::vector<CoreEvent> takeEvents();

    // --- Inspection and test hooks.
    std::uint8_t reg(std::uint8_t address) const { return registers_[address]; }
    std::uint8_t externalReg(std::uint8_t address) const { return external_[address]; }
    std::uint16_t programCounter() const { return pc_; }
    std::uint16_t executionAddress() const { return execPc_; }
    std::uint16_t packetCounter() const { return counter_; }
    std::uint32_t imageSize() const { return loadedEnd_; }
    const std::vector<std::uint8_t>& programMemory() const { return memory_; }
    const UnitHardware& hardware() const { return hardware_; }
    const RfModel& rf() const { return rf_; }
    void setDut(DutModel dut) { rf_.setDut(std::move(dut)); }
    // Electrical state the registers set now.
    RfState rfState() const;
    // How far the frequency-offset registers (0x36, 0x37 bit 0) move the receiver at a
    // transmit frequency, in MHz (0 when the offset is off).
    double receiverOffsetMHz(double txFrequencyMHz) const;
    double pointSeconds() const;
    int attenuatorDb() const { return attenuatorDb_; }
    PromMemory& prom() { return prom_; }
    SerialPort& serial() { return serial_; }
    ShaftEncoders& encoders() { return encoders_; }
    const SweepTimer& sweepTimer() const { return timer_; }

private:
    void writeRegister(std::uint8_t address, std::uint8_t value, bool fromProgram);
    void begin(std::uint16_t address, double now, const char* why);
    void stop(const std::string& why, bool error);
    void jumpTo(std::uint32_t target, bool isCall, std::uint32_t returnAddress);
    void acquire();
    void appendToPacket(const std::vector<std::uint8_t>& bytes);
    void sendPacket(std::uint8_t tagB);
    void note(const std::string& text, bool error, double programSeconds = -1.0);
    std::string storeUpload(const Command& command, double now);

    UnitHardware hardware_;
    CoreOptions options_;
    FaultInjector* faults_ = nullptr;
    RfModel rf_;

    std::uint8_t registers_[256] = {};
    bool written_[256] = {};
    std::uint8_t external_[256] = {};
    int pllDivideRatio_ = 0; // 0 until the PLL has been loaded
    int attenuatorDb_ = 0;

    std::vector<std::uint8_t> memory_;
    std::uint32_t loadedEnd_ = 0;

    bool running_ = false;
    // A begin received while a program runs starts when that program reaches its end.
    std::optional<std::uint16_t> pendingBegin_;
    std::uint16_t pc_ = 0;     // program counter register ("W%04x", "B%04x")
    std::uint32_t execPc_ = 0; // where the running program executes
    std::vector<std::uint32_t> callStack_;
    double programTime_ = 0.0;
    std::uint64_t sinceTimeAdvanced_ = 0;

    std::vector<std::uint8_t> packet_;
    bool overflowReported_ = false;
    bool strayPathReported_ = false;
    std::vector<int> pendingBlocks_; // auxiliary blocks requested for the next FEs
    std::uint16_t counter_ = 1;

    PromMemory prom_;
    SerialPort serial_;
    ShaftEncoders encoders_;
    SweepTimer timer_;
    std::mt19937_64 noise_;

    std::vector<DataPacket> packets_;
    std::vector<CoreEvent> events_;
};

} // namespace Sim
} // namespace Orvek
