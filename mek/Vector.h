// Three-component vectors, directions and angles. Their faces as values are in Values.h.
#pragma once

#include "mek/Values.h"

namespace mek {

/// Vector product.
/// Given     a, b  vectors
/// Returned  out   a x b, right-handed; may be a or b, which are read before it is written
/// Notes  1  Same code as cross.
void CrossMultiply(const double* a, const double* b, double* out) noexcept;

/// A vector turned about an axis, right-handed.
/// Given     axis   unit vector
///           angle  degrees
///           v      vector
/// Returned  out    v cos + (axis x v) sin + axis (axis . v)(1 - cos); may be v
/// Accuracy  1.5e-12 of |v| up to 400 degrees, nearly all of it the shortened degree literal; 1e-15 of |v| with the
///           angle in radians taken as that literal gives it (tests/mek/geometry_test.cpp)
/// Notes  1  Rodrigues' formula (O. Rodrigues, J. Math. Pures Appl. 5, 1840). Same code as rotateAboutAxis.
void mlaRotateAroundAxis(const double* axis, double angle, const double* v, double* out) noexcept;

/// Horizontal angle, vertical angle and distance of a point, in place.
/// Given     v  x, y, z
/// Returned  v  h = atan2(-x, y), vert = atan2(z, sqrt(x^2 + y^2)), both degrees, and the distance: the point is the
///              distance times (-cos vert sin h, cos h cos vert, sin vert)
/// Accuracy  that direction comes back to 1e-12, nearly all of it the shortened literals
///           (tests/mek/geometry_test.cpp)
/// Notes  1  The horizontal angle runs from +y towards -x. The zero vector gives zeros, up to the sign of zero.
void ConvertCartesianToSphericalCoordinates(double* v) noexcept;

/// Direction of gravity in the sensor frame from two included angles.
/// Given     g               signed vertical, sensor frame: picks one of the two mirror solutions
///           v, a            line of sight and level axis, sensor frame, unit vectors
///           angle1, angle2  degrees: out to v, out to a
/// Returned  out             unit vector, sensor frame; (0, 0, 0) with code 2
///           code            0 exact, 1 nearest direction (no unit vector makes both angles), 2 v parallel to a
/// Accuracy  the cosines of the two angles and the length of out are met to 1e-14 while |v . a| < 0.9
///           (tests/mek/geometry_test.cpp)
/// Notes  1  The solutions lie where the two cones about v and a meet the unit sphere: a foot in the plane of v and a,
///           and a rise or a fall along its normal. The one with the larger scalar product with g is taken, the one
///           along +(v x a) when they are equal.
///        2  Both angles are measured at v and a. Measured at g and v instead, the level would drop out of the
///           rotation at zero elevation, and roll could not be observed.
///        3  Code 2: 1 - (v . a)^2 below 1e-12 or NaN. A NaN angle with sound v and a gives a NaN out and code 0.
int solveVectorsRelAng(const double* g, const double* v, const double* a, double angle1, double angle2,
                       double* out) noexcept;

/// The same as values, from the cosines of the two angles.
struct RelAngSolution {
    Vec3 out;
    int code;
};

RelAngSolution solveVectorsRelCos(const Vec3& g, const Vec3& v, const Vec3& a, double cosine1, double cosine2) noexcept;

} // namespace mek
