#include "tarnctl_common.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <unistd.h>

namespace tarnctl {

void usageError(const std::string& message) {
    throw Failure(kExitUsage, message);
}

void fail(const std::string& what, int code) {
    const ExitCode exit = code == Orvek::ERR_INTERRUPTED ? kExitCancelled : kExitUnit;
    std::string line = what + ": " + tarnvna_error_text(code);
    const std::string hint = tarnvna_error_hint(code);
    if (!hint.empty())
        line += "; " + hint;
    throw Failure(exit, line);
}

double parseNumber(const std::string& text, const std::string& name) {
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(begin, &end);
    if (text.empty() || end == begin || *end != '\0' || errno == ERANGE || !std::isfinite(value))
        usageError(name + " \"" + text + "\" is not a number");
    return value;
}

long parseInteger(const std::string& text, const std::string& name, long low, long high) {
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(begin, &end, 10);
    if (text.empty() || end == begin || *end != '\0' || errno == ERANGE)
        usageError(name + " \"" + text + "\" is not a whole number");
    if (value < low || value > high)
        usageError(name + " " + text + " is out of range: use " + std::to_string(low) + " to " +
                   std::to_string(high));
    return value;
}

void checkAddress(const UnitAddress& unit) {
    in_addr parsed{};
    if (inet_pton(AF_INET, unit.address.c_str(), &parsed) != 1)
        usageError("bad address \"" + unit.address +
                   "\": give the unit's IPv4 address, such as 192.168.1.10");
    if (unit.port < 1024 || unit.port > 1279)
        usageError("port " + std::to_string(unit.port) +
                   " is out of range: units use 1024 to 1279");
}

void failUnit(const UnitAddress& where, const std::string& what, int code) {
    if (code == Orvek::ERR_NO_RESPONSE)
        throw Failure(kExitUnit, "no answer from " + where.text() +
                                     ": check the address, the port, the unit's power and the "
                                     "cable");
    if (code == Orvek::ERR_SOCKET)
        throw Failure(kExitUnit,
                      "cannot use local UDP port " + std::to_string(where.port) +
                          ": another program may hold it, or the receive buffer cannot grow to "
                          "4 MiB (run scripts/setup as root: it raises net.core.rmem_max)");
    fail(what, code);
}

Unit::Unit(const UnitAddress& where) {
    checkAddress(where);
    const int result =
        tarnvna_unit_open(where.address.c_str(), where.port, where.timeoutMs, &unit_);
    if (result != Orvek::ERR_OK)
        failUnit(where, "cannot reach " + where.text(), result);
}

Unit::~Unit() {
    tarnvna_unit_close(unit_);
}

namespace {
volatile std::sig_atomic_t interruptRequested = 0;
void requestInterrupt(int) {
    interruptRequested = 1;
}
} // namespace

ProgressBar::ProgressBar(std::string label)
    : label_(std::move(label)), terminal_(isatty(2)),
      previousInterrupt_(std::signal(SIGINT, requestInterrupt)) {}

ProgressBar::~ProgressBar() {
    std::signal(SIGINT, previousInterrupt_);
    if (terminal_ && shown_ >= 0)
        std::fprintf(stderr, "\n");
}

bool ProgressBar::callback(int percent, void* self) {
    if (interruptRequested)
        return false;
    auto* bar = static_cast<ProgressBar*>(self);
    if (!bar->terminal_ || percent == bar->shown_)
        return true;
    bar->shown_ = percent;
    const int width = 40;
    const int filled = percent * width / 100;
    std::fprintf(stderr, "\r%s [%s%s] %3d%%", bar->label_.c_str(), std::string(filled, '#').c_str(),
                 std::string(width - filled, '.').c_str(), percent);
    std::fflush(stderr);
    return true;
}

bool confirm(const std::string& question, bool assumeYes) {
    if (assumeYes)
        return true;
    if (!isatty(0))
        return false;
    std::fprintf(stderr, "%s [y/N] ", question.c_str());
    std::fflush(stderr);
    std::string answer;
    if (!std::getline(std::cin, answer))
        return false;
    return answer == "y" || answer == "Y" || answer == "yes";
}

void loadProm(const std::string& path, OwnedProm& prom) {
    const int result = tarnvna_prom_load(path.c_str(), &prom.prom);
    if (result == Orvek::ERR_BYTES)
        throw Failure(kExitFile, "cannot read PROM image " + path + ": " +
                                     (errno ? std::strerror(errno) : "empty or over 64 KiB"));
    if (result == Orvek::ERR_EMPTY_PROM)
        throw Failure(kExitFile, path + " is an erased PROM image: give a dump of a working unit");
    if (result != Orvek::ERR_OK)
        throw Failure(kExitFile, path + " does not hold a valid unit description: give a PROM "
                                        "image written by tarnctl prom dump");
}

} // namespace tarnctl
