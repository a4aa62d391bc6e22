#pragma once
// Typed commands of a unit program. Each command renders itself as hex text (two lower- or
// upper-case digits per byte, no separators, exactly as the unit's uploader takes them) and as
// one line of the annotated listing.
//
// Instruction set of the unit, as far as the host uses it:
//   aa vv            write value vv to unit register aa (aa below 0xFC)
//   FC               resynchronise on the millisecond clock
//   FD               wait one point duration
//   FE               acquire one input sample
//   FF               end
//   89 01 / 89 00    force transmission of the current data packet
//   90 hh 91 ll ff   jump to hhll (the write of 0x91 jumps; the ff is never reached)
//   90 hh 93 ll      call hhll
//   95 FF            return from call (the unit keeps the return point itself)
//   97 aa 98 vv      write vv to register aa of the external board
//   FF FF FF FF      label marker; a label's address is the byte just behind it
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Orvek {

class PromParameters;
struct CompiledProgram;

// Abstract command. Commands are immutable once built and owned by the ProgramSource (or the
// list) that holds them.
class ProgramCommand {
public:
    virtual ~ProgramCommand() = default;

    // Hex text of the command. `compiled` is null during the first compilation pass (label
    // addresses unknown; jumps and calls then give placeholders of their final length) and
    // points at the first-pass result during the second.
    virtual std::string compile(const PromParameters& params,
                                const CompiledProgram* compiled) const = 0;

    // One listing line without its line end; may be empty.
    virtual std::string humanReadable(const PromParameters& params) const = 0;

    virtual bool isLabel() const { return false; }

    // True for commands whose text depends on label addresses (`compiled` above). Only these
    // are rendered a second time; any other command must give its final text in the first pass.
    virtual bool refersToLabels() const { return false; }

protected:
    ProgramCommand() = default;
    ProgramCommand(const ProgramCommand&) = default;
    ProgramCommand& operator=(const ProgramCommand&) = default;
};

using ProgramCommandPtr = std::unique_ptr<ProgramCommand>;
using ProgramCommandList = std::vector<ProgramCommandPtr>;

// Write `value` to unit register `address`. Both must stay within 0..255: the text is not
// masked, so a wider value prints more digits and shifts every later byte of the image.
class Register : public ProgramCommand {
public:
    Register(std::uint32_t address, std::uint32_t value, std::string comment);

    // "%02x%02x" of address and value.
    static std::string set(int address, int value);

    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    std::uint32_t address;
    std::uint32_t value;
    std::string comment;
};

// Register 0xA0, the enabled-receivers bitmask; written and listed like any register.
class ReceiverControlRegister : public Register {
public:
    using Register::Register;
};

// Write `value` to register `address` of the external (TDD) board, through unit registers 0x97
// (external address) and 0x98 (value).
class ExternalRegister : public ProgramCommand {
public:
    ExternalRegister(std::uint32_t address, std::uint32_t value, std::string comment);

    // "97%02x98%02x" of address and value.
    static std::string set(int address, int value);

    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    std::uint32_t address;
    std::uint32_t value;
    std::string comment;
};

// 24-bit tuning word of the transmit DDS, written low byte first to registers 0x06 (bits 0..7),
// 0x05 (bits 8..15) and 0x04 (bits 16..23). Note the argument order: least significant first.
class TxDDSRegister : public ProgramCommand {
public:
    TxDDSRegister(std::uint8_t low, std::uint8_t mid, std::uint8_t high, std::string comment);

    // "06%02x05%02x04%02x" of low, mid, high.
    static std::string set(unsigned char low, unsigned char mid, unsigned char high);

    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    // "#> " + comment + " raw: 0x" + the word as eight upper-case hex digits.
    std::string humanReadable(const PromParameters& params) const override;

    std::int32_t raw;
    std::int32_t low;
    std::int32_t mid;
    std::int32_t high;
    std::string comment;
};

// The receive DDS, registers 0x46, 0x45, 0x44 in the roles of 0x06, 0x05, 0x04.
class RxDDSRegister : public ProgramCommand {
public:
    RxDDSRegister(std::uint8_t low, std::uint8_t mid, std::uint8_t high, std::string comment);

    // "46%02x45%02x44%02x" of low, mid, high.
    static std::string set(unsigned char low, unsigned char mid, unsigned char high);

    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    std::int32_t raw;
    std::int32_t low;
    std::int32_t mid;
    std::int32_t high;
    std::string comment;
};

// Resynchronisation point on the millisecond clock.
class FC : public ProgramCommand {
public:
    explicit FC(std::string comment);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    std::string comment;
};

// Delay for one point duration.
class FD : public ProgramCommand {
public:
    explicit FD(std::string comment);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    std::string comment;
};

// Acquire one input sample (or the auxiliary block last requested through register 0x87).
class FE : public ProgramCommand {
public:
    explicit FE(std::string comment);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    std::string comment;
};

// End: the unit stops and waits for the host.
class FF : public ProgramCommand {
public:
    explicit FF(std::string comment);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    std::string comment;
};

// Listing-only text; adds no bytes.
class Comment : public ProgramCommand {
public:
    explicit Comment(std::string text);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    std::string text;
};

// Listing-only section heading, set off by two blank lines; adds no bytes.
class CommentBreak : public ProgramCommand {
public:
    explicit CommentBreak(std::string text);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    std::string text;
};

// Force transmission of the current data packet: register 0x89 = 1 (`variant` true, used for
// the last packet of a pass) or 0 (a packet break inside the pass).
class TriggerPacketTx : public ProgramCommand {
public:
    explicit TriggerPacketTx(bool variant);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;

    bool variant;
};

// A named place in the program: four 0xFF marker bytes; jumps and calls land just behind them.
class Label : public ProgramCommand {
public:
    explicit Label(std::string name);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;
    bool isLabel() const override { return true; }

    virtual std::string get_label() const { return name; }

    std::string name;
};

// Jump to the first label of the given name. An unknown name compiles to five 0xFF bytes (the
// unit stops there); only the low 16 bits of the target address reach the image.
class Jump : public ProgramCommand {
public:
    explicit Jump(std::string label);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;
    bool refersToLabels() const override { return true; }

    std::string label;
};

// Call the first label of the given name; returns with `Return`. An unknown name compiles to
// four 0xFF bytes.
class Call : public ProgramCommand {
public:
    explicit Call(std::string label);
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;
    bool refersToLabels() const override { return true; }

    std::string label;
};

// Return from the current call.
class Return : public ProgramCommand {
public:
    Return() = default;
    std::string compile(const PromParameters& params,
                        const CompiledProgram* compiled) const override;
    std::string humanReadable(const PromParameters& params) const override;
};

} // namespace Orvek
