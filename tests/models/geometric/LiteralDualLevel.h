// The dual-level model branch by branch in plain doubles.
#pragma once

#include "LiteralMath.h"
#include "Samples.h"

namespace kor_test {

// Which way each decision went.
struct DualLevelBranches {
    bool deadBand = false;
    bool acute = false;   // p < half pi
    bool limited = false; // |c| >= 1
    bool beyond = false;  // |c| > 1, so that the limit changes it
    int gamma = -1;       // 0..4 in the order of the cases
};

inline Outcome literalDualLevel(const Parameters& parameters, const Sample& sample,
                                DualLevelBranches* branches = nullptr)
{
    DualLevelBranches taken;
    const std::array<double, 9>& m = sample.slots;
    const double k = 0.01745329251994;
    const double pi = 3.14159265359;
    const double halfPi = 1.570796326795;
    const double twoPi = 6.28318530718;
    const double factor0 = static_cast<double>(parameters.factors[0]);
    const double factor1 = static_cast<double>(parameters.factors[1]);

    const double x = m[0];
    const double y = m[1];
    const double z = m[2];
    const double a3 = m[3] * k;
    const double a4 = -(m[4] * k);
    const double e1 = m[5] * k - sample.offset1;
    const double e2 = sample.offset2 - m[6] * k;
    const double h2 = y * y + x * x;
    const double n = std::sqrt(z * z + h2);
    Vector u = {0, 0, 0};
    if (n > 0)
        u = {x / n, y / n, z / n};
    const double phi = literalHorizontalAngle(x, y);

    const double w = (factor0 + 90.0) * k;
    double d = std::sin(a3) * std::sin(a3);
    d = d + std::sin(a4) * std::sin(a4);
    d = d - std::sin(a4) * (2 * std::sin(a3)) * std::cos(w);
    const double theta = std::asin(std::sqrt(d) / std::sin(w));

    Vector g = {0, 0, 1};
    taken.deadBand = std::abs(a3) <= 1.745329251994e-5 && std::abs(a4) <= 1.745329251994e-5;
    if (!taken.deadBand) {
        const double p = std::acos(std::sin(std::abs(a4)) / std::sin(std::abs(theta))) + factor1 * k;
        taken.acute = p < halfPi;
        double psi = 0.0;
        if (p < halfPi)
            psi = std::asin(std::cos(p) * std::sin(theta));
        else
            psi = -std::asin(std::cos(pi - p) * std::sin(theta));
        if (a4 < 0)
            psi = -psi;
        double c = std::abs(z / std::tan(theta)) / std::abs(z / std::tan(a4));
        taken.limited = std::abs(c) >= 1;
        taken.beyond = std::abs(c) > 1;
        if (std::abs(c) >= 1)
            c = c / std::abs(c);
        const double beta = std::acos(c);
        const double alpha = std::acos(-std::tan(psi) * std::abs(z) / std::sqrt(h2));
        double gamma = 0.0;
        if (a3 >= 0) {
            if (a3 > 0 && psi > 0) {
                taken.gamma = 0;
                gamma = alpha - beta;
            } else {
                taken.gamma = 1;
                gamma = twoPi - (alpha - beta);
            }
        } else if (psi > 0) {
            taken.gamma = 2;
            gamma = beta + alpha;
        } else if (psi < 0) {
            taken.gamma = 3;
            gamma = twoPi - (beta + alpha);
        } else {
            taken.gamma = 4;
            gamma = twoPi - (alpha - beta);
        }
        const double lambda = gamma + phi;
        g = {std::cos(lambda) * std::sin(theta), std::sin(lambda) * std::sin(theta), std::cos(theta)};
    }

    const Vector s1 = literalNormalised(literalCross(g, u));
    const Vector s2 = literalNormalised(literalCross(u, s1));
    Outcome outcome;
    outcome.ok = literalTakeOutAxes(literalColumns(u, s1, s2), e1, e2, outcome.matrix);
    if (branches != nullptr)
        *branches = taken;
    return outcome;
}

} // namespace kor_test
