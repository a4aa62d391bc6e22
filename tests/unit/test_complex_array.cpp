// Split real/imaginary complex vectors: arithmetic against std::complex, common-prefix
// behaviour, ownership and phase rotation.
#include <cmath>
#include <complex>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "math/complex_array.h"

using namespace Orvek;
using cd = std::complex<double>;

namespace {

const std::vector<cd> kX = {{1, 2}, {-3, 0.5}, {0, -4}, {2.5, 2.5}};
const std::vector<cd> kY = {{3, 4}, {-1, -1}, {2, 0}, {0, 0.25}};

cd at(const ComplexArray& a, unsigned i) {
    return {a.real[i], a.imaginary[i]};
}

ManagedComplexArray make(const std::vector<cd>& values) {
    ManagedComplexArray a(static_cast<unsigned>(values.size()));
    for (unsigned i = 0; i < values.size(); ++i) {
        a.real[i] = values[i].real(), a.imaginary[i] = values[i].imag();
    }
    return a;
}

} // namespace

TEST(ComplexArray, ArithmeticMatchesStdComplex) {
    ManagedComplexArray sum = make(kX), diff = make(kX), prod = make(kX), quot = make(kX);
    sum += make(kY), diff -= make(kY), prod *= make(kY), quot /= make(kY);
    for (unsigned i = 0; i < kX.size(); ++i) {
        EXPECT_LT(std::abs(at(sum, i) - (kX[i] + kY[i])), 1e-12);
        EXPECT_LT(std::abs(at(diff, i) - (kX[i] - kY[i])), 1e-12);
        EXPECT_LT(std::abs(at(prod, i) - kX[i] * kY[i]), 1e-12);
        EXPECT_LT(std::abs(at(quot, i) - kX[i] / kY[i]), 1e-12);
    }
    ManagedComplexArray a(1, 1.0, 1.0);
    a += 2.0; // adding and subtracting a scalar touch the real parts only
    a -= 1.0;
    a *= 2.0;
    a /= 4.0;
    EXPECT_EQ(at(a, 0), cd(1, 0.5));
}

TEST(ComplexArray, MismatchedLengthsWorkOnTheCommonPrefixAndCopiesOwnTheirStorage) {
    ManagedComplexArray longer(5, 1.0, 1.0), shorter(3, 2.0, -2.0);
    longer += shorter;
    EXPECT_EQ(at(longer, 2), cd(3, -1));
    EXPECT_EQ(at(longer, 3), cd(1, 1));
    longer = shorter; // copies values, not storage or length
    EXPECT_EQ(longer.length(), 5u);
    EXPECT_EQ(at(longer, 4), cd(1, 1));
    longer.real[0] = 9;
    EXPECT_EQ(shorter.real[0], 2.0);

    const int samples[4] = {-32768, 32767, 7, -7};
    ManagedComplexArray filled(3), out(2), empty(0);
    filled.fill(samples, samples + 2, 2);
    EXPECT_EQ(at(filled, 1), cd(32767, -7));
    EXPECT_EQ(at(filled, 2), cd(0, 0));
    cDivide(out, longer, shorter);
    cDivide(out, empty, shorter); // nothing to divide
    EXPECT_EQ(at(out, 1), cd(1, 0));

    double re[3] = {1, 2, 3}, im[3] = {0, 0, 0};
    ComplexArray view(3, re, im);
    ComplexArray alias(view);
    alias *= 2.0; // a view writes through
    ManagedComplexArray owned(view);
    owned *= 10.0;
    EXPECT_EQ(re[2], 6.0);
    ManagedComplexArray moved(std::move(owned));
    EXPECT_EQ(owned.length(), 0u);
    std::vector<ManagedComplexArray> receivers(2, moved);
    receivers.emplace_back(3, re, im); // reallocates: every copy must own its storage
    EXPECT_EQ(at(receivers[1], 2), cd(60, 0));
}

TEST(ComplexArray, RotateAddsOrRemovesThePhase) {
    ManagedComplexArray data = make(kX);
    data.rotate(make(kY), true);
    for (unsigned i = 0; i < kX.size(); ++i) {
        EXPECT_LT(std::abs(at(data, i) - kX[i] * std::polar(1.0, -std::arg(kY[i]))), 1e-12);
    }
    const double angles[2] = {M_PI / 2, M_PI};
    ManagedComplexArray ones(2, 1.0, 0.0), empty(0), three(3, 1.0, 1.0);
    ones.rotate(angles, false);
    EXPECT_LT(std::abs(at(ones, 0) - cd(0, 1)), 1e-15);
    EXPECT_LT(std::abs(at(ones, 1) - cd(-1, 0)), 1e-15);

    testing::internal::CaptureStdout();
    empty.rotate(three, true);
    three.rotate(ones, true);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ComplexArray::rotate can't operate on empty array\n"
              "ComplexArray::rotate unequal array lengths\n");
    EXPECT_EQ(at(three, 2), cd(1, 1));
}
