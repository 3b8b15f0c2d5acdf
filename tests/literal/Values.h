// Three-component vectors and 3 x 3 matrices as values, on the plain loops of Support.h; nothing shared with the
// library.
#pragma once

#include "literal/Support.h"

#include <array>
#include <cmath>

namespace kor_test {

using Vector = std::array<double, 3>;
using Matrix = std::array<double, 9>;

inline constexpr Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

inline Matrix multiply(const Matrix& a, const Matrix& b)
{
    Matrix out;
    literal::MatrixMultiply(a.data(), b.data(), 3, 3, 3, out.data());
    return out;
}

inline Vector multiply(const Matrix& a, const Vector& v)
{
    Vector out;
    literal::MatrixMultiply(a.data(), v.data(), 3, 3, 1, out.data());
    return out;
}

inline Matrix transposed(const Matrix& a)
{
    Matrix out = a;
    literal::MatrixTransform(out.data());
    return out;
}

inline Matrix rotationX(double angle)
{
    Matrix out;
    literal::rotation_x(out.data(), angle);
    return out;
}

inline Matrix rotationY(double angle)
{
    Matrix out;
    literal::rotation_y(out.data(), angle);
    return out;
}

inline Matrix rotationZ(double angle)
{
    Matrix out;
    literal::rotation_z(out.data(), angle);
    return out;
}

inline Vector literalCross(const Vector& a, const Vector& b)
{
    Vector out;
    literal::CrossMultiply(a.data(), b.data(), out.data());
    return out;
}

inline double literalDot(const Vector& a, const Vector& b)
{
    return literal::dotProduct(a.data(), b.data());
}

inline Vector literalNormalised(Vector v)
{
    literal::normalise(v.data());
    return v;
}

inline Matrix literalColumns(const Vector& a, const Vector& b, const Vector& c)
{
    return {a[0], b[0], c[0], a[1], b[1], c[1], a[2], b[2], c[2]};
}

inline bool literalInverse(Matrix& m)
{
    return literal::MatrixInverse(m.data(), 3);
}

// Horizontal angle of (x, y), quadrant by quadrant, with the azimuth dead-band on each component.
inline double literalHorizontalAngle(double x, double y)
{
    const double t = 1.7444444444444444e-5;
    if (std::fabs(x) <= t) {
        if (std::fabs(y) <= t) {
            return 0.0;
        }
        return y > 0 ? literal::kHalfPi : literal::kThreeHalvesPi;
    }
    if (std::fabs(y) <= t) {
        return x > 0 ? 0.0 : literal::kPi;
    }
    const double q = std::atan(y / x);
    if (y > 0 && x > 0) {
        return q;
    }
    if (x < 0) {
        return q + literal::kPi;
    }
    return q + literal::kTwoPi;
}

} // namespace kor_test
