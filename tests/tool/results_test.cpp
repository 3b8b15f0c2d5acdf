// Writers of results.
#include "kor/Results.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>
#include <unistd.h>

#include "kor/Text.h"
#include "support/Float.h"

namespace {

using kor::tool::Format;
using kor::tool::Output;
using kor::tool::Result;
using kor::tool::ResultWriter;
using kor_test::sameBits;

std::string written(const Result& result, Format format)
{
    const std::string path = testing::TempDir() + "kor-results-" + std::to_string(getpid());
    {
        Output output(path);
        ResultWriter writer(output, format);
        writer.write(result);
        output.close();
    }
    std::ifstream file(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    unlink(path.c_str());
    return content;
}

std::vector<std::string> row(const Result& result)
{
    const std::string text = written(result, Format::csv);
    const std::size_t begin = text.find('\n') + 1;
    std::vector<std::string> fields;
    for (const std::string_view field :
         kor::tool::split(std::string_view(text).substr(begin, text.size() - begin - 1), ',')) {
        fields.emplace_back(field);
    }
    return fields;
}

// Every word of the record a number of its own.
Result numbered()
{
    Result result{};
    result.timeStampMs = 4294967295u;
    float words[15];
    for (int i = 0; i < 15; ++i) {
        words[i] = static_cast<float>(i) + 0.5f;
    }
    std::memcpy(&result.info, words, sizeof result.info);
    for (int i = 0; i < 9; ++i) {
        result.matrix[i] = -1.0 - i / 10.0;
    }
    result.matrixCode = 554;
    return result;
}

TEST(Results, HeaderNamesAsManyColumnsAsARowHas)
{
    const std::string text = written(numbered(), Format::csv);
    const std::string_view header = std::string_view(text).substr(0, text.find('\n'));
    EXPECT_EQ(kor::tool::split(header, ',').size(), 24u);
    EXPECT_EQ(row(numbered()).size(), 24u);
    EXPECT_EQ(text.back(), '\n');
}

TEST(Results, ColumnsFollowTheRecordWithoutItsReservedWords)
{
    const std::vector<std::string> wanted = {"4294967295", "1.5",  "2.5",  "3.5",  "4.5",  "5.5",  "6.5",  "7.5",
                                             "9.5",        "10.5", "11.5", "12.5", "13.5", "14.5", "-1",   "-1.1",
                                             "-1.2",       "-1.3", "-1.4", "-1.5", "-1.6", "-1.7", "-1.8", "554"};
    EXPECT_EQ(row(numbered()), wanted);
}

TEST(Results, BinaryIsTheRecordItself)
{
    const Result result = numbered();
    const std::string content = written(result, Format::binary);
    ASSERT_EQ(content.size(), sizeof result.info);
    EXPECT_EQ(std::memcmp(content.data(), &result.info, content.size()), 0);
}

TEST(Results, NotANumberHasNoSign)
{
    Result result = numbered();
    result.info.azimuth = -std::numeric_limits<float>::quiet_NaN();
    result.matrix[0] = -std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(row(result)[1], "nan");
    EXPECT_EQ(row(result)[14], "nan");
}

TEST(Results, TheLongestNumbersFitIntoARow)
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

RC_GTEST_PROP(Results, NumbersReadBackToTheBit, (std::uint32_t floatBits, std::uint64_t doubleBits))
{
    Result result = numbered();
    result.info.elevation = std::bit_cast<float>(floatBits);
    result.matrix[8] = std::bit_cast<double>(doubleBits);
    const std::vector<std::string> fields = row(result);
    float elevation = 0;
    double element = 0;
    std::from_chars(fields[2].data(), fields[2].data() + fields[2].size(), elevation);
    std::from_chars(fields[22].data(), fields[22].data() + fields[22].size(), element);
    RC_ASSERT(bool(sameBits(elevation, result.info.elevation)));
    RC_ASSERT(bool(sameBits(element, result.matrix[8])));
}

} // namespace
