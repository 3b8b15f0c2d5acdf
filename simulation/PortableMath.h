// Elementary functions that give the same bits on every platform.
//
// The functions of the C library differ in their last bits from one library to the next, and so do all results that
// are computed with them. These use additions, subtractions, multiplications, divisions and square roots only, which
// IEEE arithmetic rounds in one way. That holds with a compiler that neither contracts a product and a sum into one
// rounding nor computes in a longer format, which the build makes sure of.
#pragma once

namespace kor::simulation::portable {

constexpr double kPi = 0x1.921fb54442d18p+1;
constexpr double kDegree = kPi / 180.0;

/// Sine and cosine of an angle in radians.
/// Accuracy  within 1 ulp of the exact value for |x| up to 1000, 2 ulp to 1e5 away from the zeros of the function
///           (tests/simulation/portable_math_test.cpp)
/// Notes  1  Beyond 2^20 quarter turns, for infinities and for NaN the result is NaN.
double sine(double x);
double cosine(double x);

/// Tangent, as the quotient of sine and cosine: within 3 ulp.
double tangent(double x);

/// Angle of the direction (x, y) in [-pi, pi], with the signs of zero and the special cases of the C library's atan2
/// but for infinities, which give NaN where both are infinite. Within 2 ulp; 3 for quotients out of a double's range.
double arcTangent(double y, double x);

/// Angle in [-pi/2, pi/2]; NaN outside [-1, 1]. Within 3 ulp.
double arcSine(double x);

/// Natural logarithm of a positive, normal number; NaN for all others. Within 2 ulp.
double logarithm(double x);

} // namespace kor::simulation::portable
