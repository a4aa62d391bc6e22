#pragma once
// What every tarnctl command shares: the exit codes, one-line failures, strict number parsing,
// the unit's address, progress bars and confirmations.
#include <stdexcept>
#include <string>

#include "tarnvna.h"

namespace tarnctl {

// Exit codes, also listed by --help.
enum ExitCode {
    kExitOk = 0,
    kExitUnit = 1,      // the unit did not answer or refused; the operation failed
    kExitUsage = 2,     // a bad command line: nothing was sent
    kExitFile = 3,      // a file could not be read or written
    kExitCancelled = 4, // declined at the confirmation, or interrupted
};

// A failure that ends the command: one line on standard error, then the exit code.
struct Failure : std::runtime_error {
    Failure(ExitCode exitCode, const std::string& message)
        : std::runtime_error(message), code(exitCode) {}
    ExitCode code;
};

[[noreturn]] void usageError(const std::string& message);
// "what: text of code; hint" as a Failure with the exit code that fits the code.
[[noreturn]] void fail(const std::string& what, int code);

// Strict parsing: the whole text must be the number, finite and within the limits.
double parseNumber(const std::string& text, const std::string& name);
long parseInteger(const std::string& text, const std::string& name, long low, long high);

struct UnitAddress {
    std::string address = "192.168.1.10";
    int port = 1024;
    unsigned timeoutMs = 100;
    std::string text() const { return address + ":" + std::to_string(port); }
};
// Refuses anything but a dotted IPv4 address and a port the unit can have.
void checkAddress(const UnitAddress& unit);

// A connection of the companion library to the unit; fails with the hints a user needs.
class Unit {
public:
    explicit Unit(const UnitAddress& where);
    ~Unit();
    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;
    tarnvna_unit_t* get() const { return unit_; }

private:
    tarnvna_unit_t* unit_ = nullptr;
};

// Explains a failed exchange with the unit at `where`.
[[noreturn]] void failUnit(const UnitAddress& where, const std::string& what, int code);

// Progress on a terminal (standard error), nothing otherwise. Pass callback() and this. While
// it exists, Ctrl-C cancels through the callback instead of killing the program, so a PROM
// transfer still switches the unit's write-enable off.
class ProgressBar {
public:
    explicit ProgressBar(std::string label);
    ~ProgressBar();
    static bool callback(int percent, void* self);

private:
    std::string label_;
    bool terminal_;
    int shown_ = -1;
    void (*previousInterrupt_)(int);
};

// Asks on the terminal; without one, or without "y", the answer is no. --yes skips asking.
bool confirm(const std::string& question, bool assumeYes);

// Owns text from libtarnvna.
struct OwnedText {
    char* text = nullptr;
    ~OwnedText() { tarnvna_free(text); }
};

// Owns a PROM image from libtarnvna.
struct OwnedProm {
    tarnvna_prom_t* prom = nullptr;
    ~OwnedProm() { tarnvna_prom_free(prom); }
};

// Loads a PROM image file, failing with a line that says what to do.
void loadProm(const std::string& path, OwnedProm& prom);

} // namespace tarnctl
