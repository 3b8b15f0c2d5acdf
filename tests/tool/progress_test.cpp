// The text of a progress line.
#include "tools/kor/Progress.h"

#include <string>

#include <gtest/gtest.h>

#include "tools/kor/Exit.h"

namespace {

using kor::tool::grouped;
using kor::tool::progressLine;

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
