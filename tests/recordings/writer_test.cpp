// Writers of recordings, results and truth.
#include "recordings/Writer.h"

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "recordings/ReadBack.h"
#include "support/Float.h"

namespace {

using kor::recordings::Format;
using kor::recordings::RecordingWriter;
using kor::recordings::Result;
using kor::recordings::Truth;
using kor::recordings::TruthWriter;
using kor_test::numbered;
using kor_test::read;
using kor_test::row;
using kor_test::sameBits;
using kor_test::written;
using kor_test::writtenBy;

TEST(Results, headerNamesAsManyColumnsAsARowHas)
{
    const std::string text = written(numbered(), Format::csv);
    const std::string_view header = std::string_view(text).substr(0, text.find('\n'));
    EXPECT_EQ(kor::platform::split(header, ',').size(), 27u);
    EXPECT_EQ(row(numbered()).size(), 27u);
    EXPECT_EQ(text.back(), '\n');
}

TEST(Results, columnsFollowTheRecordWithoutItsReservedWords)
{
    const std::vector<std::string> wanted = {"4294967295", "1.5",  "2.5",  "3.5",  "4.5",
                                             "5.5",        "6.5",  "7.5",  "9.5",  "10.5",
                                             "11.5",       "12.5", "13.5", "14.5", "-1",
                                             "-1.1",       "-1.2", "-1.3", "-1.4", "-1.5",
                                             "-1.6",       "-1.7", "-1.8", "554",  "rejected_status",
                                             "0",          "1"};
    EXPECT_EQ(row(numbered()), wanted);
}

TEST(Results, outcomesAreWrittenByName)
{
    Result result = numbered();
    for (std::size_t i = 0; i < kor::recordings::kOutcomeNames.size(); ++i) {
        result.outcome = static_cast<kor::recordings::Outcome>(i);
        EXPECT_EQ(row(result)[24], kor::recordings::kOutcomeNames[i]);
    }
    result.levelXOut = true;
    result.levelYOut = false;
    EXPECT_EQ(row(result)[25], "1");
    EXPECT_EQ(row(result)[26], "0");
}

TEST(Results, bareIsTheRecordItself)
{
    const Result result = numbered();
    const std::string content = written(result, Format::bare);
    ASSERT_EQ(content.size(), sizeof result.info);
    EXPECT_EQ(std::memcmp(content.data(), &result.info, content.size()), 0);
}

TEST(Results, notANumberHasNoSign)
{
    Result result = numbered();
    result.info.azimuth = -std::numeric_limits<float>::quiet_NaN();
    result.matrix[0] = -std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(row(result)[1], "nan");
    EXPECT_EQ(row(result)[14], "nan");
}

TEST(Results, theLongestNumbersFitIntoARow)
{
    Result result = numbered();
    const float longFloat = -1.17549435e-38f;
    float words[15];
    std::fill_n(words, 15, longFloat);
    std::memcpy(&result.info, words, sizeof result.info);
    std::fill_n(result.matrix, 9, -2.2250738585072014e-308);
    result.matrixCode = std::numeric_limits<int>::min();
    for (int i = 1; i < 14; ++i) {
        EXPECT_EQ(row(result)[static_cast<std::size_t>(i)], "-1.1754944e-38");
    }
    EXPECT_EQ(row(result)[14], "-2.2250738585072014e-308");
    EXPECT_EQ(row(result)[23], "-2147483648");
}

// A raw sample whose fields all differ.
KOR_RAWINFO rawSample()
{
    KOR_RAWINFO raw{};
    raw.status = -2;
    float* const reals[] = {&raw.sensorVector[0], &raw.sensorVector[1],  &raw.sensorVector[2],
                            &raw.azimuthRaw,      &raw.elevationRaw,     &raw.levelXRaw,
                            &raw.levelYRaw,       &raw.levelTemperature, &raw.referenceGate};
    float value = 0.1f;
    for (float* const real : reals) {
        *real = value;
        value = -1.7f * value;
    }
    raw.referenceHold = 200;
    raw.temperatureCount[0] = -2147483647 - 1;
    raw.temperatureCount[1] = 2147483647;
    raw.temperatureCount[2] = 7;
    raw.timeStampMs = 4294967295u;
    return raw;
}

TEST(Recordings, readBackAsTheyWereWritten)
{
    const KOR_RAWINFO raw = rawSample();
    for (const Format format : {Format::csv, Format::binary}) {
        const auto all = read(writtenBy<RecordingWriter>(raw, format), format);
        ASSERT_EQ(all.samples.size(), 1u);
        EXPECT_EQ(std::memcmp(&all.samples[0], &raw, sizeof raw), 0);
    }
}

TEST(Recordings, beginWithTheHeaderLineAndHaveNoSignOfNan)
{
    KOR_RAWINFO raw = rawSample();
    raw.azimuthRaw = -std::numeric_limits<float>::quiet_NaN();
    raw.levelXRaw = -std::numeric_limits<float>::infinity();
    const std::string text = writtenBy<RecordingWriter>(raw, Format::csv);
    EXPECT_EQ(text.substr(0, text.find('\n') + 1), kor_test::kHeader);
    EXPECT_NE(text.find(",nan,"), std::string::npos) << text;
    EXPECT_NE(text.find(",-inf,"), std::string::npos) << text;
}

TEST(Truths, columnsFollowTheRecord)
{
    Truth truth{};
    truth.timeStampMs = 12;
    truth.valid = true;
    truth.note = "range";
    for (int i = 0; i < 9; ++i) {
        truth.base[i] = i + 0.5;
        truth.result[i] = -i - 0.25;
    }
    for (int i = 0; i < 3; ++i) {
        truth.position[i] = 0.1f + static_cast<float>(i);
    }
    const std::string text = writtenBy<TruthWriter>(truth);
    EXPECT_EQ(text.substr(text.find('\n') + 1), "12,1,range,0.5,1.5,2.5,3.5,4.5,5.5,6.5,7.5,8.5,0.1,1.1,2.1,"
                                                "-0.25,-1.25,-2.25,-3.25,-4.25,-5.25,-6.25,-7.25,-8.25\n");
}

} // namespace
