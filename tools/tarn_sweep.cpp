// tarn-sweep: a two-port S-parameter sweep through the exported interface, written as a
// Touchstone 1.1 file.
//
//   tarn-sweep --address 192.168.1.10 --port 1024 --start 1000 --stop 2000 --points 201
//              --output dut.s2p
//
// The unit must carry the S-parameter switch board and two receivers. Each of the four paths
// is measured as the ratio receiver 0 / receiver 1: receiver 0 sees the wave leaving the DUT at
// the receive port, receiver 1 the wave incident at the transmit port.
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tarndll.h"

namespace {

struct Options {
    std::string address = "192.168.1.10";
    int port = 1024;
    double startMHz = 0;  // 0: from the unit's range
    double stopMHz = 0;
    unsigned points = 201;
    std::string output = "sweep.s2p";
};

struct PathPlan {
    const char* name;
    Orvek::Transmit_Path tx;
    Orvek::Receive_Path rx;
};

// Touchstone column order: S11 S21 S12 S22. Port 1 is front-panel port 0.
const PathPlan kPaths[] = {
    {"S11", Orvek::TARN_TX_PATH_0, Orvek::TARN_RX_PATH_0},
    {"S21", Orvek::TARN_TX_PATH_0, Orvek::TARN_RX_PATH_1},
    {"S12", Orvek::TARN_TX_PATH_1, Orvek::TARN_RX_PATH_0},
    {"S22", Orvek::TARN_TX_PATH_1, Orvek::TARN_RX_PATH_1},
};

void usage(const char* program) {
    std::fprintf(stderr,
                 "usage: %s [--address A] [--port P] [--start MHz] [--stop MHz] [--points N] "
                 "[--output FILE]\n",
                 program);
}

bool parse(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        if (i + 1 >= argc) {
            usage(argv[0]);
            return false;
        }
        const char* value = argv[++i];
        if (flag == "--address")
            options.address = value;
        else if (flag == "--port")
            options.port = std::atoi(value);
        else if (flag == "--start")
            options.startMHz = std::atof(value);
        else if (flag == "--stop")
            options.stopMHz = std::atof(value);
        else if (flag == "--points")
            options.points = static_cast<unsigned>(std::atoi(value));
        else if (flag == "--output")
            options.output = value;
        else {
            usage(argv[0]);
            return false;
        }
    }
    return true;
}

// Owns the task handle so every exit path releases it.
class Task {
public:
    Task() : handle_(createTask()) {}
    ~Task() { deleteTask(handle_); }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    task_t* get() const { return handle_; }

private:
    task_t* handle_;
};

bool ok(const char* call, int code) {
    if (code == Orvek::ERR_OK)
        return true;
    std::fprintf(stderr, "tarn-sweep: %s failed with code %d\n", call, code);
    return false;
}

bool writeTouchstone(const std::string& path, const std::vector<double>& freqsMHz,
                     const std::vector<std::vector<std::complex<double>>>& s) {
    FILE* out = std::fopen(path.c_str(), "w");
    if (!out) {
        std::perror(path.c_str());
        return false;
    }
    std::fprintf(out, "! Two-port S-parameters measured by tarn-sweep (%s)\n", versionString());
    std::fprintf(out, "! freq[Hz] S11 S21 S12 S22 as real/imaginary pairs\n");
    std::fprintf(out, "# Hz S RI R 50\n");
    for (size_t i = 0; i < freqsMHz.size(); ++i) {
        std::fprintf(out, "%.0f", freqsMHz[i] * 1e6);
        for (const auto& column : s)
            std::fprintf(out, " %.9e %.9e", column[i].real(), column[i].imag());
        std::fputc('\n', out);
    }
    return std::fclose(out) == 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parse(argc, argv, options))
        return 2;

    Task task;
    if (!task.get()) {
        std::fprintf(stderr, "tarn-sweep: out of memory\n");
        return 1;
    }
    task_t* h = task.get();
    if (!ok("setIPAddress", setIPAddress(h, options.address.c_str())) ||
        !ok("setIPPort", setIPPort(h, options.port)) || !ok("initialize", initialize(h, nullptr, nullptr)))
        return 1;

    const tarn_hardware_details_t unit = getHardwareDetails(h);
    if (unit.switchBoardType != Orvek::SWITCHBOARD_S_PARAMETER_SWITCH) {
        std::fprintf(stderr, "tarn-sweep: the unit has no S-parameter switch board\n");
        return 1;
    }
    if (options.startMHz <= 0)
        options.startMHz = unit.minimumFrequency;
    if (options.stopMHz <= 0)
        options.stopMHz = unit.maximumFrequency;

    if (!ok("setHopRate", setHopRate(h, Orvek::HOP_15K)) ||
        !ok("setEnabledReceivers", setEnabledReceivers(h, 0x3)) ||
        !ok("utilGenerateLinearSweep",
            utilGenerateLinearSweep(h, options.startMHz, options.stopMHz, options.points)))
        return 1;
    for (const PathPlan& path : kPaths)
        if (!ok("addPathToMeasure", addPathToMeasure(h, path.tx, path.rx)))
            return 1;

    const int n = getNumberOfFrequencies(h);
    std::vector<double> freqs(static_cast<size_t>(n));
    if (!ok("getFrequencies", getFrequencies(h, freqs.data(), n)) || !ok("start", start(h)))
        return 1;

    const auto began = std::chrono::steady_clock::now();
    const int measured = measure(h);
    const double sweepSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    const int stopped = stop(h);
    if (!ok("measure", measured) || !ok("stop", stopped))
        return 1;

    std::vector<std::vector<std::complex<double>>> s;
    for (const PathPlan& path : kPaths) {
        std::vector<double> re0(n), im0(n), re1(n), im1(n);
        double* reals[2] = {re0.data(), re1.data()};
        double* imags[2] = {im0.data(), im1.data()};
        tarn_sweep_data_t sweep{};
        sweep.real = reals;
        sweep.imag = imags;
        if (!ok("extractSweepData", extractSweepData(h, &sweep, path.tx, path.rx)))
            return 1;
        std::vector<std::complex<double>> ratio(n);
        for (int i = 0; i < n; ++i) {
            const std::complex<double> incident(re1[i], im1[i]);
            ratio[i] = incident == 0.0 ? 0.0 : std::complex<double>(re0[i], im0[i]) / incident;
        }
        s.push_back(std::move(ratio));
    }

    if (!writeTouchstone(options.output, freqs, s))
        return 1;
    std::printf("tarn-sweep: %d points from %.3f to %.3f MHz, %zu paths, sweep %.1f ms\n", n,
                freqs.front(), freqs.back(), s.size(), sweepSeconds * 1e3);
    // Where the DUT passes most: the transmission peak, what a filter user looks at first.
    size_t peak = 0;
    for (size_t i = 1; i < freqs.size(); ++i)
        if (std::abs(s[1][i]) > std::abs(s[1][peak]))
            peak = i;
    if (!freqs.empty())
        std::printf("tarn-sweep: S21 peaks at %.2f dB at %.3f MHz\n",
                    20.0 * std::log10(std::abs(s[1][peak]) + 1e-300), freqs[peak]);
    std::printf("tarn-sweep: wrote %s\n", options.output.c_str());
    return 0;
}
