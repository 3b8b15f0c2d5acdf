#include "KORInterface/CKorPolarizer.h"

#include <cmath>

#include "mek/Literals.h"
#include "mek/Values.h"
#include "models/Geometry.h"
#include "models/ParameterArrays.h"

CKorPolarizer::CKorPolarizer() = default;
CKorPolarizer::CKorPolarizer(const CKorPolarizer& other) = default;
CKorPolarizer::CKorPolarizer(CKorPolarizer&& other) noexcept = default;
CKorPolarizer& CKorPolarizer::operator=(const CKorPolarizer& other) = default;
CKorPolarizer& CKorPolarizer::operator=(CKorPolarizer&& other) noexcept = default;
CKorPolarizer::~CKorPolarizer() = default;

void CKorPolarizer::UpdateSFactors(float* values, int count)
{
    kor::copyIn(sFactors, values, count);
}

bool CKorPolarizer::CalTranxMatrix(double* const matrix, double angle1, double angle2, int /*size*/)
{
    const double x = matrix[0];
    const double y = matrix[1];
    const double z = matrix[2];
    const double r = std::sqrt(y * y + x * x + z * z);

    const double roll =
        (static_cast<double>(sFactors[1]) + matrix[4]) * mek::kRadPerDeg * static_cast<double>(sFactors[6]);
    const double squareness = static_cast<double>(sFactors[0]) * mek::kRadPerDeg;
    const double elevation = (angle2 - matrix[6] * mek::kRadPerDeg) * static_cast<double>(sFactors[5]);
    const double azimuth = -(matrix[5] * mek::kRadPerDeg - angle1) * static_cast<double>(sFactors[4]);

    // Kept: the horizontal angle is atan2(x, y), counted from the y axis.
    const mek::Mat3 rotation = mek::rotationZ(-std::atan2(x, y)) * mek::rotationX(std::asin(z / r)) *
                               mek::rotationY(roll) * mek::rotationZ(squareness) * mek::rotationX(elevation) *
                               mek::rotationZ(azimuth);
    mek::store(rotation, matrix);
    return true;
}
