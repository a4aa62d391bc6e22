// Reads every exported enumerator from the built shared library by its plain symbol name, the
// way a caller without the header does, and checks it against the fixed interface values and
// the header's own enumerators.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tarndll.h"

namespace {

struct Exported {
    std::string name;
    int value;  // the fixed interface value
    int header; // the enumerator as compiled from the header (the value where there is none)
};

template <typename... T> std::vector<Exported> table(const T&... rows) {
    return {rows...};
}
#define E(name, value) (Exported{#name, value, Orvek::name})

std::vector<Exported> expectedValues() {
    std::vector<Exported> values = table(
        E(ERR_OK, 0), E(ERR_BAD_HANDLE, -1), E(ERR_BAD_ATTEN, -2), E(ERR_BAD_CAL, -3),
        E(ERR_BAD_HOP, -4), E(ERR_BAD_PATH, -5), E(ERR_BAD_PROM, -6), E(ERR_BYTES, -7),
        E(ERR_FREQ_OUT_OF_BOUNDS, -8), E(ERR_INTERRUPTED, -9), E(ERR_NO_RESPONSE, -10),
        E(ERR_MISSING_IP, -11), E(ERR_MISSING_PORT, -12), E(ERR_MISSING_HOP, -13),
        E(ERR_MISSING_ATTEN, -14), E(ERR_MISSING_FREQS, -15), E(ERR_PROG_OVERFLOW, -16),
        E(ERR_SOCKET, -17), E(ERR_TOO_MANY_POINTS, -18), E(ERR_WRONG_STATE, -19),
        E(ERR_EMPTY_PROM, -20), E(ERR_PATH_ALREADY_MEASURED, -21), E(ERR_NO_PATHS_MEASURED, -22),
        E(ERR_NO_ATTEN_PRESENT, -23), E(ERR_WRONG_PROGRAM_TYPE, -24),
        E(ERR_FEATURE_NOT_PRESENT, -25), E(ERR_UNKNOWN_FEATURE, -26), E(ERR_BAD_IP_PORT, -27),
        E(ERR_TASK_ARRAY_INVALID, -28), E(ERR_PATH_HAS_NO_DATA, -29), E(ERR_INVALID_PARAMETER, -30),
        E(HOP_UNDEFINED, -1), E(HOP_90K, 0), E(HOP_45K, 1), E(HOP_30K, 2), E(HOP_15K, 3),
        E(HOP_7K, 4), E(HOP_3K, 5), E(HOP_2K, 6), E(HOP_1K, 7), E(HOP_550, 8), E(HOP_312, 9),
        E(HOP_156, 10), E(HOP_78, 11), E(HOP_39, 12), E(HOP_20, 13), E(ATTEN_UNDEFINED, -1),
        E(ATTEN_31, 31), E(TARN_GAIN_USE_DEFAULT, -1), E(TARN_GAIN_45, 15),
        E(TARN_TX_PATH_NONE, -1), E(TARN_TX_PATH_0, 0), E(TARN_TX_PATH_1, 64),
        E(TARN_TX_PATH_2, 32), E(TARN_TX_PATH_3, 96), E(TARN_TX_PATH_4, 16), E(TARN_TX_PATH_5, 80),
        E(TARN_TX_PATH_6, 48), E(TARN_TX_PATH_7, 112), E(TARN_RX_PATH_NONE, -1),
        E(TARN_RX_PATH_0, 0), E(TARN_RX_PATH_1, 4), E(TARN_RX_PATH_2, 2), E(TARN_RX_PATH_3, 6),
        E(TARN_RX_PATH_4, 1), E(TARN_RX_PATH_5, 5), E(TARN_RX_PATH_6, 3), E(TARN_RX_PATH_7, 7),
        E(SWITCHBOARD_NO_SWITCH_BOARD, 0), E(SWITCHBOARD_SIMPLE_4_PORT_SWITCH, 1),
        E(SWITCHBOARD_TDD_4_PORT_SWITCH, 2), E(SWITCHBOARD_SIMPLE_8_PORT_SWITCH, 3),
        E(SWITCHBOARD_S_PARAMETER_SWITCH, 4), E(TASK_UNINITIALIZED, 0), E(TASK_STOPPED, 1),
        E(TASK_STARTED, 2), E(TASK_RUNNING, 3), E(SYNC_IGNORE, 2), E(SYNC_GENERATE, 3),
        E(SYNC_RECEIVE, 4), E(PROG_SYNC, 2), E(PROG_ASYNC, 3));
    for (int step = 0; step <= 31; ++step) { // ATTEN_0..31 and TARN_GAIN_0..45 (3 dB steps)
        values.push_back({"ATTEN_" + std::to_string(step), step, step});
        if (step <= 15)
            values.push_back({"TARN_GAIN_" + std::to_string(3 * step), step, step});
    }
    return values;
}

TEST(SharedLibrary, ExportsExactlyTheEnumeratorsAndTheVersion) {
    void* library = dlopen(TARN_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const std::vector<Exported> values = expectedValues();
    EXPECT_EQ(values.size(), 31u + 15 + 33 + 17 + 18 + 5 + 4 + 3 + 2 + 2); // ATTEN_31, GAIN_45
    for (const Exported& e : values) {
        auto* symbol = static_cast<const int*>(dlsym(library, e.name.c_str()));
        ASSERT_NE(symbol, nullptr) << e.name << " is not exported";
        EXPECT_EQ(*symbol, e.value) << e.name;
        EXPECT_EQ(e.header, e.value) << e.name << " in the header";
    }

    auto versionFunction = reinterpret_cast<const char* (*)()>(dlsym(library, "versionString"));
    auto* versionGlobal = static_cast<const char* const*>(dlsym(library, "version"));
    ASSERT_NE(versionFunction, nullptr);
    ASSERT_NE(versionGlobal, nullptr);
    const char* first = versionFunction();
    EXPECT_STREQ(first, "ORVEK tarndll 2.12, libtarn 1.8, libbytecode 2.10");
    EXPECT_EQ(std::strlen(first), 49u);
    EXPECT_EQ(versionFunction(), first);
    EXPECT_EQ(*versionGlobal, first);
    dlclose(library);
}

} // namespace
