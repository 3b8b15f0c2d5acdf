#include "params/file/Fields.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace kor::params {

namespace {

constexpr Models kDual = bitOf(OrientationModel::dualLevel);
constexpr Models kPendulum = bitOf(OrientationModel::pendulum);
constexpr Models kPolarizer = bitOf(OrientationModel::polarizer);
constexpr Models kThree = bitOf(OrientationModel::threeVectors);
constexpr Models kTwo = bitOf(OrientationModel::twoLevels);
constexpr Models kFactored = kDual | kPendulum | kPolarizer;
constexpr Models kVectored = kThree | kTwo;
constexpr Models kAll = kFactored | kVectored;
constexpr Models kNone = 0;

constexpr const char* kDeg = "degrees";
constexpr const char* kMm = "mm";
constexpr const char* kReading = "reading";

// Encoder tables and offsets are written in degrees of one turn; some makers count from -180, others from 0.
constexpr double kTurn = 360.0;
// An encoder's correction is a few arc-seconds to some hundredths of a degree. A whole degree is another column.
constexpr double kMostCorrection = 1.0;
// A level measures some tens of degrees; its zero is set to a fraction of one. An offset in other units, or with a
// lost decimal point, is far beyond this.
constexpr double kMostTiltOffset = 5.0;
// Beyond it a level is a level no longer, and the tangents of the axes' angles run away.
constexpr double kMostTilt = 90.0;
// Directions of axes are adjusted by a few degrees against the drawing; the second level's axis may stand across.
constexpr double kMostAdjustment = 45.0;
// Gains are calibrated around 1, with either sign where an axis counts the other way.
constexpr double kLeastGain = 0.5;
constexpr double kMostGain = 2.0;
// Where the meaning of a number is not known here, at least its size is that of a number that somebody has typed.
constexpr double kAnything = 1e6;

// The elements of a rotation, and what rounding to six decimals adds to them.
constexpr std::array<const char*, 9> kElements = {"m00", "m01", "m02", "m10", "m11", "m12", "m20", "m21", "m22"};
constexpr double kMostElement = 1.000001;

constexpr Field kFields[] = {
    // Gains and damping of the sensor's drives, which nothing here uses.
    {Target::nothing,
     0,
     6,
     {"value_1", "value_2", "value_3", "value_4", "value_5", "value_6"},
     "",
     -kAnything,
     kAnything,
     false,
     kNone},
    {Target::encoderOffset, 0, 2, {"azimuth", "elevation"}, kDeg, -kTurn, kTurn, false, kAll},
    {Target::knownVector, 0, 3, {"x", "y", "z"}, "", -kAnything, kAnything, false, kNone},
    {Target::localMatrix, 0, 9, kElements, "", -kMostElement, kMostElement, false, kFactored},
    {Target::machineMatrix, 0, 9, kElements, "", -kMostElement, kMostElement, false, kFactored},
    // gain times temperature plus offset multiplies a level, so that it is near 1: within temperatures of some ten
    // degrees a gain of 0.01 already changes it by a tenth of itself.
    {Target::thermalFactor, 0, 1, {"x_gain"}, "per unit of levelTemperature", -0.01, 0.01, false, kDual | kTwo},
    {Target::thermalFactor, 1, 1, {"x_offset"}, "", kLeastGain, kMostGain, false, kDual | kTwo},
    {Target::thermalFactor, 2, 1, {"y_gain"}, "per unit of levelTemperature", -0.01, 0.01, false, kAll},
    {Target::thermalFactor, 3, 1, {"y_offset"}, "", kLeastGain, kMostGain, false, kAll},
    {Target::tiltOffset, 0, 1, {"x"}, kDeg, -kMostTiltOffset, kMostTiltOffset, false, kDual | kTwo},
    {Target::tiltOffset, 1, 1, {"y"}, kDeg, -kMostTiltOffset, kMostTiltOffset, false, kAll},
    {Target::admOffset, 0, 1, {"offset"}, kMm, -1e4, 1e4, false, kNone},
    {Target::azimuthTable, 0, 1, {"reading"}, kDeg, -kTurn, kTurn, false, kAll},
    {Target::azimuthTable, 1, 1, {"correction"}, kDeg, -kMostCorrection, kMostCorrection, false, kAll},
    {Target::elevationTable, 0, 1, {"reading"}, kDeg, -kTurn, kTurn, false, kAll},
    {Target::elevationTable, 1, 1, {"correction"}, kDeg, -kMostCorrection, kMostCorrection, false, kAll},
    // The readings of a level may be counts or volts.
    {Target::levelXTable, 0, 1, {"reading"}, kReading, -kAnything, kAnything, false, kDual | kTwo},
    {Target::levelXTable, 1, 1, {"angle"}, kDeg, -kMostTilt, kMostTilt, false, kDual | kTwo},
    {Target::levelXTable, 2, 3, {"low", "high", "third"}, kReading, -kAnything, kAnything, false, kNone},
    {Target::levelYTable, 0, 1, {"reading"}, kReading, -kAnything, kAnything, false, kAll},
    {Target::levelYTable, 1, 1, {"angle"}, kDeg, -kMostTilt, kMostTilt, false, kAll},
    {Target::levelYTable, 2, 3, {"low", "high", "third"}, kReading, -kAnything, kAnything, false, kNone},
    {Target::scaleFactors, 0, 1, {"angle_1"}, kDeg, -kMostAdjustment, kMostAdjustment, false, kFactored},
    {Target::scaleFactors, 1, 1, {"angle_2"}, kDeg, -kMostAdjustment, kMostAdjustment, false, kFactored},
    // Direction of the pendulum: any.
    {Target::scaleFactors, 2, 2, {"angle_3", "angle_4"}, kDeg, -kTurn, kTurn, false, kPendulum},
    {Target::scaleFactors,
     4,
     3,
     {"azimuth_gain", "elevation_gain", "tilt_gain"},
     "",
     kLeastGain,
     kMostGain,
     true,
     kPendulum | kPolarizer},
    {Target::scaleFactors, 7, 1, {"factor_8"}, "", -kAnything, kAnything, false, kNone},
    // The sensor fits in a hand: half a metre is beyond its ends.
    {Target::qvcParameters, 0, 3, {"x", "y", "z"}, kMm, -500.0, 500.0, false, kVectored},
    {Target::qvcParameters,
     3,
     3,
     {"angle_1", "angle_2", "angle_3"},
     kDeg,
     -kMostAdjustment,
     kMostAdjustment,
     false,
     kVectored},
    {Target::level1Parameters, 0, 3, {"value_1", "value_2", "value_3"}, "", -kAnything, kAnything, false, kNone},
    {Target::level1Parameters, 3, 2, {"angle_1", "angle_2"}, kDeg, -80.0, 80.0, false, kVectored},
    {Target::level1Parameters, 5, 1, {"offset"}, kDeg, -kMostTiltOffset, kMostTiltOffset, false, kVectored},
    {Target::level1Parameters, 6, 1, {"gain"}, "", kLeastGain, kMostGain, true, kVectored},
    {Target::level2Parameters, 0, 3, {"value_1", "value_2", "value_3"}, "", -kAnything, kAnything, false, kNone},
    {Target::level2Parameters, 3, 2, {"angle_1", "angle_2"}, kDeg, -80.0, 80.0, false, kTwo},
    {Target::level2Parameters, 5, 1, {"offset"}, kDeg, -kMostTiltOffset, kMostTiltOffset, false, kTwo},
    {Target::level2Parameters, 6, 1, {"gain"}, "", kLeastGain, kMostGain, true, kTwo},
    {Target::encoderHalfRange, 0, 1, {"azimuth"}, kDeg, 0.0, kTurn, false, kNone},
    {Target::encoderHalfRange, 1, 1, {"elevation"}, kDeg, 0.0, 180.0, false, kNone},
    {Target::psdX, 0, 3, {"a0", "a1", "a2"}, "", -kAnything, kAnything, false, kVectored},
    {Target::psdY, 0, 3, {"b0", "b1", "b2"}, "", -kAnything, kAnything, false, kVectored},
    {Target::dynamicParameters, 0, 1, {"level_weight"}, "", 0.0, 1.0, false, kTwo},
    {Target::dynamicParameters, 1, 2, {"temperature_1_gain", "temperature_3_gain"}, "", -1000.0, 1000.0, false, kTwo},
    {Target::dynamicParameters, 3, 1, {"smoothing"}, "", 0.0, 1.0, false, kTwo},
    // The model keeps 51 samples.
    {Target::dynamicParameters, 4, 3, {"lag_1", "lag_2", "lag_3"}, "samples", 0.0, 50.0, false, kTwo},
};

// Where the fields of each target begin. They follow each other, in the order of the values and without a gap.
constexpr auto kFirstOf = [] {
    std::array<std::uint8_t, static_cast<std::size_t>(Target::dynamicParameters) + 1> first{};
    first.fill(static_cast<std::uint8_t>(std::size(kFields)));
    for (std::size_t i = std::size(kFields); i > 0; --i) {
        first[static_cast<std::size_t>(kFields[i - 1].target)] = static_cast<std::uint8_t>(i - 1);
    }
    return first;
}();

constexpr bool followEachOther()
{
    for (std::size_t i = 0; i < std::size(kFields); ++i) {
        const bool begins = kFirstOf[static_cast<std::size_t>(kFields[i].target)] == i;
        const bool follows = !begins && kFields[i].target == kFields[i - 1].target &&
                             kFields[i].first == kFields[i - 1].first + kFields[i - 1].count;
        if (begins ? kFields[i].first != 0 : !follows) {
            return false;
        }
    }
    return true;
}
static_assert(followEachOther());

constexpr std::size_t valuesOf(const Block& block)
{
    return block.layout == Layout::tiltTable ? block.columns + kTiltExtras
                                             : std::size_t{block.columns} * std::max<std::size_t>(block.rows, 1);
}

constexpr bool nameEveryValue(const Block& block)
{
    std::size_t named = 0;
    for (const Field& field : kFields) {
        named += field.target == block.target ? field.count : 0;
    }
    return named >= valuesOf(block);
}
static_assert(std::all_of(kBlocks.begin(), kBlocks.end(), nameEveryValue), "fieldOf looks for no end");

} // namespace

const Field* fieldOf(const Block& block, std::size_t value)
{
    if (value >= valuesOf(block)) {
        return nullptr;
    }
    const auto* found = std::begin(kFields) + kFirstOf[static_cast<std::size_t>(block.target)];
    while (value >= std::size_t{found->first} + found->count) {
        ++found;
    }
    return found;
}

const char* fieldName(const Block& block, std::size_t value)
{
    const Field* const field = fieldOf(block, value);
    return field->names[value - field->first];
}

Models modelsOf(const Block& block)
{
    // The mode itself chooses the model; ID and owner do not turn anything.
    if (block.target == Target::mountMode) {
        return kAll;
    }
    Models models = 0;
    for (const Field& field : kFields) {
        models |= field.target == block.target ? field.models : kNone;
    }
    return block.target == Target::nothing || block.target == Target::fileId ? kNone : models;
}

} // namespace kor::params
