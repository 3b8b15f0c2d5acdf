// The reader of parameter files against a plain one, bit for bit: status, message and every value that two files leave,
// one after the other, in one object. Each file is read from memory and through the buffer of a file.
//
// The input is the two files, apart at the first byte 0x00, or one file for both.
#include "Fuzz.h"
#include "LiteralParameterFile.h"
#include "params/file/ParameterSet.h"
#include "params/file/Reader.h"

#include <bit>
#include <cmath>

namespace {

using kor_fuzz::LiteralParameterFile;
using kor_fuzz::require;

constexpr std::uint32_t kId = 7;

// Any not-a-number equals any other: arithmetic decides on its sign and payload as it likes.
template <typename Float>
bool same(Float a, Float b)
{
    return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
}

template <typename Float>
void requireSame(const char* name, const Float* got, const Float* wanted, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (!same(got[i], wanted[i])) {
            std::fprintf(stderr, "value %zu: the library has %a, the plain reader %a\n", i, static_cast<double>(got[i]),
                         static_cast<double>(wanted[i]));
            require(false, name);
        }
    }
}

void requireSame(const kor::params::ReadReport& report, const kor::ParameterSet& got,
                 const LiteralParameterFile& wanted)
{
    if (report.status != wanted.status || report.messageId != wanted.message) {
        std::fprintf(stderr, "the library gives %d and message %u, the plain reader %d and %u\n", report.status,
                     report.messageId, wanted.status, wanted.message);
        require(false, "status and message");
    }
    requireSame("Angle Offset", &got.encoderOffsetAz, &wanted.angleOffset[0], 1);
    requireSame("Angle Offset", &got.encoderOffsetEl, &wanted.angleOffset[1], 1);
    requireSame("Transform Vector", got.knownVector, wanted.knownVector, 3);
    requireSame("local matrix", got.localMatrix, wanted.localMatrix, 9);
    requireSame("machine matrix", got.machineMatrix, wanted.machineMatrix, 9);
    requireSame("thermal factor", got.thermalFactor, wanted.thermalFactor, 4);
    requireSame("tilt offset", got.tiltOffset, wanted.tiltOffset, 2);
    requireSame("ADM offset", &got.admOffset, &wanted.admOffset, 1);
    requireSame("scale factors", got.scaleFactors, wanted.scaleFactors, 8);
    require(got.mountMode == wanted.mountMode, "mount mode");
    requireSame("QVC", got.qvcParameters, wanted.qvc, 6);
    requireSame("Level_X", got.level1Parameters, wanted.level1, 7);
    requireSame("Level_Y", got.level2Parameters, wanted.level2, 7);
    requireSame("half range", &got.encoderHalfRangeAz, &wanted.halfRange[0], 1);
    requireSame("half range", &got.encoderHalfRangeEl, &wanted.halfRange[1], 1);
    requireSame("PSDX", got.psdX, wanted.psdX, 3);
    requireSame("PSDY", got.psdY, wanted.psdY, 3);
    requireSame("dynamic parameters", got.dynamicParameters, wanted.dynamic, 7);
    const float limits[4] = {got.levelLimits.x, got.levelLimits.y, got.levelLimits.z, got.levelLimits.w};
    requireSame("limits", limits, wanted.limits, 4);

    require(got.azCompCount == wanted.azimuthCount && (got.azCompTable != nullptr) == wanted.hasAzimuth,
            "rows of the azimuth table");
    requireSame("azimuth table", got.azCompTable, wanted.azimuth.data(),
                wanted.hasAzimuth ? 2 * std::size_t{wanted.azimuthCount} : 0);
    requireSame("azimuth rollover", got.azRollover, wanted.azimuthRollover, 2);
    require(got.elCompCount == wanted.elevationCount && (got.elCompTable != nullptr) == wanted.hasElevation,
            "rows of the elevation table");
    requireSame("elevation table", got.elCompTable, wanted.elevation.data(), wanted.elevation.size());
    requireSame("elevation rollover", got.elRollover, wanted.elevationRollover, 2);
    require(got.levelXCount == wanted.levelX.count && got.levelYCount == wanted.levelY.count, "rows of a tilt table");
    requireSame("tilt X table", got.levelXTable, wanted.levelX.table.data(), wanted.levelX.table.size());
    requireSame("tilt X spline", got.levelXCoeffs, wanted.levelX.coefficients.data(),
                wanted.levelX.coefficients.size());
    requireSame("tilt Y table", got.levelYTable, wanted.levelY.table.data(), wanted.levelY.table.size());
    requireSame("tilt Y spline", got.levelYCoeffs, wanted.levelY.coefficients.data(),
                wanted.levelY.coefficients.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static kor_fuzz::MemoryFile memory;
    const kor_fuzz::TwoFiles files({reinterpret_cast<const char*>(data), size});
    LiteralParameterFile plain;
    kor::ParameterSet fromBytes;
    kor::ParameterSet fromFile;
    for (const std::string_view bytes : {files.first, files.second}) {
        plain.read(bytes, kId);

        kor::params::ReadReport report(true);
        kor::params::readBytes(bytes, kId, fromBytes, report);
        requireSame(report, fromBytes, plain);

        memory.write(bytes);
        kor::platform::File file(memory.descriptor());
        kor::params::ReadReport silent;
        kor::params::readFile(file, kId, fromFile, silent);
        requireSame(silent, fromFile, plain);
        require(silent.line == report.line && silent.found == report.found, "a file fails where its bytes do");
    }
    kor::params::releaseTables(fromBytes);
    kor::params::releaseTables(fromFile);
    return 0;
}
