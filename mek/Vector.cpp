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
    const Spherical point = sphericalOf(loadVec3(v));
    store(Vec3{point.horizontal, point.vertical, point.distance}, v);
}

int solveVectorsRelAng(const double* g, const double* v, const double* a, double angle1, double angle2,
                       double* out) noexcept
{
    const RelAngSolution solution = solveVectorsRelCos(loadVec3(g), loadVec3(v), loadVec3(a),
                                                       std::cos(angle1 * kRadPerDeg), std::cos(angle2 * kRadPerDeg));
    store(solution.out, out);
    return solution.code;
}

RelAngSolution solveVectorsRelCos(const Vec3& g, const Vec3& v, const Vec3& a, double cosine1, double cosine2) noexcept
{
    constexpr double kParallel = 1e-12;    // 1 - cos^2 of the angle between v and a
    constexpr double kUnreachable = -1e-9; // square of the height over the plane of v and a

    const double c = dot(v, a);
    const double det = 1.0 - c * c;
    if (std::isnan(det) || det < kParallel) {
        return {{0.0, 0.0, 0.0}, 2};
    }

    // Foot of the solutions in the plane of v and a: the point that has both scalar products.
    const double alpha = (cosine1 - c * cosine2) / det;
    const double beta = (cosine2 - c * cosine1) / det;
    const Vec3 foot = alpha * v + beta * a;

    // Squared height of the solutions over that plane.
    const double height2 = 1.0 - dot(foot, foot);
    if (height2 < kUnreachable) {
        return {normalised(foot), 1};
    }

    // The order of max's arguments lets a NaN height through.
    const Vec3 rise = normalised(cross(v, a)) * std::sqrt(std::max(height2, 0.0));
    const Vec3 upper = foot + rise;
    const Vec3 lower = foot - rise;
    return {dot(g, lower) > dot(g, upper) ? lower : upper, 0};
}

} // namespace mek
