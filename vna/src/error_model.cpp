#include "error_model.h"

#include <cmath>

#include "tarnvna.h"

namespace Orvek {
namespace Vna {

namespace {

// Below this a divisor is taken as zero: raw ratios come from 16-bit samples, so nothing
// physical gets near it.
constexpr double kSingular = 1e-12;

bool usable(Complex divisor) {
    return std::isfinite(divisor.real()) && std::isfinite(divisor.imag()) &&
           std::abs(divisor) > kSingular;
}

} // namespace

bool correctTwoPort(const ErrorTerms& e, const TwoPort& raw, TwoPort& dut) {
    if (!usable(e[TARNVNA_ERF]) || !usable(e[TARNVNA_ETF]) || !usable(e[TARNVNA_ERR]) ||
        !usable(e[TARNVNA_ETR]))
        return false;
    const Complex n11 = (raw[0][0] - e[TARNVNA_EDF]) / e[TARNVNA_ERF];
    const Complex n21 = (raw[1][0] - e[TARNVNA_EXF]) / e[TARNVNA_ETF];
    const Complex n12 = (raw[0][1] - e[TARNVNA_EXR]) / e[TARNVNA_ETR];
    const Complex n22 = (raw[1][1] - e[TARNVNA_EDR]) / e[TARNVNA_ERR];
    const Complex esf = e[TARNVNA_ESF], esr = e[TARNVNA_ESR];
    const Complex elf = e[TARNVNA_ELF], elr = e[TARNVNA_ELR];
    const Complex d = (1.0 + n11 * esf) * (1.0 + n22 * esr) - n21 * n12 * elf * elr;
    if (!usable(d))
        return false;
    dut[0][0] = (n11 * (1.0 + n22 * esr) - elf * n21 * n12) / d;
    dut[1][0] = n21 * (1.0 + n22 * (esr - elf)) / d;
    dut[0][1] = n12 * (1.0 + n11 * (esf - elr)) / d;
    dut[1][1] = (n22 * (1.0 + n11 * esf) - elr * n21 * n12) / d;
    return true;
}

bool correctOnePort(const ErrorTerms& e, Complex raw, Complex& dut) {
    if (!usable(e[TARNVNA_ERF]))
        return false;
    const Complex n = (raw - e[TARNVNA_EDF]) / e[TARNVNA_ERF];
    const Complex d = 1.0 + n * e[TARNVNA_ESF];
    if (!usable(d))
        return false;
    dut = n / d;
    return true;
}

bool solveOnePort(const std::array<Complex, 3>& actual, const std::array<Complex, 3>& measured,
                  Complex& directivity, Complex& sourceMatch, Complex& tracking) {
    // m = ED + a m ES - a (ED ES - ER) is linear in x = (ED, ES, ED ES - ER): rows
    // (1, a m, -a) x = m, solved by Cramer's rule.
    Complex rows[3][3];
    for (int k = 0; k < 3; ++k) {
        rows[k][0] = 1.0;
        rows[k][1] = actual[k] * measured[k];
        rows[k][2] = -actual[k];
    }
    auto det = [](const Complex m[3][3]) {
        return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
               m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
               m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    };
    const Complex d = det(rows);
    if (!usable(d))
        return false;
    Complex x[3];
    for (int c = 0; c < 3; ++c) {
        Complex replaced[3][3];
        for (int r = 0; r < 3; ++r)
            for (int k = 0; k < 3; ++k)
                replaced[r][k] = k == c ? measured[r] : rows[r][k];
        x[c] = det(replaced) / d;
    }
    directivity = x[0];
    sourceMatch = x[1];
    tracking = x[0] * x[1] - x[2];
    return usable(tracking);
}

bool solveThru(const TwoPort& thru, Complex reflection, Complex transmission, Complex directivity,
               Complex sourceMatch, Complex tracking, Complex isolation, Complex& loadMatch,
               Complex& transmissionTracking) {
    // The reflection seen at the driving port's reference plane, then the load match that
    // the thru turns into it.
    const Complex r = reflection - directivity;
    const Complex planeDivisor = tracking + sourceMatch * r;
    if (!usable(planeDivisor))
        return false;
    const Complex plane = r / planeDivisor;
    const Complex x = plane - thru[0][0];
    const Complex s21s12 = thru[1][0] * thru[0][1];
    const Complex matchDivisor = s21s12 + x * thru[1][1];
    if (!usable(matchDivisor) || !usable(thru[1][0]))
        return false;
    loadMatch = x / matchDivisor;
    const Complex delta = thru[0][0] * thru[1][1] - s21s12;
    const Complex loop =
        1.0 - sourceMatch * thru[0][0] - loadMatch * thru[1][1] + sourceMatch * loadMatch * delta;
    transmissionTracking = (transmission - isolation) * loop / thru[1][0];
    return usable(transmissionTracking);
}

} // namespace Vna
} // namespace Orvek
