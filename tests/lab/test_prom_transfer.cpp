// Reading, writing, erasing and downloading a unit's PROM byte by byte against a scripted unit.
#include <gtest/gtest.h>

#include <chrono>

#include "fake_unit.h"
#include "lab_endpoint.h"
#include "lab_namespace.h"
#include "link/prom_transfer.h"
#include "prom/prom_parameters.h"
#include "tarndll.h"

using namespace std::chrono_literals;
using tarnlab::Datagram;
using tarnlab::FakeUnit;
using tarnlab::PromScript;

namespace {

constexpr uint16_t port = 1102;
const std::string unit = "192.168.1.10";

// A plausible unit: limits, bands, PLL, clocks, features, switch board, a serial number, a
// text and the small PROM geometry used to keep erases short.
Orvek::PromParameters sampleUnit() {
    using namespace Orvek::PromKey;
    Orvek::PromParameters p;
    auto set = [&p](int key) { p.setKeyPresent(key, true); };
    p.Prom_geometry_1 = 1;
    p.Prom_geometry_2 = 16;
    p.Minimum_freq = 100, set(MinimumFreq);
    p.Maximum_freq = 6000, set(MaximumFreq);
    p.Maximum_number_of_points = 4096, set(MaximumNumberOfPoints);
    p.Number_of_band_boundaries = 3, set(NumberOfBandBoundaries);
    p.Band_boundaries = {100, 1500, 3000, 0, 0, 0, 0, 0};
    for (int k = 0; k < 3; ++k) {
        set(FirstBandBoundary + k);
    }
    p.PLL_type = 1, set(PllType);
    p.Frac_PLL_MOD = 4095, set(FracPllMod);
    p.Number_of_PLL_loop_gain_boundaries = 1, set(NumberOfPllLoopGainBoundaries);
    p.PLL_loop_gain_boundaries[0] = 2400, set(FirstPllLoopGainBoundary);
    p.PLL_prescaler_in_use = 0, set(PllPrescalerInUse);
    p.DDS_reference_frequency = 1000.0, set(DdsReferenceFrequency);
    p.Master_clock_frequency = 64.0, set(MasterClockFrequency);
    p.setFeatureFlag(Orvek::FEATURE_SHAFT_ENCODER, true);
    p.setSwitchboardType(Orvek::SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
    set(FeatureFlags);
    p.Unit_serial_number = 4711, set(UnitSerialNumber);
    p.Texts[0] = "lab unit", set(FirstText);
    p.Header_tag = 0x544152;
    p.Header_bytes[3] = 10;
    return p;
}

class PromTransfer : public ::testing::Test {
protected:
    void SetUp() override {
        TARN_REQUIRE_LAB_HOST_SIDE();
        endpoint = tarnlab::boundEndpoint(port);
        ASSERT_NE(endpoint, nullptr) << "cannot bind port " << port;
        endpoint->set_current_dst_ip(unit);
    }
    std::shared_ptr<Orvek::SocketManager> endpoint;
};

TEST_F(PromTransfer, AByteThatReadsBackWrongThreeTimesIsWrittenOnceAndReadFourTimes) {
    PromScript prom;
    prom.onRead([](int address, int readNumber, const std::string& normal) {
        return std::optional<std::string>(address == 7 && readNumber <= 3 ? "00" : normal);
    });
    FakeUnit fake(unit, port, prom.script());
    EXPECT_EQ(Orvek::writePromByte(endpoint, unit, 7, 0x3a), Orvek::ERR_OK);
    EXPECT_EQ(prom.writes(7), 1);
    EXPECT_EQ(prom.reads(7), 4);
    EXPECT_EQ(prom.memory()[7], 0x3a);
    EXPECT_EQ(fake.countReceived("E00073a\n"), 1u);
}

TEST_F(PromTransfer, AByteThatNeverVerifiesIsRead25TimesAndWritten23Times) {
    PromScript prom;
    prom.onWrite([](int address, int) { return address != 9; });
    FakeUnit fake(unit, port, prom.script());
    EXPECT_EQ(Orvek::writePromByte(endpoint, unit, 9, 0x3a), Orvek::ERR_BAD_PROM);
    EXPECT_EQ(prom.reads(9), 25);
    EXPECT_EQ(prom.writes(9), 23);
}

TEST_F(PromTransfer, ASilentReadIsRecoveredWithAHaltAndOneRetry) {
    PromScript prom({0x10, 0x11, 0x12, 0x13});
    prom.onRead([](int address, int readNumber, const std::string& normal) {
        return address == 2 && readNumber == 1 ? std::nullopt : std::optional<std::string>(normal);
    });
    FakeUnit fake(unit, port, prom.script());
    std::vector<int> bytes;
    ASSERT_EQ(Orvek::readPromBytes(endpoint, unit, 1, 3, bytes), Orvek::ERR_OK);
    EXPECT_EQ(bytes, (std::vector<int>{0x11, 0x12, 0x13}));
    std::vector<std::string> commands;
    for (const Datagram& datagram : fake.received()) {
        commands.push_back(datagram.bytes);
    }
    EXPECT_EQ(commands,
              (std::vector<std::string>{"E0001\n", "E0002\n", "Q\n", "E0002\n", "E0003\n"}));

    // Silent twice: the second wait decides; bytes read before stay.
    prom.onRead([](int address, int, const std::string& normal) {
        return address == 2 ? std::nullopt : std::optional<std::string>(normal);
    });
    EXPECT_EQ(Orvek::readPromBytes(endpoint, unit, 1, 3, bytes), Orvek::ERR_NO_RESPONSE);
    EXPECT_EQ(bytes, std::vector<int>{0x11});

    // A reply too short to hold a byte.
    prom.onRead([](int, int, const std::string&) { return std::optional<std::string>("a"); });
    EXPECT_EQ(Orvek::readPromBytes(endpoint, unit, 0, 0, bytes), Orvek::ERR_BYTES);
}

TEST_F(PromTransfer, ABlankPromIsReportedEmptyAndNothingIsDecoded) {
    for (int fill : {0xFF, 0x00}) {
        SCOPED_TRACE(fill);
        PromScript prom(std::vector<int>(64, fill), 64);
        FakeUnit fake(unit, port, prom.script());
        Orvek::PromParameters parameters;
        parameters.Minimum_freq = 123;
        EXPECT_EQ(Orvek::TARN::downloadProm(endpoint, unit, parameters, nullptr, nullptr),
                  Orvek::ERR_EMPTY_PROM);
        EXPECT_EQ(parameters.Minimum_freq, 123);
        EXPECT_EQ(prom.reads(34), 0);
    }
}

std::vector<int> progressSeen;
bool recordProgress(int percent, void* context) {
    progressSeen.push_back(percent);
    const int stopAt = *static_cast<int*>(context);
    return stopAt < 0 || percent < stopAt;
}

TEST_F(PromTransfer, ADownloadedImageDecodesToTheParametersItWasBuiltFrom) {
    const Orvek::PromParameters original = sampleUnit();
    const std::vector<int> image = original.generateFullBytestream();
    const int listLength = image[20] * 256 + image[21];
    ASSERT_EQ(static_cast<int>(image.size()), listLength + 22);
    PromScript prom(image, 4096);
    FakeUnit fake(unit, port, prom.script());

    Orvek::PromParameters downloaded;
    progressSeen.clear();
    int neverStop = -1;
    ASSERT_EQ(Orvek::TARN::downloadProm(endpoint, unit, downloaded, recordProgress, &neverStop),
              Orvek::ERR_OK);

    for (int key = 1; key <= Orvek::PromKey::Last; ++key) {
        EXPECT_EQ(downloaded.isKeyPresent(key), original.isKeyPresent(key)) << "key " << key;
    }
    EXPECT_EQ(downloaded.Minimum_freq, 100);
    EXPECT_EQ(downloaded.Maximum_freq, 6000);
    EXPECT_EQ(downloaded.Maximum_number_of_points, 4096);
    EXPECT_EQ(downloaded.Band_boundaries, original.Band_boundaries);
    EXPECT_EQ(downloaded.Frac_PLL_MOD, 4095);
    EXPECT_EQ(downloaded.PLL_loop_gain_boundaries, original.PLL_loop_gain_boundaries);
    EXPECT_DOUBLE_EQ(downloaded.DDS_reference_frequency, 1000.0);
    EXPECT_DOUBLE_EQ(downloaded.Master_clock_frequency, 64.0);
    EXPECT_EQ(downloaded.getSwitchboardType(), Orvek::SWITCHBOARD_SIMPLE_4_PORT_SWITCH);
    EXPECT_TRUE(downloaded.getFeatureFlag(Orvek::FEATURE_SHAFT_ENCODER));
    EXPECT_FALSE(downloaded.getFeatureFlag(Orvek::FEATURE_SERIAL_PORT));
    EXPECT_EQ(downloaded.Unit_serial_number, 4711);
    EXPECT_EQ(downloaded.Texts[0], "lab unit");
    EXPECT_EQ(downloaded.Header_tag, 0x544152);
    EXPECT_EQ(downloaded.Header_bytes[3], 10);
    EXPECT_EQ(downloaded.promCapacity(), 16);

    // The download covers addresses 0 .. L + 19; the image's last two bytes are not read.
    const int total = listLength + 20;
    EXPECT_EQ(prom.reads(total - 1), 1);
    EXPECT_EQ(prom.reads(total), 0);
    EXPECT_EQ(prom.reads(total + 1), 0);
    // 0, then floor(k * 100 / total) after byte k, then 100.
    ASSERT_EQ(static_cast<int>(progressSeen.size()), total + 2);
    EXPECT_EQ(progressSeen.front(), 0);
    for (int k = 1; k <= total; ++k) {
        EXPECT_EQ(progressSeen[k], static_cast<int>(k * 100.0 / total)) << k;
    }
    EXPECT_EQ(progressSeen.back(), 100);
}

TEST_F(PromTransfer, ACancelledDownloadStopsAtOnceAndDecodesNothing) {
    const std::vector<int> image = sampleUnit().generateFullBytestream();
    const int total = static_cast<int>(image.size()) - 2;
    PromScript prom(image, 4096);
    FakeUnit fake(unit, port, prom.script());
    Orvek::PromParameters parameters;
    parameters.Minimum_freq = 123;
    progressSeen.clear();
    int stopAt = 50;
    EXPECT_EQ(Orvek::TARN::downloadProm(endpoint, unit, parameters, recordProgress, &stopAt),
              Orvek::ERR_INTERRUPTED);
    ASSERT_FALSE(progressSeen.empty());
    EXPECT_EQ(progressSeen.back(), 50);
    EXPECT_EQ(parameters.Minimum_freq, 123);
    // Reading stopped right after the byte that reached 50 %.
    const int bytesRead = static_cast<int>(progressSeen.size()) - 1;
    EXPECT_EQ(bytesRead, (total + 1) / 2);
    ASSERT_GT(bytesRead, 34);
    EXPECT_EQ(prom.reads(bytesRead - 1), 1);
    EXPECT_EQ(prom.reads(bytesRead), 0);
}

TEST_F(PromTransfer, EraseWritesEveryByteAndAlwaysDisablesWritingAgain) {
    Orvek::PromParameters geometry; // 1 x 16 bytes
    geometry.Prom_geometry_1 = 1;
    geometry.Prom_geometry_2 = 16;
    PromScript prom(std::vector<int>(16, 0x55), 16);
    FakeUnit fake(unit, port, prom.script());
    EXPECT_EQ(Orvek::TARN::eraseProm(endpoint, unit, geometry, nullptr, nullptr), Orvek::ERR_OK);
    EXPECT_EQ(prom.memory(), std::vector<int>(16, 0xFF));
    auto received = fake.received();
    ASSERT_FALSE(received.empty());
    EXPECT_EQ(received.front().bytes, "ZB601\n");
    EXPECT_EQ(received.back().bytes, "ZB600\n");

    // Cancelled on its first progress call: only address 0 is erased, "ZB600\n" still goes.
    PromScript second(std::vector<int>(16, 0x55), 16);
    fake.setScript(second.script());
    fake.clearReceived();
    progressSeen.clear();
    int stopAt = 0;
    EXPECT_EQ(Orvek::TARN::eraseProm(endpoint, unit, geometry, recordProgress, &stopAt),
              Orvek::ERR_OK);
    EXPECT_EQ(progressSeen, std::vector<int>{6}); // 100 * 1 / 16 in single precision
    EXPECT_EQ(second.writes(0), 1);
    EXPECT_EQ(second.writes(1), 0);
    EXPECT_EQ(fake.received().back().bytes, "ZB600\n");

    // A unit that does not acknowledge the write enable is left alone.
    fake.setScript(tarnlab::silentScript());
    fake.clearReceived();
    EXPECT_EQ(Orvek::TARN::eraseProm(endpoint, unit, geometry, nullptr, nullptr),
              Orvek::ERR_NO_RESPONSE);
    EXPECT_EQ(fake.countReceived("ZB601\n"), 1u);
    EXPECT_EQ(fake.receivedCount(), 1u);
}

TEST_F(PromTransfer, UploadWritesTheImageThatADownloadReadsBack) {
    const Orvek::PromParameters original = sampleUnit();
    PromScript prom({}, 4096);
    FakeUnit fake(unit, port, prom.script());
    progressSeen.clear();
    int neverStop = -1;
    ASSERT_EQ(Orvek::TARN::uploadProm(endpoint, unit, original, recordProgress, &neverStop, false),
              Orvek::ERR_OK);
    const std::vector<int> image = original.generateFullBytestream();
    const std::vector<int> memory = prom.memory();
    EXPECT_EQ(std::vector<int>(memory.begin(), memory.begin() + image.size()), image);
    EXPECT_EQ(progressSeen.front(), 0);
    EXPECT_EQ(progressSeen.back(), 100);
    EXPECT_EQ(fake.received().back().bytes, "ZB600\n");

    Orvek::PromParameters downloaded;
    ASSERT_EQ(Orvek::TARN::downloadProm(endpoint, unit, downloaded, nullptr, nullptr),
              Orvek::ERR_OK);
    EXPECT_EQ(downloaded.Maximum_freq, original.Maximum_freq);
    EXPECT_EQ(downloaded.Texts[0], original.Texts[0]);
}

TEST_F(PromTransfer, UploadKeepingABlankImageWritesOnlyAnEmptyEntryList) {
    PromScript prom({}, 64);
    FakeUnit fake(unit, port, prom.script());
    ASSERT_EQ(Orvek::TARN::uploadProm(endpoint, unit, sampleUnit(), nullptr, nullptr, true),
              Orvek::ERR_OK);
    const std::vector<int> memory = prom.memory();
    EXPECT_EQ(memory[0], 0x00);
    EXPECT_EQ(memory[1], 0x00);
    EXPECT_EQ(memory[2], 0xFF);
    EXPECT_EQ(prom.writes(2), 0);
}

} // namespace
