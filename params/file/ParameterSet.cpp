#include "params/file/ParameterSet.h"

#include <cstddef>
#include <type_traits>

#include "params/file/Blocks.h"
#include "params/file/SharedArray.h"

namespace kor::params {

static_assert(std::is_standard_layout_v<ParameterSet> && std::is_trivially_copyable_v<ParameterSet>);
static_assert(sizeof(void*) == 8, "the offsets below are those of 64-bit systems");
static_assert(offsetof(ParameterSet, encoderOffsetAz) == 0);
static_assert(offsetof(ParameterSet, encoderOffsetEl) == 8);
static_assert(offsetof(ParameterSet, knownVector) == 16);
static_assert(offsetof(ParameterSet, localMatrix) == 40);
static_assert(offsetof(ParameterSet, machineMatrix) == 112);
static_assert(offsetof(ParameterSet, tiltOffset) == 184);
static_assert(offsetof(ParameterSet, thermalFactor) == 192);
static_assert(offsetof(ParameterSet, mountMode) == 208);
static_assert(offsetof(ParameterSet, admOffset) == 212);
static_assert(offsetof(ParameterSet, levelXCount) == 216);
static_assert(offsetof(ParameterSet, levelXTable) == 224);
static_assert(offsetof(ParameterSet, levelXCoeffs) == 232);
static_assert(offsetof(ParameterSet, levelYCount) == 240);
static_assert(offsetof(ParameterSet, levelYTable) == 248);
static_assert(offsetof(ParameterSet, levelYCoeffs) == 256);
static_assert(offsetof(ParameterSet, azCompCount) == 264);
static_assert(offsetof(ParameterSet, elCompCount) == 268);
static_assert(offsetof(ParameterSet, azCompTable) == 272);
static_assert(offsetof(ParameterSet, elCompTable) == 280);
static_assert(offsetof(ParameterSet, scaleFactors) == 288);
static_assert(offsetof(ParameterSet, azRollover) == 320);
static_assert(offsetof(ParameterSet, elRollover) == 328);
static_assert(offsetof(ParameterSet, qvcParameters) == 336);
static_assert(offsetof(ParameterSet, level1Parameters) == 360);
static_assert(offsetof(ParameterSet, level2Parameters) == 388);
static_assert(offsetof(ParameterSet, encoderHalfRangeAz) == 416);
static_assert(offsetof(ParameterSet, encoderHalfRangeEl) == 420);
static_assert(offsetof(ParameterSet, levelLimits) == 424);
static_assert(offsetof(ParameterSet, psdX) == 440);
static_assert(offsetof(ParameterSet, psdY) == 452);
static_assert(offsetof(ParameterSet, dynamicParameters) == 464);
static_assert(sizeof(ParameterSet) == 496);

void retainTables(const ParameterSet& set) noexcept
{
    retainShared(set.azCompTable);
    retainShared(set.elCompTable);
    retainShared(set.levelXTable);
    retainShared(set.levelYTable);
    retainShared(set.levelYCoeffs);
    retainShared(set.levelXCoeffs);
}

void releaseTables(ParameterSet& set) noexcept
{
    releaseShared(set.azCompTable);
    releaseShared(set.elCompTable);
    releaseShared(set.levelXTable);
    releaseShared(set.levelYTable);
    releaseShared(set.levelYCoeffs);
    releaseShared(set.levelXCoeffs);
}

bool encoderTableHolds(const float* table, std::uint32_t rows) noexcept
{
    return table != nullptr && sharedCapacity(table) / 2 >= rows;
}

bool levelTableHolds(const float* table, const double* coeffs, std::uint32_t rows) noexcept
{
    // A level table has its extra values at least.
    return table != nullptr && coeffs != nullptr && sharedCapacity(table) - kTiltExtras >= rows &&
           sharedCapacity(coeffs) / 4 >= rows;
}

} // namespace kor::params
