#include "KORInterface/CKorPolarizer.h"

#include <cmath>

#include "mek/Literals.h"
#include "mek/Values.h"
#include "models/EngineModels.h"
#include "models/ParameterArrays.h"

namespace {

mek::AboutZ squarenessTurn(float degrees)
{
    return mek::by<mek::AboutZ>(static_cast<double>(degrees) * mek::kRadPerDeg);
}

// A function of its own for the public model and for the engine's, which differ in where the turn comes from.
template <class SquarenessTurn>
void orientation(double* matrix, double angle1, double angle2, const SquarenessTurn& squareness, const float* sFactors)
{
    const double x = matrix[0];
    const double y = matrix[1];
    const double z = matrix[2];
    const double r = std::sqrt(y * y + x * x + z * z);

    const double roll =
        (static_cast<double>(sFactors[1]) + matrix[4]) * mek::kRadPerDeg * static_cast<double>(sFactors[6]);
    const double elevation = (angle2 - matrix[6] * mek::kRadPerDeg) * static_cast<double>(sFactors[5]);
    const double azimuth = (matrix[5] * mek::kRadPerDeg - angle1) * static_cast<double>(sFactors[4]);

    // Kept [polarizer-azimuth]: the horizontal angle is atan2(x, y), counted from the y axis.
    using mek::AboutX;
    using mek::AboutY;
    using mek::AboutZ;
    mek::store(mek::product(mek::reversed(mek::by<AboutZ>(std::atan2(x, y))), mek::by<AboutX>(std::asin(z / r)),
                            mek::by<AboutY>(roll), squareness(), mek::by<AboutX>(elevation),
                            mek::reversed(mek::by<AboutZ>(azimuth))),
               matrix);
}

} // namespace

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
    orientation(
        matrix, angle1, angle2, [this] { return squarenessTurn(sFactors[0]); }, sFactors);
    return true;
}

bool kor::EnginePolarizer::CalTranxMatrix(double* const matrix, double angle1, double angle2, int /*size*/)
{
    orientation(
        matrix, angle1, angle2, [this] { return m_squareness.of(squarenessTurn, sFactors[0]); }, sFactors);
    return true;
}
