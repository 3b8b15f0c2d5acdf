// Directions, frames and angles that several models share.
#pragma once

#include "mek/Values.h"

namespace kor {

/// Horizontal angle of (x, y) with dead zones of 1.7444444444444444e-5 about both axes.
/// Given     x, y    any numbers
/// Returned  result  radians in [0, 2 pi), in the shortened literals; 0 near the origin
double horizontalAngle(double x, double y);

/// Unit vector along (1, tan t1, tan t2): a level's axis. Angles in degrees.
mek::Vec3 levelAxis(double t1, double t2);

/// Unit vector along (tan t1, 1, tan t2): a line of sight. Angles in degrees.
/// Kept: the 1 stands second here and first in a level's axis.
mek::Vec3 sightAtZeroElevation(double t1, double t2);

/// Axis (cos c, 0, sin c) of the elevation turn. Angle in degrees.
mek::Vec3 elevationAxis(double c);

/// Horizontal and vertical angle of a position, degrees.
struct Direction {
    double horizontal;
    double vertical;
};

Direction directionOf(const mek::Vec3& position);

/// Unit direction (-cos v sin h, cos h cos v, sin v) from angles in degrees.
mek::Vec3 unitDirection(const Direction& angles);

/// Vertical that the mount parity names: +z for a non-zero parity, -z for zero.
mek::Vec3 signedVertical(int parity);

/// Gravity in the stage from its angles to the line of sight and to a level's axis; the code is that of the solve.
struct StageGravity {
    mek::Vec3 direction;
    int code;
};

/// Given     vertical               signed vertical: picks one of the two mirror solutions
///           sight, level           in the stage, unit vectors
///           sightDeg, levelDeg     degrees: gravity to the line of sight, gravity to the level's axis
StageGravity stageGravity(const mek::Vec3& vertical, const mek::Vec3& sight, const mek::Vec3& level, double sightDeg,
                          double levelDeg);

/// Frame spanned by two directions, as columns: across = unit of a x b, b, across x b.
mek::Mat3 frameOf(const mek::Vec3& a, const mek::Vec3& b);

/// Rotation of the azimuth stage from gravity in the stage and the direction of the line of sight in both frames.
/// Given     gravity   in the stage
///           sight     line of sight in the stage, unit vector
///           measured  direction of the line of sight in the tracker frame
/// Notes  1  The tracker's vertical is taken as -z for both mount parities.
mek::Mat3 stageRotation(const mek::Vec3& gravity, const mek::Vec3& sight, const Direction& measured);

/// Angles of R = Rx(x) Ry(y) Rz(z), radians.
struct EulerAngles {
    double x;
    double y;
    double z;
};

EulerAngles eulerAngles(const mek::Mat3& r);

/// Rx(x) Ry(y) Rz(z).
mek::Mat3 fromEulerAngles(const EulerAngles& angles);

/// asin(sin(level) + acc/9800): the level freed of an acceleration along its axis.
/// Given     levelDeg  degrees
///           acc       mm/s^2
///           kept      what to return when the sum is beyond one
/// Returned  result    degrees
double levelWithoutAcceleration(double levelDeg, double acc, double kept);

} // namespace kor
