#include "engine/Angles.h"

#include <cmath>

#include "mek/Literals.h"

namespace kor {

namespace {

constexpr double kDeadZone = 1e-12;

// Signs of the quarter turn on the y axis, x within its dead zone.
float quarterTurn(double y)
{
    if (std::fabs(y) <= kDeadZone) {
        return 0.0F;
    }
    return static_cast<float>(y > 0.0 ? mek::kHalfPi : -mek::kHalfPi);
}

float arctangentByQuadrant(double y, double x)
{
    double angle = std::atan(y / x);
    if (x < 0.0 && y > 0.0) {
        angle += mek::kPi;
    } else if (x < 0.0 && y < 0.0) {
        angle -= mek::kPi;
    }
    return static_cast<float>(angle);
}

double sine(float angle)
{
    return static_cast<double>(std::sin(angle));
}

double cosine(float angle)
{
    return static_cast<double>(std::cos(angle));
}

// Matrix with its columns scaled to unit length. The second element of the last column carries the other sign.
struct NormalisedColumns {
    double e00, e10, e20;
    double e01, e11, e21;
    double e02, f12, e22;
};

inline NormalisedColumns normaliseColumns(const double* m)
{
    const double len0 = std::sqrt(m[0] * m[0] + m[3] * m[3] + m[6] * m[6]);
    const double len1 = std::sqrt(m[1] * m[1] + m[4] * m[4] + m[7] * m[7]);
    const double len2 = std::sqrt(m[2] * m[2] + m[5] * m[5] + m[8] * m[8]);
    return {m[0] / len0, m[3] / len0, m[6] / len0,  m[1] / len1, m[4] / len1,
            m[7] / len1, m[2] / len2, -m[5] / len2, m[8] / len2};
}

// Kept [third-machine-angle]: a plain arctangent without quadrants, so the result stays within a quarter turn.
float plainArctangent(double y, double x)
{
    if (std::fabs(x) <= kDeadZone) {
        return quarterTurn(y);
    }
    return static_cast<float>(std::atan(y / x));
}

} // namespace

float safeAtan2(double y, double x)
{
    if (std::fabs(x) <= kDeadZone) {
        return quarterTurn(y);
    }
    // Kept [half-turn-reads-0]: without a look at the sign of x, so that an exact half turn reads 0.
    if (std::fabs(y) <= kDeadZone) {
        return 0.0F;
    }
    return arctangentByQuadrant(y, x);
}

float safeAtan2AnyY(double y, double x)
{
    if (std::fabs(x) <= kDeadZone) {
        return quarterTurn(y);
    }
    return arctangentByQuadrant(y, x);
}

void threeVectorAngles(const double* m, OrientationAngles& angles)
{
    angles.first = static_cast<float>(std::atan2(-m[5], m[8]));
    const double first = static_cast<double>(angles.first);
    if (first > mek::kHalfPi || first < -mek::kHalfPi) {
        angles.first = static_cast<float>(std::atan2(m[5], -m[8]));
        angles.second = static_cast<float>(std::atan2(m[1], -m[0]));
    } else {
        angles.second = static_cast<float>(std::atan2(-m[1], m[0]));
    }
    angles.third = static_cast<float>(std::atan2(m[2], cosine(angles.first) * m[8] - sine(angles.first) * m[5]));
}

void machineAngles(const double* m, OrientationAngles& angles)
{
    const NormalisedColumns c = normaliseColumns(m);
    // Kept [no-dead-zone-about-x]: no dead zone about the x axis here and for the last angle of local coordinates.
    angles.first = safeAtan2AnyY(c.f12, c.e22);
    const double cosFirst = cosine(angles.first);
    const double sinFirst = sine(angles.first);
    angles.second = safeAtan2(sinFirst * c.e20 + cosFirst * c.e10, sinFirst * c.e21 + cosFirst * c.e11);
    angles.third = plainArctangent(c.e02, cosFirst * c.e22 + sinFirst * c.f12);
}

void localAngles(const double* m, OrientationAngles& angles)
{
    const NormalisedColumns c = normaliseColumns(m);
    angles.second = safeAtan2(c.e10, c.e00);
    const double cosSecond = cosine(angles.second);
    const double sinSecond = sine(angles.second);
    angles.third = safeAtan2(-c.e20, sinSecond * c.e10 + cosSecond * c.e00);
    angles.first = safeAtan2AnyY(cosSecond * c.f12 + sinSecond * c.e02, cosSecond * c.e11 - sinSecond * c.e01);
}

} // namespace kor
