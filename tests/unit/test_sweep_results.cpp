// A sweep's packets checked against the task's packet plan, decoded per path, time-stamped and
// handed out per path.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "link/packet_data.h"
#include "switchboard/path_to_switch_control.h"
#include "task/task_helpers.h"
#include "task_test_access.h"

using namespace Orvek;

namespace {

PacketData packetOfLength(std::size_t length, int counter, uint8_t fill = 0) {
    PacketData p;
    p.tagA = 10;
    p.tagB = 1;
    p.packetCounter = counter;
    p.payload.assign(length, fill);
    return p;
}

class SweepResults : public ::testing::Test {
protected:
    void SetUp() override {
        task = tarntest::makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 0x09);
        helpers = std::make_unique<TarnTask::TaskHelpers>(task.get());
        ASSERT_EQ(task->setHopRate(HOP_90K), ERR_OK);
    }
    TaskState& state() { return TarnTaskTestAccess::state(*task); }
    // Two paths, `points` points, and a built program.
    void plan(int points) {
        std::vector<double> freqs(points);
        for (int i = 0; i < points; ++i)
            freqs[i] = 3000.0 + i;
        ASSERT_EQ(task->setFrequencies(freqs.data(), points), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
        ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_0), ERR_OK);
        helpers->buildTarnProgramNormal();
    }
    // The packets of one sweep with exactly the planned lengths; path p's bytes are p + 1.
    std::vector<PacketData> planned(int firstCounter = 1) {
        std::vector<PacketData> packets;
        int counter = firstCounter;
        for (uint8_t p = 0; p < 2; ++p)
            for (int length : state().packetSizes)
                packets.push_back(packetOfLength(length, counter++, p + 1));
        return packets;
    }

    std::unique_ptr<TarnTask> task;
    std::unique_ptr<TarnTask::TaskHelpers> helpers;
};

} // namespace

TEST_F(SweepResults, SweepTimerWrapsWhenTheCountFallsBelowHalfThePrevious) {
    helpers->timeBase = 1e-6;
    EXPECT_DOUBLE_EQ(helpers->sweepTimestamp(100), 100e-6);
    EXPECT_DOUBLE_EQ(helpers->sweepTimestamp(60), 60e-6); // not below 50: no wrap
    EXPECT_DOUBLE_EQ(helpers->sweepTimestamp(100), 100e-6);
    EXPECT_DOUBLE_EQ(helpers->sweepTimestamp(40), (4294967295.0 + 40) * 1e-6);
    EXPECT_DOUBLE_EQ(helpers->sweepTimestamp(0xF0000000u), (4294967295.0 + 0xF0000000u) * 1e-6);
    EXPECT_DOUBLE_EQ(helpers->sweepTimestamp(5), (2 * 4294967295.0 + 5) * 1e-6);
}

TEST_F(SweepResults, PacketCountAndLengthsMustMatchThePlan) {
    plan(400); // 1400 + 200 bytes per path
    const EntryPoint& entry = state().mainEntryPoint;
    std::vector<PacketData> packets = planned();
    EXPECT_EQ(helpers->validatePacketLengths(packets, entry), ERR_OK);

    packets[3].payload.pop_back();
    EXPECT_EQ(helpers->validatePacketLengths(packets, entry), ERR_BYTES);
    packets.pop_back();
    EXPECT_EQ(helpers->validatePacketLengths(packets, entry), ERR_BYTES);

    // Expected lengths of 13 bytes or less accept any length.
    EntryPoint shortOnes = entry;
    shortOnes.packetLengths = {1400, 13};
    packets = planned();
    packets[1].payload.resize(3);
    packets[3].payload.resize(40);
    EXPECT_EQ(helpers->validatePacketLengths(packets, shortOnes), ERR_OK);

    // Packets beyond a whole number per path are not length-checked.
    EntryPoint odd = shortOnes;
    odd.packetCount = 5;
    packets.push_back(packetOfLength(1, 5));
    EXPECT_EQ(helpers->validatePacketLengths(packets, odd), ERR_OK);

    state().measuredPaths.clear();
    EXPECT_EQ(helpers->validatePacketLengths(planned(), entry), ERR_NO_PATHS_MEASURED);
}

TEST_F(SweepResults, ExtractionFindsThePathsData) {
    SweepData out;
    EXPECT_EQ(task->extractSweepData(TARN_TX_PATH_0, TARN_RX_PATH_1, out), ERR_NO_PATHS_MEASURED);
    plan(2);
    EXPECT_EQ(task->extractSweepData(TARN_TX_PATH_0, TARN_RX_PATH_1, out), ERR_PATH_HAS_NO_DATA);
    std::vector<PacketData> packets = planned();
    ASSERT_EQ(helpers->getDataFromPacketsNormal(packets, state().sweepResults), ERR_OK);

    ASSERT_EQ(task->extractSweepData(TARN_TX_PATH_1, TARN_RX_PATH_0, out), ERR_OK);
    EXPECT_EQ(out.receiverData[0].real[1], 0x0202);
    EXPECT_EQ(task->extractSweepData(TARN_TX_PATH_2, TARN_RX_PATH_0, out), ERR_BAD_PATH);
    // Not a path of the unit's board: the mapping's refusal becomes a code.
    EXPECT_EQ(task->extractSweepData(TARN_TX_PATH_4, TARN_RX_PATH_0, out), ERR_BAD_PATH);
    EXPECT_EQ(task->extractSweepData(nullptr, out), ERR_BAD_PATH);

    // A listed path beyond the stored results.
    state().sweepResults.pop_back();
    EXPECT_EQ(task->extractSweepData(TARN_TX_PATH_1, TARN_RX_PATH_0, out), ERR_BAD_PATH);

    // Duplicates (which the path list normally refuses) resolve to the first.
    state().measuredPaths.push_back(state().measuredPaths[0]);
    testing::internal::CaptureStdout();
    EXPECT_EQ(task->extractSweepData(TARN_TX_PATH_0, TARN_RX_PATH_1, out), ERR_OK);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Duplicate combo?\n");
    EXPECT_EQ(out.receiverData[0].real[0], 0x0101);
}
