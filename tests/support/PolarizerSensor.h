// A perfect polarizer sensor: what it reads at a true pose.
#pragma once

#include "support/Poses.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kor_test {

struct PolarizerReading {
    std::array<double, 9> slots; // the nine inputs of the model
    bool reachable;              // false when the axes cannot point the line of sight at the tracker
};

inline PolarizerReading readPolarizer(const Pose& pose, const std::array<float, 8>& factors, double azimuthOffset,
                                      double elevationOffset)
{
    const double k = 0.01745329251994;
    const Vector& p = pose.position;
    const double length = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    const Vector b = directionInBase(pose);
    const double s0 = static_cast<double>(factors[0]) * k;
    if (std::abs(b[2]) > std::cos(s0)) {
        return {{}, false};
    }

    // The two axis angles that bring the line of sight onto the tracker, then the roll that is left about it.
    // f2 = asin(b.z / cos s0), from the horizontal part as well: the arc sine alone loses digits near its ends.
    const double level = b[0] * b[0] + b[1] * b[1] - std::sin(s0) * std::sin(s0);
    const double f2 = std::atan2(b[2], std::sqrt(std::max(level, 0.0)));
    const double f1 = std::atan2(b[1], b[0]) - std::atan2(std::cos(f2) * std::cos(s0), std::sin(s0));
    const Matrix sight = multiply(rotationZ(-std::atan2(p[0], p[1])), rotationX(std::asin(p[2] / length)));
    const Matrix payload = multiply(multiply(multiply(pose.base, rotationZ(f1)), rotationX(f2)), rotationZ(-s0));
    const Matrix left = multiply(transposed(sight), payload);
    const double roll = std::atan2(left[2], left[8]);

    PolarizerReading reading{{}, true};
    reading.slots[0] = p[0];
    reading.slots[1] = p[1];
    reading.slots[2] = p[2];
    reading.slots[4] = roll / (k * static_cast<double>(factors[6])) - static_cast<double>(factors[1]);
    reading.slots[5] = (f1 / static_cast<double>(factors[4]) + azimuthOffset) / k;
    reading.slots[6] = (f2 / static_cast<double>(factors[5]) + elevationOffset) / k;
    return reading;
}

} // namespace kor_test
