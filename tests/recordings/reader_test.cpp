// Readers of recordings: what the end-to-end tests cannot see from outside.
#include "recordings/Reader.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "recordings/Lines.h"
#include "recordings/ReadBack.h"
#include "support/Float.h"

namespace {

using kor::recordings::Format;
using kor::recordings::Input;
using kor::recordings::kLongestLine;
using kor::recordings::Problem;
using kor::recordings::Reader;
using kor_test::kHeader;
using kor_test::Read;
using kor_test::read;
using kor_test::sameBits;

TEST(Recording, everyColumnReachesItsField)
{
    const Read all = read(kHeader + "-2,1.5,2.5,3.5,4.5,5.5,6.5,7.5,8.5,9.5,200,-11,12,-13,4294967295\n", Format::csv);
    ASSERT_EQ(all.samples.size(), 1u);
    const KOR_RAWINFO& raw = all.samples[0];
    EXPECT_EQ(raw.status, -2);
    EXPECT_EQ(raw.sensorVector[0], 1.5f);
    EXPECT_EQ(raw.sensorVector[1], 2.5f);
    EXPECT_EQ(raw.sensorVector[2], 3.5f);
    EXPECT_EQ(raw.azimuthRaw, 4.5f);
    EXPECT_EQ(raw.elevationRaw, 5.5f);
    EXPECT_EQ(raw.levelXRaw, 6.5f);
    EXPECT_EQ(raw.levelYRaw, 7.5f);
    EXPECT_EQ(raw.levelTemperature, 8.5f);
    EXPECT_EQ(raw.referenceGate, 9.5f);
    EXPECT_EQ(raw.referenceHold, 200);
    EXPECT_EQ(raw.temperatureCount[0], -11);
    EXPECT_EQ(raw.temperatureCount[1], 12);
    EXPECT_EQ(raw.temperatureCount[2], -13);
    EXPECT_EQ(raw.timeStampMs, 4294967295u);
    EXPECT_EQ(raw.reserved0, 0);
    EXPECT_EQ(raw.reserved44, 0);
}

TEST(Recording, decimalTextGoesStraightToSinglePrecision)
{
    // Just above the middle between 1 and the next float, by less than a double can hold: through a double it would
    // round to even, to 1.
    const Read all = read(kHeader + "2,1.000000059604644775390625000001,0,0,0,0,0,0,0,0,0,0,0,0,0\n", Format::csv);
    ASSERT_EQ(all.samples.size(), 1u);
    EXPECT_TRUE(sameBits(all.samples[0].sensorVector[0], std::nextafter(1.0f, 2.0f)));
}

TEST(Recording, signedZeroAndSubnormalsAreKept)
{
    const Read all = read(kHeader + "2,-0,1e-45,-1.1754942e-38,0,0,0,0,0,0,0,0,0,0,0\n", Format::csv);
    ASSERT_EQ(all.samples.size(), 1u);
    EXPECT_TRUE(sameBits(all.samples[0].sensorVector[0], -0.0f));
    EXPECT_TRUE(sameBits(all.samples[0].sensorVector[1], std::numeric_limits<float>::denorm_min()));
    EXPECT_TRUE(sameBits(all.samples[0].sensorVector[2], -1.1754942e-38f));
}

TEST(Recording, numbersTooSmallForSinglePrecisionAreZeroWithTheirSign)
{
    const std::string zeros(60, '0');
    for (const std::string& text :
         {std::string("1e-60"), std::string("9.99E-47"), std::string("1e-400"), std::string("123456e-70"),
          std::string("1e-99999999999999999999"), "0." + zeros + "1", "0." + zeros + "1e+5", "1" + zeros + "e-120"}) {
        for (const std::string& sign : {std::string(), std::string("-")}) {
            const Read all =
                read(kHeader + "2," + sign + text + ", " + sign + text + " ,0,0,0,0,0,0,0,0,0,0,0,0\n", Format::csv);
            ASSERT_EQ(all.samples.size(), 1u) << sign << text;
            EXPECT_TRUE(sameBits(all.samples[0].sensorVector[0], sign.empty() ? 0.0f : -0.0f)) << sign << text;
            EXPECT_TRUE(sameBits(all.samples[0].sensorVector[1], sign.empty() ? 0.0f : -0.0f)) << sign << text;
        }
    }
}

TEST(Recording, numbersTooLargeForSinglePrecisionAreRefused)
{
    for (const std::string& text :
         {std::string("1e39"), std::string("-3.5e38"), std::string("1e99999999999999999999"),
          "0." + std::string(60, '0') + "1e120", "1" + std::string(60, '0'), "1" + std::string(60, '0') + "e-5"}) {
        EXPECT_EQ(read(kHeader + "2," + text + ",0,0,0,0,0,0,0,0,0,0,0,0,0\n", Format::csv).problems.size(), 1u)
            << text;
    }
}

TEST(Recording, rowsOfAllLengthsAroundTheBufferAreWhole)
{
    // An ignored column of growing width moves the rows over every position of the buffer's ends.
    std::string content = "pad," + kHeader;
    std::size_t rows = 0;
    for (std::size_t pad = 0; content.size() < 3 * Input::kRoom; pad = (pad + 37) % 5000) {
        content += std::string(pad, 'p') + ",2,1,2,3,4,5,6,7,8,9,0,1,2,3," + std::to_string(rows++) + "\n";
    }
    const Read all = read(content, Format::csv);
    EXPECT_TRUE(all.problems.empty());
    ASSERT_EQ(all.samples.size(), rows);
    for (std::size_t i = 0; i < rows; ++i) {
        ASSERT_EQ(all.samples[i].timeStampMs, i);
    }
}

TEST(Recording, badRowsAreNamedOneByOneAndTheRestIsRead)
{
    const std::string good = "2,0,0,0,0,0,0,0,0,0,0,0,0,0,7\n";
    const Read all = read(kHeader + good + "2,0\n" + good + "2,0,0,0,0,0,zero,0,0,0,0,0,0,0,7\n" + good, Format::csv);
    EXPECT_EQ(all.samples.size(), 3u);
    ASSERT_EQ(all.problems.size(), 2u);
    EXPECT_EQ(all.problems[0], ": line 3: found 2 fields, expected 15");
    EXPECT_EQ(all.problems[1],
              ": line 5, column levelXRaw: found \"zero\", expected a number that single precision can hold");
}

TEST(Recording, anEmptyCellIsAMissingValueWhereTheColumnCanHaveOne)
{
    for (int column = 0; column < 15; ++column) {
        std::string row;
        for (int i = 0; i < 15; ++i) {
            row += (i == 0 ? "" : ",") + std::string(i == column ? "" : "1");
        }
        const Read all = read(kHeader + row + "\n", Format::csv);
        const kor::recordings::Column& empty = kor::recordings::kRawColumns[static_cast<std::size_t>(column)];
        if (empty.type == kor::recordings::Type::float32) {
            ASSERT_EQ(all.samples.size(), 1u) << empty.name;
            float value = 0.0f;
            std::memcpy(&value, reinterpret_cast<const char*>(&all.samples[0]) + empty.offset, sizeof value);
            EXPECT_TRUE(std::isnan(value)) << empty.name;
            continue;
        }
        ASSERT_EQ(all.problems.size(), 1u) << empty.name;
        const std::string place = ": line 2, column " + std::string(empty.name);
        EXPECT_TRUE(all.problems[0].starts_with(place + ": the cell is empty, expected a whole number from"))
            << all.problems[0];
        EXPECT_TRUE(all.problems[0].ends_with("only columns of floating-point numbers can have missing values"));
    }
}

TEST(Recording, longLinesAreCountedAndLeftOutWhereverTheyEnd)
{
    for (const std::size_t length :
         {kLongestLine + 1, Input::kRoom - 1, Input::kRoom, Input::kRoom + 1, 5 * Input::kRoom + 17}) {
        const std::string good = "2,0,0,0,0,0,0,0,0,0,0,0,0,0,7\n";
        const Read all =
            read(kHeader + std::string(length, 'z') + "\n" + good + "x\n" + std::string(length, 'z'), Format::csv);
        EXPECT_EQ(all.samples.size(), 1u) << length;
        ASSERT_EQ(all.problems.size(), 3u) << length;
        EXPECT_TRUE(all.problems[0].starts_with(": line 2: found a line of more than"));
        EXPECT_TRUE(all.problems[1].starts_with(": line 4: found 1 field,"));
        EXPECT_TRUE(all.problems[2].starts_with(": line 5: found a line of more than"));
    }
}

TEST(Recording, binaryRecordsAreTakenByteForByte)
{
    std::string content(3 * sizeof(KOR_RAWINFO), '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i * 7);
    }
    const Read all = read(content, Format::binary);
    ASSERT_EQ(all.samples.size(), 3u);
    EXPECT_EQ(std::memcmp(all.samples.data(), content.data(), content.size()), 0);
}

TEST(Recording, aTruncatedRecordIsNamedWithItsNumberAndByte)
{
    const Read all = read(std::string(2 * sizeof(KOR_RAWINFO) + 1, '\0'), Format::binary);
    EXPECT_EQ(all.samples.size(), 2u);
    ASSERT_EQ(all.problems.size(), 1u);
    EXPECT_EQ(all.problems[0], ": record 3 (byte 136): found 1 byte before the end, expected 68");
}

TEST(Recording, columnsThatAreNoFieldsAreLeftOutWithAWarningEach)
{
    const Read all = read("a\x1b,two," + kHeader + "x,,2,0,0,0,0,0,0,0,0,0,0,0,0,0,7\n", Format::csv);
    ASSERT_EQ(all.samples.size(), 1u);
    EXPECT_EQ(all.samples[0].timeStampMs, 7u);
    EXPECT_EQ(all.warnings, (std::vector<std::string>{": column \"a\\x1b\" is not a column of a recording: left out",
                                                      ": column \"two\" is not a column of a recording: left out"}));
}

TEST(Recording, thatIsOfTheOtherFormatSaysSo)
{
    KOR_RAWINFO raw{};
    raw.status = 2;
    const Problem csv = read({reinterpret_cast<const char*>(&raw), sizeof raw}, Format::csv).refused;
    EXPECT_EQ(csv.kind, Problem::Kind::badData);
    EXPECT_EQ(csv.readableAs, Format::binary);
    EXPECT_EQ(csv.expected, "CSV");
    const Problem binary = read(kHeader, Format::binary).refused;
    EXPECT_EQ(binary.kind, Problem::Kind::badData);
    EXPECT_EQ(binary.readableAs, Format::csv);
    EXPECT_EQ(binary.expected, "binary records");
    EXPECT_EQ(read("status\n", Format::csv).refused.readableAs, std::nullopt);
}

TEST(Recording, thatCannotBeOpenedSaysSo)
{
    Problem problem;
    EXPECT_EQ(Reader::open(testing::TempDir() + "kor-none/none.csv", {}, problem), nullptr);
    EXPECT_EQ(problem.kind, Problem::Kind::cannotOpen);
    EXPECT_EQ(Reader::open(testing::TempDir(), {}, problem), nullptr);
    EXPECT_EQ(problem.kind, Problem::Kind::cannotOpen);
}

} // namespace
