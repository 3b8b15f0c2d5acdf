// The shortened literals of the angle arithmetic.
//
// Kept [shortened-literals]: they are the system's own values, and exact ones would change results in the last digits.
// Each line gives the unit and the relative error against the exact value; a test pins the digits.
#pragma once

namespace mek {

inline constexpr double kRadPerDeg = 0.01745329251994;       ///< rad/degree, pi/180 (1 - 1.9e-13)
inline constexpr double kDegPerRad = 57.29577951308;         ///< degree/rad, 180/pi (1 - 4.1e-14)
inline constexpr double kPi = 3.14159265359;                 ///< rad, pi (1 + 6.6e-14)
inline constexpr double kHalfPi = 1.570796326795;            ///< rad, pi/2 (1 + 6.6e-14)
inline constexpr double kThreeHalvesPi = 4.7123889803850005; ///< rad, 3 pi/2 (1 + 6.6e-14)
inline constexpr double kTwoPi = 6.28318530718;              ///< rad, 2 pi (1 + 6.6e-14)

/// Degrees of an angle in radians, in single precision: multiplied in double, then narrowed.
constexpr float degrees(float radians) noexcept
{
    return static_cast<float>(static_cast<double>(radians) * kDegPerRad);
}

} // namespace mek
