// Host cost of one synchronous measure(): begin command, collection and checking of every
// packet, decoding, against a simulated unit in fast mode (no point timing), so the figure is
// the library's and the loopback network's share of a sweep. Needs the network lab:
//   scripts/netlab up && scripts/netlab exec-host build/bench/bench_measure_sweep
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "lab_namespace.h"
#include "measure_lab.h"
#include "sim_units.h"

namespace {

using namespace Orvek;

const char* const kAddress = "192.168.1.17";
constexpr std::uint16_t kPort = 1157;

void measureSweep(benchmark::State& state) {
    std::string problem = tarnlab::hostSideProblem();
    tarnlab::SimulatedUnits units;
    if (problem.empty()) {
        units.add(tarnlab::measureUnitConfig("s-param", kAddress, kPort));
        problem = units.start();
    }
    std::unique_ptr<TarnTask> task;
    if (problem.empty())
        task = tarnlab::initialisedTask(kAddress, kPort, problem);
    if (!task) {
        state.SkipWithError(problem.c_str());
        return;
    }
    const unsigned points = static_cast<unsigned>(state.range(0));
    const bool ready = task->setHopRate(HOP_90K) == ERR_OK &&
                       task->utilGenerateLinearSweep(800.0, 1200.0, points) == ERR_OK &&
                       task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1) == ERR_OK &&
                       task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_1) == ERR_OK &&
                       task->start() == ERR_OK;
    if (!ready) {
        state.SkipWithError("set-up or start failed");
        return;
    }
    for (auto _ : state) {
        if (task->measure() != ERR_OK) {
            state.SkipWithError("measure failed");
            break;
        }
    }
    task->stop();
}

BENCHMARK(measureSweep)->Arg(101)->Arg(400)->Arg(1000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
