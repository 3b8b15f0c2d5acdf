// A parameter set into the plain engine, group by group as a host does it with CKor.
#pragma once

#include "KORInterface/CKorPrm.h"
#include "literal/Engine.h"

#include <vector>

namespace kor_test {

// Given  mode  the mount mode to choose. Parameter store, MCS flag and detector reading are the caller's, before this
// call
inline void configureLiteral(LiteralEngine& engine, CKorPrm& prm, int mode)
{
    unsigned int count = 0;
    prm.getAzimuthComp(count, nullptr);
    std::vector<float> table(2 * static_cast<std::size_t>(count));
    if (count > 0 && prm.getAzimuthComp(count, table.data()) == 0) {
        engine.setAzimuthComp(static_cast<int>(count), table.data());
    }
    prm.getElevationComp(count, nullptr);
    table.assign(2 * static_cast<std::size_t>(count), 0.0F);
    if (count > 0 && prm.getElevationComp(count, table.data()) == 0) {
        engine.setElevationComp(static_cast<int>(count), table.data());
    }
    prm.getLevelXComp(count, nullptr, nullptr);
    table.assign(static_cast<std::size_t>(count) + 3, 0.0F);
    std::vector<double> coefficients(4 * static_cast<std::size_t>(count));
    if (count > 0 && prm.getLevelXComp(count, table.data(), coefficients.data()) == 0) {
        engine.setLevelXComp(static_cast<int>(count), table.data(), coefficients.data());
    }
    prm.getLevelYComp(count, nullptr, nullptr);
    table.assign(static_cast<std::size_t>(count) + 3, 0.0F);
    coefficients.assign(4 * static_cast<std::size_t>(count), 0.0);
    if (count > 0 && prm.getLevelYComp(count, table.data(), coefficients.data()) == 0) {
        engine.setLevelYComp(static_cast<int>(count), table.data(), coefficients.data());
    }

    F_VECTOR2 pair{};
    prm.getEncoderOffset(pair);
    engine.setEncoderOffset(pair);
    prm.getTiltOffset(pair);
    engine.setTiltOffset(pair);
    F_VECTOR4 factor{};
    prm.getThermalFactor(factor);
    engine.setThermalFactor(factor);
    double matrix[9];
    prm.getLocalMatrix(matrix, 3);
    engine.setLocalMatrix(matrix, 3);
    prm.getMachineMatrix(matrix, 3);
    engine.setMachineMatrix(matrix, 3);
    float values[8];
    prm.getLevel1Parameters(values, count);
    engine.setLevel1Parameters(values, 7);
    prm.getLevel2Parameters(values, count);
    engine.setLevel2Parameters(values, 7);
    prm.getQVCParameters(values, count);
    engine.setQVCParameters(values, 6);
    prm.getScaleFactors(values, count);
    engine.setScaleFactors(values, 8);
    engine.setMountMode(mode);
}

} // namespace kor_test
