// Writers of results.
#include "recordings/Results.h"

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/Float.h"
#include "tool/ReadBack.h"

namespace {

using kor::tool::Format;
using kor::tool::Result;
using kor_test::numbered;
using kor_test::row;
using kor_test::sameBits;
using kor_test::written;

TEST(Results, headerNamesAsManyColumnsAsARowHas)
{
    const std::string text = written(numbered(), Format::csv);
    const std::string_view header = std::string_view(text).substr(0, text.find('\n'));
    EXPECT_EQ(kor::tool::split(header, ',').size(), 24u);
    EXPECT_EQ(row(numbered()).size(), 24u);
    EXPECT_EQ(text.back(), '\n');
}

TEST(Results, columnsFollowTheRecordWithoutItsReservedWords)
{
    const std::vector<std::string> wanted = {"4294967295", "1.5",  "2.5",  "3.5",  "4.5",  "5.5",  "6.5",  "7.5",
                                             "9.5",        "10.5", "11.5", "12.5", "13.5", "14.5", "-1",   "-1.1",
                                             "-1.2",       "-1.3", "-1.4", "-1.5", "-1.6", "-1.7", "-1.8", "554"};
    EXPECT_EQ(row(numbered()), wanted);
}

TEST(Results, binaryIsTheRecordItself)
{
    const Result result = numbered();
    const std::string content = written(result, Format::binary);
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

} // namespace
