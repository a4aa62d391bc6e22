// tarn-sim: serves simulated TARN units on the network until interrupted.
//
// Run it where the units live (inside the lab: scripts/netlab exec-units tarn-sim ...; or
// let scripts/lab do everything). While it runs, lines on standard input change it:
//   faults ADDRESS TEXT     switch a unit's faults (see --help for TEXT)
//   status                  one line per unit
//   quit                    stop
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sim/profiles.h"
#include "sim/simulator.h"

using namespace Orvek::Sim;

namespace {

std::atomic<bool> interrupted{false};

void onSignal(int) {
    interrupted = true;
}

const char* const kUsage = R"(usage: tarn-sim [options]
Serves simulated TARN units until interrupted (SIGINT, SIGTERM, or "quit" on standard input).

Units:
  --units N             N units at 192.168.1.10, .11, ... (default 1 when no --unit is given)
  --unit ADDRESS        one unit at ADDRESS (repeatable)
  --port P              UDP port of every unit (default 1024)
  --profile NAME        none, simple-4port, tdd-4port, simple-8port or s-param (default s-param)
  --prom FILE           PROM image for every unit (binary, or hex text)
  --blank-prom          serve an erased PROM
  --dut TEXT            device under test, e.g. "filter:0-1:1000:100,thru:2-3,open:4", or
                        "matrix" (every port pair, each direction, responds differently)
  --fast                run programs as fast as possible instead of in real time
  --noise COUNTS        ADC noise, standard deviation in counts (default 0)
  --seed N              seed of the noise and fault generators (default 1)
  --trigger-ms T        external trigger every T ms while a unit is idle
  --faults TEXT         e.g. "drop=0.01,delay-ms=20,seed=7" (see below)
  --config FILE         JSON: {"units":[{"address":..., "port":..., "profile":..., "dut":...,
                        "faults":..., "fast":..., "noise":..., "seed":..., "promFile":...}]}
Output:
  --log FILE            JSON-lines log of everything received and sent ("-": stdout)
  --log-payloads        include data packet payloads in the log
Other:
  --list-profiles       print the profile names and exit
  --write-prom PROFILE FILE   write a profile's PROM image as hex text and exit

Fault TEXT: comma-separated drop=P duplicate=P reorder=P truncate=P, drop-packets=N/M...,
  duplicate-packets=..., reorder-packets=..., truncate-packets=..., truncate-bytes=N,
  extend-packets=..., late-packets=..., restart-after=N, silent-after=N, delay-ms=T, withhold=P, withhold-next=N, silent, answer-from=ADDRESS, prom-attempts=N,
  prom-fail=P, seed=N.
)";

struct Options {
    std::vector<UnitConfig> units;
    std::string logPath;
};

[[noreturn]] void fail(const std::string& message) {
    std::cerr << "tarn-sim: " << message << "\n";
    std::exit(2);
}

UnitConfig unitFromJson(const nlohmann::json& json, const UnitConfig& defaults) {
    UnitConfig unit = defaults;
    unit.address = json.value("address", unit.address);
    unit.port = json.value("port", unit.port);
    unit.profile = json.value("profile", unit.profile);
    if (json.contains("dut"))
        unit.dut = DutModel::parse(json.at("dut").get<std::string>());
    if (json.contains("faults"))
        unit.faults = FaultSettings::parse(json.at("faults").get<std::string>());
    unit.realTime = !json.value("fast", !unit.realTime);
    unit.noiseCounts = json.value("noise", unit.noiseCounts);
    unit.seed = json.value("seed", unit.seed);
    unit.triggerPeriodMs = json.value("triggerMs", unit.triggerPeriodMs);
    unit.logPayloads = json.value("logPayloads", unit.logPayloads);
    if (json.contains("promFile"))
        unit.promImage = loadPromFile(json.at("promFile").get<std::string>());
    return unit;
}

Options parseArguments(int argc, char** argv) {
    Options options;
    UnitConfig defaults;
    std::vector<std::string> addresses;
    int count = 0;
    std::string configPath;
    auto value = [&](int& i) -> std::string {
        if (i + 1 >= argc)
            fail(std::string(argv[i]) + " needs a value");
        return argv[++i];
    };
    auto number = [&](int& i) {
        const std::string text = value(i);
        char* end = nullptr;
        const double n = std::strtod(text.c_str(), &end);
        if (end == text.c_str() || *end != '\0')
            fail(std::string(argv[i - 1]) + " needs a number, not \"" + text + "\"");
        return n;
    };
    try {
        for (int i = 1; i < argc; ++i) {
            const std::string arg = argv[i];
            if (arg == "--help" || arg == "-h") {
                std::cout << kUsage;
                std::exit(0);
            } else if (arg == "--list-profiles") {
                for (const auto& name : profileNames())
                    std::cout << name << "\n";
                std::exit(0);
            } else if (arg == "--write-prom") {
                const std::string profile = value(i);
                const std::string path = value(i);
                savePromFile(path, profilePromImage(profile, 10));
                std::exit(0);
            } else if (arg == "--units") {
                count = static_cast<int>(number(i));
                if (count < 1 || count > 10)
                    fail("--units takes 1 to 10");
            } else if (arg == "--unit") {
                addresses.push_back(value(i));
            } else if (arg == "--port") {
                const double port = number(i);
                if (port < 1 || port > 65535)
                    fail("--port takes 1 to 65535");
                defaults.port = static_cast<std::uint16_t>(port);
            } else if (arg == "--profile") {
                defaults.profile = value(i);
                if (!isProfile(defaults.profile))
                    fail("unknown profile \"" + defaults.profile + "\" (see --list-profiles)");
            } else if (arg == "--prom") {
                defaults.promImage = loadPromFile(value(i));
            } else if (arg == "--blank-prom") {
                defaults.promImage = blankPromImage();
            } else if (arg == "--dut") {
                defaults.dut = DutModel::parse(value(i));
            } else if (arg == "--fast") {
                defaults.realTime = false;
            } else if (arg == "--noise") {
                defaults.noiseCounts = number(i);
            } else if (arg == "--seed") {
                defaults.seed = static_cast<std::uint64_t>(number(i));
                defaults.faults.seed = defaults.seed;
            } else if (arg == "--trigger-ms") {
                defaults.triggerPeriodMs = number(i);
            } else if (arg == "--faults") {
                const std::uint64_t seed = defaults.faults.seed;
                const std::string text = value(i);
                defaults.faults = FaultSettings::parse(text);
                if (text.find("seed=") == std::string::npos)
                    defaults.faults.seed = seed;
            } else if (arg == "--config") {
                configPath = value(i);
            } else if (arg == "--log") {
                options.logPath = value(i);
            } else if (arg == "--log-payloads") {
                defaults.logPayloads = true;
            } else {
                fail("unknown option " + arg + " (see --help)");
            }
        }
        if (!configPath.empty()) {
            std::ifstream in(configPath);
            if (!in)
                fail("cannot read " + configPath);
            const nlohmann::json json = nlohmann::json::parse(in);
            for (const auto& unit : json.at("units"))
                options.units.push_back(unitFromJson(unit, defaults));
        }
    } catch (const nlohmann::json::exception& error) {
        fail("bad configuration: " + std::string(error.what()));
    } catch (const std::exception& error) {
        fail(error.what());
    }
    if (count == 0 && addresses.empty() && options.units.empty())
        count = 1;
    for (int k = 0; k < count; ++k)
        addresses.push_back("192.168.1." + std::to_string(10 + k));
    for (const auto& address : addresses) {
        UnitConfig unit = defaults;
        unit.address = address;
        options.units.push_back(unit);
    }
    return options;
}

void printStatus(Simulator& simulator) {
    for (std::size_t i = 0; i < simulator.size(); ++i) {
        SimUnit& unit = simulator.unit(i);
        const UnitStatus status = unit.status();
        std::printf("%s:%u %s %s pc=%04x commands=%llu packets=%llu errors=%llu faults=%s\n",
                    unit.address().c_str(), unit.port(), unit.config().profile.c_str(),
                    status.running ? "running" : "idle", status.programCounter,
                    static_cast<unsigned long long>(status.commands),
                    static_cast<unsigned long long>(status.packetsSent),
                    static_cast<unsigned long long>(status.errors),
                    unit.faults().describe().c_str());
    }
    std::fflush(stdout);
}

// One control line from standard input; false to quit.
bool control(Simulator& simulator, const std::string& line) {
    std::istringstream words(line);
    std::string verb;
    words >> verb;
    if (verb.empty())
        return true;
    if (verb == "quit" || verb == "exit")
        return false;
    if (verb == "status") {
        printStatus(simulator);
        return true;
    }
    if (verb == "faults") {
        std::string address, text;
        words >> address >> text;
        SimUnit* unit = simulator.find(address);
        if (!unit) {
            std::fprintf(stderr, "tarn-sim: no unit %s\n", address.c_str());
            return true;
        }
        try {
            unit->setFaults(FaultSettings::parse(text));
            std::printf("%s faults: %s\n", address.c_str(), unit->faults().describe().c_str());
            std::fflush(stdout);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "tarn-sim: %s\n", error.what());
        }
        return true;
    }
    std::fprintf(stderr, "tarn-sim: unknown control \"%s\" (faults, status, quit)\n", verb.c_str());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parseArguments(argc, argv);
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    std::signal(SIGPIPE, SIG_IGN);
    try {
        Simulator simulator(options.logPath);
        for (const auto& unit : options.units)
            simulator.addUnit(unit);
        simulator.start();
        std::fprintf(stderr, "tarn-sim: %zu unit(s) up\n", simulator.size());
        std::string pending;
        bool stdinOpen = true;
        while (!interrupted) {
            pollfd input{STDIN_FILENO, POLLIN, 0};
            const int ready = poll(&input, stdinOpen ? 1 : 0, 200);
            if (ready <= 0 || !(input.revents & (POLLIN | POLLHUP)))
                continue;
            char buffer[512];
            const ssize_t n = read(STDIN_FILENO, buffer, sizeof buffer);
            if (n <= 0) {
                stdinOpen = false; // keep serving until a signal
                continue;
            }
            pending.append(buffer, static_cast<size_t>(n));
            size_t end;
            while ((end = pending.find('\n')) != std::string::npos) {
                const std::string line = pending.substr(0, end);
                pending.erase(0, end + 1);
                if (!control(simulator, line))
                    interrupted = true;
            }
        }
        simulator.stop();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarn-sim: %s\n", error.what());
        return 1;
    }
    return 0;
}
