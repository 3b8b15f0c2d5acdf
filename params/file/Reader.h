// The walk over a parameter file: the one way such a file is read and its failures are explained.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "KORInterface/Records.h"

namespace kor::params {

/// Where a read puts its values: the fields of a parameter set. The array pointers are null or lead to shared
/// arrays (params/SharedArray.h), which the read releases and allocates.
struct Fields {
    double& encoderOffsetAz;
    double& encoderOffsetEl;
    double (&knownVector)[3];
    double (&localMatrix)[9];
    double (&machineMatrix)[9];
    float (&tiltOffset)[2];
    float (&thermalFactor)[4];
    std::int32_t& mountMode;
    float& admOffset;
    std::uint32_t& levelXCount;
    float*& levelXTable;
    double*& levelXCoeffs;
    std::uint32_t& levelYCount;
    float*& levelYTable;
    double*& levelYCoeffs;
    std::uint32_t& azCompCount;
    std::uint32_t& elCompCount;
    float*& azCompTable;
    float*& elCompTable;
    float (&scaleFactors)[8];
    float (&azRollover)[2];
    float (&elRollover)[2];
    float (&qvcParameters)[6];
    float (&level1Parameters)[7];
    float (&level2Parameters)[7];
    float& encoderHalfRangeAz;
    float& encoderHalfRangeEl;
    F_VECTOR4& levelLimits;
    float (&psdX)[3];
    float (&psdY)[3];
    float (&dynamicParameters)[7];
};

/// Outcome of a read.
struct ReadReport {
    int status = 0;              ///< 0, 550 or 553
    unsigned messageId = 0;      ///< of the string table; 0: no message
    bool endedAtTitle = false;   ///< the failure is that the file ended where a title was due
    const char* title = "";      ///< the block in which the read failed
    std::size_t line = 0;        ///< from 1, of the text that made it fail
    const char* expected = "";   ///< what should have stood there
    std::string found;           ///< what stood there: short and printable
    std::size_t shortCalls = 0;  ///< formatted calls that ended before their last value, which kept its old content
    std::size_t shortLine = 0;   ///< line of the first such value
    const char* shortTitle = ""; ///< its block
};

/// Reads a parameter file into fields and tells what came of it.
/// Given     file  open for reading, positioned at its beginning; stays open
///           id    sensor ID, its low 32 bits
/// Notes  1  On failure the fields keep what the blocks before have replaced; the tilt limits change on success only.
///        2  Throws nothing: without memory the read fails with 553.
void readFile(std::FILE* file, std::uint32_t id, Fields& fields, ReadReport& report) noexcept;

/// The same over bytes in memory.
void readBytes(std::string_view bytes, std::uint32_t id, Fields& fields, ReadReport& report) noexcept;

/// Reads a parameter file as a new parameter set would and tells what came of it.
/// Notes  1  Throws only std::bad_alloc, from the conversion of the path.
ReadReport explainFile(const std::wstring& path, unsigned long id);

} // namespace kor::params
