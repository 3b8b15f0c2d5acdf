// Directions, frames and angles that several models share.
#pragma once

#include <cmath>

#include "mek/Literals.h"
#include "mek/Values.h"
#include "mek/Vector.h"

namespace kor {

/// Horizontal angle of (x, y) with dead zones of 1.7444444444444444e-5 about both axes.
/// Given     x, y    any numbers
/// Returned  result  radians in [0, 2 pi), in the shortened literals; 0 near the origin
double horizontalAngle(double x, double y);

/// Unit vector along (1, tan t1, tan t2): a level's axis. Angles in degrees.
mek::Vec3 levelAxis(double t1, double t2);

/// Unit vector along (tan t1, 1, tan t2): a line of sight. Angles in degrees.
/// Kept [place-of-the-1]: the 1 stands second here and first in a level's axis.
mek::Vec3 sightAtZeroElevation(double t1, double t2);

/// Axis (cos c, 0, sin c) of the elevation turn. Angle in degrees.
mek::Vec3 elevationAxis(double c);

/// Horizontal and vertical angle of a position, degrees.
struct Direction {
    double horizontal;
    double vertical;
};

inline Direction directionOf(const mek::Vec3& position)
{
    const mek::Spherical point = mek::sphericalOf(position);
    return {point.horizontal, point.vertical};
}

/// Unit direction (-cos v sin h, cos h cos v, sin v) from angles in degrees.
inline mek::Vec3 unitDirection(const Direction& angles)
{
    const double h = angles.horizontal * mek::kRadPerDeg;
    const double v = angles.vertical * mek::kRadPerDeg;
    return {-std::cos(v) * std::sin(h), std::cos(h) * std::cos(v), std::sin(v)};
}

/// Vertical that the mount parity names: +z for a non-zero parity, -z for zero.
inline mek::Vec3 signedVertical(int parity)
{
    return {0.0, 0.0, parity != 0 ? 1.0 : -1.0};
}

/// Cosine of an angle in degrees.
inline double cosineOf(double degrees)
{
    return std::cos(degrees * mek::kRadPerDeg);
}

/// Gravity in the stage from its angles to the line of sight and to a level's axis; the code is that of the solve.
/// Given     vertical               signed vertical: picks one of the two mirror solutions
///           sight, level           in the stage, unit vectors
///           cosSight, cosLevel     of the angles from gravity to the line of sight and to the level's axis
inline mek::RelAngSolution stageGravity(const mek::Vec3& vertical, const mek::Vec3& sight, const mek::Vec3& level,
                                        double cosSight, double cosLevel)
{
    return mek::solveVectorsRelCos(vertical, sight, level, cosSight, cosLevel);
}

/// Frame spanned by two directions, as columns: across = unit of a x b, b, across x b.
inline mek::Mat3 frameOf(const mek::Vec3& a, const mek::Vec3& b)
{
    const mek::Vec3 across = mek::normalised(mek::cross(a, b));
    return mek::columns(across, b, mek::cross(across, b));
}

/// What the solves of several levels have in common: the line of sight in both frames.
struct SightLine {
    mek::Vec3 stage;        ///< unit vector
    double cosToGravity;    ///< of its angle to gravity
    mek::Mat3 trackerFrame; ///< that it spans with the vertical
};

/// Given     sight     line of sight in the stage, unit vector
///           measured  its direction in the tracker frame
/// Notes  1  The tracker's vertical is taken as -z for both mount parities.
SightLine sightLine(const mek::Vec3& sight, const Direction& measured);

/// Rotation of the azimuth stage from gravity in the stage and the direction of the line of sight in both frames.
mek::Mat3 stageRotation(const mek::Vec3& gravity, const SightLine& sight);

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
