// The text of a progress line.
#include "tools/kor/Progress.h"

#include <string>

#include <gtest/gtest.h>

#include "tools/kor/Exit.h"

namespace {

using kor::tool::grouped;
using kor::tool::Pace;
using kor::tool::progressLine;
using kor::tool::streamLine;
using kor::tool::StreamState;

TEST(ProgressLine, showsBarShareRateAndTimeLeft)
{
    EXPECT_EQ(progressLine("a.csv", 250, 1000, 500000, "samples", 2.0, 100),
              "a.csv  [##########..............................]  25%  250 000 samples/s  00:06 left");
}

TEST(ProgressLine, startAndEnd)
{
    EXPECT_EQ(progressLine("a", 0, 1000, 0, "samples", 0.0, 80),
              "a  [........................................]   0%  0 samples");
    EXPECT_EQ(progressLine("a", 1000, 1000, 900, "samples", 3.0, 80),
              "a  [########################################] 100%  300 samples/s  00:00 left");
}

TEST(ProgressLine, theTimeLeftIsShownOnceSomethingHasBeenCounted)
{
    EXPECT_EQ(progressLine("a", 10, 1000, 0, "samples", 0.5, 80),
              "a  [........................................]   1%  0 samples");
    EXPECT_EQ(progressLine("a", 10, 1000, 1, "samples", 0.5, 80),
              "a  [........................................]   1%  1 samples  00:50 left");
}

TEST(ProgressLine, withoutATotalThereIsNoBar)
{
    EXPECT_EQ(progressLine("standard input", 0, 0, 1234567, "samples", 2.0, 80),
              "standard input  1 234 567 samples  617 283 samples/s");
}

TEST(ProgressLine, aFileThatGrowsStaysAtItsEnd)
{
    EXPECT_NE(progressLine("a", 2000, 1000, 900, "samples", 3.0, 80).find("100%"), std::string::npos);
}

TEST(ProgressLine, fitsAnyWidth)
{
    for (int width = 1; width < 140; ++width) {
        EXPECT_LE(progressLine("recording.korraw", 5, 1000, 900000, "samples", 3.0, width).size(),
                  static_cast<std::size_t>(width));
    }
}

TEST(ProgressLine, hoursWhenItTakesThatLong)
{
    EXPECT_NE(progressLine("a", 1, 3701, 10, "samples", 1.0, 120).find("  1:01:40 left"), std::string::npos);
}

TEST(StreamLine, showsRateAnglesAndTheOutcomesThereWere)
{
    const StreamState state{.samples = 12345,
                            .outcomes = {{"valid", 12000}, {"not finite", 0}, {"rejected", 345}},
                            .angles = {1.25f, -0.5f, 90.0f}};
    EXPECT_EQ(streamLine(state, 999.6, 120),
              "12 345 samples  1000/s  x 1.2500  z -0.5000  y 90.0000  valid 12 000  rejected 345");
    for (int width = 1; width < 120; ++width) {
        EXPECT_LE(streamLine(state, 999.6, width).size(), static_cast<std::size_t>(width));
    }
}

TEST(StreamLine, hasNoAnglesBeforeTheFirstSample)
{
    EXPECT_EQ(streamLine({}, 0, 80), "0 samples  0.0/s");
}

TEST(Pace, isThatOfTheLastSecondOrTwo)
{
    Pace pace;
    EXPECT_EQ(pace.at(0, 0), 0.0);
    EXPECT_EQ(pace.at(0.5, 100), 200.0);
    EXPECT_EQ(pace.at(1.0, 200), 200.0);
    EXPECT_EQ(pace.at(2.0, 400), 200.0);
    // From now on four times as many: what was before is forgotten within two seconds.
    EXPECT_EQ(pace.at(3.0, 1200), 800.0);
    // Nothing comes any more.
    EXPECT_EQ(pace.at(4.0, 1200), 0.0);
    EXPECT_EQ(pace.at(9.0, 1200), 0.0);
}

TEST(ProgressOption, knowsItsThreeWordsAndRefusesAnyOther)
{
    using kor::tool::progressOption;
    using kor::tool::ShowProgress;
    EXPECT_EQ(progressOption({}), ShowProgress::automatic);
    EXPECT_EQ(progressOption("auto"), ShowProgress::automatic);
    EXPECT_EQ(progressOption("always"), ShowProgress::always);
    EXPECT_EQ(progressOption("never"), ShowProgress::never);
    for (const char* const wrong : {"", "Never", "never ", "1"}) {
        try {
            progressOption(wrong);
            ADD_FAILURE() << wrong;
        } catch (const kor::tool::Misuse& failure) {
            EXPECT_EQ(failure.status(), kor::tool::kExitUsage);
            EXPECT_EQ(failure.what(),
                      "--progress: found \"" + std::string(wrong) + "\", expected auto or always or never");
        }
    }
}

TEST(Grouped, byThousands)
{
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(999), "999");
    EXPECT_EQ(grouped(1000), "1 000");
    EXPECT_EQ(grouped(1234567890), "1 234 567 890");
}

} // namespace
