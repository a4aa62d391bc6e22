// libtarnvna's 12-term calibration against the simulator's error box: correction recovers the
// DUT, SOLT recovers the box, tables interpolate and survive their file.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <string>
#include <vector>

#include "sim/dut_model.h"
#include "sim/error_box.h"
#include "tarnvna.h"

namespace {

using Orvek::Sim::Complex;
using Orvek::Sim::DutModel;
using Orvek::Sim::ErrorBox;

const ErrorBox kBox = ErrorBox::forProfile("s-param");

std::vector<double> linear(double from, double to, unsigned points) {
    std::vector<double> f(points);
    for (unsigned k = 0; k < points; ++k)
        f[k] = from + (to - from) * k / (points - 1);
    return f;
}

// Owns what the library hands out or takes.
struct Network {
    tarnvna_network_t n{};
    Network() = default;
    Network(unsigned ports, const std::vector<double>& freqs) {
        n.ports = ports;
        n.points = static_cast<unsigned>(freqs.size());
        n.freq_mhz = static_cast<double*>(std::calloc(freqs.size(), sizeof(double)));
        n.re = static_cast<double*>(std::calloc(freqs.size() * ports * ports, sizeof(double)));
        n.im = static_cast<double*>(std::calloc(freqs.size() * ports * ports, sizeof(double)));
        std::copy(freqs.begin(), freqs.end(), n.freq_mhz);
    }
    ~Network() { tarnvna_network_free(&n); }
    Complex at(unsigned k, unsigned out, unsigned in) const {
        const size_t i = (size_t{k} * n.ports + out) * n.ports + in;
        return {n.re[i], n.im[i]};
    }
    void set(unsigned k, unsigned out, unsigned in, Complex v) {
        const size_t i = (size_t{k} * n.ports + out) * n.ports + in;
        n.re[i] = v.real();
        n.im[i] = v.imag();
    }
};

struct Cal {
    tarnvna_cal_t c{};
    ~Cal() { tarnvna_cal_free(&c); }
    Complex term(unsigned k, unsigned t) const {
        return {c.re[k * TARNVNA_TERMS + t], c.im[k * TARNVNA_TERMS + t]};
    }
};

// What the unit's receivers report for `dut` through the box: [out][in] as measured with port
// `in` driving; a one-port sweep has only port 1's reflection.
void measure(const DutModel& dut, const std::vector<double>& freqs, unsigned ports, Network& raw) {
    new (&raw) Network(ports, freqs);
    for (unsigned k = 0; k < freqs.size(); ++k)
        for (unsigned out = 0; out < ports; ++out)
            for (unsigned in = 0; in < ports; ++in)
                raw.set(k, out, in, kBox.rawRatio(dut, in, out, freqs[k]));
}

void boxTable(const std::vector<double>& freqs, Cal& cal) {
    cal.c.points = static_cast<unsigned>(freqs.size());
    cal.c.freq_mhz = static_cast<double*>(std::calloc(freqs.size(), sizeof(double)));
    cal.c.re = static_cast<double*>(std::calloc(freqs.size() * TARNVNA_TERMS, sizeof(double)));
    cal.c.im = static_cast<double*>(std::calloc(freqs.size() * TARNVNA_TERMS, sizeof(double)));
    for (unsigned k = 0; k < freqs.size(); ++k) {
        cal.c.freq_mhz[k] = freqs[k];
        const auto terms = kBox.terms(freqs[k]);
        for (unsigned t = 0; t < TARNVNA_TERMS; ++t) {
            cal.c.re[k * TARNVNA_TERMS + t] = terms[t].real();
            cal.c.im[k * TARNVNA_TERMS + t] = terms[t].imag();
        }
    }
}

TEST(VnaCalibration, CorrectionRecoversTheDutBehindTheBox) {
    const std::vector<double> freqs = linear(800.0, 1200.0, 41);
    Cal cal;
    boxTable(freqs, cal);
    struct Case {
        const char* dut;
        unsigned ports;
    } cases[] = {
        {"filter:0-1:1000:100", 2}, {"thru:0-1:0.3:1", 2}, {"short:0:0.05", 1}, {"open:0", 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.dut);
        const DutModel dut = DutModel::parse(c.dut);
        Network raw, corrected;
        measure(dut, freqs, c.ports, raw);
        ASSERT_EQ(tarnvna_cal_apply(&cal.c, 0, &raw.n, &corrected.n), 0);
        double rawError = 0.0, error = 0.0;
        for (unsigned k = 0; k < freqs.size(); ++k)
            for (unsigned out = 0; out < c.ports; ++out)
                for (unsigned in = 0; in < c.ports; ++in) {
                    const Complex truth = dut.s(out, in, freqs[k]);
                    error = std::max(error, std::abs(corrected.at(k, out, in) - truth));
                    rawError = std::max(rawError, std::abs(raw.at(k, out, in) - truth));
                }
        EXPECT_LT(error, 1e-12);
        EXPECT_GT(rawError, 0.05);
    }
}

TEST(VnaCalibration, InterpolatesLinearlyAndRefusesToExtrapolate) {
    Cal cal;
    boxTable({1000.0, 2000.0}, cal);
    const double inside[] = {1000.0, 1250.0, 2000.0};
    Cal result;
    ASSERT_EQ(tarnvna_cal_interpolate(&cal.c, inside, 3, 0, &result.c), 0);
    for (unsigned t = 0; t < TARNVNA_TERMS; ++t) {
        EXPECT_EQ(result.term(0, t), cal.term(0, t));
        EXPECT_EQ(result.term(2, t), cal.term(1, t));
        EXPECT_LT(std::abs(result.term(1, t) - (0.75 * cal.term(0, t) + 0.25 * cal.term(1, t))),
                  1e-15);
    }
    const double outside[] = {1500.0, 2000.5};
    Cal refused, clamped;
    EXPECT_EQ(tarnvna_cal_interpolate(&cal.c, outside, 2, 0, &refused.c),
              Orvek::ERR_FREQ_OUT_OF_BOUNDS);
    EXPECT_EQ(refused.c.points, 0u);
    ASSERT_EQ(tarnvna_cal_interpolate(&cal.c, outside, 2, TARNVNA_CAL_EXTRAPOLATE, &clamped.c), 0);
    EXPECT_EQ(clamped.term(1, TARNVNA_ETR), cal.term(1, TARNVNA_ETR));

    Network raw(2, {999.0}), corrected;
    EXPECT_EQ(tarnvna_cal_apply(&cal.c, 0, &raw.n, &corrected.n), Orvek::ERR_FREQ_OUT_OF_BOUNDS);
    cal.c.freq_mhz[1] = cal.c.freq_mhz[0];
    EXPECT_EQ(tarnvna_cal_interpolate(&cal.c, inside, 1, 0, &result.c), Orvek::ERR_BAD_CAL);
}

struct Standards {
    Network shorts, opens, loads, thru;
    explicit Standards(const std::vector<double>& freqs, const std::string& offset = "") {
        measure(DutModel::parse("short:0" + offset + ",short:1" + offset), freqs, 2, shorts);
        measure(DutModel::parse("open:0" + offset + ",open:1" + offset), freqs, 2, opens);
        measure(DutModel::parse("load:0,load:1"), freqs, 2, loads);
        measure(DutModel::parse("thru:0-1:0:0"), freqs, 2, thru);
    }
    tarnvna_solt_t solt() const { return {&shorts.n, &opens.n, &loads.n, &thru.n, {}, {}, {}, {}}; }
};

TEST(VnaCalibration, SoltRecoversTheBoxWithIdealAndModelledStandards) {
    const std::vector<double> freqs = linear(400.0, 6400.0, 61);
    Network models[2];
    tarnvna_standard_t offsetShort{TARNVNA_STANDARD_SHORT, 40.0, 0, 0, {}, {}, 0};
    tarnvna_standard_t offsetOpen{TARNVNA_STANDARD_OPEN, 40.0, 0, 0, {}, {}, 0};
    ASSERT_EQ(tarnvna_standard_model(&offsetShort, freqs.data(), 61, &models[0].n), 0);
    ASSERT_EQ(tarnvna_standard_model(&offsetOpen, freqs.data(), 61, &models[1].n), 0);
    for (const char* offset : {"", ":0.04"}) {
        SCOPED_TRACE(offset);
        Standards standards(freqs, offset);
        tarnvna_solt_t solt = standards.solt();
        if (*offset)
            for (int p = 0; p < 2; ++p) {
                solt.short_model[p] = &models[0].n;
                solt.open_model[p] = &models[1].n;
            }
        Cal cal;
        ASSERT_EQ(tarnvna_cal_solt(&solt, &cal.c), 0);
        double worst = 0.0;
        for (unsigned k = 0; k < freqs.size(); ++k) {
            const auto terms = kBox.terms(freqs[k]);
            for (unsigned t = 0; t < TARNVNA_TERMS; ++t)
                worst = std::max(worst, std::abs(cal.term(k, t) - terms[t]));
        }
        EXPECT_LT(worst, 1e-6);
    }
    // Opens where the shorts should be: the standards no longer determine the terms.
    Standards standards(freqs);
    tarnvna_solt_t solt = standards.solt();
    solt.shorts = &standards.opens.n;
    Cal cal;
    EXPECT_EQ(tarnvna_cal_solt(&solt, &cal.c), Orvek::ERR_BAD_CAL);
}

TEST(VnaCalibration, SavedTableCorrectsAsTheOneItCameFrom) {
    const std::vector<double> freqs = linear(900.0, 1100.0, 21);
    Standards standards(freqs);
    const tarnvna_solt_t solt = standards.solt();
    Cal solved, loaded, reloaded;
    ASSERT_EQ(tarnvna_cal_solt(&solt, &solved.c), 0);
    const std::string path = ::testing::TempDir() + "vna_cal.csv";
    ASSERT_EQ(tarnvna_cal_write(path.c_str(), &solved.c), 0);
    ASSERT_EQ(tarnvna_cal_read(path.c_str(), &loaded.c), 0);
    ASSERT_EQ(tarnvna_cal_write(path.c_str(), &loaded.c), 0);
    ASSERT_EQ(tarnvna_cal_read(path.c_str(), &reloaded.c), 0);

    Network raw, fromSolved, fromLoaded, fromReloaded;
    measure(DutModel::parse("filter:0-1:1000:100"), freqs, 2, raw);
    ASSERT_EQ(tarnvna_cal_apply(&solved.c, 0, &raw.n, &fromSolved.n), 0);
    ASSERT_EQ(tarnvna_cal_apply(&loaded.c, 0, &raw.n, &fromLoaded.n), 0);
    ASSERT_EQ(tarnvna_cal_apply(&reloaded.c, 0, &raw.n, &fromReloaded.n), 0);
    for (unsigned i = 0; i < freqs.size() * 4; ++i) {
        // The file's fixed sixteen decimals round each term by 5e-17 at most; a table read
        // from the file then saves and corrects exactly alike.
        EXPECT_NEAR(fromLoaded.n.re[i], fromSolved.n.re[i], 1e-13);
        EXPECT_NEAR(fromLoaded.n.im[i], fromSolved.n.im[i], 1e-13);
        EXPECT_EQ(fromReloaded.n.re[i], fromLoaded.n.re[i]);
        EXPECT_EQ(fromReloaded.n.im[i], fromLoaded.n.im[i]);
    }
    std::remove(path.c_str());
}

} // namespace
