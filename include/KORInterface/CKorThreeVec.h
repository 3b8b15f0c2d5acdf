// Three-vector model: mount modes 7 and 8.
#ifndef KORINTERFACE_CKORTHREEVEC_H
#define KORINTERFACE_CKORTHREEVEC_H

#include "KORInterface/CKorModel.h"

/// Orientation from three known directions: line of sight, one level's axis and the vertical.
///
///   R = B A^T Rz(-(azimuth - A1 K) k)      A = frame(x, r)   B = frame(g, d)
///
/// frame(a, b) has the columns c, b, c x b with c = unit(a x b). With Q the QVC and L the first level's parameters,
/// A1 and A2 the encoder offsets, k turning degrees into radians and K radians into degrees:
///   d = direction of the measured position (tracker frame), el its elevation in degrees
///   r = unit(tan Q[3], 1, tan Q[4]) turned about (cos Q[5], 0, sin Q[5]) by elevation - A2 K: the line of sight
///   l = unit(1, tan L[3], tan L[4]): the level's axis; r and l in the azimuth stage
///   g = (0, 0, 1) for a non-zero parity, (0, 0, -1) for zero: the signed vertical
///   x = unit vector at el + 90 degrees to r and (-level Y - L[5]) L[6] + 90 degrees to l; of two, the one nearer to g
/// GetQVCMatrix gives (p.x, p.z, p.y) with p = B A^T (Q[0], Q[2], Q[1]), single precision; entries 3 to 5 stay.
///
/// Accuracy  angle between R and a perfect sensor's base (tests/models/geometric), degrees:
///           even parity                          8e-11, tilts to 30, elevations to 45, from the shortened constants
///           odd parity, r at right angles to l   6e-11
///           odd parity otherwise                 2 tan|el| |r.l| radians
/// Notes  1  The first level's parameters go with level Y (slot 4), whose sign is turned. Slots 3, 7 and 8, the scale
///           factors and the second level's parameters have no influence.
///        2  The nearer solution is the right one within a quarter turn of roll about the line of sight.
///        3  The result is always true. A position along the vertical, or r along l, gives not-a-number. If no
///           direction makes the two angles, the nearest direction gives the frame.
class KORINTERFACE_API CKorThreeVec : public CKorModel {
public:
    CKorThreeVec();
    CKorThreeVec(const CKorThreeVec& other);
    CKorThreeVec(CKorThreeVec&& other) noexcept;
    CKorThreeVec& operator=(const CKorThreeVec& other);
    CKorThreeVec& operator=(CKorThreeVec&& other) noexcept;
    ~CKorThreeVec() override;

    void UpdateSFactors(float* values, int count) override;
    bool CalTranxMatrix(double* const matrix, double angle1, double angle2, int size) override;
    void UpdateQVCParameters(float* values, int count) override;
    void UpdateLevel1Parameters(float* values, int count) override;
    void UpdateLevel2Parameters(float* values, int count) override;
    void GetQVCMatrix(float* out, int count) override;
};

#endif
