// One sample: corrections, calibration, orientation model, composition, angles.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <mutex>

#include "engine/Angles.h"
#include "engine/State.h"
#include "mek/Literals.h"
#include "mek/Matrix.h"
#include "mek/Spline.h"
#include "mek/Values.h"
#include "models/ProcessValues.h"

namespace {

constexpr std::int32_t kValidStatus = 2;
constexpr std::int32_t kFirstThreeVectorMode = 7;
constexpr float kReferenceGate = 0.4F;
constexpr float kLeastRatioDenominator = 2000.0F;
constexpr float kTemperatureCountsPerUnit = 41920.0F;

void copyThree(const float* from, float* to)
{
    to[0] = from[0];
    to[1] = from[1];
    to[2] = from[2];
}

bool readsLevelXAsRatio(std::int32_t mode)
{
    return mode == 5 || mode == 6;
}

// Kept [level-ratio]: the denominator of the ratio still passes through the table of level Y.
float levelXInput(std::int32_t mode, const KOR_RAWINFO& raw)
{
    if (!readsLevelXAsRatio(mode)) {
        return raw.levelXRaw;
    }
    return std::fabs(raw.levelYRaw) > kLeastRatioDenominator ? raw.levelXRaw / raw.levelYRaw : 0.0F;
}

inline float splineValue(kor::LevelCompensation& level, float reading, bool* outOfRange)
{
    const std::uint64_t revision = level.knots.revision();
    if (level.piece.holds(revision, reading)) [[likely]] {
        *outOfRange = false;
        return level.piece.at(reading);
    }
    const mek::SplineTable table = {level.knots.values(), level.coefficients.values(), level.count - 1, revision};
    return mek::findSplinePiece(level.piece, table, reading, outOfRange);
}

// Level reading through its spline, less the tilt offset, times the thermal factor.
inline float correctedLevel(kor::LevelCompensation& level, float reading, float tiltOffset, float thermalGain,
                            float thermalOffset, float temperature, bool* outOfRange)
{
    float value = splineValue(level, reading, outOfRange);
    value -= tiltOffset;
    value *= thermalGain * temperature + thermalOffset;
    return value;
}

inline float calibrated(mek::CEncoder& encoder, const kor::Table<float>& table, float reading)
{
    encoder.setRawReading(reading);
    return encoder.encCalibration(reading, table.revision());
}

// 24-bit two's complement. Kept [temperature-sign]: the sign starts above 2^23, not at it.
float temperature(std::int32_t count)
{
    constexpr std::int32_t kHalfRange = 1 << 23;
    constexpr std::int32_t kFullRange = 1 << 24;
    const std::int32_t value = count > kHalfRange ? count - kFullRange : count;
    return static_cast<float>(value) / kTemperatureCountsPerUnit;
}

// Kept [elapsed-time-stays]: a level that leaves its table loses its count, but the elapsed time of its last run stays.
void countSample(kor::LevelRun& run, bool outOfRange, std::uint32_t timeStampMs)
{
    if (outOfRange) {
        run.samples = 0;
        run.started = false;
        return;
    }
    if (!run.started) {
        run.startMs = timeStampMs;
        run.started = true;
    }
    ++run.samples;
    run.elapsedSeconds = static_cast<double>(timeStampMs - run.startMs) / 1000.0;
}

void restart(kor::LevelRun& run)
{
    run.samples = 0;
    run.started = false;
}

// The detector reading moves the two tilts of the line of sight.
void adjustQvc(kor::EngineFields& s)
{
    float a = 0.0F;
    float b = 0.0F;
    if (s.psdDivisor != 0) {
        a = static_cast<float>(s.psdFirst) / static_cast<float>(s.psdDivisor);
        b = static_cast<float>(s.psdSecond) / static_cast<float>(s.psdDivisor);
    }
    const float* ca = s.coefficientsA;
    const float* cb = s.coefficientsB;
    copyThree(s.qvcParameters, s.adjustedQvcParameters);
    s.adjustedQvcParameters[5] = s.qvcParameters[5];
    s.adjustedQvcParameters[3] = ((ca[1] * ca[2]) * b + (ca[1] * a + ca[0])) + s.qvcParameters[3];
    s.adjustedQvcParameters[4] = s.qvcParameters[4] - ((cb[1] * cb[2]) * a + (cb[1] * b + cb[0]));
}

// Kept [frames-below-mode-7]: local and machine matrix, MCS flag and reference take effect in modes below 7 only.
void compose(kor::EngineFields& s, const mek::Mat3& rotation, kor::OrientationAngles& angles)
{
    if (s.mountMode >= kFirstThreeVectorMode) {
        mek::store(rotation, s.resultMatrix);
        if (s.modelKind == kor::OrientationModel::twoLevels) {
            // Asked again with the time stamps of the sample before, the model hands out the same matrix.
            const auto anglesOf = [&s](auto... /*elements*/) {
                kor::OrientationAngles made;
                kor::threeVectorAngles(s.resultMatrix, made);
                return made;
            };
            const double* const m = rotation.m;
            angles = s.repeatedAngles.of(anglesOf, m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]);
        } else {
            kor::threeVectorAngles(s.resultMatrix, angles);
        }
    } else if (s.mcsFlag) { // Kept [reference-in-machine-frame]: it has no part in the matrix
        mek::store(mek::loadMat3(s.machineMatrix) * rotation, s.resultMatrix);
        kor::machineAngles(s.resultMatrix, angles);
    } else {
        const mek::Mat3 toReference = mek::loadMat3(s.referenceInverse) * mek::loadMat3(s.localMatrixInverse);
        mek::store(mek::loadMat3(s.localMatrix) * (rotation * toReference), s.resultMatrix);
        kor::localAngles(s.resultMatrix, angles);
    }
}

// Kept [reference-captured-once, singular-is-own-inverse]: the first good sample becomes the reference, and nothing
// clears it again. A singular one stands as its own inverse.
void captureReference(kor::EngineFields& s)
{
    std::copy(std::begin(s.modelBuffer), std::end(s.modelBuffer), s.referenceInverse);
    mek::MatrixInverse(s.referenceInverse, 3);
    s.referenceCaptured = true;
    s.lastSample.capturedReference = true;
    // Kept [reference-not-finite]: also if it is not finite, and in local coordinates nothing is from then on.
    if (!std::all_of(std::begin(s.referenceInverse), std::end(s.referenceInverse),
                     [](double element) { return std::isfinite(element); })) {
        s.referenceSpoiledSince = s.samples;
    }
}

// The model's answer. Two-level models share values that one sample may spoil for all that follow.
bool askModel(kor::EngineFields& s)
{
    const auto answer = [&s] {
        return s.model->CalTranxMatrix(s.modelBuffer, s.encoderOffset[0], s.encoderOffset[1], 3);
    };
    if (s.modelKind != kor::OrientationModel::twoLevels) {
        return answer();
    }
    s.lastSample.valuesWereSpoiled = kor::secondVersionValuesAreSpoiled();
    const bool formed = answer();
    if (!kor::secondVersionValuesAreSpoiled()) {
        s.valuesSpoiledSince = 0;
    } else if (s.valuesSpoiledSince == 0) {
        s.valuesSpoiledSince = s.samples;
    }
    return formed;
}

// Takes a sample as far as it goes.
// Given     info    all zeros
// Returned  result  whether there is a matrix of the sensor's orientation, in s.resultMatrix
[[gnu::always_inline]] inline bool orient(kor::EngineFields& s, const KOR_RAWINFO& raw, KOR_INFO& info)
{
    s.matrixValid = false;
    ++s.samples;
    s.lastSample = {.step = kor::SampleTrace::Step::noModel, .hadReference = s.referenceCaptured};
    if (s.model == nullptr) {
        return false; // Kept [sample-without-model]: with a zeroed record
    }
    CKorModel& model = *s.model;

    // Levels.
    bool outOfRangeX = false;
    bool outOfRangeY = false;
    info.levelX = correctedLevel(s.levelX, levelXInput(s.mountMode, raw), s.tiltOffset[0], s.thermalFactor[0],
                                 s.thermalFactor[1], raw.levelTemperature, &outOfRangeX);
    info.levelY = correctedLevel(s.levelY, raw.levelYRaw, s.tiltOffset[1], s.thermalFactor[2], s.thermalFactor[3],
                                 raw.levelTemperature, &outOfRangeY);
    model.SetLevelLimits(outOfRangeX, outOfRangeY); // Kept [limits-at-every-status]: the status is looked at below
    s.lastSample.levelXOutside = outOfRangeX;
    s.lastSample.levelYOutside = outOfRangeY;

    // Encoders and temperatures.
    info.elevation = calibrated(s.elevationEncoder, s.elevationTable, raw.elevationRaw);
    info.azimuth = calibrated(s.azimuthEncoder, s.azimuthTable, raw.azimuthRaw);
    std::transform(std::begin(raw.temperatureCount), std::end(raw.temperatureCount), info.temperature, temperature);

    if (raw.status != kValidStatus) {
        s.lastSample.step = kor::SampleTrace::Step::rejectedByStatus;
        restart(s.levelXRun);
        restart(s.levelYRun);
        return false;
    }

    // Runs of usable samples.
    countSample(s.levelXRun, outOfRangeX, raw.timeStampMs);
    countSample(s.levelYRun, outOfRangeY, raw.timeStampMs);
    model.SetCounter(s.levelXRun.samples, s.levelYRun.samples);
    model.SetTimeInterval(s.levelXRun.elapsedSeconds, s.levelYRun.elapsedSeconds);
    // Kept [matrix-of-valid-status]: a valid status is enough; the flag stays set when the model gives no matrix below.
    s.matrixValid = true;

    // The model's nine inputs. Kept [second-temperature]: the second temperature is not one of them.
    s.modelBuffer[0] = static_cast<double>(raw.sensorVector[0]);
    s.modelBuffer[1] = static_cast<double>(raw.sensorVector[1]);
    s.modelBuffer[2] = static_cast<double>(raw.sensorVector[2]);
    s.modelBuffer[3] = static_cast<double>(info.levelX);
    s.modelBuffer[4] = static_cast<double>(info.levelY);
    s.modelBuffer[5] = static_cast<double>(info.azimuth);
    s.modelBuffer[6] = static_cast<double>(info.elevation);
    s.modelBuffer[7] = static_cast<double>(info.temperature[0]);
    s.modelBuffer[8] = static_cast<double>(info.temperature[2]);

    const bool threeVector = s.mountMode >= kFirstThreeVectorMode;
    if (threeVector && s.parameterStore != nullptr &&
        s.parameterStore->fetchCoefficients(s.coefficientsA, s.coefficientsB) == 0) {
        adjustQvc(s);
        model.UpdateQVCParameters(s.adjustedQvcParameters, 6);
    }

    if (!askModel(s)) {
        s.lastSample.step = kor::SampleTrace::Step::noMatrix;
        return false;
    }
    s.lastSample.step = kor::SampleTrace::Step::matrix;

    if (threeVector) {
        model.GetQVCMatrix(s.modelQvcValues, 6);
        copyThree(s.modelQvcValues, info.sensorOut);
        model.GetLevelValues(info.levelX, info.levelY);
    } else {
        copyThree(raw.sensorVector, info.sensorOut);
    }

    if (!s.referenceCaptured) {
        if (raw.referenceGate <= kReferenceGate && raw.referenceHold == 0) {
            captureReference(s);
        }
        return false;
    }
    kor::OrientationAngles angles;
    compose(s, mek::loadMat3(s.modelBuffer), angles);
    info.orientationAngles[0] = mek::degrees(angles.first);
    info.orientationAngles[1] = mek::degrees(angles.second);
    info.orientationAngles[2] = mek::degrees(angles.third);
    return true;
}

} // namespace

void CKor::updateKORData(const KOR_RAWINFO& raw, KOR_INFO& info)
{
    info = KOR_INFO{};

    State& s = *m_state;
    const std::lock_guard<kor::platform::RecursiveLock> guard(s.lock);
    if (!orient(s, raw, info)) {
        mek::storeIdentity(s.resultMatrix);
    }
}
