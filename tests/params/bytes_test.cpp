// What single bytes mean to the scanner, and what the reader tells of them: every byte there is.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "KORInterface/ParameterSet.h"
#include "KORInterface/Status.h"
#include "params/file/Blocks.h"
#include "params/file/ParameterSet.h"
#include "params/file/Reader.h"
#include "params/file/Scanner.h"
#include "params/file/SharedArray.h"
#include "params/prm_file.h"
#include "platform/Files.h"
#include "support/Rounds.h"

namespace {

using namespace prm_test;
using kor::params::excerptOf;
using kor::params::Finding;
using kor::params::ReadReport;
using kor::params::Scanner;

constexpr char kTextEnd = '\x1A';

std::string_view asciiOnly(bool digits, bool letters)
{
    return digits && letters ? "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz"
           : digits          ? "0123456789"
                             : "";
}

template <class Take>
void forEveryByte(const Take& take)
{
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        take(static_cast<char>(byte));
    }
}

bool isIn(std::string_view set, char c)
{
    return set.find(c) != std::string_view::npos;
}

// ---- the scanner -------------------------------------------------------------------------------------------

TEST(ScannerBytes, lettersDigitsAndUnderscoreMakeThePayloadOfANan)
{
    forEveryByte([](char byte) {
        const std::string text = std::string("nan(") + byte + ") 5 ";
        Scanner in{std::string_view(text)};
        std::array<float, 2> values = {1.0F, 1.0F};
        if (isIn(asciiOnly(true, true), byte)) {
            EXPECT_EQ(in.floats(values), 2U);
            EXPECT_TRUE(std::isnan(values[0]));
            EXPECT_EQ(values[1], 5.0F);
        } else if (byte == ')') {
            // The number ends at the first bracket; the second is not part of one.
            EXPECT_EQ(in.floats(values), 1U);
        } else {
            EXPECT_EQ(in.floats(values), 0U);
            EXPECT_EQ(values[0], 1.0F);
        }
    });
}

TEST(ScannerBytes, sixOfThemAreWhiteSpace)
{
    forEveryByte([](char byte) {
        const std::string text = std::string("7") + byte + "8 ";
        Scanner in{std::string_view(text)};
        std::string words;
        const std::size_t count = in.words(2, words);
        if (isIn(" \t\n\v\f\r", byte)) {
            EXPECT_EQ(count, 2U);
            EXPECT_EQ(words, "7 8");
        } else if (byte == kTextEnd) {
            EXPECT_EQ(count, 1U);
            EXPECT_EQ(words, "7");
            EXPECT_TRUE(in.atEnd());
        } else {
            EXPECT_EQ(count, 1U);
            EXPECT_EQ(words, text.substr(0, 3));
        }
    });
}

TEST(ScannerBytes, endAnExponentUnlessTheyAreDecimalDigits)
{
    forEveryByte([](char byte) {
        const std::string text = std::string("1e1") + byte + " ";
        Scanner in{std::string_view(text)};
        std::array<float, 1> value = {};
        ASSERT_EQ(in.floats(value), 1U);
        EXPECT_EQ(in.taken(), isIn(asciiOnly(true, false), byte) ? 4U : 3U);
    });
}

TEST(ScannerBytes, endAWholeNumberUnlessTheyAreDigits)
{
    forEveryByte([](char byte) {
        const std::string text = std::string("7") + byte + " ";
        Scanner in{std::string_view(text)};
        std::int64_t value = 0;
        ASSERT_TRUE(in.integer(value));
        EXPECT_EQ(value, isIn(asciiOnly(true, false), byte) ? 70 + (byte - '0') : 7);
        EXPECT_EQ(in.taken(), isIn(asciiOnly(true, false), byte) ? 2U : 1U);
    });
}

// A hexadecimal digit is read in either case, and no neighbour of one.
TEST(ScannerBytes, sixteenDigitsMakeAHexadecimalNumber)
{
    forEveryByte([](char byte) {
        const std::string text = std::string("0x1") + byte + ".8p1 ";
        Scanner in{std::string_view(text)};
        std::array<float, 1> value = {-1.0F};
        const std::string_view lower = "0123456789abcdef";
        const std::string_view upper = "0123456789ABCDEF";
        if (isIn(lower, byte) || isIn(upper, byte)) {
            const std::size_t digit = isIn(lower, byte) ? lower.find(byte) : upper.find(byte);
            ASSERT_EQ(in.floats(value), 1U);
            EXPECT_EQ(value[0], 2.0F * (16.5F + static_cast<float>(digit)));
        } else if (byte == 'p' || byte == 'P') {
            EXPECT_EQ(in.floats(value), 0U) << "an exponent without digits";
        } else {
            EXPECT_EQ(in.floats(value), 1U);
            EXPECT_EQ(value[0], 1.0F);
        }
    });
}

TEST(ScannerNumbers, saturateBeyondSixtyFourBits)
{
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
    const std::pair<const char*, std::int64_t> cases[] = {
        {"9223372036854775806", kLargest - 1},       {"9223372036854775807", kLargest},
        {"9223372036854775808", kLargest},           {"9223372036854775809", kLargest},
        {"9223372036854775817", kLargest},           {"18446744073709551615", kLargest},
        {"18446744073709551616", kLargest},          {"18446744073709551617", kLargest},
        {"184467440737095516170", kLargest},         {"-9223372036854775807", kSmallest + 1},
        {"-9223372036854775808", kSmallest},         {"-9223372036854775809", kSmallest},
        {"-18446744073709551615", kSmallest},        {"-18446744073709551617", kSmallest},
        {"00000000000000000000000000000000042", 42},
    };
    for (const auto& [text, wanted] : cases) {
        Scanner in{std::string_view(text)};
        std::int64_t value = 1;
        EXPECT_TRUE(in.integer(value)) << text;
        EXPECT_EQ(value, wanted) << text;
    }
}

// ---- titles ------------------------------------------------------------------------------------------------

// Message of each block whose title is not as it should be, in the order of the file.
constexpr std::array<unsigned, kBlockCount> kTitleMessages = {601, 603, 604, 605, 606, 607, 608, 609, 610,
                                                              611, 612, 613, 614, 615, 616, 617, 618, 619,
                                                              621, 619, 622, 623, 624, 609, 0,   0,   0};
// Blocks at which a file may end.
constexpr bool mayEndBefore(int block)
{
    return block >= 18 && block <= 23;
}

// Another byte in place of any character of any title: the read fails in that block, unless white space stands for
// white space, or the text ends where it may.
TEST(Titles, everyOtherCharacterIsRefused)
{
    PrmFile file(secondSensor(9));
    const std::string whole = file.text();
    constexpr int kStep = 256 / kor_test::rounds(256);
    int reads = 0;
    int wrong = 0;
    kor::ParameterSet set;
    for (int block = 1; block <= kBlockCount; ++block) {
        const std::size_t begin = file.text(1, block - 1).size();
        const std::string_view title = titleOf(block);
        ASSERT_EQ(whole.compare(begin, title.size(), title), 0);
        for (std::size_t at = 0; at < title.size(); ++at) {
            for (int byte = (static_cast<int>(at) + block) % kStep; byte < 256; byte += kStep) {
                const char put = static_cast<char>(byte);
                if (put == title[at]) {
                    continue;
                }
                std::string text = whole;
                text[begin + at] = put;
                ReadReport report;
                kor::params::readBytes(text, 17, set, report);
                ++reads;
                const bool isSame = isIn(" \t\n\v\f\r", title[at]) && isIn(" \t\n\v\f\r", put);
                const bool isEnd = put == kTextEnd && at == 0 && mayEndBefore(block);
                // Without its mode the file is one of mode 0. The blocks behind it have their defaults up to the 24th.
                const bool loads = isSame || (isEnd && block <= 20);
                const int failsIn = isEnd ? 24 : block;
                const bool isRight =
                    loads ? report.status == 0
                          : report.status == kor::kFormatError && report.block == titleOf(failsIn) &&
                                report.messageId == kTitleMessages[static_cast<std::size_t>(failsIn - 1)] &&
                                report.endedAtTitle == (put == kTextEnd && at == 0 && block > 1);
                if (!isRight && ++wrong <= 10) {
                    ADD_FAILURE() << title << ", character " << at << ", byte " << byte << ": status " << report.status
                                  << ", message " << report.messageId << " in " << report.block;
                }
            }
        }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(reads, kor_test::rounds(100000) / 2);
    kor::params::releaseTables(set);
}

// ---- the report --------------------------------------------------------------------------------------------

TEST(Excerpt, showsPrintableAsciiAndAQuestionMarkForEveryOtherByte)
{
    forEveryByte([](char byte) {
        const bool isPrintable = byte >= 0x20 && byte < 0x7f;
        EXPECT_EQ(excerptOf(std::string("a") + byte), std::string("a") + (isPrintable ? byte : '?'));
    });
}

TEST(Excerpt, endsWithThreeDotsBeyondSixtyCharacters)
{
    EXPECT_EQ(excerptOf(""), "");
    EXPECT_EQ(excerptOf(std::string(59, 'x')), std::string(59, 'x'));
    EXPECT_EQ(excerptOf(std::string(60, 'x')), std::string(60, 'x'));
    EXPECT_EQ(excerptOf(std::string(61, 'x')), std::string(60, 'x') + "...");
    EXPECT_EQ(excerptOf(std::string(60, '\x80') + "."), std::string(60, '?') + "...");
}

TEST(ReportOfBytes, givesWhatWasFoundInTheFailureAndInAFinding)
{
    forEveryByte([](char byte) {
        if (isIn(" \t\n\v\f\r", byte) || byte == kTextEnd) {
            return;
        }
        const std::string shown = byte >= 0x20 && byte < 0x7f ? std::string(1, byte) : "?";
        PrmFile file(firstSensor(1));
        file[9].title = std::string("Transfer") + byte + " Vector\n";
        file[8].body = std::string("1.5\tx") + byte + "\n";
        kor::ParameterSet set;
        ReadReport report(true);
        kor::params::readBytes(file.text(), 17, set, report);
        EXPECT_EQ(report.status, kor::kFormatError);
        EXPECT_EQ(report.messageId, 610U);
        EXPECT_EQ(report.found, "x" + shown + " Transfer" + shown);
        EXPECT_STREQ(report.expected, "Transform Vector");
        ASSERT_EQ(report.findings.size(), 1U);
        EXPECT_EQ(report.findings[0].kind, Finding::Kind::unreadableValue);
        EXPECT_EQ(report.findings[0].found, "x" + shown);
        EXPECT_STREQ(report.findings[0].expected, "a number");
        EXPECT_EQ(report.findings[0].values, 1U);
        EXPECT_EQ(report.findings[0].line, report.line);
        kor::params::releaseTables(set);
    });
}

TEST(ReportOfBytes, tellsAnIdThatIsAnothers)
{
    for (const char* id : {"18446744073709551617", "-1", "18"}) {
        PrmFile file(firstSensor(1));
        file[1].body = std::string(id) + "\n";
        kor::ParameterSet set;
        ReadReport report(true);
        kor::params::readBytes(file.text(), 17, set, report);
        EXPECT_EQ(report.status, kor::kFormatError);
        EXPECT_EQ(report.messageId, 602U);
        EXPECT_EQ(report.line, 2U);
        EXPECT_EQ(report.found, std::string(id).size() > 18 ? "9223372036854775807" : id);
        EXPECT_STREQ(report.expected, "the ID of the sensor");
        EXPECT_EQ(report.findingCount, 0U);
        EXPECT_TRUE(report.findings.empty());
    }
}

// A read that fails is not an end of the text.
TEST(ScannerBytes, thatCannotBeReadAreNone)
{
    kor::platform::File none;
    Scanner scanner(none);
    std::int64_t number = 7;
    std::string joined;
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_FALSE(scanner.integer(number));
        EXPECT_EQ(scanner.words(1, joined), 0U);
        EXPECT_FALSE(scanner.atEnd());
    }
    EXPECT_EQ(number, 7);
}

TEST(ScannerNumbers, areNoWordsThatOnlyBeginLikeThem)
{
    for (const char* const text : {"infi", "infix", "infinit", "infinitx", "in", "na", "nax", "nan(", "nan(1"}) {
        Scanner scanner{std::string_view(text)};
        float value = 7.0F;
        EXPECT_EQ(scanner.floats({&value, 1}), 0U) << text;
        EXPECT_EQ(value, 7.0F) << text;
    }
}

TEST(SharedArrays, areNotLargerThanTheAddressSpace)
{
    EXPECT_THROW(kor::params::allocateShared<double>(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
    EXPECT_THROW(kor::params::allocateShared<float>(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
    EXPECT_EQ(kor::params::sharedCapacity<float>(nullptr), 0U);
}

// Both the table with its extra values and four coefficients a row.
TEST(SharedArrays, ofALevelHoldsTheRowsThatBothArraysHave)
{
    constexpr std::size_t kRows = 4;
    for (const std::size_t tableRows : {kRows - 1, kRows}) {
        for (const std::size_t coeffRows : {kRows - 1, kRows}) {
            auto* table = kor::params::allocateShared<float>(tableRows + kor::params::kTiltExtras);
            auto* coeffs = kor::params::allocateShared<double>(4 * coeffRows);
            EXPECT_EQ(kor::params::levelTableHolds(table, coeffs, kRows), tableRows == kRows && coeffRows == kRows);
            EXPECT_FALSE(kor::params::levelTableHolds(table, nullptr, 0));
            EXPECT_FALSE(kor::params::levelTableHolds(nullptr, coeffs, 0));
            kor::params::releaseShared(table);
            kor::params::releaseShared(coeffs);
        }
    }
}

} // namespace
