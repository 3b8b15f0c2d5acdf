// Strict numbers, printable text and wide strings.
#include "platform/Text.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace kor::platform;

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

TEST(Trimmed, takesBlanksOffBothEndsOnly)
{
    EXPECT_EQ(trimmed(" \ta b\t "), "a b");
    EXPECT_EQ(trimmed(" \t"), "");
    EXPECT_EQ(trimmed("a\r"), "a\r");
    EXPECT_EQ(trimmed("a\r", " \t\r"), "a");
}

TEST(OutOfRange, isTooLargeWhenTheFirstDigitStandsInFrontOfThePoint)
{
    const std::string zeros(60, '0');
    for (const std::string& text :
         {std::string("1e39"), std::string("-3.5E+38"), "1" + zeros, "0." + zeros + "1e120", "1" + zeros + "e-5",
          std::string("1e99999999999999999999"), std::string("-1e+99999999999999999999")}) {
        EXPECT_TRUE(isTooLarge(text)) << text;
    }
    for (const std::string& text :
         {std::string("1e-60"), std::string("-9.99E-47"), "0." + zeros + "1", "0." + zeros + "1e+5",
          "1" + zeros + "e-120", std::string("1e-99999999999999999999"), std::string("0e99999999999999999999")}) {
        EXPECT_FALSE(isTooLarge(text)) << text;
    }
}

TEST(OutOfRange, countsFourBinaryPlacesForEachHexadecimalDigit)
{
    const std::string zeros(40, '0');
    EXPECT_TRUE(isTooLarge("1" + zeros, true));
    EXPECT_TRUE(isTooLarge("e" + zeros + "p-5", true)) << "e is a digit";
    EXPECT_TRUE(isTooLarge("0." + zeros + "1P+400", true));
    EXPECT_TRUE(isTooLarge("1" + std::string(100, '0') + "p-150", true));
    EXPECT_FALSE(isTooLarge("0." + std::string(100, '0') + "1p150", true));
    EXPECT_FALSE(isTooLarge("0." + zeros + "1p10", true));
    EXPECT_FALSE(isTooLarge("1" + zeros + "p-400", true));
}

TEST(WideText, goesToUtf8AndBack)
{
    const std::wstring wide = L"a\u007f\u0080\u07ff\u0800\uffff\U00010000\U0010ffff%\\";
    const std::optional<std::string> narrow = toUtf8(wide);
    ASSERT_TRUE(narrow.has_value());
    EXPECT_EQ(*narrow, "a\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf%\\");
    EXPECT_EQ(fromUtf8(*narrow), wide);
}

TEST(WideText, thatIsNoTextIsRefused)
{
    EXPECT_FALSE(toUtf8(std::wstring(1, static_cast<wchar_t>(0xD800))).has_value());
    EXPECT_FALSE(toUtf8(std::wstring(1, static_cast<wchar_t>(0xDFFF))).has_value());
    // Overlong, surrogate, beyond the last code point, cut short, stray continuation.
    for (const char* bytes : {"\xc0\x80", "\xe0\x80\x80", "\xf0\x80\x80\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                              "\xe4\xb8", "a\xe4\xb8", "\xc3(", "\x80", "\xff", "\xf8\x88\x80\x80\x80"}) {
        EXPECT_FALSE(fromUtf8(bytes).has_value()) << bytes;
    }
}

TEST(WideText, keepsAZero)
{
    EXPECT_EQ(fromUtf8(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(Split, keepsEmptyParts)
{
    EXPECT_EQ(split("", ','), (std::vector<std::string_view>{""}));
    EXPECT_EQ(split("a,,b,", ','), (std::vector<std::string_view>{"a", "", "b", ""}));
}

} // namespace
