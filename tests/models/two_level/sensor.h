// A perfect two-level sensor: what it reads at a true pose, and motions to read it along.
#pragma once

#include "models/two_level/literal_two_level.h"
#include "support/Poses.h"

#include <array>
#include <cmath>
#include <cstdint>

namespace kor_test {

inline constexpr double kTruePi = 3.14159265358979323846;

class TwoLevelSensor {
public:
    explicit TwoLevelSensor(const Priming& priming) : prm(priming) {}

    Priming prm;

    // The nine inputs at a pose; the acceleration (tracker frame, mm/s^2) deflects the levels as it does
    // accelerometers. The levels are referred to the downward vertical on both mount sides.
    std::array<double, 9> read(const Pose& pose, const Vector& acceleration = {0, 0, 0}) const
    {
        const double k = 0.01745329251994;
        const Vector b = directionInBase(pose);
        double axis[3];
        double u[3];
        literal::elevationAxis(prm.qvc[5], axis);
        literal::sightAtZero(static_cast<double>(prm.qvc[3]), static_cast<double>(prm.qvc[4]), u);

        // The height of the line of sight is a sine of the elevation angle about the axis: A + hypot(B, C) sin(...).
        const double along = axis[0] * u[0] + axis[1] * u[1] + axis[2] * u[2];
        const double a = axis[2] * along;
        const double bb = u[2] - a;
        const double c = axis[0] * u[1] - axis[1] * u[0];
        const double f2 = std::remainder(std::asin((b[2] - a) / std::hypot(bb, c)) - std::atan2(bb, c), 2 * kTruePi);
        const Vector r = turned({axis[0], axis[1], axis[2]}, f2, {u[0], u[1], u[2]});
        const double f1 = std::atan2(b[1], b[0]) - std::atan2(r[1], r[0]);

        const Matrix stage = multiply(pose.base, rotationZ(f1));
        const Vector down = {-acceleration[0] / 9800.0, -acceleration[1] / 9800.0, -1.0 - acceleration[2] / 9800.0};
        const Vector pull = multiply(transposed(stage), down);
        const auto reading = [&](const std::array<float, 7>& level) {
            double l[3];
            literal::levelAxis(level.data(), l);
            const double angle = std::asin(l[0] * pull[0] + l[1] * pull[1] + l[2] * pull[2]) / k;
            return angle / static_cast<double>(level[6]) - static_cast<double>(level[5]);
        };
        const Vector& p = pose.position;
        return {p[0], p[1], p[2], reading(prm.level1), reading(prm.level2), (f1 + prm.azRef) / k, (f2 + prm.elRef) / k,
                20.0, 22.0};
    }

    // The rotation of the azimuth stage, and where its rotation centre is.
    Matrix stage(const Pose& pose) const
    {
        return multiply(pose.base, rotationZ(read(pose)[5] * 0.01745329251994 - prm.azRef));
    }

    Vector centre(const Pose& pose) const
    {
        const Vector q = {static_cast<double>(prm.qvc[0]), static_cast<double>(prm.qvc[2]),
                          static_cast<double>(prm.qvc[1])};
        const Vector offset = multiply(stage(pose), q);
        return {pose.position[0] - offset[0], pose.position[1] - offset[1], pose.position[2] - offset[2]};
    }

private:
    static Vector turned(const Vector& axis, double angle, const Vector& v)
    {
        const double c = std::cos(angle);
        const double s = std::sin(angle);
        const double d = (axis[0] * v[0] + axis[1] * v[1] + axis[2] * v[2]) * (1 - c);
        return {v[0] * c + (axis[1] * v[2] - axis[2] * v[1]) * s + axis[0] * d,
                v[1] * c + (axis[2] * v[0] - axis[0] * v[2]) * s + axis[1] * d,
                v[2] * c + (axis[0] * v[1] - axis[1] * v[0]) * s + axis[2] * d};
    }
};

// Parameters of an ordinary sensor. The second level stands well away from the line of sight; nothing is zero, so
// that no parameter can be mistaken for another.
inline Priming ordinarySensor(PoseSource& source, int parity)
{
    const auto small = [&source] {
        const double size = source.uniform(0.2, 0.5);
        return static_cast<float>(source.uniform(-1.0, 1.0) < 0 ? -size : size);
    };
    Priming prm;
    prm.parity = parity;
    prm.qvc = {static_cast<float>(source.uniform(-40, 40)),
               static_cast<float>(source.uniform(-40, 40)),
               static_cast<float>(source.uniform(-40, 40)),
               small(),
               small(),
               small()};
    prm.level1 = {9.0F, 8.0F, 7.0F, small(), small(), small(), static_cast<float>(source.uniform(0.95, 1.05))};
    const double opening = source.uniform(30, 40);
    prm.level2 = {6.0F,
                  5.0F,
                  4.0F,
                  static_cast<float>(source.uniform(-1.0, 1.0) < 0 ? -opening : opening),
                  small(),
                  small(),
                  static_cast<float>(source.uniform(0.95, 1.05))};
    prm.azRef = source.uniform(-1, 1);
    prm.elRef = source.uniform(-0.5, 0.5);
    return prm;
}

// A base as its parity expects it: even upright, odd upside down.
inline Pose mounted(const Pose& upright, int parity)
{
    return {parity != 0 ? multiply(upright.base, rotationX(kTruePi)) : upright.base, upright.position};
}

inline Call callAt(const std::array<double, 9>& io, int sample)
{
    Call call;
    call.io = io;
    call.counter1 = static_cast<std::uint32_t>(sample);
    call.counter2 = static_cast<std::uint32_t>(sample);
    call.time1 = 0.01 * sample;
    call.time2 = 0.01 * sample;
    return call;
}

} // namespace kor_test
