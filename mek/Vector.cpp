#include "mek/Vector.h"

#include <algorithm>
#include <cmath>

#include "mek/Literals.h"
#include "mek/Values.h"

namespace mek {

void CrossMultiply(const double* a, const double* b, double* out) noexcept
{
    store(cross(loadVec3(a), loadVec3(b)), out);
}

void mlaRotateAroundAxis(const double* axis, double angle, const double* v, double* out) noexcept
{
    store(rotateAboutAxis(loadVec3(axis), angle, loadVec3(v)), out);
}

void ConvertCartesianToSphericalCoordinates(double* v) noexcept
{
    const Vec3 p = loadVec3(v);
    v[0] = std::atan2(-p.x, p.y) * kDegPerRad;
    v[1] = std::atan2(p.z, std::sqrt(p.x * p.x + p.y * p.y)) * kDegPerRad;
    v[2] = length(p);
}

int solveVectorsRelAng(const double* g, const double* v, const double* a, double angle1, double angle2,
                       double* out) noexcept
{
    constexpr double kParallel = 1e-12;    // 1 - cos^2 of the angle between v and a
    constexpr double kUnreachable = -1e-9; // square of the height over the plane of v and a

    const Vec3 vertical = loadVec3(g);
    const Vec3 sight = loadVec3(v);
    const Vec3 axis = loadVec3(a);

    const double p = std::cos(angle1 * kRadPerDeg);
    const double q = std::cos(angle2 * kRadPerDeg);
    const double c = dot(sight, axis);
    const double det = 1.0 - c * c;
    if (std::isnan(det) || det < kParallel) {
        store(Vec3{0.0, 0.0, 0.0}, out);
        return 2;
    }

    // Foot of the solutions in the plane of v and a: the point that has both scalar products.
    const double alpha = (p - c * q) / det;
    const double beta = (q - c * p) / det;
    const Vec3 foot = alpha * sight + beta * axis;

    // Squared height of the solutions over that plane.
    const double height2 = 1.0 - dot(foot, foot);
    if (height2 < kUnreachable) {
        store(normalised(foot), out);
        return 1;
    }

    // The order of max's arguments lets a NaN height through.
    const Vec3 rise = normalised(cross(sight, axis)) * std::sqrt(std::max(height2, 0.0));
    const Vec3 upper = foot + rise;
    const Vec3 lower = foot - rise;
    store(dot(vertical, lower) > dot(vertical, upper) ? lower : upper, out);
    return 0;
}

} // namespace mek
