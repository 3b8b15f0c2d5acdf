// The tables of columns against the records they describe.
#include "recordings/Columns.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <span>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace {

using namespace kor::recordings;

std::size_t sizeOf(Type type)
{
    switch (type) {
    case Type::float64:
        return sizeof(double);
    case Type::uint8:
    case Type::outcome:
        return 1;
    case Type::flag:
        return sizeof(bool);
    case Type::text:
        return sizeof(const char*);
    default:
        return 4;
    }
}

template <typename Record>
void expectEveryByteOnce(std::span<const Column> columns, std::size_t unused)
{
    std::set<std::size_t> bytes;
    std::set<std::string_view> names;
    std::size_t count = 0;
    for (const Column& column : columns) {
        names.insert(column.name);
        for (std::size_t i = 0; i < sizeOf(column.type); ++i) {
            EXPECT_LT(column.offset + i, sizeof(Record)) << column.name;
            bytes.insert(column.offset + i);
            ++count;
        }
    }
    EXPECT_EQ(names.size(), columns.size());
    EXPECT_EQ(bytes.size(), count) << "two columns share a byte";
    EXPECT_EQ(count + unused, sizeof(Record));
}

TEST(Columns, coverTheirRecordsWithoutOverlap)
{
    expectEveryByteOnce<KOR_RAWINFO>(kRawColumns, 4 + 4 + 3);
    expectEveryByteOnce<double[7]>(kWayPointColumns, 0);
    // Both reserved words of KOR_INFO, and what alignment leaves free around the matrix.
    expectEveryByteOnce<Result>(kResultColumns, 8 + sizeof(Result) - (4 + sizeof(KOR_INFO) + 72 + 4 + 3));
    expectEveryByteOnce<Truth>(kTruthColumns, sizeof(Truth) - (4 + 1 + sizeof(char*) + 72 + 12 + 72));
}

TEST(Columns, makeTheHeaderLines)
{
    EXPECT_EQ(headerLine(kRawColumns),
              "status,sensorVector_x,sensorVector_y,sensorVector_z,azimuthRaw,elevationRaw,levelXRaw,levelYRaw,"
              "levelTemperature,referenceGate,referenceHold,temperatureCount_0,temperatureCount_1,temperatureCount_2,"
              "timeStampMs");
    EXPECT_EQ(headerLine(kResultColumns),
              "timeStampMs,azimuth_deg,elevation_deg,levelX_deg,levelY_deg,orientationX_deg,orientationZ_deg,"
              "orientationY_deg,sensorOutX_mm,sensorOutY_mm,sensorOutZ_mm,temperature_0,temperature_1,temperature_2,"
              "m00,m01,m02,m10,m11,m12,m20,m21,m22,matrixCode,outcome,levelX_out,levelY_out");
    EXPECT_EQ(headerLine(kTruthColumns),
              "timeStampMs,valid,note,R_00,R_01,R_02,R_10,R_11,R_12,R_20,R_21,R_22,position_x,position_y,position_z,"
              "result_00,result_01,result_02,result_10,result_11,result_12,result_20,result_21,result_22");
    EXPECT_EQ(headerLine(kWayPointColumns), "time_s,x_mm,y_mm,z_mm,roll_deg,pitch_deg,yaw_deg");
}

TEST(Columns, outcomesHaveTheirNamesInTheOrderOfTheirNumbers)
{
    const auto nameOf = [](Outcome outcome) { return kOutcomeNames[static_cast<std::size_t>(outcome)]; };
    EXPECT_EQ(nameOf(Outcome::ok), "ok");
    EXPECT_EQ(nameOf(Outcome::beforeReference), "before_reference");
    EXPECT_EQ(nameOf(Outcome::rejectedStatus), "rejected_status");
    EXPECT_EQ(nameOf(Outcome::notFinite), "not_finite");
    EXPECT_EQ(nameOf(Outcome::noMatrixBothLevelsOutside), "no_matrix_both_levels_out");
    EXPECT_EQ(nameOf(Outcome::noMatrixFiltersFilling), "no_matrix_filters_filling");
    EXPECT_EQ(nameOf(Outcome::noMatrixNoSolution), "no_matrix_no_solution");
    EXPECT_EQ(nameOf(Outcome::noMatrixNoModel), "no_matrix_no_model");
    EXPECT_EQ(nameOf(Outcome::spoiled), "spoiled");
    EXPECT_EQ(kOutcomeNames.size(), static_cast<std::size_t>(Outcome::spoiled) + 1);
}

TEST(Columns, aNameThatEndsInAUnitHasThatUnit)
{
    for (const std::span<const Column> columns :
         {std::span<const Column>(kResultColumns), std::span<const Column>(kWayPointColumns)}) {
        for (const Column& column : columns) {
            const std::size_t at = column.name.rfind('_');
            const std::string_view end = at == std::string_view::npos ? "" : column.name.substr(at + 1);
            if (end == "deg" || end == "mm" || end == "s") {
                EXPECT_EQ(column.unit, end) << column.name;
            }
        }
    }
}

TEST(Columns, readingsAreMeasuredAndEverythingElseIsNot)
{
    std::string names;
    for (const Column& column : kMeasuredColumns) {
        names += std::string(column.name) + " ";
    }
    EXPECT_EQ(names, "sensorVector_x sensorVector_y sensorVector_z azimuthRaw elevationRaw levelXRaw levelYRaw "
                     "levelTemperature referenceGate temperatureCount_0 temperatureCount_1 temperatureCount_2 ");
}

} // namespace
