// What becomes of a sample, which samples a window holds, and the summary.
#include "tools/kor/Tally.h"

#include <initializer_list>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

using kor::tool::Judge;
using kor::tool::Outcome;
using kor::tool::Result;
using kor::tool::Tally;
using kor::tool::Window;

KOR_RAWINFO raw(std::int32_t status = 2, float x = 1000.0f, float gate = 0.0f)
{
    KOR_RAWINFO sample{};
    sample.status = status;
    sample.sensorVector[0] = x;
    sample.referenceGate = gate;
    return sample;
}

// An answer of the engine: diagonal and one other element of the matrix, and sensorOut's x.
Result answer(double diagonal, double other, float x)
{
    Result result{};
    result.matrix[0] = result.matrix[4] = result.matrix[8] = diagonal;
    result.matrix[1] = other;
    result.info.sensorOut[0] = x;
    return result;
}

const Result kNothing = answer(1.0, 0.0, 0.0f);

TEST(Judge, statusOtherThanTwoIsRejected)
{
    Judge judge(5);
    for (const std::int32_t status : {0, 1, 3, -1, 258}) {
        EXPECT_EQ(judge.judge(raw(status), kNothing), Outcome::rejectedByStatus);
    }
}

TEST(Judge, belowModeSevenTheEchoOfThePositionTells)
{
    for (const int mode : {-1, 0, 1, 3, 5, 6}) {
        Judge judge(mode);
        EXPECT_EQ(judge.judge(raw(), answer(1.0, 0.0, 1000.0f)), Outcome::valid) << mode;
        EXPECT_EQ(judge.judge(raw(), kNothing), Outcome::withoutMatrix) << mode;
    }
}

TEST(Judge, anEchoThatIsNotANumberIsAnEcho)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(Judge(1).judge(raw(2, nan), answer(1.0, 0.0, nan)), Outcome::valid);
    EXPECT_EQ(Judge(1).judge(raw(2, nan), kNothing), Outcome::withoutMatrix);
}

TEST(Judge, thePositionZeroIsDecidedOnceThereIsAReference)
{
    Judge judge(1);
    EXPECT_EQ(judge.judge(raw(2, 0.0f), kNothing), Outcome::valid) << "cannot be told: the benefit of the doubt";
    EXPECT_EQ(judge.judge(raw(), answer(1.0, 0.0, 1000.0f)), Outcome::valid) << "becomes the reference";
    EXPECT_EQ(judge.judge(raw(2, 0.0f), kNothing), Outcome::withoutMatrix);
    EXPECT_EQ(judge.judge(raw(2, 0.0f), answer(0.5, 0.1, 0.0f)), Outcome::valid);
}

TEST(Judge, aSampleHeldBackIsNoReference)
{
    KOR_RAWINFO held = raw();
    held.referenceHold = 1;
    for (const KOR_RAWINFO& sample :
         {held, raw(2, 1000.0f, 0.5f), raw(2, 1000.0f, std::numeric_limits<float>::quiet_NaN())}) {
        Judge judge(1);
        EXPECT_EQ(judge.judge(sample, answer(1.0, 0.0, 1000.0f)), Outcome::valid);
        EXPECT_EQ(judge.judge(raw(2, 0.0f), kNothing), Outcome::valid);
    }
}

TEST(Judge, threeVectorsAlwaysHaveAMatrix)
{
    for (const int mode : {7, 8}) {
        EXPECT_EQ(Judge(mode).judge(raw(), kNothing), Outcome::valid) << mode;
    }
}

TEST(Judge, theTwoLevelModelWithoutATraceHasNone)
{
    for (const int mode : {9, 10}) {
        Judge judge(mode);
        EXPECT_EQ(judge.judge(raw(), kNothing), Outcome::withoutMatrix) << mode;
        EXPECT_EQ(judge.judge(raw(), answer(0.9, 0.1, 3.0f)), Outcome::valid) << mode;
        EXPECT_EQ(judge.judge(raw(), answer(1.0, 0.0, 3.0f)), Outcome::valid) << "before a reference";
    }
}

TEST(Judge, aMatrixOfZerosIsNoneInTheTwoLevelModesOnly)
{
    EXPECT_EQ(Judge(9).judge(raw(), answer(0.0, 0.0, 0.0f)), Outcome::withoutMatrix);
    EXPECT_EQ(Judge(9).judge(raw(), answer(0.0, 0.0, 3.0f)), Outcome::valid);
    EXPECT_EQ(Judge(8).judge(raw(), answer(0.0, 0.0, 0.0f)), Outcome::valid);
}

TEST(Judge, aboveModeTenOnlyAReferenceTells)
{
    Judge judge(11);
    EXPECT_EQ(judge.judge(raw(), kNothing), Outcome::valid) << "cannot be told";
    EXPECT_EQ(judge.judge(raw(), answer(0.9, 0.1, 0.0f)), Outcome::valid);
    EXPECT_EQ(judge.judge(raw(), kNothing), Outcome::withoutMatrix);
}

// The stamps of a list that a window holds.
std::string held(Window window, std::initializer_list<std::uint32_t> stamps)
{
    std::string text;
    for (const std::uint32_t stamp : stamps) {
        if (window.contains(stamp)) {
            text += std::to_string(stamp) + " ";
        }
    }
    return text;
}

Window window(std::int64_t from, std::int64_t to)
{
    Window made;
    if (from >= 0) {
        made.from(static_cast<std::uint32_t>(from));
    }
    if (to >= 0) {
        made.to(static_cast<std::uint32_t>(to));
    }
    return made;
}

TEST(Window, withoutBoundsHoldsEverything)
{
    EXPECT_FALSE(Window().limited());
    EXPECT_EQ(held(window(-1, -1), {5, 0, 4294967295u}), "5 0 4294967295 ");
}

TEST(Window, bothBoundsAreInclusive)
{
    EXPECT_EQ(held(window(20, 30), {10, 19, 20, 25, 30, 31}), "20 25 30 ");
    EXPECT_EQ(held(window(20, 20), {19, 20, 21}), "20 ");
}

TEST(Window, fromALaterToAnEarlierStampLiesAcrossTheWrap)
{
    EXPECT_EQ(held(window(4294967290, 5), {4294967289u, 4294967290u, 4294967295u, 0, 5, 6}),
              "4294967290 4294967295 0 5 ");
}

TEST(Window, oneBoundBelowTheFirstStampLiesBeforeTheRecording)
{
    EXPECT_EQ(held(window(0, -1), {1000, 1010}), "1000 1010 ");
    EXPECT_EQ(held(window(-1, 999), {1000, 1010}), "");
}

TEST(Window, oneBoundFarBelowTheFirstStampLiesBehindTheWrap)
{
    EXPECT_EQ(held(window(5, -1), {4294967290u, 0, 5, 6}), "5 6 ");
    EXPECT_EQ(held(window(-1, 5), {4294967290u, 0, 5, 6}), "4294967290 0 5 ");
}

TEST(Window, theLimitBetweenBeforeAndBehindIsHalfTheRange)
{
    const std::uint32_t first = 0x90000000u;
    EXPECT_EQ(held(window(0x10000001, -1), {first}), "2415919104 ");
    EXPECT_EQ(held(window(0x10000000, -1), {first}), "");
}

TEST(Window, oneBoundAboveTheFirstStampLiesBehindItHoweverFar)
{
    EXPECT_EQ(held(window(-1, 4294967295), {0, 1000}), "0 1000 ");
    EXPECT_EQ(held(window(4294967295, -1), {0, 1000}), "");
}

TEST(Tally, countsAndStamps)
{
    Tally tally;
    tally.count(4294967290u, Outcome::valid);
    tally.count(3, Outcome::withoutMatrix);
    tally.count(5, Outcome::rejectedByStatus);
    tally.count(4, Outcome::valid);
    tally.seconds = 0.5;
    EXPECT_EQ(tally.summary("run.csv", false, false), "run.csv\n"
                                                      "  samples:             4\n"
                                                      "  valid:               2\n"
                                                      "  rejected by status:  1\n"
                                                      "  without matrix:      1\n"
                                                      "  first time stamp:    4294967290 ms\n"
                                                      "  last time stamp:     4 ms\n"
                                                      "  samples per second:  8\n");
}

TEST(Tally, linesThatOnlySomeRunsHave)
{
    Tally tally;
    tally.outside = 7;
    tally.bad = 9;
    EXPECT_EQ(tally.summary("t", false, false).find("window"), std::string::npos);
    EXPECT_NE(tally.summary("t", true, false).find("  outside the window:  7\n"), std::string::npos);
    EXPECT_NE(tally.summary("t", false, true).find("  bad, left out:       9\n"), std::string::npos);
    EXPECT_NE(tally.summary("t", false, false).find("first time stamp:    none\n"), std::string::npos);
    EXPECT_NE(tally.summary("t", false, false).find("samples per second:  0\n"), std::string::npos);
}

} // namespace
