#include <algorithm>
#include <iterator>

#include "KORInterface/ParameterStore.h"
#include "KORInterface/Session.h"
#include "KORInterface/Status.h"
#include "engine/State.h"
#include "params/ParameterAccess.h"
#include "params/file/ParameterSet.h"

namespace kor {

namespace {

// A file without rows means no correction; an empty table would fix the engine's at a size of zero.
int setEncoder(CKor& engine, int (CKor::*set)(int, const float*), std::uint32_t rows, const float* table)
{
    if (rows == 0) {
        return kSuccess;
    }
    return params::encoderTableHolds(table, rows) ? (engine.*set)(static_cast<int>(rows), table) : kNotLoaded;
}

// Without the table the engine treats its level as out of range.
int setLevel(CKor& engine, int (CKor::*set)(int, const float*, const double*), std::uint32_t rows, const float* table,
             const double* coefficients)
{
    if (rows == 0) {
        return kSuccess;
    }
    return params::levelTableHolds(table, coefficients, rows)
               ? (engine.*set)(static_cast<int>(rows), table, coefficients)
               : kNotLoaded;
}

int copyTables(CKor& engine, const ParameterSet& set)
{
    int code = setEncoder(engine, &CKor::setAzimuthComp, set.azCompCount, set.azCompTable);
    if (code == kSuccess) {
        code = setEncoder(engine, &CKor::setElevationComp, set.elCompCount, set.elCompTable);
    }
    if (code == kSuccess) {
        code = setLevel(engine, &CKor::setLevelXComp, set.levelXCount, set.levelXTable, set.levelXCoeffs);
    }
    if (code == kSuccess) {
        code = setLevel(engine, &CKor::setLevelYComp, set.levelYCount, set.levelYTable, set.levelYCoeffs);
    }
    return code;
}

// None of these can fail: no pointer is null.
void copyGroups(CKor& engine, const ParameterSet& set)
{
    double machine[9];
    std::copy(std::begin(set.machineMatrix), std::end(set.machineMatrix), machine);
    engine.setEncoderOffset({static_cast<float>(set.encoderOffsetAz), static_cast<float>(set.encoderOffsetEl)});
    engine.setKnownVector(set.knownVector);
    engine.setLocalMatrix(set.localMatrix, 3);
    engine.setMachineMatrix(machine, 3);
    engine.setLevel1Parameters(set.level1Parameters, 7);
    engine.setLevel2Parameters(set.level2Parameters, 7);
    engine.setQVCParameters(set.qvcParameters, 6);
    engine.setScaleFactors(set.scaleFactors, 8);
    engine.setThermalFactor({set.thermalFactor[0], set.thermalFactor[1], set.thermalFactor[2], set.thermalFactor[3]});
    engine.setTiltOffset({set.tiltOffset[0], set.tiltOffset[1]});
}

} // namespace

// Way in to the choices of the options.
struct ConfigureAccess {
    static int configure(CKor& engine, const CKorPrm& prm, const ConfigureOptions& options);
};

int ConfigureAccess::configure(CKor& engine, const CKorPrm& prm, const ConfigureOptions& options)
{
    if (!ParameterAccess::loaded(prm)) {
        return kNotLoaded;
    }
    const ParameterSet& set = ParameterAccess::set(prm);
    if (const int code = copyTables(engine, set); code != kSuccess) {
        return code;
    }
    copyGroups(engine, set);
    if (options.m_hasMcsFlag) {
        engine.setMcsFlag(options.m_mcsFlag);
    }
    if (options.m_hasDetector) {
        engine.setPSDParameters(options.m_detector[0], options.m_detector[1], options.m_detector[2]);
    }
    // The model takes its dynamic parameters when the mount mode is chosen, so the store comes first.
    if (options.m_store) {
        const int code = LoadParameterStore(engine, set.dynamicParameters, set.psdX, set.psdY);
        if (code != kSuccess) {
            return code;
        }
    }
    // This succeeds also without memory for a model, and an engine without one refuses every sample.
    engine.setMountMode(options.m_hasMountMode ? options.m_mountMode : set.mountMode);
    return CKorAccess::state(engine).model == nullptr ? kBadArgument : kSuccess;
}

int Configure(CKor& engine, const CKorPrm& prm, const ConfigureOptions& options)
{
    return ConfigureAccess::configure(engine, prm, options);
}

} // namespace kor
