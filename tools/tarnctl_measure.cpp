#include "tarnctl_measure.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <unistd.h>
#include <vector>

#include "tarndll.h"

namespace tarnctl {

namespace {

using Clock = std::chrono::steady_clock;
using Complex = std::complex<double>;

// Owns the driver's task; stops a started task on every way out.
class Task {
public:
    Task() : handle_(createTask()) {
        if (!handle_)
            throw Failure(kExitUnit, "out of memory creating the task");
    }
    ~Task() {
        if (getState(handle_) >= Orvek::TASK_STARTED) {
            if (getState(handle_) == Orvek::TASK_RUNNING)
                haltAsync(handle_);
            stop(handle_);
        }
        deleteTask(handle_);
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    task_t* get() const { return handle_; }

private:
    task_t* handle_;
};

void check(const UnitAddress& where, const std::string& what, int code) {
    if (code != Orvek::ERR_OK)
        failUnit(where, what, code);
}

tarn_hardware_details_t connect(Task& task, const UnitAddress& where) {
    checkAddress(where);
    task_t* h = task.get();
    check(where, "address", setIPAddress(h, where.address.c_str()));
    check(where, "port", setIPPort(h, where.port));
    check(where, "time-out", setTimeout(h, where.timeoutMs));
    {
        ProgressBar bar("reading the unit's description");
        check(where, "cannot initialise the unit at " + where.text(),
              initialize(h, ProgressBar::callback, &bar));
    }
    return getHardwareDetails(h);
}

void configure(Task& task, const UnitAddress& where, const SweepPlan& plan, int programType) {
    task_t* h = task.get();
    check(where, "hop rate", setHopRate(h, static_cast<Orvek::Hop_Rate>(plan.hopRate)));
    if (!plan.freqs.empty())
        check(where, "frequencies",
              setFrequencies(h, plan.freqs.data(), static_cast<unsigned>(plan.freqs.size())));
    else
        check(where, "frequencies",
              utilGenerateLinearSweep(h, plan.startMHz, plan.stopMHz, plan.points));
    if (plan.gain >= 0)
        check(where, "gain", setIfGain(h, static_cast<Orvek::Rx_Gain>(plan.gain)));
    check(where, "receivers", setEnabledReceivers(h, plan.receivers));
    check(where, "measurement type",
          setMeasurementType(h, static_cast<Orvek::Program_Type>(programType)));
    for (const PortPair& p : plan.paths)
        check(where, "path " + std::to_string(p.tx) + ":" + std::to_string(p.rx),
              addPathToMeasure(h, static_cast<Orvek::Transmit_Path>(txPathValue(p.tx)),
                               static_cast<Orvek::Receive_Path>(rxPathValue(p.rx))));
    check(where, "cannot start the sweep", start(h));
}

// One path's receivers as the driver hands them out (enabled receivers in ascending order).
struct PathBuffers {
    std::vector<std::vector<double>> re, im;
    std::vector<double*> rePointers, imPointers;
    tarn_sweep_data_t record{};

    PathBuffers(int receivers, int points)
        : re(receivers, std::vector<double>(points)), im(receivers, std::vector<double>(points)) {
        for (int r = 0; r < receivers; ++r) {
            rePointers.push_back(re[r].data());
            imPointers.push_back(im[r].data());
        }
        record.real = rePointers.data();
        record.imag = imPointers.data();
    }
};

std::vector<int> enabledReceivers(unsigned char mask) {
    std::vector<int> list;
    for (int r = 0; r < 4; ++r)
        if (mask & (1u << r))
            list.push_back(r);
    return list;
}

struct Columns {
    std::vector<std::string> names;
    std::vector<std::vector<Complex>> values; // [column][point]
};

Columns columnsOf(const SweepPlan& plan, int points) {
    Columns columns;
    for (const PortPair& p : plan.paths) {
        if (plan.ratios) {
            columns.names.push_back("S" + std::to_string(p.rx + 1) + std::to_string(p.tx + 1));
        } else {
            for (int r : enabledReceivers(plan.receivers))
                columns.names.push_back("T" + std::to_string(p.tx) + "R" + std::to_string(p.rx) +
                                        "_rx" + std::to_string(r));
        }
    }
    columns.values.assign(columns.names.size(), std::vector<Complex>(points));
    return columns;
}

// Adds one sweep's values to `sum`.
void accumulate(Task& task, const UnitAddress& where, const SweepPlan& plan,
                const std::vector<double>& freqs, Columns& sum) {
    const int points = static_cast<int>(freqs.size());
    const int receivers = static_cast<int>(enabledReceivers(plan.receivers).size());
    size_t column = 0;
    for (const PortPair& p : plan.paths) {
        PathBuffers buffers(receivers, points);
        check(where, "reading path " + std::to_string(p.tx) + ":" + std::to_string(p.rx),
              extractSweepData(task.get(), &buffers.record,
                               static_cast<Orvek::Transmit_Path>(txPathValue(p.tx)),
                               static_cast<Orvek::Receive_Path>(rxPathValue(p.rx))));
        if (plan.ratios) {
            for (int i = 0; i < points; ++i) {
                const Complex wave(buffers.re[0][i], buffers.im[0][i]);
                const Complex incident(buffers.re[1][i], buffers.im[1][i]);
                if (incident == 0.0) {
                    char text[160];
                    std::snprintf(text, sizeof text,
                                  "the reference receiver saw no signal at %.6f MHz on path "
                                  "%d:%d: check the unit's source",
                                  freqs[i], p.tx, p.rx);
                    throw Failure(kExitUnit, text);
                }
                sum.values[column][i] += wave / incident;
            }
            ++column;
        } else {
            for (int r = 0; r < receivers; ++r, ++column)
                for (int i = 0; i < points; ++i)
                    sum.values[column][i] += Complex(buffers.re[r][i], buffers.im[r][i]);
        }
    }
}

std::string utcNow() {
    char text[40];
    const std::time_t now = std::time(nullptr);
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", std::gmtime(&now));
    return text;
}

std::string numberedPath(const std::string& path, unsigned index, unsigned count) {
    if (count <= 1)
        return path;
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "_%03u", index + 1);
    const size_t dot = path.rfind('.');
    const size_t slash = path.rfind('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return path + suffix;
    return path.substr(0, dot) + suffix + path.substr(dot);
}

// The library writes whole files only; standard output gets a copy of a scratch file.
void writeToStandardOutput(const tarnvna_table_t& table) {
    const char* folder = std::getenv("TMPDIR");
    std::string scratch = std::string(folder && *folder ? folder : "/tmp") + "/tarnctl-XXXXXX";
    const int fd = mkstemp(&scratch[0]);
    if (fd < 0)
        throw Failure(kExitFile, "cannot make a scratch file in " + scratch + ": set TMPDIR");
    close(fd);
    const int result = tarnvna_csv_write(scratch.c_str(), &table);
    FILE* in = result == Orvek::ERR_OK ? std::fopen(scratch.c_str(), "rb") : nullptr;
    char buffer[8192];
    size_t got;
    while (in && (got = std::fread(buffer, 1, sizeof buffer, in)) > 0)
        std::fwrite(buffer, 1, got, stdout);
    if (in)
        std::fclose(in);
    std::remove(scratch.c_str());
    std::fflush(stdout);
    if (result != Orvek::ERR_OK)
        fail("cannot write the sweep", result);
}

void write(const std::string& path, const SweepPlan& plan, const std::vector<double>& freqs,
           const Columns& columns, const std::string& comment) {
    const size_t points = freqs.size();
    int result;
    if (plan.touchstonePorts > 0) {
        const unsigned n = plan.touchstonePorts;
        std::vector<double> re(points * n * n), im(points * n * n);
        for (size_t c = 0; c < plan.paths.size(); ++c) {
            const PortPair p = plan.paths[c];
            if (p.tx >= static_cast<int>(n) || p.rx >= static_cast<int>(n))
                continue;
            for (size_t k = 0; k < points; ++k) {
                const size_t at = (k * n + p.rx) * n + p.tx;
                re[at] = columns.values[c][k].real();
                im[at] = columns.values[c][k].imag();
            }
        }
        tarnvna_network_t network{n, static_cast<unsigned>(points),
                                  const_cast<double*>(freqs.data()), re.data(), im.data()};
        result = tarnvna_touchstone_write(path.c_str(), &network, comment.c_str());
    } else {
        const size_t count = columns.names.size();
        std::vector<double> re(points * count), im(points * count);
        std::vector<char*> names;
        for (const std::string& name : columns.names)
            names.push_back(const_cast<char*>(name.c_str()));
        for (size_t c = 0; c < count; ++c)
            for (size_t k = 0; k < points; ++k) {
                re[k * count + c] = columns.values[c][k].real();
                im[k * count + c] = columns.values[c][k].imag();
            }
        tarnvna_table_t table{static_cast<unsigned>(count),
                              static_cast<unsigned>(points),
                              const_cast<double*>(freqs.data()),
                              names.data(),
                              re.data(),
                              im.data()};
        if (path.empty())
            return writeToStandardOutput(table);
        result = tarnvna_csv_write(path.c_str(), &table);
    }
    if (result == Orvek::ERR_BYTES)
        throw Failure(kExitFile, "cannot write " + path + ": " + std::strerror(errno) +
                                     ": check that the folder exists and is writable");
    if (result == Orvek::ERR_INVALID_PARAMETER)
        throw Failure(kExitUnit, "two points of the sweep fall on one synthesiser frequency: "
                                 "give frequencies further apart");
    if (result != Orvek::ERR_OK)
        fail("cannot write " + path, result);
}

} // namespace

int runSweep(const SweepRun& run) {
    if (run.count > 1 && run.options.output.empty())
        usageError("--count above 1 needs --output: each sweep goes to its own numbered file");
    precheck(run.options);
    Correction correction;
    correction.choose(run.unit, run.correction, run.calFile);
    Task task;
    const tarn_hardware_details_t unit = connect(task, run.unit);
    const SweepPlan plan = makePlan(run.options, unit);
    configure(task, run.unit, plan, Orvek::PROG_SYNC);

    const int n = getNumberOfFrequencies(task.get());
    std::vector<double> freqs(static_cast<size_t>(n));
    check(run.unit, "frequencies", getFrequencies(task.get(), freqs.data(), n));
    // A summary goes where the data does not.
    FILE* summary = run.options.output.empty() ? stderr : stdout;
    for (unsigned index = 0; index < run.count; ++index) {
        Columns sum = columnsOf(plan, n);
        const auto began = Clock::now();
        for (unsigned a = 0; a < run.average; ++a) {
            check(run.unit, "sweep failed", measure(task.get()));
            accumulate(task, run.unit, plan, freqs, sum);
        }
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - began).count();
        for (auto& column : sum.values)
            for (Complex& value : column)
                value /= static_cast<double>(run.average);
        correction.apply(plan, freqs, sum.values);
        const std::string comment = "Measured by tarnctl sweep from unit " + run.unit.text() +
                                    " (" + versionString() + ")\n" + plan.settings +
                                    "\nRaw ratios are receiver 0 / receiver 1 of each path; "
                                    "port k of this file is front-panel port k-1\n" +
                                    correction.comment() + "\n" + utcNow();
        const std::string path = numberedPath(run.options.output, index, run.count);
        write(path, plan, freqs, sum, comment);
        std::fprintf(summary,
                     "tarnctl: %d points %.3f-%.3f MHz, %zu paths, %u sweep%s in %.1f ms\n", n,
                     freqs.front(), freqs.back(), plan.paths.size(), run.average,
                     run.average == 1 ? "" : "s", ms);
        // Where a DUT passes most: the first transmission path's peak.
        for (size_t c = 0; plan.ratios && c < plan.paths.size(); ++c) {
            if (plan.paths[c].tx == plan.paths[c].rx)
                continue;
            size_t peak = 0;
            for (size_t i = 1; i < freqs.size(); ++i)
                if (std::abs(sum.values[c][i]) > std::abs(sum.values[c][peak]))
                    peak = i;
            std::fprintf(summary, "tarnctl: %s peaks at %.2f dB at %.3f MHz\n",
                         sum.names[c].c_str(),
                         20.0 * std::log10(std::abs(sum.values[c][peak]) + 1e-300), freqs[peak]);
            break;
        }
        if (!path.empty())
            std::fprintf(summary, "tarnctl: wrote %s\n", path.c_str());
    }
    check(run.unit, "stopping the unit", stop(task.get()));
    return kExitOk;
}

int runStream(const StreamRun& run) {
    SweepOptions options = run.options;
    options.output.clear();
    precheck(options);
    Task task;
    const tarn_hardware_details_t unit = connect(task, run.unit);
    const SweepPlan plan = makePlan(options, unit);
    configure(task, run.unit, plan, Orvek::PROG_ASYNC);
    check(run.unit, "cannot begin streaming", beginAsync(task.get()));

    const int n = getNumberOfFrequencies(task.get());
    const int receivers = static_cast<int>(enabledReceivers(plan.receivers).size());
    PathBuffers buffers(receivers, n);
    const PortPair first = plan.paths.front();
    std::vector<int> counters;
    unsigned failed = 0;
    const bool terminal = isatty(2);
    const auto began = Clock::now();
    const auto end = began + std::chrono::duration<double>(run.seconds);
    auto lastReport = began;
    while (Clock::now() < end) {
        if (measure(task.get()) != Orvek::ERR_OK) {
            ++failed;
            continue;
        }
        if (extractSweepData(task.get(), &buffers.record,
                             static_cast<Orvek::Transmit_Path>(txPathValue(first.tx)),
                             static_cast<Orvek::Receive_Path>(rxPathValue(first.rx))) ==
            Orvek::ERR_OK)
            counters.push_back(buffers.record.packetCounter);
        if (terminal && Clock::now() - lastReport > std::chrono::seconds(1)) {
            lastReport = Clock::now();
            std::fprintf(stderr, "\rtarnctl: %zu sweeps", counters.size());
        }
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - began).count();
    if (terminal)
        std::fprintf(stderr, "\r");
    check(run.unit, "cannot halt streaming", haltAsync(task.get()));

    // Consecutive sweeps advance the 16-bit packet counter by the packets of one sweep, the
    // most common step; any other step is a gap, and its size tells how many sweeps it lost.
    std::map<int, int> steps;
    std::vector<int> deltas;
    for (size_t i = 1; i < counters.size(); ++i) {
        deltas.push_back((counters[i] - counters[i - 1] + 65536) % 65536);
        ++steps[deltas.back()];
    }
    int usual = 0, seen = 0;
    for (const auto& step : steps)
        if (step.second > seen) {
            usual = step.first;
            seen = step.second;
        }
    unsigned gaps = 0, lost = 0;
    for (int delta : deltas)
        if (delta != usual) {
            ++gaps;
            if (usual > 0 && delta > usual)
                lost += static_cast<unsigned>(delta / usual - 1);
        }
    std::printf("tarnctl: %zu sweeps in %.1f s: %.1f sweeps/s, %d points x %zu paths each\n",
                counters.size(), seconds, counters.size() / seconds, n, plan.paths.size());
    std::printf("tarnctl: lost sweeps %u, packet-counter gaps %u, failed sweeps %u\n", lost, gaps,
                failed);
    return failed > 0 || gaps > 0 ? kExitUnit : kExitOk;
}

} // namespace tarnctl
