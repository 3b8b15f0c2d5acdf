#include "KORInterface/CKorThreeVec2Level.h"

#include <cmath>

#include "mek/Literals.h"
#include "mek/Values.h"
#include "models/Geometry.h"
#include "models/ParameterArrays.h"
#include "models/ProcessValues.h"

namespace {

constexpr double kSmoothing = 0.006000000000000005; // gain of the exponential level smoothing
constexpr double kDriftScale = 0.001;

// Kept [state-of-process, not-finite-stays]: the smoothing is the process's; objects fed in turn disturb each other.
struct LevelState {
    double smooth = 0.0; // exponential smoother
    double last = 0.0;   // last compensated value; written only
};

struct ProcessState {
    double reference7 = 0.0;
    double reference8 = 0.0;
    LevelState level1;
    LevelState level2;
};

constinit kor::ProcessValue<ProcessState> g_process;

// Set up by the first call of the process, from that call's input.
ProcessState& processState(const double* io)
{
    return g_process.get([io] { return ProcessState{io[7], io[8], {io[3], io[3]}, {io[4], io[4]}}; });
}

// Along a level's axis in the stage; not of unit length.
mek::Vec3 alongLevel(const float* levelParameters)
{
    return {1.0, std::tan(static_cast<double>(levelParameters[3]) * mek::kRadPerDeg),
            std::tan(static_cast<double>(levelParameters[4]) * mek::kRadPerDeg)};
}

// What one level gives.
struct Solution {
    bool found;
    mek::Mat3 rotation; // azimuth stage to tracker frame
    double centre[3];   // rotation centre of the first solve, tracker frame
    double axis[3];     // the level's axis of the first solve, tracker frame
};

} // namespace

void kor::freshFirstVersionValues()
{
    g_process.makeFresh();
}

// Kept [rings-stay-allocated]: the two rings are never released; copies, which share them, would release them twice.
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
    m_counterL1 = static_cast<std::uint32_t>(counterL1); // Kept [counters-modulo-32]: on every system
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
    const kor::SightLine line = kor::sightLine(sight, {horizDeg, vertDeg});
    const mek::Vec3 gravity =
        kor::stageGravity(kor::signedVertical(iMMode), sight, level, line.cosToGravity, kor::cosineOf(levelAngle)).out;
    mek::store(kor::stageRotation(gravity, line), out);
    return true;
}

bool CKorThreeVec2Level::CalTranxMatrix(double* const io, double azRefRad, double elRefRad, int stride)
{
    if (m_level1Excluded && m_level2Excluded) {
        return false;
    }
    // Kept [offset-components]: the second and third component of the target point's offset change places.
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

    // Kept [second-drift-for-both]: both drifts accumulate, only the second one is used, and for both levels.
    m_driftA += (io[7] - process.reference7) * kDriftScale;
    m_driftB += (io[8] - process.reference8) * kDriftScale;

    double direction[3];
    mek::store(sight, direction);
    const auto rotationFor = [&](const float* levelParameters, double level) {
        mek::Mat3 rotation{};
        GetF1(levelParameters, level, direction, measured.horizontal, measured.vertical, stride, rotation.m);
        return rotation;
    };

    // First solve, from the raw value: places the rotation centre and the level's axis in the tracker frame.
    const auto placed = [&](const float* levelParameters, double level) {
        Solution solution{};
        solution.rotation = rotationFor(levelParameters, level);
        mek::store(position - solution.rotation * offset, solution.centre);
        mek::store(mek::normalised(solution.rotation * alongLevel(levelParameters)), solution.axis);
        return solution;
    };
    // Final solve, from the value freed of acceleration: smoothed, and shifted by the drift.
    const auto finished = [&](Solution& solution, const float* levelParameters, double level, LevelState& state) {
        state.smooth += (level - state.smooth) * kSmoothing;
        state.last = state.smooth + m_driftB;
        solution.rotation = rotationFor(levelParameters, state.last);
    };
    // Kept [average-then-compensation]: the moving average replaces the value before the compensation.
    const auto solveLevel1 = [&] {
        Solution solution = placed(level1Parameters, io[3]);
        solution.found = GetAccLx(solution.centre, solution.axis, m_counterL1, m_timeL1, m_accAlongL1);
        if (solution.found) {
            double level = io[3];
            MovingFilter(level);
            m_level1Filtered = level;
            GetLevelAfterAccComp(level, m_accAlongL1);
            finished(solution, level1Parameters, level, process.level1);
        }
        return solution;
    };
    const auto solveLevel2 = [&] {
        Solution solution = placed(level2Parameters, io[4]);
        solution.found = GetAccLy(solution.centre, solution.axis, m_counterL2, m_timeL2, m_accAlongL2);
        if (solution.found) {
            double level = io[4];
            MovingFilterLevelY(level);
            m_level2Filtered = level;
            GetLevelAfterAccComp(level, m_accAlongL2);
            finished(solution, level2Parameters, level, process.level2);
        }
        return solution;
    };

    mek::Mat3 rotation;
    mek::Vec3 centre;
    if (m_level1Excluded || m_level2Excluded) {
        const Solution only = m_level1Excluded ? solveLevel2() : solveLevel1();
        if (!only.found) {
            return false;
        }
        rotation = only.rotation;
        centre = position - rotation * offset;
    } else {
        const Solution first = solveLevel1();
        const Solution second = solveLevel2();
        if (first.found && second.found) { // Kept [euler-angle-blend]: without regard to the full turn
            const kor::EulerAngles a = kor::eulerAngles(first.rotation);
            const kor::EulerAngles b = kor::eulerAngles(second.rotation);
            rotation = kor::fromEulerAngles({(a.x + b.x) * 0.5, (a.y + b.y) * 0.5, (a.z + b.z) * 0.5});
            centre = position - rotation * offset;
        } else if (first.found || second.found) {
            // Kept [centre-of-first-solve]: alone of two, a level's rotation goes with the centre of its first solve.
            const Solution& only = first.found ? first : second;
            rotation = only.rotation;
            centre = mek::loadVec3(only.centre);
        } else {
            process.level1 = {io[3], io[3]};
            process.level2 = {io[4], io[3]}; // Kept [last-value-of-level-1]: the last value is the first level's
            return false;
        }
    }

    mek::storeNarrowed(centre, qvcMatrix);

    // The azimuth axis taken out.
    const auto azimuth = mek::by<mek::AboutZ>((io[5] - azDeg) * mek::kRadPerDeg);
    mek::store(mek::product(rotation, mek::reversed(azimuth)), io);
    return true;
}
