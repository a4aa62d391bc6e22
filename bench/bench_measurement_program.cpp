// Host-side cost of one measurement: generating and compiling the program when the task starts
// (from 10 points to 4,000, the most any unit profile allows, with a linear fit: cost per point),
// decoding a sweep's packets into per-path data after every measure (MB/s of payload and
// samples/s), and handing one path's sweep out through extractSweepData. The large sweep crosses
// four bands with four receivers and four paths; "program_bytes" is the generated image's size.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "link/packet_data.h"
#include "task/task_helpers.h"
#include "task_test_access.h"

namespace {

using namespace Orvek;

constexpr int kPoints = 4000; // the s-param profile's maximum
constexpr unsigned char kAllReceivers = 0x0F;

std::unique_ptr<TarnTask> sweepTask(int points = kPoints) {
    auto task = tarntest::makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0x40);
    task->getHardwareDetails()->Maximum_number_of_points = kPoints;
    task->setHopRate(HOP_90K);
    task->setEnabledReceivers(kAllReceivers);
    std::vector<double> freqs(points);
    for (int i = 0; i < points; ++i)
        freqs[i] = 400.0 + i * (5000.0 / points); // crosses bands 3 to 0 at any size
    task->setFrequencies(freqs.data(), static_cast<unsigned>(points));
    task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1);
    task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_0);
    task->addPathToMeasure(TARN_TX_PATH_2, TARN_RX_PATH_3);
    task->addPathToMeasure(TARN_TX_PATH_3, TARN_RX_PATH_2);
    return task;
}

void BM_GenerateProgram(benchmark::State& state) {
    auto task = sweepTask(static_cast<int>(state.range(0)));
    TarnTask::TaskHelpers helpers(task.get());
    for (auto _ : state) {
        helpers.buildTarnProgramNormal();
        benchmark::DoNotOptimize(TarnTaskTestAccess::state(*task).compiledProgram.program.data());
    }
    state.counters["program_bytes"] =
        static_cast<double>(TarnTaskTestAccess::state(*task).compiledProgram.imageSize());
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_GenerateProgram)
    ->RangeMultiplier(10)
    ->Range(10, kPoints)
    ->Arg(2000)
    ->Complexity(benchmark::oN)
    ->Unit(benchmark::kMicrosecond);

// The packets of one sweep of every path, as the unit would send them (any sample values).
std::vector<PacketData> sweepPackets(const TaskState& s, std::size_t& bytes) {
    std::vector<PacketData> packets;
    uint16_t counter = 1;
    bytes = 0;
    for (std::size_t path = 0; path < s.measuredPaths.size(); ++path) {
        for (int length : s.packetSizes) {
            PacketData packet;
            packet.packetCounter = counter++;
            packet.payload.resize(length);
            for (int i = 0; i < length; ++i)
                packet.payload[i] = static_cast<uint8_t>(i * 7 + path);
            bytes += static_cast<std::size_t>(length);
            packets.push_back(std::move(packet));
        }
    }
    return packets;
}

void BM_DecodeSweep(benchmark::State& state) {
    auto task = sweepTask();
    TarnTask::TaskHelpers helpers(task.get());
    helpers.buildTarnProgramNormal();
    const TaskState& s = TarnTaskTestAccess::state(*task);
    std::size_t bytes = 0;
    const std::vector<PacketData> packets = sweepPackets(s, bytes);
    std::vector<SweepData> results;
    for (auto _ : state) {
        results.clear();
        if (helpers.getDataFromPacketsNormal(packets, results) != ERR_OK)
            state.SkipWithError("decoding failed");
        benchmark::DoNotOptimize(results.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes) * state.iterations());
    state.counters["samples/s"] = benchmark::Counter(
        static_cast<double>(kPoints) * s.measuredPaths.size() * 4 * state.iterations(),
        benchmark::Counter::kIsRate);
}
BENCHMARK(BM_DecodeSweep)->Unit(benchmark::kMicrosecond);

// One path of the decoded sweep handed to the caller (4,000 points, four receivers).
void BM_ExtractSweepData(benchmark::State& state) {
    auto task = sweepTask();
    TarnTask::TaskHelpers helpers(task.get());
    helpers.buildTarnProgramNormal();
    TaskState& s = TarnTaskTestAccess::state(*task);
    std::size_t bytes = 0;
    if (helpers.getDataFromPacketsNormal(sweepPackets(s, bytes), s.sweepResults) != ERR_OK)
        state.SkipWithError("decoding failed");
    SweepData out;
    for (auto _ : state) {
        if (task->extractSweepData(TARN_TX_PATH_1, TARN_RX_PATH_0, out) != ERR_OK)
            state.SkipWithError("extractSweepData failed");
        benchmark::DoNotOptimize(out.receiverData.data());
    }
}
BENCHMARK(BM_ExtractSweepData)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
