// Finding a unit and reading its description over the network lab, against simulated units:
// progress reports, a cancelled download, a silent unit, a blank and an invalid PROM, and the
// task working again afterwards. Ports 1200-1203.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "lab_namespace.h"
#include "prom/prom_parameters.h"
#include "sim/profiles.h"
#include "sim/simulator.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;

namespace {

constexpr const char* kProfile = "simple-4port";

struct ProgressLog {
    std::vector<int> values;
    int stopAt = -1; // return false once this value has been reported
};

bool recordProgress(int percent, void* context) {
    auto* log = static_cast<ProgressLog*>(context);
    log->values.push_back(percent);
    return log->stopAt < 0 || percent < log->stopAt;
}

std::vector<uint8_t> toBytes(const std::vector<int>& values) {
    return std::vector<uint8_t>(values.begin(), values.end());
}

// One simulated unit on the units side of the lab, started from a thread in that namespace.
class TaskLab : public ::testing::Test {
protected:
    void startUnit(const std::string& address, uint16_t port, std::vector<uint8_t> promImage = {}) {
        Sim::UnitConfig config;
        config.address = address;
        config.port = port;
        config.profile = kProfile;
        config.realTime = false;
        config.promImage = std::move(promImage);
        config.broadcastAddress = "none";
        unit_ = &simulator_.addUnit(config);
        tarnlab::UnitsThread starter([this] { simulator_.start(); });
        starter.join();
        ASSERT_EQ(starter.error(), "");
    }

    int commandsReceived(const std::string& command) {
        int count = 0;
        for (const Sim::LogEntry& entry : unit_->log(Sim::LogKind::Command))
            count += entry.isCommand(command) ? 1 : 0;
        return count;
    }

    void TearDown() override { simulator_.stop(); }

    Sim::Simulator simulator_;
    Sim::SimUnit* unit_ = nullptr;
};

} // namespace

TEST_F(TaskLab, InitializeReadsTheUnitAndReportsProgressPerByte) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    startUnit("192.168.1.11", 1200);
    TarnTask task;
    ASSERT_EQ(task.setIPAddress("192.168.1.11"), ERR_OK);
    ASSERT_EQ(task.setIPPort(1200), ERR_OK);
    ProgressLog progress;
    ASSERT_EQ(task.initialize(recordProgress, &progress), ERR_OK);
    EXPECT_EQ(task.getState(), TASK_STOPPED);

    // The image holds its entry-list length L at bytes 20..21; L + 20 bytes are read, each
    // reported as the truncated percentage done, between a 0 and a final 100.
    const std::vector<uint8_t> image = unit_->promContents();
    const int total = image.at(20) * 256 + image.at(21) + 20;
    ASSERT_EQ(progress.values.size(), static_cast<std::size_t>(total) + 2);
    EXPECT_EQ(progress.values.front(), 0);
    EXPECT_EQ(progress.values.back(), 100);
    for (int k = 1; k <= total; ++k)
        ASSERT_EQ(progress.values[k], static_cast<int>(std::floor(k * 100.0 / total))) << k;

    const PromParameters expected = Sim::profileParameters(kProfile, 11);
    const PromParameters& read = *task.getHardwareDetails();
    EXPECT_EQ(read.Minimum_freq, expected.Minimum_freq);
    EXPECT_EQ(read.Maximum_freq, expected.Maximum_freq);
    EXPECT_EQ(read.Maximum_number_of_points, expected.Maximum_number_of_points);
    EXPECT_EQ(read.getSwitchboardType(), SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
    EXPECT_DOUBLE_EQ(TarnTaskTestAccess::helpers(task).timeBase,
                     256.0 / (expected.Master_clock_frequency * 1e6));
    // A known unit is now checked against its limits.
    double f = expected.Maximum_freq + 1.0;
    EXPECT_EQ(task.utilNearestLegalFreq(f), ERR_FREQ_OUT_OF_BOUNDS);
    // Initialising twice needs a new address or port first.
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_WRONG_STATE);
    ASSERT_EQ(task.setIPPort(1200), ERR_OK);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
}

TEST_F(TaskLab, PingIsTheHaltExchange) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    startUnit("192.168.1.12", 1201);
    TarnTask task;
    ASSERT_EQ(task.setIPAddress("192.168.1.12"), ERR_OK);
    ASSERT_EQ(task.setIPPort(1201), ERR_OK);
    // No attempt: nothing is sent.
    EXPECT_EQ(task.utilPingUnit(0), ERR_NO_RESPONSE);
    EXPECT_EQ(commandsReceived("Q\n"), 0);
    // An answering unit is found by the first attempt: "Q\n" twice.
    EXPECT_EQ(task.utilPingUnit(3), ERR_OK);
    EXPECT_EQ(commandsReceived("Q\n"), 2);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    // A unit whose replies are held back is given up after the attempts asked for.
    task.setTimeout(20);
    Sim::FaultSettings withholding;
    withholding.withholdReplies = 1000;
    unit_->setFaults(withholding);
    unit_->clearLog();
    EXPECT_EQ(task.utilPingUnit(3), ERR_NO_RESPONSE);
    EXPECT_EQ(commandsReceived("Q\n"), 6);
    unit_->setFaults(Sim::FaultSettings());
    EXPECT_EQ(task.utilPingUnit(1), ERR_OK);
}

TEST_F(TaskLab, SilentUnitIsReportedInBoundedTimeAndFoundOnceItAnswers) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    startUnit("192.168.1.13", 1202);
    Sim::FaultSettings silent;
    silent.silent = true;
    unit_->setFaults(silent);
    TarnTask task;
    ASSERT_EQ(task.setIPAddress("192.168.1.13"), ERR_OK);
    ASSERT_EQ(task.setIPPort(1202), ERR_OK);
    task.setTimeout(10);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_NO_RESPONSE);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    // 25 halt attempts of two 10 ms exchanges each; the bound only guards against a hang.
    EXPECT_LT(seconds, 20.0);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    unit_->setFaults(Sim::FaultSettings());
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
    EXPECT_EQ(task.getState(), TASK_STOPPED);
}

TEST_F(TaskLab, BadPromsAreRefusedAndTheTaskRecoversWithAGoodOne) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    startUnit("192.168.1.14", 1203, Sim::blankPromImage());
    TarnTask task;
    ASSERT_EQ(task.setIPAddress("192.168.1.14"), ERR_OK);
    ASSERT_EQ(task.setIPPort(1203), ERR_OK);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_EMPTY_PROM);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    // Readable, but without a master clock: validation refuses it.
    PromParameters incomplete = Sim::profileParameters(kProfile, 14);
    incomplete.setKeyPresent(PromKey::MasterClockFrequency, false);
    unit_->setPromContents(toBytes(incomplete.generateFullBytestream()));
    testing::internal::CaptureStderr();
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_BAD_PROM);
    EXPECT_NE(
        testing::internal::GetCapturedStderr().find(" - Missing parameter: Master_clock_frequency"),
        std::string::npos);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    // An entry list that runs past the end of the image cannot even be decoded.
    std::vector<uint8_t> corrupt = Sim::profilePromImage(kProfile, 14);
    corrupt.at(24) = 0x7F; // length of the first entry
    unit_->setPromContents(corrupt);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_BAD_PROM);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    // A cancelled download leaves the task uninitialised too.
    unit_->setPromContents(Sim::profilePromImage(kProfile, 14));
    ProgressLog cancelling;
    cancelling.stopAt = 30;
    EXPECT_NE(task.initialize(recordProgress, &cancelling), ERR_OK);
    EXPECT_EQ(cancelling.values.back(), 30);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
    EXPECT_EQ(task.getState(), TASK_STOPPED);
    EXPECT_EQ(task.getHardwareDetails()->getSwitchboardType(), SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
}
