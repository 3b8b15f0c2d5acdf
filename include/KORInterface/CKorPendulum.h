// Pendulum model: mount modes 3, 4 and every mode without a model of its own.
#ifndef KORINTERFACE_CKORPENDULUM_H
#define KORINTERFACE_CKORPENDULUM_H

#include "KORInterface/CKorModel.h"

/// Orientation from the direction to the tracker and the elevation of a pendulum.
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
