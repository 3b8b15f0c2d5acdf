// Small value types: fixed-size vectors and matrices that live on the stack.
//
// They are the first face of the three-dimensional arithmetic; the pointer routines of Matrix.h and Vector.h are
// the second. Both run the code below, so a formula gives the same bits whichever face it is written with. The
// order of every sum and product is as written here and is part of the contract.
#pragma once

#include <cmath>
#include <cstddef>
#include <utility>

#include "mek/Arithmetic.h"
#include "mek/Literals.h"

namespace mek {

struct Vec3 {
    double x;
    double y;
    double z;
};

/// 3 x 3, row-major: element (r, c) is m[3 r + c].
struct Mat3 {
    double m[9];
};

// Between values and the arrays of the pointer routines.

constexpr Vec3 loadVec3(const double* v) noexcept
{
    return {v[0], v[1], v[2]};
}

constexpr Mat3 loadMat3(const double* m) noexcept
{
    return {{m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]}};
}

constexpr void store(const Vec3& v, double* out) noexcept
{
    out[0] = v.x;
    out[1] = v.y;
    out[2] = v.z;
}

constexpr void store(const Mat3& a, double* out) noexcept
{
    for (std::size_t i = 0; i < 9; ++i) {
        out[i] = a.m[i];
    }
}

// Vectors.

constexpr Vec3 operator+(const Vec3& a, const Vec3& b) noexcept
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
constexpr Vec3 operator-(const Vec3& a, const Vec3& b) noexcept
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
constexpr Vec3 operator-(const Vec3& a) noexcept
{
    return {-a.x, -a.y, -a.z};
}
constexpr Vec3 operator*(const Vec3& a, double s) noexcept
{
    return {a.x * s, a.y * s, a.z * s};
}
constexpr Vec3 operator*(double s, const Vec3& a) noexcept
{
    return a * s;
}
constexpr Vec3 operator/(const Vec3& a, double s) noexcept
{
    return {a.x / s, a.y / s, a.z / s};
}

/// Scalar product a.x b.x + a.y b.y + a.z b.z, summed from the left.
constexpr double dot(const Vec3& a, const Vec3& b) noexcept
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// Vector product a x b, right-handed.
constexpr Vec3 cross(const Vec3& a, const Vec3& b) noexcept
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// Length sqrt(x x + y y + z z). Not rescaled: components beyond 1e154 overflow, below 1e-162 they vanish.
inline double length(const Vec3& v) noexcept
{
    return std::sqrt(dot(v, v));
}

/// v divided by its length, component by component. The zero vector gives NaN, which the models pass on.
inline Vec3 normalised(const Vec3& v) noexcept
{
    return v / length(v);
}

// Matrices.

/// Kernel of all matrix products: out (r x c) = a (r x n) b (n x c), row-major, out apart from a and b.
/// Each element is summed in index order from its first product, not from zero, so that signed zeros survive;
/// an empty sum (n < 1) is zero.
constexpr void multiplyInto(const double* a, const double* b, std::ptrdiff_t r, std::ptrdiff_t n, std::ptrdiff_t c,
                            double* out) noexcept
{
    for (std::ptrdiff_t i = 0; i < r; ++i) {
        for (std::ptrdiff_t j = 0; j < c; ++j) {
            double sum = n < 1 ? 0.0 : a[i * n] * b[j];
            for (std::ptrdiff_t t = 1; t < n; ++t) {
                sum += a[i * n + t] * b[t * c + j];
            }
            out[i * c + j] = sum;
        }
    }
}

constexpr Mat3 operator*(const Mat3& a, const Mat3& b) noexcept
{
    Mat3 out{};
    multiplyInto(a.m, b.m, 3, 3, 3, out.m);
    return out;
}

constexpr Vec3 operator*(const Mat3& a, const Vec3& v) noexcept
{
    const double column[3] = {v.x, v.y, v.z};
    double out[3] = {};
    multiplyInto(a.m, column, 3, 3, 1, out);
    return loadVec3(out);
}

constexpr Mat3 identity() noexcept
{
    return {{1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0}};
}

constexpr Mat3 transpose(const Mat3& a) noexcept
{
    return {{a.m[0], a.m[3], a.m[6], a.m[1], a.m[4], a.m[7], a.m[2], a.m[5], a.m[8]}};
}

/// The matrix whose columns are a, b and c.
constexpr Mat3 columns(const Vec3& a, const Vec3& b, const Vec3& c) noexcept
{
    return {{a.x, b.x, c.x, a.y, b.y, c.y, a.z, b.z, c.z}};
}

/// A row under elimination: its elements, and the row of the input that it was.
struct EliminationRow {
    Vec3 e;
    std::size_t place;
};

/// Exchanges `first` with the row below it that has the largest magnitude in a column.
/// Returned  ok  false: that magnitude is not above the threshold, or a magnitude is NaN
template <double Vec3::*Column>
inline bool bringPivot(double threshold, EliminationRow& first, EliminationRow& second, EliminationRow& third) noexcept
{
    const double magnitude1 = std::fabs(first.e.*Column);
    const double magnitude2 = std::fabs(second.e.*Column);
    const double magnitude3 = std::fabs(third.e.*Column);
    if (magnitude2 > magnitude1 || magnitude3 > magnitude1) {
        std::swap(first, magnitude3 > magnitude2 ? third : second);
    }
    return std::fabs(first.e.*Column) > threshold && !std::isnan(magnitude2) && !std::isnan(magnitude3);
}

/// Inverse in place: MatrixInverse of a 3 x 3 matrix.
/// Given     a   any matrix
/// Returned  a   the inverse; exactly as it was when the result is false
///           ok  false: singular, by the rule of MatrixInverse
/// Notes  1  The same elimination with the same pivots and the same bits (tests/mek/matrix_test.cpp). The columns of
/// the
///           identity are not carried along: one takes the place of each column that is done. Until then it holds
///           zeros, and below the diagonal 1; only the signs of the zeros above the diagonal have to be known, 0 over
///           the pivots.
inline bool invert(Mat3& a) noexcept
{
    double largest = 0.0;
    for (const double element : a.m) {
        const double magnitude = std::fabs(element);
        largest = magnitude > largest ? magnitude : largest; // NaNs do not count
    }
    const double threshold = 3.0 * 0x1p-52 * largest;

    EliminationRow r0 = {{a.m[0], a.m[1], a.m[2]}, 0};
    EliminationRow r1 = {{a.m[3], a.m[4], a.m[5]}, 1};
    EliminationRow r2 = {{a.m[6], a.m[7], a.m[8]}, 2};

    // First column.
    if (!bringPivot<&Vec3::x>(threshold, r0, r1, r2)) {
        return false;
    }
    const double pivot0 = r0.e.x;
    r0.e = Vec3{1.0, r0.e.y, r0.e.z} / pivot0;
    r1.e = Vec3{0.0, r1.e.y, r1.e.z} - r1.e.x * r0.e;
    r2.e = Vec3{0.0, r2.e.y, r2.e.z} - r2.e.x * r0.e;
    const double zero0 = std::copysign(0.0, pivot0);

    // Second column.
    if (!bringPivot<&Vec3::y>(threshold, r1, r2, r2)) {
        return false;
    }
    const double pivot1 = r1.e.y;
    r1.e = Vec3{r1.e.x, 1.0, r1.e.z} / pivot1;
    const double zero1 = std::copysign(0.0, pivot1);
    const double zero01 = zero0 - r0.e.y * zero1;
    r0.e = Vec3{r0.e.x, zero0, r0.e.z} - r0.e.y * r1.e;
    r2.e = Vec3{r2.e.x, 0.0, r2.e.z} - r2.e.y * r1.e;

    // Third column.
    if (!(std::fabs(r2.e.z) > threshold)) {
        return false;
    }
    r2.e = Vec3{r2.e.x, r2.e.y, 1.0} / r2.e.z;
    r0.e = Vec3{r0.e.x, r0.e.y, zero01} - r0.e.z * r2.e;
    r1.e = Vec3{r1.e.x, r1.e.y, zero1} - r1.e.z * r2.e;

    // The rows were exchanged; the columns of the inverse go back to where they belong.
    const Vec3 rows[3] = {r0.e, r1.e, r2.e};
    for (std::size_t i = 0; i < 3; ++i) {
        a.m[3 * i + r0.place] = rows[i].x;
        a.m[3 * i + r1.place] = rows[i].y;
        a.m[3 * i + r2.place] = rows[i].z;
    }
    return true;
}

// Turns, right-handed: a positive angle carries the next axis (x -> y -> z -> x) towards the one after it.

/// Elementary rotation about x by `angle` radians: ((1, 0, 0), (0, c, -s), (0, s, c)).
inline Mat3 rotationX(double angle) noexcept
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {{1.0, 0.0, 0.0, 0.0, c, -s, 0.0, s, c}};
}

/// Elementary rotation about y by `angle` radians: ((c, 0, s), (0, 1, 0), (-s, 0, c)).
inline Mat3 rotationY(double angle) noexcept
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {{c, 0.0, s, 0.0, 1.0, 0.0, -s, 0.0, c}};
}

/// Elementary rotation about z by `angle` radians: ((c, -s, 0), (s, c, 0), (0, 0, 1)).
inline Mat3 rotationZ(double angle) noexcept
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {{c, -s, 0.0, s, c, 0.0, 0.0, 0.0, 1.0}};
}

/// v turned about the unit vector `axis` by `angle` degrees, by Rodrigues' formula
/// v cos + (axis x v) sin + axis (axis . v) (1 - cos).
inline Vec3 rotateAboutAxis(const Vec3& axis, double angle, const Vec3& v) noexcept
{
    const double c = std::cos(angle * kRadPerDeg);
    const double s = std::sin(angle * kRadPerDeg);
    return v * c + cross(axis, v) * s + axis * dot(axis, v) * (1.0 - c);
}

} // namespace mek
