// Finding a unit and reading its description, over the in-memory endpoint: progress reports, a
// silent unit, slow units, blank, invalid and undecodable PROMs, a cancelled download, and
// the task working again afterwards.
#include <gtest/gtest.h>

#include <cmath>

#include "prom/prom_parameters.h"
#include "prom_fixtures.h"
#include "scripted_transport.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;
using tarntest::PromUnit;

namespace {

const char* const kUnit = "192.168.1.11";

// The round-number unit of the unit tests, with a header tag so that the image is read back
// with its header.
PromParameters labUnit() {
    PromParameters unit;
    tarntest::describeTestUnit(unit, SWITCHBOARD_TDD_4_PORT_SWITCH, 0x48);
    unit.Header_tag = 0x544152;
    return unit;
}

struct ProgressLog {
    std::vector<int> values;
    int stopAt = 101; // answer false once this value has been reported
};

bool recordProgress(int percent, void* context) {
    auto* log = static_cast<ProgressLog*>(context);
    log->values.push_back(percent);
    return percent < log->stopAt;
}

struct TaskInitialize : ::testing::Test {
    TarnTask task;
    std::shared_ptr<tarntest::ScriptedTransport> link =
        std::make_shared<tarntest::ScriptedTransport>();
    void SetUp() override {
        TarnTaskTestAccess::state(task).socketManager = link;
        ASSERT_EQ(task.setIPAddress(kUnit), ERR_OK);
        ASSERT_EQ(task.setIPPort(1200), ERR_OK);
    }
};

TEST_F(TaskInitialize, ReadsTheUnitAndReportsProgressPerByte) {
    const std::vector<int> image = labUnit().generateFullBytestream();
    PromUnit prom(image);
    link->setUnit(kUnit, prom.script());
    ProgressLog progress;
    ASSERT_EQ(task.initialize(recordProgress, &progress), ERR_OK);
    EXPECT_EQ(task.getState(), TASK_STOPPED);
    EXPECT_EQ(link->count(kUnit, "Q\n"), 2u); // found by the first halt attempt

    // L + 20 bytes are read, each reported as the truncated percentage done, between a 0 and
    // a final 100.
    const int total = image.at(20) * 256 + image.at(21) + 20;
    ASSERT_EQ(progress.values.size(), static_cast<std::size_t>(total) + 2);
    EXPECT_EQ(progress.values.front(), 0);
    EXPECT_EQ(progress.values.back(), 100);
    for (int k = 1; k <= total; ++k)
        ASSERT_EQ(progress.values[k], static_cast<int>(std::floor(k * 100.0 / total))) << k;
    EXPECT_EQ(prom.reads(total), 0); // the two bytes after the list are not read

    const PromParameters& read = *task.getHardwareDetails();
    EXPECT_EQ(read.Band_boundaries[7], 23);
    EXPECT_EQ(read.getSwitchboardType(), SWITCHBOARD_TDD_4_PORT_SWITCH);
    EXPECT_TRUE(task.getFeaturePresent(FEATURE_SERIAL_PORT));
    EXPECT_FALSE(task.getFeaturePresent(FEATURE_SHAFT_ENCODER));
    // 256 periods of the 100 MHz master clock per sweep-timer tick.
    EXPECT_DOUBLE_EQ(TarnTaskTestAccess::helpers(task).timeBase, 2.56e-6);

    // Initialising twice needs a new address or port first.
    const std::size_t before = link->requests(kUnit).size();
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_WRONG_STATE);
    EXPECT_EQ(link->requests(kUnit).size(), before);
    ASSERT_EQ(task.setIPPort(1200), ERR_OK);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
}

TEST_F(TaskInitialize, SlowUnitsAreReadWithinTheTaskTimeOutAndTooSlowOnesNeverMisread) {
    const std::vector<int> image = labUnit().generateFullBytestream();
    PromParameters original; // as the PROM holds it (in single precision)
    original.interpretFullBytestream(image);
    struct Case {
        long long lateMs;
        unsigned timeoutMs;
        int result;
    };
    // 50 ms late within the 100 ms floor; 100-300 ms late with a time-out that allows it;
    // 150 ms late with 100 ms: every byte is recovered by a halt and a second read.
    for (const Case c : {Case{50, 100, ERR_OK}, Case{100, 350, ERR_OK}, Case{300, 350, ERR_OK},
                         Case{150, 100, ERR_OK}, Case{1000, 100, ERR_NO_RESPONSE}}) {
        SCOPED_TRACE(c.lateMs);
        link = std::make_shared<tarntest::ScriptedTransport>();
        TarnTaskTestAccess::state(task).socketManager = link;
        ASSERT_EQ(task.setIPPort(1200), ERR_OK);
        task.setTimeout(c.timeoutMs);
        link->setUnit(kUnit, PromUnit(image).script(c.lateMs));
        EXPECT_EQ(task.initialize(nullptr, nullptr), c.result);
        if (c.result == ERR_OK) {
            EXPECT_TRUE(tarntest::promParametersEqual(original, *task.getHardwareDetails()));
        }
        const std::size_t reads = link->requests(kUnit).size();
        // Bounded: about one reply delay (or one recovery) per byte, never a wait per byte
        // for each reply still outstanding.
        EXPECT_LT(link->nowMs(), static_cast<long long>(reads) * (c.lateMs + 260)) << reads;
    }
}

TEST_F(TaskInitialize, BadPromsAndCancellingLeaveTheTaskUninitialisedUntilAGoodOne) {
    task.setTimeout(10);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_NO_RESPONSE); // silent unit
    // Five pings of five halt attempts, each two "Q\n" exchanges of 10 ms.
    EXPECT_EQ(link->count(kUnit, "Q\n"), 50u);
    EXPECT_EQ(link->nowMs(), 500);

    PromParameters incomplete = labUnit(); // readable, but without a master clock
    incomplete.setKeyPresent(PromKey::MasterClockFrequency, false);
    std::vector<int> corrupt = labUnit().generateFullBytestream();
    corrupt.at(24) = 0x7F; // an entry that runs past the end of the image
    const std::pair<std::vector<int>, int> cases[] = {
        {{}, ERR_EMPTY_PROM},
        {incomplete.generateFullBytestream(), ERR_BAD_PROM},
        {corrupt, ERR_BAD_PROM},
    };
    for (const auto& [image, result] : cases) {
        link->setUnit(kUnit, PromUnit(image).script());
        testing::internal::CaptureStderr();
        EXPECT_EQ(task.initialize(nullptr, nullptr), result);
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);
    }

    link->setUnit(kUnit, PromUnit(labUnit().generateFullBytestream()).script());
    ProgressLog cancelling;
    cancelling.stopAt = 30;
    EXPECT_EQ(task.initialize(recordProgress, &cancelling), ERR_INTERRUPTED);
    EXPECT_EQ(cancelling.values.back(), 30);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
    EXPECT_EQ(task.getHardwareDetails()->Master_clock_frequency, 100.0);
}

} // namespace
