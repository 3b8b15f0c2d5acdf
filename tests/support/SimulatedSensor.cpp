#include "support/SimulatedSensor.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace kor_test {
namespace {

// The models' factor from degrees to radians: readings are made with it, so that its missing digits cancel.
constexpr double kRadians = 0.01745329251994;
constexpr double kPi = 3.14159265358979323846;
constexpr double kGravity = 9800.0; // mm/s^2

std::array<double, 8> widened(const std::array<float, 8>& factors)
{
    std::array<double, 8> wide{};
    std::copy(factors.begin(), factors.end(), wide.begin());
    return wide;
}

double tangent(float degrees)
{
    return std::tan(static_cast<double>(degrees) * kRadians);
}

// v turned about the unit vector axis, angle in radians.
Vector turned(const Vector& axis, double angle, const Vector& v)
{
    const Vector across = cross(axis, v);
    const double along = dot(axis, v) * (1 - std::cos(angle));
    Vector out{};
    for (std::size_t i = 0; i < 3; ++i) {
        out[i] = v[i] * std::cos(angle) + across[i] * std::sin(angle) + axis[i] * along;
    }
    return out;
}

Vector levelAxis(const std::array<float, 7>& level)
{
    return unit({1, tangent(level[3]), tangent(level[4])});
}

// Reading of a level whose sine is pull . axis.
double levelReading(const std::array<float, 7>& level, const Matrix& stage, const Vector& pull)
{
    const double degrees = std::asin(dot(levelAxis(level), multiply(transposed(stage), pull))) / kRadians;
    return degrees / static_cast<double>(level[6]) - static_cast<double>(level[5]);
}

// Axis angles and line of sight of the sensors with three known vectors.
Reading pointed(const Pose& pose, const Parameters& parameters, double offset1, double offset2)
{
    const double tilt = static_cast<double>(parameters.qvc[5]) * kRadians;
    const Vector axis = {std::cos(tilt), 0, std::sin(tilt)};
    const Vector atZero = unit({tangent(parameters.qvc[3]), 1, tangent(parameters.qvc[4])});
    const Vector b = directionInBase(pose);

    // The height of the line of sight is a sine of the elevation angle: a + hypot(n, c) sin(f2 + phase).
    const double a = axis[2] * dot(axis, atZero);
    const double n = atZero[2] - a;
    const double c = cross(axis, atZero)[2];
    const double sine = (b[2] - a) / std::hypot(n, c);
    const double f2 = std::remainder(std::asin(sine) - std::atan2(n, c), 2 * kPi);

    Reading reading{sampleAt(pose, offset1, offset2)};
    reading.reachable = std::abs(sine) <= 1.0;
    reading.sight = turned(axis, f2, atZero);
    const double f1 = std::atan2(b[1], b[0]) - std::atan2(reading.sight[1], reading.sight[0]);
    reading.stage = multiply(pose.base, rotationZ(f1));
    reading.level = levelAxis(parameters.level1);
    reading.sample.slots[5] = (f1 + offset1) / kRadians;
    reading.sample.slots[6] = (f2 + offset2) / kRadians;
    return reading;
}

} // namespace

Sample sampleAt(const Pose& pose, double offset1, double offset2)
{
    Sample sample;
    std::copy(pose.position.begin(), pose.position.end(), sample.slots.begin());
    sample.offset1 = offset1;
    sample.offset2 = offset2;
    return sample;
}

Reading readDualLevel(const Pose& pose, const Parameters& parameters, double offset1, double offset2, double levelTurn)
{
    const double opening = static_cast<double>(parameters.factors[0]) * kRadians;
    const Vector b = directionInBase(pose);
    const double e1 = std::atan2(b[1], b[0]);
    const double e2 = -std::asin(b[2]);
    Reading reading{sampleAt(pose, offset1, offset2)};
    reading.stage = multiply(pose.base, rotationZ(e1));
    const Matrix levels = multiply(reading.stage, rotationZ(levelTurn * kRadians));
    std::array<double, 9>& slots = reading.sample.slots;
    slots[3] = -std::asin(multiply(levels, Vector{std::cos(opening), -std::sin(opening), 0})[2]) / kRadians;
    slots[4] = std::asin(multiply(levels, Vector{0, 1, 0})[2]) / kRadians;
    slots[5] = (e1 + offset1) / kRadians;
    slots[6] = (offset2 - e2) / kRadians;
    return reading;
}

Reading readPendulum(const Pose& pose, const Parameters& parameters, double offset1, double offset2)
{
    const std::array<double, 8> s = widened(parameters.factors);
    const double sign = parameters.parity == 1 ? -1.0 : 1.0;

    // Line of sight in the payload, pendulum direction in the stage.
    const double a = s[0] * kRadians + kPi / 2;
    const Vector v = {std::sin(a), std::cos(a), 0};
    const Vector p = {std::sin(s[3] * kRadians) * std::cos(s[2] * kRadians),
                      std::cos(s[3] * kRadians) * std::cos(s[2] * kRadians), std::sin(s[2] * kRadians)};

    const Vector b = directionInBase(pose);
    const double e2 = std::asin(-b[2] / v[0]);
    const double e1 = std::atan2(b[1], b[0]) - std::atan2(v[1], std::cos(e2) * v[0]);
    Reading reading{sampleAt(pose, offset1, offset2)};
    reading.reachable = std::abs(b[2]) <= v[0];
    reading.stage = multiply(pose.base, rotationZ(e1));
    const double rise = std::asin(multiply(reading.stage, p)[2]);
    std::array<double, 9>& slots = reading.sample.slots;
    slots[4] = sign * rise / (kRadians * s[6]) - s[1];
    slots[5] = (sign * e1 / s[4] + offset1) / kRadians;
    slots[6] = (offset2 - sign * e2 / s[5]) / kRadians;
    return reading;
}

Reading readPolarizer(const Pose& pose, const Parameters& parameters, double offset1, double offset2)
{
    const std::array<double, 8> s = widened(parameters.factors);
    const double s0 = s[0] * kRadians;
    const Vector& p = pose.position;
    const Vector b = directionInBase(pose);
    Reading reading{sampleAt(pose, offset1, offset2)};
    reading.reachable = std::abs(b[2]) <= std::cos(s0);

    // The axis angles that bring the line of sight onto the tracker: f2 = asin(b.z / cos s0), from the horizontal part
    // as well, because the arc sine alone loses digits near its ends.
    const double horizontal = b[0] * b[0] + b[1] * b[1] - std::sin(s0) * std::sin(s0);
    const double f2 = std::atan2(b[2], std::sqrt(std::max(horizontal, 0.0)));
    const double f1 = std::atan2(b[1], b[0]) - std::atan2(std::cos(f2) * std::cos(s0), std::sin(s0));
    reading.stage = multiply(pose.base, rotationZ(f1));

    // The roll that is left about the line of sight.
    const Matrix sight =
        multiply(rotationZ(-std::atan2(p[0], p[1])), rotationX(std::asin(p[2] / std::sqrt(dot(p, p)))));
    const Matrix payload = multiply(multiply(reading.stage, rotationX(f2)), rotationZ(-s0));
    const Matrix left = multiply(transposed(sight), payload);
    const double roll = std::atan2(left[2], left[8]);

    std::array<double, 9>& slots = reading.sample.slots;
    slots[4] = roll / (kRadians * s[6]) - s[1];
    slots[5] = (f1 / s[4] + offset1) / kRadians;
    slots[6] = (f2 / s[5] + offset2) / kRadians;
    return reading;
}

Reading readThreeVec(const Pose& pose, const Parameters& parameters, double offset1, double offset2,
                     const Vector& vertical)
{
    Reading reading = pointed(pose, parameters, offset1, offset2);
    reading.sample.slots[4] = levelReading(parameters.level1, reading.stage, vertical);
    return reading;
}

Reading readTwoLevels(const Pose& pose, const Parameters& parameters, double offset1, double offset2,
                      const Vector& acceleration)
{
    Reading reading = pointed(pose, parameters, offset1, offset2);
    const Vector pull = {-acceleration[0] / kGravity, -acceleration[1] / kGravity, -1.0 - acceleration[2] / kGravity};
    reading.sample.slots[3] = levelReading(parameters.level1, reading.stage, pull);
    reading.sample.slots[4] = levelReading(parameters.level2, reading.stage, pull);
    return reading;
}

} // namespace kor_test
