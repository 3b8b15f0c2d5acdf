#include "KORInterface/CKorThreeVec.h"

#include "mek/Literals.h"
#include "mek/Values.h"
#include "models/EngineModels.h"
#include "models/Geometry.h"
#include "models/ParameterArrays.h"

namespace {

// Kept [level-y-with-level-1]: the first level's parameters go with level Y, whose sign is turned.
kor::StageDirections stageDirections(float sight1, float sight2, float turnAxis, float level1, float level2)
{
    return {kor::elevationAxis(static_cast<double>(turnAxis)),
            kor::levelAxis(static_cast<double>(level1), static_cast<double>(level2)),
            kor::sightAtZeroElevation(static_cast<double>(sight1), static_cast<double>(sight2))};
}

// Turns the inputs into the rotation; gives where the base stands. A function of its own for the public model and for
// the engine's, which differ in where the directions come from.
template <class Directions>
mek::Vec3 orientation(double* matrix, double angle1, double angle2, const Directions& directionsOf,
                      const float* qvcParameters, const float* level1Parameters, int parity)
{
    const kor::StageDirections& directions = directionsOf();
    const double q0 = static_cast<double>(qvcParameters[0]);
    const double q1 = static_cast<double>(qvcParameters[1]);
    const double q2 = static_cast<double>(qvcParameters[2]);

    // Line of sight in the stage after the elevation turn.
    const kor::Direction measured = kor::directionOf({matrix[0], matrix[1], matrix[2]});
    const mek::Vec3 sight =
        mek::rotateAboutAxis(directions.turnAxis, matrix[6] - angle2 * mek::kDegPerRad, directions.sight);

    // Gravity in the stage from its angles to that and to the level's axis.
    // Kept [one-polar-angle]: the signed vertical on both sides, but one polar angle: exact for an odd parity only when
    // sight and level axis are at right angles.
    const mek::Vec3 vertical = kor::signedVertical(parity);
    const double sightAngle = measured.vertical + 90.0;
    const double levelAngle =
        (-matrix[4] - static_cast<double>(level1Parameters[5])) * static_cast<double>(level1Parameters[6]) + 90.0;
    const mek::Vec3 gravity =
        kor::stageGravity(vertical, sight, directions.level, kor::cosineOf(sightAngle), kor::cosineOf(levelAngle)).out;

    // Frame spanned by gravity and the line of sight, in both frames; the rotation takes one to the other.
    const mek::Mat3 stageFrame = kor::frameOf(gravity, sight);
    const mek::Mat3 trackerFrame = kor::frameOf(vertical, kor::unitDirection(measured));
    const mek::Mat3 stage = trackerFrame * mek::transpose(stageFrame);

    // The azimuth axis taken out.
    const auto azimuth = mek::by<mek::AboutZ>((matrix[5] - angle1 * mek::kDegPerRad) * mek::kRadPerDeg);
    mek::store(mek::product(stage, mek::reversed(azimuth)), matrix);

    // Kept [offset-components]: the second and third component change places on the way in and on the way out.
    const mek::Vec3 offset = stage * mek::Vec3{q0, q2, q1};
    return {offset.x, offset.z, offset.y};
}

} // namespace

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
    const auto directions = [this] {
        return stageDirections(qvcParameters[3], qvcParameters[4], qvcParameters[5], level1Parameters[3],
                               level1Parameters[4]);
    };
    mek::storeNarrowed(orientation(matrix, angle1, angle2, directions, qvcParameters, level1Parameters, iMMode),
                       qvcMatrix);
    return true;
}

bool kor::EngineThreeVec::CalTranxMatrix(double* const matrix, double angle1, double angle2, int /*size*/)
{
    const auto directions = [this]() -> const StageDirections& {
        return m_directions.of(stageDirections, qvcParameters[3], qvcParameters[4], qvcParameters[5],
                               level1Parameters[3], level1Parameters[4]);
    };
    mek::storeNarrowed(orientation(matrix, angle1, angle2, directions, qvcParameters, level1Parameters, iMMode),
                       qvcMatrix);
    return true;
}
