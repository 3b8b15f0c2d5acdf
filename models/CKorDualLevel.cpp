#include "KORInterface/CKorDualLevel.h"

#include <cmath>

#include "mek/Literals.h"
#include "mek/Values.h"
#include "models/EngineModels.h"
#include "models/Geometry.h"
#include "models/ParameterArrays.h"

namespace {

// Kept [dead-zones-differ]: this dead zone and that of the horizontal angle differ on purpose.
constexpr double kLevelDeadZone = 1.745329251994e-5;

// Given  axes  deviation of the angle between the level axes from 90 degrees; degrees
kor::LevelPair levelPair(float axes)
{
    const double w = (static_cast<double>(axes) + 90.0) * mek::kRadPerDeg;
    return {std::cos(w), std::sin(w)};
}

// Sine of an angle without its sign, from the sine of the angle.
double sineOfMagnitude(double sine, double angle)
{
    return sine * std::copysign(1.0, angle);
}

// Direction of gravity in the frame of the measured position.
// Given     z, h2   height of the position, squared length of its horizontal part
//           phi     its horizontal angle
//           a3, a4  readings of the two levels, the second one negated; radians
//           axes    the angle between the level axes
//           turn    azimuth offset of the level frame; degrees
mek::Vec3 gravityFromLevels(double z, double h2, double phi, double a3, double a4, const kor::LevelPair& axes,
                            double turn)
{
    if (std::fabs(a3) <= kLevelDeadZone && std::fabs(a4) <= kLevelDeadZone) {
        return {0.0, 0.0, 1.0}; // Kept [upright-in-dead-zone]: whatever the azimuth offset
    }

    // Total tilt.
    const double s3 = std::sin(a3);
    const double s4 = std::sin(a4);
    const double d = s3 * s3 + s4 * s4 - s4 * (2.0 * s3) * axes.cosine;
    const double theta = std::asin(std::sqrt(d) / axes.sine);
    const double sinTheta = std::sin(theta);

    // Tilt in the vertical plane through the measured position. Kept [offset-turns-place-only]: the offset turns the
    // tilt's place, not the second level's own part in it.
    const double p = std::acos(sineOfMagnitude(s4, a4) / sineOfMagnitude(sinTheta, theta)) + turn * mek::kRadPerDeg;
    double psi = p < mek::kHalfPi ? std::asin(std::cos(p) * sinTheta) : -std::asin(std::cos(mek::kPi - p) * sinTheta);
    if (a4 < 0.0) {
        psi = -psi;
    }

    // Azimuth of the tilt. Kept [height-without-sign]: the height enters without its sign.
    double c = std::fabs(z / std::tan(theta)) / std::fabs(z / std::tan(a4));
    if (std::fabs(c) >= 1.0) {
        c = c / std::fabs(c);
    }
    const double beta = std::acos(c);
    const double alpha = std::acos(-std::tan(psi) * std::fabs(z) / std::sqrt(h2));
    double gamma;
    if (a3 >= 0.0) {
        gamma = a3 > 0.0 && psi > 0.0 ? alpha - beta : mek::kTwoPi - (alpha - beta);
    } else if (psi > 0.0) {
        gamma = beta + alpha;
    } else if (psi < 0.0) {
        gamma = mek::kTwoPi - (beta + alpha);
    } else {
        gamma = mek::kTwoPi - (alpha - beta);
    }
    const double lambda = gamma + phi;
    return {std::cos(lambda) * sinTheta, std::sin(lambda) * sinTheta, std::cos(theta)};
}

inline bool orientation(double* matrix, double angle1, double angle2, const kor::LevelPair& pair, const float* sFactors)
{
    const double x = matrix[0];
    const double y = matrix[1];
    const double z = matrix[2];
    const double a3 = matrix[3] * mek::kRadPerDeg;
    // Kept [second-level-negated]: the second level enters negated.
    const double a4 = -(matrix[4] * mek::kRadPerDeg);
    const double e1 = matrix[5] * mek::kRadPerDeg - angle1;
    const double e2 = angle2 - matrix[6] * mek::kRadPerDeg;

    // Direction of the measured position.
    const double h2 = y * y + x * x;
    const double n = std::sqrt(z * z + h2);
    const mek::Vec3 u = n > 0.0 ? mek::Vec3{x / n, y / n, z / n} : mek::Vec3{0.0, 0.0, 0.0};

    // Frame of that direction and gravity.
    const mek::Vec3 g =
        gravityFromLevels(z, h2, kor::horizontalAngle(x, y), a3, a4, pair, static_cast<double>(sFactors[1]));
    const mek::Vec3 s1 = mek::normalised(mek::cross(g, u));
    const mek::Vec3 s2 = mek::normalised(mek::cross(u, s1));
    const mek::Mat3 frame = mek::columns(u, s1, s2);

    // The sensor's own axes taken out.
    mek::Mat3 axes = mek::product(mek::by<mek::AboutZ>(e1), mek::by<mek::AboutY>(e2));
    const bool ok = mek::invert(axes);
    mek::store(frame * axes, matrix);
    return ok;
}

} // namespace

CKorDualLevel::CKorDualLevel() = default;
CKorDualLevel::CKorDualLevel(const CKorDualLevel& other) = default;
CKorDualLevel::CKorDualLevel(CKorDualLevel&& other) noexcept = default;
CKorDualLevel& CKorDualLevel::operator=(const CKorDualLevel& other) = default;
CKorDualLevel& CKorDualLevel::operator=(CKorDualLevel&& other) noexcept = default;
CKorDualLevel::~CKorDualLevel() = default;

void CKorDualLevel::UpdateSFactors(float* values, int count)
{
    kor::copyIn(sFactors, values, count);
}

bool CKorDualLevel::CalTranxMatrix(double* const matrix, double angle1, double angle2, int /*size*/)
{
    return orientation(matrix, angle1, angle2, levelPair(sFactors[0]), sFactors);
}

bool kor::EngineDualLevel::CalTranxMatrix(double* const matrix, double angle1, double angle2, int /*size*/)
{
    return orientation(matrix, angle1, angle2, m_pair.of(levelPair, sFactors[0]), sFactors);
}
