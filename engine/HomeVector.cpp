// Home-vector solve.
#include <cmath>

#include "KORInterface/CKor.h"
#include "mek/Literals.h"
#include "mek/Matrix.h"
#include "mek/Vector.h"

namespace {

constexpr double kDeadZone = 1e-12;

// Angle of (x, y) with dead zones about the axes, radians. On the axes: 0, pi/2, pi and 3 pi/2.
// Kept [home-vector-quadrants]: off the axes the two uses differ in what they add in the lower two quadrants.
double quadrantAngle(double y, double x, double belowLeft, double belowRight)
{
    if (std::fabs(x) <= kDeadZone) {
        if (std::fabs(y) <= kDeadZone) {
            return 0.0;
        }
        return y > 0.0 ? mek::kHalfPi : mek::kThreeHalvesPi;
    }
    if (std::fabs(y) <= kDeadZone) {
        return x > 0.0 ? 0.0 : mek::kPi;
    }
    const double t = std::atan(y / x);
    if (x < 0.0 && y > 0.0) {
        return t + mek::kPi;
    }
    if (x < 0.0 && y < 0.0) {
        return t + belowLeft;
    }
    if (x > 0.0 && y < 0.0) {
        return t + belowRight;
    }
    return t;
}

// Turn of the tilted axis about the vertical, from the two measured angles p and q and its tilt theta.
double axisTurn(double p, double q, double theta)
{
    const bool noP = std::fabs(p) <= kDeadZone;
    const bool noQ = std::fabs(q) <= kDeadZone;
    if (noP && std::fabs(q) > kDeadZone) {
        return 0.0; // Kept [home-vector-0]: zero, not a quarter turn
    }
    if (noQ && std::fabs(p) > kDeadZone) {
        return p > 0.0 ? 0.0 : mek::kPi;
    }
    // Kept [home-vector-nan]: no guard against 0/0 when neither angle was measured.
    const double s = std::asin(std::sin(q) / std::sin(theta));
    if (q > 0.0 && p > 0.0) {
        return s;
    }
    if (p < 0.0 && (q > 0.0 || q < 0.0)) {
        return mek::kPi - s;
    }
    return s + mek::kTwoPi;
}

void setColumns(double* m, const double* a, const double* b, const double* c)
{
    for (int row = 0; row < 3; ++row) {
        m[3 * row] = a[row];
        m[3 * row + 1] = b[row];
        m[3 * row + 2] = c[row];
    }
}

} // namespace

bool CKor::Calc_HV0(D_VECTOR3 a, D_VECTOR3 b, D_VECTOR2 reference, D_VECTOR3 measured, double* first, double* second)
{
    // In radians. Kept [home-vector-measured]: the second measured angle comes first, the first one negated.
    const double p = measured.y * mek::kRadPerDeg;
    const double q = -measured.x * mek::kRadPerDeg;
    const double r0 = reference.x * mek::kRadPerDeg;
    const double r1 = reference.y * mek::kRadPerDeg;

    // Tilted axis u.
    const double alpha = quadrantAngle(b.y, b.x, mek::kPi, mek::kTwoPi);
    double theta = std::acos(std::cos(p) * std::cos(q));
    if (theta > mek::kHalfPi) {
        theta = mek::kPi - theta;
    }
    const double gamma = alpha + axisTurn(p, q, theta);
    const double u[3] = {std::cos(gamma) * std::sin(theta), std::sin(gamma) * std::sin(theta), std::cos(theta)};

    // Frame of a and the axis, frame of b and the axis.
    const double va[3] = {a.x, a.y, a.z};
    double w1[3];
    mek::CrossMultiply(u, va, w1);
    const double length = std::sqrt(b.x * b.x + b.y * b.y + b.z * b.z);
    double bn[3] = {0.0, 0.0, 0.0};
    if (length > 0.0) {
        bn[0] = b.x / length;
        bn[1] = b.y / length;
        bn[2] = b.z / length;
    }
    double w2[3];
    double w3[3];
    mek::CrossMultiply(u, bn, w2);
    mek::CrossMultiply(bn, w2, w3);
    double frame1[9];
    double frame2[9];
    setColumns(frame1, va, w1, u);
    setColumns(frame2, bn, w2, w3);

    // Rotation between the frames.
    const bool ok = mek::MatrixInverse(frame1, 3);
    double r[9];
    mek::MatrixMultiply(frame1, frame2, 3, 3, 3, r);

    // Its two angles. Kept [home-vector-quadrants, home-vector-mean]: this angle runs from -pi to 3 pi/2, and the
    // second one is the mean of two plain arctangents.
    const double phi = quadrantAngle(-r[1], r[4], -mek::kPi, 0.0);
    if (first != nullptr) { // Kept [home-vector-null]: a null pointer is skipped
        *first = (r0 - phi) * mek::kDegPerRad;
    }
    if (second != nullptr) {
        *second = ((std::atan((r[5] + r[2]) / (r[3] + r[0])) + std::atan(-r[6] / r[8])) * 0.5 + r1) * mek::kDegPerRad;
    }
    return ok;
}
