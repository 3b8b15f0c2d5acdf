// Writers of recordings, results and truth.
#include "recordings/Writer.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "recordings/NumberText.h"
#include "recordings/ReadBack.h"
#include "support/Float.h"

namespace {

using kor::recordings::Format;
using kor::recordings::Problem;
using kor::recordings::RecordingWriter;
using kor::recordings::Result;
using kor::recordings::ResultReader;
using kor::recordings::Step;
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

// All of a file's results, through a reader.
std::vector<Result> readResults(const std::string& content, Problem& problem)
{
    const kor_test::TemporaryFile file(content);
    std::vector<Result> results;
    const auto reader = ResultReader::open(file.path(), {}, problem);
    if (!reader) {
        return results;
    }
    Result result;
    for (Step step; (step = reader->next(result)) != Step::end;) {
        if (step == Step::sample) {
            results.push_back(result);
        } else {
            problem = reader->problem();
        }
    }
    return results;
}

Result withOutcome()
{
    Result result = numbered();
    result.outcome = kor::recordings::Outcome::notFinite;
    result.levelXOut = true;
    result.matrix[4] = std::numeric_limits<double>::quiet_NaN();
    result.matrix[5] = -5e-324;
    return result;
}

TEST(Results, readBackAsTheyWereWritten)
{
    const Result result = withOutcome();
    for (const Format format : {Format::csv, Format::binary}) {
        Problem problem;
        const std::vector<Result> all = readResults(written(result, format), problem);
        EXPECT_FALSE(problem) << text(problem);
        ASSERT_EQ(all.size(), 1u);
        EXPECT_EQ(written(all[0], Format::csv), written(result, Format::csv));
    }
}

TEST(Results, fromBeforeTheColumnOutcomeAreRead)
{
    std::string content = written(withOutcome(), Format::csv);
    for (const std::string_view gone : {",outcome,levelX_out,levelY_out", ",not_finite,1,1"}) {
        content.erase(content.find(gone), gone.size());
    }
    const kor_test::TemporaryFile file(content);
    Problem problem;
    const auto reader = ResultReader::open(file.path(), {}, problem);
    ASSERT_NE(reader, nullptr) << text(problem);
    Result result;
    EXPECT_EQ(reader->next(result), Step::sample);
    EXPECT_TRUE(reader->has(23));
    EXPECT_FALSE(reader->has(24));
    EXPECT_EQ(result.matrixCode, 554);
}

TEST(Results, binaryHeaderNamesEveryColumn)
{
    const std::string content = written(withOutcome(), Format::binary);
    const auto number = [&content](std::size_t at) {
        std::uint32_t value = 0;
        std::memcpy(&value, content.data() + at, sizeof value);
        return value;
    };
    EXPECT_EQ(content.substr(0, 8), "\x89KORINFO");
    EXPECT_EQ(number(8), 1u);
    EXPECT_EQ(number(12), 32u + 27u * 48u);
    EXPECT_EQ(number(16), 135u);
    EXPECT_EQ(number(20), 27u);
    EXPECT_EQ(content.size(), number(12) + number(16));
    const std::size_t outcome = 32 + 24 * 48; // its entry
    EXPECT_STREQ(content.data() + outcome, "outcome");
    EXPECT_EQ(number(outcome + 32), 7u);
    EXPECT_EQ(number(outcome + 36), 132u);
    EXPECT_EQ(content[number(12) + 132], 3);
    EXPECT_STREQ(content.data() + 32 + 48 + 24, "deg");
}

TEST(Results, binaryDamageIsNamed)
{
    const std::string whole = written(withOutcome(), Format::binary);
    const auto damaged = [&whole](std::size_t at, char byte) {
        std::string content = whole;
        content[at] = byte;
        Problem problem;
        EXPECT_TRUE(readResults(content, problem).empty());
        EXPECT_EQ(problem.kind, Problem::Kind::badData);
        return text(problem).substr(problem.file.size());
    };
    const std::string header = ": in the header of the binary results ";
    EXPECT_EQ(damaged(8, 2), header + "the version of the format is 2, expected 1");
    EXPECT_EQ(damaged(21, 9), header + "the number of columns is 2331, expected 1 to 1024");
    EXPECT_EQ(damaged(18, 1), header + "the size of a record is 65671, expected 1 to 65536");
    EXPECT_EQ(damaged(12, 0), header + "the size of the header is 1280, expected 1328 to 66864");
    EXPECT_EQ(damaged(32 + 36 + 2, 1), header + "column \"timeStampMs\" begins at byte 65536 of a record of 135");
    EXPECT_EQ(damaged(32, 'x'), header + "the columns timeStampMs are missing");
    EXPECT_EQ(damaged(1328 + 132, 9),
              ": record 1 (byte 1328), column outcome: found 9, expected the number of an outcome, 0 to 8");
    EXPECT_EQ(damaged(1328 + 133, 2), ": record 1 (byte 1328), column levelX_out: found 2, expected 0 or 1");
    Problem problem;
    EXPECT_TRUE(readResults(whole.substr(0, 100), problem).empty());
    EXPECT_EQ(problem.reason, "in the header of the binary results there are 100 bytes before the end, expected 1328");
    EXPECT_TRUE(readResults(whole.substr(0, whole.size() - 1), problem).empty());
    EXPECT_EQ(problem.found, "134 bytes before the end");
}

TEST(Results, randomDamageGivesResultsOrProblemsAndEnds)
{
    std::mt19937 random(11); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same damage in every run
    for (const Format format : {Format::csv, Format::binary}) {
        const std::string whole = written(withOutcome(), format);
        for (int run = 0; run < 200; ++run) {
            std::string content = whole;
            for (std::size_t i = 0; i < 1 + random() % 4; ++i) {
                content[random() % content.size()] = static_cast<char>(random());
            }
            content.resize(content.size() - random() % 2 * (random() % content.size()));
            Problem problem;
            const std::vector<Result> all = readResults(content, problem);
            EXPECT_LE(all.size(), 2u);
            EXPECT_TRUE(!all.empty() || problem || content.size() <= 1328);
            for (const Result& result : all) {
                EXPECT_LE(written(result, Format::csv).size(), 2000u);
            }
        }
    }
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

    const kor_test::TemporaryFile file(text);
    Problem problem;
    const auto reader = kor::recordings::TruthReader::open(file.path(), {}, problem);
    ASSERT_NE(reader, nullptr) << kor::recordings::text(problem);
    Truth back;
    ASSERT_EQ(reader->next(back), Step::sample);
    EXPECT_STREQ(back.note, "range");
    EXPECT_EQ(writtenBy<TruthWriter>(back), text);
}

template <typename Number>
std::string textOf(Number value)
{
    char text[kor::recordings::kNumberRoom];
    return {text, kor::recordings::appendNumber(text, value)};
}

template <typename Number>
std::string standardTextOf(Number value)
{
    char text[kor::recordings::kNumberRoom];
    return {text, std::to_chars(std::begin(text), std::end(text), value).ptr};
}

// Given  bits  of a float or a double; a nan has no sign in our text
template <typename Number, typename Bits>
bool hasStandardText(Bits bits)
{
    const auto value = std::bit_cast<Number>(bits);
    return textOf(value) == (std::isnan(value) ? "nan" : standardTextOf(value));
}

// The numbers around which the shortest text, or its form, changes: powers of two and ten with their neighbours.
template <typename Number, typename Bits>
std::vector<Bits> turningPoints()
{
    std::vector<Bits> points;
    constexpr int kMantissa = std::numeric_limits<Number>::digits - 1;
    constexpr auto kSign = static_cast<Bits>(~(std::numeric_limits<Bits>::max() >> 1U));
    for (Bits top = 0; top <= std::numeric_limits<Bits>::max() >> kMantissa; ++top) {
        for (const int step : {-2, -1, 0, 1, 2}) {
            points.push_back(static_cast<Bits>((top << kMantissa) + static_cast<Bits>(step)));
        }
    }
    for (int exponent = -400; exponent < 400; ++exponent) {
        for (int digit = 1; digit < 10; ++digit) {
            const std::string text = std::to_string(digit) + "e" + std::to_string(exponent);
            Number value{};
            if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc()) {
                const auto bits = std::bit_cast<Bits>(value);
                for (const int step : {-1, 0, 1}) {
                    points.push_back(static_cast<Bits>(bits + static_cast<Bits>(step)));
                    points.push_back(static_cast<Bits>((bits + static_cast<Bits>(step)) | kSign));
                }
            }
        }
    }
    return points;
}

template <typename Number, typename Bits>
void expectStandardTexts(const std::vector<Bits>& all)
{
    for (const Bits bits : all) {
        const auto value = std::bit_cast<Number>(bits);
        ASSERT_TRUE((hasStandardText<Number>(bits))) << textOf(value) << " is not " << standardTextOf(value);
    }
}

TEST(NumberText, isThatOfTheStandardLibraryAtEveryTurningPoint)
{
    expectStandardTexts<float>(turningPoints<float, std::uint32_t>());
    expectStandardTexts<double>(turningPoints<double, std::uint64_t>());
}

TEST(NumberText, isThatOfTheStandardLibraryForArbitraryNumbers)
{
    std::mt19937_64 random(10);
    std::uniform_real_distribution<double> ofMatrix(-1, 1);
    std::uniform_real_distribution<double> ofAngle(-360, 360);
    std::vector<std::uint32_t> singles;
    std::vector<std::uint64_t> doubles;
    for (int i = 0; i < 30000; ++i) {
        singles.push_back(static_cast<std::uint32_t>(random()));
        singles.push_back(std::bit_cast<std::uint32_t>(static_cast<float>(ofAngle(random))));
        doubles.push_back(random());
        doubles.push_back(std::bit_cast<std::uint64_t>(ofMatrix(random)));
        // Whole numbers of any length, and numbers of few digits.
        doubles.push_back(std::bit_cast<std::uint64_t>(static_cast<double>(random() >> (random() % 64))));
        doubles.push_back(std::bit_cast<std::uint64_t>(static_cast<double>(random() % 100000) / 1000));
    }
    expectStandardTexts<float>(singles);
    expectStandardTexts<double>(doubles);
}

TEST(NumberText, isThatOfTheStandardLibraryForWholeNumbers)
{
    std::mt19937_64 random(11);
    std::vector<std::uint32_t> all = {0, 0x7fffffff, 0x80000000, 0xffffffff};
    for (std::uint64_t power = 1; power < 10000000000; power *= 10) {
        all.insert(all.end(), {static_cast<std::uint32_t>(power - 1), static_cast<std::uint32_t>(power)});
    }
    for (std::uint32_t i = 0; i < 20000; ++i) {
        all.insert(all.end(),
                   {i, static_cast<std::uint32_t>(random()), static_cast<std::uint32_t>(random() >> (i % 64))});
    }
    for (const std::uint32_t value : all) {
        ASSERT_EQ(textOf(value), standardTextOf(value));
        ASSERT_EQ(textOf(static_cast<std::int32_t>(value)), standardTextOf(static_cast<std::int32_t>(value)));
    }
}

TEST(NumberText, isShorterThanItsRoom)
{
    // The longest: a float of five zeros behind nine digits, a double of the smallest exponent.
    for (const double value : {-1.7976931348623157e308, -2.2250738585072014e-308, -123456789012345680000.0}) {
        EXPECT_LE(textOf(value).size(), 24u);
    }
    EXPECT_LE(textOf(-1.17549435e-38f).size(), 16u);
}

// Every 65,537th float, of every exponent and sign; all of them, which takes some minutes, with KOR_EVERY_FLOAT set.
TEST(NumberText, isThatOfTheStandardLibraryForFloatsOfEverySize)
{
    const std::uint64_t step = std::getenv("KOR_EVERY_FLOAT") != nullptr ? 1 : 65537;
    for (std::uint64_t bits = 0; bits <= 0xffffffffU; bits += step) {
        ASSERT_TRUE(hasStandardText<float>(static_cast<std::uint32_t>(bits))) << std::hex << bits;
    }
}

} // namespace
