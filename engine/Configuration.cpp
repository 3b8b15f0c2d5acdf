// The host's set operations and the choice of the orientation model.
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "KORInterface/CKorModel.h"
#include "KORInterface/Status.h"
#include "engine/State.h"
#include "mek/Matrix.h"
#include "models/EngineModels.h"
#include "models/ParameterArrays.h"

namespace {

using Guard = std::lock_guard<kor::platform::RecursiveLock>;

std::size_t natural(int count)
{
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

// Kept [counts-unchecked, values-beyond-group]: values beyond the group have nowhere to go and are left out, silently.
template <std::size_t N>
int copyGroup(const float* values, int count, float (&group)[N], kor::platform::RecursiveLock& lock)
{
    const Guard guard(lock); // Kept [arguments-under-lock]: before they are looked at, here and below
    if (values == nullptr) {
        return kor::kBadArgument;
    }
    kor::copyIn(group, values, count);
    return kor::kSuccess;
}

// Kept [larger-engine-matrix]: of an n x n matrix a 3 x 3 field takes the first nine elements.
std::size_t matrixElements(int n)
{
    const std::int64_t elements = static_cast<std::int64_t>(n) * n;
    return static_cast<std::size_t>(std::min<std::int64_t>(elements, 9));
}

// Kept [tables-allocated-once, unfit-table-refused]: a table is allocated by the first call that finds it absent and
// never again. A later call that does not fit is refused.
template <typename Value>
bool makeRoom(kor::Table<Value>& table, std::size_t size)
{
    if (table.content == nullptr) {
        try {
            auto content = std::make_shared<typename kor::Table<Value>::Content>();
            content->values = std::make_unique<Value[]>(size);
            content->capacity = size;
            table.content = std::move(content);
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    return size <= table.content->capacity;
}

constinit std::atomic<std::uint64_t> g_revisions{0};

template <typename Value>
void write(kor::Table<Value>& table, const Value* values, std::size_t size)
{
    std::copy_n(values, size, table.content->values.get());
    table.content->revision = ++g_revisions;
}

int setLevelComp(kor::LevelCompensation& level, int count, const float* knots, const double* coefficients,
                 kor::platform::RecursiveLock& lock)
{
    const Guard guard(lock);
    if (knots == nullptr || coefficients == nullptr || count < 1) {
        return kor::kBadArgument;
    }
    const std::size_t rows = natural(count);
    kor::LevelCompensation next = level;
    if (!makeRoom(next.knots, rows + 3) || !makeRoom(next.coefficients, 4 * rows)) {
        return kor::kBadArgument;
    }
    next.count = count;
    write(next.knots, knots, rows + 3);
    write(next.coefficients, coefficients, 4 * rows);
    level = std::move(next);
    return kor::kSuccess;
}

int setEncoderComp(kor::Table<float>& table, std::int32_t& storedCount, mek::CEncoder& encoder, int count,
                   const float* values, kor::platform::RecursiveLock& lock)
{
    const Guard guard(lock);
    if (values == nullptr) {
        return kor::kBadArgument;
    }
    const std::size_t size = 2 * natural(count);
    if (!makeRoom(table, size)) {
        return kor::kBadArgument;
    }
    storedCount = count;
    write(table, values, size);
    encoder.setCalTable(table.values(), count);
    return kor::kSuccess;
}

std::shared_ptr<CKorModel> makeModel(kor::OrientationModel kind)
{
    switch (kind) {
    case kor::OrientationModel::dualLevel:
        return std::make_shared<kor::EngineDualLevel>();
    case kor::OrientationModel::polarizer:
        return std::make_shared<kor::EnginePolarizer>();
    case kor::OrientationModel::threeVectors:
        return std::make_shared<kor::EngineThreeVec>();
    case kor::OrientationModel::twoLevels:
        return std::make_shared<kor::EngineTwoLevels>();
    default:
        return std::make_shared<kor::EnginePendulum>();
    }
}

} // namespace

int CKor::setScaleFactors(const float* values, int count)
{
    return copyGroup(values, count, m_state->scaleFactors, m_state->lock);
}

int CKor::setQVCParameters(const float* values, int count)
{
    return copyGroup(values, count, m_state->qvcParameters, m_state->lock);
}

int CKor::setLevel1Parameters(const float* values, int count)
{
    return copyGroup(values, count, m_state->level1Parameters, m_state->lock);
}

int CKor::setLevel2Parameters(const float* values, int count)
{
    return copyGroup(values, count, m_state->level2Parameters, m_state->lock);
}

int CKor::setLevelXComp(int count, const float* knots, const double* coefficients)
{
    return setLevelComp(m_state->levelX, count, knots, coefficients, m_state->lock);
}

int CKor::setLevelYComp(int count, const float* knots, const double* coefficients)
{
    return setLevelComp(m_state->levelY, count, knots, coefficients, m_state->lock);
}

int CKor::setAzimuthComp(int count, const float* table)
{
    State& s = *m_state;
    return setEncoderComp(s.azimuthTable, s.azimuthCompCount, s.azimuthEncoder, count, table, s.lock);
}

int CKor::setElevationComp(int count, const float* table)
{
    State& s = *m_state;
    return setEncoderComp(s.elevationTable, s.elevationCompCount, s.elevationEncoder, count, table, s.lock);
}

int CKor::setEncoderOffset(const F_VECTOR2& offset)
{
    const Guard guard(m_state->lock);
    m_state->encoderOffset[0] = static_cast<double>(offset.x);
    m_state->encoderOffset[1] = static_cast<double>(offset.y);
    return kor::kSuccess;
}

int CKor::setTiltOffset(const F_VECTOR2& offset)
{
    const Guard guard(m_state->lock);
    m_state->tiltOffset[0] = offset.x;
    m_state->tiltOffset[1] = offset.y;
    return kor::kSuccess;
}

// Kept [setters-without-lock]: stored without the lock; the host calls this only while no sample is processed.
int CKor::setThermalFactor(const F_VECTOR4& factor)
{
    m_state->thermalFactor[0] = factor.x;
    m_state->thermalFactor[1] = factor.y;
    m_state->thermalFactor[2] = factor.z;
    m_state->thermalFactor[3] = factor.w;
    return kor::kSuccess;
}

int CKor::setKnownVector(const double* vector)
{
    const Guard guard(m_state->lock);
    if (vector == nullptr) {
        return kor::kBadArgument;
    }
    std::copy_n(vector, 3, m_state->knownVector);
    return kor::kSuccess;
}

// Kept [singular-is-own-inverse]: the inverse stands beside the matrix, and a singular matrix is taken for its own.
int CKor::setLocalMatrix(const double* matrix, int n)
{
    State& s = *m_state;
    const Guard guard(s.lock);
    if (matrix == nullptr) {
        return kor::kBadArgument;
    }
    const std::size_t size = matrixElements(n);
    std::copy_n(matrix, size, s.localMatrix);
    std::copy_n(matrix, size, s.localMatrixInverse);
    mek::MatrixInverse(s.localMatrixInverse, std::min(n, 3));
    return kor::kSuccess;
}

int CKor::setMachineMatrix(double* matrix, int n)
{
    const Guard guard(m_state->lock);
    if (matrix == nullptr) {
        return kor::kBadArgument;
    }
    std::copy_n(matrix, matrixElements(n), m_state->machineMatrix);
    return kor::kSuccess;
}

int CKor::setMcsFlag(bool flag)
{
    const Guard guard(m_state->lock);
    m_state->mcsFlag = flag;
    return kor::kSuccess;
}

int CKor::setPSDParameters(int first, int second, int divisor)
{
    const Guard guard(m_state->lock);
    m_state->psdFirst = first;
    m_state->psdSecond = second;
    m_state->psdDivisor = divisor;
    return kor::kSuccess;
}

// Kept [setters-without-lock, kind-of-model-stays]: runs without the lock, and a model once made stays even if later
// modes ask for another one; the stored mode steers the per-sample steps all the same.
int CKor::setMountMode(int mode)
{
    State& s = *m_state;
    s.mountMode = mode;
    if (s.model == nullptr) {
        try {
            const kor::OrientationModel kind = kor::ModelOf(mode);
            s.model = makeModel(kind);
            s.modelKind = kind;
        } catch (const std::bad_alloc&) {
            return kor::kSuccess; // Kept [mode-without-memory]: without a model every sample is refused
        }
        // Kept [parity-of-negative-mode]: a negative odd mode asks with -1 and so leaves the parity zero.
        s.model->set_iMMode(mode % 2); // Kept [parity-stays]: that of the first mode
    }
    s.model->UpdateSFactors(s.scaleFactors, 8);
    s.model->UpdateQVCParameters(s.qvcParameters, 6);
    s.model->UpdateLevel1Parameters(s.level1Parameters, 7);
    s.model->UpdateLevel2Parameters(s.level2Parameters, 7);
    float dynamicParameters[7];
    if (s.parameterStore != nullptr && s.parameterStore->fetchDynamicParameters(dynamicParameters) == 0) {
        s.model->SetDynamicParameters(dynamicParameters);
    }
    return kor::kSuccess;
}

// Kept [setters-without-lock]: the inverse calibrations run without the lock.
float CKor::getInverseAzCalib(float value)
{
    return m_state->azimuthEncoder.inverseEncCalibration(value);
}

float CKor::getInverseElCalib(float value)
{
    return m_state->elevationEncoder.inverseEncCalibration(value);
}
