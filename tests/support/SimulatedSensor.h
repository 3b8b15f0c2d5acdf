// A perfect sensor of each kind: what it reads at a true pose.
//
// The tests' only sensor. It stands on its own: neither the library nor the simulated sensor that the tool offers takes
// part, so that a mistake in one of them cannot hide in the other.
#pragma once

#include "support/Matrices.h"
#include "support/Poses.h"

#include <array>

namespace kor_test {

/// What a model is primed with.
struct Parameters {
    std::array<float, 8> factors{};
    std::array<float, 6> qvc{};
    std::array<float, 7> level1{};
    std::array<float, 7> level2{};
    int parity = 0;
};

/// What a model is given for one sample: the nine inputs and the zero references of both axes, radians.
struct Sample {
    std::array<double, 9> slots{};
    double offset1 = 0.0;
    double offset2 = 0.0;
};

/// A sensor's readings at a pose, and where its parts point.
struct Reading {
    Sample sample;         // slots 3 to 6 as far as the model reads them; 7 and 8 are zero
    Matrix stage{};        // azimuth stage -> tracker frame
    Vector sight{};        // line of sight in the stage (three vectors, two levels)
    Vector level{};        // axis of the first level in the stage (three vectors, two levels)
    bool reachable = true; // false when the axes cannot point the line of sight at the tracker
};

inline Vector cross(const Vector& a, const Vector& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline double dot(const Vector& a, const Vector& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline Vector unit(const Vector& v)
{
    const double length = std::sqrt(dot(v, v));
    return {v[0] / length, v[1] / length, v[2] / length};
}

/// The position and the zero references, all readings zero.
Sample sampleAt(const Pose& pose, double offset1, double offset2);

/// Mount modes 1 and 2. Both levels ride on the azimuth stage; levelTurn turns them about its axis, degrees.
Reading readDualLevel(const Pose& pose, const Parameters& parameters, double offset1, double offset2,
                      double levelTurn = 0.0);

/// Mount modes 3 and 4. The parity changes the signs of tilt and axis angles; the pose is that of the upright base.
Reading readPendulum(const Pose& pose, const Parameters& parameters, double offset1, double offset2);

/// Mount modes 5 and 6.
Reading readPolarizer(const Pose& pose, const Parameters& parameters, double offset1, double offset2);

/// Mount modes 7 and 8. vertical is the direction that the level is referred to, (0, 0, 1) or (0, 0, -1).
Reading readThreeVec(const Pose& pose, const Parameters& parameters, double offset1, double offset2,
                     const Vector& vertical);

/// Mount modes 9 and 10, and the first version of their model. Both levels are referred to the downward vertical on
/// both mount sides; the acceleration (tracker frame, mm/s^2) deflects them as it does accelerometers.
Reading readTwoLevels(const Pose& pose, const Parameters& parameters, double offset1, double offset2,
                      const Vector& acceleration = {0, 0, 0});

} // namespace kor_test
