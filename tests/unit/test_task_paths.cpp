// The measured-path list: order, duplicates, board kinds, the conversion of mapping exceptions
// into codes and the deliberate boundary behaviour of getPathAtIndex.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "core/exceptions.h"
#include "switchboard/switchboards.h"
#include "task/path_exceptions.h"
#include "task/tarn_task.h"
#include "task_test_access.h"

using namespace Orvek;
using tarntest::makeStoppedTask;
using tarntest::setTaskState;

namespace {

const auto& paths(TarnTask& task) {
    return Orvek::TarnTaskTestAccess::state(task).measuredPaths;
}

int registerValueAt(TarnTask& task, std::size_t index) {
    return paths(task).at(index)->getRegisterValue();
}

} // namespace

TEST(MeasuredPaths, AllPathsMustBelongToOneKindOfBoard) {
    auto task = makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_2), ERR_OK);
    auto tdd = std::make_shared<TDDFourPortSwitchBoard>(TARN_TX_PATH_0, TARN_RX_PATH_1);
    EXPECT_EQ(task->addPathToMeasure(tdd), ERR_BAD_PATH);
    // Same ports, same kind: a duplicate whatever its comment.
    auto same = std::make_shared<SimpleFourPortSwitchBoard>(TARN_TX_PATH_1, TARN_RX_PATH_2);
    same->setComment("another comment");
    EXPECT_EQ(task->addPathToMeasure(same), ERR_PATH_ALREADY_MEASURED);
    EXPECT_EQ(task->addPathToMeasure(std::shared_ptr<SwitchBoardState>()), ERR_BAD_PATH);
    EXPECT_EQ(paths(*task).size(), 1u);
}

TEST(MeasuredPaths, IndexBoundaryIsDeliberatelyAsymmetric) {
    auto task = makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_2), ERR_OK);
    Transmit_Path tx = TARN_TX_PATH_7;
    Receive_Path rx = TARN_RX_PATH_7;
    EXPECT_EQ(task->getPathAtIndex(2, tx, rx), -32);
    EXPECT_EQ(task->getPathAtIndex(-1, tx, rx), -32);
    EXPECT_THROW(task->getPathAtIndex(1, tx, rx), std::out_of_range);
    EXPECT_EQ(task->getPathAtIndex(0, tx, rx), ERR_OK);
    // The paths are not reported back: the outputs stay as the caller set them.
    EXPECT_EQ(tx, TARN_TX_PATH_7);
    EXPECT_EQ(rx, TARN_RX_PATH_7);
    EXPECT_EQ(paths(*task).front().use_count(), 1);
}

TEST(MeasuredPaths, MappingRefusalsBecomeCodesWithALineOnStandardError) {
    auto task = makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
    testing::internal::CaptureStderr();
    EXPECT_EQ(task->addPathToMeasure(TARN_TX_PATH_4, TARN_RX_PATH_1), ERR_BAD_PATH);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ERROR-PathNotValidWithAvailableSwitchboard: The TX path must be one of the ports "
              "[0, 1, 2, 3] Passed TX_P4!\n");

    // A switch-board byte the library does not know: the description is unusable.
    auto odd = makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
    odd->getHardwareDetails()->Switchboard_byte = 0x07;
    testing::internal::CaptureStderr();
    EXPECT_EQ(odd->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_FEATURE_NOT_PRESENT);
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_EQ(line.rfind("ERROR-InvalidPromException: ", 0), 0u) << line;

    EXPECT_TRUE(paths(*task).empty());
}

TEST(MeasuredPaths, OtherExceptionsOfTheMappingEscape) {
    // Switching the transmitter off needs the TDD board; that refusal is not a path-validation
    // exception and reaches the caller.
    auto task = makeStoppedTask(SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
    try {
        task->addPathToMeasure(TARN_TX_PATH_NONE, TARN_RX_PATH_1);
        FAIL() << "expected the mapping's exception";
    } catch (const TarnException& e) {
        EXPECT_STREQ(e.what(), "Disabling transmit requires a TDD board!");
    }
    auto tdd = makeStoppedTask(SWITCHBOARD_TDD_4_PORT_SWITCH);
    EXPECT_EQ(tdd->addPathToMeasure(TARN_TX_PATH_NONE, TARN_RX_PATH_NONE), ERR_OK);
    EXPECT_EQ(registerValueAt(*tdd, 0), 0x17);
}

TEST(MeasuredPaths, ConversionOrderPutsTheConfigurationExceptionBeforeItsBase) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(convertPathExceptions([]() -> Err_Code {
                  throw InvalidPromConfiguratonException("board needs calibration");
              }),
              -31);
    EXPECT_EQ(convertPathExceptions(
                  []() -> Err_Code { throw PromFeatureNotPresentException("no such board"); }),
              ERR_FEATURE_NOT_PRESENT);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ERROR-InvalidPromConfiguratonException: board needs calibration\n"
              "ERROR-InvalidPromException: no such board\n");
    EXPECT_THROW(convertPathExceptions([]() -> Err_Code { throw std::runtime_error("x"); }),
                 std::runtime_error);
    EXPECT_EQ(convertPathExceptions([] { return ERR_PATH_ALREADY_MEASURED; }),
              ERR_PATH_ALREADY_MEASURED);
}
