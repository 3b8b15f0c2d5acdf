// How a simulated sensor is moved: a true pose for every time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "simulation/Sensor.h"

namespace kor::simulation {

class Motion {
public:
    virtual ~Motion() = default;

    /// Time in seconds from the start. The acceleration is left to poseAt below.
    virtual Pose pose(double time) const = 0;

    /// Poses that are held and follow each other without a way from one to the next: nothing is accelerated.
    virtual bool held() const { return false; }
};

/// The pose with the target point's acceleration: the second difference over five milliseconds on both sides, at
/// every sampling rate. It is exactly zero while the point does not move.
Pose poseAt(const Motion& motion, double time);

/// A time for a sine whose period divides the given one: far from the start without the whole periods, or the sine
/// would lose its digits and in the end its value.
double withinPeriod(double time, double period);

/// Names of the built-in motions, for a message.
extern const char* const kMotionNames;

/// static, circle, roll, swing or random; nothing for any other name. What is random about it comes from the seed.
/// The base stands as the mount mode expects it: upside down in mode 9, upright in all others.
std::unique_ptr<Motion> builtInMotion(const std::string& name, int mountMode, std::uint64_t seed);

} // namespace kor::simulation
