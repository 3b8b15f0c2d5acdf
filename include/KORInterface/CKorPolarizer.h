// Polarizer model: mount modes 5 and 6.
#ifndef KORINTERFACE_CKORPOLARIZER_H
#define KORINTERFACE_CKORPOLARIZER_H

#include "KORInterface/CKorModel.h"

/// Orientation from the direction to the tracker, the roll that the polarizer reads, and the two axes.
///
///   R = Rz(-atan2(x, y)) Rx(asin(z/r)) Ry(ry) Rz(rz0) Rx(rx) Rz(rz1)
///
/// with (x, y, z) the measured position, r its length, S the scale factors, A1 and A2 the encoder offsets and
///   ry  = (S[1] + level Y) k S[6]      roll about the line of sight
///   rz0 = S[0] k                       squareness of the two axes
///   rx  = (A2 - elevation k) S[5]      elevation axis
///   rz1 = (A1 - azimuth k) S[4]        azimuth axis
/// k turns degrees into radians. The rotations are right-handed and elementary.
///
/// Notes  1  S[2], S[3], S[7], level X, the temperatures, the parity, the QVC and the level parameters have no
///           influence.
///        2  CalTranxMatrix always returns true; a zero position gives not-a-number throughout.
class KORINTERFACE_API CKorPolarizer : public CKorModel {
public:
    CKorPolarizer();
    CKorPolarizer(const CKorPolarizer& other);
    CKorPolarizer(CKorPolarizer&& other) noexcept;
    CKorPolarizer& operator=(const CKorPolarizer& other);
    CKorPolarizer& operator=(CKorPolarizer&& other) noexcept;
    ~CKorPolarizer() override;

    void UpdateSFactors(float* values, int count) override;
    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size) override;
};

#endif
