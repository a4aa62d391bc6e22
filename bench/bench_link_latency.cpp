// How late a reply reaches the caller once the receive has left its spin phase and waits on
// the socket. A minimal unit answers 3 ms after each request (well after the spin phase); the
// overhead is the time from just before the unit's sendto to the return of receive_from. Goal:
// within 1 ms, where a sleeping poll loop would add up to one poll interval.
//
//   TARNLAB_PREFIX=tarnlab4 scripts/netlab exec-host build/bench/bench_link_latency
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "bench_peer.h"
#include "lab_endpoint.h"
#include "lab_namespace.h"
#include "tarndll.h"

using namespace std::chrono_literals;

namespace {

constexpr uint16_t port = 1140;
const std::string unit = "192.168.1.10";

void replyOverheadAfterSpin(benchmark::State& state) {
    const std::string problem = tarnlab::hostSideProblem();
    if (!problem.empty()) {
        state.SkipWithError(problem.c_str());
        return;
    }
    const int pollMs = static_cast<int>(state.range(0));
    auto endpoint = tarnlab::boundEndpoint(port);
    if (!endpoint) {
        state.SkipWithError("cannot bind the benchmark port");
        return;
    }
    BenchPeer peer(
        unit, port, [](const std::string&) { return std::string("pong"); }, 3ms);
    if (!peer.ok()) {
        state.SkipWithError("cannot start the unit");
        return;
    }
    std::vector<double> overheads;
    int failures = 0;
    for (auto _ : state) {
        std::string reply;
        endpoint->send_to(unit, std::string("ping\n"));
        const int result = endpoint->receive_from(reply, unit, 1000, pollMs);
        const auto returned = std::chrono::steady_clock::now();
        if (result != Orvek::ERR_OK) {
            ++failures;
            state.SetIterationTime(1e-3);
            continue;
        }
        const double overhead =
            std::chrono::duration<double, std::micro>(returned - peer.lastSent()).count();
        overheads.push_back(overhead);
        state.SetIterationTime(overhead * 1e-6);
    }
    if (overheads.empty()) {
        state.SkipWithError("no reply came back");
        return;
    }
    std::sort(overheads.begin(), overheads.end());
    const double median = overheads[overheads.size() / 2];
    const double p99 = overheads[overheads.size() * 99 / 100];
    const double worst = overheads.back();
    state.counters["median_us"] = median;
    state.counters["p99_us"] = p99;
    state.counters["worst_us"] = worst;
    state.counters["failures"] = failures;
    std::printf("poll %2d ms: reply overhead over %zu exchanges: median %.1f us, p99 %.1f us, "
                "worst %.1f us (goal: within 1000 us)\n",
                pollMs, overheads.size(), median, p99, worst);
}

} // namespace

BENCHMARK(replyOverheadAfterSpin)
    ->Arg(1)
    ->Arg(50)
    ->Iterations(300)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
