// Reading parameter files that load: where each number goes, what the layout may look like, what stands in for
// missing blocks, and which file is opened.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "params/prm_file.h"
#include "support/Float.h"

namespace {

using namespace prm_test;
using kor_test::sameBits;

class Reader : public ParamsTest {
protected:
    /// Reads the text as a new object's file and expects these values.
    void expectLoads(const std::string& text, const PrmValues& values)
    {
        CKorPrm prm;
        ASSERT_EQ(read(prm, text), kSuccess);
        EXPECT_TRUE(loadedFlag(prm));
        EXPECT_FALSE(modifiedFlag(prm));
        expectSame(snapshot(prm), expected(values));
    }

    /// The ADM offset of a file that has this text as its number.
    float admOffset(const std::string& text)
    {
        PrmFile file(firstSensor(5));
        file[14].body = text + "\n";
        CKorPrm prm;
        EXPECT_EQ(read(prm, file.text(1, 20)), kSuccess) << text.substr(0, 60);
        float value = -777.0F;
        EXPECT_EQ(prm.getADMOffset(value), kSuccess);
        return value;
    }

    F_VECTOR4 levelLimits(CKorPrm& prm)
    {
        F_VECTOR4 limits{};
        EXPECT_EQ(prm.GetKORLevelLimits(limits), kSuccess);
        return limits;
    }
};

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// ---- whole files -------------------------------------------------------------------------------------------

// Pins [misspelt-texts].
TEST_F(Reader, everyBlockGoesIntoItsFields)
{
    for (const int mode : {7, 8, 9, 10, 100}) {
        expectLoads(PrmFile(firstSensor(mode)).text(), firstSensor(mode));
        expectLoads(PrmFile(secondSensor(mode)).text(), secondSensor(mode));
    }
}

TEST_F(Reader, smallerModesStopAfterTheMountingMode)
{
    for (const int mode : {-1, 0, 1, 2, 3, 4, 5, 6}) {
        expectLoads(PrmFile(firstSensor(mode)).text(1, 20), withoutModel(firstSensor(mode)));
    }
}

// Pins [end-below-mode-7].
TEST_F(Reader, mode5IgnoresTextAfterTheMountingMode)
{
    const PrmValues wanted = withoutModel(firstSensor(5));
    const PrmFile file(firstSensor(5));
    expectLoads(file.text(), wanted);
    expectLoads(file.text(1, 20) + "nothing that anyone knows", wanted);
    expectLoads(file.text(1, 20) + "QVC\nnonsense", wanted);
    expectLoads(file.text(1, 20) + std::string(5000, '\0'), wanted);
}

TEST_F(Reader, textAfterTheLastBlockIsIgnored)
{
    expectLoads(PrmFile(firstSensor(9)).text() + "trailing words 1 2 3\n", firstSensor(9));
}

// Pins [no-level-x-limits].
TEST_F(Reader, modes7And8HaveNoTiltLimitsOnX)
{
    for (const int mode : {7, 8}) {
        CKorPrm prm;
        ASSERT_EQ(read(prm, PrmFile(firstSensor(mode)).text()), kSuccess);
        const F_VECTOR4 limits = levelLimits(prm);
        EXPECT_EQ(limits.x, 0.0F);
        EXPECT_EQ(limits.y, 0.0F);
        EXPECT_EQ(limits.z, -23.0F);
        EXPECT_EQ(limits.w, 24.0F);
    }
    for (const int mode : {5, 6, 9, 10}) {
        CKorPrm prm;
        ASSERT_EQ(read(prm, PrmFile(firstSensor(mode)).text()), kSuccess);
        const F_VECTOR4 limits = levelLimits(prm);
        EXPECT_EQ(limits.x, -28.0F) << mode;
        EXPECT_EQ(limits.y, 27.0F) << mode;
    }
}

TEST_F(Reader, aSecondReadReplacesEverything)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    ASSERT_EQ(prm.SetKORLevelLimits({1.0F, 2.0F, 3.0F, 4.0F}), kSuccess);
    ASSERT_EQ(read(prm, PrmFile(secondSensor(10)).text()), kSuccess);
    expectSame(snapshot(prm), expected(secondSensor(10)));
}

// Pins [end-below-mode-7].
TEST_F(Reader, aReadThatStopsAtASmallerModeLeavesTheModelAlone)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    ASSERT_EQ(read(prm, PrmFile(secondSensor(6)).text()), kSuccess);
    expectSame(snapshot(prm), expected(merged(firstSensor(9), secondSensor(6), 20)));
}

// ---- blocks that may be missing at the end -----------------------------------------------------------------

constexpr std::array<float, 8> kDefaultFactors = {0.0F, 0.0F, 0.0F, 0.0F, 1.0F, 1.0F, 1.0F, 0.0F};

PrmValues endedAfter(PrmValues values, int last)
{
    values = withoutModel(values);
    values.mountMode = last < 20 ? 0 : values.mountMode;
    if (last < 19) {
        values.scaleFactors = kDefaultFactors;
    }
    if (last < 18) {
        values.tiltY.reset();
    }
    return values;
}

// Pins [limits-without-table-y].
TEST_F(Reader, aFileMayEndAfterTheTiltXTable)
{
    expectLoads(PrmFile(firstSensor(9)).text(1, 17), endedAfter(firstSensor(9), 17));
}

TEST_F(Reader, aFileMayEndAfterTheTiltYTable)
{
    expectLoads(PrmFile(firstSensor(9)).text(1, 18), endedAfter(firstSensor(9), 18));
}

TEST_F(Reader, aFileMayEndAfterTheScaleFactors)
{
    expectLoads(PrmFile(firstSensor(9)).text(1, 19), endedAfter(firstSensor(9), 19));
}

// Pins [table-y-stays].
TEST_F(Reader, endingAfterTheTiltXTableKeepsTheTiltYTableOfAnEarlierRead)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    ASSERT_EQ(read(prm, PrmFile(secondSensor(9)).text(1, 17)), kSuccess);
    PrmValues wanted = merged(firstSensor(9), secondSensor(9), 17);
    wanted.scaleFactors = kDefaultFactors;
    wanted.mountMode = 0;
    wanted.limits = {-17.0F, 16.0F, -35.0F, 35.0F};
    expectSame(snapshot(prm), expected(wanted));
}

// The end is known only once a read has met it. Every block ends in a number or word whose own end, or the blanks
// after it, lie at the end of the file, so it makes no difference what stands there.
TEST_F(Reader, theEndIsNoticedWithAndWithoutAFinalNewlineOrBlanks)
{
    const PrmFile file(firstSensor(9));
    for (const int last : {17, 18, 19}) {
        std::string text = file.text(1, last);
        while (text.back() == '\n' || text.back() == '\t') {
            text.pop_back();
        }
        for (const char* tail : {"", "\n", " ", "\t", " \t \n\n  ", "\r\n", "\v\f"}) {
            SCOPED_TRACE(::testing::Message() << "after block " << last << ", tail of " << std::strlen(tail));
            expectLoads(text + tail, endedAfter(firstSensor(9), last));
        }
    }
    const PrmFile small(firstSensor(5));
    const PrmFile full(firstSensor(9));
    for (const char* tail : {"", "\n", " \t ", "\r\n"}) {
        std::string text = small.text(1, 20);
        text.pop_back();
        expectLoads(text + tail, withoutModel(firstSensor(5)));
        text = full.text();
        text.pop_back();
        expectLoads(text + tail, firstSensor(9));
    }
}

TEST_F(Reader, aFileMayEndWithinTheTiltXTable)
{
    PrmFile file(firstSensor(9));
    // Two of four rows, then nothing: the end is met while reading values, and what is missing is not a title.
    file[17].body = "4\n-30\t1\n-5\t2\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 17)), kSuccess);
    const Snapshot got = snapshot(prm);
    EXPECT_EQ(got.at("tilt x table"), (std::vector{-30.0, -5.0, 0.0, 0.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(got.at("level limits"), (std::vector{0.0, 0.0, -35.0, 35.0}));
}

// ---- the layout --------------------------------------------------------------------------------------------

TEST_F(Reader, anyWhitespaceSeparates)
{
    const std::string text = PrmFile(firstSensor(9)).text();
    std::string blanks = text;
    for (char& c : blanks) {
        c = c == '\n' || c == '\t' ? ' ' : c;
    }
    expectLoads(blanks, firstSensor(9));
    expectLoads(replaced(text, "\t", "\n"), firstSensor(9));
    expectLoads(replaced(text, " ", "\n\n"), firstSensor(9));
    expectLoads(replaced(text, "\n", "\r\n"), firstSensor(9));
    expectLoads(replaced(text, "\n", "\v\f\r\n \t"), firstSensor(9));
    expectLoads("\n\n \t" + text, firstSensor(9));
    expectLoads(replaced(text, "\t", std::string(20000, ' ')), firstSensor(9));
}

// Pins [title-within-words].
TEST_F(Reader, eachTitleMayBeSurroundedByExtraTextInItsWords)
{
    for (int block = 1; block <= kBlockCount; ++block) {
        SCOPED_TRACE(block);
        PrmFile file(firstSensor(9));
        file[block].title = "<<" + std::string(titleOf(block)) + ">>\n";
        expectLoads(file.text(), firstSensor(9));
    }
}

TEST_F(Reader, eachTitleMayBeSpreadOverLines)
{
    for (int block = 1; block <= kBlockCount; ++block) {
        SCOPED_TRACE(block);
        PrmFile file(firstSensor(9));
        file[block].title = replaced(std::string(titleOf(block)), " ", " \n\t ") + " ";
        expectLoads(file.text(), firstSensor(9));
    }
}

// Pins [title-within-words].
TEST_F(Reader, scaleFactorsIsAcceptedForScaleFactor)
{
    PrmFile file(firstSensor(9));
    file[19].title = "Scale Factors\n";
    expectLoads(file.text(), firstSensor(9));
}

TEST_F(Reader, titleWordsMayBeVeryLong)
{
    const std::string padding(100'000, '#');
    for (const int block : {1, 11, 21}) {
        PrmFile file(firstSensor(9));
        file[block].title = padding + std::string(titleOf(block)) + padding + "\n";
        expectLoads(file.text(), firstSensor(9));
    }
}

TEST_F(Reader, bytesBeyondAsciiAreLettersInWordsAndTitles)
{
    PrmFile file(firstSensor(9));
    file[2].body = "W\xe4rme\xff\x80\xc3\xb6\xe6\xb8\xac\n";
    file[1].title = "\xef\xbb\xbfSerial Number\n";
    file[15].title = "\xff\xfe"
                     "AZ Calibration Table\xe9\n";
    file[21].title = "\x80QVC\x80\n";
    expectLoads(file.text(), firstSensor(9));
}

TEST_F(Reader, ownerAndTableWordsAreDiscardedWhateverTheyHold)
{
    for (const std::string& word : {std::string("x"), std::string("1.5"), std::string("Serial"), std::string("-"),
                                    std::string(100'000, 'w'), std::string("%s%n%d")}) {
        PrmFile file(firstSensor(9));
        file[2].body = word + "\n";
        file[17].body = replaced(file[17].body, "Table_End", word);
        file[18].body = replaced(file[18].body, "Table_End", word);
        expectLoads(file.text(), firstSensor(9));
    }
}

TEST_F(Reader, placeholderBlocksMayHoldAnyNumbers)
{
    PrmFile file(firstSensor(9));
    for (int block = 3; block <= 6; ++block) {
        file[block].body = "1e999 -inf nan 0x1p-3 +0 .5\n";
    }
    file[7].body = "-1 -2 -3 -4\n";
    expectLoads(file.text(), firstSensor(9));
}

// ---- numbers -----------------------------------------------------------------------------------------------

TEST_F(Reader, numbersMayTakeEveryFormOfTheLanguage)
{
    constexpr float kInf = std::numeric_limits<float>::infinity();
    const std::vector<std::pair<std::string, float>> cases = {
        {"+1.5", 1.5F},
        {"1.", 1.0F},
        {".5", 0.5F},
        {"-.5", -0.5F},
        {"+.25e+1", 2.5F},
        {"00012.5", 12.5F},
        {"1E3", 1000.0F},
        {"125e-3", 0.125F},
        {"0", 0.0F},
        {"-0", -0.0F},
        {"-0.0e5", -0.0F},
        {"1e999", kInf},
        {"-1e999", -kInf},
        {"1e99999999999999999999", kInf},
        {"1e-999", 0.0F},
        {"-1e-99999999999999999999", -0.0F},
        {"0e99999999999999999999", 0.0F},
        {"inf", kInf},
        {"-inf", -kInf},
        {"+INF", kInf},
        {"Infinity", kInf},
        {"-iNFINITY", -kInf},
        {"nan", std::numeric_limits<float>::quiet_NaN()},
        {"NAN", std::numeric_limits<float>::quiet_NaN()},
        {"-NaN", std::numeric_limits<float>::quiet_NaN()},
        {"0x1.8p1", 3.0F},
        {"0X.8P+2", 2.0F},
        {"-0x10", -16.0F},
        {"0x1p-149", 0x1p-149F},
        {"0x1p128", kInf},
        {"1e-45", 0x1p-149F},
        {"3.4028235e38", std::numeric_limits<float>::max()},
        {"340282356779733661637539395458142568447", std::numeric_limits<float>::max()},
        {"340282356779733661637539395458142568448", kInf},
        {"1.17549435e-38", std::numeric_limits<float>::min()},
        {"0.1", 0.1F},
        {"16777217", 16777216.0F},
    };
    for (const auto& [text, wanted] : cases) {
        EXPECT_TRUE(sameBits(admOffset(text), wanted)) << text;
    }
}

TEST_F(Reader, numbersAreRoundedOnceToFloat)
{
    // Just beside the middle of two floats, nearer to it than double resolves: rounding to double first would
    // land on the middle and then on the even neighbour.
    EXPECT_TRUE(sameBits(admOffset("1.00000005960464477539062500000"), 1.0F));
    EXPECT_TRUE(sameBits(admOffset("1.00000005960464477539062500001"), 0x1.000002p0F));
    EXPECT_TRUE(sameBits(admOffset("1.00000017881393432617187499999"), 0x1.000002p0F));
    EXPECT_TRUE(sameBits(admOffset("1.00000017881393432617187500000"), 0x1.000004p0F));
    EXPECT_TRUE(sameBits(admOffset("-1.00000005960464477539062500001"), -0x1.000002p0F));
    EXPECT_TRUE(sameBits(admOffset("16777217.0000000000000000001"), 16777218.0F));
    EXPECT_TRUE(sameBits(admOffset("16777218.9999999999999999999"), 16777218.0F));
    // The middle of zero and the smallest number, 2^-150, and just above it.
    const std::string middle = "7.006492321624085354618647916449580656401309709382578858785341419448955413429303"
                               "00743319094181060791015625";
    EXPECT_TRUE(sameBits(admOffset(middle + "e-46"), 0.0F));
    EXPECT_TRUE(sameBits(admOffset(middle + "0001e-46"), 0x1p-149F));
    EXPECT_TRUE(sameBits(admOffset("0x1.000001p0"), 1.0F));
    EXPECT_TRUE(sameBits(admOffset("0x1.0000010000000000001p0"), 0x1.000002p0F));
    EXPECT_TRUE(sameBits(admOffset("0x1.000002fffffffffffffp0"), 0x1.000002p0F));
}

TEST_F(Reader, numbersMayHaveAHundredThousandDigits)
{
    const std::string zeros(100'000, '0');
    EXPECT_TRUE(sameBits(admOffset("1.5" + zeros), 1.5F));
    EXPECT_TRUE(sameBits(admOffset(zeros + "1.5"), 1.5F));
    EXPECT_TRUE(sameBits(admOffset("0." + zeros + "25e100000"), 0.25F));
    EXPECT_TRUE(sameBits(admOffset("25" + zeros + "e-100002"), 0.25F));
    EXPECT_TRUE(sameBits(admOffset(std::string(100'000, '9')), std::numeric_limits<float>::infinity()));
    EXPECT_TRUE(sameBits(admOffset("0.1" + std::string(100'000, '1')), static_cast<float>(1.0 / 9.0)));
    // A middle that only the hundred-thousandth digit decides.
    EXPECT_TRUE(sameBits(admOffset("1.000000059604644775390625" + zeros), 1.0F));
    EXPECT_TRUE(sameBits(admOffset("1.000000059604644775390625" + zeros + "1"), 0x1.000002p0F));
    EXPECT_TRUE(sameBits(admOffset("0x1.000001" + zeros + "1p0"), 0x1.000002p0F));
}

TEST_F(Reader, fieldsInDoubleAreWidenedFromFloat)
{
    PrmFile file(firstSensor(9));
    file[8].body = "0.1\t-33.3\n";
    file[9].body = "0.1\t0.7\t-1e-3\n";
    file[10].body = "0.1 0.2 0.3\n0.4 0.5 0.6\n0.7 0.8 0.9\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    std::array<double, 3> vector{};
    ASSERT_EQ(prm.getKnownVector(vector.data()), kSuccess);
    EXPECT_EQ(vector, (std::array{static_cast<double>(0.1F), static_cast<double>(0.7F), static_cast<double>(-1e-3F)}));
    std::array<double, 9> local{};
    ASSERT_EQ(prm.getLocalMatrix(local.data(), 3), kSuccess);
    const std::array<float, 9> wanted = {0.1F, 0.2F, 0.3F, 0.4F, 0.5F, 0.6F, 0.7F, 0.8F, 0.9F};
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_TRUE(sameBits(local[i], static_cast<double>(wanted[i])));
    }
    F_VECTOR2 offset{};
    ASSERT_EQ(prm.getEncoderOffset(offset), kSuccess);
    EXPECT_TRUE(sameBits(offset.x, static_cast<float>(static_cast<double>(0.1F) * 0.01745329251994)));
    EXPECT_TRUE(sameBits(offset.y, static_cast<float>(static_cast<double>(-33.3F) * 0.01745329251994)));
}

// These degrees are among the few (two in a million) whose radians show in float which literal was taken.
TEST_F(Reader, degreesAreConvertedWithTheShortenedLiteral)
{
    constexpr double kExact = 0.017453292519943295;
    const auto radians = [](float degrees, double literal) {
        return static_cast<float>(static_cast<double>(degrees) * literal);
    };
    ASSERT_NE(radians(0x1.cc5108p+3F, kRadPerDegree), radians(0x1.cc5108p+3F, kExact));
    ASSERT_NE(radians(0x1.d0beep+3F, kRadPerDegree), radians(0x1.d0beep+3F, kExact));

    PrmFile file(firstSensor(9));
    file[8].body = "0x1.cc5108p+3\t0x1.d0beep+3\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    F_VECTOR2 offset{};
    ASSERT_EQ(prm.getEncoderOffset(offset), kSuccess);
    EXPECT_TRUE(sameBits(offset.x, radians(0x1.cc5108p+3F, kRadPerDegree)));
    EXPECT_TRUE(sameBits(offset.y, radians(0x1.d0beep+3F, kRadPerDegree)));

    file = PrmFile(firstSensor(9));
    file[8].body = "0\t0\n";
    file[24].body = "0x1.cc5108p+3\t0x1.d0beep+3\n";
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    F_VECTOR4 limit{};
    ASSERT_EQ(prm.getEncoderLimit(limit), kSuccess);
    const auto wanted =
        encoderLimit({0.0, 0.0}, {radians(0x1.cc5108p+3F, kRadPerDegree), radians(0x1.d0beep+3F, kRadPerDegree)});
    const auto other = encoderLimit({0.0, 0.0}, {radians(0x1.cc5108p+3F, kExact), radians(0x1.d0beep+3F, kExact)});
    ASSERT_NE(wanted[1], other[1]);
    ASSERT_NE(wanted[3], other[3]);
    EXPECT_TRUE(sameBits(limit.y, wanted[1]));
    EXPECT_TRUE(sameBits(limit.w, wanted[3]));
}

TEST_F(Reader, aDecimalCommaEndsTheNumber)
{
    PrmFile file(firstSensor(9));
    file[27].body = "1,5\t2,5\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    PrmValues wanted = firstSensor(9);
    wanted.dynamic = {1.0F};
    expectSame(snapshot(prm), expected(wanted));
}

TEST_F(Reader, integersMayHaveASignAndLeadingZeros)
{
    PrmFile file(firstSensor(5));
    file[1].body = "+0017\n";
    file[15].body = replaced(file[15].body, "4\n", "+4\n");
    file[20].body = "-00000000000000000003\n";
    PrmValues wanted = withoutModel(firstSensor(-3));
    expectLoads(file.text(1, 20), wanted);
}

// Pins [integers-saturate].
TEST_F(Reader, aModeBeyondThirtyTwoBitsIsTheNearestThatTheyHold)
{
    constexpr int kLeast = std::numeric_limits<int>::min();
    constexpr int kMost = std::numeric_limits<int>::max();
    PrmFile file(firstSensor(9));
    const std::pair<const char*, int> modes[] = {{"2147483647", kMost},
                                                 {"2147483648", kMost},
                                                 {"4294967301", kMost},
                                                 {"99999999999999999999", kMost},
                                                 {"-2147483648", kLeast},
                                                 {"-2147483649", kLeast},
                                                 {"-99999999999999999999", kLeast}};
    for (const auto& [text, wanted] : modes) {
        file[20].body = std::string(text) + "\n";
        CKorPrm prm;
        ASSERT_EQ(read(prm, file.text()), kSuccess) << text;
        int mode = 0;
        EXPECT_EQ(prm.getMountMode(mode), kSuccess);
        EXPECT_EQ(mode, wanted) << text;
    }
}

TEST_F(Reader, anIntegerEndsAtTheFirstOtherCharacter)
{
    PrmFile file(firstSensor(5));
    file[20].body = "6.75 and more\n";
    expectLoads(file.text(1, 20), withoutModel(firstSensor(6)));
    file[20].body = "0x7\n";
    expectLoads(file.text(1, 20), withoutModel(firstSensor(0)));
}

// ---- values that do not parse ------------------------------------------------------------------------------

struct RowCase {
    int block;
    std::size_t values;
};

class ReaderRows : public Reader, public ::testing::WithParamInterface<RowCase> {};

// The values that are left out keep what the read before has stored, and the next title is found all the same.
// Pins [unread-values].
TEST_P(ReaderRows, valuesThatAreMissingKeepTheOldOnes)
{
    const auto [block, count] = GetParam();
    const PrmValues first = firstSensor(9);
    const PrmValues second = secondSensor(9);
    for (std::size_t given = 0; given <= count; ++given) {
        SCOPED_TRACE(::testing::Message() << given << " of " << count << " values");
        CKorPrm prm;
        ASSERT_EQ(read(prm, PrmFile(first).text()), kSuccess);
        PrmFile file(first);
        PrmValues wanted = first;
        std::string body;
        const auto take = [&](auto& values, const auto& newer) {
            for (std::size_t i = 0; i < given; ++i) {
                values[i] = newer[i];
                body += number(newer[i]) + "\n";
            }
        };
        switch (block) {
        case 8:
            take(wanted.angleOffset, second.angleOffset);
            break;
        case 9:
            take(wanted.knownVector, second.knownVector);
            break;
        case 10:
            take(wanted.localMatrix, second.localMatrix);
            break;
        case 12:
            take(wanted.thermalFactor, second.thermalFactor);
            break;
        case 13:
            take(wanted.tiltOffset, second.tiltOffset);
            break;
        case 19:
            take(wanted.scaleFactors, second.scaleFactors);
            break;
        case 21:
            take(wanted.qvc, second.qvc);
            break;
        case 22:
            take(wanted.level1, second.level1);
            break;
        case 23:
            take(wanted.level2, second.level2);
            break;
        case 24:
            take(*wanted.halfAngle, *second.halfAngle);
            break;
        case 25:
            take(wanted.psdX, second.psdX);
            break;
        case 26:
            take(wanted.psdY, second.psdY);
            break;
        case 27:
            take(wanted.dynamic, second.dynamic);
            break;
        default:
            FAIL();
        }
        file[block].body = body;
        ASSERT_EQ(read(prm, file.text()), kSuccess);
        expectSame(snapshot(prm), expected(wanted));
    }
}

INSTANTIATE_TEST_SUITE_P(Blocks, ReaderRows,
                         ::testing::Values(RowCase{8, 2}, RowCase{9, 3}, RowCase{10, 9}, RowCase{12, 4}, RowCase{13, 2},
                                           RowCase{19, 8}, RowCase{21, 6}, RowCase{22, 7}, RowCase{23, 7},
                                           RowCase{24, 2}, RowCase{25, 3}, RowCase{26, 3}, RowCase{27, 7}),
                         [](const auto& instance) { return "Block" + std::to_string(instance.param.block); });

TEST_F(Reader, anAdmOffsetThatIsMissingKeepsTheOldOne)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    PrmFile file(firstSensor(9));
    file[14].body = "";
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    expectSame(snapshot(prm), expected(firstSensor(9)));
}

TEST_F(Reader, aMountModeThatIsMissingKeepsTheOldOne)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    PrmFile file(firstSensor(5));
    file[20].body = "";
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    expectSame(snapshot(prm), expected(firstSensor(9)));
}

TEST_F(Reader, aMachineMatrixThatIsMissingInvertsTheKeptOneAgain)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    PrmFile file(firstSensor(9));
    file[11].body = "";
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    std::array<double, 9> m{};
    ASSERT_EQ(prm.getMachineMatrix(m.data(), 3), kSuccess);
    EXPECT_EQ(m, (std::array{0.0, 2.0, 0.0, 0.0, 0.0, 4.0, 8.0, 0.0, 0.0}));
}

TEST_F(Reader, fieldsThatNoFileHasFilledStartAtZero)
{
    PrmFile file(firstSensor(9));
    for (int block = 8; block <= 14; ++block) {
        file[block].body = "";
    }
    file[15].body = "0\n";
    file[16].body = "0\n";
    for (int block = 19; block <= 27; ++block) {
        file[block].body = "";
    }
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    Snapshot got = snapshot(prm);
    EXPECT_EQ(got.at("encoder offset"), std::vector<double>(2));
    EXPECT_EQ(got.at("known vector"), std::vector<double>(3));
    EXPECT_EQ(got.at("local matrix"), std::vector<double>(9));
    EXPECT_EQ(got.at("machine matrix"), std::vector<double>(9));
    EXPECT_EQ(got.at("thermal factor"), std::vector<double>(4));
    EXPECT_EQ(got.at("tilt offset"), std::vector<double>(2));
    EXPECT_EQ(got.at("adm offset"), std::vector<double>(1));
    EXPECT_EQ(got.at("scale factors"), std::vector<double>(8));
    EXPECT_EQ(got.at("mount mode"), std::vector<double>(1));
    EXPECT_EQ(got.at("qvc"), std::vector<double>(6));
    EXPECT_EQ(got.at("level 1"), std::vector<double>(7));
    EXPECT_EQ(got.at("level 2"), std::vector<double>(7));
    EXPECT_EQ(got.at("psd x"), std::vector<double>(3));
    EXPECT_EQ(got.at("psd y"), std::vector<double>(3));
    EXPECT_EQ(got.at("dynamic"), std::vector<double>(7));
    EXPECT_EQ(got.at("azimuth rollover"), (std::vector{1.0, 360.0}));
    EXPECT_EQ(got.at("elevation rollover"), (std::vector{1.0, 360.0}));
}

// Seven factors, as a rewritten file has them: the eighth read meets the next title and changes nothing.
TEST_F(Reader, sevenScaleFactorsLeaveTheEighthUnchanged)
{
    PrmFile file(firstSensor(5));
    file[19].body = "0\t0\t0\t0\t1\t1\t1\t\n";
    PrmValues wanted = withoutModel(firstSensor(5));
    wanted.scaleFactors = kDefaultFactors;
    expectLoads(file.text(1, 20), wanted);

    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(secondSensor(5)).text()), kSuccess);
    ASSERT_EQ(read(prm, PrmFile(secondSensor(5)).text(1, 18) + file.text(19, 20)), kSuccess);
    EXPECT_EQ(snapshot(prm).at("scale factors"), (std::vector{0.0, 0.0, 0.0, 0.0, 1.0, 1.0, 1.0, -8.0}));
}

// What could have become a number is used up with the first character that shows it does not, but for that one.
TEST_F(Reader, thePartOfAnInfinityIsUsedUp)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    PrmFile file(firstSensor(9));
    file[23].body = "1\t2\t3\tIn0\t4\t5\t\n";
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    PrmValues wanted = firstSensor(9);
    wanted.level2 = {1.0F, 2.0F, 3.0F, 34.0F, 0.0F, 4.0F, 5.0F};
    expectSame(snapshot(prm), expected(wanted));
}

// ---- tables ------------------------------------------------------------------------------------------------

// Pins [rollover-without-rows].
TEST_F(Reader, tablesWithoutRowsLoadAndKeepTheRollover)
{
    PrmFile file(firstSensor(5));
    file[15].body = "0\n";
    file[16].body = "0\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
    Snapshot wanted = expected(withoutModel(firstSensor(5)));
    wanted["azimuth table"] = {};
    wanted["elevation table"] = {};
    wanted["azimuth rollover"] = {1.0, 360.0};
    wanted["elevation rollover"] = {1.0, 360.0};
    expectSame(snapshot(prm), wanted);

    CKorPrm loaded;
    ASSERT_EQ(read(loaded, PrmFile(firstSensor(5)).text()), kSuccess);
    ASSERT_EQ(read(loaded, file.text(1, 20)), kSuccess);
    wanted["azimuth rollover"] = {1.25, 359.0};
    wanted["elevation rollover"] = {-45.0, 60.5};
    expectSame(snapshot(loaded), wanted);
}

TEST_F(Reader, aTiltTableWithoutRowsHoldsItsExtraRow)
{
    PrmFile file(firstSensor(5));
    file[17].body = "0\n-1\t2\t3\nTable_End\n";
    file[18].body = "0\n-4\t5\t6\nTable_End\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
    const Snapshot got = snapshot(prm);
    EXPECT_EQ(got.at("tilt x table"), (std::vector{-1.0, 2.0, 3.0}));
    EXPECT_EQ(got.at("tilt y table"), (std::vector{-4.0, 5.0, 6.0}));
    EXPECT_TRUE(got.at("tilt x spline").empty());
    EXPECT_EQ(got.at("level limits"), (std::vector{-1.0, 2.0, -4.0, 5.0}));
}

TEST_F(Reader, tablesOfOneRowHaveNoInterval)
{
    PrmValues values = withoutModel(firstSensor(5));
    values.azimuth = {{10.0F, 1.0F}};
    values.elevation = {{20.0F, 2.0F}};
    values.tiltX.rows = {{0.5F, 1.0F}};
    values.tiltY->rows = {{0.25F, 2.0F}};
    expectLoads(PrmFile(values).text(1, 20), values);
}

TEST_F(Reader, rolloverIsTheFirstAndLastReadingOfEachTable)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(5)).text()), kSuccess);
    float first = 0.0F;
    float last = 0.0F;
    ASSERT_EQ(prm.getAzimuthCompRollover(first, last), kSuccess);
    EXPECT_EQ(first, 1.25F);
    EXPECT_EQ(last, 359.0F);
    ASSERT_EQ(prm.getElevationCompRollover(first, last), kSuccess);
    EXPECT_EQ(first, -45.0F);
    EXPECT_EQ(last, 60.5F);
}

TEST_F(Reader, rowsThatAreMissingAreZeroInNewTables)
{
    PrmFile file(firstSensor(5));
    file[15].body = "6\n1\t2\n3\t4\n5\n";
    file[16].body = "5\n1\t2\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
    const Snapshot got = snapshot(prm);
    EXPECT_EQ(got.at("azimuth table"), (std::vector{1.0, 2.0, 3.0, 4.0, 5.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(got.at("elevation table"), (std::vector{1.0, 2.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(got.at("azimuth rollover"), (std::vector{1.0, 0.0}));
    EXPECT_EQ(got.at("elevation rollover"), (std::vector{1.0, 0.0}));
}

TEST_F(Reader, rowsThatAreMissingKeepTheOldValuesInTheReusedAzimuthTable)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(5)).text()), kSuccess);
    PrmFile file(firstSensor(5));
    file[15].body = "4\n11\t12\n13\n";
    file[16].body = "3\n11\t12\n";
    ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
    const Snapshot got = snapshot(prm);
    EXPECT_EQ(got.at("azimuth table"), (std::vector{11.0, 12.0, 13.0, -0.25, 180.0, 0.125, 359.0, 0.75}));
    EXPECT_EQ(got.at("azimuth rollover"), (std::vector{11.0, 359.0}));
    EXPECT_EQ(got.at("elevation table"), (std::vector{11.0, 12.0, 0.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(got.at("elevation rollover"), (std::vector{11.0, 0.0}));
}

TEST_F(Reader, aTiltTableWithTooFewRowsTakesItsExtraRowForARow)
{
    PrmFile file(firstSensor(5));
    file[17].body = "5\n-30\t1\n-5\t2\n-28\t27\t6.5\nTable_End\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
    const Snapshot got = snapshot(prm);
    EXPECT_EQ(got.at("tilt x table"), (std::vector{-30.0, -5.0, -28.0, 6.5, 0.0, 0.0, 0.0, 0.0}));
    EXPECT_EQ(got.at("level limits")[0], 0.0);
    EXPECT_EQ(got.at("level limits")[1], 0.0);
}

TEST_F(Reader, aCountThatIsMissingLeavesTheOldCountInForce)
{
    const PrmValues first = firstSensor(5);
    Snapshot wanted = expected(withoutModel(first));

    CKorPrm azimuth;
    ASSERT_EQ(read(azimuth, PrmFile(first).text()), kSuccess);
    PrmFile file(first);
    file[15].body = "";
    ASSERT_EQ(read(azimuth, file.text(1, 20)), kSuccess);
    expectSame(snapshot(azimuth), wanted);

    CKorPrm elevation;
    ASSERT_EQ(read(elevation, PrmFile(first).text()), kSuccess);
    file = PrmFile(first);
    file[16].body = "";
    ASSERT_EQ(read(elevation, file.text(1, 20)), kSuccess);
    wanted["elevation table"] = std::vector<double>(6);
    wanted["elevation rollover"] = {0.0, 0.0};
    expectSame(snapshot(elevation), wanted);

    CKorPrm tilt;
    ASSERT_EQ(read(tilt, PrmFile(first).text()), kSuccess);
    file = PrmFile(first);
    file[17].body = "Table_End\n";
    ASSERT_EQ(read(tilt, file.text(1, 20)), kSuccess);
    Snapshot got = snapshot(tilt);
    EXPECT_EQ(got.at("tilt x table"), std::vector<double>(7));
    EXPECT_EQ(got.at("level limits"), (std::vector{0.0, 0.0, -23.0, 24.0}));

    CKorPrm tiltY;
    ASSERT_EQ(read(tiltY, PrmFile(first).text()), kSuccess);
    file = PrmFile(first);
    file[18].body = "Table_End\n";
    ASSERT_EQ(read(tiltY, file.text(1, 20)), kSuccess);
    got = snapshot(tiltY);
    EXPECT_EQ(got.at("tilt y table"), std::vector<double>(7));
    EXPECT_EQ(got.at("level limits"), (std::vector{-28.0, 27.0, 0.0, 0.0}));
}

// Pins [azimuth-array-stays].
TEST_F(Reader, aSmallerAzimuthTableReusesTheKeptOne)
{
    PrmValues values = withoutModel(firstSensor(5));
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(values).text()), kSuccess);
    for (const std::size_t rows : {3U, 1U, 4U, 2U, 4U}) {
        values.azimuth.clear();
        for (std::size_t i = 0; i < rows; ++i) {
            values.azimuth.push_back({static_cast<float>(10 * rows + i), static_cast<float>(i)});
        }
        ASSERT_EQ(read(prm, PrmFile(values).text()), kSuccess) << rows;
        expectSame(snapshot(prm), expected(values));
    }
}

TEST_F(Reader, elevationAndTiltTablesMayGrow)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(5)).text()), kSuccess);
    PrmValues values = withoutModel(secondSensor(5));
    for (int i = 0; i < 500; ++i) {
        const auto x = static_cast<float>(i) / 8.0F;
        values.elevation.push_back({100.0F + x, x});
        values.tiltX.rows.push_back({100.0F + x, static_cast<float>(i % 7) / 4.0F});
        values.tiltY->rows.push_back({100.0F + x, 5.0F});
    }
    ASSERT_EQ(read(prm, PrmFile(values).text()), kSuccess);
    expectSame(snapshot(prm), expected(values));
}

// Pins [table-y-extras, count-and-3-of-table-y].
TEST_F(Reader, theExtraRowOfTiltYLandsAtTheRowCountOfTiltXWhenThatIsSmaller)
{
    PrmFile file(firstSensor(5));
    file[17].body = "3\n-30\t-1\n0\t2\n30\t4\n-28\t27\t6.5\nTable_End\n";
    file[18].body = "5\n-20\t1\n-10\t3\n0\t-2\n10\t5\n20\t0\n15\t40\t99\nTable_End\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
    const Snapshot got = snapshot(prm);
    EXPECT_EQ(got.at("tilt y table"), (std::vector{-20.0, -10.0, 0.0, 15.0, 40.0, 99.0, 0.0, 0.0}));
    EXPECT_EQ(got.at("level limits"), (std::vector{-28.0, 27.0, 15.0, 40.0}));
    // The spline is laid through the knots as the extra row has left them.
    Snapshot spline;
    spline["spline"] = got.at("tilt y spline");
    expectSame(spline,
               {{"spline", naturalSpline({-20.0F, -10.0F, 0.0F, 15.0F, 40.0F}, {1.0F, 3.0F, -2.0F, 5.0F, 0.0F})}});
}

// Pins [table-y-extras, count-and-3-of-table-y].
TEST_F(Reader, theExtraRowOfTiltYLandsAtTheRowCountOfTiltXWhenThatIsLarger)
{
    for (const int rows : {5, 6, 40}) {
        PrmFile file(firstSensor(5));
        std::string body = std::to_string(rows) + "\n";
        for (int i = 0; i < rows; ++i) {
            body += std::to_string(i) + "\t1\n";
        }
        file[17].body = body + "-28\t27\t6.5\nTable_End\n";
        file[18].body = "3\n-20\t1\n-10\t3\n0\t-2\n15\t40\t99\nTable_End\n";
        CKorPrm prm;
        ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
        const Snapshot got = snapshot(prm);
        const double sixth = rows == 5 ? 15.0 : 0.0;
        EXPECT_EQ(got.at("tilt y table"), (std::vector{-20.0, -10.0, 0.0, 0.0, 0.0, sixth}));
        EXPECT_EQ(got.at("level limits"), (std::vector{-28.0, 27.0, 15.0, 40.0}));
        Snapshot spline;
        spline["spline"] = got.at("tilt y spline");
        expectSame(spline, {{"spline", naturalSpline({-20.0F, -10.0F, 0.0F}, {1.0F, 3.0F, -2.0F})}});
    }
}

TEST_F(Reader, splinesAreNaturalAndMeetTheirRows)
{
    PrmFile file(firstSensor(5));
    file[17].body = "5\n-31.5\t-30.25\n-11.25\t-12\n0.5\t0.75\n9\t8.5\n33\t30\n-28\t27\t6.5\nTable_End\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
    const std::vector<float> x = {-31.5F, -11.25F, 0.5F, 9.0F, 33.0F};
    const std::vector<float> y = {-30.25F, -12.0F, 0.75F, 8.5F, 30.0F};
    const std::vector<double> c = snapshot(prm).at("tilt x spline");
    ASSERT_EQ(c.size(), 20U);
    expectSame({{"spline", c}}, {{"spline", naturalSpline(x, y)}});
    // And by what makes a natural spline: c0 is the row, each piece ends where the next begins, slope and
    // curvature pass on, no curvature at either end. Values of a few tens, so 1e-12 is some hundred roundings.
    constexpr double kTolerance = 1e-12;
    EXPECT_EQ(c[2], 0.0);
    for (std::size_t i = 0; i < 4; ++i) {
        const double h = static_cast<double>(x[i + 1]) - static_cast<double>(x[i]);
        const double* p = c.data() + 4 * i;
        EXPECT_EQ(p[0], static_cast<double>(y[i]));
        EXPECT_NEAR(p[0] + h * (p[1] + h * (p[2] + h * p[3])), static_cast<double>(y[i + 1]), kTolerance);
        const double slope = p[1] + h * (2.0 * p[2] + h * 3.0 * p[3]);
        const double curvature = 2.0 * p[2] + 6.0 * h * p[3];
        EXPECT_NEAR(curvature, i < 3 ? 2.0 * p[6] : 0.0, kTolerance);
        if (i < 3) {
            EXPECT_NEAR(slope, p[5], kTolerance);
        }
    }
}

// ---- the machine matrix ------------------------------------------------------------------------------------

TEST_F(Reader, machineMatrixIsTheInverseOfTheOneInTheFile)
{
    PrmFile file(firstSensor(5));
    file[11].body = "0.8125 -0.25 1.5\n0.375 2.0 -0.125\n-1.25 0.5 0.75\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
    std::array<double, 9> got{};
    ASSERT_EQ(prm.getMachineMatrix(got.data(), 3), kSuccess);
    const std::array<double, 9> m = {0.8125, -0.25, 1.5, 0.375, 2.0, -0.125, -1.25, 0.5, 0.75};
    // Adjugate over determinant.
    const auto minor2 = [&m](std::size_t a, std::size_t b, std::size_t c, std::size_t d) {
        return m[a] * m[d] - m[b] * m[c];
    };
    const double determinant = m[0] * minor2(4, 5, 7, 8) - m[1] * minor2(3, 5, 6, 8) + m[2] * minor2(3, 4, 6, 7);
    const std::array<double, 9> adjugate = {minor2(4, 5, 7, 8),  -minor2(1, 2, 7, 8), minor2(1, 2, 4, 5),
                                            -minor2(3, 5, 6, 8), minor2(0, 2, 6, 8),  -minor2(0, 2, 3, 5),
                                            minor2(3, 4, 6, 7),  -minor2(0, 1, 6, 7), minor2(0, 1, 3, 4)};
    for (std::size_t i = 0; i < 9; ++i) {
        // A well-conditioned matrix of ones: some roundings.
        EXPECT_NEAR(got[i], adjugate[i] / determinant, 1e-15) << i;
    }
}

TEST_F(Reader, aSingularMachineMatrixStaysAsItIsInTheFile)
{
    PrmFile file(firstSensor(5));
    file[11].body = "1 2 3\n2 4 6\n0 0 1\n";
    CKorPrm prm;
    ASSERT_EQ(read(prm, file.text(1, 20)), kSuccess);
    std::array<double, 9> got{};
    ASSERT_EQ(prm.getMachineMatrix(got.data(), 3), kSuccess);
    EXPECT_EQ(got, (std::array{1.0, 2.0, 3.0, 2.0, 4.0, 6.0, 0.0, 0.0, 1.0}));
}

// ---- which file --------------------------------------------------------------------------------------------

TEST_F(Reader, theDirectoryIsRemembered)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(5)).text()), kSuccess);
    EXPECT_EQ(std::wstring(prm.prmDirectory), m_dir.path().wstring());
}

TEST_F(Reader, aFileThatCannotBeOpenedGives550AndChangesTheDirectoryOnly)
{
    CKorPrm prm;
    EXPECT_EQ(readHere(prm), kCannotOpen);
    EXPECT_FALSE(loadedFlag(prm));
    EXPECT_EQ(std::wstring(prm.prmDirectory), m_dir.path().wstring());

    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    const TempDir empty;
    const std::wstring directory = empty.path().wstring();
    EXPECT_EQ(prm.ReadCalibrationFile(directory.c_str(), kId), kCannotOpen);
    EXPECT_EQ(std::wstring(prm.prmDirectory), directory);
    expectSame(snapshot(prm), expected(firstSensor(9)));
    EXPECT_EQ(prm.ReadCalibrationFile((directory + L"/missing").c_str(), kId), kCannotOpen);
}

TEST_F(Reader, aNullDirectoryGives20)
{
    CKorPrm prm;
    EXPECT_EQ(prm.ReadCalibrationFile(nullptr, kId), kBadArgument);
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    EXPECT_EQ(prm.ReadCalibrationFile(nullptr, kId), kBadArgument);
    EXPECT_EQ(std::wstring(prm.prmDirectory), m_dir.path().wstring());
    expectSame(snapshot(prm), expected(firstSensor(9)));
}

TEST_F(Reader, anEmptyDirectoryIsTheCurrentOne)
{
    writeFile(filePath(), PrmFile(firstSensor(9)).text());
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(m_dir.path());
    const std::wstring current = std::filesystem::current_path().wstring();
    CKorPrm prm;
    const int result = prm.ReadCalibrationFile(L"", kId);
    std::filesystem::current_path(before);
    EXPECT_EQ(result, kSuccess);
    EXPECT_EQ(std::wstring(prm.prmDirectory), current);
    expectSame(snapshot(prm), expected(firstSensor(9)));
}

// Pins [long-directory].
TEST_F(Reader, aDirectoryTextOf255UnitsOrMoreIsRefused)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
    const std::wstring here = m_dir.path().wstring();
    for (const std::size_t length : {255U, 256U, 1000U, 100'000U}) {
        std::wstring directory = here;
        while (directory.size() + 2 <= length) {
            directory += L"/.";
        }
        directory.resize(length, L'/');
        EXPECT_EQ(prm.ReadCalibrationFile(directory.c_str(), kId), kCannotOpen) << length;
        EXPECT_EQ(std::wstring(prm.prmDirectory), here);
    }
    expectSame(snapshot(prm), expected(firstSensor(9)));
}

TEST_F(Reader, aDirectoryNameMayHoldAnyCharacter)
{
    // Both spellings of each name, so that nothing here depends on a conversion.
    const std::vector<std::pair<std::u8string, std::wstring>> names = {
        {u8"with blanks", L"with blanks"},   {u8"Ma\u00df_\u00e4\u00f6\u00fc", L"Ma\u00df_\u00e4\u00f6\u00fc"},
        {u8"\u6e2c\u5b9a", L"\u6e2c\u5b9a"}, {u8"\U0001F4D0 angle", L"\U0001F4D0 angle"},
        {u8"100%s %d%n", L"100%s %d%n"},
    };
    for (const auto& [bytes, name] : names) {
        const std::filesystem::path path = m_dir.path() / std::filesystem::path(bytes);
        const std::wstring directory = m_dir.path().wstring() + L"/" + name;
        std::filesystem::create_directory(path);
        writeFile(path / "Tg17.prm", PrmFile(firstSensor(5)).text());
        CKorPrm prm;
        EXPECT_EQ(prm.ReadCalibrationFile(directory.c_str(), kId), kSuccess) << path;
        EXPECT_EQ(std::wstring(prm.prmDirectory), directory);
    }
}

// Pins [read-of-regular-file].
TEST_F(Reader, aDirectoryNamedLikeTheFileCannotBeOpened)
{
    std::filesystem::create_directory(filePath());
    CKorPrm prm;
    EXPECT_EQ(readHere(prm), kCannotOpen);
}

TEST_F(Reader, theIdIsTakenAsThirtyTwoSignedBits)
{
    const std::vector<std::pair<unsigned long, std::int32_t>> ids = {
        {0UL, 0},
        {1234UL, 1234},
        {0x7fffffffUL, 0x7fffffff},
        {0xffffffffUL, -1},
        {0x80000000UL, std::numeric_limits<std::int32_t>::min()},
        {0xfffffffeUL, -2},
    };
    for (const auto& [id, number] : ids) {
        PrmValues values = firstSensor(5);
        values.id = number;
        writeFile(m_dir.path() / ("Tg" + std::to_string(number) + ".prm"), PrmFile(values).text());
        CKorPrm prm;
        EXPECT_EQ(readHere(prm, id), kSuccess) << number;
        if constexpr (sizeof(unsigned long) > 4) {
            CKorPrm other;
            EXPECT_EQ(readHere(other, id + (0x5a5aUL << (sizeof(unsigned long) * 8 - 32))), kSuccess) << number;
        }
    }
}

} // namespace
