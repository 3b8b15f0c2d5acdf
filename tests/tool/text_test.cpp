// Strict numbers, printable text and wide strings.
#include "platform/Text.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

using kor::tool::inQuotes;
using kor::tool::pathFrom;
using kor::tool::shown;
using kor::tool::split;
using kor::tool::strictInteger;
using kor::tool::textOf;
using kor::tool::wideFromUtf8;

TEST(StrictInteger, takesTheWholeRange)
{
    EXPECT_EQ(strictInteger<std::int32_t>("-2147483648"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(strictInteger<std::int32_t>("2147483647"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(strictInteger<std::uint32_t>("4294967295"), std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ(strictInteger<std::uint32_t>("007"), 7u);
}

TEST(StrictInteger, refusesEverythingElse)
{
    for (const char* text : {"", " 1", "1 ", "+1", "1.0", "1e3", "0x1", "2147483648", "-2147483649", "one", "1,2"}) {
        EXPECT_FALSE(strictInteger<std::int32_t>(text)) << text;
    }
    EXPECT_FALSE(strictInteger<std::uint32_t>("-1"));
    EXPECT_FALSE(strictInteger<std::uint32_t>("4294967296"));
    EXPECT_FALSE(strictInteger<std::int32_t>(std::string_view("1\0", 2)));
}

TEST(InQuotes, escapesWhatIsNotPrintableAscii)
{
    EXPECT_EQ(inQuotes("abc"), "\"abc\"");
    EXPECT_EQ(inQuotes(std::string_view("\0\x1b[1m\xc3\xa4\x7f", 8)), "\"\\x00\\x1b[1m\\xc3\\xa4\\x7f\"");
}

TEST(InQuotes, isBounded)
{
    EXPECT_EQ(inQuotes(std::string(40, 'x')), "\"" + std::string(40, 'x') + "\"");
    EXPECT_EQ(inQuotes(std::string(41, 'x')), "\"" + std::string(40, 'x') + "\"...");
}

TEST(Shown, keepsUtf8AndEscapesControlCharacters)
{
    EXPECT_EQ(shown("M\xc3\xbcller\n.csv"), "M\xc3\xbcller\\x0a.csv");
}

TEST(WideFromUtf8, decodesEveryLength)
{
    EXPECT_EQ(wideFromUtf8("a\xc3\xa4\xe6\xb8\xac"), L"a\u00e4\u6e2c");
    EXPECT_EQ(wideFromUtf8("\xf0\x9f\x93\x8f"), L"\U0001f4cf");
    EXPECT_EQ(wideFromUtf8("\xf4\x8f\xbf\xbf"), L"\U0010ffff");
    EXPECT_EQ(wideFromUtf8(""), L"");
}

TEST(WideFromUtf8, refusesWhatIsNotUtf8)
{
    for (const char* text : {"\x80", "\xc3", "\xc3(", "\xc0\x80", "\xe0\x80\x80", "\xf0\x80\x80\x80", "\xed\xa0\x80",
                             "\xf4\x90\x80\x80", "\xf8\x88\x80\x80\x80", "\xff", "a\xe6\xb8"}) {
        EXPECT_FALSE(wideFromUtf8(text)) << inQuotes(text);
    }
    EXPECT_FALSE(wideFromUtf8(std::string_view("a\0b", 3)));
}

TEST(Path, keepsItsBytes)
{
    EXPECT_EQ(textOf(pathFrom("d\xc3\xa4/x.csv")), "d\xc3\xa4/x.csv");
#ifndef _WIN32 // where names are text
    EXPECT_EQ(textOf(pathFrom("d\xc3\xa4/\xff.csv")), "d\xc3\xa4/\xff.csv");
#endif
}

TEST(Split, keepsEmptyParts)
{
    EXPECT_EQ(split("", ','), (std::vector<std::string_view>{""}));
    EXPECT_EQ(split("a,,b,", ','), (std::vector<std::string_view>{"a", "", "b", ""}));
}

} // namespace
