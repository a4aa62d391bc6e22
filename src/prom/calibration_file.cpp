// The calibration as a 25-column CSV file: frequency, then I and Q of the twelve error terms,
// forward direction first.
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <new>

#include "prom/prom_parameters.h"

namespace Orvek {

namespace {

constexpr const char* kHeaderLine = "Freq,EDFi,EDFq,ESFi,ESFq,ERFi,ERFq,EXFi,EXFq,ELFi,ELFq,ETFi,"
                                    "ETFq,EDRi,EDRq,ESRi,ESRq,ERRi,ERRq,EXRi,EXRq,ELRi,ELRq,"
                                    "ETRi,ETRq\n";
constexpr const char* kRowFormat =
    "%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,"
    "%lf,%lf";
constexpr int kLineBufferSize = 65535;
constexpr size_t kMaxRows = 0xFE00000;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

using Row = std::array<double, kCalibrationColumns>;

} // namespace

void PromParameters::saveCalToFile(const std::string& path) const {
    File file(std::fopen(path.c_str(), "w"));
    if (!file) {
        return;
    }
    std::fputs(kHeaderLine, file.get());
    // Only points that every column holds are written; without decoded calibration the file
    // carries the header alone.
    size_t rows = Number_of_calibration_points > 0 ? Number_of_calibration_points : 0;
    for (const auto& column : Calibration_data) {
        rows = std::min(rows, column.size());
    }
    for (size_t i = 0; i < rows; ++i) {
        for (int c = 0; c < kCalibrationColumns; ++c) {
            std::fprintf(file.get(), c == 0 ? "%.16f" : ",%.16f", Calibration_data[c][i]);
        }
        std::fputc('\n', file.get());
    }
}

void PromParameters::loadCalFromFile(const std::string& path, std::string& errors) {
    File file(std::fopen(path.c_str(), "r"));
    if (!file) {
        return;
    }
    std::unique_ptr<char[]> line(new char[kLineBufferSize]);
    // The first line is the header, whatever it says.
    if (!std::fgets(line.get(), kLineBufferSize, file.get())) {
        line[0] = '\0';
    }
    std::vector<Row> rows;
    while (std::fgets(line.get(), kLineBufferSize, file.get())) {
        Row r{};
        int converted =
            std::sscanf(line.get(), kRowFormat, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6],
                        &r[7], &r[8], &r[9], &r[10], &r[11], &r[12], &r[13], &r[14], &r[15], &r[16],
                        &r[17], &r[18], &r[19], &r[20], &r[21], &r[22], &r[23], &r[24]);
        if (converted < 0) {
            converted = 0; // nothing to convert on a blank line
        }
        if (converted != kCalibrationColumns) {
            // The number reported is conversions + 1, not the line's position in the file;
            // scripts that parse this message rely on it.
            char message[128];
            std::snprintf(
                message, sizeof message,
                "Error during import: line %d had wrong number of columns (expected 25)\n",
                converted + 1);
            errors += message;
            return;
        }
        rows.push_back(r);
    }
    if (rows.size() > kMaxRows) {
        throw std::bad_array_new_length();
    }

    for (int c = 0; c < kCalibrationColumns; ++c) {
        std::vector<double> column(rows.size());
        for (size_t i = 0; i < rows.size(); ++i) {
            column[i] = rows[i][c];
        }
        Calibration_data[c].swap(column);
    }
    Number_of_calibration_points = static_cast<int>(rows.size());
    setKeyPresent(PromKey::NumberOfCalPoints, true);
    for (int c = 0; c < kCalibrationColumns; ++c) {
        setKeyPresent(calibrationKeyForColumn(c), true);
    }
}

} // namespace Orvek
