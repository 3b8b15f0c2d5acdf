#include "KORInterface/CKorThreeVec.h"

#include "mek/Literals.h"
#include "mek/Values.h"
#include "models/Geometry.h"
#include "models/ParameterArrays.h"

CKorThreeVec::CKorThreeVec() = default;
CKorThreeVec::CKorThreeVec(const CKorThreeVec& other) = default;
CKorThreeVec::CKorThreeVec(CKorThreeVec&& other) noexcept = default;
CKorThreeVec& CKorThreeVec::operator=(const CKorThreeVec& other) = default;
CKorThreeVec& CKorThreeVec::operator=(CKorThreeVec&& other) noexcept = default;
CKorThreeVec::~CKorThreeVec() = default;

void CKorThreeVec::UpdateSFactors(float* values, int count)
{
    kor::copyIn(sFactors, values, count);
}

void CKorThreeVec::UpdateQVCParameters(float* values, int count)
{
    kor::copyIn(qvcParameters, values, count);
}

void CKorThreeVec::UpdateLevel1Parameters(float* values, int count)
{
    kor::copyIn(level1Parameters, values, count);
}

void CKorThreeVec::UpdateLevel2Parameters(float* values, int count)
{
    kor::copyIn(level2Parameters, values, count);
}

void CKorThreeVec::GetQVCMatrix(float* out, int count)
{
    kor::copyOut(out, count, qvcMatrix);
}

bool CKorThreeVec::CalTranxMatrix(double* const matrix, double angle1, double angle2, int /*size*/)
{
    const double q0 = static_cast<double>(qvcParameters[0]);
    const double q1 = static_cast<double>(qvcParameters[1]);
    const double q2 = static_cast<double>(qvcParameters[2]);

    // Known directions in the stage: line of sight after the elevation turn, and the level's axis.
    const kor::Direction measured = kor::directionOf({matrix[0], matrix[1], matrix[2]});
    const mek::Vec3 turnAxis = kor::elevationAxis(static_cast<double>(qvcParameters[5]));
    // Kept: the first level's parameters go with level Y, whose sign is turned.
    const mek::Vec3 level =
        kor::levelAxis(static_cast<double>(level1Parameters[3]), static_cast<double>(level1Parameters[4]));
    const mek::Vec3 sight = mek::rotateAboutAxis(
        turnAxis, matrix[6] - angle2 * mek::kDegPerRad,
        kor::sightAtZeroElevation(static_cast<double>(qvcParameters[3]), static_cast<double>(qvcParameters[4])));

    // Gravity in the stage from its angles to both.
    // Kept: the signed vertical on both sides, but one polar angle: exact for an odd parity only when sight and level
    // axis are at right angles.
    const mek::Vec3 vertical = kor::signedVertical(iMMode);
    const double sightAngle = measured.vertical + 90.0;
    const double levelAngle =
        (-matrix[4] - static_cast<double>(level1Parameters[5])) * static_cast<double>(level1Parameters[6]) + 90.0;
    const mek::Vec3 gravity = kor::stageGravity(vertical, sight, level, sightAngle, levelAngle).direction;

    // Frame spanned by gravity and the line of sight, in both frames; the rotation takes one to the other.
    const mek::Mat3 stageFrame = kor::frameOf(gravity, sight);
    const mek::Mat3 trackerFrame = kor::frameOf(vertical, kor::unitDirection(measured));
    const mek::Mat3 stage = trackerFrame * mek::transpose(stageFrame);

    // Kept: the second and third component change places on the way in and on the way out.
    const mek::Vec3 offset = stage * mek::Vec3{q0, q2, q1};
    qvcMatrix[0] = static_cast<float>(offset.x);
    qvcMatrix[1] = static_cast<float>(offset.z);
    qvcMatrix[2] = static_cast<float>(offset.y);

    // The azimuth axis taken out.
    mek::store(stage * mek::rotationZ(-(matrix[5] - angle1 * mek::kDegPerRad) * mek::kRadPerDeg), matrix);
    return true;
}
