// Reflection of a coaxial calibration standard from its coefficients: an offset line with
// skin-effect loss in front of a capacitive open, an inductive short or a resistive load.
#include <cmath>
#include <complex>
#include <cstdlib>

#include "tarndll.h"
#include "tarnvna.h"

namespace {

using Complex = std::complex<double>;

constexpr double kPi = 3.14159265358979323846;
constexpr double kReferenceOhm = 50.0;

bool validStandard(const tarnvna_standard_t& s) {
    if (s.kind != TARNVNA_STANDARD_OPEN && s.kind != TARNVNA_STANDARD_SHORT &&
        s.kind != TARNVNA_STANDARD_LOAD)
        return false;
    const double values[] = {s.offset_delay_ps, s.offset_loss_gohm_per_s, s.offset_z0_ohm,
                             s.load_ohm};
    for (double v : values)
        if (!std::isfinite(v) || v < 0.0)
            return false;
    for (int k = 0; k < 4; ++k)
        if (!std::isfinite(s.c[k]) || !std::isfinite(s.l[k]))
            return false;
    return true;
}

Complex reflection(const tarnvna_standard_t& s, double hz) {
    const Complex j(0.0, 1.0);
    const double w = 2.0 * kPi * hz;
    const double z0 = s.offset_z0_ohm > 0.0 ? s.offset_z0_ohm : kReferenceOhm;
    const double delay = s.offset_delay_ps * 1e-12;
    const double loss = s.offset_loss_gohm_per_s * 1e9;
    const double skin = std::sqrt(hz / 1e9);

    Complex terminal;
    if (s.kind == TARNVNA_STANDARD_OPEN) {
        const double c = 1e-15 * s.c[0] + 1e-27 * s.c[1] * hz + 1e-36 * s.c[2] * hz * hz +
                         1e-45 * s.c[3] * hz * hz * hz;
        const Complex y = j * w * c * kReferenceOhm;
        terminal = (1.0 - y) / (1.0 + y);
    } else if (s.kind == TARNVNA_STANDARD_SHORT) {
        const double l = 1e-12 * s.l[0] + 1e-24 * s.l[1] * hz + 1e-33 * s.l[2] * hz * hz +
                         1e-42 * s.l[3] * hz * hz * hz;
        const Complex z = j * w * l;
        terminal = (z - kReferenceOhm) / (z + kReferenceOhm);
    } else {
        const double r = s.load_ohm > 0.0 ? s.load_ohm : kReferenceOhm;
        terminal = (r - kReferenceOhm) / (r + kReferenceOhm);
    }
    if (delay == 0.0)
        return terminal;
    const Complex zc = z0 + (1.0 - j) * (loss / (2.0 * w)) * skin;
    const Complex gammaL = j * w * delay + (1.0 + j) * (delay * loss / (2.0 * z0)) * skin;
    const Complex g1 = (zc - kReferenceOhm) / (zc + kReferenceOhm);
    const Complex e = std::exp(-2.0 * gammaL);
    return (g1 * (1.0 - e - g1 * terminal) + e * terminal) /
           (1.0 - g1 * (e * g1 + terminal * (1.0 - e)));
}

} // namespace

extern "C" int tarnvna_standard_model(const tarnvna_standard_t* standard, const double* freq_mhz,
                                      unsigned int count, tarnvna_network_t* model) {
    if (!standard || !freq_mhz || !model || count == 0 || count > (1u << 20) ||
        !validStandard(*standard))
        return Orvek::ERR_INVALID_PARAMETER;
    for (unsigned k = 0; k < count; ++k)
        if (!std::isfinite(freq_mhz[k]) || !(freq_mhz[k] > 0.0))
            return Orvek::ERR_INVALID_PARAMETER;
    tarnvna_network_t out{1, count, static_cast<double*>(std::calloc(count, sizeof(double))),
                          static_cast<double*>(std::calloc(count, sizeof(double))),
                          static_cast<double*>(std::calloc(count, sizeof(double)))};
    if (!out.freq_mhz || !out.re || !out.im) {
        tarnvna_network_free(&out);
        return Orvek::ERR_BYTES;
    }
    for (unsigned k = 0; k < count; ++k) {
        const Complex g = reflection(*standard, freq_mhz[k] * 1e6);
        out.freq_mhz[k] = freq_mhz[k];
        out.re[k] = g.real();
        out.im[k] = g.imag();
    }
    *model = out;
    return Orvek::ERR_OK;
}
