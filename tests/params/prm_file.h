// Parameter files for tests: the numbers of a sensor, their canonical text block by block, what an object that
// has read them must hand out, and temporary directories to put the files in.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KORInterface/CKorPrm.h"

namespace prm_test {

inline constexpr int kSuccess = 0;
inline constexpr int kBadArgument = 20;
inline constexpr int kCannotOpen = 550;
inline constexpr int kNotLoaded = 551;
inline constexpr int kBadFormat = 553;
inline constexpr int kNoMessage = 0;

inline constexpr int kBlockCount = 27;

inline constexpr double kRadPerDegree = 0.01745329251994;
inline constexpr double kDegreesPerRad = 57.29577951308;

struct TiltTable {
    std::vector<std::array<float, 2>> rows;
    std::array<float, 3> extra;
};

/// The numbers of one sensor, in the units of the file.
struct PrmValues {
    std::int32_t id;
    std::array<float, 2> angleOffset;
    std::array<float, 3> knownVector;
    std::array<float, 9> localMatrix;
    std::array<float, 9> machineMatrix; ///< one non-zero power of two per row and column: its inverse is exact
    std::array<float, 4> thermalFactor;
    std::array<float, 2> tiltOffset;
    float admOffset;
    std::vector<std::array<float, 2>> azimuth;
    std::vector<std::array<float, 2>> elevation;
    TiltTable tiltX;
    std::optional<TiltTable> tiltY; ///< as many rows as tiltX
    std::array<float, 8> scaleFactors;
    std::int32_t mountMode;
    std::array<float, 6> qvc;
    std::array<float, 7> level1;
    std::array<float, 7> level2;
    std::optional<std::array<float, 2>> halfAngle; ///< none: never read, the object's raw defaults
    std::array<float, 3> psdX;
    std::array<float, 3> psdY;
    std::array<float, 7> dynamic;
    std::optional<std::array<float, 4>> limits; ///< none: as the tilt tables and the mount mode give them
};

/// Two sensors that agree in the ID and in nothing else; the second has fewer azimuth rows.
PrmValues firstSensor(std::int32_t mountMode);
PrmValues secondSensor(std::int32_t mountMode);

/// What stays of `values` when the file has no model blocks (21 to 27) and the object is new.
PrmValues withoutModel(PrmValues values);

/// Blocks 1 to `last` of `newer`, the others of `older`.
PrmValues merged(const PrmValues& older, const PrmValues& newer, int last);

/// The title of a block, 1 to 27.
std::string_view titleOf(int block);

/// Six decimals and a decimal point in every locale.
std::string number(float value);

struct Block {
    std::string title;
    std::string body;
};

/// The text of a parameter file, open to changes.
class PrmFile {
public:
    explicit PrmFile(const PrmValues& values);

    Block& operator[](int block) { return m_blocks.at(static_cast<std::size_t>(block - 1)); }

    /// The blocks first to last as text.
    std::string text(int first = 1, int last = kBlockCount) const;

private:
    std::array<Block, kBlockCount> m_blocks;
};

/// Every group that a loaded object hands out, by name. If a getter fails, its result stands under "failed".
using Snapshot = std::map<std::string, std::vector<double>>;

Snapshot snapshot(CKorPrm& prm);
Snapshot expected(const PrmValues& values);

/// Everything equal to the bit but the spline coefficients, which come from different solvers.
void expectSame(const Snapshot& got, const Snapshot& wanted);

/// Natural cubic spline: c0..c3 of each interval, then four zeros.
std::vector<double> naturalSpline(const std::vector<float>& x, const std::vector<float>& y);

/// The encoder limits of offsets in radians and half ranges, operation by operation.
std::array<float, 4> encoderLimit(std::array<double, 2> offset, std::array<float, 2> half);

/// The flags that no operation hands out: the first two members of the object.
bool loadedFlag(const CKorPrm& prm);
bool modifiedFlag(const CKorPrm& prm);

/// A directory under the system's temporary one, removed with everything in it.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

void writeFile(const std::filesystem::path& path, std::string_view bytes);

/// Reads texts as the parameter file of a sensor.
class ParamsTest : public ::testing::Test {
protected:
    static constexpr unsigned long kId = 17;

    std::filesystem::path filePath(unsigned long id = kId) const;
    int read(CKorPrm& prm, std::string_view text, unsigned long id = kId);
    int readHere(CKorPrm& prm, unsigned long id = kId);

    /// The code of the message that reading the text as a new object's file gives, 0 when there is none.
    int message(std::string_view text, unsigned long id = kId);

    /// The same for the file as it lies in the directory.
    int messageHere(unsigned long id = kId);

    TempDir m_dir;

    // What else the last message came with.
    bool m_endedAtTitle = false;
    int m_status = 0;
};

} // namespace prm_test
