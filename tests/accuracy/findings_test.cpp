// Strata, findings and the verdict on their bounds.
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "accuracy/ClosedLoop.h"

using namespace kor::accuracy;

TEST(AccuracyStrata, wordsNameTheRollThatIsDrawn)
{
    for (int mode = 1; mode <= 10; ++mode) {
        for (const Stratum& s : strataOf(mode)) {
            if (s.roll.least > 0.0) {
                const std::string words = "roll " + std::to_string(static_cast<int>(s.roll.least)) + " to " +
                                          std::to_string(static_cast<int>(s.roll.most)) + " ";
                EXPECT_EQ(s.poses.find(words), 0u) << mode << ": " << s.poses;
            }
        }
    }
}

// One of a thousand lies above what 99.9 % do not exceed.
TEST(AccuracyFinding, theLargestOfAThousandIsBeyondTheShare)
{
    for (const Stratum& s : strataOf(5)) {
        if (s.name == "tilted") {
            const Finding found = measure(5, s, 1000, 1, [](std::uint64_t) {});
            EXPECT_LT(found.high, found.worst);
            EXPECT_GT(found.high, found.median);
        }
    }
}

TEST(AccuracyVerdict, namesWhatIsBeyondItsBound)
{
    Finding finding;
    finding.stratum.bounds.median = 1e-6;
    finding.stratum.bounds.worst = 1e-3;
    finding.samples = 1000;
    finding.median = 1e-6;
    finding.worst = 1e-3;
    EXPECT_EQ(finding.exceeded(), "");
    finding.median = 1.1e-6;
    EXPECT_EQ(finding.exceeded(), "median");
    finding.worst = 1.1e-3;
    EXPECT_EQ(finding.exceeded(), "median, worst");
    finding.samples = kEnoughForMedian - 1;
    EXPECT_EQ(finding.exceeded(), "worst");
    finding.worst = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(finding.exceeded(), "worst");
}

TEST(AccuracyVerdict, aMissingMatrixAndAMissingInherentErrorAreFindings)
{
    Finding finding;
    finding.stratum.bounds.median = 1.0;
    finding.stratum.bounds.worst = 2.0;
    finding.samples = 1000;
    finding.median = 0.1;
    finding.worst = 0.5;
    finding.without = 1;
    EXPECT_EQ(finding.exceeded(), "without matrix");
    finding.stratum.bounds.mostWithout = 0.001;
    EXPECT_EQ(finding.exceeded(), "");
    finding.stratum.bounds.atLeast = 0.6;
    EXPECT_EQ(finding.exceeded(), "inherent error missing");
}

TEST(AccuracyVerdict, everyStratumHasBoundsInTheRightOrder)
{
    for (int mode = 1; mode <= 10; ++mode) {
        for (const Stratum& s : strataOf(mode)) {
            EXPECT_GT(s.bounds.median, 0.0) << s.name;
            EXPECT_GE(s.bounds.worst, s.bounds.median) << s.name;
            EXPECT_LE(s.bounds.atLeast, s.bounds.worst) << s.name;
            EXPECT_TRUE(s.bounds.atLeast == 0.0 || !s.inherent.empty()) << s.name;
        }
    }
}
