// The C interface of the 12-term calibration: tables in the PROM and in the CSV file,
// interpolation to a sweep's frequencies, correction of raw ratios, and SOLT.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "error_model.h"
#include "prom_image.h"
#include "tarnvna.h"
#include "text_file.h"

using namespace Orvek;
using namespace Orvek::Vna;

namespace {

constexpr unsigned kTerms = TARNVNA_TERMS;
// Far more than any PROM holds; keeps a bad count from asking for gigabytes.
constexpr unsigned kMaxPoints = 1u << 20;

bool finite(double v) {
    return std::isfinite(v);
}

bool ascending(const double* freq, unsigned points) {
    for (unsigned k = 0; k < points; ++k)
        if (!finite(freq[k]) || (k > 0 && !(freq[k] > freq[k - 1])))
            return false;
    return true;
}

bool validCal(const tarnvna_cal_t* cal) {
    if (!cal || cal->points == 0 || cal->points > kMaxPoints || !cal->freq_mhz || !cal->re ||
        !cal->im || !ascending(cal->freq_mhz, cal->points))
        return false;
    for (size_t i = 0; i < size_t{cal->points} * kTerms; ++i)
        if (!finite(cal->re[i]) || !finite(cal->im[i]))
            return false;
    return true;
}

bool validNetwork(const tarnvna_network_t* n, unsigned ports) {
    return n && n->ports == ports && n->points > 0 && n->points <= kMaxPoints && n->freq_mhz &&
           n->re && n->im;
}

template <typename T> T* allocate(size_t count) {
    return static_cast<T*>(std::calloc(count ? count : 1, sizeof(T)));
}

bool makeCal(unsigned points, tarnvna_cal_t& cal) {
    cal.points = points;
    cal.freq_mhz = allocate<double>(points);
    cal.re = allocate<double>(size_t{points} * kTerms);
    cal.im = allocate<double>(size_t{points} * kTerms);
    if (cal.freq_mhz && cal.re && cal.im)
        return true;
    tarnvna_cal_free(&cal);
    return false;
}

bool makeNetwork(unsigned ports, unsigned points, tarnvna_network_t& n) {
    n.ports = ports;
    n.points = points;
    n.freq_mhz = allocate<double>(points);
    n.re = allocate<double>(size_t{points} * ports * ports);
    n.im = allocate<double>(size_t{points} * ports * ports);
    if (n.freq_mhz && n.re && n.im)
        return true;
    tarnvna_network_free(&n);
    return false;
}

// Where `f` falls in ascending `freq`: values are (1 - weight) * [index] + weight * [index + 1]
// (index + 1 unused when weight is 0). False outside unless `clamp`.
bool locate(const double* freq, unsigned points, double f, bool clamp, unsigned& index,
            double& weight) {
    weight = 0.0;
    if (!finite(f))
        return false;
    // The PROM keeps frequencies in single precision: a table measured at a sweep's own
    // frequencies ends a few parts in 1e8 inside them, and still covers that sweep.
    const double slack = 1e-6;
    if (f <= freq[0] || f >= freq[points - 1]) {
        const bool atEnd = std::abs(f - freq[0]) <= slack * std::abs(freq[0]) ||
                           std::abs(f - freq[points - 1]) <= slack * std::abs(freq[points - 1]);
        if (atEnd || clamp) {
            index = f <= freq[0] ? 0 : points - 1;
            return true;
        }
        return false;
    }
    const double* upper = std::upper_bound(freq, freq + points, f);
    index = static_cast<unsigned>(upper - freq) - 1;
    weight = (f - freq[index]) / (freq[index + 1] - freq[index]);
    return true;
}

Complex blend(const double* re, const double* im, size_t stride, size_t offset, unsigned index,
              double weight) {
    const size_t a = index * stride + offset;
    Complex value(re[a], im[a]);
    if (weight > 0.0) {
        const size_t b = a + stride;
        value = (1.0 - weight) * value + weight * Complex(re[b], im[b]);
    }
    return value;
}

int termsAt(const tarnvna_cal_t& cal, double f, bool clamp, ErrorTerms& terms) {
    unsigned index;
    double weight;
    if (!locate(cal.freq_mhz, cal.points, f, clamp, index, weight))
        return ERR_FREQ_OUT_OF_BOUNDS;
    for (unsigned t = 0; t < kTerms; ++t)
        terms[t] = blend(cal.re, cal.im, kTerms, t, index, weight);
    return ERR_OK;
}

Complex element(const tarnvna_network_t& n, unsigned point, unsigned out, unsigned in) {
    const size_t at = (size_t{point} * n.ports + out) * n.ports + in;
    return {n.re[at], n.im[at]};
}

void setElement(tarnvna_network_t& n, unsigned point, unsigned out, unsigned in, Complex v) {
    const size_t at = (size_t{point} * n.ports + out) * n.ports + in;
    n.re[at] = v.real();
    n.im[at] = v.imag();
}

TwoPort twoPortAt(const tarnvna_network_t& n, unsigned point) {
    TwoPort s;
    for (unsigned out = 0; out < 2; ++out)
        for (unsigned in = 0; in < 2; ++in)
            s[out][in] = element(n, point, out, in);
    return s;
}

// A standard's model at `f`: `fallback` when there is none; false when it does not cover f.
bool modelAt(const tarnvna_network_t* model, double f, unsigned out, unsigned in, Complex fallback,
             Complex& value) {
    if (!model) {
        value = fallback;
        return true;
    }
    unsigned index;
    double weight;
    if (!locate(model->freq_mhz, model->points, f, false, index, weight))
        return false;
    const unsigned ports = model->ports;
    value = blend(model->re, model->im, size_t{ports} * ports, out * ports + in, index, weight);
    return true;
}

bool validModel(const tarnvna_network_t* model, unsigned ports) {
    return !model || (validNetwork(model, ports) && ascending(model->freq_mhz, model->points));
}

void fromParameters(const PromParameters& p, tarnvna_cal_t& cal) {
    for (unsigned k = 0; k < cal.points; ++k) {
        cal.freq_mhz[k] = p.Calibration_data[0][k];
        for (unsigned t = 0; t < kTerms; ++t) {
            cal.re[k * kTerms + t] = p.Calibration_data[1 + 2 * t][k];
            cal.im[k * kTerms + t] = p.Calibration_data[2 + 2 * t][k];
        }
    }
}

int calFromParameters(const PromParameters& p, tarnvna_cal_t* cal) {
    const int points = p.Number_of_calibration_points;
    if (!p.hasCalData() || points <= 0 || static_cast<unsigned>(points) > kMaxPoints)
        return ERR_BAD_CAL;
    for (const auto& column : p.Calibration_data)
        if (column.size() < static_cast<size_t>(points))
            return ERR_BAD_CAL;
    tarnvna_cal_t result{};
    if (!makeCal(static_cast<unsigned>(points), result))
        return ERR_BAD_CAL;
    fromParameters(p, result);
    if (!validCal(&result)) {
        tarnvna_cal_free(&result);
        return ERR_BAD_CAL;
    }
    *cal = result;
    return ERR_OK;
}

} // namespace

extern "C" {

void tarnvna_cal_free(tarnvna_cal_t* cal) {
    if (!cal)
        return;
    std::free(cal->freq_mhz);
    std::free(cal->re);
    std::free(cal->im);
    *cal = tarnvna_cal_t{};
}

int tarnvna_prom_cal(const tarnvna_prom_t* prom, tarnvna_cal_t* cal) {
    if (!prom || !cal)
        return ERR_INVALID_PARAMETER;
    return calFromParameters(prom->parameters, cal);
}

int tarnvna_prom_set_cal(tarnvna_prom_t* prom, const tarnvna_cal_t* cal) {
    if (!prom || !cal)
        return ERR_INVALID_PARAMETER;
    if (!validCal(cal))
        return ERR_BAD_CAL;
    try {
        PromParameters updated = prom->parameters;
        updated.Number_of_calibration_points = static_cast<int>(cal->points);
        updated.setKeyPresent(PromKey::NumberOfCalPoints, true);
        for (int column = 0; column < kCalibrationColumns; ++column) {
            std::vector<double> values(cal->points);
            for (unsigned k = 0; k < cal->points; ++k) {
                const size_t at = size_t{k} * kTerms + (column - 1) / 2;
                values[k] = column == 0       ? cal->freq_mhz[k]
                            : column % 2 == 1 ? cal->re[at]
                                              : cal->im[at];
            }
            updated.Calibration_data[column] = values;
            updated.setKeyPresent(PromParameters::calibrationKeyForColumn(column), true);
        }
        const std::vector<int> bytes = updated.generateFullBytestream();
        if (bytes.size() > kMaxImageBytes ||
            static_cast<long>(bytes.size()) > static_cast<long>(updated.promCapacity()))
            return ERR_TOO_MANY_POINTS;
        // What the unit will hold: the image's own decoding, single-precision values and all.
        tarnvna_prom_t decoded;
        if (decodeImage(std::vector<std::uint8_t>(bytes.begin(), bytes.end()), decoded) != ERR_OK)
            return ERR_BAD_CAL;
        *prom = std::move(decoded);
        return ERR_OK;
    } catch (...) {
        return ERR_BAD_CAL;
    }
}

int tarnvna_cal_write(const char* path, const tarnvna_cal_t* cal) {
    if (!path || !cal)
        return ERR_INVALID_PARAMETER;
    if (!validCal(cal))
        return ERR_BAD_CAL;
    std::string text = "Freq,EDFi,EDFq,ESFi,ESFq,ERFi,ERFq,EXFi,EXFq,ELFi,ELFq,ETFi,ETFq,"
                       "EDRi,EDRq,ESRi,ESRq,ERRi,ERRq,EXRi,EXRq,ELRi,ELRq,ETRi,ETRq\n";
    char number[400];
    for (unsigned k = 0; k < cal->points; ++k) {
        std::snprintf(number, sizeof number, "%.16f", cal->freq_mhz[k]);
        text += number;
        for (unsigned t = 0; t < kTerms; ++t) {
            std::snprintf(number, sizeof number, ",%.16f,%.16f", cal->re[k * kTerms + t],
                          cal->im[k * kTerms + t]);
            text += number;
        }
        text += '\n';
    }
    return writeWholeFile(path, text) ? ERR_OK : ERR_BYTES;
}

int tarnvna_cal_read(const char* path, tarnvna_cal_t* cal) {
    if (!path || !cal)
        return ERR_INVALID_PARAMETER;
    std::string text;
    if (!readWholeFile(path, text))
        return ERR_BYTES;
    try {
        PromParameters p;
        std::string problems;
        p.loadCalFromFile(path, problems);
        if (!problems.empty())
            return ERR_BAD_CAL;
        return calFromParameters(p, cal);
    } catch (...) {
        return ERR_BAD_CAL;
    }
}

int tarnvna_cal_interpolate(const tarnvna_cal_t* cal, const double* freq_mhz, unsigned int count,
                            int flags, tarnvna_cal_t* result) {
    if (!cal || !freq_mhz || !result || count == 0 || count > kMaxPoints)
        return ERR_INVALID_PARAMETER;
    if (!validCal(cal))
        return ERR_BAD_CAL;
    tarnvna_cal_t out{};
    if (!makeCal(count, out))
        return ERR_BYTES;
    for (unsigned k = 0; k < count; ++k) {
        ErrorTerms terms;
        const int code = termsAt(*cal, freq_mhz[k], flags & TARNVNA_CAL_EXTRAPOLATE, terms);
        if (code != ERR_OK) {
            tarnvna_cal_free(&out);
            return code;
        }
        out.freq_mhz[k] = freq_mhz[k];
        for (unsigned t = 0; t < kTerms; ++t) {
            out.re[k * kTerms + t] = terms[t].real();
            out.im[k * kTerms + t] = terms[t].imag();
        }
    }
    *result = out;
    return ERR_OK;
}

int tarnvna_cal_apply(const tarnvna_cal_t* cal, int flags, const tarnvna_network_t* raw,
                      tarnvna_network_t* corrected) {
    if (!cal || !corrected || !(validNetwork(raw, 1) || validNetwork(raw, 2)))
        return ERR_INVALID_PARAMETER;
    if (!validCal(cal))
        return ERR_BAD_CAL;
    tarnvna_network_t out{};
    if (!makeNetwork(raw->ports, raw->points, out))
        return ERR_BYTES;
    for (unsigned k = 0; k < raw->points; ++k) {
        ErrorTerms terms;
        int code = termsAt(*cal, raw->freq_mhz[k], flags & TARNVNA_CAL_EXTRAPOLATE, terms);
        bool solved = false;
        if (code == ERR_OK && raw->ports == 1) {
            Complex s;
            solved = correctOnePort(terms, element(*raw, k, 0, 0), s);
            if (solved)
                setElement(out, k, 0, 0, s);
        } else if (code == ERR_OK) {
            TwoPort s;
            solved = correctTwoPort(terms, twoPortAt(*raw, k), s);
            for (unsigned o = 0; solved && o < 2; ++o)
                for (unsigned i = 0; i < 2; ++i)
                    setElement(out, k, o, i, s[o][i]);
        }
        if (code == ERR_OK && !solved)
            code = ERR_BAD_CAL;
        if (code != ERR_OK) {
            tarnvna_network_free(&out);
            return code;
        }
        out.freq_mhz[k] = raw->freq_mhz[k];
    }
    *corrected = out;
    return ERR_OK;
}

int tarnvna_cal_solt(const tarnvna_solt_t* solt, tarnvna_cal_t* cal) {
    if (!solt || !cal)
        return ERR_INVALID_PARAMETER;
    const tarnvna_network_t* sweeps[] = {solt->shorts, solt->opens, solt->loads, solt->thru};
    for (const tarnvna_network_t* sweep : sweeps) {
        if (!validNetwork(sweep, 2) || sweep->points != solt->shorts->points)
            return ERR_INVALID_PARAMETER;
        for (unsigned k = 0; k < sweep->points; ++k)
            if (sweep->freq_mhz[k] != solt->shorts->freq_mhz[k])
                return ERR_INVALID_PARAMETER;
    }
    const unsigned points = solt->shorts->points;
    if (!ascending(solt->shorts->freq_mhz, points))
        return ERR_INVALID_PARAMETER;
    for (int port = 0; port < 2; ++port)
        if (!validModel(solt->short_model[port], 1) || !validModel(solt->open_model[port], 1) ||
            !validModel(solt->load_model[port], 1))
            return ERR_INVALID_PARAMETER;
    if (!validModel(solt->thru_model, 2))
        return ERR_INVALID_PARAMETER;

    tarnvna_cal_t out{};
    if (!makeCal(points, out))
        return ERR_BYTES;
    int code = ERR_OK;
    for (unsigned k = 0; k < points && code == ERR_OK; ++k) {
        const double f = solt->shorts->freq_mhz[k];
        ErrorTerms e;
        std::array<Complex, 3> actual[2];
        TwoPort thru;
        bool covered = true;
        for (unsigned p = 0; p < 2; ++p) {
            covered &= modelAt(solt->short_model[p], f, 0, 0, -1.0, actual[p][0]);
            covered &= modelAt(solt->open_model[p], f, 0, 0, 1.0, actual[p][1]);
            covered &= modelAt(solt->load_model[p], f, 0, 0, 0.0, actual[p][2]);
            for (unsigned i = 0; i < 2; ++i)
                covered &= modelAt(solt->thru_model, f, p, i, p == i ? 0.0 : 1.0, thru[p][i]);
        }
        if (!covered) {
            code = ERR_FREQ_OUT_OF_BOUNDS;
            break;
        }
        // Forward: port 1 drives (column 0 of the raw sweeps); reverse: port 2 drives, and
        // the thru is seen from its other side.
        bool solved = true;
        for (unsigned p = 0; p < 2 && solved; ++p) {
            const unsigned q = 1 - p;
            const unsigned base = p == 0 ? TARNVNA_EDF : TARNVNA_EDR;
            const std::array<Complex, 3> measured = {element(*solt->shorts, k, p, p),
                                                     element(*solt->opens, k, p, p),
                                                     element(*solt->loads, k, p, p)};
            solved = solveOnePort(actual[p], measured, e[base + 0], e[base + 1], e[base + 2]);
            e[base + 3] = element(*solt->loads, k, q, p);
            TwoPort seen;
            seen[0][0] = thru[p][p];
            seen[0][1] = thru[p][q];
            seen[1][0] = thru[q][p];
            seen[1][1] = thru[q][q];
            solved = solved && solveThru(seen, element(*solt->thru, k, p, p),
                                         element(*solt->thru, k, q, p), e[base + 0], e[base + 1],
                                         e[base + 2], e[base + 3], e[base + 4], e[base + 5]);
        }
        if (!solved) {
            code = ERR_BAD_CAL;
            break;
        }
        out.freq_mhz[k] = f;
        for (unsigned t = 0; t < kTerms; ++t) {
            out.re[k * kTerms + t] = e[t].real();
            out.im[k * kTerms + t] = e[t].imag();
        }
    }
    if (code != ERR_OK) {
        tarnvna_cal_free(&out);
        return code;
    }
    *cal = out;
    return ERR_OK;
}

} // extern "C"
