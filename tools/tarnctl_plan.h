#pragma once
// A sweep as the user asked for it, checked against what the unit can do before any of it
// reaches the driver (the driver lets some out-of-range values end the program).
#include <string>
#include <utility>
#include <vector>

#include "tarnvna.h"

namespace tarnctl {

// Command-line text, parsed strictly by makePlan.
struct SweepOptions {
    std::string start, stop, points = "201";
    std::string freqs;       // comma-separated MHz; replaces start/stop/points
    std::string hop = "15k"; // point rate name
    std::string gain;        // dB, multiple of 3
    std::string atten;       // dB
    std::string receivers;   // comma-separated 0..3
    std::string paths;       // all, Sij, T:R, comma-separated
    std::string output;      // .sNp or .csv; empty: CSV on standard output
};

struct PortPair {
    int tx; // front-panel port numbers
    int rx;
};

struct SweepPlan {
    std::vector<double> freqs; // explicit list, or empty for a linear sweep
    double startMHz = 0, stopMHz = 0;
    unsigned points = 0;
    int hopRate = 0;
    int gain = -1;        // Rx_Gain, -1 unset
    int attenuation = -1; // Rx_Attenuation, -1 unset
    unsigned char receivers = 1;
    std::vector<PortPair> paths;
    bool ratios = false;          // S-parameters as receiver 0 / receiver 1
    unsigned touchstonePorts = 0; // output is .sNp
    std::string settings;         // one line for file comments
};

// The unit's switch-board value for a front-panel port.
int txPathValue(int port);
int rxPathValue(int port);

// Names of the hop rates, fastest first, as --hop takes them.
std::string hopRateNames();

// Ports N of an ".sNp" name, 0 for anything else (".csv", empty).
unsigned touchstonePortsOf(const std::string& path);

// Checks every option against the unit; a Failure (exit code 2) names the first problem.
SweepPlan makePlan(const SweepOptions& options, const tarn_hardware_details_t& unit);

// Checks what does not depend on the unit (syntax, names, limits of the enumerations), so that
// a bad command line fails before anything is sent.
void precheck(const SweepOptions& options);

// The same plan in the companion library's form; `tx`/`rx` hold the path values.
tarnvna_sweep_config_t configOf(const SweepPlan& plan, std::vector<int>& tx, std::vector<int>& rx);

} // namespace tarnctl
