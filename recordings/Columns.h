// The columns of every table of samples: names, types, units, and where a value lies in memory. Header lines, readers
// and writers are made from these tables.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "KORInterface/Records.h"

namespace kor::recordings {

enum class Format {
    csv,
    binary,
    bare ///< of results alone: the engine's records and nothing else
};

enum class Type { float32, float64, int32, uint32, uint8, flag, text, outcome };

struct Column {
    std::string_view name;
    Type type;
    std::string_view unit; ///< empty: none, or that of a table of the parameter file
    std::size_t offset;    ///< of the value in its record
    bool measured = false; ///< a reading that can be noisy, biased or quantised
    bool optional = false; ///< files made before there was this column are read as well
};

/// Bytes of a text in a record, at most.
inline constexpr std::size_t kLongestText = 32;

/// What became of one sample. The numbers are part of the binary format, the names of the CSV: new ones go to the end.
enum class Outcome : std::uint8_t {
    ok = 0,                        ///< angles and matrix are the sensor's orientation
    beforeReference = 1,           ///< angles are 0 and the matrix is the identity until a reference is captured
    rejectedStatus = 2,            ///< the status is not 2
    notFinite = 3,                 ///< the matrix holds nan or an infinity
    noMatrixBothLevelsOutside = 4, ///< mount modes 9, 10: both levels are outside their tables
    noMatrixFiltersFilling = 5,    ///< mount modes 9, 10: the filters do not hold enough samples yet
    noMatrixNoSolution = 6,        ///< the model's equations have no solution
    noMatrixNoModel = 7,           ///< the engine has no model
    spoiled = 8                    ///< the matrix holds nan or an infinity because of an earlier sample
};

/// The names of the outcomes in CSV, by their numbers.
inline constexpr std::array<std::string_view, 9> kOutcomeNames = {{
    "ok",
    "before_reference",
    "rejected_status",
    "not_finite",
    "no_matrix_both_levels_out",
    "no_matrix_filters_filling",
    "no_matrix_no_solution",
    "no_matrix_no_model",
    "spoiled",
}};

/// What the engine said about one sample.
struct Result {
    std::uint32_t timeStampMs;
    KOR_INFO info;
    double matrix[9]; ///< as CKor::ReadMatrix gives it, row by row
    std::int32_t matrixCode;
    Outcome outcome;
    bool levelXOut; ///< outside its table
    bool levelYOut;
};

/// What is true of one simulated sample.
struct Truth {
    std::uint32_t timeStampMs;
    bool valid;        ///< the orientation may be held against the truth
    const char* note;  ///< why
    double base[9];    ///< base to tracker frame, row by row
    float position[3]; ///< target point, tracker frame, mm
    double result[9];  ///< what the engine should hand out with its MCS flag set, row by row
};

/// Records of a recording: KOR_RAWINFO.
inline constexpr std::array<Column, 15> kRawColumns = {{
    {"status", Type::int32, "", offsetof(KOR_RAWINFO, status)},
    {"sensorVector_x", Type::float32, "mm", offsetof(KOR_RAWINFO, sensorVector), true},
    {"sensorVector_y", Type::float32, "mm", offsetof(KOR_RAWINFO, sensorVector) + 4, true},
    {"sensorVector_z", Type::float32, "mm", offsetof(KOR_RAWINFO, sensorVector) + 8, true},
    {"azimuthRaw", Type::float32, "deg", offsetof(KOR_RAWINFO, azimuthRaw), true},
    {"elevationRaw", Type::float32, "deg", offsetof(KOR_RAWINFO, elevationRaw), true},
    {"levelXRaw", Type::float32, "", offsetof(KOR_RAWINFO, levelXRaw), true},
    {"levelYRaw", Type::float32, "", offsetof(KOR_RAWINFO, levelYRaw), true},
    {"levelTemperature", Type::float32, "", offsetof(KOR_RAWINFO, levelTemperature), true},
    {"referenceGate", Type::float32, "", offsetof(KOR_RAWINFO, referenceGate), true},
    {"referenceHold", Type::uint8, "", offsetof(KOR_RAWINFO, referenceHold)},
    {"temperatureCount_0", Type::int32, "", offsetof(KOR_RAWINFO, temperatureCount), true},
    {"temperatureCount_1", Type::int32, "", offsetof(KOR_RAWINFO, temperatureCount) + 4, true},
    {"temperatureCount_2", Type::int32, "", offsetof(KOR_RAWINFO, temperatureCount) + 8, true},
    {"timeStampMs", Type::uint32, "ms", offsetof(KOR_RAWINFO, timeStampMs)},
}};

/// Records of results: Result.
inline constexpr std::array<Column, 27> kResultColumns = {{
    {"timeStampMs", Type::uint32, "ms", offsetof(Result, timeStampMs)},
    {"azimuth_deg", Type::float32, "deg", offsetof(Result, info) + offsetof(KOR_INFO, azimuth)},
    {"elevation_deg", Type::float32, "deg", offsetof(Result, info) + offsetof(KOR_INFO, elevation)},
    {"levelX_deg", Type::float32, "deg", offsetof(Result, info) + offsetof(KOR_INFO, levelX)},
    {"levelY_deg", Type::float32, "deg", offsetof(Result, info) + offsetof(KOR_INFO, levelY)},
    {"orientationX_deg", Type::float32, "deg", offsetof(Result, info) + offsetof(KOR_INFO, orientationAngles)},
    {"orientationZ_deg", Type::float32, "deg", offsetof(Result, info) + offsetof(KOR_INFO, orientationAngles) + 4},
    {"orientationY_deg", Type::float32, "deg", offsetof(Result, info) + offsetof(KOR_INFO, orientationAngles) + 8},
    {"sensorOutX_mm", Type::float32, "mm", offsetof(Result, info) + offsetof(KOR_INFO, sensorOut)},
    {"sensorOutY_mm", Type::float32, "mm", offsetof(Result, info) + offsetof(KOR_INFO, sensorOut) + 4},
    {"sensorOutZ_mm", Type::float32, "mm", offsetof(Result, info) + offsetof(KOR_INFO, sensorOut) + 8},
    {"temperature_0", Type::float32, "", offsetof(Result, info) + offsetof(KOR_INFO, temperature)},
    {"temperature_1", Type::float32, "", offsetof(Result, info) + offsetof(KOR_INFO, temperature) + 4},
    {"temperature_2", Type::float32, "", offsetof(Result, info) + offsetof(KOR_INFO, temperature) + 8},
    {"m00", Type::float64, "", offsetof(Result, matrix)},
    {"m01", Type::float64, "", offsetof(Result, matrix) + 8},
    {"m02", Type::float64, "", offsetof(Result, matrix) + 16},
    {"m10", Type::float64, "", offsetof(Result, matrix) + 24},
    {"m11", Type::float64, "", offsetof(Result, matrix) + 32},
    {"m12", Type::float64, "", offsetof(Result, matrix) + 40},
    {"m20", Type::float64, "", offsetof(Result, matrix) + 48},
    {"m21", Type::float64, "", offsetof(Result, matrix) + 56},
    {"m22", Type::float64, "", offsetof(Result, matrix) + 64},
    {"matrixCode", Type::int32, "", offsetof(Result, matrixCode)},
    {"outcome", Type::outcome, "", offsetof(Result, outcome), false, true},
    {"levelX_out", Type::flag, "", offsetof(Result, levelXOut), false, true},
    {"levelY_out", Type::flag, "", offsetof(Result, levelYOut), false, true},
}};

/// Records of the truth about a simulated recording: Truth.
inline constexpr std::array<Column, 24> kTruthColumns = {{
    {"timeStampMs", Type::uint32, "ms", offsetof(Truth, timeStampMs)},
    {"valid", Type::flag, "", offsetof(Truth, valid)},
    {"note", Type::text, "", offsetof(Truth, note)},
    {"R_00", Type::float64, "", offsetof(Truth, base)},
    {"R_01", Type::float64, "", offsetof(Truth, base) + 8},
    {"R_02", Type::float64, "", offsetof(Truth, base) + 16},
    {"R_10", Type::float64, "", offsetof(Truth, base) + 24},
    {"R_11", Type::float64, "", offsetof(Truth, base) + 32},
    {"R_12", Type::float64, "", offsetof(Truth, base) + 40},
    {"R_20", Type::float64, "", offsetof(Truth, base) + 48},
    {"R_21", Type::float64, "", offsetof(Truth, base) + 56},
    {"R_22", Type::float64, "", offsetof(Truth, base) + 64},
    {"position_x", Type::float32, "mm", offsetof(Truth, position)},
    {"position_y", Type::float32, "mm", offsetof(Truth, position) + 4},
    {"position_z", Type::float32, "mm", offsetof(Truth, position) + 8},
    {"result_00", Type::float64, "", offsetof(Truth, result)},
    {"result_01", Type::float64, "", offsetof(Truth, result) + 8},
    {"result_02", Type::float64, "", offsetof(Truth, result) + 16},
    {"result_10", Type::float64, "", offsetof(Truth, result) + 24},
    {"result_11", Type::float64, "", offsetof(Truth, result) + 32},
    {"result_12", Type::float64, "", offsetof(Truth, result) + 40},
    {"result_20", Type::float64, "", offsetof(Truth, result) + 48},
    {"result_21", Type::float64, "", offsetof(Truth, result) + 56},
    {"result_22", Type::float64, "", offsetof(Truth, result) + 64},
}};

/// Records of way-points: seven doubles in this order.
inline constexpr std::array<Column, 7> kWayPointColumns = {{
    {"time_s", Type::float64, "s", 0},
    {"x_mm", Type::float64, "mm", 8},
    {"y_mm", Type::float64, "mm", 16},
    {"z_mm", Type::float64, "mm", 24},
    {"roll_deg", Type::float64, "deg", 32},
    {"pitch_deg", Type::float64, "deg", 40},
    {"yaw_deg", Type::float64, "deg", 48},
}};

/// The names as the header line of a CSV file, without the line's end.
std::string headerLine(std::span<const Column> columns);

/// The value of a column in a record as a number that holds it exactly; a text has none, and is 0.
double valueAt(const void* record, const Column& column);

/// How many columns of a recording are measured.
constexpr std::size_t measuredCount()
{
    std::size_t count = 0;
    for (const Column& column : kRawColumns) {
        count += column.measured ? 1U : 0U;
    }
    return count;
}

/// The columns of a recording that are measured, in the order of a recording.
constexpr std::array<Column, measuredCount()> measuredColumns()
{
    std::array<Column, measuredCount()> columns{};
    std::size_t at = 0;
    for (const Column& column : kRawColumns) {
        if (column.measured) {
            columns[at++] = column;
        }
    }
    return columns;
}

/// The same as a value.
inline constexpr auto kMeasuredColumns = measuredColumns();

} // namespace kor::recordings
