// Dual-level model: mount modes 1 and 2.
#ifndef KORINTERFACE_CKORDUALLEVEL_H
#define KORINTERFACE_CKORDUALLEVEL_H

#include "KORInterface/CKorModel.h"

/// Orientation from the measured direction, two levels at about right angles, and the two axes.
///
///   R = (u, s1, s2) (Rz(e1) Ry(e2))^-1      s1 = unit(g x u)      s2 = unit(u x s1)
///
/// (u, s1, s2) are columns; u is the direction of the measured position (x, y, z), from the tracker to the sensor; g is
/// the direction of the azimuth axis, upwards; both in the tracker frame. With S the scale factors, A1 and A2 the
/// encoder offsets and k turning degrees into radians:
///   e1 = azimuth k - A1         azimuth axis
///   e2 = A2 - elevation k       elevation axis; the line of sight is the sensor's +x
///   a3 = level X k              tilt along the line of sight
///   a4 = -level Y k             tilt across it, negated
///   w  = (90 + S[0]) k          angle between the two level axes
/// g = (cos l sin t, sin l sin t, cos t), or (0, 0, 1) while a3 and a4 both lie within 1.745329251994e-5:
///   t     = asin(sqrt(sin^2 a3 + sin^2 a4 - 2 sin a3 sin a4 cos w) / sin w)                 total tilt
///   p     = acos(sin|a4| / sin|t|) + S[1] k                                                 its direction
///   psi   = asin(cos p sin t), from a quarter turn on -asin(cos(pi - p) sin t); negated for a4 < 0
///   beta  = acos(min(1, |z/tan t| / |z/tan a4|))
///   alpha = acos(-tan psi |z| / sqrt(x^2 + y^2))
///   l     = phi + alpha - beta          a3 > 0, psi > 0
///           phi + alpha + beta          a3 < 0, psi > 0
///           phi + 2 pi - alpha - beta   a3 < 0, psi < 0
///           phi + 2 pi - alpha + beta   otherwise
///   phi   = horizontal angle of (x, y); a component within 1.7444444444444444e-5 of zero counts as zero
/// The formulas follow from the triangles of the tilt cone and the line of sight; they are this system's own.
///
/// Accuracy  angle between R and a perfect sensor's base, upright, S[1] = 0 (tests/models/geometric):
///           z and level Y of equal sign   3e-11 degrees for tilts to 20, elevations to 45 degrees
///           of opposite sign              2 |level X level Y| tan|el| / cos el, all in radians: worst 0.01 degrees
///                                         at tilts to 1, 0.3 at tilts to 5 (elevations to 30), 9 at 20 (to 45)
///           both levels in the dead zone  the tilt is dropped: about 1e-3 degrees
/// Notes  1  Slots 7 and 8, the parity, S[2] to S[7], the QVC and the level parameters have no influence. Where the
///           result is exact, level X has none either.
///        2  S[1] turns the direction of the tilt but not level Y's own part in it: S[1] = 0.5 costs up to 2.4e-3
///           degrees at tilts to 5 degrees, more where |level Y| < tan|S[1]| |level X|.
///        3  An upside-down base is never recovered: g points upwards.
///        4  Not-a-number throughout, with the result still true: a zero position, one along g, z = 0 with a tilt, and
///           level readings that no tilt can give. With level X exactly 0 and level Y not, rounding does the same in
///           about one reading of 500.
///        5  The result is false only when the axes' matrix cannot be inverted, which takes an angle that is not a
///           number; the nine elements are written all the same, with the axes' matrix in place of its inverse.
///        6  Lengths are in the unit of the position; only the dead zone of phi has a size of its own.
class KORINTERFACE_API CKorDualLevel : public CKorModel {
public:
    CKorDualLevel();
    CKorDualLevel(const CKorDualLevel& other);
    CKorDualLevel(CKorDualLevel&& other) noexcept;
    CKorDualLevel& operator=(const CKorDualLevel& other);
    CKorDualLevel& operator=(CKorDualLevel&& other) noexcept;
    ~CKorDualLevel() override;

    void UpdateSFactors(float* values, int count) override;
    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size) override;
};

#endif
