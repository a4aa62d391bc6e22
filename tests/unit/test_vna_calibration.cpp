// libtarnvna's calibration against the simulated unit's own physics (no quantisation, no
// noise): SOLT recovers the error box the simulator puts between its receivers and the DUT,
// and tables interpolate, refuse and store as they promise. (Correction against the DUT runs
// over the network in the tarnctl lab test.)
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <string>
#include <vector>

#include "sim/profiles.h"
#include "sim/rf_model.h"
#include "tarnvna.h"

namespace {

using Complex = std::complex<double>;
using Orvek::Sim::DutModel;
using Orvek::Sim::ElementKind;

// The four raw ratios (receiver 0 / receiver 1) of the s-param unit with `dut` on its ports,
// as a two-port network: what the simulator's receivers see before the ADC.
struct Raw {
    std::vector<double> freq, re, im;
    tarnvna_network_t net() {
        return {2, static_cast<unsigned>(freq.size()), freq.data(), re.data(), im.data()};
    }
};

Raw measure(const DutModel& dut, const std::vector<double>& freqs) {
    const Orvek::Sim::RfModel rf(dut, Orvek::Sim::ErrorBox::forProfile("s-param"));
    Raw raw{freqs, {}, {}};
    for (double f : freqs)
        for (int out = 0; out < 2; ++out)
            for (int in = 0; in < 2; ++in) {
                Orvek::Sim::SwitchPath path;
                path.txPort = in;
                path.rxPort = out;
                const auto state = Orvek::Sim::RfState::tuned(f, path);
                const Complex ratio = rf.wave(state, 0) / rf.wave(state, 1);
                raw.re.push_back(ratio.real());
                raw.im.push_back(ratio.imag());
            }
    return raw;
}

DutModel both(ElementKind kind, double offsetNs) {
    DutModel dut;
    dut.terminate(0, kind, offsetNs);
    dut.terminate(1, kind, offsetNs);
    return dut;
}

std::vector<double> sweep(double start, double stop, int points) {
    std::vector<double> f;
    for (int k = 0; k < points; ++k)
        f.push_back(start + (stop - start) * k / (points - 1));
    return f;
}

TEST(VnaCalibration, SoltRecoversTheSimulatedErrorBox) {
    const std::vector<double> freqs = sweep(400.0, 6400.0, 61);
    const Orvek::Sim::ErrorBox box = Orvek::Sim::ErrorBox::forProfile("s-param");
    struct Case {
        const char* name;
        double offsetNs; // the reflection standards' offset line
        double thruNs;   // the thru's length (0: flush)
    } cases[] = {{"ideal standards", 0.0, 0.0}, {"offset standards, long thru", 0.015, 0.08}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DutModel thru;
        thru.connectThru(0, 1, c.thruNs, 0.0);
        Raw shorts = measure(both(ElementKind::Short, c.offsetNs), freqs);
        Raw opens = measure(both(ElementKind::Open, c.offsetNs), freqs);
        Raw loads = measure(both(ElementKind::Load, 0.0), freqs);
        Raw thrus = measure(thru, freqs);
        tarnvna_network_t s = shorts.net(), o = opens.net(), l = loads.net(), t = thrus.net();
        tarnvna_solt_t solt{};
        solt.shorts = &s;
        solt.opens = &o;
        solt.loads = &l;
        solt.thru = &t;

        // The standards as the user would describe them: coefficients, and a thru file's data.
        tarnvna_network_t shortModel{}, openModel{};
        Raw thruModel{freqs, std::vector<double>(freqs.size() * 4),
                      std::vector<double>(freqs.size() * 4)};
        tarnvna_network_t thruNet = thruModel.net();
        if (c.offsetNs > 0.0) {
            tarnvna_standard_t standard{};
            standard.offset_delay_ps = c.offsetNs * 1000.0;
            standard.kind = TARNVNA_STANDARD_SHORT;
            ASSERT_EQ(tarnvna_standard_model(&standard, freqs.data(), 61, &shortModel), 0);
            standard.kind = TARNVNA_STANDARD_OPEN;
            ASSERT_EQ(tarnvna_standard_model(&standard, freqs.data(), 61, &openModel), 0);
            for (int p = 0; p < 2; ++p) {
                solt.short_model[p] = &shortModel;
                solt.open_model[p] = &openModel;
            }
        }
        if (c.thruNs > 0.0) {
            for (size_t k = 0; k < freqs.size(); ++k)
                for (int e = 0; e < 4; ++e) {
                    const Complex v = thru.s(e / 2, e % 2, freqs[k]);
                    thruModel.re[k * 4 + e] = v.real();
                    thruModel.im[k * 4 + e] = v.imag();
                }
            solt.thru_model = &thruNet;
        }
        tarnvna_cal_t cal{};
        ASSERT_EQ(tarnvna_cal_solt(&solt, &cal), 0);
        double worst = 0.0;
        for (unsigned k = 0; k < cal.points; ++k) {
            const auto terms = box.terms(cal.freq_mhz[k]);
            for (int term = 0; term < TARNVNA_TERMS; ++term)
                worst =
                    std::max(worst, std::abs(Complex(cal.re[k * 12 + term], cal.im[k * 12 + term]) -
                                             terms[term]));
        }
        EXPECT_LT(worst, 1e-6);

        tarnvna_network_free(&shortModel);
        tarnvna_network_free(&openModel);
        tarnvna_cal_free(&cal);
    }
}

TEST(VnaCalibration, StandardsThatDoNotDetermineTheTermsAreRefused) {
    const std::vector<double> freqs = sweep(1000.0, 2000.0, 3);
    Raw shorts = measure(both(ElementKind::Short, 0.0), freqs);
    Raw loads = measure(both(ElementKind::Load, 0.0), freqs);
    tarnvna_network_t s = shorts.net(), l = loads.net();
    tarnvna_solt_t solt{&s, &s, &l, &l, {}, {}, {}, nullptr}; // the short again as the open
    tarnvna_cal_t cal{};
    EXPECT_EQ(tarnvna_cal_solt(&solt, &cal), Orvek::ERR_BAD_CAL);
}

TEST(VnaCalibration, InterpolatesLinearlyAndRefusesToExtrapolateUnlessAsked) {
    double freq[] = {100.0, 200.0};
    double re[24] = {}, im[24] = {};
    re[TARNVNA_ERF] = 1.0;
    im[TARNVNA_ERF] = -1.0;
    re[12 + TARNVNA_ERF] = 3.0;
    im[12 + TARNVNA_ERF] = 1.0;
    tarnvna_cal_t cal{2, freq, re, im};
    struct Case {
        double f;
        int flags;
        int code;
        Complex erf;
    } cases[] = {{125.0, 0, 0, {1.5, -0.5}},
                 {200.0, 0, 0, {3.0, 1.0}},
                 {99.0, 0, Orvek::ERR_FREQ_OUT_OF_BOUNDS, {}},
                 {250.0, 0, Orvek::ERR_FREQ_OUT_OF_BOUNDS, {}},
                 {250.0, TARNVNA_CAL_EXTRAPOLATE, 0, {3.0, 1.0}},
                 {NAN, TARNVNA_CAL_EXTRAPOLATE, Orvek::ERR_FREQ_OUT_OF_BOUNDS, {}}};
    for (const Case& c : cases) {
        tarnvna_cal_t at{};
        ASSERT_EQ(tarnvna_cal_interpolate(&cal, &c.f, 1, c.flags, &at), c.code) << c.f;
        if (c.code == 0) {
            EXPECT_EQ(Complex(at.re[TARNVNA_ERF], at.im[TARNVNA_ERF]), c.erf) << c.f;
        }
        tarnvna_cal_free(&at);
    }
    freq[1] = 100.0; // not ascending
    tarnvna_cal_t at{};
    EXPECT_EQ(tarnvna_cal_interpolate(&cal, freq, 1, 0, &at), Orvek::ERR_BAD_CAL);
}

TEST(VnaCalibration, TablesSurviveTheFileAndThePromAndCorrectAlike) {
    tarnvna_prom_t* prom = nullptr;
    const std::string image = ::testing::TempDir() + "cal_prom.hex";
    Orvek::Sim::savePromFile(image, Orvek::Sim::profilePromImage("s-param", 10));
    ASSERT_EQ(tarnvna_prom_load(image.c_str(), &prom), 0);
    tarnvna_cal_t stored{};
    ASSERT_EQ(tarnvna_prom_cal(prom, &stored), 0);
    EXPECT_EQ(stored.points, 25u);

    // Saved, loaded and saved again: the second file holds exactly what the first did, so the
    // loaded table corrects exactly as the one it came from will after its own round trip.
    const std::string first = ::testing::TempDir() + "cal_a.csv";
    const std::string second = ::testing::TempDir() + "cal_b.csv";
    tarnvna_cal_t loaded{}, again{};
    ASSERT_EQ(tarnvna_cal_write(first.c_str(), &stored), 0);
    ASSERT_EQ(tarnvna_cal_read(first.c_str(), &loaded), 0);
    ASSERT_EQ(tarnvna_cal_write(second.c_str(), &loaded), 0);
    ASSERT_EQ(tarnvna_cal_read(second.c_str(), &again), 0);
    const std::vector<double> freqs = sweep(500.0, 6000.0, 23);
    Raw filter = measure(DutModel::standardBench(400.0, 6400.0), freqs);
    tarnvna_network_t raw = filter.net(), a{}, b{}, c{};
    ASSERT_EQ(tarnvna_cal_apply(&stored, 0, &raw, &a), 0);
    ASSERT_EQ(tarnvna_cal_apply(&loaded, 0, &raw, &b), 0);
    ASSERT_EQ(tarnvna_cal_apply(&again, 0, &raw, &c), 0);
    for (unsigned i = 0; i < 4 * raw.points; ++i) {
        EXPECT_NEAR(a.re[i], b.re[i], 1e-12);
        EXPECT_EQ(b.re[i], c.re[i]);
        EXPECT_EQ(b.im[i], c.im[i]);
    }

    // A table the PROM cannot hold is refused and the PROM keeps its own.
    std::vector<double> many(2000), zeros(2000 * 12);
    for (size_t k = 0; k < many.size(); ++k)
        many[k] = 400.0 + k;
    tarnvna_cal_t huge{2000, many.data(), zeros.data(), zeros.data()};
    EXPECT_EQ(tarnvna_prom_set_cal(prom, &huge), Orvek::ERR_TOO_MANY_POINTS);
    tarnvna_cal_t after{};
    ASSERT_EQ(tarnvna_prom_cal(prom, &after), 0);
    EXPECT_EQ(after.points, 25u);

    for (tarnvna_cal_t* t : {&stored, &loaded, &again, &after})
        tarnvna_cal_free(t);
    for (tarnvna_network_t* n : {&a, &b, &c})
        tarnvna_network_free(n);
    tarnvna_prom_free(prom);
}

} // namespace
