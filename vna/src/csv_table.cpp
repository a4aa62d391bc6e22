// CSV of named complex columns: a header row, then one row per point in ascending frequency
// (MHz), each value with 17 significant digits so that it reads back exactly.
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "tarnvna.h"
#include "text_file.h"

using namespace Orvek::Vna;

namespace {

const char kFrequencyColumn[] = "freq_mhz";

bool validName(const char* name) {
    return name && *name && !std::strpbrk(name, ",\"\r\n");
}

std::vector<std::string> splitFields(const std::string& line) {
    std::vector<std::string> fields;
    std::string field;
    std::istringstream in(line);
    while (std::getline(in, field, ','))
        fields.push_back(field);
    if (!line.empty() && line.back() == ',')
        fields.emplace_back();
    return fields;
}

bool parseDouble(const std::string& text, double& value) {
    const char* begin = text.c_str();
    char* end = nullptr;
    value = std::strtod(begin, &end);
    return end != begin && *end == '\0';
}

bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() > tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

} // namespace

extern "C" {

int tarnvna_csv_write(const char* path, const tarnvna_table_t* table) {
    if (!path || !table || table->columns == 0 || table->points == 0 || !table->freq_mhz ||
        !table->names || !table->re || !table->im)
        return Orvek::ERR_INVALID_PARAMETER;
    for (unsigned c = 0; c < table->columns; ++c)
        if (!validName(table->names[c]))
            return Orvek::ERR_INVALID_PARAMETER;
    const std::vector<unsigned> order = ascendingOrder(table->freq_mhz, table->points);
    if (order.empty())
        return Orvek::ERR_INVALID_PARAMETER;
    std::string text = kFrequencyColumn;
    for (unsigned c = 0; c < table->columns; ++c)
        text += std::string(",") + table->names[c] + "_re," + table->names[c] + "_im";
    text += "\n";
    for (unsigned point : order) {
        text += exactNumber(table->freq_mhz[point]);
        for (unsigned c = 0; c < table->columns; ++c) {
            const size_t index = static_cast<size_t>(point) * table->columns + c;
            text += "," + exactNumber(table->re[index]) + "," + exactNumber(table->im[index]);
        }
        text += "\n";
    }
    return writeWholeFile(path, text) ? Orvek::ERR_OK : Orvek::ERR_BYTES;
}

int tarnvna_csv_read(const char* path, tarnvna_table_t* table) {
    if (!path || !table)
        return Orvek::ERR_INVALID_PARAMETER;
    std::string text;
    if (!readWholeFile(path, text))
        return Orvek::ERR_BYTES;
    std::istringstream lines(text);
    std::string line;
    if (!std::getline(lines, line))
        return Orvek::ERR_INVALID_PARAMETER;
    const std::vector<std::string> header = splitFields(line);
    if (header.size() < 3 || header.size() % 2 == 0 || header[0] != kFrequencyColumn)
        return Orvek::ERR_INVALID_PARAMETER;
    const unsigned columns = static_cast<unsigned>(header.size() / 2);
    std::vector<std::string> names;
    for (unsigned c = 0; c < columns; ++c) {
        const std::string& real = header[1 + 2 * c];
        const std::string& imag = header[2 + 2 * c];
        if (!endsWith(real, "_re") || !endsWith(imag, "_im") ||
            real.substr(0, real.size() - 3) != imag.substr(0, imag.size() - 3))
            return Orvek::ERR_INVALID_PARAMETER;
        names.push_back(real.substr(0, real.size() - 3));
    }
    std::vector<double> freqs, re, im;
    while (std::getline(lines, line)) {
        if (line.empty())
            continue;
        const std::vector<std::string> fields = splitFields(line);
        if (fields.size() != header.size())
            return Orvek::ERR_INVALID_PARAMETER;
        std::vector<double> values(fields.size());
        for (size_t i = 0; i < fields.size(); ++i)
            if (!parseDouble(fields[i], values[i]))
                return Orvek::ERR_INVALID_PARAMETER;
        freqs.push_back(values[0]);
        for (unsigned c = 0; c < columns; ++c) {
            re.push_back(values[1 + 2 * c]);
            im.push_back(values[2 + 2 * c]);
        }
    }
    if (freqs.empty())
        return Orvek::ERR_INVALID_PARAMETER;

    tarnvna_table_t result{};
    result.columns = columns;
    result.points = static_cast<unsigned>(freqs.size());
    result.freq_mhz = static_cast<double*>(std::malloc(freqs.size() * sizeof(double)));
    result.re = static_cast<double*>(std::malloc(re.size() * sizeof(double)));
    result.im = static_cast<double*>(std::malloc(im.size() * sizeof(double)));
    result.names = static_cast<char**>(std::calloc(columns, sizeof(char*)));
    bool ok = result.freq_mhz && result.re && result.im && result.names;
    for (unsigned c = 0; ok && c < columns; ++c)
        ok = (result.names[c] = mallocCopy(names[c])) != nullptr;
    if (!ok) {
        tarnvna_table_free(&result);
        return Orvek::ERR_BYTES;
    }
    std::memcpy(result.freq_mhz, freqs.data(), freqs.size() * sizeof(double));
    std::memcpy(result.re, re.data(), re.size() * sizeof(double));
    std::memcpy(result.im, im.data(), im.size() * sizeof(double));
    *table = result;
    return Orvek::ERR_OK;
}

void tarnvna_table_free(tarnvna_table_t* table) {
    if (!table)
        return;
    if (table->names)
        for (unsigned c = 0; c < table->columns; ++c)
            std::free(table->names[c]);
    std::free(table->names);
    std::free(table->freq_mhz);
    std::free(table->re);
    std::free(table->im);
    *table = tarnvna_table_t{};
}

void tarnvna_free(void* text) {
    std::free(text);
}

} // extern "C"
