// How a simulated sensor is moved: a true pose for every time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "simulation/Sensor.h"

namespace kor::tool {

class Motion {
public:
    virtual ~Motion() = default;

    // Time in seconds from the start. The acceleration is left to poseAt below.
    virtual Pose pose(double time) const = 0;

    // Poses that are held and follow each other without a way from one to the next: nothing is accelerated.
    virtual bool held() const { return false; }
};

// The pose with the target point's acceleration: the second difference over five milliseconds on both sides, whatever
// the sampling rate. It is exactly zero while the point does not move.
Pose poseAt(const Motion& motion, double time);

// A time for a sine whose period divides the given one: far from the start without the whole periods, or the sine would
// lose its digits and in the end its value.
double withinPeriod(double time, double period);

// Names of the built-in motions, for a message.
extern const char* const kMotionNames;

// static, circle, roll, swing or random; nothing for any other name. What is random about it comes from the seed.
// The base stands as the mount mode expects it: upside down in mode 9, upright in all others.
std::unique_ptr<Motion> builtInMotion(const std::string& name, int mountMode, std::uint64_t seed);

// One way-point: where the sensor is at a time.
struct WayPoint {
    double time;             // seconds
    Vec3 position;           // mm, tracker frame
    double roll, pitch, yaw; // degrees; base to tracker is Rz(yaw) Ry(pitch) Rx(roll)
};

// Natural cubic splines through the way-points: of each coordinate, and of each component of the unit quaternion, which
// is scaled to unit length afterwards. At rest before the first and after the last one. Throws Failure (65) when there
// is none or the times do not ascend.
std::unique_ptr<Motion> wayPointMotion(const std::vector<WayPoint>& points);

// The way-points of a CSV file: columns time_s, x_mm, y_mm, z_mm, roll_deg, pitch_deg, yaw_deg in any order. Throws
// Failure with file and line.
std::vector<WayPoint> readWayPoints(const std::string& path);

} // namespace kor::tool
