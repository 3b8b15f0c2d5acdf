// Dual-level model: mount modes 1 and 2.
#ifndef KORINTERFACE_CKORDUALLEVEL_H
#define KORINTERFACE_CKORDUALLEVEL_H

#include "KORInterface/CKorModel.h"

/// Orientation from the direction to the tracker and two levels at about right angles.
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
