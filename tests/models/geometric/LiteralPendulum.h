// The pendulum model branch by branch in plain doubles.
#pragma once

#include "LiteralMath.h"
#include "Samples.h"

namespace kor_test {

// How the search went.
struct PendulumSearch {
    int iterations = 0;
    double target = 0.0;
    double rho = 0.0;           // of the last iteration
    double error = 0.0;         // of the last iteration
    std::array<int, 5> cases{}; // how often each case of the arm's foot was taken
};

inline Outcome literalPendulum(const Parameters& parameters, const Sample& sample, PendulumSearch* search = nullptr,
                               int limit = 500)
{
    PendulumSearch log;
    const std::array<double, 9>& m = sample.slots;
    std::array<double, 8> S{};
    for (std::size_t i = 0; i < 8; ++i)
        S[i] = static_cast<double>(parameters.factors[i]);
    const double k = 0.01745329251994;
    const double pi = 3.14159265359;
    const double t = 1.7444444444444444e-5;
    const double x = m[0];
    const double y = m[1];
    const double z = m[2];

    double e1 = m[5] * k - sample.offset1;
    double target = (S[1] + m[4]) * k;
    double e2 = sample.offset2 - m[6] * k;
    if (parameters.parity == 1) {
        e1 = -e1;
        target = -target;
        e2 = -e2;
    }
    e1 = e1 * S[4];
    target = target * S[6];
    e2 = e2 * S[5];

    const double h2 = y * y + x * x;
    const double z2 = z * z;
    const double r = std::sqrt(z2 + h2);
    const double r2 = r * r;
    Vector u = {std::sqrt(0.3333333333333333), std::sqrt(0.3333333333333333), std::sqrt(0.3333333333333333)};
    if (r > 0)
        u = {x / r, y / r, z / r};
    const double phi = literalHorizontalAngle(x, y);
    const double a = S[0] * k + 1.570796326795;
    const double b = pi - a;
    const Vector p = {std::sin(S[3] * k) * std::cos(S[2] * k), std::cos(S[3] * k) * std::cos(S[2] * k),
                      std::sin(S[2] * k)};

    double rho = target;
    Matrix frame{};
    for (int i = 0; i < limit; ++i) {
        const double h = std::sqrt(h2);
        Vector D{};
        if (std::abs(rho) < t) {
            ++log.cases[0];
            const double s = std::sqrt((r2 + 1000000.0) - std::cos(a) * (r * 2000.0));
            const double q = std::sqrt(s * s - z2);
            const double ang = phi - std::acos((q * q + h * h - 1000000.0) / ((h + h) * q));
            D = {x - std::cos(ang) * q, y - std::sin(ang) * q, z - z};
        } else if (z > 0 && rho > 0) {
            ++log.cases[1];
            const double w = z / std::sin(rho);
            const double s = std::sqrt(w * w + r2 - std::cos(a) * ((w + w) * r));
            const double c = z / std::tan(rho);
            const double ang = phi - std::acos((h * h + s * s - c * c) / ((h + h) * s));
            D = {x - std::cos(ang) * s, y - std::sin(ang) * s, z};
        } else if (z > 0 && rho < 0) {
            ++log.cases[2];
            const double minusRho = -rho;
            const double w = z / std::sin(minusRho);
            const double s = std::sqrt(w * w + r2 - std::cos(b) * ((w + w) * r));
            const double c = z / std::tan(minusRho);
            const double ang = std::acos((h * h + s * s - c * c) / ((h + h) * s)) + phi;
            D = {std::cos(ang) * s - x, std::sin(ang) * s - y, -z};
        } else if (z < 0 && rho > 0) {
            ++log.cases[3];
            const double minusZ = -z;
            const double w = minusZ / std::sin(rho);
            const double s = std::sqrt(w * w + r2 - std::cos(b) * ((w + w) * r));
            const double c = minusZ / std::tan(rho);
            const double ang = std::acos((h * h + s * s - c * c) / ((h + h) * s)) + phi;
            D = {std::cos(ang) * s - x, std::sin(ang) * s - y, -z};
        } else {
            ++log.cases[4];
            const double minusRho = -rho;
            const double minusZ = -z;
            const double w = minusZ / std::sin(minusRho);
            const double s = std::sqrt(w * w + r2 - std::cos(a) * ((w + w) * r));
            const double c = minusZ / std::tan(minusRho);
            const double ang = phi - std::acos((h * h + s * s - c * c) / ((h + h) * s));
            D = {x - std::cos(ang) * s, y - std::sin(ang) * s, z};
        }
        D = literalNormalised(D);
        const Vector C = literalNormalised(literalCross(u, D));
        const Vector E = literalNormalised(literalCross(D, C));
        frame = literalColumns(E, D, C);
        Matrix unturn = literalAxisMatrix2(e2);
        literalInverse(unturn);
        const Matrix stage = multiply(frame, unturn);
        const double rise = stage[6] * p[0] + stage[7] * p[1] + stage[8] * p[2];
        const double error = std::asin(rise) - target;
        ++log.iterations;
        log.rho = rho;
        log.error = error;
        if (std::abs(error) < t)
            break;
        rho = rho - error / 2.7;
    }
    log.target = target;

    Outcome outcome;
    outcome.ok = literalTakeOutAxes(frame, e1, e2, outcome.matrix);
    if (search != nullptr)
        *search = log;
    return outcome;
}

} // namespace kor_test
