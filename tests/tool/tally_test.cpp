// What becomes of a sample, which samples a window holds, and the summary.
#include "tools/kor/Tally.h"

#include <initializer_list>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

using kor::NoMatrixReason;
using kor::OrientationModel;
using kor::SampleOutcome;
using kor::SampleReport;
using kor::tool::Tally;
using kor::tool::Window;

SampleReport became(SampleOutcome outcome)
{
    return {outcome, NoMatrixReason::none, OrientationModel::polarizer, false, false, false};
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

TEST(Outcome, everyReportHasAName)
{
    using kor::recordings::Outcome;
    using kor::tool::outcomeOf;
    EXPECT_EQ(outcomeOf(became(SampleOutcome::valid)), Outcome::ok);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::beforeReference)), Outcome::beforeReference);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::rejectedByStatus)), Outcome::rejectedStatus);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::notFinite)), Outcome::notFinite);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::noModel)), Outcome::noMatrixNoModel);
    EXPECT_EQ(outcomeOf(became(SampleOutcome::neverFed)), Outcome::noMatrixNoModel);
    SampleReport report = became(SampleOutcome::noMatrix);
    report.reason = NoMatrixReason::bothLevelsExcluded;
    EXPECT_EQ(outcomeOf(report), Outcome::noMatrixBothLevelsOutside);
    report.reason = NoMatrixReason::filtersFilling;
    EXPECT_EQ(outcomeOf(report), Outcome::noMatrixFiltersFilling);
    report.reason = NoMatrixReason::modelRefused;
    EXPECT_EQ(outcomeOf(report), Outcome::noMatrixNoSolution);
}

TEST(Tally, countsAndStamps)
{
    Tally tally;
    tally.count(4294967290u, became(SampleOutcome::valid));
    tally.count(3, became(SampleOutcome::noMatrix));
    tally.count(5, became(SampleOutcome::rejectedByStatus));
    tally.count(6, became(SampleOutcome::rejectedByStatus));
    for (int i = 0; i < 3; ++i) {
        tally.count(7, became(SampleOutcome::beforeReference));
    }
    for (int i = 0; i < 5; ++i) {
        tally.count(8, became(SampleOutcome::notFinite));
    }
    tally.count(4, became(SampleOutcome::noModel));
    tally.seconds = 0.5;
    EXPECT_EQ(tally.summary("run.csv", false, false), "run.csv\n"
                                                      "  samples:               13\n"
                                                      "  valid:                 1\n"
                                                      "  before the reference:  3\n"
                                                      "  rejected by status:    2\n"
                                                      "  without matrix:        2\n"
                                                      "  not finite:            5\n"
                                                      "  first time stamp:      4294967290 ms\n"
                                                      "  last time stamp:       4 ms\n"
                                                      "  samples per second:    26\n");
}

TEST(Tally, linesThatOnlySomeRunsHave)
{
    Tally tally;
    tally.outside = 7;
    tally.bad = 9;
    EXPECT_EQ(tally.summary("t", false, false).find("window"), std::string::npos);
    EXPECT_NE(tally.summary("t", true, false).find("  outside the window:    7\n"), std::string::npos);
    EXPECT_NE(tally.summary("t", false, true).find("  bad, left out:         9\n"), std::string::npos);
    EXPECT_NE(tally.summary("t", false, false).find("first time stamp:      none\n"), std::string::npos);
    EXPECT_NE(tally.summary("t", false, false).find("samples per second:    0\n"), std::string::npos);
}

} // namespace
