#include "models/Geometry.h"

#include <cmath>

#include "mek/Literals.h"

namespace kor {

namespace {

// Kept [dead-zones-differ]: this dead zone and that of the dual-level model's levels differ on purpose.
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

SightLine sightLine(const mek::Vec3& sight, const Direction& measured)
{
    // Kept [down-for-both-parities]: -z for both parities; the parity picks the mirror solution only.
    return {sight, cosineOf(measured.vertical + 90.0), frameOf({0.0, 0.0, -1.0}, unitDirection(measured))};
}

mek::Mat3 stageRotation(const mek::Vec3& gravity, const SightLine& sight)
{
    return sight.trackerFrame * mek::transpose(frameOf(gravity, sight.stage));
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
    return mek::product(mek::by<mek::AboutX>(angles.x), mek::by<mek::AboutY>(angles.y), mek::by<mek::AboutZ>(angles.z));
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
