// Perfect sensors: what each of the three geometric models' sensors reads at a true pose.
#pragma once

#include "LiteralMath.h"
#include "Samples.h"
#include "support/Poses.h"

#include <algorithm>
#include <vector>

namespace kor_test {

struct Reading {
    Sample sample;
    Matrix stage{};        // azimuth stage -> tracker frame
    Vector sight{};        // line of sight in the stage (three vectors)
    Vector level{};        // level axis in the stage (three vectors)
    bool reachable = true; // false when the axes cannot point the line of sight at the tracker
};

inline Vector unit(const Vector& v)
{
    return literalNormalised(v);
}

inline Sample sampleAt(const Pose& pose, double offset1, double offset2)
{
    Sample sample;
    sample.slots = {pose.position[0], pose.position[1], pose.position[2], 0, 0, 0, 0, 0, 0};
    sample.offset1 = offset1;
    sample.offset2 = offset2;
    return sample;
}

// Both levels ride on the azimuth stage; levelTurn turns them about its axis (degrees).
inline Reading readDualLevel(const Pose& pose, const Parameters& parameters, double offset1, double offset2,
                             double levelTurn = 0.0)
{
    const Vector b = directionInBase(pose);
    const double s0 = static_cast<double>(parameters.factors[0]) * kDegree;
    const double e1 = std::atan2(b[1], b[0]);
    const double e2 = -std::asin(b[2]);
    Reading reading{sampleAt(pose, offset1, offset2)};
    reading.stage = multiply(pose.base, rotationZ(e1));
    const Matrix levels = multiply(reading.stage, rotationZ(levelTurn * kDegree));
    std::array<double, 9>& slots = reading.sample.slots;
    slots[3] = -std::asin(multiply(levels, Vector{std::cos(s0), -std::sin(s0), 0})[2]) / kDegree;
    slots[4] = std::asin(multiply(levels, Vector{0, 1, 0})[2]) / kDegree;
    slots[5] = (e1 + offset1) / kDegree;
    slots[6] = (offset2 - e2) / kDegree;
    return reading;
}

inline Reading readPendulum(const Pose& pose, const Parameters& parameters, double offset1, double offset2)
{
    std::array<double, 8> S{};
    for (std::size_t i = 0; i < 8; ++i)
        S[i] = static_cast<double>(parameters.factors[i]);
    const double sign = parameters.parity == 1 ? -1.0 : 1.0;
    const double a = S[0] * kDegree + kExactPi / 2;
    const double vx = std::sin(a);
    const double vy = std::cos(a);
    const Vector p = {std::sin(S[3] * kDegree) * std::cos(S[2] * kDegree),
                      std::cos(S[3] * kDegree) * std::cos(S[2] * kDegree), std::sin(S[2] * kDegree)};
    const Vector b = directionInBase(pose);
    Reading reading{sampleAt(pose, offset1, offset2)};
    reading.reachable = std::abs(b[2]) <= vx;
    const double e2 = std::asin(-b[2] / vx);
    const double e1 = std::atan2(b[1], b[0]) - std::atan2(vy, std::cos(e2) * vx);
    reading.stage = multiply(pose.base, rotationZ(e1));
    const double rise = std::asin(multiply(reading.stage, p)[2]);
    std::array<double, 9>& slots = reading.sample.slots;
    slots[4] = sign * rise / (kDegree * S[6]) - S[1];
    slots[5] = (sign * e1 / S[4] + offset1) / kDegree;
    slots[6] = (offset2 - sign * e2 / S[5]) / kDegree;
    return reading;
}

// vertical is the direction that the level is referred to, (0, 0, 1) or (0, 0, -1).
inline Reading readThreeVec(const Pose& pose, const Parameters& parameters, double offset1, double offset2,
                            const Vector& vertical)
{
    const auto tanOf = [](float degrees) { return std::tan(static_cast<double>(degrees) * kDegree); };
    const double q5 = static_cast<double>(parameters.qvc[5]) * kDegree;
    const Vector a = {std::cos(q5), 0, std::sin(q5)};
    const Vector u0 = unit({tanOf(parameters.qvc[3]), 1, tanOf(parameters.qvc[4])});
    const double A = a[2] * literalDot(a, u0);
    const double B = u0[2] - A;
    const double C = literalCross(a, u0)[2];
    const Vector b = directionInBase(pose);
    Reading reading{sampleAt(pose, offset1, offset2)};
    reading.reachable = std::abs((b[2] - A) / std::hypot(B, C)) <= 1.0;
    const double f2 = std::remainder(std::asin((b[2] - A) / std::hypot(B, C)) - std::atan2(B, C), 2 * kExactPi);
    const Vector across = literalCross(a, u0);
    for (std::size_t i = 0; i < 3; ++i) {
        reading.sight[i] =
            u0[i] * std::cos(f2) + across[i] * std::sin(f2) + a[i] * literalDot(a, u0) * (1 - std::cos(f2));
    }
    const double f1 = std::atan2(b[1], b[0]) - std::atan2(reading.sight[1], reading.sight[0]);
    reading.stage = multiply(pose.base, rotationZ(f1));
    reading.level = unit({1, tanOf(parameters.level1[3]), tanOf(parameters.level1[4])});
    const double angle = std::asin(literalDot(reading.level, multiply(transposed(reading.stage), vertical))) / kDegree;
    std::array<double, 9>& slots = reading.sample.slots;
    slots[4] = angle / static_cast<double>(parameters.level1[6]) - static_cast<double>(parameters.level1[5]);
    slots[5] = (f1 + offset1) / kDegree;
    slots[6] = (f2 + offset2) / kDegree;
    return reading;
}

// A growing list of errors with its median and its largest.
class Errors {
public:
    void add(double error) { m_errors.push_back(error); }
    std::size_t count() const { return m_errors.size(); }
    double worst() const { return m_errors.empty() ? 0.0 : *std::max_element(m_errors.begin(), m_errors.end()); }
    double least() const { return m_errors.empty() ? 0.0 : *std::min_element(m_errors.begin(), m_errors.end()); }
    double quantile(double part) const
    {
        std::vector<double> sorted = m_errors;
        std::sort(sorted.begin(), sorted.end());
        return sorted.empty() ? 0.0 : sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
    }
    double median() const { return quantile(0.5); }

private:
    std::vector<double> m_errors;
};

} // namespace kor_test
