// Sequences of samples for the comparisons to the bit.
#pragma once

#include "models/two_level/sensor.h"

#include <array>
#include <cmath>
#include <ostream>

namespace kor_test {

enum class Motion { kStatic, kMoving, kSwing, kNoise };

// A sensor that stands, moves and turns, swings with accelerated levels, or sends numbers without sense.
class Sequence {
public:
    Sequence(unsigned int seed, int parity, Motion motion)
        : m_source(seed), m_parity(parity), m_motion(motion), m_sensor(ordinarySensor(m_source, parity)),
          m_pose(m_source.tilted(1, 4, 25))
    {
        for (double& value : m_direction) {
            value = m_source.uniform(-1, 1);
        }
    }

    const Priming& priming() const { return m_sensor.prm; }
    PoseSource& source() { return m_source; }

    Call at(int sample)
    {
        const double t = 0.01 * sample;
        Pose pose = m_pose;
        Vector acceleration = {0, 0, 0};
        if (m_motion == Motion::kMoving) {
            for (std::size_t i = 0; i < 3; ++i) {
                pose.position[i] += 100.0 * m_direction[i] * t;
            }
            pose.base = multiply(pose.base, multiply(rotationZ(0.02 * t), rotationX(0.01 * t)));
        } else if (m_motion == Motion::kSwing) {
            for (std::size_t i = 0; i < 3; ++i) {
                pose.position[i] += 30.0 * m_direction[i] * std::sin(3.0 * t);
                acceleration[i] = -270.0 * m_direction[i] * std::sin(3.0 * t);
            }
            pose.base = multiply(rotationX(0.03 * std::sin(2.0 * t)), pose.base);
        }
        Call call = callAt(m_sensor.read(mounted(pose, m_parity), acceleration), sample);
        call.io[7] = 20.0 + 0.5 * std::sin(0.7 * t);
        call.io[8] = 22.0 + 0.3 * t;
        if (m_motion == Motion::kNoise) {
            for (std::size_t i = 0; i < 9; ++i) {
                const double range = i < 3 ? 5000.0 : i < 5 ? 20.0 : i < 7 ? 200.0 : 40.0;
                call.io[i] = m_source.uniform(-range, range);
            }
            call.time1 += m_source.uniform(0.0, 0.004);
        }
        return call;
    }

private:
    PoseSource m_source;
    int m_parity;
    Motion m_motion;
    TwoLevelSensor m_sensor;
    Pose m_pose;
    Vector m_direction{};
};

inline constexpr std::array<Motion, 4> kMotions = {Motion::kStatic, Motion::kMoving, Motion::kSwing, Motion::kNoise};

inline const char* nameOf(Motion motion)
{
    switch (motion) {
    case Motion::kStatic:
        return "static";
    case Motion::kMoving:
        return "moving";
    case Motion::kSwing:
        return "swing";
    case Motion::kNoise:
        break;
    }
    return "noise";
}

inline void PrintTo(Motion motion, std::ostream* out)
{
    *out << nameOf(motion);
}

// Numbers that arithmetic treats apart.
inline const std::array<double, 9>& strangeNumbers()
{
    static const std::array<double, 9> all = {std::nan(""), INFINITY, -INFINITY, 0.0, -0.0,
                                              1e300,        -1e300,   5e-324,    90.0};
    return all;
}

} // namespace kor_test
