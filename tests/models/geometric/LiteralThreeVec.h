// The three-vector model step by step in plain doubles.
#pragma once

#include "LiteralMath.h"
#include "Samples.h"

namespace kor_test {

// The direction that makes angle1 with v and angle2 with a, on the side of g.
inline int literalSolve(const Vector& g, const Vector& v, const Vector& a, double angle1, double angle2, Vector& out)
{
    const double p = std::cos(angle1 * 0.01745329251994);
    const double q = std::cos(angle2 * 0.01745329251994);
    const double c = literalDot(v, a);
    const double det = 1 - c * c;
    if (!(det >= 1e-12)) {
        out = {0, 0, 0};
        return 2;
    }
    const double alpha = (p - c * q) / det;
    const double beta = (q - c * p) / det;
    const Vector s = {alpha * v[0] + beta * a[0], alpha * v[1] + beta * a[1], alpha * v[2] + beta * a[2]};
    const double h2 = 1 - literalDot(s, s);
    if (h2 < -1e-9) {
        out = literalNormalised(s);
        return 1;
    }
    const Vector n = literalNormalised(literalCross(v, a));
    const double h = std::sqrt(h2 > 0 || std::isnan(h2) ? h2 : 0.0);
    const Vector first = {s[0] + h * n[0], s[1] + h * n[1], s[2] + h * n[2]};
    const Vector second = {s[0] - h * n[0], s[1] - h * n[1], s[2] - h * n[2]};
    out = literalDot(second, g) > literalDot(first, g) ? second : first;
    return 0;
}

struct ThreeVecSolution {
    int code = -1;
    bool second = false; // the solution below the plane of line of sight and level axis
};

inline Outcome literalThreeVec(const Parameters& parameters, const Sample& sample, ThreeVecSolution* solution = nullptr)
{
    const double k = 0.01745329251994;
    const double K = 57.29577951308;
    const std::array<double, 9>& m = sample.slots;
    std::array<double, 6> Q{};
    for (std::size_t i = 0; i < 6; ++i)
        Q[i] = static_cast<double>(parameters.qvc[i]);
    std::array<double, 7> L{};
    for (std::size_t i = 0; i < 7; ++i)
        L[i] = static_cast<double>(parameters.level1[i]);

    // Where the target point is seen.
    const double az = std::atan2(-m[0], m[1]) * K;
    const double el = std::atan2(m[2], std::sqrt(m[0] * m[0] + m[1] * m[1])) * K;

    // Elevation axis, level axis, line of sight.
    const Vector a = {std::cos(Q[5] * k), 0, std::sin(Q[5] * k)};
    const double t1 = std::tan(L[3] * k);
    const double t2 = std::tan(L[4] * k);
    const double len1 = std::sqrt(t1 * t1 + 1 + t2 * t2);
    const Vector l = {1 / len1, t1 / len1, t2 / len1};
    const double t3 = std::tan(Q[3] * k);
    const double t4 = std::tan(Q[4] * k);
    const double len2 = std::sqrt(t3 * t3 + 1 + t4 * t4);
    const Vector q0 = {t3 / len2, 1 / len2, t4 / len2};
    const double turn = (m[6] - sample.offset2 * K) * k;
    const double c = std::cos(turn);
    const double s = std::sin(turn);
    const Vector aq = literalCross(a, q0);
    const double along = literalDot(a, q0);
    Vector r{};
    for (std::size_t i = 0; i < 3; ++i)
        r[i] = q0[i] * c + aq[i] * s + a[i] * along * (1 - c);

    const double A1 = el + 90.0;
    const double A2 = (-m[4] - L[5]) * L[6] + 90.0;
    const Vector g = {0, 0, parameters.parity != 0 ? 1.0 : -1.0};
    Vector x{};
    const int code = literalSolve(g, r, l, A1, A2, x);
    if (solution != nullptr) {
        solution->code = code;
        solution->second = literalDot(x, literalCross(r, l)) < 0;
    }

    // Sensor frame and tracker frame.
    const Vector ys = literalNormalised(literalCross(x, r));
    const Vector zs = literalCross(ys, r);
    const double azRad = az * k;
    const double elRad = el * k;
    const Vector d = {-std::cos(elRad) * std::sin(azRad), std::cos(azRad) * std::cos(elRad), std::sin(elRad)};
    const Vector w = literalNormalised(literalCross(g, d));
    const Vector v = literalCross(w, d);
    const Matrix P = multiply(literalColumns(w, d, v), transposed(literalColumns(ys, r, zs)));

    Outcome outcome;
    outcome.ok = true;
    const Vector q = {Q[0], Q[2], Q[1]};
    Vector p{};
    for (std::size_t i = 0; i < 3; ++i)
        p[i] = P[3 * i] * q[0] + P[3 * i + 1] * q[1] + P[3 * i + 2] * q[2];
    outcome.qvc[0] = static_cast<float>(p[0]);
    outcome.qvc[1] = static_cast<float>(p[2]);
    outcome.qvc[2] = static_cast<float>(p[1]);
    outcome.matrix = multiply(P, rotationZ(-(m[5] - sample.offset1 * K) * k));
    return outcome;
}

} // namespace kor_test
