#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "KORInterface/CKorPrm.h"
#include "mek/Literals.h"
#include "params/file/Blocks.h"
#include "params/file/SharedArray.h"

namespace {

constexpr int kDone = 0;
constexpr int kBadArgument = 20;
constexpr int kNotLoaded = 551;

template <class T, std::size_t n>
void copyOut(T* to, const T (&from)[n])
{
    std::copy(std::begin(from), std::end(from), to);
}

template <class T, std::size_t n>
void copyIn(T (&to)[n], const T* from)
{
    std::copy(from, from + n, to);
}

// Kept: n x n is a 32-bit signed product that wraps, and nothing is copied unless it is positive; -3 copies nine.
std::size_t elementsOf(int n)
{
    const std::uint32_t product = static_cast<std::uint32_t>(n) * static_cast<std::uint32_t>(n);
    return static_cast<std::int32_t>(product) > 0 ? product : 0;
}

// Kept: an n above 3 runs on past the matrix into the fields behind it; the object's end is where it stops, and the
// rest of the caller's buffer is left alone. Bytes, because those fields are of any type.
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
    // Kept: the count is given before the pointer is looked at, so that a host can ask for the size.
    count = rows;
    if (table == nullptr) {
        return kBadArgument;
    }
    if (kor::params::sharedCapacity(from) / 2 < rows) {
        return kNotLoaded; // destroyed, or left behind by a failed read
    }
    if (from != nullptr) {
        std::copy(from, from + 2 * std::size_t{rows}, table);
    }
    return kDone;
}

int levelTable(std::uint32_t rows, const float* fromTable, const double* fromCoeffs, unsigned int& count, float* table,
               double* coeffs)
{
    // Kept: as above.
    count = rows;
    if (table == nullptr || coeffs == nullptr) {
        return kBadArgument;
    }
    if (rows == 0 && (fromTable == nullptr || fromCoeffs == nullptr)) {
        return kDone; // the file has no such table
    }
    // A level table has room for its extra values at least.
    if (fromTable == nullptr || kor::params::sharedCapacity(fromTable) - kor::params::kTiltExtras < rows ||
        kor::params::sharedCapacity(fromCoeffs) / 4 < rows) {
        return kNotLoaded;
    }
    std::copy(fromTable, fromTable + rows + kor::params::kTiltExtras, table);
    std::copy(fromCoeffs, fromCoeffs + 4 * std::size_t{rows}, coeffs);
    return kDone;
}

// Kept: unlike the tables, a null pointer leaves the count as it was.
template <std::size_t n>
int parameters(const float (&from)[n], float* values, unsigned int& count)
{
    if (values == nullptr) {
        return kBadArgument;
    }
    count = n;
    copyOut(values, from);
    return kDone;
}

float degreesOf(float radians)
{
    return static_cast<float>(static_cast<double>(radians) * mek::kDegPerRad);
}

} // namespace

int CKorPrm::getAzimuthComp(unsigned int& count, float* table) const
{
    return prmLoaded ? encoderTable(azCompCount, azCompTable, count, table) : kNotLoaded;
}

int CKorPrm::getElevationComp(unsigned int& count, float* table) const
{
    return prmLoaded ? encoderTable(elCompCount, elCompTable, count, table) : kNotLoaded;
}

int CKorPrm::getAzimuthCompRollover(float& first, float& last)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    first = azRollover[0];
    last = azRollover[1];
    return kDone;
}

int CKorPrm::getElevationCompRollover(float& first, float& last)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    first = elRollover[0];
    last = elRollover[1];
    return kDone;
}

int CKorPrm::getLevelXComp(unsigned int& count, float* table, double* coeffs) const
{
    return prmLoaded ? levelTable(levelXCount, levelXTable, levelXCoeffs, count, table, coeffs) : kNotLoaded;
}

// Kept: gives the first count + 3 values of the table, although the extra values of table Y stand behind the row
// count of table X.
int CKorPrm::getLevelYComp(unsigned int& count, float* table, double* coeffs) const
{
    return prmLoaded ? levelTable(levelYCount, levelYTable, levelYCoeffs, count, table, coeffs) : kNotLoaded;
}

int CKorPrm::getLevel1Parameters(float* values, unsigned int& count) const
{
    return prmLoaded ? parameters(level1Parameters, values, count) : kNotLoaded;
}

int CKorPrm::getLevel2Parameters(float* values, unsigned int& count) const
{
    return prmLoaded ? parameters(level2Parameters, values, count) : kNotLoaded;
}

int CKorPrm::getQVCParameters(float* values, unsigned int& count) const
{
    return prmLoaded ? parameters(qvcParameters, values, count) : kNotLoaded;
}

int CKorPrm::getScaleFactors(float* values, unsigned int& count) const
{
    return prmLoaded ? parameters(scaleFactors, values, count) : kNotLoaded;
}

// Kept: does not count as a modification, here and in SetKORLevelLimits.
int CKorPrm::setScaleFactors(const float* values, unsigned int count)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (values == nullptr || count < 1 || count > std::size(scaleFactors)) {
        return kBadArgument;
    }
    std::copy(values, values + count, scaleFactors);
    return kDone;
}

int CKorPrm::getDynamicKORParameters(float* values) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (values == nullptr) {
        return kBadArgument;
    }
    copyOut(values, dynamicParameters);
    return kDone;
}

int CKorPrm::getPSDParameters(float* x, float* y) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (x == nullptr || y == nullptr) {
        return kBadArgument;
    }
    copyOut(x, psdX);
    copyOut(y, psdY);
    return kDone;
}

int CKorPrm::getEncoderOffset(F_VECTOR2& offset) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    offset = {static_cast<float>(encoderOffsetAz), static_cast<float>(encoderOffsetEl)};
    return kDone;
}

int CKorPrm::setEncoderOffset(const F_VECTOR2& offset)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    encoderOffsetAz = static_cast<double>(offset.x);
    encoderOffsetEl = static_cast<double>(offset.y);
    prmModified = true;
    return kDone;
}

int CKorPrm::getEncoderLimit(F_VECTOR4& limit) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    const float azimuth = static_cast<float>(encoderOffsetAz);
    const float elevation = static_cast<float>(encoderOffsetEl);
    limit = {degreesOf(azimuth - encoderHalfRangeAz), degreesOf(azimuth + encoderHalfRangeAz),
             degreesOf(elevation - encoderHalfRangeEl), degreesOf(elevation + encoderHalfRangeEl)};
    return kDone;
}

int CKorPrm::getKnownVector(double* vector) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (vector == nullptr) {
        return kBadArgument;
    }
    copyOut(vector, knownVector);
    return kDone;
}

int CKorPrm::setKnownVector(const double* vector)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (vector == nullptr) {
        return kBadArgument;
    }
    copyIn(knownVector, vector);
    prmModified = true;
    return kDone;
}

// Kept: the first component goes to all three elements, loaded or not.
void CKorPrm::SetVector(D_VECTOR3 vector)
{
    std::fill(std::begin(knownVector), std::end(knownVector), vector.x);
}

int CKorPrm::getLocalMatrix(double* m, int n) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (m == nullptr) {
        return kBadArgument;
    }
    copyFromObject(m, this, sizeof(*this), localMatrix, elementsOf(n));
    return kDone;
}

// Kept: an n above 3 runs on into the machine matrix, and no further.
int CKorPrm::setLocalMatrix(const double* m, int n)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (m == nullptr) {
        return kBadArgument;
    }
    const std::size_t elements = elementsOf(n);
    const std::size_t own = std::min(elements, std::size(localMatrix));
    const std::size_t beyond = std::min(elements - own, std::size(machineMatrix));
    std::copy(m, m + own, localMatrix);
    std::copy(m + own, m + own + beyond, machineMatrix);
    prmModified = true;
    return kDone;
}

int CKorPrm::getMachineMatrix(double* m, int n)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (m == nullptr) {
        return kBadArgument;
    }
    copyFromObject(m, this, sizeof(*this), machineMatrix, elementsOf(n));
    return kDone;
}

// What an n above 3 brings is dropped: the fields behind this matrix are not numbers of its kind.
int CKorPrm::setMachineMatrix(double* m, int n)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    if (m == nullptr) {
        return kBadArgument;
    }
    std::copy(m, m + std::min(elementsOf(n), std::size(machineMatrix)), machineMatrix);
    prmModified = true;
    return kDone;
}

int CKorPrm::getThermalFactor(F_VECTOR4& factor) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    factor = {thermalFactor[0], thermalFactor[1], thermalFactor[2], thermalFactor[3]};
    return kDone;
}

int CKorPrm::setThermalFactor(const F_VECTOR4& factor)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    thermalFactor[0] = factor.x;
    thermalFactor[1] = factor.y;
    thermalFactor[2] = factor.z;
    thermalFactor[3] = factor.w;
    prmModified = true;
    return kDone;
}

int CKorPrm::getTiltOffset(F_VECTOR2& offset) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    offset = {tiltOffset[0], tiltOffset[1]};
    return kDone;
}

int CKorPrm::setTiltOffset(const F_VECTOR2& offset)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    tiltOffset[0] = offset.x;
    tiltOffset[1] = offset.y;
    prmModified = true;
    return kDone;
}

int CKorPrm::getMountMode(int& mode) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    mode = mountMode;
    return kDone;
}

int CKorPrm::getADMOffset(float& offset) const
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    offset = admOffset;
    return kDone;
}

int CKorPrm::GetKORLevelLimits(F_VECTOR4& limits)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    limits = levelLimits;
    return kDone;
}

int CKorPrm::SetKORLevelLimits(F_VECTOR4 limits)
{
    if (!prmLoaded) {
        return kNotLoaded;
    }
    levelLimits = limits;
    return kDone;
}

void CKorPrm::TgUpdateThermal(float factor, float* temps, int which)
{
    if (temps == nullptr) {
        return;
    }
    const float mean = (temps[1] + temps[0] + temps[2]) / 3.0F;
    const std::size_t gain = which == 0 ? 0 : 2;
    float& offset = thermalFactor[gain + 1];
    const float p = mean * thermalFactor[gain];
    offset = (p + offset) * factor - p;
}
