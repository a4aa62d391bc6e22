// Finding a unit and reading its description over the in-memory endpoint: progress, slow and
// too slow units, a silent unit, bad PROMs, a cancelled download, and recovery afterwards.
#include <gtest/gtest.h>

#include "prom/prom_parameters.h"
#include "prom_fixtures.h"
#include "scripted_transport.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;
using tarntest::PromUnit;

namespace {

const char* const kUnit = "192.168.1.11";

std::vector<int> unitImage() {
    PromParameters unit;
    tarntest::describeTestUnit(unit, SWITCHBOARD_TDD_4_PORT_SWITCH, 0x48);
    unit.Header_tag = 0x544152; // so that the header is read back too
    return unit.generateFullBytestream();
}

bool recordProgress(int percent, void* context) {
    auto* log = static_cast<std::vector<int>*>(context);
    log->push_back(percent);
    return percent < log->front(); // front: the value that cancels
}

struct TaskInitialize : ::testing::Test {
    TarnTask task;
    std::shared_ptr<tarntest::ScriptedTransport> link;
    void connect(const tarntest::UnitScript& unit) {
        link = std::make_shared<tarntest::ScriptedTransport>();
        link->setUnit(kUnit, unit);
        TarnTaskTestAccess::state(task).socketManager = link;
        ASSERT_EQ(task.setIPAddress(kUnit), ERR_OK);
        ASSERT_EQ(task.setIPPort(1200), ERR_OK);
    }
};

TEST_F(TaskInitialize, SlowUnitsAreReadWithinTheTaskTimeOutAndTooSlowOnesNeverMisread) {
    const std::vector<int> image = unitImage();
    PromParameters original; // as the PROM holds it (in single precision)
    original.interpretFullBytestream(image);
    const int total = image.at(20) * 256 + image.at(21) + 20; // L + 20 bytes are read
    // Late within the 100 ms floor; late with a time-out that allows it; later than the
    // time-out, so every byte needs a halt and a second read; later than every retry.
    const struct {
        long long lateMs;
        unsigned timeoutMs;
        int result;
    } cases[] = {{0, 100, ERR_OK},   {50, 100, ERR_OK},  {100, 350, ERR_OK},
                 {300, 350, ERR_OK}, {150, 100, ERR_OK}, {1000, 100, ERR_NO_RESPONSE}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lateMs);
        connect(PromUnit(image).script(c.lateMs));
        task.setTimeout(c.timeoutMs);
        std::vector<int> progress{101};
        EXPECT_EQ(task.initialize(recordProgress, &progress), c.result);
        const std::size_t requests = link->requests(kUnit).size();
        // Bounded: about one reply delay (or one recovery) per request.
        EXPECT_LT(link->nowMs(), static_cast<long long>(requests) * (c.lateMs + 260)) << requests;
        if (c.result != ERR_OK)
            continue;
        EXPECT_EQ(task.getState(), TASK_STOPPED);
        EXPECT_TRUE(tarntest::promParametersEqual(original, *task.getHardwareDetails()));
        // 0, then the truncated percentage after each byte, then 100.
        ASSERT_EQ(progress.size(), static_cast<std::size_t>(total) + 3);
        for (int k = 0; k <= total; ++k)
            ASSERT_EQ(progress[k + 1], static_cast<int>(k * 100.0 / total)) << k;
        EXPECT_EQ(progress.back(), 100);
    }
    // 256 periods of the 100 MHz master clock per sweep-timer tick.
    EXPECT_DOUBLE_EQ(TarnTaskTestAccess::helpers(task).timeBase, 2.56e-6);
}

TEST_F(TaskInitialize, BadPromsAndCancellingLeaveTheTaskUninitialisedUntilAGoodOne) {
    connect(nullptr);
    task.setTimeout(10);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_NO_RESPONSE); // silent unit
    // Five pings of five halt attempts, each two "Q\n" exchanges of 10 ms.
    EXPECT_EQ(link->count(kUnit, "Q\n"), 50u);
    EXPECT_EQ(link->nowMs(), 500);

    PromParameters incomplete; // readable, but without a master clock
    incomplete.interpretFullBytestream(unitImage());
    incomplete.setKeyPresent(PromKey::MasterClockFrequency, false);
    std::vector<int> corrupt = unitImage();
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
    link->setUnit(kUnit, PromUnit(unitImage()).script());
    std::vector<int> cancelling{30};
    EXPECT_EQ(task.initialize(recordProgress, &cancelling), ERR_INTERRUPTED);
    EXPECT_EQ(cancelling.back(), 30);
    EXPECT_EQ(task.getState(), TASK_UNINITIALIZED);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_OK);
    EXPECT_EQ(task.initialize(nullptr, nullptr), ERR_WRONG_STATE); // needs a new address first
}

} // namespace
