// Touchstone 1.1: "!" comments, one option line, then per frequency the network's parameters
// as pairs; a two-port lists S11 S21 S12 S22, larger networks one matrix row after another
// with at most four pairs per line. Readers need ascending frequencies: a two-port whose
// frequency drops starts its noise block there.
#include <cctype>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "tarnvna.h"
#include "text_file.h"

using namespace Orvek::Vna;

namespace {

constexpr unsigned kMaxPorts = 99;
constexpr unsigned kPairsPerLine = 4;

bool validNetwork(const tarnvna_network_t* n) {
    return n && n->ports > 0 && n->ports <= kMaxPorts && n->points > 0 && n->freq_mhz && n->re &&
           n->im;
}

std::string commentLines(const char* comment) {
    std::string out;
    if (!comment)
        return out;
    std::istringstream lines(comment);
    std::string line;
    while (std::getline(lines, line))
        out += line.empty() ? "!\n" : "! " + line + "\n";
    return out;
}

// The (row, column) of the k-th value of a point as the file lists them.
void fileOrder(unsigned ports, unsigned k, unsigned& row, unsigned& column) {
    if (ports == 2) {
        row = k % 2;
        column = k / 2;
    } else {
        row = k / ports;
        column = k % ports;
    }
}

std::string lower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// Port count from a name ending in ".sNp".
unsigned portsFromName(const std::string& path) {
    const std::string name = lower(path);
    const size_t dot = name.rfind(".s");
    if (dot == std::string::npos || name.size() < dot + 4 || name.back() != 'p')
        return 0;
    const std::string digits = name.substr(dot + 2, name.size() - dot - 3);
    if (digits.empty() || digits.size() > 2 ||
        digits.find_first_not_of("0123456789") != std::string::npos)
        return 0;
    return static_cast<unsigned>(std::atoi(digits.c_str()));
}

bool parseDouble(const std::string& token, double& value) {
    const char* begin = token.c_str();
    char* end = nullptr;
    value = std::strtod(begin, &end);
    return end != begin && *end == '\0' && std::isfinite(value);
}

} // namespace

extern "C" {

int tarnvna_touchstone_write(const char* path, const tarnvna_network_t* network,
                             const char* comment) {
    if (!path || !validNetwork(network))
        return Orvek::ERR_INVALID_PARAMETER;
    const std::vector<unsigned> order = ascendingOrder(network->freq_mhz, network->points);
    if (order.empty())
        return Orvek::ERR_INVALID_PARAMETER;
    const unsigned ports = network->ports;
    const unsigned perPoint = ports * ports;
    std::string text = commentLines(comment);
    text += "# Hz S RI R 50\n";
    for (unsigned point : order) {
        text += exactNumber(network->freq_mhz[point] * 1e6);
        for (unsigned k = 0; k < perPoint; ++k) {
            unsigned row, column;
            fileOrder(ports, k, row, column);
            // A new matrix row, or a full line, continues on the next line.
            if (ports > 2 && k > 0 && (column == 0 || column % kPairsPerLine == 0))
                text += "\n";
            const size_t index = (static_cast<size_t>(point) * ports + row) * ports + column;
            text += " " + exactNumber(network->re[index]) + " " + exactNumber(network->im[index]);
        }
        text += "\n";
    }
    return writeWholeFile(path, text) ? Orvek::ERR_OK : Orvek::ERR_BYTES;
}

int tarnvna_touchstone_read(const char* path, tarnvna_network_t* network) {
    if (!path || !network)
        return Orvek::ERR_INVALID_PARAMETER;
    const unsigned ports = portsFromName(path);
    if (ports == 0 || ports > kMaxPorts)
        return Orvek::ERR_INVALID_PARAMETER;
    std::string text;
    if (!readWholeFile(path, text))
        return Orvek::ERR_BYTES;

    double hzPerUnit = 1e9; // the format's default unit is GHz
    std::string format = "ma";
    bool optionSeen = false;
    std::vector<double> numbers;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        line = line.substr(0, line.find('!'));
        std::istringstream tokens(line);
        std::string token;
        if (!(tokens >> token))
            continue;
        if (token[0] == '#') {
            if (optionSeen)
                continue; // only the first option line counts
            optionSeen = true;
            std::string rest = token.substr(1);
            std::string all = rest;
            while (tokens >> token)
                all += " " + token;
            std::istringstream options(lower(all));
            std::string option;
            while (options >> option) {
                if (option == "hz")
                    hzPerUnit = 1.0;
                else if (option == "khz")
                    hzPerUnit = 1e3;
                else if (option == "mhz")
                    hzPerUnit = 1e6;
                else if (option == "ghz")
                    hzPerUnit = 1e9;
                else if (option == "ri" || option == "ma" || option == "db")
                    format = option;
                else if (option == "r")
                    options >> option; // reference resistance
                else if (option != "s")
                    return Orvek::ERR_INVALID_PARAMETER;
            }
            continue;
        }
        do {
            double value;
            if (!parseDouble(token, value))
                return Orvek::ERR_INVALID_PARAMETER;
            numbers.push_back(value);
        } while (tokens >> token);
    }

    const size_t perPoint = 1 + 2 * static_cast<size_t>(ports) * ports;
    std::vector<double> freqs, re, im;
    bool noiseFollows = false;
    size_t at = 0;
    for (; at < numbers.size(); at += perPoint) {
        const double mhz = numbers[at] * hzPerUnit / 1e6;
        if (!freqs.empty() && !(mhz > freqs.back())) {
            if (ports == 2) {
                noiseFollows = true; // noise parameters follow
                break;
            }
            return Orvek::ERR_INVALID_PARAMETER;
        }
        if (at + perPoint > numbers.size())
            return Orvek::ERR_INVALID_PARAMETER; // a point cut short
        freqs.push_back(mhz);
        const size_t base = re.size();
        re.resize(base + ports * ports);
        im.resize(base + ports * ports);
        for (unsigned k = 0; k < ports * ports; ++k) {
            const double a = numbers[at + 1 + 2 * k], b = numbers[at + 2 + 2 * k];
            unsigned row, column;
            fileOrder(ports, k, row, column);
            std::complex<double> value(a, b);
            const double kDegree = 3.14159265358979323846 / 180.0;
            if (format == "ma")
                value = std::polar(a, b * kDegree);
            else if (format == "db")
                value = std::polar(std::pow(10.0, a / 20.0), b * kDegree);
            re[base + row * ports + column] = value.real();
            im[base + row * ports + column] = value.imag();
        }
    }
    if (freqs.empty() || (!noiseFollows && at != numbers.size()))
        return Orvek::ERR_INVALID_PARAMETER;

    tarnvna_network_t result{};
    result.ports = ports;
    result.points = static_cast<unsigned>(freqs.size());
    result.freq_mhz = static_cast<double*>(std::malloc(freqs.size() * sizeof(double)));
    result.re = static_cast<double*>(std::malloc(re.size() * sizeof(double)));
    result.im = static_cast<double*>(std::malloc(im.size() * sizeof(double)));
    if (!result.freq_mhz || !result.re || !result.im) {
        tarnvna_network_free(&result);
        return Orvek::ERR_BYTES;
    }
    std::memcpy(result.freq_mhz, freqs.data(), freqs.size() * sizeof(double));
    std::memcpy(result.re, re.data(), re.size() * sizeof(double));
    std::memcpy(result.im, im.data(), im.size() * sizeof(double));
    *network = result;
    return Orvek::ERR_OK;
}

void tarnvna_network_free(tarnvna_network_t* network) {
    if (!network)
        return;
    std::free(network->freq_mhz);
    std::free(network->re);
    std::free(network->im);
    *network = tarnvna_network_t{};
}

} // extern "C"
