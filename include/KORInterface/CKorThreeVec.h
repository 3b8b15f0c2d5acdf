// Three-vector model: mount modes 7 and 8.
#ifndef KORINTERFACE_CKORTHREEVEC_H
#define KORINTERFACE_CKORTHREEVEC_H

#include "KORInterface/CKorModel.h"

/// Orientation from three known directions: line of sight, level axis and vertical.
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
