#include "KORInterface/CKorPendulum.h"

#include <cmath>

#include "mek/Literals.h"
#include "mek/Values.h"
#include "models/EngineModels.h"
#include "models/Geometry.h"
#include "models/ParameterArrays.h"

namespace {

constexpr double kDeadZone = 1.7444444444444444e-5; // near-zero tilt, and the tolerance of the iteration; radians
constexpr double kArm = 1000.0;                     // length of the reference arm
constexpr double kDamping = 2.7;
constexpr int kMostIterations = 500;

// The measured position.
struct Measurement {
    double x, y, z;
    double z2, h2, r2;
    double h, r;
    double phi;
};

kor::PendulumGeometry pendulumGeometry(float arm, float elevation, float azimuth)
{
    const double armAngle = static_cast<double>(arm) * mek::kRadPerDeg + mek::kHalfPi;
    const double e = static_cast<double>(elevation) * mek::kRadPerDeg;
    const double a = static_cast<double>(azimuth) * mek::kRadPerDeg;
    return {{std::sin(a) * std::cos(e), std::cos(a) * std::cos(e), std::sin(e)},
            std::cos(armAngle),
            std::cos(mek::kPi - armAngle)};
}

// Offset of the arm's reference point for one elevation rho of the arm.
mek::Vec3 armDirection(const Measurement& m, const kor::PendulumGeometry& pendulum, double rho)
{
    if (std::fabs(rho) < kDeadZone) {
        const double s = std::sqrt((m.r2 + kArm * kArm) - pendulum.cosArm * (m.r * (2.0 * kArm)));
        const double q = std::sqrt(s * s - m.z2);
        const double ang = m.phi - std::acos((q * q + m.h * m.h - kArm * kArm) / ((m.h + m.h) * q));
        return {m.x - std::cos(ang) * q, m.y - std::sin(ang) * q, m.z - m.z};
    }

    // Tracker above or below, arm rising or falling: four triangles, two shapes. The second shape serves opposite
    // signs; the first one all others: equal signs, and a height of zero.
    const bool above = m.z > 0.0;
    const bool below = m.z < 0.0;
    const bool opposite = (above && rho < 0.0) || (below && rho > 0.0);
    const double height = above ? m.z : -m.z; // Kept [pendulum-height-0]: a height of 0 leaves the frame open
    const double elevation = (above && rho > 0.0) || (below && rho > 0.0) ? rho : -rho;
    const double w = height / std::sin(elevation);
    const double cosArm = opposite ? pendulum.cosOtherArm : pendulum.cosArm;
    const double s = std::sqrt(w * w + m.r2 - cosArm * ((w + w) * m.r));
    const double c = height / std::tan(elevation);
    const double triangle = std::acos((m.h * m.h + s * s - c * c) / ((m.h + m.h) * s));
    if (opposite) {
        const double ang = triangle + m.phi;
        return {std::cos(ang) * s - m.x, std::sin(ang) * s - m.y, -m.z};
    }
    const double ang = m.phi - triangle;
    return {m.x - std::cos(ang) * s, m.y - std::sin(ang) * s, m.z};
}

inline bool orientation(double* matrix, double angle1, double angle2, const kor::PendulumGeometry& pendulum,
                        const float* sFactors, int parity)
{
    // Working angles. Kept [pendulum-parity]: only a parity of exactly 1 turns the signs.
    double e1 = matrix[5] * mek::kRadPerDeg - angle1;
    double target = (static_cast<double>(sFactors[1]) + matrix[4]) * mek::kRadPerDeg;
    double e2 = angle2 - matrix[6] * mek::kRadPerDeg;
    if (parity == 1) {
        e1 = -e1;
        target = -target;
        e2 = -e2;
    }
    e1 = e1 * static_cast<double>(sFactors[4]);
    target = target * static_cast<double>(sFactors[6]);
    e2 = e2 * static_cast<double>(sFactors[5]);

    // The measured position and its direction.
    Measurement m;
    m.x = matrix[0];
    m.y = matrix[1];
    m.z = matrix[2];
    m.h2 = m.y * m.y + m.x * m.x;
    m.z2 = m.z * m.z;
    m.r = std::sqrt(m.z2 + m.h2);
    m.r2 = m.r * m.r;
    m.h = std::sqrt(m.h2);
    m.phi = kor::horizontalAngle(m.x, m.y);
    const double fallback = std::sqrt(0.3333333333333333);
    const mek::Vec3 u =
        m.r > 0.0 ? mek::Vec3{m.x / m.r, m.y / m.r, m.z / m.r} : mek::Vec3{fallback, fallback, fallback};

    // Damped search for the arm's elevation that gives the pendulum the measured one. Kept [pendulum-search]: after the
    // last iteration its frame is used, converged or not.
    const mek::AboutY elevationTurn = mek::by<mek::AboutY>(e2);
    mek::Mat3 elevationTurnBack = mek::matrixOf(elevationTurn);
    mek::invert(elevationTurnBack);
    mek::Mat3 frame;
    double rho = target;
    for (int iteration = 0; iteration < kMostIterations; ++iteration) {
        const mek::Vec3 arm = mek::normalised(armDirection(m, pendulum, rho));
        const mek::Vec3 across = mek::normalised(mek::cross(u, arm));
        const mek::Vec3 forward = mek::normalised(mek::cross(arm, across));
        frame = mek::columns(forward, arm, across);
        const mek::Vec3 tilted = frame * elevationTurnBack * pendulum.direction;
        const double error = std::asin(tilted.z) - target;
        if (std::fabs(error) < kDeadZone) {
            break; // Kept [pendulum-one-sided]: without a last step
        }
        rho = rho - error / kDamping;
    }

    // The sensor's own axes taken out.
    mek::Mat3 axes = mek::product(mek::by<mek::AboutZ>(e1), elevationTurn);
    const bool ok = mek::invert(axes);
    mek::store(frame * axes, matrix);
    return ok;
}

} // namespace

CKorPendulum::CKorPendulum() = default;
CKorPendulum::CKorPendulum(const CKorPendulum& other) = default;
CKorPendulum::CKorPendulum(CKorPendulum&& other) noexcept = default;
CKorPendulum& CKorPendulum::operator=(const CKorPendulum& other) = default;
CKorPendulum& CKorPendulum::operator=(CKorPendulum&& other) noexcept = default;
CKorPendulum::~CKorPendulum() = default;

void CKorPendulum::UpdateSFactors(float* values, int count)
{
    kor::copyIn(sFactors, values, count);
}

bool CKorPendulum::CalTranxMatrix(double* const matrix, double angle1, double angle2, int /*size*/)
{
    const kor::PendulumGeometry pendulum = pendulumGeometry(sFactors[0], sFactors[2], sFactors[3]);
    return orientation(matrix, angle1, angle2, pendulum, sFactors, iMMode);
}

bool kor::EnginePendulum::CalTranxMatrix(double* const matrix, double angle1, double angle2, int /*size*/)
{
    const PendulumGeometry& pendulum = m_geometry.of(pendulumGeometry, sFactors[0], sFactors[2], sFactors[3]);
    return orientation(matrix, angle1, angle2, pendulum, sFactors, iMMode);
}
