// Fuzz target for the calibration file loader: any file either loads whole or is refused with
// an error text, and a refused file leaves the calibration the caller had.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "prom/prom_parameters.h"

namespace {
std::string path;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char name[] = "/tmp/tarn-fuzz-cal-XXXXXX";
    const int fd = mkstemp(name);
    if (fd < 0) {
        std::abort();
    }
    close(fd);
    path = name;
    std::atexit([] { std::remove(path.c_str()); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file || std::fwrite(data, 1, size, file) != size || std::fclose(file) != 0) {
        std::abort();
    }
    Orvek::PromParameters parameters;
    parameters.Number_of_calibration_points = 1;
    for (auto& column : parameters.Calibration_data) {
        column.assign(1, 7.0);
    }
    std::string errors;
    parameters.loadCalFromFile(path, errors);
    const bool kept = parameters.Number_of_calibration_points == 1 &&
                      parameters.Calibration_data[0] == std::vector<double>(1, 7.0);
    if (!errors.empty() && !kept) {
        std::fprintf(stderr, "a refused file changed the calibration\n");
        std::abort();
    }
    for (const auto& column : parameters.Calibration_data) {
        if (column.size() != static_cast<std::size_t>(parameters.Number_of_calibration_points)) {
            std::fprintf(stderr, "columns disagree with the point count\n");
            std::abort();
        }
    }
    return 0;
}
