// 3 x 3 matrices for tests: plain loops of their own, nothing shared with the library.
#pragma once

#include "support/Float.h"

#include <array>
#include <cmath>
#include <cstddef>

namespace kor_test {

using Vector = std::array<double, 3>;
using Matrix = std::array<double, 9>;

inline constexpr Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

inline Matrix multiply(const Matrix& a, const Matrix& b)
{
    Matrix out{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            double sum = a[3 * row] * b[column];
            sum = sum + a[3 * row + 1] * b[3 + column];
            sum = sum + a[3 * row + 2] * b[6 + column];
            out[3 * row + column] = sum;
        }
    }
    return out;
}

inline Vector multiply(const Matrix& a, const Vector& v)
{
    return {a[0] * v[0] + a[1] * v[1] + a[2] * v[2], a[3] * v[0] + a[4] * v[1] + a[5] * v[2],
            a[6] * v[0] + a[7] * v[1] + a[8] * v[2]};
}

inline Matrix transposed(const Matrix& a)
{
    return {a[0], a[3], a[6], a[1], a[4], a[7], a[2], a[5], a[8]};
}

inline Matrix rotationX(double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {1, 0, 0, 0, c, -s, 0, s, c};
}

inline Matrix rotationY(double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {c, 0, s, 0, 1, 0, -s, 0, c};
}

inline Matrix rotationZ(double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {c, -s, 0, s, c, 0, 0, 0, 1};
}

inline double determinant(const Matrix& a)
{
    return a[0] * (a[4] * a[8] - a[5] * a[7]) - a[1] * (a[3] * a[8] - a[5] * a[6]) + a[2] * (a[3] * a[7] - a[4] * a[6]);
}

// Angle of the rotation that separates two rotation matrices, degrees; keeps its digits down to 1e-14.
inline double angleBetween(const Matrix& a, const Matrix& b)
{
    const Matrix d = multiply(a, transposed(b));
    const double x = d[7] - d[5];
    const double y = d[2] - d[6];
    const double z = d[3] - d[1];
    return std::atan2(std::sqrt(x * x + y * y + z * z), d[0] + d[4] + d[8] - 1.0) * (180.0 / std::acos(-1.0));
}

template <typename Array>
::testing::AssertionResult sameBitsThroughout(const Array& got, const Array& wanted)
{
    for (std::size_t i = 0; i < got.size(); ++i) {
        const ::testing::AssertionResult same = sameBits(got[i], wanted[i]);
        if (!same) {
            return ::testing::AssertionFailure() << "element " << i << ": " << same.message();
        }
    }
    return ::testing::AssertionSuccess();
}

} // namespace kor_test
