// The support arithmetic written out flat for the literal models: nothing shared with the library.
#pragma once

#include "support/Matrices.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace kor_test {

inline Vector literalCross(const Vector& a, const Vector& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline double literalDot(const Vector& a, const Vector& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline Vector literalDivided(const Vector& v, double divisor)
{
    return {v[0] / divisor, v[1] / divisor, v[2] / divisor};
}

inline Vector literalNormalised(const Vector& v)
{
    return literalDivided(v, std::sqrt(literalDot(v, v)));
}

inline Matrix literalColumns(const Vector& a, const Vector& b, const Vector& c)
{
    return {a[0], b[0], c[0], a[1], b[1], c[1], a[2], b[2], c[2]};
}

// Gauss-Jordan elimination with partial pivoting; a singular matrix, or a NaN among the candidates of a pivot,
// leaves m as it was.
inline bool literalInverse(Matrix& m)
{
    double largest = 0.0;
    for (const double element : m) {
        if (std::abs(element) > largest)
            largest = std::abs(element);
    }
    const double limit = 3.0 * std::ldexp(1.0, -52) * largest;
    double work[3][6];
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            work[row][column] = m[3 * row + column];
            work[row][3 + column] = row == column ? 1.0 : 0.0;
        }
    }
    for (std::size_t pivot = 0; pivot < 3; ++pivot) {
        std::size_t best = pivot;
        for (std::size_t row = pivot; row < 3; ++row) {
            if (std::isnan(work[row][pivot]))
                return false;
            if (std::abs(work[row][pivot]) > std::abs(work[best][pivot]))
                best = row;
        }
        if (!(std::abs(work[best][pivot]) > limit))
            return false;
        for (std::size_t column = 0; column < 6; ++column)
            std::swap(work[best][column], work[pivot][column]);
        const double divisor = work[pivot][pivot];
        for (std::size_t column = 0; column < 6; ++column)
            work[pivot][column] = work[pivot][column] / divisor;
        for (std::size_t row = 0; row < 3; ++row) {
            if (row == pivot)
                continue;
            const double factor = work[row][pivot];
            for (std::size_t column = 0; column < 6; ++column)
                work[row][column] = work[row][column] - factor * work[pivot][column];
        }
    }
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column)
            m[3 * row + column] = work[row][3 + column];
    }
    return true;
}

// Horizontal angle of (x, y), quadrant by quadrant, with the azimuth dead-band on each component.
inline double literalHorizontalAngle(double x, double y)
{
    const double t = 1.7444444444444444e-5;
    if (std::abs(x) <= t) {
        if (std::abs(y) <= t)
            return 0.0;
        return y > 0 ? 1.570796326795 : 4.7123889803850005;
    }
    if (std::abs(y) <= t)
        return x > 0 ? 0.0 : 3.14159265359;
    const double q = std::atan(y / x);
    if (y > 0 && x > 0)
        return q;
    if (x < 0)
        return q + 3.14159265359;
    return q + 6.28318530718;
}

inline Matrix literalAxisMatrix1(double e1)
{
    return {std::cos(e1), -std::sin(e1), 0, std::sin(e1), std::cos(e1), 0, 0, 0, 1};
}

inline Matrix literalAxisMatrix2(double e2)
{
    return {std::cos(e2), 0, std::sin(e2), 0, 1, 0, -std::sin(e2), 0, std::cos(e2)};
}

// frame times the inverse of both axis rotations.
inline bool literalTakeOutAxes(const Matrix& frame, double e1, double e2, Matrix& out)
{
    Matrix axes = multiply(literalAxisMatrix1(e1), literalAxisMatrix2(e2));
    const bool ok = literalInverse(axes);
    out = multiply(frame, axes);
    return ok;
}

} // namespace kor_test
