#include "KORInterface/CKorThreeVec2Level.h"

#include <cmath>

#include "mek/Literals.h"
#include "mek/Values.h"
#include "models/Geometry.h"
#include "models/ParameterArrays.h"

namespace {

constexpr double kSmoothing = 0.006000000000000005; // gain of the exponential level smoothing
constexpr double kDriftScale = 0.001;

// Kept: smoothing belongs to the process, so that two objects fed in turn disturb each other.
struct ProcessState {
    double reference7;
    double reference8;
    double smoothL1;
    double smoothL2;
    double lastL1;
    double lastL2;
};

// Set up once, thread-safely, by the first call that gets here, from that call's input.
ProcessState& processState(const double* io)
{
    static ProcessState state{io[7], io[8], io[3], io[4], io[3], io[4]};
    return state;
}

} // namespace

// Kept: the two rings are never released, so that copies, which share them, cannot release them twice.
CKorThreeVec2Level::CKorThreeVec2Level()
    : m_posHistL1{}, m_velHistL1{}, m_accL1{}, m_accAlongL1(0.0),
      m_level1Filtered(0.0), m_posHistL2{}, m_velHistL2{}, m_accL2{}, m_accAlongL2(0.0), m_level2Filtered(0.0),
      m_counterL1(0), m_counterL2(0), m_level1Excluded(false), m_level2Excluded(false), m_timeL1(0.0), m_timeL2(0.0),
      m_filterLength(80), m_filterCountL1(0), m_filterReserve(0.0), m_filterBufL1(nullptr), m_filterBufL2(nullptr),
      m_filterCountL2(0), m_lastLevel2Output(0.0), m_driftA(0.0), m_driftB(0.0)
{
    m_filterBufL1 = new double[static_cast<unsigned>(m_filterLength)]();
    m_filterBufL2 = new double[static_cast<unsigned>(m_filterLength)]();
}

CKorThreeVec2Level::CKorThreeVec2Level(const CKorThreeVec2Level& other) = default;
CKorThreeVec2Level& CKorThreeVec2Level::operator=(const CKorThreeVec2Level& other) = default;
CKorThreeVec2Level::~CKorThreeVec2Level() = default;

void CKorThreeVec2Level::UpdateSFactors(float* values, int count)
{
    kor::copyIn(sFactors, values, count);
}

void CKorThreeVec2Level::UpdateQVCParameters(float* values, int count)
{
    kor::copyIn(qvcParameters, values, count);
}

void CKorThreeVec2Level::UpdateLevel1Parameters(float* values, int count)
{
    kor::copyIn(level1Parameters, values, count);
}

void CKorThreeVec2Level::UpdateLevel2Parameters(float* values, int count)
{
    kor::copyIn(level2Parameters, values, count);
}

void CKorThreeVec2Level::GetQVCMatrix(float* out, int count)
{
    kor::copyOut(out, count, qvcMatrix);
}

void CKorThreeVec2Level::SetLevelLimits(bool level1Excluded, bool level2Excluded)
{
    m_level1Excluded = level1Excluded;
    m_level2Excluded = level2Excluded;
}

void CKorThreeVec2Level::SetCounter(unsigned long counterL1, unsigned long counterL2)
{
    m_counterL1 = static_cast<std::uint32_t>(counterL1);
    m_counterL2 = static_cast<std::uint32_t>(counterL2);
}

void CKorThreeVec2Level::SetTimeInterval(double timeL1, double timeL2)
{
    m_timeL1 = timeL1;
    m_timeL2 = timeL2;
}

void CKorThreeVec2Level::GetLevelValues(float& level1, float& level2)
{
    level1 = static_cast<float>(m_level1Filtered);
    level2 = static_cast<float>(m_level2Filtered);
}

bool CKorThreeVec2Level::GetF1(const float* levelPrm, double levelDeg, double* dir, double horizDeg, double vertDeg,
                               int /*stride*/, double* out)
{
    const mek::Vec3 sight = mek::loadVec3(dir);
    const mek::Vec3 level = kor::levelAxis(static_cast<double>(levelPrm[3]), static_cast<double>(levelPrm[4]));
    const double levelAngle = 90.0 - (static_cast<double>(levelPrm[5]) + levelDeg) * static_cast<double>(levelPrm[6]);
    const mek::Vec3 gravity =
        kor::stageGravity(kor::signedVertical(iMMode), sight, level, vertDeg + 90.0, levelAngle).direction;
    mek::store(kor::stageRotation(gravity, sight, {horizDeg, vertDeg}), out);
    return true;
}

bool CKorThreeVec2Level::CalTranxMatrix(double* const io, double azRefRad, double elRefRad, int stride)
{
    if (m_level1Excluded && m_level2Excluded) {
        return false;
    }
    // Kept: the second and third component of the target point's offset change places.
    const mek::Vec3 offset = {static_cast<double>(qvcParameters[0]), static_cast<double>(qvcParameters[2]),
                              static_cast<double>(qvcParameters[1])};
    const mek::Vec3 position = mek::loadVec3(io);
    ProcessState& process = processState(io);

    // Line of sight in the stage after the elevation turn.
    const kor::Direction measured = kor::directionOf(position);
    const mek::Vec3 turnAxis = kor::elevationAxis(static_cast<double>(qvcParameters[5]));
    const double azDeg = azRefRad * mek::kDegPerRad;
    const double elDeg = elRefRad * mek::kDegPerRad;
    const mek::Vec3 sight = mek::rotateAboutAxis(
        turnAxis, io[6] - elDeg,
        kor::sightAtZeroElevation(static_cast<double>(qvcParameters[3]), static_cast<double>(qvcParameters[4])));

    // Kept: both drifts accumulate, only the second one is used, and for both levels.
    m_driftA += (io[7] - process.reference7) * kDriftScale;
    m_driftB += (io[8] - process.reference8) * kDriftScale;

    struct Solution {
        bool found;
        mek::Mat3 rotation;
        mek::Vec3 centre;
    };
    using Acceleration = bool (CKorThreeVec2Level::*)(const double*, const double*, unsigned long, double, double&);
    using Average = int (CKorThreeVec2Level::*)(double&);
    // One level: a first rotation from its raw value places the rotation centre, whose acceleration is then taken
    // out of the averaged value; the smoothed rest gives the final rotation.
    struct LevelPath {
        const float* parameters;
        double raw;
        Acceleration acceleration;
        std::uint32_t counter;
        double time;
        double& accAlong;
        Average average;
        double& filtered;
        double& smooth;
        double& last;
    };
    const auto solve = [&](const LevelPath& path) {
        Solution solution;
        double direction[3];
        mek::store(sight, direction);
        double level = path.raw;
        GetF1(path.parameters, level, direction, measured.horizontal, measured.vertical, stride, solution.rotation.m);
        solution.centre = position - solution.rotation * offset;
        const mek::Vec3 axis = mek::normalised(
            solution.rotation * mek::Vec3{1.0, std::tan(static_cast<double>(path.parameters[3]) * mek::kRadPerDeg),
                                          std::tan(static_cast<double>(path.parameters[4]) * mek::kRadPerDeg)});
        double centre[3];
        double levelDirection[3];
        mek::store(solution.centre, centre);
        mek::store(axis, levelDirection);
        solution.found = (this->*path.acceleration)(centre, levelDirection, path.counter, path.time, path.accAlong);
        if (!solution.found) {
            return solution;
        }
        (this->*path.average)(level);
        path.filtered = level;
        GetLevelAfterAccComp(level, path.accAlong);
        path.smooth += (level - path.smooth) * kSmoothing;
        level = path.smooth + m_driftB;
        path.last = level;
        GetF1(path.parameters, level, direction, measured.horizontal, measured.vertical, stride, solution.rotation.m);
        return solution;
    };
    const LevelPath path1 = {level1Parameters, io[3],         &CKorThreeVec2Level::GetAccLx,     m_counterL1,
                             m_timeL1,         m_accAlongL1,  &CKorThreeVec2Level::MovingFilter, m_level1Filtered,
                             process.smoothL1, process.lastL1};
    const LevelPath path2 = {level2Parameters, io[4],         &CKorThreeVec2Level::GetAccLy,           m_counterL2,
                             m_timeL2,         m_accAlongL2,  &CKorThreeVec2Level::MovingFilterLevelY, m_level2Filtered,
                             process.smoothL2, process.lastL2};

    mek::Mat3 rotation;
    mek::Vec3 centre;
    if (m_level1Excluded || m_level2Excluded) {
        const Solution only = solve(m_level1Excluded ? path2 : path1);
        if (!only.found) {
            return false;
        }
        rotation = only.rotation;
        centre = position - rotation * offset;
    } else {
        const Solution first = solve(path1);
        const Solution second = solve(path2);
        if (first.found && second.found) {
            const kor::EulerAngles a = kor::eulerAngles(first.rotation);
            const kor::EulerAngles b = kor::eulerAngles(second.rotation);
            rotation = kor::fromEulerAngles({(a.x + b.x) * 0.5, (a.y + b.y) * 0.5, (a.z + b.z) * 0.5});
            centre = position - rotation * offset;
        } else if (first.found || second.found) {
            // Kept: alone of two, a level's rotation goes with the centre of its first solve.
            const Solution& only = first.found ? first : second;
            rotation = only.rotation;
            centre = only.centre;
        } else {
            process.smoothL1 = io[3];
            process.smoothL2 = io[4];
            process.lastL1 = io[3];
            process.lastL2 = io[3]; // Kept: the first level's value
            return false;
        }
    }

    qvcMatrix[0] = static_cast<float>(centre.x);
    qvcMatrix[1] = static_cast<float>(centre.y);
    qvcMatrix[2] = static_cast<float>(centre.z);

    // The azimuth axis taken out.
    mek::store(rotation * mek::rotationZ(-(io[5] - azDeg) * mek::kRadPerDeg), io);
    return true;
}
