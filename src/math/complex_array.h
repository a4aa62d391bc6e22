#pragma once
// Complex vectors stored as two parallel arrays of doubles (real and imaginary parts), the
// layout the unit's I/Q samples and the calibration terms arrive in.
#include <cstdint>

namespace Orvek {

// Non-owning view over caller storage. Arithmetic works on the common prefix of the two
// operands; nothing here allocates.
class ComplexArray {
public:
    ComplexArray() = default;
    ComplexArray(unsigned int length, double* real, double* imag);
    // A second view of the same storage.
    ComplexArray(const ComplexArray& other) = default;
    // Copies values, not pointers: min(length(), other.length()) elements of each part.
    ComplexArray& operator=(const ComplexArray& other);

    unsigned int length() const { return length_; }

    // Copy min(n, length()) values of each part (block copies).
    void fill(const double* real, const double* imag, unsigned int n);
    // Same result, element by element with real and imaginary interleaved.
    void fill2(const double* real, const double* imag, unsigned int n);
    // Converts min(n, length()) signed 32-bit samples.
    void fill(const int* real, const int* imag, unsigned int n);

    ComplexArray& operator+=(const ComplexArray& other);
    ComplexArray& operator-=(const ComplexArray& other);
    ComplexArray& operator*=(const ComplexArray& other);
    // Division by a zero element is not checked: it yields infinities or NaN.
    ComplexArray& operator/=(const ComplexArray& other);
    // Adds to / subtracts from the real parts only.
    ComplexArray& operator+=(double value);
    ComplexArray& operator-=(double value);
    // Scale both parts.
    ComplexArray& operator*=(double value);
    ComplexArray& operator/=(double value);

    // Multiplies element i by e^(j*theta), theta the phase of reference[i] (negated when
    // `inverse`): rotate(ref, true) removes the reference's phase. Magnitudes are unchanged.
    // An empty array or a reference of another length is refused with a line on stdout.
    void rotate(const ComplexArray& reference, bool inverse);
    // The same with theta = angles[i] in radians; `angles` holds at least length() values.
    void rotate(const double* angles, bool inverse);

    double* real = nullptr;
    double* imaginary = nullptr;

protected:
    uint32_t length_ = 0;
};

// Same interface, owning both buffers.
class ManagedComplexArray : public ComplexArray {
public:
    // Zero-filled.
    explicit ManagedComplexArray(unsigned int length);
    // Every element (real, imag).
    ManagedComplexArray(unsigned int length, double real, double imag);
    // Copies `length` values of each array.
    ManagedComplexArray(unsigned int length, const double* real, const double* imag);
    // Deep copies.
    ManagedComplexArray(const ComplexArray& other);
    ManagedComplexArray(const ManagedComplexArray& other);
    // Takes the buffers; `other` is left empty.
    ManagedComplexArray(ManagedComplexArray&& other) noexcept;
    ~ManagedComplexArray();

    // Copy min(lengths) values into the existing storage, without reallocating.
    ManagedComplexArray& operator=(const ComplexArray& other);
    ManagedComplexArray& operator=(const ManagedComplexArray& other);
};

// out[i] = numerator[i] / denominator[i] for i below the smallest of the three lengths.
ComplexArray& cDivide(ComplexArray& out, ComplexArray& numerator, ComplexArray& denominator);

} // namespace Orvek
