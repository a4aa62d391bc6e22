// Reads every exported enumerator from the built shared library by its plain symbol name, the
// way a caller without the header does, and checks it against the fixed interface values.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tarndll.h"

namespace {

using Expected = std::vector<std::pair<const char*, int>>;

Expected expectedValues() {
    Expected values = {
        {"ERR_OK", 0},
        {"ERR_BAD_HANDLE", -1},
        {"ERR_BAD_ATTEN", -2},
        {"ERR_BAD_CAL", -3},
        {"ERR_BAD_HOP", -4},
        {"ERR_BAD_PATH", -5},
        {"ERR_BAD_PROM", -6},
        {"ERR_BYTES", -7},
        {"ERR_FREQ_OUT_OF_BOUNDS", -8},
        {"ERR_INTERRUPTED", -9},
        {"ERR_NO_RESPONSE", -10},
        {"ERR_MISSING_IP", -11},
        {"ERR_MISSING_PORT", -12},
        {"ERR_MISSING_HOP", -13},
        {"ERR_MISSING_ATTEN", -14},
        {"ERR_MISSING_FREQS", -15},
        {"ERR_PROG_OVERFLOW", -16},
        {"ERR_SOCKET", -17},
        {"ERR_TOO_MANY_POINTS", -18},
        {"ERR_WRONG_STATE", -19},
        {"ERR_EMPTY_PROM", -20},
        {"ERR_PATH_ALREADY_MEASURED", -21},
        {"ERR_NO_PATHS_MEASURED", -22},
        {"ERR_NO_ATTEN_PRESENT", -23},
        {"ERR_WRONG_PROGRAM_TYPE", -24},
        {"ERR_FEATURE_NOT_PRESENT", -25},
        {"ERR_UNKNOWN_FEATURE", -26},
        {"ERR_BAD_IP_PORT", -27},
        {"ERR_TASK_ARRAY_INVALID", -28},
        {"ERR_PATH_HAS_NO_DATA", -29},
        {"ERR_INVALID_PARAMETER", -30},
        {"HOP_UNDEFINED", -1},
        {"HOP_90K", 0},
        {"HOP_45K", 1},
        {"HOP_30K", 2},
        {"HOP_15K", 3},
        {"HOP_7K", 4},
        {"HOP_3K", 5},
        {"HOP_2K", 6},
        {"HOP_1K", 7},
        {"HOP_550", 8},
        {"HOP_312", 9},
        {"HOP_156", 10},
        {"HOP_78", 11},
        {"HOP_39", 12},
        {"HOP_20", 13},
        {"ATTEN_UNDEFINED", -1},
        {"TARN_GAIN_USE_DEFAULT", -1},
        {"TARN_TX_PATH_NONE", -1},
        {"TARN_TX_PATH_0", 0},
        {"TARN_TX_PATH_1", 64},
        {"TARN_TX_PATH_2", 32},
        {"TARN_TX_PATH_3", 96},
        {"TARN_TX_PATH_4", 16},
        {"TARN_TX_PATH_5", 80},
        {"TARN_TX_PATH_6", 48},
        {"TARN_TX_PATH_7", 112},
        {"TARN_RX_PATH_NONE", -1},
        {"TARN_RX_PATH_0", 0},
        {"TARN_RX_PATH_1", 4},
        {"TARN_RX_PATH_2", 2},
        {"TARN_RX_PATH_3", 6},
        {"TARN_RX_PATH_4", 1},
        {"TARN_RX_PATH_5", 5},
        {"TARN_RX_PATH_6", 3},
        {"TARN_RX_PATH_7", 7},
        {"SWITCHBOARD_NO_SWITCH_BOARD", 0},
        {"SWITCHBOARD_SIMPLE_4_PORT_SWITCH", 1},
        {"SWITCHBOARD_TDD_4_PORT_SWITCH", 2},
        {"SWITCHBOARD_SIMPLE_8_PORT_SWITCH", 3},
        {"SWITCHBOARD_S_PARAMETER_SWITCH", 4},
        {"TASK_UNINITIALIZED", 0},
        {"TASK_STOPPED", 1},
        {"TASK_STARTED", 2},
        {"TASK_RUNNING", 3},
        {"SYNC_IGNORE", 2},
        {"SYNC_GENERATE", 3},
        {"SYNC_RECEIVE", 4},
        {"PROG_SYNC", 2},
        {"PROG_ASYNC", 3},
    };
    static std::vector<std::string> generated; // keeps the generated names alive
    generated.clear();
    generated.reserve(32 + 16);
    for (int db = 0; db <= 31; ++db)
        generated.push_back("ATTEN_" + std::to_string(db));
    for (int step = 0; step <= 15; ++step)
        generated.push_back("TARN_GAIN_" + std::to_string(3 * step));
    for (int db = 0; db <= 31; ++db)
        values.emplace_back(generated[db].c_str(), db);
    for (int step = 0; step <= 15; ++step)
        values.emplace_back(generated[32 + step].c_str(), step);
    return values;
}

class SharedLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        handle_ = dlopen(TARN_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle_, nullptr) << dlerror();
    }
    void TearDown() override {
        if (handle_)
            dlclose(handle_);
    }
    void* handle_ = nullptr;
};

TEST_F(SharedLibrary, ExportsEveryEnumeratorWithItsFixedValue) {
    const Expected values = expectedValues();
    EXPECT_EQ(values.size(), 31u + 15 + 33 + 17 + 18 + 5 + 4 + 3 + 2);
    for (const auto& [name, value] : values) {
        auto* symbol = static_cast<const int*>(dlsym(handle_, name));
        ASSERT_NE(symbol, nullptr) << name << " is not exported";
        EXPECT_EQ(*symbol, value) << name;
    }
}

TEST_F(SharedLibrary, HeaderEnumeratorsMatchTheExportedGlobals) {
    // Spot checks across every enumeration: the header and the library must never drift.
    const std::pair<const char*, int> samples[] = {
        {"ERR_MISSING_ATTEN", Orvek::ERR_MISSING_ATTEN},
        {"ERR_INVALID_PARAMETER", Orvek::ERR_INVALID_PARAMETER},
        {"HOP_20", Orvek::HOP_20},
        {"ATTEN_31", Orvek::ATTEN_31},
        {"TARN_GAIN_45", Orvek::TARN_GAIN_45},
        {"TARN_TX_PATH_6", Orvek::TARN_TX_PATH_6},
        {"TARN_RX_PATH_6", Orvek::TARN_RX_PATH_6},
        {"SWITCHBOARD_S_PARAMETER_SWITCH", Orvek::SWITCHBOARD_S_PARAMETER_SWITCH},
        {"TASK_RUNNING", Orvek::TASK_RUNNING},
        {"SYNC_RECEIVE", Orvek::SYNC_RECEIVE},
        {"PROG_ASYNC", Orvek::PROG_ASYNC},
    };
    for (const auto& [name, value] : samples) {
        auto* symbol = static_cast<const int*>(dlsym(handle_, name));
        ASSERT_NE(symbol, nullptr) << name;
        EXPECT_EQ(*symbol, value) << name;
    }
}

TEST_F(SharedLibrary, VersionTextIsOneStablePointer) {
    using VersionFunction = const char* (*)();
    auto versionFunction = reinterpret_cast<VersionFunction>(dlsym(handle_, "versionString"));
    auto* versionGlobal = static_cast<const char* const*>(dlsym(handle_, "version"));
    ASSERT_NE(versionFunction, nullptr);
    ASSERT_NE(versionGlobal, nullptr);

    const char* first = versionFunction();
    EXPECT_STREQ(first, "ORVEK tarndll 2.12, libtarn 1.8, libbytecode 2.10");
    EXPECT_EQ(std::strlen(first), 49u);
    EXPECT_EQ(versionFunction(), first);
    EXPECT_EQ(*versionGlobal, first);
}

TEST_F(SharedLibrary, DoesNotExportTheInternalEnumerations) {
    for (const char* name : {"FEATURE_SHAFT_ENCODER", "PATH_REF", "PATH_T1R1"})
        EXPECT_EQ(dlsym(handle_, name), nullptr) << name;
}

} // namespace
