// Long mode only (scripts/soak): free-running sweeps from a unit that drops, duplicates,
// reorders and cuts packets at random, for TARN_SOAK_SECONDS. Every sweep is whole or fails
// with its code, and resident memory after the first tenth of the run stays flat.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>

#include <algorithm>

#include "foreign_flood.h"
#include "measure_lab.h"
#include "sim_units.h"

using namespace Orvek;
using Clock = std::chrono::steady_clock;

namespace {

class Soak : public tarnlab::MeasureLab {};

TEST_F(Soak, StreamingWithFaultsKeepsResidentMemoryFlat) {
    const char* setting = std::getenv("TARN_SOAK_SECONDS");
    if (!setting) {
        GTEST_SKIP() << "long mode: TARN_SOAK_SECONDS not set";
    }
    const auto seconds = std::chrono::seconds(std::strtol(setting, nullptr, 10));
    startUnit("s-param", "192.168.1.15", 1250, true);
    ASSERT_NE(task, nullptr);
    ASSERT_EQ(task->setHopRate(HOP_45K), ERR_OK);
    ASSERT_EQ(task->utilGenerateLinearSweep(800.0, 1200.0, 400), ERR_OK);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_1), ERR_OK);
    ASSERT_EQ(task->setMeasurementType(PROG_ASYNC), ERR_OK);
    ASSERT_EQ(task->start(), ERR_OK);
    ASSERT_EQ(task->beginAsync(), ERR_OK);
    unit->setFaults(
        Sim::FaultSettings::parse("drop=0.001,duplicate=0.001,reorder=0.001,truncate=0.001"));

    std::map<int, long> results;
    const Clock::time_point begun = Clock::now();
    long warmKiB = -1, peakKiB = 0;
    for (long sweep = 0; sweep < 100000000 && Clock::now() - begun < seconds; ++sweep) {
        const Err_Code result = task->measure();
        ++results[result];
        ASSERT_TRUE(result == ERR_OK || result == ERR_BYTES || result == ERR_NO_RESPONSE)
            << result << " at sweep " << sweep;
        if (sweep % 256 == 0) {
            unit->clearLog(); // the simulator's own record, not the library's memory
            const long kib = tarnlab::residentKiB();
            if (warmKiB < 0 && Clock::now() - begun > seconds / 10) {
                warmKiB = kib;
            }
            peakKiB = std::max(peakKiB, kib);
        }
    }
    std::printf("%ld whole sweeps, %ld broken (%ld silent); RSS %ld KiB after warm-up, peak %ld "
                "KiB\n",
                results[ERR_OK], results[ERR_BYTES], results[ERR_NO_RESPONSE], warmKiB, peakKiB);
    EXPECT_GT(results[ERR_OK], 10 * (results[ERR_BYTES] + results[ERR_NO_RESPONSE]));
    ASSERT_GT(warmKiB, 0);
    EXPECT_LT(peakKiB - warmKiB, 4096) << "resident memory grew while streaming";
    EXPECT_EQ(task->stop(), ERR_OK);
}

} // namespace
