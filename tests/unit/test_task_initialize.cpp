// Finding a unit and reading its description over the network lab, against a scripted unit
// that serves a PROM: progress reports, the halt exchange, a silent unit, a blank, an invalid
// and an undecodable PROM, a cancelled download, and the task working again afterwards.
// Ports 1200-1204.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include "fake_unit.h"
#include "lab_namespace.h"
#include "prom/prom_parameters.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;
using tarnlab::Datagram;
using tarnlab::FakeUnit;
using tarnlab::PromScript;
using tarnlab::Replies;

namespace {

// The round-number unit of the unit tests, with a header tag so that the image is read back
// with its header.
PromParameters labUnit() {
    PromParameters unit;
    tarntest::describeTestUnit(unit, SWITCHBOARD_TDD_4_PORT_SWITCH, 0x48);
    unit.Header_tag = 0x544152;
    return unit;
}

std::vector<int> labImage() {
    return labUnit().generateFullBytestream();
}

struct ProgressLog {
    std::vector<int> values;
    int stopAt = -1; // answer false once this value has been reported
};

bool recordProgress(int percent, void* context) {
    auto* log = static_cast<ProgressLog*>(context);
    log->values.push_back(percent);
    return log->stopAt < 0 || percent < log->stopAt;
}

void address(TarnTask& task, const char* ip, int port) {
    ASSERT_EQ(task.setIPAddress(ip), ERR_OK);
    ASSERT_EQ(task.setIPPort(port), ERR_OK);
}

} // namespace

TEST(TaskInitialize, ReadsTheUnitAndReportsProgressPerByte) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    const std::vector<int> image = labImage();
    PromScript prom(image);
    FakeUnit unit("192.168.1.11", 1200, prom.script());
    TarnTask task;
    address(task, "192.168.1.11", 1200);
    ProgressLog progress;
    ASSERT_EQ(task.initialize(recordProgress, &progress), ERR_OK);
    EXPECT_EQ(task.getState(), TASK_STOPPED);

    // The image holds its entry-list length L at bytes 20..21; L + 20 bytes are read, each
    // reported as the truncated percentage done, between a 0 and a final 100.
    const int total = image.at(20) * 256 + image.at(21) + 20;
    ASSERT_EQ(progress.values.size(), static_cast<std::size_t>(total) + 2);
    EXPECT_EQ(progress.values.front(), 0);
    EXPECT_EQ(progress.values.back(), 100);
    for (int k = 1; k <= total; ++k)
        ASSERT_EQ(progress.values[k], static_cast<int>(std::floor(k * 100.0 / total))) << k;
    EXPECT_EQ(prom.reads(total), 0); // the two bytes after the list are not read

    const PromParameters& read = *task.getHardwareDetails();
    EXPECT_EQ(read.Minimum_freq, 10);
    EXPECT_EQ(read.Maximum_freq, 6000);
    EXPECT_EQ(read.Band_boundaries[7], 23);
    EXPECT_EQ(read.getSwitchboardType(), SWITCHBOARD_TDD_4_PORT_SWITCH);
    EXPECT_TRUE(task.getFeaturePresent(FEATURE_SERIAL_PORT));
    EXPECT_TRUE(task.getFeaturePresent(FEATURE_MULTIPLE_RECEIVERS));
    EXPECT_FALSE(task.getFeaturePresent(FEATURE_SHAFT_ENCODER));
    // 256 periods of the 100 MHz master clock per sweep-timer tick.
    EXPECT_DOUBLE_EQ(TarnTaskTestAccess::helpers(task).timeBase, 2.56e-6);
    // The unit's synthesiser now governs the frequency plan: within half a tuning step (250 Hz
    // in that band; the reference clock went through the PROM's single precision).
    double f = 1234.56789;
    EXPECT_EQ(task.utilNearestLegalFreq(f), ERR_OK);
    EXPECT_NE(f, 1234.56789);
    EXPECT_NEAR(f, 1234.56789, 0.000125);

    // Initialising twice needs a new address or port first.
    const std::size_t before = unit.receivedCount();
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_WRONG_STATE);
    EXPECT_EQ(unit.receivedCount(), before);
    ASSERT_EQ(task.setIPPort(1200), ERR_OK);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
}

TEST(TaskInitialize, PingIsTheHaltExchange) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    PromScript prom(labImage());
    FakeUnit unit("192.168.1.12", 1201, prom.script());
    TarnTask task;
    address(task, "192.168.1.12", 1201);
    task.setTimeout(30);
    // No attempt: nothing is sent (the endpoint is bound all the same).
    EXPECT_EQ(task.utilPingUnit(0), ERR_NO_RESPONSE);
    EXPECT_EQ(unit.receivedCount(), 0u);
    // An answering unit is found by the first attempt: "Q\n" twice.
    EXPECT_EQ(task.utilPingUnit(3), ERR_OK);
    EXPECT_EQ(unit.countReceived("Q\n"), 2u);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    // A unit that was streaming answers the first "Q\n" behind its last data packets; they are
    // discarded so that the second "Q\n" gets a clean prompt.
    unit.clearReceived();
    int halts = 0;
    unit.setScript([&halts](const Datagram& request) {
        if (request.bytes != "Q\n")
            return Replies{};
        if (++halts == 1)
            return Replies{{std::string("\x01\x02\x00\x07stale", 9)},
                           {std::string("\x01\x02\x00\x08stale", 9)},
                           {std::string("\x01\x02\x00\x09stale", 9)},
                           {"\r\n>"}};
        return Replies{{"\r\n>"}};
    });
    EXPECT_EQ(task.utilPingUnit(1), ERR_OK);
    EXPECT_EQ(unit.countReceived("Q\n"), 2u);

    // A prompt is "\r\n>" and something more than nothing: anything else fails the attempt.
    unit.clearReceived();
    unit.setScript(tarnlab::constantScript("\r\n"));
    EXPECT_EQ(task.utilPingUnit(3), ERR_NO_RESPONSE);
    EXPECT_EQ(unit.countReceived("Q\n"), 6u);
    unit.setScript(tarnlab::constantScript("\r\n>  "));
    EXPECT_EQ(task.utilPingUnit(1), ERR_OK);
}

TEST(TaskInitialize, SilentUnitIsReportedInBoundedTimeAndFoundOnceItAnswers) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    PromScript prom(labImage());
    FakeUnit unit("192.168.1.13", 1202, tarnlab::silentScript());
    TarnTask task;
    address(task, "192.168.1.13", 1202);
    task.setTimeout(10);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_NO_RESPONSE);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    // Five pings of five halt attempts, each two "Q\n" exchanges of 10 ms.
    EXPECT_TRUE(unit.waitForReceived(50, std::chrono::seconds(1)));
    EXPECT_EQ(unit.countReceived("Q\n"), 50u);
    EXPECT_LT(seconds, 20.0); // only guards against a hang; the figure is about 1 s
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    unit.setScript(prom.script());
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
    EXPECT_EQ(task.getState(), TASK_STOPPED);
}

TEST(TaskInitialize, BadPromsAreRefusedAndTheTaskRecoversWithAGoodOne) {
    TARN_REQUIRE_LAB_HOST_SIDE();
    PromScript blank; // erased: every byte reads 0xFF
    FakeUnit unit("192.168.1.14", 1203, blank.script());
    TarnTask task;
    address(task, "192.168.1.14", 1203);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_EMPTY_PROM);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    // Readable, but without a master clock: validation refuses it and says why.
    PromParameters incomplete = labUnit();
    incomplete.setKeyPresent(PromKey::MasterClockFrequency, false);
    PromScript invalid(incomplete.generateFullBytestream());
    unit.setScript(invalid.script());
    testing::internal::CaptureStderr();
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_BAD_PROM);
    const std::string diagnostics = testing::internal::GetCapturedStderr();
    EXPECT_NE(diagnostics.find(" - Missing parameter: Master_clock_frequency"), std::string::npos)
        << diagnostics;
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    // An entry whose length runs past the end of the image cannot even be decoded.
    std::vector<int> corrupt = labImage();
    corrupt.at(24) = 0x7F; // high byte of the first entry's length
    PromScript undecodable(corrupt);
    unit.setScript(undecodable.script());
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_BAD_PROM);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    // A download cancelled by the progress callback stops at once.
    PromScript good(labImage());
    unit.setScript(good.script());
    ProgressLog cancelling;
    cancelling.stopAt = 30;
    EXPECT_EQ(task.initialize(recordProgress, &cancelling), ERR_INTERRUPTED);
    EXPECT_EQ(cancelling.values.back(), 30);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);

    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
    EXPECT_EQ(task.getState(), TASK_STOPPED);
    EXPECT_EQ(task.getHardwareDetails()->Master_clock_frequency, 100.0);
}
