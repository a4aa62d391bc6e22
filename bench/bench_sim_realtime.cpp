// Real-time fidelity of the simulated unit: a program of N points at a hop rate must take
// N x the point time (plus the packet breaks' delays), from the begin command to the last
// packet, within a few percent plus the network time. Needs the network lab:
//   scripts/netlab up && scripts/netlab exec-host build/bench/bench_sim_realtime
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>

#include "hardware/point_timing.h"
#include "lab_endpoint.h"
#include "lab_namespace.h"
#include "link/device_commands.h"
#include "link/socket_manager.h"
#include "program/program_source.h"
#include "sim_units.h"

namespace {

using namespace Orvek;

const char* const kAddress = "192.168.1.18";
constexpr std::uint16_t kPort = 1158;

struct Bench {
    tarnlab::SimulatedUnits units;
    std::shared_ptr<SocketManager> endpoint;
    std::string problem;

    Bench() {
        problem = tarnlab::hostSideProblem();
        if (!problem.empty())
            return;
        units.add("s-param", kAddress, kPort);
        problem = units.start();
        if (!problem.empty())
            return;
        endpoint = tarnlab::boundEndpoint(kPort);
        if (!endpoint)
            problem = "cannot bind the host side";
        else
            endpoint->set_current_dst_ip(kAddress);
    }
};

Bench& bench() {
    static Bench instance;
    return instance;
}

// One pass of `points` acquisitions with a packet break after every 350 points; returns the
// number of timed points (FE and FD) and fills the entry point.
int buildProgram(int hop, int points, CompiledProgram& compiled, EntryPoint& entry) {
    ProgramSource source;
    source.add<Register>(0x85, hop, "hop rate");
    int timed = 0;
    for (int i = 0; i < points; ++i) {
        source.add<FE>("");
        ++timed;
        if ((i + 1) % 350 == 0 && i + 1 < points) {
            source.add<FD>("");
            source.add<TriggerPacketTx>(false);
            ++timed;
            ++entry.packetCount;
        }
    }
    source.add<FD>("");
    source.add<TriggerPacketTx>(true);
    ++timed;
    ++entry.packetCount;
    source.add<FF>("");
    compiled = source.compile(PromParameters());
    entry.address = 0;
    entry.packetTimeoutMs = 2000;
    return timed;
}

void realTimeSweep(benchmark::State& state) {
    Bench& b = bench();
    if (!b.problem.empty()) {
        state.SkipWithError(("network lab not available: " + b.problem).c_str());
        return;
    }
    const int hop = static_cast<int>(state.range(0));
    const int points = static_cast<int>(state.range(1));
    CompiledProgram compiled;
    EntryPoint entry;
    const int timed = buildProgram(hop, points, compiled, entry);
    if (TARN::uploadProgram(b.endpoint, kAddress, compiled) != 0) {
        state.SkipWithError("upload failed");
        return;
    }
    const double expected = timed * sPerPoint(static_cast<Hop_Rate>(hop), 32.0);
    double worst = 0.0;
    for (auto _ : state) {
        std::vector<PacketData> packets;
        const auto start = std::chrono::steady_clock::now();
        const int result = TARN::runProgram(b.endpoint, kAddress, entry, packets, true);
        const double elapsed =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (result != 0) {
            state.SkipWithError("sweep failed");
            return;
        }
        state.SetIterationTime(elapsed);
        worst = std::max(worst, elapsed);
    }
    state.counters["points"] = points;
    state.counters["expected_ms"] = expected * 1e3;
    state.counters["worst_ms"] = worst * 1e3;
    state.counters["worst_excess_ms"] = (worst - expected) * 1e3;
    state.counters["worst_excess_pct"] = (worst - expected) / expected * 100.0;
}

// {hop rate, points}: 90K, 15K and 1K points per second.
BENCHMARK(realTimeSweep)
    ->Args({HOP_90K, 4000})
    ->Args({HOP_15K, 2000})
    ->Args({HOP_1K, 300})
    ->Iterations(5)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
