#pragma once
// Reads a compiled unit program back into instructions: for tests that assert on what a program
// does, and for the simulated unit that executes it.
//
// Decoding rule (the unit's): a byte of 0xFC..0xFF is a one-byte opcode, any other byte is a
// register address followed by its value byte. A few register sequences have a meaning of their
// own and are reported as one instruction:
//   90 hh 91 ll ff   Jump to hhll          90 hh 93 ll   Call hhll
//   95 FF            Return                97 aa 98 vv   ExternalWrite of vv to register aa
//   89 vv            PacketTrigger (vv 1: last packet of a pass, 0: packet break)
//   FF FF FF FF      LabelMarker (four end bytes placed by a label)
// A 0x90 write not followed by 0x91/0x93 (or 0x97 not followed by 0x98) stays a RegisterWrite.
//
// End bytes and label markers are ambiguous in the image alone (an end followed by a label is
// five 0xFF bytes, as is an unresolved jump). Given the label addresses (fromCompiled, or the
// constructor's list), a marker is recognised only where it ends at a label address and every
// other 0xFF is an End; without them four 0xFF bytes in a row are taken as a marker. Either
// way a LabelMarker, if executed, stops the unit like End does.
//
// Every access is bounds-checked: malformed input gives a ReadStatus (or a ProgramFormatError
// from the throwing helpers), never a read past the image.
#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Orvek {

struct CompiledProgram;

enum class InstructionKind : std::uint8_t {
    RegisterWrite, // aa vv: `reg` = aa, `value` = vv
    Resync,        // FC: wait for the millisecond clock
    Delay,         // FD: one point duration
    Acquire,       // FE: one input sample (or the requested auxiliary block)
    End,           // FF
    LabelMarker,   // FF FF FF FF; `target` = the label's address (the byte behind the marker)
    Jump,          // `target` = destination address
    Call,          // `target` = subroutine address
    Return,        // 95 FF
    ExternalWrite, // `reg` = external board register, `value` = its value
    PacketTrigger, // `value` = the value written to register 0x89
};

// Short lower-case name of a kind ("write", "jump", ...).
const char* instructionKindName(InstructionKind kind);

struct Instruction {
    InstructionKind kind = InstructionKind::End;
    std::uint32_t address = 0; // byte offset of the first byte in the image
    std::uint32_t length = 0;  // bytes occupied, 1 to 5
    std::uint8_t reg = 0;
    std::uint8_t value = 0;
    std::uint32_t target = 0;

    std::uint32_t next() const { return address + length; }
};

bool operator==(const Instruction& a, const Instruction& b);
inline bool operator!=(const Instruction& a, const Instruction& b) {
    return !(a == b);
}

// One line such as "0004: write 84 = 40" or "0010: jump 0123".
std::string formatInstruction(const Instruction& instruction);
std::ostream& operator<<(std::ostream& out, const Instruction& instruction);

enum class ReadStatus : std::uint8_t {
    Ok,
    OutOfImage,           // the address is at or beyond the end of the image
    TruncatedInstruction, // the image ends inside an instruction
    MissingJumpEnd,       // 90 hh 91 ll not followed by its ff byte
    BadHexText,           // odd length or a character that is not a hex digit
};

// Human-readable meaning of a status.
const char* readStatusText(ReadStatus status);

class ProgramFormatError : public std::runtime_error {
public:
    ProgramFormatError(ReadStatus status, std::size_t offset);

    ReadStatus status() const { return status_; }
    // Image address of the failing instruction, or character offset for BadHexText.
    std::size_t offset() const { return offset_; }

private:
    ReadStatus status_;
    std::size_t offset_;
};

// Converts program text (two hex digits per byte, either letter case, no separators) to bytes.
// On failure returns false, leaves `bytes` empty and sets `badOffset` (if given) to the
// offending character offset (the length itself for an odd length).
bool parseProgramHex(std::string_view hex, std::vector<std::uint8_t>& bytes,
                     std::size_t* badOffset = nullptr);

class ProgramReader {
public:
    // Reader over raw image bytes; no label knowledge (markers found by their four 0xFF bytes).
    explicit ProgramReader(std::vector<std::uint8_t> image);
    // Reader over raw image bytes with the label addresses (the byte behind each marker).
    ProgramReader(std::vector<std::uint8_t> image, std::vector<std::uint32_t> labelAddresses);

    // From program text. Throws ProgramFormatError (BadHexText) on malformed text.
    static ProgramReader fromHex(std::string_view hex);
    // From a compiled program, keeping its label names and addresses. Throws ProgramFormatError
    // (BadHexText) on malformed text.
    static ProgramReader fromCompiled(const CompiledProgram& compiled);

    // Decodes the instruction starting at `address` into `out` (untouched unless Ok).
    ReadStatus decodeAt(std::uint32_t address, Instruction& out) const noexcept;

    // As decodeAt, throwing ProgramFormatError on anything but Ok.
    Instruction at(std::uint32_t address) const;

    // Every instruction from address 0 to the end of the image, in order. Throws
    // ProgramFormatError at the first malformed instruction.
    std::vector<Instruction> readAll() const;

    // Non-throwing form: fills `out` with the instructions decoded before the first failure and
    // returns its status (Ok when the whole image decoded); `failedAt` receives its address.
    ReadStatus readAll(std::vector<Instruction>& out, std::uint32_t* failedAt = nullptr) const;

    const std::vector<std::uint8_t>& image() const { return image_; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(image_.size()); }

    // Address of the first label of that name (only with names, i.e. from fromCompiled).
    bool findLabel(std::string_view name, std::uint32_t& address) const;
    // Name of the first label at `address`, or null.
    const std::string* labelNameAt(std::uint32_t address) const;
    // True when `address` is the address of some label.
    bool isLabelAddress(std::uint32_t address) const;

private:
    bool isMarkerAt(std::uint32_t address) const noexcept;

    std::vector<std::uint8_t> image_;
    bool labelsKnown_ = false;
    std::vector<std::uint32_t> sortedLabelAddresses_;
    std::vector<std::string> labelNames_;           // command order, as compiled
    std::vector<std::uint32_t> labelNameAddresses_; // same index as labelNames_
};

} // namespace Orvek
