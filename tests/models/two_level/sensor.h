// The simulated sensor with the parameters of a two-level model, and what a host calls the model with.
#pragma once

#include "literal/TwoLevel.h"
#include "support/SimulatedSensor.h"

#include <array>
#include <cstdint>

namespace kor_test {

inline constexpr double kTruePi = 3.14159265358979323846;

class TwoLevelSensor {
public:
    explicit TwoLevelSensor(const Priming& priming) : prm(priming) {}

    Priming prm;

    // The nine inputs at a pose, at steady temperatures.
    std::array<double, 9> read(const Pose& pose, const Vector& acceleration = {0, 0, 0}) const
    {
        std::array<double, 9> slots = reading(pose, acceleration).sample.slots;
        slots[7] = 20.0;
        slots[8] = 22.0;
        return slots;
    }

    // The rotation of the azimuth stage, and where its rotation centre is.
    Matrix stage(const Pose& pose) const { return reading(pose).stage; }

    Vector centre(const Pose& pose) const
    {
        const Vector q = {static_cast<double>(prm.qvc[0]), static_cast<double>(prm.qvc[2]),
                          static_cast<double>(prm.qvc[1])};
        const Vector offset = multiply(stage(pose), q);
        return {pose.position[0] - offset[0], pose.position[1] - offset[1], pose.position[2] - offset[2]};
    }

private:
    Reading reading(const Pose& pose, const Vector& acceleration = {0, 0, 0}) const
    {
        const Parameters parameters = {{}, prm.qvc, prm.level1, prm.level2, prm.parity};
        return readTwoLevels(pose, parameters, prm.azRef, prm.elRef, acceleration);
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
