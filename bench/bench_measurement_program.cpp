// Host-side cost of one measurement: generating the program when the task starts and decoding
// a sweep's packets into per-path data after every measure, for a large sweep (1,000 points
// across four bands, four receivers, four paths). Counters: "samples/s" of decoded I/Q
// samples (points x receivers x paths), "program_bytes" of the generated image.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "link/packet_data.h"
#include "task/task_helpers.h"
#include "task_test_access.h"

namespace {

using namespace Orvek;

constexpr int kPoints = 1000; // the test unit's maximum
constexpr unsigned char kAllReceivers = 0x0F;

std::unique_ptr<TarnTask> largestSweepTask() {
    auto task = tarntest::makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0x40);
    task->setHopRate(HOP_90K);
    task->setEnabledReceivers(kAllReceivers);
    std::vector<double> freqs(kPoints);
    for (int i = 0; i < kPoints; ++i)
        freqs[i] = 400.0 + i * 5.0; // crosses bands 3 to 0
    task->setFrequencies(freqs.data(), kPoints);
    task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1);
    task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_0);
    task->addPathToMeasure(TARN_TX_PATH_2, TARN_RX_PATH_3);
    task->addPathToMeasure(TARN_TX_PATH_3, TARN_RX_PATH_2);
    return task;
}

void BM_GenerateProgram(benchmark::State& state) {
    auto task = largestSweepTask();
    TarnTask::TaskHelpers helpers(task.get());
    for (auto _ : state) {
        helpers.buildTarnProgramNormal();
        benchmark::DoNotOptimize(TarnTaskTestAccess::state(*task).compiledProgram.program.data());
    }
    state.counters["program_bytes"] =
        static_cast<double>(TarnTaskTestAccess::state(*task).compiledProgram.imageSize());
}
BENCHMARK(BM_GenerateProgram)->Unit(benchmark::kMillisecond);

void BM_DecodeSweep(benchmark::State& state) {
    auto task = largestSweepTask();
    TarnTask::TaskHelpers helpers(task.get());
    helpers.buildTarnProgramNormal();
    const TaskState& s = TarnTaskTestAccess::state(*task);
    std::vector<PacketData> packets;
    uint16_t counter = 1;
    for (std::size_t path = 0; path < s.measuredPaths.size(); ++path) {
        for (int length : s.packetSizes) {
            PacketData packet;
            packet.packetCounter = counter++;
            packet.payload.resize(length);
            for (int i = 0; i < length; ++i)
                packet.payload[i] = static_cast<uint8_t>(i * 7 + path);
            packets.push_back(std::move(packet));
        }
    }
    std::vector<SweepData> results;
    for (auto _ : state) {
        results.clear();
        if (helpers.getDataFromPacketsNormal(packets, results) != ERR_OK)
            state.SkipWithError("decoding failed");
        benchmark::DoNotOptimize(results.data());
    }
    state.counters["samples/s"] = benchmark::Counter(
        static_cast<double>(kPoints) * s.measuredPaths.size() * 4 * state.iterations(),
        benchmark::Counter::kIsRate);
}
BENCHMARK(BM_DecodeSweep)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
