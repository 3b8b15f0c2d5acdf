// Strict numbers, printable text and wide strings.
#include "platform/Text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <system_error>

#include <gtest/gtest.h>

#include "platform/Decimal.h"

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
    // The control characters beyond ASCII, which some terminals obey, and their neighbours.
    EXPECT_EQ(shown("a\xc2\x9b"
                    "2J\xc2\x80\xc2\xa0\xc3\x9b\xc2"),
              "a\\xc2\\x9b"
              "2J\\xc2\\x80\xc2\xa0\xc3\x9b\xc2");
}

TEST(Shown, escapesTheLastOfTheControlCharacters)
{
    EXPECT_EQ(shown("a\x7f~"), "a\\x7f~");
}

TEST(Printable, isTextAsItIsShownAndAsciiOfWhatIsNone)
{
    EXPECT_EQ(printable("M\xc3\xbcller\n"), "M\xc3\xbcller\\x0a");
    EXPECT_EQ(printable("M\xfcller\n ~\x7f\xc3\xbc"), "M\\xfcller\\x0a ~\\x7f\\xc3\\xbc");
    EXPECT_EQ(printable(""), "");
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
    // Four places and no other number of them.
    const std::string thousand(1000, '0');
    EXPECT_TRUE(isTooLarge("1" + thousand + "p-3500", true));
    EXPECT_FALSE(isTooLarge("1" + thousand + "p-4500", true));
    EXPECT_TRUE(isTooLarge("0." + thousand + "1p4500", true));
    EXPECT_FALSE(isTooLarge("0." + thousand + "1p3500", true));
    EXPECT_FALSE(isTooLarge("0." + std::string(100, '0') + "1p150", true));
    EXPECT_FALSE(isTooLarge("0." + zeros + "1p10", true));
    EXPECT_FALSE(isTooLarge("1" + zeros + "p-400", true));
}

TEST(PlainNumber, isTheNearestDoubleAndEndsBehindItsDigits)
{
    std::mt19937_64 random(5);
    for (int round = 0; round < 20000; ++round) {
        const std::size_t digits = 1 + random() % 15;
        std::string text;
        for (std::size_t i = 0; i < digits; ++i) {
            text += static_cast<char>('0' + random() % 10);
        }
        const std::size_t point = random() % (digits + 2);
        if (point <= digits) {
            text.insert(point, ".");
        }
        const std::string behind = text + ",77777777"; // what follows must not be looked at
        double wanted = 0.0;
        const auto [end, error] = std::from_chars(behind.data(), behind.data() + behind.size(), wanted);
        ASSERT_EQ(error, std::errc()) << text;
        PlainNumber got;
        ASSERT_EQ(takePlainNumber(behind.data(), behind.data() + behind.size(), got), end) << text;
        ASSERT_EQ(doubleOf(got), wanted) << text;
        ASSERT_EQ(takePlainNumber(text.data(), text.data() + text.size(), got), text.data() + text.size()) << text;
        ASSERT_EQ(doubleOf(got), wanted) << text << " at the end of what there is";
    }
}

TEST(PlainNumber, hasBetweenOneDigitAndFifteen)
{
    for (const std::string_view text : {"", ".", "x1", "-1", "+1", " 1", "1234567890123456", "0.123456789012345",
                                        "99999999999999999999999999", ".x"}) {
        PlainNumber number;
        EXPECT_EQ(takePlainNumber(text.data(), text.data() + text.size(), number), nullptr) << text;
    }
}

TEST(Digits, endAtTheFirstByteThatIsNone)
{
    for (int byte = 0; byte < 256; ++byte) {
        if (byte >= '0' && byte <= '9') {
            continue;
        }
        for (std::size_t at = 0; at <= 17; ++at) {
            std::string text = "123456789012345678";
            text[at] = static_cast<char>(byte);
            std::uint64_t number = 0;
            const char* const end = takeDigits(text.data(), text.data() + text.size(), number);
            ASSERT_EQ(end - text.data(), static_cast<std::ptrdiff_t>(at)) << byte;
            ASSERT_EQ(number, at == 0 ? 0 : std::stoull(text.substr(0, at))) << byte;
        }
    }
}

TEST(PlainNumber, isTheNearestFloatUnlessItLiesBetweenTwo)
{
    std::mt19937_64 random(6);
    int undecided = 0;
    for (int round = 0; round < 60000; ++round) {
        // Two thirds of them near the middle of two floats, where it matters: there, or some units of the last place
        // off.
        const auto base = static_cast<float>(1 + random() % 30000000) / static_cast<float>(1U << (random() % 12));
        double aim = (static_cast<double>(base) + static_cast<double>(std::nextafter(base, 1e9F))) / 2;
        for (std::uint64_t steps = random() % 8; round % 3 != 0 && steps > 0; --steps) {
            aim = std::nextafter(aim, round % 2 == 0 ? 0.0 : 1e9);
        }
        std::array<char, 64> text{};
        const int decimals = static_cast<int>(random() % 14);
        const char* const end =
            std::to_chars(text.data(), text.data() + text.size(), aim, std::chars_format::fixed, decimals).ptr;
        PlainNumber number;
        if (takePlainNumber(text.data(), end, number) != end) {
            continue; // too many digits
        }
        float once = 0.0F;
        std::from_chars(text.data(), end, once);
        float got = 0.0F;
        if (nearestFloat(number, got)) {
            ASSERT_EQ(got, once) << text.data();
        } else {
            ++undecided;
        }
    }
    EXPECT_GT(undecided, 1000);
    EXPECT_LT(undecided, 50000);
}

TEST(PlainNumber, ofUsualLengthIsDecidedAtOnce)
{
    for (const std::string_view text :
         {"0", "0.000000", "356.899994", "0.006387", "16777216", "0.1", "123456789012345"}) {
        PlainNumber number;
        float got = -1.0F;
        float wanted = -2.0F;
        ASSERT_NE(takePlainNumber(text.data(), text.data() + text.size(), number), nullptr);
        std::from_chars(text.data(), text.data() + text.size(), wanted);
        EXPECT_TRUE(nearestFloat(number, got)) << text;
        EXPECT_EQ(got, wanted) << text;
    }
    PlainNumber tie;
    float value = 0.0F;
    constexpr std::string_view kTie = "16777217";
    takePlainNumber(kTie.data(), kTie.data() + kTie.size(), tie);
    EXPECT_FALSE(nearestFloat(tie, value));
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
    for (const char* bytes :
         {"\xc0\x80", "\xe0\x80\x80", "\xf0\x80\x80\x80", "\xed\xa0\x80", "\xed\xb0\x80", "\xf4\x90\x80\x80",
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
