// Small value types: fixed-size vectors and matrices that live on the stack.
//
// They are the first face of the three-dimensional arithmetic; the pointer routines of Matrix.h and Vector.h are
// the second. Both run the code below, so a formula gives the same bits whichever face it is written with. The
// order of every sum and product is as written here and is part of the contract.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <initializer_list>
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
    out[0] = a.m[0];
    out[1] = a.m[1];
    out[2] = a.m[2];
    out[3] = a.m[3];
    out[4] = a.m[4];
    out[5] = a.m[5];
    out[6] = a.m[6];
    out[7] = a.m[7];
    out[8] = a.m[8];
}

constexpr void storeIdentity(double* out) noexcept
{
    for (std::size_t i = 0; i < 9; ++i) {
        out[i] = i % 4 == 0 ? 1.0 : 0.0;
    }
}

/// In single precision.
constexpr void storeNarrowed(const Vec3& v, float* out) noexcept
{
    out[0] = static_cast<float>(v.x);
    out[1] = static_cast<float>(v.y);
    out[2] = static_cast<float>(v.z);
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

/// Kernel of the matrix products of any size: out (r x c) = a (r x n) b (n x c), row-major, out apart from a and b.
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

// Written out: a compiler that is shown loops of three shuffles the elements between its registers.

constexpr Mat3 operator*(const Mat3& a, const Mat3& b) noexcept
{
    const double* const l = a.m;
    const double* const r = b.m;
    return {{l[0] * r[0] + l[1] * r[3] + l[2] * r[6], l[0] * r[1] + l[1] * r[4] + l[2] * r[7],
             l[0] * r[2] + l[1] * r[5] + l[2] * r[8], //
             l[3] * r[0] + l[4] * r[3] + l[5] * r[6], l[3] * r[1] + l[4] * r[4] + l[5] * r[7],
             l[3] * r[2] + l[4] * r[5] + l[5] * r[8], //
             l[6] * r[0] + l[7] * r[3] + l[8] * r[6], l[6] * r[1] + l[7] * r[4] + l[8] * r[7],
             l[6] * r[2] + l[7] * r[5] + l[8] * r[8]}};
}

constexpr Vec3 operator*(const Mat3& a, const Vec3& v) noexcept
{
    const double* const m = a.m;
    return {m[0] * v.x + m[1] * v.y + m[2] * v.z, m[3] * v.x + m[4] * v.y + m[5] * v.z,
            m[6] * v.x + m[7] * v.y + m[8] * v.z};
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
///           the identity are not carried along: one takes the place of each column that is done. Until then it holds
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

/// Elementary rotation about x: ((1, 0, 0), (0, c, -s), (0, s, c)).
struct AboutX {
    double c;
    double s;
};

/// Elementary rotation about y: ((c, 0, s), (0, 1, 0), (-s, 0, c)).
struct AboutY {
    double c;
    double s;
};

/// Elementary rotation about z: ((c, -s, 0), (s, c, 0), (0, 0, 1)).
struct AboutZ {
    double c;
    double s;
};

/// The rotation by `angle` radians.
template <class Rotation>
inline Rotation by(double angle) noexcept
{
    return {std::cos(angle), std::sin(angle)};
}

/// The rotation by the opposite angle.
/// Notes  1  Its sine is the negative one to the bit, and its cosine the same: every mathematical library keeps that
///           symmetry (tests/mek/matrix_test.cpp). A compiler that is shown the opposite angle applies half of it and
///           then works out sine and cosine one by one.
template <class Rotation>
constexpr Rotation reversed(const Rotation& r) noexcept
{
    return {r.c, -r.s};
}

constexpr Mat3 matrixOf(const AboutX& r) noexcept
{
    return {{1.0, 0.0, 0.0, 0.0, r.c, -r.s, 0.0, r.s, r.c}};
}
constexpr Mat3 matrixOf(const AboutY& r) noexcept
{
    return {{r.c, 0.0, r.s, 0.0, 1.0, 0.0, -r.s, 0.0, r.c}};
}
constexpr Mat3 matrixOf(const AboutZ& r) noexcept
{
    return {{r.c, -r.s, 0.0, r.s, r.c, 0.0, 0.0, 0.0, 1.0}};
}
constexpr Mat3 matrixOf(const Mat3& a) noexcept
{
    return a;
}

inline Mat3 rotationX(double angle) noexcept
{
    return matrixOf(by<AboutX>(angle));
}
inline Mat3 rotationY(double angle) noexcept
{
    return matrixOf(by<AboutY>(angle));
}
inline Mat3 rotationZ(double angle) noexcept
{
    return matrixOf(by<AboutZ>(angle));
}

/// Product of rotations without the terms that are zero by their form. It has the bits of the matrix product, but for
/// the signs of zeros and where a term left out is not zero: 0 times an infinity or a NaN.
constexpr Mat3 sparseProduct(const Mat3& a, const AboutX& r) noexcept
{
    const double* const m = a.m;
    return {{m[0], m[1] * r.c + m[2] * r.s, m[2] * r.c - m[1] * r.s, //
             m[3], m[4] * r.c + m[5] * r.s, m[5] * r.c - m[4] * r.s, //
             m[6], m[7] * r.c + m[8] * r.s, m[8] * r.c - m[7] * r.s}};
}
constexpr Mat3 sparseProduct(const Mat3& a, const AboutY& r) noexcept
{
    const double* const m = a.m;
    return {{m[0] * r.c - m[2] * r.s, m[1], m[0] * r.s + m[2] * r.c, //
             m[3] * r.c - m[5] * r.s, m[4], m[3] * r.s + m[5] * r.c, //
             m[6] * r.c - m[8] * r.s, m[7], m[6] * r.s + m[8] * r.c}};
}
constexpr Mat3 sparseProduct(const Mat3& a, const AboutZ& r) noexcept
{
    const double* const m = a.m;
    return {{m[0] * r.c + m[1] * r.s, m[1] * r.c - m[0] * r.s, m[2], //
             m[3] * r.c + m[4] * r.s, m[4] * r.c - m[3] * r.s, m[5], //
             m[6] * r.c + m[7] * r.s, m[7] * r.c - m[6] * r.s, m[8]}};
}
constexpr Mat3 sparseProduct(const AboutX& a, const AboutY& b) noexcept
{
    return {{b.c, 0.0, b.s, a.s * b.s, a.c, -(a.s * b.c), -(a.c * b.s), a.s, a.c * b.c}};
}
constexpr Mat3 sparseProduct(const AboutZ& a, const AboutX& b) noexcept
{
    return {{a.c, -(a.s * b.c), a.s * b.s, a.s, a.c * b.c, -(a.c * b.s), 0.0, b.s, b.c}};
}
constexpr Mat3 sparseProduct(const AboutZ& a, const AboutY& b) noexcept
{
    return {{a.c * b.c, -a.s, a.c * b.s, a.s * b.c, a.c, a.s * b.s, -b.s, 0.0, b.c}};
}
template <class First, class Second, class... Rest>
constexpr Mat3 sparseProduct(const First& first, const Second& second, const Rest&... rest) noexcept
{
    return sparseProduct(sparseProduct(first, second), rest...);
}

/// Whether all of the values are finite and none is zero; it may say no where their product over- or underflows.
template <class... Double>
inline bool allCount(Double... values) noexcept
{
    const double size = std::fabs((values * ...));
    return size > 0.0 && size <= DBL_MAX;
}

/// An elementary rotation about any of the axes.
struct Turn {
    explicit Turn(const AboutX& r) noexcept : axis('x'), c(r.c), s(r.s) {}
    explicit Turn(const AboutY& r) noexcept : axis('y'), c(r.c), s(r.s) {}
    explicit Turn(const AboutZ& r) noexcept : axis('z'), c(r.c), s(r.s) {}

    char axis;
    double c;
    double s;
};

/// Product of the matrices from the left. Apart from the rest: it is seldom needed.
Mat3 denseProduct(const Mat3& first, std::initializer_list<Turn> turns) noexcept;

/// Product of a matrix or an elementary rotation with elementary rotations, in that order.
/// Accuracy  the very bits of the product of their matrices from the left (tests/mek/matrix_test.cpp)
/// Notes  1  Terms that are zero by their form are left out. Where that could tell, in a result that is zero or not
///           finite, the matrices are multiplied.
template <class First, class... Rotations>
inline Mat3 product(const First& first, const Rotations&... rotations) noexcept
{
    const Mat3 turned = sparseProduct(first, rotations...);
    const double* const m = turned.m;
    if (allCount(m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8])) {
        return turned;
    }
    return denseProduct(matrixOf(first), {Turn(rotations)...});
}

/// The same for the two axes of a sensor: element (2, 1) is zero for all of these, and a zero of positive sign.
inline Mat3 product(const AboutZ& a, const AboutY& b) noexcept
{
    const Mat3 turned = sparseProduct(a, b);
    const double* const m = turned.m;
    return allCount(m[0], m[2], m[3], m[5]) ? turned : denseProduct(matrixOf(a), {Turn(b)});
}

/// Horizontal and vertical angle (degrees) and distance of a point: ConvertCartesianToSphericalCoordinates.
struct Spherical {
    double horizontal;
    double vertical;
    double distance;
};

inline Spherical sphericalOf(const Vec3& p) noexcept
{
    return {std::atan2(-p.x, p.y) * kDegPerRad, std::atan2(p.z, std::sqrt(p.x * p.x + p.y * p.y)) * kDegPerRad,
            length(p)};
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
