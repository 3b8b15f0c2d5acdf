// The values of a sensor's parameter file.
#ifndef KORINTERFACE_PARAMETERSET_H
#define KORINTERFACE_PARAMETERSET_H

#include <cstdint>

#include "KORInterface/Records.h"

namespace kor {

/// What a parameter file says of its sensor, in the units in which the engine takes it. CKorPrm holds one; hosts reach
/// the values through its operations.
/// Layout    the order below, with the same offsets on every supported system
/// Notes  1  The six tables are shared arrays: plain assignment copies the pointers and counts no holder.
struct ParameterSet {
    double encoderOffsetAz = 0.0;               ///< radians
    double encoderOffsetEl = 0.0;               ///< radians
    double knownVector[3] = {};                 ///< "Transform Vector"
    double localMatrix[9] = {};                 ///< row-major, as in the file
    double machineMatrix[9] = {};               ///< row-major, inverse of the file's
    float tiltOffset[2] = {};                   ///< level X, level Y, degrees
    float thermalFactor[4] = {};                ///< X gain, X offset, Y gain, Y offset
    std::int32_t mountMode = 0;                 ///< chooses the orientation model
    float admOffset = 0.0F;                     ///< of the distance meter
    std::uint32_t levelXCount = 0;              ///< rows of the tilt X table
    float* levelXTable = nullptr;               ///< readings of the rows, then three extra values
    double* levelXCoeffs = nullptr;             ///< four spline coefficients per row
    std::uint32_t levelYCount = 0;              ///< rows of the tilt Y table
    float* levelYTable = nullptr;               ///< as levelXTable
    double* levelYCoeffs = nullptr;             ///< as levelXCoeffs
    std::uint32_t azCompCount = 0;              ///< rows of the azimuth table
    std::uint32_t elCompCount = 0;              ///< rows of the elevation table
    float* azCompTable = nullptr;               ///< reading and correction of each row, degrees
    float* elCompTable = nullptr;               ///< reading and correction of each row, degrees
    float scaleFactors[8] = {};                 ///< the orientation model gives them their meaning
    float azRollover[2] = {1.0F, 360.0F};       ///< first and last reading of the azimuth table, degrees
    float elRollover[2] = {1.0F, 360.0F};       ///< first and last reading of the elevation table, degrees
    float qvcParameters[6] = {};                ///< "QVC"
    float level1Parameters[7] = {};             ///< "Level_X"
    float level2Parameters[7] = {};             ///< "Level_Y"
    float encoderHalfRangeAz = 180.0F;          ///< radians after a read, the raw number 180 before
    float encoderHalfRangeEl = 60.0F;           ///< radians after a read, the raw number 60 before
    F_VECTOR4 levelLimits = {-35, 35, -35, 35}; ///< X low, X high, Y low, Y high
    float psdX[3] = {};                         ///< coefficients of the detector's first coordinate
    float psdY[3] = {};                         ///< coefficients of the detector's second coordinate
    float dynamicParameters[7] = {};            ///< of the second two-level model
};

} // namespace kor

#endif
