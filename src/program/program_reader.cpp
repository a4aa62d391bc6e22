// Decoding of a compiled program image into instructions.
#include "program/program_reader.h"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <utility>

#include "core/hex_digit.h"
#include "program/instruction_set.h"
#include "program/program_source.h"

namespace Orvek {

using namespace instruction_set;

namespace {

std::string errorMessage(ReadStatus status, std::size_t offset) {
    char where[48];
    if (status == ReadStatus::BadHexText)
        std::snprintf(where, sizeof where, " at character %zu", offset);
    else
        std::snprintf(where, sizeof where, " at address 0x%04zx", offset);
    return std::string("program image: ") + readStatusText(status) + where;
}

} // namespace

const char* instructionKindName(InstructionKind kind) {
    switch (kind) {
    case InstructionKind::RegisterWrite:
        return "write";
    case InstructionKind::Resync:
        return "resync";
    case InstructionKind::Delay:
        return "delay";
    case InstructionKind::Acquire:
        return "acquire";
    case InstructionKind::End:
        return "end";
    case InstructionKind::LabelMarker:
        return "label";
    case InstructionKind::Jump:
        return "jump";
    case InstructionKind::Call:
        return "call";
    case InstructionKind::Return:
        return "return";
    case InstructionKind::ExternalWrite:
        return "external";
    case InstructionKind::PacketTrigger:
        return "packet";
    }
    return "?";
}

bool operator==(const Instruction& a, const Instruction& b) {
    return a.kind == b.kind && a.address == b.address && a.length == b.length && a.reg == b.reg &&
           a.value == b.value && a.target == b.target;
}

std::string formatInstruction(const Instruction& instruction) {
    char text[64];
    const unsigned address = instruction.address;
    const char* name = instructionKindName(instruction.kind);
    switch (instruction.kind) {
    case InstructionKind::RegisterWrite:
    case InstructionKind::ExternalWrite:
        std::snprintf(text, sizeof text, "%04x: %s %02x = %02x", address, name, instruction.reg,
                      instruction.value);
        break;
    case InstructionKind::PacketTrigger:
        std::snprintf(text, sizeof text, "%04x: %s %02x", address, name, instruction.value);
        break;
    case InstructionKind::Jump:
    case InstructionKind::Call:
    case InstructionKind::LabelMarker:
        std::snprintf(text, sizeof text, "%04x: %s %04x", address, name,
                      static_cast<unsigned>(instruction.target));
        break;
    default:
        std::snprintf(text, sizeof text, "%04x: %s", address, name);
        break;
    }
    return text;
}

std::ostream& operator<<(std::ostream& out, const Instruction& instruction) {
    return out << formatInstruction(instruction);
}

const char* readStatusText(ReadStatus status) {
    switch (status) {
    case ReadStatus::Ok:
        return "ok";
    case ReadStatus::OutOfImage:
        return "address beyond the end of the image";
    case ReadStatus::TruncatedInstruction:
        return "image ends inside an instruction";
    case ReadStatus::MissingJumpEnd:
        return "jump not followed by its end byte";
    case ReadStatus::BadHexText:
        return "program text is not an even number of hex digits";
    }
    return "unknown status";
}

ProgramFormatError::ProgramFormatError(ReadStatus status, std::size_t offset)
    : std::runtime_error(errorMessage(status, offset)), status_(status), offset_(offset) {}

bool parseProgramHex(std::string_view hex, std::vector<std::uint8_t>& bytes,
                     std::size_t* badOffset) {
    bytes.clear();
    if (hex.size() % 2 != 0) {
        if (badOffset)
            *badOffset = hex.size();
        return false;
    }
    bytes.reserve(hex.size() / 2);
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const int high = hexDigitValue(hex[i]);
        const int low = hexDigitValue(hex[i + 1]);
        if (high < 0 || low < 0) {
            if (badOffset)
                *badOffset = high < 0 ? i : i + 1;
            bytes.clear();
            return false;
        }
        bytes.push_back(static_cast<std::uint8_t>((high << 4) | low));
    }
    return true;
}

ProgramReader::ProgramReader(std::vector<std::uint8_t> image) : image_(std::move(image)) {}

ProgramReader::ProgramReader(std::vector<std::uint8_t> image,
                             std::vector<std::uint32_t> labelAddresses)
    : image_(std::move(image)), labelsKnown_(true),
      sortedLabelAddresses_(std::move(labelAddresses)) {
    std::sort(sortedLabelAddresses_.begin(), sortedLabelAddresses_.end());
}

ProgramReader ProgramReader::fromHex(std::string_view hex) {
    std::vector<std::uint8_t> bytes;
    std::size_t badOffset = 0;
    if (!parseProgramHex(hex, bytes, &badOffset))
        throw ProgramFormatError(ReadStatus::BadHexText, badOffset);
    return ProgramReader(std::move(bytes));
}

ProgramReader ProgramReader::fromCompiled(const CompiledProgram& compiled) {
    std::vector<std::uint8_t> bytes;
    std::size_t badOffset = 0;
    if (!parseProgramHex(compiled.program, bytes, &badOffset))
        throw ProgramFormatError(ReadStatus::BadHexText, badOffset);
    const std::size_t count = std::min(compiled.labels.size(), compiled.labelAddresses.size());
    std::vector<std::uint32_t> addresses(compiled.labelAddresses.begin(),
                                         compiled.labelAddresses.begin() + count);
    ProgramReader reader(std::move(bytes), addresses);
    reader.labelNames_.assign(compiled.labels.begin(), compiled.labels.begin() + count);
    reader.labelNameAddresses_ = std::move(addresses);
    return reader;
}

bool ProgramReader::isMarkerAt(std::uint32_t address) const noexcept {
    const std::size_t end = static_cast<std::size_t>(address) + kLabelMarkerLength;
    if (end > image_.size())
        return false;
    for (std::size_t i = address; i < end; ++i) {
        if (image_[i] != kEnd)
            return false;
    }
    if (!labelsKnown_)
        return true;
    return std::binary_search(sortedLabelAddresses_.begin(), sortedLabelAddresses_.end(),
                              static_cast<std::uint32_t>(end));
}

ReadStatus ProgramReader::decodeAt(std::uint32_t address, Instruction& out) const noexcept {
    const std::size_t size = image_.size();
    if (address >= size)
        return ReadStatus::OutOfImage;
    const std::uint8_t* bytes = image_.data();
    const std::size_t remaining = size - address;
    const std::uint8_t first = bytes[address];

    Instruction result;
    result.address = address;

    if (first >= kFirstOpcode) {
        if (first == kEnd && isMarkerAt(address)) {
            result.kind = InstructionKind::LabelMarker;
            result.length = kLabelMarkerLength;
            result.target = address + kLabelMarkerLength;
        } else {
            result.kind = first == kResync    ? InstructionKind::Resync
                          : first == kDelay   ? InstructionKind::Delay
                          : first == kAcquire ? InstructionKind::Acquire
                                              : InstructionKind::End;
            result.length = 1;
        }
        out = result;
        return ReadStatus::Ok;
    }

    if (remaining < 2)
        return ReadStatus::TruncatedInstruction;
    const std::uint8_t value = bytes[address + 1];
    const std::uint8_t following = remaining >= 3 ? bytes[address + 2] : 0;

    if (first == kTargetHighRegister && remaining >= 3 &&
        (following == kJumpLowRegister || following == kCallLowRegister)) {
        if (remaining < 4)
            return ReadStatus::TruncatedInstruction;
        result.target = (static_cast<std::uint32_t>(value) << 8) | bytes[address + 3];
        if (following == kCallLowRegister) {
            result.kind = InstructionKind::Call;
            result.length = 4;
        } else {
            if (remaining < 5)
                return ReadStatus::TruncatedInstruction;
            if (bytes[address + 4] != kEnd)
                return ReadStatus::MissingJumpEnd;
            result.kind = InstructionKind::Jump;
            result.length = 5;
        }
    } else if (first == kExternalAddressRegister && remaining >= 3 &&
               following == kExternalValueRegister) {
        if (remaining < 4)
            return ReadStatus::TruncatedInstruction;
        result.kind = InstructionKind::ExternalWrite;
        result.length = 4;
        result.reg = value;
        result.value = bytes[address + 3];
    } else if (first == kReturnRegister && value == kReturnValue) {
        result.kind = InstructionKind::Return;
        result.length = 2;
    } else if (first == kPacketTriggerRegister) {
        result.kind = InstructionKind::PacketTrigger;
        result.length = 2;
        result.value = value;
    } else {
        result.kind = InstructionKind::RegisterWrite;
        result.length = 2;
        result.reg = first;
        result.value = value;
    }
    out = result;
    return ReadStatus::Ok;
}

Instruction ProgramReader::at(std::uint32_t address) const {
    Instruction instruction;
    const ReadStatus status = decodeAt(address, instruction);
    if (status != ReadStatus::Ok)
        throw ProgramFormatError(status, address);
    return instruction;
}

ReadStatus ProgramReader::readAll(std::vector<Instruction>& out, std::uint32_t* failedAt) const {
    out.clear();
    std::uint32_t address = 0;
    const std::uint32_t end = size();
    while (address < end) {
        Instruction instruction;
        const ReadStatus status = decodeAt(address, instruction);
        if (status != ReadStatus::Ok) {
            if (failedAt)
                *failedAt = address;
            return status;
        }
        out.push_back(instruction);
        address = instruction.next();
    }
    return ReadStatus::Ok;
}

std::vector<Instruction> ProgramReader::readAll() const {
    std::vector<Instruction> instructions;
    std::uint32_t failedAt = 0;
    const ReadStatus status = readAll(instructions, &failedAt);
    if (status != ReadStatus::Ok)
        throw ProgramFormatError(status, failedAt);
    return instructions;
}

bool ProgramReader::findLabel(std::string_view name, std::uint32_t& address) const {
    for (std::size_t i = 0; i < labelNames_.size(); ++i) {
        if (labelNames_[i] == name) {
            address = labelNameAddresses_[i];
            return true;
        }
    }
    return false;
}

const std::string* ProgramReader::labelNameAt(std::uint32_t address) const {
    for (std::size_t i = 0; i < labelNames_.size(); ++i) {
        if (labelNameAddresses_[i] == address)
            return &labelNames_[i];
    }
    return nullptr;
}

bool ProgramReader::isLabelAddress(std::uint32_t address) const {
    return std::binary_search(sortedLabelAddresses_.begin(), sortedLabelAddresses_.end(), address);
}

} // namespace Orvek
