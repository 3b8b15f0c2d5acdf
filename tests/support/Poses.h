// Random true poses of a sensor: where it stands and how its base is turned.
#pragma once

#include "support/Matrices.h"

#include <cmath>
#include <random>

namespace kor_test {

// base turns base coordinates into tracker coordinates; position is the target point, mm.
struct Pose {
    Matrix base;
    Vector position;
};

class PoseSource {
public:
    explicit PoseSource(unsigned int seed) : m_random(seed) {}

    double uniform(double low, double high) { return std::uniform_real_distribution<double>(low, high)(m_random); }

    // 1 to 20 m away, any azimuth, at most maxElevation degrees above or below the tracker.
    Vector position(double maxElevation)
    {
        const double azimuth = uniform(-kPi, kPi);
        const double elevation = uniform(-maxElevation, maxElevation) * kPi / 180.0;
        const double distance = uniform(1000.0, 20000.0);
        return {distance * std::cos(elevation) * std::cos(azimuth), distance * std::cos(elevation) * std::sin(azimuth),
                distance * std::sin(elevation)};
    }

    // Any heading, the base's z axis at most maxTilt degrees off the vertical.
    Pose tilted(double minTilt, double maxTilt, double maxElevation)
    {
        const double tilt = uniform(minTilt, maxTilt) * kPi / 180.0;
        const double towards = uniform(-kPi, kPi);
        const double heading = uniform(-kPi, kPi);
        const Matrix lean = multiply(multiply(rotationZ(towards), rotationX(tilt)), rotationZ(-towards));
        return {multiply(lean, rotationZ(heading)), position(maxElevation)};
    }

    // Orientation without preference: a normalised four-dimensional normal sample is a uniform rotation.
    Pose anyOrientation(double maxElevation)
    {
        std::normal_distribution<double> normal;
        double w = normal(m_random);
        double x = normal(m_random);
        double y = normal(m_random);
        double z = normal(m_random);
        const double length = std::sqrt(w * w + x * x + y * y + z * z);
        w /= length;
        x /= length;
        y /= length;
        z /= length;
        const Matrix base = {1 - 2 * (y * y + z * z), 2 * (x * y - w * z),     2 * (x * z + w * y),
                             2 * (x * y + w * z),     1 - 2 * (x * x + z * z), 2 * (y * z - w * x),
                             2 * (x * z - w * y),     2 * (y * z + w * x),     1 - 2 * (x * x + y * y)};
        return {base, position(maxElevation)};
    }

private:
    static constexpr double kPi = 3.14159265358979323846;
    std::mt19937 m_random;
};

// Direction from the tracker to the target, seen in the base frame.
inline Vector directionInBase(const Pose& pose)
{
    const Vector& p = pose.position;
    const double length = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    return multiply(transposed(pose.base), Vector{p[0] / length, p[1] / length, p[2] / length});
}

} // namespace kor_test
