// Cells in every form that is accepted, and what files of other kinds are recognised as.
#include "recordings/Cells.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "KORInterface/Records.h"

#include "recordings/Recognition.h"
#include "support/Float.h"

namespace {

using namespace std::string_view_literals;
using kor::recordings::Cell;
using kor::recordings::cellAt;
using kor::recordings::cellsOf;
using kor::recordings::Content;
using kor::recordings::readValue;
using kor::recordings::recognise;
using kor::recordings::Type;
using kor_test::sameBits;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(Cells, floatingValuesInEveryFormThatIsAccepted)
{
    struct {
        std::string_view text;
        float value;
    } const forms[] = {
        {"1.5", 1.5f},       {"+1.5", 1.5f},       {"-1.5", -1.5f},         {".5", 0.5f},   {"5.", 5.0f},
        {"1e2", 100.0f},     {"1E+2", 100.0f},     {"+1e-2", 0.01f},        {"-0", -0.0f},  {"inf", kInfinity},
        {"+inf", kInfinity}, {"-INF", -kInfinity}, {"Infinity", kInfinity}, {"nan", kNan},  {"NaN", kNan},
        {"NA", kNan},        {"na", kNan},         {"null", kNan},          {"NULL", kNan}, {"", kNan}};
    for (const auto& form : forms) {
        float value = 0.0f;
        EXPECT_TRUE(readValue(Type::float32, form.text, &value)) << form.text;
        EXPECT_TRUE(sameBits(value, form.value)) << form.text;
        double wide = 0.0;
        EXPECT_TRUE(readValue(Type::float64, form.text, &wide)) << form.text;
        EXPECT_TRUE(sameBits(static_cast<float>(wide), form.value)) << form.text;
    }
}

TEST(Cells, floatingTextsThatAreRefused)
{
    for (const std::string_view text : {"+",  "-",    "+-1", "++1", "--1", "1.5x", "x",   "0x10",  "1,5",  "1 5", "1e",
                                        "e5", "1e39", "NA.", "n",   "nul", "none", "-NA", "+null", "#N/A", "1.5 "}) {
        float value = 0.0f;
        EXPECT_FALSE(readValue(Type::float32, text, &value)) << text;
    }
}

TEST(Cells, wholeNumbersInEveryFormThatIsAccepted)
{
    struct {
        std::string_view text;
        std::int32_t value;
    } const forms[] = {{"2", 2},
                       {"+2", 2},
                       {"-2", -2},
                       {"2.0", 2},
                       {"2.", 2},
                       {"2e0", 2},
                       {"2E+1", 20},
                       {"20e-1", 2},
                       {"0.2e1", 2},
                       {"-2.50e1", -25},
                       {"002.000", 2},
                       {"0e99", 0},
                       {"0.00e-99999", 0},
                       {"-0.0", 0},
                       {"2147483647.0", 2147483647},
                       {"-2147483648", std::numeric_limits<std::int32_t>::min()}};
    for (const auto& form : forms) {
        std::int32_t value = 77;
        EXPECT_TRUE(readValue(Type::int32, form.text, &value)) << form.text;
        EXPECT_EQ(value, form.value) << form.text;
    }
    std::uint32_t stamp = 0;
    EXPECT_TRUE(readValue(Type::uint32, "4294967295.000", &stamp));
    EXPECT_EQ(stamp, 4294967295u);
    bool flag = false;
    EXPECT_TRUE(readValue(Type::flag, "1", &flag));
    EXPECT_TRUE(flag);
}

TEST(Cells, wholeNumberTextsThatAreRefused)
{
    // The last digit of a long fraction counts, although no double holds it.
    for (const std::string_view text : {"",
                                        "NA",
                                        "nan",
                                        "inf",
                                        "2.5",
                                        "25e-2",
                                        "2.00000000000000000000000001",
                                        "2147483648",
                                        "2147483647.5",
                                        "1e10",
                                        "1e99999",
                                        "1e99999999999",
                                        "2e",
                                        "2e+-1",
                                        "2.0.0",
                                        ".",
                                        "-",
                                        "+-2",
                                        "0x2",
                                        "2 0",
                                        "two",
                                        "1e-1"}) {
        std::int32_t value = 0;
        EXPECT_FALSE(readValue(Type::int32, text, &value)) << text;
    }
    std::uint8_t hold = 0;
    EXPECT_FALSE(readValue(Type::uint8, "256.0", &hold));
    EXPECT_FALSE(readValue(Type::uint8, "-1", &hold));
}

TEST(Cells, outcomesByNameInAnyCase)
{
    std::uint8_t outcome = 99;
    EXPECT_TRUE(readValue(Type::outcome, "Not_Finite", &outcome));
    EXPECT_EQ(outcome, 3);
    EXPECT_FALSE(readValue(Type::outcome, "okay", &outcome));
    EXPECT_FALSE(readValue(Type::outcome, "", &outcome));
}

TEST(Cells, rowsAreSplitAsQuotationMarksSay)
{
    using Cells = std::vector<std::string>;
    EXPECT_EQ(cellsOf("a,b"), (Cells{"a", "b"}));
    EXPECT_EQ(cellsOf(""), (Cells{""}));
    EXPECT_EQ(cellsOf(",a,"), (Cells{"", "a", ""}));
    EXPECT_EQ(cellsOf("\"a,b\",\"say \"\"x\"\"\""), (Cells{"a,b", "say \"x\""}));
    EXPECT_EQ(cellsOf(" a ,\t\" b \" "), (Cells{"a", "b"}));
    EXPECT_EQ(cellsOf("\"\",x\"y\""), (Cells{"", "x\"y\""}));
    EXPECT_EQ(cellsOf("a;\"b;c\"", ';'), (Cells{"a", "b;c"}));
    EXPECT_EQ(cellsOf("\t\ta", '\t'), (Cells{"", "", "a"}));
}

TEST(Cells, quotationMarksThatDoNotMatchAreAFault)
{
    std::string unquoted;
    const auto fault = [&unquoted](std::string_view row) {
        return cellAt(row.data(), row.data() + row.size(), ',', unquoted).fault;
    };
    EXPECT_EQ(fault("\"a,b"), Cell::Fault::quoteNotClosed);
    EXPECT_EQ(fault("\"a\"\",b"), Cell::Fault::quoteNotClosed);
    EXPECT_EQ(fault("\"a\"b,c"), Cell::Fault::textBehindQuote);
    EXPECT_EQ(fault("\"a\" ,c"), Cell::Fault::none);
    EXPECT_EQ(fault("\""), Cell::Fault::quoteNotClosed);
}

// Records as a sensor makes them.
std::vector<KOR_RAWINFO> plausible(std::size_t count)
{
    std::vector<KOR_RAWINFO> records(count);
    for (std::size_t i = 0; i < count; ++i) {
        records[i].status = 2;
        records[i].sensorVector[0] = 1000.0f + static_cast<float>(i);
        records[i].timeStampMs = static_cast<std::uint32_t>(4294967000u + 10 * i); // across the wrap
    }
    return records;
}

Content contentOf(const std::vector<KOR_RAWINFO>& records)
{
    return recognise({reinterpret_cast<const char*>(records.data()), records.size() * sizeof(KOR_RAWINFO)}).content;
}

TEST(Recognition, recordsArePlausibleByStatusPositionAndTimeSteps)
{
    EXPECT_EQ(contentOf(plausible(1)), Content::recordingBinary);
    EXPECT_EQ(contentOf(plausible(100)), Content::recordingBinary);
    const auto broken = [](auto breakRecord, std::size_t every) {
        std::vector<KOR_RAWINFO> records = plausible(40);
        for (std::size_t i = 0; i < records.size(); i += every) {
            breakRecord(records[i], i);
        }
        return contentOf(records);
    };
    const auto status = [](KOR_RAWINFO& raw, std::size_t) { raw.status = 70000; };
    const auto position = [](KOR_RAWINFO& raw, std::size_t) { raw.sensorVector[1] = kNan; };
    const auto tiny = [](KOR_RAWINFO& raw, std::size_t) { raw.sensorVector[2] = 1e-40f; };
    const auto stamp = [](KOR_RAWINFO& raw, std::size_t i) {
        raw.timeStampMs = static_cast<std::uint32_t>(i) * 1234567891u + 5u;
    };
    EXPECT_EQ(broken(status, 1), Content::unknown);
    EXPECT_EQ(broken(position, 1), Content::unknown);
    EXPECT_EQ(broken(tiny, 1), Content::unknown);
    EXPECT_EQ(broken(stamp, 1), Content::unknown);
    // A recording with a damaged record here and there is one all the same.
    EXPECT_EQ(broken(status, 5), Content::recordingBinary);
    EXPECT_EQ(broken(position, 5), Content::recordingBinary);
    EXPECT_EQ(broken(stamp, 10), Content::recordingBinary);
}

TEST(Recognition, textIsNamedByItsFirstLine)
{
    struct {
        std::string_view text;
        Content content;
        std::string_view what;
    } const files[] = {
        {"", Content::empty, "an empty file"},
        {"status,azimuthRaw\n", Content::recordingCsv, "the header of a recording"},
        {"\xef\xbb\xbf\r\n \"STATUS\" , \"AzimuthRaw\"\r", Content::recordingCsv, "the header of a recording"},
        {"timeStampMs,m00,m01\n", Content::resultsCsv, "the header of results of kor replay"},
        {"timeStampMs,valid,note\n", Content::truthCsv, "the header of a truth file of kor simulate"},
        {"time_s,x_mm\n", Content::wayPointsCsv, "the header of a file of way-points"},
        {"status;azimuthRaw\n", Content::text, "columns separated by semicolons"},
        {"status\tazimuthRaw\n", Content::text, "columns separated by tabs"},
        {"Serial Number\n1005\n", Content::text, "a parameter file"},
        {"1,2.5,,3\n", Content::text, "text \"1,2.5,,3\""},
        {"1,2.5,3\n", Content::text, "numbers in place of a header line"},
        {"<?xml version='1.0'?>\n", Content::text, "XML or HTML"},
        {"[1, 2]\n", Content::text, "JSON"},
        {"#!/bin/sh\n", Content::text, "a script"},
        {"status\n", Content::text, "text \"status\""},
        {"\xff\xfe"
         "a\0b\0"sv,
         Content::other, "UTF-16"},
        {"\x1f\x8b\x08rest", Content::other, "gzip data inside compressed data"},
        {"BZh91AY", Content::other, "a bzip2 file"},
        {"\xfd"
         "7zXZ\0\0"sv,
         Content::other, "an xz file"},
        {"SQLite format 3\0"sv, Content::other, "an SQLite database"},
        {"\0\0\0\0\0"sv, Content::other, "only bytes that are 0"},
    };
    for (const auto& file : files) {
        const auto recognised = recognise(file.text);
        EXPECT_EQ(recognised.content, file.content) << file.text;
        EXPECT_EQ(recognised.what, file.what) << file.text;
    }
}

// The number at the start of a text as the standard library reads it; null if there is none in range.
template <typename Value>
const char* standardNumber(std::string_view text, Value& value)
{
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() ? stop : nullptr;
}

template <typename Value>
void expectStandardNumber(std::string_view text)
{
    Value wanted{};
    Value found{};
    const char* const end = standardNumber(text, wanted);
    ASSERT_EQ(kor::recordings::numberAs<Value>(text.data(), text.data() + text.size(), &found), end) << text;
    if (end != nullptr) {
        ASSERT_EQ(std::memcmp(&found, &wanted, sizeof found), 0) << text;
    }
}

void expectStandardNumbers(std::string_view text)
{
    expectStandardNumber<float>(text);
    expectStandardNumber<double>(text);
    expectStandardNumber<std::int32_t>(text);
    expectStandardNumber<std::uint32_t>(text);
    expectStandardNumber<std::uint8_t>(text);
}

TEST(Numbers, areThoseOfTheStandardLibraryInEveryForm)
{
    for (const char* const text :
         {"",    "-",    ".",     "-.",  "1.",   ".5",   "-.5",   "1e5",   "1e",  "1.e2",  "1.5e-3", "+1",
          "--1", "0x10", "1.2.3", "-0",  "-0.0", "0007", "1,5",   "-1,",   "1 ",  "inf,",  "nan",    "-nan",
          "255", "256",  "-1",    "12e", "2.0",  "0.",   "00.10", "1.5E2", "1E1", "-2.5,", "9e9",    "1.e"}) {
        expectStandardNumbers(text);
    }
    for (const char* const text :
         {"2147483647", "2147483648", "-2147483648", "-2147483649", "4294967295", "4294967296", "999999999999999",
          "1000000000000000", "18446744073709551616", "99999999999999999999", "0.000000000000001", "0.0000000000000001",
          "123456789.123456", "1234567890.123456", "0000000000000000001"}) {
        expectStandardNumbers(text);
    }
}

TEST(Numbers, areThoseOfTheStandardLibraryForArbitraryDigits)
{
    std::mt19937_64 random(12);
    for (int i = 0; i < 30000; ++i) {
        std::string text = std::to_string(random() >> (random() % 60));
        text.insert(random() % (text.size() + 1), random() % 4 == 0 ? "" : ".");
        text.insert(0, random() % 2 == 0 ? "" : "-");
        expectStandardNumbers(text + (random() % 2 == 0 ? "," : ""));
    }
}

// Where rounding to double and then to float could differ from rounding once.
TEST(Numbers, inTheMiddleBetweenTwoFloatsAreRoundedOnce)
{
    std::mt19937 random(13);
    for (int i = 0; i < 20000; ++i) {
        const auto bits = static_cast<std::uint32_t>(random() % 0x20000000u + 0x35000000u); // 5e-7 to 1e14
        const double low = static_cast<double>(std::bit_cast<float>(bits));
        const double middle = low + (static_cast<double>(std::bit_cast<float>(bits + 1)) - low) / 2;
        for (const int digits : {7, 9, 12, 14, 15}) {
            char text[64];
            const auto end = std::to_chars(std::begin(text), std::end(text), middle, std::chars_format::fixed, digits);
            expectStandardNumber<float>({text, end.ptr});
        }
    }
}

} // namespace
