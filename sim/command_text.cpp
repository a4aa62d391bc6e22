#include "sim/command_text.h"

namespace Orvek {
namespace Sim {

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool allHex(const std::string& text, size_t from, size_t to) {
    for (size_t i = from; i < to; ++i)
        if (hexDigit(text[i]) < 0)
            return false;
    return true;
}

// Value of `count` hex digits at `from`; the caller checked them.
unsigned hexValue(const std::string& text, size_t from, size_t count) {
    unsigned value = 0;
    for (size_t i = 0; i < count; ++i)
        value = value * 16 + static_cast<unsigned>(hexDigit(text[from + i]));
    return value;
}

Command invalid(const std::string& problem) {
    Command command;
    command.problem = problem;
    return command;
}

} // namespace

Command parseCommand(const std::string& text) {
    if (text.empty() || text.back() != '\n')
        return invalid("no line feed at the end");
    const std::string body = text.substr(0, text.size() - 1);
    if (body.empty())
        return invalid("empty command");
    if (!allHex(body, 1, body.size()))
        return invalid("not hexadecimal");
    const size_t digits = body.size() - 1;
    Command command;
    switch (body[0]) {
    case 'Q':
        if (digits == 0)
            command.kind = CommandKind::Halt;
        break;
    case 'V':
        if (digits == 0)
            command.kind = CommandKind::Version;
        break;
    case 'B':
        if (digits == 0) {
            command.kind = CommandKind::Begin;
        } else if (digits == 4) {
            command.kind = CommandKind::BeginAt;
            command.address = static_cast<std::uint16_t>(hexValue(body, 1, 4));
        }
        break;
    case 'W':
        if (digits == 4) {
            command.kind = CommandKind::SetCounter;
            command.address = static_cast<std::uint16_t>(hexValue(body, 1, 4));
        } else if (digits > 4 && digits % 2 == 0) {
            command.kind = CommandKind::Upload;
            command.address = static_cast<std::uint16_t>(hexValue(body, 1, 4));
            command.data.reserve((digits - 4) / 2);
            for (size_t i = 5; i < body.size(); i += 2)
                command.data.push_back(static_cast<std::uint8_t>(hexValue(body, i, 2)));
        } else if (digits > 4) {
            return invalid("odd number of hex digits in the upload");
        }
        break;
    case 'E':
        if (digits == 4 || digits == 6) {
            command.kind = digits == 4 ? CommandKind::PromRead : CommandKind::PromWrite;
            command.address = static_cast<std::uint16_t>(hexValue(body, 1, 4));
            if (digits == 6)
                command.value = static_cast<std::uint8_t>(hexValue(body, 5, 2));
        }
        break;
    case 'Z':
        if (digits == 2 || digits == 4) {
            command.kind = digits == 2 ? CommandKind::RegisterRead : CommandKind::RegisterWrite;
            command.reg = static_cast<std::uint8_t>(hexValue(body, 1, 2));
            if (digits == 4)
                command.value = static_cast<std::uint8_t>(hexValue(body, 3, 2));
        }
        break;
    default:
        return invalid("unknown command letter");
    }
    if (command.kind == CommandKind::Invalid)
        return invalid("wrong number of hex digits");
    return command;
}

UploadAssembler::Result UploadAssembler::feed(const std::string& datagram, double now) {
    const bool endsLine = !datagram.empty() && datagram.back() == '\n';
    const size_t hexEnd = endsLine ? datagram.size() - 1 : datagram.size();
    if (active_) {
        if (now - lastAt_ > kGapSeconds || !allHex(datagram, 0, hexEnd) ||
            text_.size() + datagram.size() > kMaxText) {
            active_ = false;
            text_.clear();
            return Result::Abandoned;
        }
        text_ += datagram;
        lastAt_ = now;
        if (endsLine) {
            active_ = false;
            complete_ = true;
            return Result::Complete;
        }
        return Result::Incomplete;
    }
    // A first datagram without its line feed is the start of a split upload.
    if (datagram.size() > 5 && datagram[0] == 'W' && !endsLine &&
        allHex(datagram, 1, datagram.size())) {
        active_ = true;
        complete_ = false;
        text_ = datagram;
        lastAt_ = now;
        return Result::Incomplete;
    }
    return Result::NotUpload;
}

bool UploadAssembler::expire(double now) {
    if (!active_ || now - lastAt_ <= kGapSeconds)
        return false;
    active_ = false;
    text_.clear();
    return true;
}

std::string UploadAssembler::take() {
    complete_ = false;
    std::string text;
    text.swap(text_);
    return text;
}

} // namespace Sim
} // namespace Orvek
