// Cost of compiling a full sweep program: 5,000 frequency points across four bands, packet
// breaks every 350 points, a start-up section and a jump table over four paths. The counter
// "per_1k_cmds" is the time per thousand commands.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "program/hardware_commands.h"
#include "program/program_reader.h"
#include "program/program_source.h"
#include "prom/prom_parameters.h"

namespace {

using namespace Orvek;

constexpr int kPoints = 5000;
constexpr int kPointsPerBand = 1250;
constexpr int kPointsPerPacket = 350;
constexpr int kPaths = 4;

ProgramSource buildSweepProgram() {
    ProgramSource source;
    source.add<CommentBreak>("Startup Section");
    source.add<Label>("startup");
    source.add<Comment>("standardProgramPreamble section");
    source.append(standardPowerupSequence());
    source.add<Register>(0x84, 0x40, "Reset system timer");
    source.add<Register>(0x85, 0x03, "Hop rate");
    source.add<Register>(0x81, 0x00, "Gain");
    source.add<Register>(0x84, 0x01, "Load PLLs");
    source.add<FD>("");
    source.add<FD>("");
    source.add<ReceiverControlRegister>(0xA0, 0x03, "Enabled receivers bitmask");
    source.add<FF>("End standard program preamble");

    source.add<CommentBreak>("BuildJumpTable section");
    source.add<Label>("jumptable start");
    for (int path = 0; path < kPaths; ++path) {
        source.add<Register>(0x82, 0x11 + path, "path " + std::to_string(path));
        source.add<Register>(0x9B, 0x00, "SetPortAssignment: configure alternation");
        source.add<Call>("freqs");
    }
    source.add<Jump>("jumptable start");
    source.add<FF>("jump table");

    source.add<CommentBreak>("Acquisition Segment");
    source.add<Label>("freqs");
    source.add<Comment>("Not sending serial data!");
    for (int i = 0; i < kPoints; ++i) {
        const std::uint32_t word = 0x200000u + static_cast<std::uint32_t>(i) * 977u;
        const std::uint8_t low = word & 0xFF, mid = (word >> 8) & 0xFF, high = (word >> 16) & 0xFF;
        source.add<TxDDSRegister>(low, mid, high,
                                  "tx f=" + std::to_string(100 + i) +
                                      ", rx f=" + std::to_string(110.7002 + i) + ", TX Register");
        source.add<RxDDSRegister>(low, mid, static_cast<std::uint8_t>(high + 1), " RX Register");
        if (i % kPointsPerBand == 0) {
            source.add<Comment>("Band switch!");
            source.add<Register>(0x80, 0x0B, "band=0 txPA=on rxPA=off txRFswitch=on");
            for (int k = 0; k < 8; ++k)
                source.add<FD>("");
        }
        source.add<FE>("");
        if (i % kPointsPerPacket == kPointsPerPacket - 1 && i + 1 < kPoints) {
            source.add<FD>("");
            source.add<TriggerPacketTx>(false);
        }
    }
    source.add<FD>("");
    source.add<TriggerPacketTx>(true);
    source.add<FD>("");
    source.add<Return>();
    return source;
}

void setPerThousand(benchmark::State& state, std::size_t commands) {
    state.counters["commands"] = static_cast<double>(commands);
    state.counters["per_1k_cmds"] = benchmark::Counter(
        static_cast<double>(commands) / 1000.0,
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_CompileSweepProgram(benchmark::State& state) {
    const PromParameters params;
    const ProgramSource source = buildSweepProgram();
    for (auto _ : state) {
        CompiledProgram compiled = source.compile(params);
        benchmark::DoNotOptimize(compiled.program.data());
    }
    setPerThousand(state, source.commands.size());
}
BENCHMARK(BM_CompileSweepProgram)->Unit(benchmark::kMillisecond);

// Generation allocates every command and the task destroys the source afterwards.
void BM_BuildCompileAndDestroy(benchmark::State& state) {
    const PromParameters params;
    std::size_t commands = 0;
    for (auto _ : state) {
        ProgramSource source = buildSweepProgram();
        commands = source.commands.size();
        CompiledProgram compiled = source.compile(params);
        benchmark::DoNotOptimize(compiled.program.data());
    }
    setPerThousand(state, commands);
}
BENCHMARK(BM_BuildCompileAndDestroy)->Unit(benchmark::kMillisecond);

void BM_AnnotatedListing(benchmark::State& state) {
    const PromParameters params;
    const ProgramSource source = buildSweepProgram();
    for (auto _ : state) {
        std::string listing = source.compiledHumanReadable(params);
        benchmark::DoNotOptimize(listing.data());
    }
    setPerThousand(state, source.commands.size());
}
BENCHMARK(BM_AnnotatedListing)->Unit(benchmark::kMillisecond);

// Reading the image back, as the simulated unit does before running it.
void BM_ReadBackImage(benchmark::State& state) {
    const PromParameters params;
    const CompiledProgram compiled = buildSweepProgram().compile(params);
    std::size_t instructions = 0;
    for (auto _ : state) {
        const ProgramReader reader = ProgramReader::fromCompiled(compiled);
        std::vector<Instruction> all = reader.readAll();
        instructions = all.size();
        benchmark::DoNotOptimize(all.data());
    }
    state.counters["instructions"] = static_cast<double>(instructions);
    state.counters["image_bytes"] = static_cast<double>(compiled.imageSize());
}
BENCHMARK(BM_ReadBackImage)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
