// Soak figure for the endpoint's memory bound: a simulated unit streams free-running sweeps
// while 200 strangers flood the port from the lab's unit addresses; reports sweeps, failures,
// foreign datagrams dropped and the process's growth over its quiet size (goal: under 64 MB,
// every sweep succeeding). Not part of CI: it runs for TARN_FLOOD_SECONDS (default 60).
//
//   TARNLAB_PREFIX=tarnlab4 scripts/netlab exec-host build/bench/bench_link_flood
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "foreign_flood.h"
#include "lab_namespace.h"
#include "link/socket_manager.h"
#include "sim_units.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

namespace {

constexpr uint16_t port = 1142;

void floodDuringStreaming(benchmark::State& state) {
    const std::string problem = tarnlab::hostSideProblem();
    if (!problem.empty()) {
        state.SkipWithError(problem.c_str());
        return;
    }
    const char* configured = std::getenv("TARN_FLOOD_SECONDS");
    const int seconds = configured != nullptr ? std::atoi(configured) : 60;
    tarnlab::SimulatedUnits units;
    units.add("simple-4port", "192.168.1.10", port);
    if (!units.start().empty()) {
        state.SkipWithError("cannot start the simulated unit");
        return;
    }
    const long quiet = tarnlab::residentKiB();
    using namespace Orvek;
    for (auto _ : state) {
        TarnTask task;
        task.setIPAddress("192.168.1.10");
        task.setIPPort(port);
        if (task.initialize(nullptr, nullptr) != ERR_OK || task.setHopRate(HOP_15K) != ERR_OK ||
            task.setMeasurementType(PROG_ASYNC) != ERR_OK ||
            task.utilGenerateLinearSweep(1000.0, 1500.0, 101) != ERR_OK ||
            task.addPathToMeasure(TARN_TX_PATH_2, TARN_RX_PATH_3) != ERR_OK ||
            task.start() != ERR_OK || task.beginAsync() != ERR_OK) {
            state.SkipWithError("cannot start streaming");
            return;
        }
        tarnlab::ForeignFlood flood(port, 200);
        long sweeps = 0, failures = 0, peak = quiet;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (std::chrono::steady_clock::now() < end) {
            (task.measure() == ERR_OK ? sweeps : failures) += 1;
            peak = std::max(peak, tarnlab::residentKiB());
        }
        const auto counters =
            dynamic_cast<SocketManager&>(*TarnTaskTestAccess::state(task).socketManager).counters();
        task.stop();
        state.counters["sweeps"] = sweeps;
        state.counters["failures"] = failures;
        state.counters["growth_MiB"] = (peak - quiet) / 1024.0;
        std::printf("%d s, %d senders: %ld sweeps, %ld failed; %zu foreign datagrams sent, %zu "
                    "dropped; RSS quiet %ld KiB, peak %ld KiB (growth %.1f MiB, goal < 64 MB)\n",
                    seconds, 200, sweeps, failures, flood.sent(), counters.foreignDropped, quiet,
                    peak, (peak - quiet) / 1024.0);
    }
    std::printf("RSS after the task was deleted: %ld KiB\n", tarnlab::residentKiB());
}

} // namespace

BENCHMARK(floodDuringStreaming)->Iterations(1)->Unit(benchmark::kSecond);

BENCHMARK_MAIN();
