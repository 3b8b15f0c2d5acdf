#include "KORInterface/CKorThreeVec2Levelv2.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>

#include "mek/Literals.h"
#include "mek/Values.h"
#include "models/EngineModels.h"
#include "models/FromParameters.h"
#include "models/Geometry.h"
#include "models/ParameterArrays.h"
#include "models/ProcessValues.h"
#include "models/Rings.h"

namespace {

constexpr std::int64_t kLearning = 11;        // usable samples from which a level counts in full
constexpr std::uint32_t kWarmUpSkipped = 200; // samples before the warm-up mean starts
constexpr std::uint32_t kWarmUpEnd = 400;     // samples when it ends
constexpr double kWarmUpSamples = 200.0;
constexpr double kCorrectionScale = 0.01;
// Kept [hundredth-of-a-second]: samples count as 0.01 s apart; their time stamps are not used.
constexpr double kInverseTimeStep2 = 625.0; // 1/(16 h^2) at h = 0.01 s, the weight of the seven-point second difference

// Kept [state-of-process]: the solve's state belongs to the process and survives its objects.
struct LevelState {
    double reference = 0.0; // smoother state
    double lastTime = 0.0;  // time of the last processed sample
    std::uint32_t usable = 0;
    double angle = 0.0;       // interpolated level, then its angle
    double compensated = 0.0; // freed of acceleration
    double out = 0.0;         // handed to the solve
    double sum7 = 0.0;        // running sums of the two corrections
    double sum8 = 0.0;
};

struct ProcessState {
    LevelState level1;
    LevelState level2;
    double reference7 = 0.0;
    double reference8 = 0.0;
    // Kept [failing-solve]: one matrix for both, so that a failing first solve blends the last blend again.
    mek::Mat3 rotation{};       // of the previous sample; the first level's solve writes here, too
    mek::Mat3 secondRotation{}; // of the second level's solve
    mek::Mat3 out{};            // last returned matrix
    std::uint32_t warmCount = 0;
    bool warmDone = false;
    double warmSum7 = 0.0;
    double warmSum8 = 0.0;
    bool spoiled = false; // a nan or an infinity stands where no later sample takes it away
};

// The last seven positions per axis, for all objects of the process; each stands there twice, seven places apart, so
// that any seven in succession lie side by side.
struct PositionRings {
    double values[3][14] = {};
    int index = 0;
};

// What depends on parameters alone, of the object that was fed last.
struct Directions {
    kor::FromParameters<mek::Vec3, float, 1> turnAxis;
    kor::FromParameters<mek::Vec3, double, 2> sightAtZero;
    kor::FromParameters<mek::Vec3, float, 2> axis1;
    kor::FromParameters<mek::Vec3, float, 2> axis2;
};

constinit kor::ProcessValue<ProcessState> g_process;
constinit PositionRings g_positionRings;
constinit Directions g_directions;
constinit std::atomic<std::uint32_t> g_timesMadeFresh{0};

// Kept [not-finite-stays]: what is not finite stays in the smoother and in the sums, and so in every later sample.
void noteWhatStays(ProcessState& process)
{
    // The difference of a number and itself is zero only if it is finite.
    const auto zero = [](const LevelState& level) {
        return (level.reference - level.reference) + (level.sum7 - level.sum7) + (level.sum8 - level.sum8);
    };
    process.spoiled = zero(process.level1) + zero(process.level2) != 0.0;
}

// Set up by the first call of the process, from that call's input.
ProcessState& processState(const double* io, double time1, double time2)
{
    return g_process.get([&] {
        ProcessState state;
        state.level1.reference = io[3];
        state.level1.lastTime = time1;
        state.level2.reference = io[4];
        state.level2.lastTime = time2;
        state.reference7 = io[7];
        state.reference8 = io[8];
        noteWhatStays(state);
        return state;
    });
}

// A lag in whole samples, rounded towards zero. Kept [lags-reduced]: it is reduced to one lap; NaN counts as 0.
std::int32_t wholeLag(float lag)
{
    if (lag >= 0.0F && lag < static_cast<float>(kor::kRingRows)) {
        return static_cast<std::int32_t>(lag);
    }
    if (std::isnan(lag)) {
        return 0;
    }
    constexpr double kLeast = std::numeric_limits<std::int32_t>::min();
    constexpr double kMost = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(static_cast<double>(lag), kLeast, kMost)) % kor::kRingRows;
}

// Row that a lag points to. Kept [lag-of-minus-1]: a lag of -1 reads the oldest row.
std::int32_t lagRow(std::int32_t row, float lag)
{
    return (row - wholeLag(lag) + 2 * kor::kRingRows) % kor::kRingRows;
}

mek::Vec3 normalisedUnlessZero(const mek::Vec3& v)
{
    return mek::length(v) != 0.0 ? mek::normalised(v) : v;
}

// Horizontal part, unit length unless it is zero.
mek::Vec3 horizontalPart(const mek::Vec3& v)
{
    const double length = std::sqrt(v.x * v.x + v.y * v.y);
    return length != 0.0 ? mek::Vec3{v.x / length, v.y / length, v.z} : v;
}

double angleOf(const float* levelParameters, double level)
{
    return (static_cast<double>(levelParameters[5]) + level) * static_cast<double>(levelParameters[6]);
}

// Share of the first level in the blend, from how long each has been usable. Kept [squared-weight]: an excluded first
// level has full weight while the second is in its 21st to 30th usable sample, and a quarter when both are old.
double firstLevelWeight(std::int64_t c1, std::int64_t c2)
{
    double w = 0.5;
    if (c1 >= kLearning && c2 < kLearning) {
        w = 1.0;
    } else if (c1 < kLearning && c2 >= kLearning) {
        w = 0.0;
    }
    if (c1 + c2 - 20 > 0) {
        const double ratio = static_cast<double>(c1 - 10) / static_cast<double>(c1 + c2 - 20);
        const double t = ratio * ratio;
        w = t <= 1.0 ? t : 1.0;
    }
    return w;
}

kor::SightLine lineOf(double x, double y, double z, double horizDeg, double vertDeg)
{
    return kor::sightLine({x, y, z}, {horizDeg, vertDeg});
}

bool solve(const kor::SightLine& sight, const double* levelAxis, double levelAngleDeg, int parity, double* out)
{
    const mek::RelAngSolution gravity =
        kor::stageGravity(kor::signedVertical(parity), sight.stage, mek::loadVec3(levelAxis), sight.cosToGravity,
                          kor::cosineOf(90.0 - levelAngleDeg));
    if (gravity.code != 0) {
        return false;
    }
    mek::store(kor::stageRotation(gravity.out, sight), out);
    return true;
}

} // namespace

void kor::freshSecondVersionValues()
{
    g_process.makeFresh();
    g_positionRings = {};
    g_timesMadeFresh.fetch_add(1, std::memory_order_relaxed);
}

bool kor::secondVersionValuesAreSpoiled()
{
    const ProcessState* const process = g_process.ifSetUp();
    return process != nullptr && process->spoiled;
}

CKorThreeVec2Levelv2::CKorThreeVec2Levelv2()
    : m_ringIndex(0), m_rawRing{}, m_filteredRing{}, m_psdRing{}, m_psdFilteredRing{}, m_axisZRing{},
      m_accAlongL1v2(0.0), m_level1Value(0.0), m_accVectorV2{}, m_accAlongL2v2(0.0), m_level2Value(0.0),
      m_counterL1v2(0), m_counterL2v2(0), m_level1ExcludedV2(true), m_level2ExcludedV2(true), m_timeL1v2(0.0),
      m_timeL2v2(0.0), m_shortLength(5), m_dynamicParams{}
{
}

// Streams cannot be copied: the new object has a closed one of its own.
CKorThreeVec2Levelv2::CKorThreeVec2Levelv2(const CKorThreeVec2Levelv2& other) : CKorThreeVec2Level(other)
{
    *this = other;
}

CKorThreeVec2Levelv2& CKorThreeVec2Levelv2::operator=(const CKorThreeVec2Levelv2& other)
{
    if (this == &other) {
        return *this;
    }
    CKorThreeVec2Level::operator=(other); // Kept [closed-stream]: all members but the stream are copied
    m_ringIndex = other.m_ringIndex;
    const auto copyRows = [](const auto& from, auto& to) { std::memcpy(to, from, sizeof to); };
    copyRows(other.m_rawRing, m_rawRing);
    copyRows(other.m_filteredRing, m_filteredRing);
    copyRows(other.m_psdRing, m_psdRing);
    copyRows(other.m_psdFilteredRing, m_psdFilteredRing);
    copyRows(other.m_axisZRing, m_axisZRing);
    m_accAlongL1v2 = other.m_accAlongL1v2;
    m_level1Value = other.m_level1Value;
    std::copy(std::begin(other.m_accVectorV2), std::end(other.m_accVectorV2), m_accVectorV2);
    m_accAlongL2v2 = other.m_accAlongL2v2;
    m_level2Value = other.m_level2Value;
    m_counterL1v2 = other.m_counterL1v2;
    m_counterL2v2 = other.m_counterL2v2;
    m_level1ExcludedV2 = other.m_level1ExcludedV2;
    m_level2ExcludedV2 = other.m_level2ExcludedV2;
    m_timeL1v2 = other.m_timeL1v2;
    m_timeL2v2 = other.m_timeL2v2;
    m_shortLength = other.m_shortLength;
    std::copy(std::begin(other.m_dynamicParams), std::end(other.m_dynamicParams), m_dynamicParams);
    return *this;
}

CKorThreeVec2Levelv2::~CKorThreeVec2Levelv2() = default;

void CKorThreeVec2Levelv2::SetLevelLimits(bool level1Excluded, bool level2Excluded)
{
    m_level1ExcludedV2 = level1Excluded;
    m_level2ExcludedV2 = level2Excluded;
}

void CKorThreeVec2Levelv2::SetCounter(unsigned long counterL1, unsigned long counterL2)
{
    m_counterL1v2 = static_cast<std::uint32_t>(counterL1); // Kept [counters-modulo-32]: on every system
    m_counterL2v2 = static_cast<std::uint32_t>(counterL2);
}

void CKorThreeVec2Levelv2::SetTimeInterval(double timeL1, double timeL2)
{
    m_timeL1v2 = timeL1;
    m_timeL2v2 = timeL2;
}

void CKorThreeVec2Levelv2::GetLevelValues(float& level1, float& level2)
{
    level1 = static_cast<float>(m_level1Value);
    level2 = static_cast<float>(m_level2Value);
}

void CKorThreeVec2Levelv2::SetDynamicParameters(float* params)
{
    kor::copyIn(m_dynamicParams, params, 7);
}

bool CKorThreeVec2Levelv2::GetF1(const double* levelAxis, double levelAngleDeg, double* dir, double horizDeg,
                                 double vertDeg, int /*stride*/, double* out)
{
    return solve(lineOf(dir[0], dir[1], dir[2], horizDeg, vertDeg), levelAxis, levelAngleDeg, iMMode, out);
}

bool kor::EngineTwoLevels::GetF1(const double* levelAxis, double levelAngleDeg, double* dir, double horizDeg,
                                 double vertDeg, int /*stride*/, double* out)
{
    const SightLine& sight = m_sight.of(lineOf, dir[0], dir[1], dir[2], horizDeg, vertDeg);
    return solve(sight, levelAxis, levelAngleDeg, iMMode, out);
}

// Back to what a new object holds; the parameters stay.
void kor::EngineTwoLevels::forgetSamples()
{
    const auto clear = [](auto& rows) { std::memset(rows, 0, sizeof rows); };
    m_ringIndex = 0;
    clear(m_rawRing);
    clear(m_filteredRing);
    clear(m_psdRing);
    clear(m_psdFilteredRing);
    clear(m_axisZRing);
    m_level1Value = 0.0;
    m_level2Value = 0.0;
    clear(qvcMatrix);
}

bool kor::EngineTwoLevels::CalTranxMatrix(double* const io, double azRefRad, double elRefRad, int stride)
{
    // The rings may hold the very sample that has spoiled the values of the process, and would do so again.
    const std::uint32_t times = g_timesMadeFresh.load(std::memory_order_relaxed);
    if (m_timesMadeFresh != times) {
        forgetSamples();
        m_timesMadeFresh = times;
    }
    return CKorThreeVec2Levelv2::CalTranxMatrix(io, azRefRad, elRefRad, stride);
}

bool CKorThreeVec2Levelv2::GetAccO1(const double* pos, unsigned long /*counter*/, double /*time*/)
{
    PositionRings& rings = g_positionRings;
    for (int axis = 0; axis < 3; ++axis) {
        double* const latest = rings.values[axis] + 7 + rings.index;
        latest[0] = pos[axis];
        latest[-7] = pos[axis];
        const auto back = [latest](int samples) { return latest[-samples]; };
        m_accVectorV2[axis] =
            kInverseTimeStep2 * (back(0) + 2.0 * back(1) - back(2) - 4.0 * back(3) - back(4) + 2.0 * back(5) + back(6));
    }
    rings.index = rings.index < 6 ? rings.index + 1 : 0;
    return true;
}

bool CKorThreeVec2Levelv2::CalTranxMatrix(double* const io, double azRefRad, double elRefRad, int stride)
{
    if (m_level1ExcludedV2 && m_level2ExcludedV2) {
        return false;
    }
    double detector[2] = {static_cast<double>(qvcParameters[3]), static_cast<double>(qvcParameters[4])};
    // Kept [offset-components]: the second and third component of the target point's offset change places.
    const mek::Vec3 offset = {static_cast<double>(qvcParameters[0]), static_cast<double>(qvcParameters[2]),
                              static_cast<double>(qvcParameters[1])};
    const double smoothing = static_cast<double>(m_dynamicParams[3]);
    ProcessState& process = processState(io, m_timeL1v2, m_timeL2v2);
    LevelState& level1 = process.level1;
    LevelState& level2 = process.level2;

    // Without a new time stamp the last matrix is the answer. Kept [first-call]: also that of the very first call.
    if (m_timeL1v2 == level1.lastTime && m_timeL2v2 == level2.lastTime) {
        mek::store(process.out, io);
        return true;
    }
    level1.lastTime = m_timeL1v2;
    level2.lastTime = m_timeL2v2;

    // Filters. From here on the filtered values stand for the sample.
    const std::int32_t row = m_ringIndex;
    const std::int32_t rowA = lagRow(row, m_dynamicParams[4]);
    const std::int32_t rowB = lagRow(row, m_dynamicParams[5]);
    // Kept [third-lag-unused]: the third lag has no effect.
    double sample[9];
    std::copy_n(io, 9, sample); // Kept [buffer-after-false]: the filters work in place, and not on io
    MovingFilter(m_rawRing, sample);
    std::copy_n(sample, 9, m_filteredRing[row]);
    PsdMovingFilter(m_psdRing, detector);
    std::copy_n(detector, 2, m_psdFilteredRing[row]);
    m_ringIndex = (row + 1) % kor::kRingRows;
    // Kept [zero-in-fifth-row]: the fifth row tells whether five samples have been filtered, and so a level of exactly
    // zero there holds the model back for a lap.
    if (m_filteredRing[4][3] == 0.0) {
        return false;
    }

    const std::uint32_t usable1 = m_level1ExcludedV2 ? 0 : level1.usable + 1;
    const std::uint32_t usable2 = m_level2ExcludedV2 ? 0 : level2.usable + 1;

    // References of the two further inputs: the mean of a warm-up, once per process.
    if (!process.warmDone && sample[7] != 0.0) {
        ++process.warmCount;
        if (process.warmCount > kWarmUpSkipped) {
            process.warmSum8 += sample[8];
            process.warmSum7 += sample[7];
        }
        if (process.warmCount == kWarmUpEnd) {
            process.reference7 = process.warmSum7 / kWarmUpSamples;
            process.reference8 = process.warmSum8 / kWarmUpSamples;
            process.warmDone = true;
            level1.out = angleOf(level1Parameters, m_filteredRing[rowB][3]);
            level2.out = angleOf(level2Parameters, m_filteredRing[rowB][4]);
        }
    }

    // Levels between two rows.
    const double later = static_cast<double>(m_dynamicParams[0]);
    const std::int32_t rowB1 = (rowB + 50) % kor::kRingRows;
    level1.usable = usable1;
    level2.usable = usable2;
    m_level1Value = (1.0 - later) * m_filteredRing[rowB1][3] + later * m_filteredRing[rowB][3];
    m_level2Value = (1.0 - later) * m_filteredRing[rowB1][4] + later * m_filteredRing[rowB][4];
    level1.angle = angleOf(level1Parameters, m_level1Value);
    level2.angle = angleOf(level2Parameters, m_level2Value);

    // Line of sight in both frames.
    const double* lagged = m_filteredRing[rowA];
    const mek::Vec3 position = mek::loadVec3(lagged);
    const double azDeg = lagged[5] - azRefRad * mek::kDegPerRad;
    const kor::Direction measured = kor::directionOf(position);
    const auto elevationAxis = [](float c) { return kor::elevationAxis(static_cast<double>(c)); };
    const mek::Vec3& turnAxis = g_directions.turnAxis.of(elevationAxis, qvcParameters[5]);
    const double* sightTilts = m_psdFilteredRing[rowA];
    const mek::Vec3 sight =
        mek::rotateAboutAxis(turnAxis, lagged[6] - elRefRad * mek::kDegPerRad,
                             g_directions.sightAtZero.of(kor::sightAtZeroElevation, sightTilts[0], sightTilts[1]));

    // Level axes in the stage, and in the tracker frame by the previous rotation.
    const auto levelAxis = [](float t1, float t2) {
        return kor::levelAxis(static_cast<double>(t1), static_cast<double>(t2));
    };
    const mek::Vec3& axis1 = g_directions.axis1.of(levelAxis, level1Parameters[3], level1Parameters[4]);
    const mek::Vec3& axis2 = g_directions.axis2.of(levelAxis, level2Parameters[3], level2Parameters[4]);
    if (std::isnan(process.rotation.m[0])) {
        process.rotation = mek::Mat3{};
    }
    const mek::Mat3 previous = process.rotation;
    const mek::Vec3 trackerAxis1 = normalisedUnlessZero(previous * axis1);
    const mek::Vec3 trackerAxis2 = normalisedUnlessZero(previous * axis2);
    m_axisZRing[row][0] = trackerAxis1.z; // written only
    m_axisZRing[row][1] = trackerAxis2.z;

    // Levels without the acceleration along their axes.
    GetAccO1(sample, m_counterL1v2, m_timeL1v2);
    const mek::Vec3 acceleration = mek::loadVec3(m_accVectorV2);
    m_accAlongL1v2 = mek::dot(acceleration, trackerAxis1);
    GetLevelAfterAccComp(level1.angle, m_accAlongL1v2, level1.compensated);
    m_accAlongL2v2 = mek::dot(acceleration, trackerAxis2);
    GetLevelAfterAccComp(level2.angle, m_accAlongL2v2, level2.compensated);

    // Corrections by the two further inputs.
    const double term7 = (lagged[7] - process.reference7) * kCorrectionScale * static_cast<double>(m_dynamicParams[1]);
    const double term8 = (lagged[8] - process.reference8) * kCorrectionScale * static_cast<double>(m_dynamicParams[2]);

    // One level: smoothed, corrected, solved into its own matrix, which a failing solve leaves as it was.
    double direction[3];
    mek::store(sight, direction);
    const auto solveLevel = [&](LevelState& level, std::uint32_t usable, bool excluded, const mek::Vec3& axis,
                                const mek::Vec3& trackerAxis, mek::Mat3& rotation) {
        const mek::Vec3 flat = horizontalPart(trackerAxis);
        const double correction7 = term7 * (previous.m[4] * flat.x - previous.m[1] * flat.y);
        const double correction8 = term8 * (previous.m[5] * flat.x - previous.m[2] * flat.y);
        level.sum7 = (level.sum7 + correction7) * smoothing;
        level.sum8 = (level.sum8 + correction8) * smoothing;
        // Kept [first-ten-samples]: for its first ten usable samples a level goes on from its last output.
        if (usable < kLearning) {
            level.compensated = correction7 + level.out + correction8;
        }
        const double smoothed = (level.compensated - level.reference) * (1.0 - smoothing) + level.reference;
        level.out = excluded ? level.angle : smoothed + level.sum7 + level.sum8;
        level.reference = smoothed;
        double axisComponents[3];
        mek::store(axis, axisComponents);
        GetF1(axisComponents, level.out, direction, measured.horizontal, measured.vertical, stride, rotation.m);
    };
    solveLevel(level1, usable1, m_level1ExcludedV2, axis1, trackerAxis1, process.rotation);
    solveLevel(level2, usable2, m_level2ExcludedV2, axis2, trackerAxis2, process.secondRotation);
    noteWhatStays(process);

    // Blend. Kept [euler-angle-blend]: without regard to the full turn.
    const kor::EulerAngles a = kor::eulerAngles(process.rotation);
    const kor::EulerAngles b = kor::eulerAngles(process.secondRotation);
    const double w = firstLevelWeight(usable1, usable2);
    const auto blend = [w](double first, double second) { return (1.0 - w) * second + w * first; };
    process.rotation = kor::fromEulerAngles({blend(a.x, b.x), blend(a.y, b.y), blend(a.z, b.z)});

    const mek::Vec3 centre = position - process.rotation * offset;
    mek::storeNarrowed(centre, qvcMatrix);

    // The azimuth axis taken out.
    process.out = mek::product(process.rotation, mek::reversed(mek::by<mek::AboutZ>(azDeg * mek::kRadPerDeg)));
    mek::store(process.out, io);
    return true;
}
