#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "KORInterface/CKorPrm.h"
#include "KORInterface/Status.h"
#include "mek/Literals.h"
#include "params/file/Blocks.h"
#include "params/file/ParameterSet.h"

namespace {

using kor::kBadArgument;
using kor::kNotLoaded;
using kor::kSuccess;

// Kept [wrapping-product]: n x n is a 32-bit signed product that wraps; nothing is copied unless it is positive.
std::size_t elementsOf(int n)
{
    const std::uint32_t product = static_cast<std::uint32_t>(n) * static_cast<std::uint32_t>(n);
    return static_cast<std::int32_t>(product) > 0 ? product : 0;
}

// Kept [larger-matrix-read]: an n above 3 runs on past the matrix into the fields behind it; the object's end is where
// it stops, and the rest of the caller's buffer is left alone. Bytes, because those fields are of any type.
void copyFromObject(double* to, const void* object, std::size_t objectSize, const double* matrix, std::size_t elements)
{
    const auto* const begin = static_cast<const unsigned char*>(object);
    const auto offset = static_cast<std::size_t>(reinterpret_cast<const unsigned char*>(matrix) - begin);
    const std::size_t bytes = std::min(elements, (objectSize - offset) / sizeof(double)) * sizeof(double);
    auto* const target = reinterpret_cast<unsigned char*>(to);
    std::copy(begin + offset, begin + offset + bytes, target);
}

int encoderTable(std::uint32_t rows, const float* from, unsigned int& count, float* table)
{
    // Kept [count-before-pointer]: the count is given before the pointer is looked at; a host may ask for the size.
    count = rows;
    if (table == nullptr) {
        return kBadArgument;
    }
    if (rows > 0 && !kor::params::encoderTableHolds(from, rows)) {
        return kNotLoaded; // Kept [table-gone]: destroyed, or left behind by a failed read
    }
    if (from != nullptr) {
        std::copy(from, from + 2 * std::size_t{rows}, table);
    }
    return kSuccess;
}

int levelTable(std::uint32_t rows, const float* fromTable, const double* fromCoeffs, unsigned int& count, float* table,
               double* coeffs)
{
    // Kept [count-before-pointer]: as above.
    count = rows;
    if (table == nullptr || coeffs == nullptr) {
        return kBadArgument;
    }
    if (rows == 0 && (fromTable == nullptr || fromCoeffs == nullptr)) {
        return kSuccess; // the file has no such table
    }
    if (!kor::params::levelTableHolds(fromTable, fromCoeffs, rows)) {
        return kNotLoaded;
    }
    std::copy(fromTable, fromTable + rows + kor::params::kTiltExtras, table);
    std::copy(fromCoeffs, fromCoeffs + 4 * std::size_t{rows}, coeffs);
    return kSuccess;
}

// Kept [pointer-before-count]: unlike the tables, a null pointer leaves the count as it was.
template <std::size_t n>
int parameterGroup(const float (&from)[n], float* values, unsigned int& count)
{
    if (values == nullptr) {
        return kBadArgument;
    }
    count = n;
    std::copy(std::begin(from), std::end(from), values);
    return kSuccess;
}

} // namespace

int CKorPrm::getAzimuthComp(unsigned int& count, float* table) const
{
    return prmLoaded ? encoderTable(m_set.azCompCount, m_set.azCompTable, count, table) : kNotLoaded;
}

int CKorPrm::getElevationComp(unsigned int& count, float* table) const
{
    return prmLoaded ? encoderTable(m_set.elCompCount, m_set.elCompTable, count, table) : kNotLoaded;
}

int CKorPrm::getAzimuthCompRollover(float& first, float& last)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    first = m_set.azRollover[0];
    last = m_set.azRollover[1];
    return kSuccess;
}

int CKorPrm::getElevationCompRollover(float& first, float& last)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    first = m_set.elRollover[0];
    last = m_set.elRollover[1];
    return kSuccess;
}

int CKorPrm::getLevelXComp(unsigned int& count, float* table, double* coeffs) const
{
    return prmLoaded ? levelTable(m_set.levelXCount, m_set.levelXTable, m_set.levelXCoeffs, count, table, coeffs)
                     : kNotLoaded;
}

// Kept [count-and-3-of-table-y]: gives the first count + 3 values of the table, although the extra values of table Y
// stand behind the row count of table X.
int CKorPrm::getLevelYComp(unsigned int& count, float* table, double* coeffs) const
{
    return prmLoaded ? levelTable(m_set.levelYCount, m_set.levelYTable, m_set.levelYCoeffs, count, table, coeffs)
                     : kNotLoaded;
}

int CKorPrm::getLevel1Parameters(float* values, unsigned int& count) const
{
    return prmLoaded ? parameterGroup(m_set.level1Parameters, values, count) : kNotLoaded;
}

int CKorPrm::getLevel2Parameters(float* values, unsigned int& count) const
{
    return prmLoaded ? parameterGroup(m_set.level2Parameters, values, count) : kNotLoaded;
}

int CKorPrm::getQVCParameters(float* values, unsigned int& count) const
{
    return prmLoaded ? parameterGroup(m_set.qvcParameters, values, count) : kNotLoaded;
}

int CKorPrm::getScaleFactors(float* values, unsigned int& count) const
{
    return prmLoaded ? parameterGroup(m_set.scaleFactors, values, count) : kNotLoaded;
}

// Kept [modification-mark]: does not count as a modification, here and in SetKORLevelLimits.
int CKorPrm::setScaleFactors(const float* values, unsigned int count)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (values == nullptr || count < 1 || count > std::size(m_set.scaleFactors)) {
        return kBadArgument;
    }
    std::copy(values, values + count, m_set.scaleFactors);
    return kSuccess;
}

int CKorPrm::getDynamicKORParameters(float* values) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (values == nullptr) {
        return kBadArgument;
    }
    std::copy(std::begin(m_set.dynamicParameters), std::end(m_set.dynamicParameters), values);
    return kSuccess;
}

int CKorPrm::getPSDParameters(float* x, float* y) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (x == nullptr || y == nullptr) {
        return kBadArgument;
    }
    std::copy(std::begin(m_set.psdX), std::end(m_set.psdX), x);
    std::copy(std::begin(m_set.psdY), std::end(m_set.psdY), y);
    return kSuccess;
}

int CKorPrm::getEncoderOffset(F_VECTOR2& offset) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    offset = {static_cast<float>(m_set.encoderOffsetAz), static_cast<float>(m_set.encoderOffsetEl)};
    return kSuccess;
}

int CKorPrm::setEncoderOffset(const F_VECTOR2& offset)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    m_set.encoderOffsetAz = static_cast<double>(offset.x);
    m_set.encoderOffsetEl = static_cast<double>(offset.y);
    prmModified = true;
    return kSuccess;
}

int CKorPrm::getEncoderLimit(F_VECTOR4& limit) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    const float azimuth = static_cast<float>(m_set.encoderOffsetAz);
    const float elevation = static_cast<float>(m_set.encoderOffsetEl);
    limit = {mek::degrees(azimuth - m_set.encoderHalfRangeAz), mek::degrees(azimuth + m_set.encoderHalfRangeAz),
             mek::degrees(elevation - m_set.encoderHalfRangeEl), mek::degrees(elevation + m_set.encoderHalfRangeEl)};
    return kSuccess;
}

int CKorPrm::getKnownVector(double* vector) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (vector == nullptr) {
        return kBadArgument;
    }
    std::copy(std::begin(m_set.knownVector), std::end(m_set.knownVector), vector);
    return kSuccess;
}

int CKorPrm::setKnownVector(const double* vector)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (vector == nullptr) {
        return kBadArgument;
    }
    std::copy_n(vector, std::size(m_set.knownVector), m_set.knownVector);
    prmModified = true;
    return kSuccess;
}

// Kept [vector-spread]: the first component goes to all three elements, loaded or not.
void CKorPrm::SetVector(D_VECTOR3 vector)
{
    std::fill(std::begin(m_set.knownVector), std::end(m_set.knownVector), vector.x);
}

int CKorPrm::getLocalMatrix(double* m, int n) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (m == nullptr) {
        return kBadArgument;
    }
    copyFromObject(m, this, sizeof(*this), m_set.localMatrix, elementsOf(n));
    return kSuccess;
}

// Kept [larger-local-matrix]: an n above 3 runs on into the machine matrix, and no further.
int CKorPrm::setLocalMatrix(const double* m, int n)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (m == nullptr) {
        return kBadArgument;
    }
    const std::size_t elements = elementsOf(n);
    const std::size_t own = std::min(elements, std::size(m_set.localMatrix));
    const std::size_t beyond = std::min(elements - own, std::size(m_set.machineMatrix));
    std::copy(m, m + own, m_set.localMatrix);
    std::copy(m + own, m + own + beyond, m_set.machineMatrix);
    prmModified = true;
    return kSuccess;
}

int CKorPrm::getMachineMatrix(double* m, int n)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (m == nullptr) {
        return kBadArgument;
    }
    copyFromObject(m, this, sizeof(*this), m_set.machineMatrix, elementsOf(n));
    return kSuccess;
}

// Kept [larger-machine-matrix]: what an n above 3 brings is dropped; the fields behind are not numbers of its kind.
int CKorPrm::setMachineMatrix(double* m, int n)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (m == nullptr) {
        return kBadArgument;
    }
    std::copy(m, m + std::min(elementsOf(n), std::size(m_set.machineMatrix)), m_set.machineMatrix);
    prmModified = true;
    return kSuccess;
}

int CKorPrm::getThermalFactor(F_VECTOR4& factor) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    factor = {m_set.thermalFactor[0], m_set.thermalFactor[1], m_set.thermalFactor[2], m_set.thermalFactor[3]};
    return kSuccess;
}

int CKorPrm::setThermalFactor(const F_VECTOR4& factor)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    m_set.thermalFactor[0] = factor.x;
    m_set.thermalFactor[1] = factor.y;
    m_set.thermalFactor[2] = factor.z;
    m_set.thermalFactor[3] = factor.w;
    prmModified = true;
    return kSuccess;
}

int CKorPrm::getTiltOffset(F_VECTOR2& offset) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    offset = {m_set.tiltOffset[0], m_set.tiltOffset[1]};
    return kSuccess;
}

int CKorPrm::setTiltOffset(const F_VECTOR2& offset)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    m_set.tiltOffset[0] = offset.x;
    m_set.tiltOffset[1] = offset.y;
    prmModified = true;
    return kSuccess;
}

int CKorPrm::getMountMode(int& mode) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    mode = m_set.mountMode;
    return kSuccess;
}

int CKorPrm::getADMOffset(float& offset) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    offset = m_set.admOffset;
    return kSuccess;
}

int CKorPrm::GetKORLevelLimits(F_VECTOR4& limits)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    limits = m_set.levelLimits;
    return kSuccess;
}

int CKorPrm::SetKORLevelLimits(F_VECTOR4 limits)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    m_set.levelLimits = limits;
    return kSuccess;
}

void CKorPrm::TgUpdateThermal(float factor, float* temps, int which)
{
    if (temps == nullptr) {
        return;
    }
    const float mean = (temps[1] + temps[0] + temps[2]) / 3.0F;
    const std::size_t gain = which == 0 ? 0 : 2;
    float& offset = m_set.thermalFactor[gain + 1];
    const float p = mean * m_set.thermalFactor[gain];
    offset = (p + offset) * factor - p;
}
