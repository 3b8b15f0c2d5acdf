// Vectors and rotations of the simulated sensor; portable to the last bit.
#pragma once

#include <array>
#include <cmath>

#include "simulation/PortableMath.h"

namespace kor::simulation {

using Vec3 = std::array<double, 3>;
using Mat3 = std::array<double, 9>; ///< row by row

constexpr Mat3 kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

inline double dot(const Vec3& a, const Vec3& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline Vec3 cross(const Vec3& a, const Vec3& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline double length(const Vec3& a)
{
    return std::sqrt(dot(a, a));
}

inline Vec3 scaled(const Vec3& a, double factor)
{
    return {a[0] * factor, a[1] * factor, a[2] * factor};
}

inline Vec3 unit(const Vec3& a)
{
    return scaled(a, 1.0 / length(a));
}

inline Mat3 transposed(const Mat3& m)
{
    return {m[0], m[3], m[6], m[1], m[4], m[7], m[2], m[5], m[8]};
}

inline Vec3 operator*(const Mat3& m, const Vec3& v)
{
    return {m[0] * v[0] + m[1] * v[1] + m[2] * v[2], m[3] * v[0] + m[4] * v[1] + m[5] * v[2],
            m[6] * v[0] + m[7] * v[1] + m[8] * v[2]};
}

inline Mat3 operator*(const Mat3& a, const Mat3& b)
{
    Mat3 product{};
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) {
            product[3 * r + c] = a[3 * r] * b[c] + a[3 * r + 1] * b[3 + c] + a[3 * r + 2] * b[6 + c];
        }
    }
    return product;
}

/// Right-handed turns about the axes, radians.
inline Mat3 turnX(double angle)
{
    const double c = portable::cosine(angle);
    const double s = portable::sine(angle);
    return {1, 0, 0, 0, c, -s, 0, s, c};
}

inline Mat3 turnY(double angle)
{
    const double c = portable::cosine(angle);
    const double s = portable::sine(angle);
    return {c, 0, s, 0, 1, 0, -s, 0, c};
}

inline Mat3 turnZ(double angle)
{
    const double c = portable::cosine(angle);
    const double s = portable::sine(angle);
    return {c, -s, 0, s, c, 0, 0, 0, 1};
}

/// Half a turn about x, without the rounding of a half turn's sine.
constexpr Mat3 kUpsideDown = {1, 0, 0, 0, -1, 0, 0, 0, -1};

/// Small turn, radians about the axes of the frame that both matrices lead to, which takes b to a. Exact to third
/// order; by differences, so that small turns keep their digits.
inline Vec3 turnBetween(const Mat3& a, const Mat3& b)
{
    Mat3 difference{};
    for (std::size_t i = 0; i < 9; ++i) {
        difference[i] = a[i] - b[i];
    }
    const Mat3 d = difference * transposed(b);
    return {0.5 * (d[7] - d[5]), 0.5 * (d[2] - d[6]), 0.5 * (d[3] - d[1])};
}

/// Degrees of the rotation that takes b to a; 180 if one holds a nan. From the sine and the cosine of the angle, both
/// by differences: it keeps its digits from the smallest angle to half a turn. What keeps a or b from being a rotation,
/// as rounding does, hardly counts: the sine is taken from the part of their difference that turns.
inline double angleBetween(const Mat3& a, const Mat3& b)
{
    double squares = 0.0;
    for (std::size_t i = 0; i < 9; ++i) {
        squares += (a[i] - b[i]) * (a[i] - b[i]);
    }
    const double angle = portable::arcTangent(length(turnBetween(a, b)), 1.0 - squares / 4.0) / portable::kDegree;
    return angle <= 180.0 ? angle : 180.0;
}

} // namespace kor::simulation
