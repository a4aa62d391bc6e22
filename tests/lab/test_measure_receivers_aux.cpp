// Several receivers in one sweep, and the auxiliary data a sweep carries: the serial port's
// bytes, the two shaft encoders and the sweep timer, with the frame number counting sweeps.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "hardware/point_timing.h"
#include "lab_namespace.h"
#include "measure_lab.h"
#include "sim_units.h"

using namespace Orvek;

namespace {

constexpr uint16_t kPort = 1242;
const std::string kUnit = "192.168.1.12";

class MeasureReceiversAux : public tarnlab::MeasureLab {};

TEST_F(MeasureReceiversAux, OneTwoAndFourReceivers) {
    startUnit("s-param", kUnit, kPort);
    ASSERT_EQ(task->setHopRate(HOP_90K), ERR_OK);
    // 4 receivers x 4 bytes: packets break every 88 points.
    ASSERT_EQ(task->utilGenerateLinearSweep(500.0, 6000.0, 200), ERR_OK);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_1, TARN_RX_PATH_1), ERR_OK);
    for (unsigned char mask : {0x1, 0x6, 0xF}) {
        SCOPED_TRACE(static_cast<int>(mask));
        ASSERT_EQ(task->setEnabledReceivers(mask), ERR_OK);
        ASSERT_EQ(task->start(), ERR_OK);
        ASSERT_EQ(task->measure(), ERR_OK);
        EXPECT_GT(tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_0, TARN_RX_PATH_1), 0);
        EXPECT_GT(tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_1, TARN_RX_PATH_1), 0);
        ASSERT_EQ(task->stop(), ERR_OK);
    }
    EXPECT_EQ(unit->status().errors, 0u);
}

TEST_F(MeasureReceiversAux, SerialEncodersAndTimerTravelWithEverySweep) {
    startUnit("none", kUnit, kPort, true); // the timer must count real sweep time
    constexpr unsigned kSerialSize = 24;
    unit->setSerialInstrument(false);
    unit->setShaftEncoderRates(1000.0, -250.0);
    ASSERT_EQ(task->setHopRate(HOP_1K), ERR_OK);
    ASSERT_EQ(task->utilGenerateLinearSweep(300.0, 3000.0, 80), ERR_OK);
    ASSERT_EQ(task->addPathToMeasure(TARN_TX_PATH_0, TARN_RX_PATH_1), ERR_OK);
    ASSERT_EQ(task->configureSerialPortFeature(true, kSerialSize), ERR_OK);
    ASSERT_EQ(task->configureShaftEncodersFeature(true, true), ERR_OK);
    ASSERT_EQ(task->setSendSweepTimer(true), ERR_OK);
    ASSERT_EQ(task->setResetFrameCounterOnStart(true), ERR_OK);
    ASSERT_EQ(task->setEnabledReceivers(0x3), ERR_OK);
    ASSERT_EQ(task->setMeasurementType(PROG_ASYNC), ERR_OK);
    ASSERT_EQ(task->start(), ERR_OK);
    const std::string text = "HELLO TARN";
    unit->feedSerial(std::vector<uint8_t>(text.begin(), text.end()));
    ASSERT_EQ(task->beginAsync(), ERR_OK);

    const double frameSeconds = task->getPreciseTimePerFrame();
    const double pointSeconds =
        sPerPoint(HOP_1K, task->getHardwareDetails()->Master_clock_frequency);
    ASSERT_GT(frameSeconds, 0.0);
    std::vector<SweepData> sweeps;
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(task->measure(), ERR_OK);
        EXPECT_GT(tarnlab::expectPathMatchesModel(*task, *unit, TARN_TX_PATH_0, TARN_RX_PATH_1), 0);
        SweepData sweep;
        ASSERT_EQ(task->extractSweepData(TARN_TX_PATH_0, TARN_RX_PATH_1, sweep), ERR_OK);
        sweeps.push_back(sweep);
    }
    EXPECT_EQ(task->haltAsync(), ERR_OK);
    EXPECT_EQ(task->stop(), ERR_OK);

    // The bytes waiting at the serial port come with the first sweep.
    ASSERT_EQ(sweeps[0].serialData.size(), kSerialSize);
    EXPECT_EQ(sweeps[0].serialCount, text.size());
    EXPECT_EQ(std::string(sweeps[0].serialData.begin(), sweeps[0].serialData.begin() + text.size()),
              text);
    EXPECT_EQ(sweeps[1].serialCount, 0u);

    for (std::size_t i = 0; i < sweeps.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(sweeps[i].frameNumber, static_cast<int>(i) + 1);
        if (i == 0)
            continue;
        // Free-running sweeps follow each other without a gap: the timer advances by one
        // sweep time, and the encoders by their rates over that time.
        const double elapsed = sweeps[i].timestamp - sweeps[i - 1].timestamp;
        EXPECT_NEAR(elapsed, frameSeconds, pointSeconds);
        const int16_t turned1 =
            static_cast<int16_t>(sweeps[i].shaftEncoder1 - sweeps[i - 1].shaftEncoder1);
        const int16_t turned2 =
            static_cast<int16_t>(sweeps[i].shaftEncoder2 - sweeps[i - 1].shaftEncoder2);
        EXPECT_NEAR(turned1, 1000.0 * elapsed, 2.0);
        EXPECT_NEAR(turned2, -250.0 * elapsed, 2.0);
    }
    EXPECT_EQ(unit->status().errors, 0u);
}

} // namespace
