#include "KORInterface/CKorModel.h"

CKorModel::CKorModel() : sFactors{}, iMMode(0), qvcParameters{}, level1Parameters{}, level2Parameters{}, qvcMatrix{} {}

CKorModel::CKorModel(const CKorModel& other) = default;
CKorModel::CKorModel(CKorModel&& other) noexcept = default;
CKorModel& CKorModel::operator=(const CKorModel& other) = default;
CKorModel& CKorModel::operator=(CKorModel&& other) noexcept = default;
CKorModel::~CKorModel() = default;

void CKorModel::UpdateSFactors(float* /*values*/, int /*count*/) {}

bool CKorModel::CalTranxMatrix(double* const /*matrix*/, double /*angle1*/, double /*angle2*/, int /*size*/)
{
    return true;
}

// Kept [parameters-ignored]: what a derived class does not take up; the caller's variables are left alone.
void CKorModel::UpdateQVCParameters(float* /*values*/, int /*count*/) {}

void CKorModel::UpdateLevel1Parameters(float* /*values*/, int /*count*/) {}

void CKorModel::UpdateLevel2Parameters(float* /*values*/, int /*count*/) {}

void CKorModel::GetQVCMatrix(float* /*out*/, int /*count*/) {}

void CKorModel::SetLevelLimits(bool /*level1Excluded*/, bool /*level2Excluded*/) {}

void CKorModel::SetCounter(unsigned long /*counter1*/, unsigned long /*counter2*/) {}

void CKorModel::SetTimeInterval(double /*time1*/, double /*time2*/) {}

void CKorModel::GetLevelValues(float& /*level1*/, float& /*level2*/) {}

void CKorModel::SetDynamicParameters(float* /*values*/) {}

int CKorModel::set_iMMode(int mode)
{
    if (mode >= 0) {
        iMMode = mode;
    }
    return iMMode;
}
