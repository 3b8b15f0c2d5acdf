// 3 x 3 matrices for tests: plain loops, nothing shared with the library.
#pragma once

#include "literal/Values.h"
#include "support/Float.h"

#include <cmath>
#include <cstddef>

namespace kor_test {

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
