// Orientation angles from a composed orientation matrix.
#pragma once

namespace kor {

/// Angles of one orientation, radians, in single precision.
/// Kept [order-of-angles]: about x, z and y in this order.
struct OrientationAngles {
    float first;
    float second;
    float third;
};

/// Arctangent over the full circle with dead zones of 1e-12 about both axes, narrowed to float.
/// Given     y, x    any numbers; a NaN outside the dead zones gives NaN
/// Returned  result  radians in [-pi, pi]; 0 at the origin
/// Notes  1  The quarter and half turns are the shortened literals.
///        2  Within the dead zone of y the result is 0 for a negative x too: an exact half turn reads 0.
float safeAtan2(double y, double x);

/// As safeAtan2, without the dead zone about the x axis: y = 0 with a negative x gives 0.
float safeAtan2AnyY(double y, double x);

/// Angles of a three-vector orientation M = Rx(first) Ry(third) Rz(second), first forced into [-pi/2, pi/2].
void threeVectorAngles(const double* m, OrientationAngles& angles);

/// Angles of a matrix in machine coordinates, M = Rx(first) Ry(third) Rz(second).
void machineAngles(const double* m, OrientationAngles& angles);

/// Angles of a matrix in local coordinates, M = Rz(second) Ry(third) Rx(first).
void localAngles(const double* m, OrientationAngles& angles);

} // namespace kor
