// The polarizer's chain of five rotations written out flat, on the tests' own matrices.
#pragma once

#include "support/Matrices.h"

#include <array>
#include <cmath>

namespace kor_test {

inline Matrix literalPolarizer(const std::array<float, 8>& factors, const std::array<double, 9>& m, double angle1,
                               double angle2)
{
    const double k = 0.01745329251994;
    const double x = m[0];
    const double y = m[1];
    const double z = m[2];
    const double ry = (static_cast<double>(factors[1]) + m[4]) * k * static_cast<double>(factors[6]);
    const double rz0 = static_cast<double>(factors[0]) * k;
    const double rx = (angle2 - m[6] * k) * static_cast<double>(factors[5]);
    const double rz1 = (angle1 - m[5] * k) * static_cast<double>(factors[4]);
    const double r = std::sqrt(y * y + x * x + z * z);
    Matrix product = multiply(rotationZ(-std::atan2(x, y)), rotationX(std::asin(z / r)));
    product = multiply(product, rotationY(ry));
    product = multiply(product, rotationZ(rz0));
    product = multiply(product, rotationX(rx));
    return multiply(product, rotationZ(rz1));
}

} // namespace kor_test
