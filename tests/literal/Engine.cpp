#include "literal/Engine.h"

#include <cmath>
#include <cstring>

namespace kor_test {

namespace {

LiteralProcess& sharedProcess()
{
    static LiteralProcess process;
    return process;
}

// Whether one of the numbers that go from each sample into the next for ever is not finite.
bool spoiled(const LiteralProcess& process)
{
    bool found = false;
    for (const LiteralV2Process::Level& level : process.second.level) {
        found = found || !std::isfinite(level.reference) || !std::isfinite(level.s) || !std::isfinite(level.t);
    }
    return found;
}

template <std::size_t N>
int copyGroup(const float* values, int count, std::array<float, N>& group)
{
    if (values == nullptr) {
        return 20;
    }
    for (int i = 0; i < count && i < static_cast<int>(N); ++i) {
        group[static_cast<std::size_t>(i)] = values[i];
    }
    return 0;
}

template <typename Value>
bool makeRoom(LiteralTable<Value>& table, std::size_t size)
{
    if (table.values == nullptr) {
        table.values = std::shared_ptr<Value[]>(new Value[size]());
        table.capacity = size;
    }
    return size <= table.capacity;
}

int setLevel(LiteralLevel& level, int count, const float* knots, const double* coefficients)
{
    if (knots == nullptr || coefficients == nullptr || count < 1) {
        return 20;
    }
    const auto rows = static_cast<std::size_t>(count);
    LiteralLevel next = level;
    if (!makeRoom(next.knots, rows + 3) || !makeRoom(next.coefficients, 4 * rows)) {
        return 20;
    }
    next.count = count;
    for (std::size_t i = 0; i < rows + 3; ++i) {
        next.knots.values[static_cast<std::ptrdiff_t>(i)] = knots[i];
    }
    for (std::size_t i = 0; i < 4 * rows; ++i) {
        next.coefficients.values[static_cast<std::ptrdiff_t>(i)] = coefficients[i];
    }
    level = next;
    return 0;
}

int setEncoder(LiteralTable<float>& table, literal::Encoder& encoder, int count, const float* values)
{
    if (values == nullptr) {
        return 20;
    }
    const std::size_t size = count > 0 ? 2 * static_cast<std::size_t>(count) : 0;
    if (!makeRoom(table, size)) {
        return 20;
    }
    for (std::size_t i = 0; i < size; ++i) {
        table.values[static_cast<std::ptrdiff_t>(i)] = values[i];
    }
    encoder.setCalTable(table.values.get(), count);
    return 0;
}

// How many values of an n x n matrix a 3 x 3 field takes.
int matrixElements(int n)
{
    return n >= 3 || n <= -3 ? 9 : n * n;
}

double sine(float angle)
{
    return static_cast<double>(std::sin(angle));
}

double cosine(float angle)
{
    return static_cast<double>(std::cos(angle));
}

// Arc tangent of the angle extraction: a dead zone, shortened constants, a result of single precision.
float safeAtan2(double y, double x, bool smallYRule)
{
    if (std::fabs(x) <= 1e-12) {
        if (std::fabs(y) <= 1e-12) {
            return 0.0F;
        }
        return y > 0 ? static_cast<float>(literal::kHalfPi) : static_cast<float>(-literal::kHalfPi);
    }
    if (smallYRule && std::fabs(y) <= 1e-12) {
        return 0.0F;
    }
    double angle = std::atan(y / x);
    if (x < 0 && y > 0) {
        angle = angle + literal::kPi;
    }
    if (x < 0 && y < 0) {
        angle = angle - literal::kPi;
    }
    return static_cast<float>(angle);
}

// Angles of modes 7 and above.
void signedVerticalAngles(const double* r, float* angles)
{
    angles[0] = static_cast<float>(std::atan2(-r[5], r[8]));
    angles[1] = static_cast<float>(std::atan2(-r[1], r[0]));
    angles[2] = static_cast<float>(std::atan2(r[2], cosine(angles[0]) * r[8] - sine(angles[0]) * r[5]));
    if (static_cast<double>(angles[0]) > literal::kHalfPi || static_cast<double>(angles[0]) < -literal::kHalfPi) {
        angles[0] = static_cast<float>(std::atan2(r[5], -r[8]));
        angles[1] = static_cast<float>(std::atan2(r[1], -r[0]));
        angles[2] = static_cast<float>(std::atan2(r[2], cosine(angles[0]) * r[8] - sine(angles[0]) * r[5]));
    }
}

} // namespace

LiteralEngine::LiteralEngine() : LiteralEngine(sharedProcess()) {}

LiteralEngine::LiteralEngine(LiteralProcess& process) : store(std::make_shared<LiteralStore>()), m_process(&process) {}

int LiteralEngine::setScaleFactors(const float* values, int count)
{
    return copyGroup(values, count, scaleFactors);
}

int LiteralEngine::setQVCParameters(const float* values, int count)
{
    return copyGroup(values, count, qvc);
}

int LiteralEngine::setLevel1Parameters(const float* values, int count)
{
    return copyGroup(values, count, level1);
}

int LiteralEngine::setLevel2Parameters(const float* values, int count)
{
    return copyGroup(values, count, level2);
}

int LiteralEngine::setLevelXComp(int count, const float* knots, const double* coefficients)
{
    return setLevel(levelX, count, knots, coefficients);
}

int LiteralEngine::setLevelYComp(int count, const float* knots, const double* coefficients)
{
    return setLevel(levelY, count, knots, coefficients);
}

int LiteralEngine::setAzimuthComp(int count, const float* table)
{
    return setEncoder(azimuthTable, azimuthEncoder, count, table);
}

int LiteralEngine::setElevationComp(int count, const float* table)
{
    return setEncoder(elevationTable, elevationEncoder, count, table);
}

int LiteralEngine::setEncoderOffset(const F_VECTOR2& offset)
{
    encoderOffset[0] = static_cast<double>(offset.x);
    encoderOffset[1] = static_cast<double>(offset.y);
    return 0;
}

int LiteralEngine::setTiltOffset(const F_VECTOR2& offset)
{
    tiltOffset[0] = offset.x;
    tiltOffset[1] = offset.y;
    return 0;
}

int LiteralEngine::setThermalFactor(const F_VECTOR4& factor)
{
    thermal[0] = factor.x;
    thermal[1] = factor.y;
    thermal[2] = factor.z;
    thermal[3] = factor.w;
    return 0;
}

int LiteralEngine::setLocalMatrix(const double* matrix, int n)
{
    if (matrix == nullptr) {
        return 20;
    }
    for (int i = 0; i < matrixElements(n); ++i) {
        local[static_cast<std::size_t>(i)] = matrix[i];
        localInverse[static_cast<std::size_t>(i)] = matrix[i];
    }
    literal::MatrixInverse(localInverse.data(), n > 3 ? 3 : n);
    return 0;
}

int LiteralEngine::setMachineMatrix(const double* matrix, int n)
{
    if (matrix == nullptr) {
        return 20;
    }
    for (int i = 0; i < matrixElements(n); ++i) {
        machine[static_cast<std::size_t>(i)] = matrix[i];
    }
    return 0;
}

int LiteralEngine::setMcsFlag(bool flag)
{
    mcs = flag;
    return 0;
}

int LiteralEngine::setPSDParameters(int first, int second, int divisor)
{
    psdFirst = first;
    psdSecond = second;
    psdDivisor = divisor;
    return 0;
}

int LiteralEngine::setMountMode(int newMode)
{
    mode = newMode;
    if (model == nullptr) {
        LiteralKind kind = LiteralKind::pendulum;
        if (mode == 1 || mode == 2) {
            kind = LiteralKind::dualLevel;
        } else if (mode == 5 || mode == 6) {
            kind = LiteralKind::polarizer;
        } else if (mode == 7 || mode == 8) {
            kind = LiteralKind::threeVec;
        } else if (mode == 9 || mode == 10) {
            kind = LiteralKind::twoLevelSecond;
        }
        model = makeLiteralModel(kind, *m_process);
        m_kind = kind;
        if (mode % 2 >= 0) {
            model->parity = mode % 2;
        }
    }
    model->updateSFactors(scaleFactors.data(), 8);
    model->updateQvc(qvc.data(), 6);
    model->updateLevel1(level1.data(), 7);
    model->updateLevel2(level2.data(), 7);
    if (store != nullptr && store->loaded) {
        model->setDynamic(store->dynamic.data());
    }
    return 0;
}

int LiteralEngine::loadParameterStore(const float* dynamic, const float* a, const float* b)
{
    if (dynamic == nullptr || a == nullptr || b == nullptr) {
        return 20;
    }
    if (store == nullptr) {
        return 551;
    }
    copyGroup(dynamic, 7, store->dynamic);
    copyGroup(a, 3, store->a);
    copyGroup(b, 3, store->b);
    store->loaded = true;
    return 0;
}

float LiteralEngine::getInverseAzCalib(float value) const
{
    return azimuthEncoder.inverseEncCalibration(value);
}

float LiteralEngine::getInverseElCalib(float value) const
{
    return elevationEncoder.inverseEncCalibration(value);
}

void LiteralEngine::Destroy()
{
    model.reset();
    outcome = kor::SampleOutcome::neverFed;
    asked = false;
    outX = false;
    outY = false;
    captured = false;
    matrixValid = false;
    result = kIdentity;
    levelX.knots = {};
    levelX.coefficients = {};
    levelY.knots = {};
    levelY.coefficients = {};
    elevationTable = {};
    azimuthTable = {};
    elevationEncoder.setCalTable(nullptr, 0);
    azimuthEncoder.setCalTable(nullptr, 0);
    store.reset();
}

int LiteralEngine::ReadMatrix(double* matrix) const
{
    if (matrix == nullptr) {
        return 20;
    }
    for (std::size_t i = 0; i < 9; ++i) {
        matrix[i] = result[i];
    }
    return matrixValid ? 0 : 554;
}

void LiteralEngine::updateKORData(const KOR_RAWINFO& raw, KOR_INFO& info)
{
    std::memset(&info, 0, sizeof(info));
    matrixValid = false;
    outX = false;
    outY = false;
    captured = false;
    asked = false;
    samples = samples + 1;
    outcome = kor::SampleOutcome::noModel;
    literal::EyeMatrix(result.data(), 3);
    if (model == nullptr) {
        return;
    }

    // Level X.
    float inputX = raw.levelXRaw;
    if (mode == 5 || mode == 6) {
        inputX = std::fabs(raw.levelYRaw) > 2000.0F ? raw.levelXRaw / raw.levelYRaw : 0.0F;
    }
    info.levelX = literal::CalcSpline(true, levelX.knots.values.get(), levelX.coefficients.values.get(),
                                      levelX.count - 1, inputX, &outX);
    info.levelX = info.levelX - tiltOffset[0];
    info.levelX = info.levelX * (thermal[0] * raw.levelTemperature + thermal[1]);

    // Level Y.
    info.levelY = literal::CalcSpline(true, levelY.knots.values.get(), levelY.coefficients.values.get(),
                                      levelY.count - 1, raw.levelYRaw, &outY);
    info.levelY = info.levelY - tiltOffset[1];
    info.levelY = info.levelY * (thermal[2] * raw.levelTemperature + thermal[3]);

    model->setLevelLimits(outX, outY);

    // Encoders.
    info.elevation = elevationEncoder.encCalibration(raw.elevationRaw);
    info.azimuth = azimuthEncoder.encCalibration(raw.azimuthRaw);

    // Temperatures.
    for (int i = 0; i < 3; ++i) {
        double v = static_cast<double>(raw.temperatureCount[i]);
        if (v > 8388608.0) {
            v = v - 16777216.0;
        }
        info.temperature[i] = static_cast<float>(v) / 41920.0F;
    }

    if (raw.status != 2) {
        outcome = kor::SampleOutcome::rejectedByStatus;
        countX = 0;
        countY = 0;
        startedX = false;
        startedY = false;
        return;
    }

    // Runs of the two levels.
    if (outX) {
        countX = 0;
        startedX = false;
    } else {
        if (!startedX) {
            startX = raw.timeStampMs;
            startedX = true;
        }
        countX = countX + 1;
        elapsedX = static_cast<double>(raw.timeStampMs - startX) / 1000.0;
    }
    if (outY) {
        countY = 0;
        startedY = false;
    } else {
        if (!startedY) {
            startY = raw.timeStampMs;
            startedY = true;
        }
        countY = countY + 1;
        elapsedY = static_cast<double>(raw.timeStampMs - startY) / 1000.0;
    }
    model->setCounter(countX, countY);
    model->setTimeInterval(elapsedX, elapsedY);
    matrixValid = true;

    // The nine inputs; the second temperature stays out.
    double* r = modelBuffer.data();
    literal::store(r, static_cast<double>(raw.sensorVector[0]), static_cast<double>(raw.sensorVector[1]),
                   static_cast<double>(raw.sensorVector[2]), static_cast<double>(info.levelX),
                   static_cast<double>(info.levelY), static_cast<double>(info.azimuth),
                   static_cast<double>(info.elevation), static_cast<double>(info.temperature[0]),
                   static_cast<double>(info.temperature[2]));

    // The detector moves the line of sight.
    if (mode >= 7 && store != nullptr && store->loaded) {
        for (std::size_t i = 0; i < 3; ++i) {
            storeA[i] = store->a[i];
            storeB[i] = store->b[i];
        }
        float a = 0.0F;
        float b = 0.0F;
        if (psdDivisor != 0) {
            a = static_cast<float>(psdFirst) / static_cast<float>(psdDivisor);
            b = static_cast<float>(psdSecond) / static_cast<float>(psdDivisor);
        }
        std::array<float, 6> adjusted = qvc;
        adjusted[3] = ((storeA[1] * storeA[2]) * b + (storeA[1] * a + storeA[0])) + qvc[3];
        adjusted[4] = qvc[4] - ((storeB[1] * storeB[2]) * a + (storeB[1] * b + storeB[0]));
        model->updateQvc(adjusted.data(), 6);
    }

    asked = true;
    referenceBefore = referenceSince != 0;
    const bool twoLevels = m_kind == LiteralKind::twoLevelSecond;
    valuesBefore = twoLevels && spoiled(*m_process);
    const bool formed = model->calculate(r, encoderOffset[0], encoderOffset[1]);
    if (twoLevels) {
        if (!spoiled(*m_process)) {
            valuesSince = 0;
        } else if (valuesSince == 0) {
            valuesSince = samples;
        }
    }
    if (!formed) {
        outcome = kor::SampleOutcome::noMatrix;
        return;
    }
    outcome = referenceCaptured ? kor::SampleOutcome::valid : kor::SampleOutcome::beforeReference;

    if (mode < 7) {
        for (int i = 0; i < 3; ++i) {
            info.sensorOut[i] = raw.sensorVector[i];
        }
    } else {
        model->getQvc(modelQvc, 6);
        for (int i = 0; i < 3; ++i) {
            info.sensorOut[i] = modelQvc[i];
        }
        model->getLevelValues(info.levelX, info.levelY);
    }

    if (referenceCaptured) {
        if (mode >= 7) {
            for (std::size_t i = 0; i < 9; ++i) {
                result[i] = r[i];
            }
            signedVerticalAngles(r, info.orientationAngles);
        } else {
            composedAngles(r, info.orientationAngles);
        }
        for (float& angle : info.orientationAngles) {
            angle = static_cast<float>(static_cast<double>(angle) * literal::kDeg);
        }
    }

    if (!referenceCaptured && raw.referenceGate <= 0.4F && raw.referenceHold == 0) {
        for (std::size_t i = 0; i < 9; ++i) {
            referenceInverse[i] = r[i];
        }
        literal::MatrixInverse(referenceInverse.data(), 3);
        for (std::size_t i = 0; i < 9; ++i) {
            if (!std::isfinite(referenceInverse[i])) {
                referenceSince = samples;
            }
        }
        referenceCaptured = true;
        captured = true;
    }
}

kor::SampleReport LiteralEngine::report() const
{
    kor::OrientationModel kind = kor::OrientationModel::none;
    if (model != nullptr) {
        constexpr kor::OrientationModel kKinds[] = {
            kor::OrientationModel::dualLevel,    kor::OrientationModel::pendulum,  kor::OrientationModel::polarizer,
            kor::OrientationModel::threeVectors, kor::OrientationModel::twoLevels, kor::OrientationModel::twoLevels};
        kind = kKinds[static_cast<int>(m_kind)];
    }
    kor::SampleReport told = {outcome, kor::NoMatrixReason::none, kind, captured, outX,
                              outY,    kor::SpoiledBy::nothing,   0};
    const bool twoLevels = kind == kor::OrientationModel::twoLevels;
    bool before = false;
    if (asked && twoLevels && valuesSince != 0) {
        told.spoiledBy = kor::SpoiledBy::processValues;
        told.spoiledSince = valuesSince;
        before = valuesBefore;
    } else if (asked && mode < 7 && !mcs && referenceSince != 0) {
        told.spoiledBy = kor::SpoiledBy::reference;
        told.spoiledSince = referenceSince;
        before = referenceBefore;
    }
    if (outcome == kor::SampleOutcome::noMatrix) {
        told.reason = !twoLevels     ? kor::NoMatrixReason::modelRefused
                      : outX && outY ? kor::NoMatrixReason::bothLevelsExcluded
                                     : kor::NoMatrixReason::filtersFilling;
    }
    if (outcome == kor::SampleOutcome::valid || outcome == kor::SampleOutcome::beforeReference) {
        bool zero = true;
        bool finite = true;
        for (std::size_t i = 0; i < 9; ++i) {
            zero = zero && modelBuffer[i] == 0.0;
            finite = finite && std::isfinite(modelBuffer[i]) && std::isfinite(result[i]);
        }
        if (twoLevels && zero) {
            told.outcome = kor::SampleOutcome::noMatrix;
            told.reason = kor::NoMatrixReason::filtersFilling;
        } else if (!finite) {
            told.outcome = before ? kor::SampleOutcome::spoiled : kor::SampleOutcome::notFinite;
        }
    }
    return told;
}

// Composition and angles of modes below 7.
void LiteralEngine::composedAngles(const double* r, float* angles)
{
    if (mcs) {
        literal::MatrixMultiply(machine.data(), r, 3, 3, 3, result.data());
    } else {
        double scratch1[9];
        double scratch2[9];
        literal::MatrixMultiply(referenceInverse.data(), localInverse.data(), 3, 3, 3, scratch1);
        literal::MatrixMultiply(r, scratch1, 3, 3, 3, scratch2);
        literal::MatrixMultiply(local.data(), scratch2, 3, 3, 3, result.data());
    }
    const Matrix& m = result;
    const double len0 = std::sqrt(m[0] * m[0] + m[3] * m[3] + m[6] * m[6]);
    const double len1 = std::sqrt(m[1] * m[1] + m[4] * m[4] + m[7] * m[7]);
    const double len2 = std::sqrt(m[2] * m[2] + m[5] * m[5] + m[8] * m[8]);
    const double e00 = m[0] / len0;
    const double e10 = m[3] / len0;
    const double e20 = m[6] / len0;
    const double e01 = m[1] / len1;
    const double e11 = m[4] / len1;
    const double e21 = m[7] / len1;
    const double e02 = m[2] / len2;
    const double f12 = -m[5] / len2;
    const double e22 = m[8] / len2;
    if (mcs) {
        const float first = safeAtan2(f12, e22, false);
        const float second =
            safeAtan2(sine(first) * e20 + cosine(first) * e10, sine(first) * e21 + cosine(first) * e11, true);
        const double w = cosine(first) * e22 + sine(first) * f12;
        double third = 0;
        if (std::fabs(w) <= 1e-12) {
            if (std::fabs(e02) <= 1e-12) {
                third = 0;
            } else {
                third = e02 > 0 ? literal::kHalfPi : -literal::kHalfPi;
            }
        } else {
            third = std::atan(e02 / w);
        }
        angles[0] = first;
        angles[1] = second;
        angles[2] = static_cast<float>(third);
    } else {
        const float second = safeAtan2(e10, e00, true);
        const float third = safeAtan2(-e20, sine(second) * e10 + cosine(second) * e00, true);
        const float first =
            safeAtan2(cosine(second) * f12 + sine(second) * e02, cosine(second) * e11 - sine(second) * e01, false);
        angles[0] = first;
        angles[1] = second;
        angles[2] = third;
    }
}

} // namespace kor_test
