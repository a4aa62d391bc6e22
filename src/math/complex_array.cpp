#include "math/complex_array.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

namespace Orvek {

namespace {

unsigned int common(unsigned int a, unsigned int b) {
    return a < b ? a : b;
}

void divideInto(double a, double b, double c, double d, double& re, double& im) {
    const double denominator = c * c + d * d;
    re = (a * c + b * d) / denominator;
    im = (b * c - a * d) / denominator;
}

} // namespace

ComplexArray::ComplexArray(unsigned int length, double* real, double* imag)
    : real(real), imaginary(imag), length_(length) {}

ComplexArray& ComplexArray::operator=(const ComplexArray& other) {
    if (this != &other) {
        fill(other.real, other.imaginary, other.length_);
    }
    return *this;
}

void ComplexArray::fill(const double* re, const double* im, unsigned int n) {
    const unsigned int count = common(n, length_);
    if (count == 0) {
        return;
    }
    std::memmove(real, re, count * sizeof(double));
    std::memmove(imaginary, im, count * sizeof(double));
}

void ComplexArray::fill2(const double* re, const double* im, unsigned int n) {
    const unsigned int count = common(n, length_);
    for (unsigned int i = 0; i < count; ++i) {
        real[i] = re[i];
        imaginary[i] = im[i];
    }
}

void ComplexArray::fill(const int* re, const int* im, unsigned int n) {
    const unsigned int count = common(n, length_);
    for (unsigned int i = 0; i < count; ++i) {
        real[i] = re[i];
        imaginary[i] = im[i];
    }
}

ComplexArray& ComplexArray::operator+=(const ComplexArray& other) {
    const unsigned int count = common(length_, other.length_);
    for (unsigned int i = 0; i < count; ++i) {
        real[i] += other.real[i];
        imaginary[i] += other.imaginary[i];
    }
    return *this;
}

ComplexArray& ComplexArray::operator-=(const ComplexArray& other) {
    const unsigned int count = common(length_, other.length_);
    for (unsigned int i = 0; i < count; ++i) {
        real[i] -= other.real[i];
        imaginary[i] -= other.imaginary[i];
    }
    return *this;
}

ComplexArray& ComplexArray::operator*=(const ComplexArray& other) {
    const unsigned int count = common(length_, other.length_);
    for (unsigned int i = 0; i < count; ++i) {
        const double a = real[i], b = imaginary[i];
        const double c = other.real[i], d = other.imaginary[i];
        real[i] = a * c - b * d;
        imaginary[i] = a * d + b * c;
    }
    return *this;
}

ComplexArray& ComplexArray::operator/=(const ComplexArray& other) {
    const unsigned int count = common(length_, other.length_);
    for (unsigned int i = 0; i < count; ++i) {
        divideInto(real[i], imaginary[i], other.real[i], other.imaginary[i], real[i], imaginary[i]);
    }
    return *this;
}

ComplexArray& ComplexArray::operator+=(double value) {
    for (unsigned int i = 0; i < length_; ++i) {
        real[i] += value;
    }
    return *this;
}

ComplexArray& ComplexArray::operator-=(double value) {
    for (unsigned int i = 0; i < length_; ++i) {
        real[i] -= value;
    }
    return *this;
}

ComplexArray& ComplexArray::operator*=(double value) {
    for (unsigned int i = 0; i < length_; ++i) {
        real[i] *= value;
        imaginary[i] *= value;
    }
    return *this;
}

ComplexArray& ComplexArray::operator/=(double value) {
    for (unsigned int i = 0; i < length_; ++i) {
        real[i] /= value;
        imaginary[i] /= value;
    }
    return *this;
}

static void rotateElement(double& re, double& im, double theta) {
    const double s = std::sin(theta);
    const double c = std::cos(theta);
    const double a = re, b = im;
    re = a * c - b * s;
    im = a * s + b * c;
}

void ComplexArray::rotate(const ComplexArray& reference, bool inverse) {
    if (length_ == 0) {
        std::printf("ComplexArray::rotate can't operate on empty array\n");
        return;
    }
    if (reference.length_ != length_) {
        std::printf("ComplexArray::rotate unequal array lengths\n");
        return;
    }
    for (unsigned int i = 0; i < length_; ++i) {
        const double theta = std::atan2(reference.imaginary[i], reference.real[i]);
        rotateElement(real[i], imaginary[i], inverse ? -theta : theta);
    }
}

void ComplexArray::rotate(const double* angles, bool inverse) {
    if (length_ == 0) {
        std::printf("ComplexArray::rotate can't operate on empty array\n");
        return;
    }
    for (unsigned int i = 0; i < length_; ++i) {
        rotateElement(real[i], imaginary[i], inverse ? -angles[i] : angles[i]);
    }
}

ManagedComplexArray::ManagedComplexArray(unsigned int length) {
    // Both buffers are allocated before either is owned, so a failed second allocation does
    // not leak the first.
    std::unique_ptr<double[]> re(new double[length]());
    std::unique_ptr<double[]> im(new double[length]());
    real = re.release();
    imaginary = im.release();
    length_ = length;
}

ManagedComplexArray::ManagedComplexArray(unsigned int length, double re, double im)
    : ManagedComplexArray(length) {
    std::fill(real, real + length, re);
    std::fill(imaginary, imaginary + length, im);
}

ManagedComplexArray::ManagedComplexArray(unsigned int length, const double* re, const double* im)
    : ManagedComplexArray(length) {
    ComplexArray::fill(re, im, length);
}

ManagedComplexArray::ManagedComplexArray(const ComplexArray& other)
    : ManagedComplexArray(other.length(), other.real, other.imaginary) {}

ManagedComplexArray::ManagedComplexArray(const ManagedComplexArray& other)
    : ManagedComplexArray(other.length(), other.real, other.imaginary) {}

ManagedComplexArray::ManagedComplexArray(ManagedComplexArray&& other) noexcept
    : ComplexArray(other.length_, other.real, other.imaginary) {
    other.real = nullptr;
    other.imaginary = nullptr;
    other.length_ = 0;
}

ManagedComplexArray::~ManagedComplexArray() {
    delete[] real;
    delete[] imaginary;
}

ManagedComplexArray& ManagedComplexArray::operator=(const ComplexArray& other) {
    ComplexArray::operator=(other);
    return *this;
}

ManagedComplexArray& ManagedComplexArray::operator=(const ManagedComplexArray& other) {
    ComplexArray::operator=(other);
    return *this;
}

ComplexArray& cDivide(ComplexArray& out, ComplexArray& numerator, ComplexArray& denominator) {
    const unsigned int count =
        common(out.length(), common(numerator.length(), denominator.length()));
    for (unsigned int i = 0; i < count; ++i) {
        divideInto(numerator.real[i], numerator.imaginary[i], denominator.real[i],
                   denominator.imaginary[i], out.real[i], out.imaginary[i]);
    }
    return out;
}

} // namespace Orvek
