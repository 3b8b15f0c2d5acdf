// Pendulum model: mount modes 3, 4 and every mode without a model of its own.
#ifndef KORINTERFACE_CKORPENDULUM_H
#define KORINTERFACE_CKORPENDULUM_H

#include "KORInterface/CKorModel.h"

/// Orientation from the measured direction, the elevation of a pendulum, and the two axes.
///
///   R = M (Rz(e1) Ry(e2))^-1      M = (D x C, D, C)      C = unit(u x D)
///
/// M's columns are in the tracker frame: u is the direction of the measured position P = (x, y, z), from the tracker
/// to the sensor; D is the direction of the elevation axis, which makes the angle a with u and lies to its left. With
/// S the scale factors, A1 and A2 the encoder offsets, k turning degrees into radians, and s = -1 for a parity of
/// exactly 1, else +1:
///   e1     = s (azimuth k - A1) S[4]        azimuth axis
///   e2     = s (A2 - elevation k) S[5]      elevation axis
///   target = s (S[1] + level Y) k S[6]      elevation of the pendulum
///   a      = S[0] k + pi/2                  angle between line of sight and elevation axis
///   p      = (sin az cos el, cos az cos el, sin el), el = S[2] k, az = S[3] k: the pendulum in the azimuth stage
/// D is searched by its elevation rho, starting with target, until the pendulum has its elevation:
///   rho <- rho - error/2.7,   error = asin((M Ry(e2)^-1 p).z) - target
/// until |error| < 1.7444444444444444e-5, 500 frames at most. For one rho, D points from Q to P, or from P to Q where
/// z and rho have opposite signs; Q is where the axis meets the tracker's height. With |rho| < 1.7444444444444444e-5 it
/// does not: Q is then 1000 mm from P at P's height. Q follows from plane triangles:
///   w = |z/sin rho| = |PQ|,   s^2 = w^2 + r^2 - 2 w r cos a = |OQ|^2   (O the tracker, r = |P|)
///   cos(POQ, seen from above) = (h^2 + s^2 - (z/tan rho)^2) / (2 h s),   h^2 = x^2 + y^2
/// with pi - a for a where the signs are opposite.
/// The formulas and the damping are this system's own.
///
/// Accuracy  angle between R and a perfect sensor's base (tests/models/geometric), degrees:
///           p along the elevation axis    median 1.2e-11, tilts to 5, elevations to 30; 1e-3 with rho in the dead zone
///           p off it by 0.3 to 3 degrees  median 7.7e-4, worst 1.1e-3; tilts to 20, elevations to 60: 9.5e-4, 2.3e-3
///           The search stops at its tolerance of 1e-3 degrees and always on the same side: a bias, not a scatter.
/// Notes  1  Slots 3, 7 and 8, S[7], the QVC and the level parameters have no influence. Lengths are in mm, but the arm
///           of 1000 mm shows in the rounding only.
///        2  After 500 frames the last one is used, even if the search has not converged, and no result says so. A
///           pendulum 80 degrees off the elevation axis takes some 80 frames; beyond 90 degrees none converges.
///        3  R is right only while D lies left of the line of sight, (u x D).z > 0: roll within a quarter turn.
///           An upside-down sensor is described by the odd parity, S[0] of the other sign and p turned by Rx(180).
///        4  A small height costs digits: 2e-7 degrees at z = 0.1 mm, 3e-3 at 0.001 mm, not-a-number below 1e-5 mm;
///           with z = 0 and |rho| above the dead zone D vanishes and the frame is arbitrary. A position along the
///           vertical gives not-a-number, a zero position takes u = (1, 1, 1)/sqrt(3). The result stays true.
///        5  The result is false only when the axes' matrix cannot be inverted, which takes an angle that is not a
///           number; the nine elements are written all the same, with the axes' matrix in place of its inverse.
class KORINTERFACE_API CKorPendulum : public CKorModel {
public:
    CKorPendulum();
    CKorPendulum(const CKorPendulum& other);
    CKorPendulum(CKorPendulum&& other) noexcept;
    CKorPendulum& operator=(const CKorPendulum& other);
    CKorPendulum& operator=(CKorPendulum&& other) noexcept;
    ~CKorPendulum() override;

    void UpdateSFactors(float* values, int count) override;
    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size) override;
};

#endif
