#include "models/Geometry.h"

#include <cmath>

#include "mek/Literals.h"
#include "mek/Vector.h"

namespace kor {

namespace {

// Kept: this dead zone and that of the dual-level model's levels differ on purpose.
constexpr double kAxisDeadZone = 1.7444444444444444e-5;
constexpr double kStandardGravity = 9800.0; // mm/s^2

} // namespace

double horizontalAngle(double x, double y)
{
    if (std::fabs(x) <= kAxisDeadZone) {
        if (std::fabs(y) <= kAxisDeadZone) {
            return 0.0;
        }
        return y > 0.0 ? mek::kHalfPi : mek::kThreeHalvesPi;
    }
    if (std::fabs(y) <= kAxisDeadZone) {
        return x > 0.0 ? 0.0 : mek::kPi;
    }
    const double q = std::atan(y / x);
    if (x < 0.0) {
        return q + mek::kPi;
    }
    return y < 0.0 ? q + mek::kTwoPi : q;
}

mek::Vec3 levelAxis(double t1, double t2)
{
    const double a = std::tan(t1 * mek::kRadPerDeg);
    const double b = std::tan(t2 * mek::kRadPerDeg);
    const double n = std::sqrt(a * a + 1.0 + b * b);
    return {1.0 / n, a / n, b / n};
}

mek::Vec3 sightAtZeroElevation(double t1, double t2)
{
    const double a = std::tan(t1 * mek::kRadPerDeg);
    const double b = std::tan(t2 * mek::kRadPerDeg);
    const double n = std::sqrt(a * a + 1.0 + b * b);
    return {a / n, 1.0 / n, b / n};
}

mek::Vec3 elevationAxis(double c)
{
    const double angle = c * mek::kRadPerDeg;
    return {std::cos(angle), 0.0, std::sin(angle)};
}

Direction directionOf(const mek::Vec3& position)
{
    double v[3];
    mek::store(position, v);
    mek::ConvertCartesianToSphericalCoordinates(v);
    return {v[0], v[1]};
}

mek::Vec3 unitDirection(const Direction& angles)
{
    const double h = angles.horizontal * mek::kRadPerDeg;
    const double v = angles.vertical * mek::kRadPerDeg;
    return {-std::cos(v) * std::sin(h), std::cos(h) * std::cos(v), std::sin(v)};
}

mek::Vec3 signedVertical(int parity)
{
    return {0.0, 0.0, parity != 0 ? 1.0 : -1.0};
}

StageGravity stageGravity(const mek::Vec3& vertical, const mek::Vec3& sight, const mek::Vec3& level, double sightDeg,
                          double levelDeg)
{
    double g[3];
    double v[3];
    double a[3];
    double out[3];
    mek::store(vertical, g);
    mek::store(sight, v);
    mek::store(level, a);
    const int code = mek::solveVectorsRelAng(g, v, a, sightDeg, levelDeg, out);
    return {mek::loadVec3(out), code};
}

mek::Mat3 frameOf(const mek::Vec3& a, const mek::Vec3& b)
{
    const mek::Vec3 across = mek::normalised(mek::cross(a, b));
    return mek::columns(across, b, mek::cross(across, b));
}

mek::Mat3 stageRotation(const mek::Vec3& gravity, const mek::Vec3& sight, const Direction& measured)
{
    // Kept: -z for both parities; the parity picks the mirror solution only.
    const mek::Mat3 stageFrame = frameOf(gravity, sight);
    const mek::Mat3 trackerFrame = frameOf({0.0, 0.0, -1.0}, unitDirection(measured));
    return trackerFrame * mek::transpose(stageFrame);
}

EulerAngles eulerAngles(const mek::Mat3& r)
{
    EulerAngles angles;
    angles.x = std::atan2(-r.m[5], r.m[8]);
    angles.z = std::atan2(-r.m[1], r.m[0]);
    angles.y = std::atan2(r.m[2], std::cos(angles.x) * r.m[8] - std::sin(angles.x) * r.m[5]);
    return angles;
}

mek::Mat3 fromEulerAngles(const EulerAngles& angles)
{
    return mek::rotationX(angles.x) * mek::rotationY(angles.y) * mek::rotationZ(angles.z);
}

double levelWithoutAcceleration(double levelDeg, double acc, double kept)
{
    const double x = std::sin(levelDeg * mek::kRadPerDeg) + acc / kStandardGravity;
    // Written so that a NaN passes on.
    if (x > 1.0 || x < -1.0) {
        return kept;
    }
    return std::asin(x) * mek::kDegPerRad;
}

} // namespace kor
