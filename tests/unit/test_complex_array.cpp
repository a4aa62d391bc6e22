// Split real/imaginary complex vectors: arithmetic, common-prefix behaviour, ownership and
// phase rotation.
#include <cmath>
#include <complex>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "math/complex_array.h"

using namespace Orvek;
using cd = std::complex<double>;

namespace {

cd at(const ComplexArray& a, unsigned i) {
    return {a.real[i], a.imaginary[i]};
}

ManagedComplexArray make(const std::vector<cd>& values) {
    ManagedComplexArray a(static_cast<unsigned>(values.size()));
    for (unsigned i = 0; i < values.size(); ++i) {
        a.real[i] = values[i].real();
        a.imaginary[i] = values[i].imag();
    }
    return a;
}

} // namespace

TEST(ComplexArray, ElementWiseArithmeticMatchesStdComplex) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(-10.0, 10.0);
    std::vector<cd> x(16), y(16);
    for (unsigned i = 0; i < 16; ++i) {
        x[i] = {u(rng), u(rng)};
        y[i] = {u(rng), u(rng)};
    }
    ManagedComplexArray a = make(x), b = make(y);
    ManagedComplexArray sum(a), diff(a), prod(a), quot(a);
    sum += b;
    diff -= b;
    prod *= b;
    quot /= b;
    for (unsigned i = 0; i < 16; ++i) {
        EXPECT_NEAR(std::abs(at(sum, i) - (x[i] + y[i])), 0.0, 1e-12);
        EXPECT_NEAR(std::abs(at(diff, i) - (x[i] - y[i])), 0.0, 1e-12);
        EXPECT_NEAR(std::abs(at(prod, i) - x[i] * y[i]), 0.0, 1e-12);
        EXPECT_NEAR(std::abs(at(quot, i) - x[i] / y[i]), 0.0, 1e-12);
    }

    ManagedComplexArray c = make({{1, 2}});
    c *= make({{3, 4}});
    EXPECT_EQ(at(c, 0), cd(-5, 10));
    c /= make({{3, 4}});
    EXPECT_EQ(at(c, 0), cd(1, 2));
}

TEST(ComplexArray, ScalarOperatorsAndTheirTargets) {
    ManagedComplexArray a(1, 1.0, 1.0);
    a += 2.0; // real parts only
    EXPECT_EQ(at(a, 0), cd(3, 1));
    a -= 1.0;
    EXPECT_EQ(at(a, 0), cd(2, 1));
    a *= 2.0; // both parts
    EXPECT_EQ(at(a, 0), cd(4, 2));
    a /= 4.0;
    EXPECT_EQ(at(a, 0), cd(1, 0.5));
}

TEST(ComplexArray, MismatchedLengthsWorkOnTheCommonPrefix) {
    ManagedComplexArray longer(5, 1.0, 1.0);
    ManagedComplexArray shorter(3, 2.0, -2.0);
    longer += shorter;
    EXPECT_EQ(at(longer, 2), cd(3, -1));
    EXPECT_EQ(at(longer, 3), cd(1, 1));

    longer = shorter; // copies values, not storage
    EXPECT_EQ(longer.length(), 5u);
    EXPECT_EQ(at(longer, 0), cd(2, -2));
    EXPECT_EQ(at(longer, 4), cd(1, 1));
    EXPECT_NE(longer.real, shorter.real);

    ManagedComplexArray out(2);
    cDivide(out, longer, shorter);
    EXPECT_EQ(at(out, 1), cd(1, 0));
    ManagedComplexArray empty(0);
    cDivide(out, empty, shorter); // nothing to divide
    EXPECT_EQ(at(out, 1), cd(1, 0));
}

TEST(ComplexArray, ViewsShareStorageManagedCopiesDoNot) {
    double re[3] = {1, 2, 3}, im[3] = {0, 0, 0};
    ComplexArray view(3, re, im);
    ComplexArray alias(view);
    alias *= 2.0;
    EXPECT_EQ(re[2], 6.0);

    ManagedComplexArray owned(view);
    owned *= 10.0;
    EXPECT_EQ(re[2], 6.0);
    EXPECT_EQ(owned.real[2], 60.0);

    ManagedComplexArray moved(std::move(owned));
    EXPECT_EQ(moved.real[2], 60.0);
    EXPECT_EQ(owned.length(), 0u);
    std::vector<ManagedComplexArray> receivers;
    receivers.emplace_back(4);
    receivers.emplace_back(4, 1.0, 0.0);
    receivers.emplace_back(3, re, im);
    EXPECT_EQ(at(receivers[2], 1), cd(4, 0));

    const ComplexArray& self = view;
    view = self; // self-assignment leaves the values alone
    EXPECT_EQ(re[0], 2.0);
}

TEST(ComplexArray, FillVariantsCopyTheCommonPrefix) {
    const double re[4] = {1, 2, 3, 4}, im[4] = {-1, -2, -3, -4};
    const int ire[2] = {-32768, 32767}, iim[2] = {7, -7};
    ManagedComplexArray a(3), b(3), c(3);
    a.fill(re, im, 4);
    b.fill2(re, im, 2);
    c.fill(ire, iim, 2);
    EXPECT_EQ(at(a, 2), cd(3, -3));
    EXPECT_EQ(at(b, 1), cd(2, -2));
    EXPECT_EQ(at(b, 2), cd(0, 0));
    EXPECT_EQ(at(c, 0), cd(-32768, 7));
    EXPECT_EQ(at(c, 2), cd(0, 0));
    a.fill(static_cast<const double*>(nullptr), nullptr, 0);
    EXPECT_EQ(at(a, 0), cd(1, -1));
}

TEST(ComplexArray, RotateAddsOrRemovesTheReferencePhase) {
    std::mt19937 rng(9);
    std::uniform_real_distribution<double> u(-3.0, 3.0);
    std::vector<cd> x(8), r(8);
    for (unsigned i = 0; i < 8; ++i) {
        x[i] = {u(rng), u(rng)};
        r[i] = {u(rng), u(rng)};
    }
    ManagedComplexArray data = make(x), ref = make(r);
    data.rotate(ref, true);
    for (unsigned i = 0; i < 8; ++i) {
        const cd expected = x[i] * std::polar(1.0, -std::arg(r[i]));
        EXPECT_NEAR(std::abs(at(data, i) - expected), 0.0, 1e-12);
    }
    data.rotate(ref, false);
    for (unsigned i = 0; i < 8; ++i) {
        EXPECT_NEAR(std::abs(at(data, i) - x[i]), 0.0, 1e-12);
    }

    ManagedComplexArray j = make({{0, 1}});
    j.rotate(j, true);
    EXPECT_NEAR(j.real[0], 1.0, 1e-15);
    EXPECT_NEAR(j.imaginary[0], 0.0, 1e-15);

    const double angles[2] = {M_PI / 2, M_PI};
    ManagedComplexArray ones(2, 1.0, 0.0);
    ones.rotate(angles, false);
    EXPECT_NEAR(std::abs(at(ones, 0) - cd(0, 1)), 0.0, 1e-15);
    ones.rotate(angles, true);
    EXPECT_NEAR(std::abs(at(ones, 1) - cd(1, 0)), 0.0, 1e-15);
}

TEST(ComplexArray, RotateRefusesEmptyAndUnequalArrays) {
    ManagedComplexArray empty(0), three(3, 1.0, 1.0), two(2, 0.0, 1.0);
    testing::internal::CaptureStdout();
    empty.rotate(three, true);
    three.rotate(two, true);
    empty.rotate(static_cast<const double*>(nullptr), false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ComplexArray::rotate can't operate on empty array\n"
              "ComplexArray::rotate unequal array lengths\n"
              "ComplexArray::rotate can't operate on empty array\n");
    EXPECT_EQ(at(three, 2), cd(1, 1));
}
