// The shortened literals: their digits and how far they stand from the exact values.
#include "mek/Literals.h"

#include "support/Float.h"

#include <gtest/gtest.h>

using kor_test::sameBits;

namespace {

constexpr long double kExactPi = 3.14159265358979323846264338327950288L;

long double relativeError(double value, long double exact)
{
    return (static_cast<long double>(value) - exact) / exact;
}

// Pins [shortened-literals].
TEST(Literals, digitsAreTheShortenedOnes)
{
    EXPECT_TRUE(sameBits(mek::kRadPerDeg, 0.01745329251994));
    EXPECT_TRUE(sameBits(mek::kDegPerRad, 57.29577951308));
    EXPECT_TRUE(sameBits(mek::kPi, 3.14159265359));
    EXPECT_TRUE(sameBits(mek::kHalfPi, 1.570796326795));
    EXPECT_TRUE(sameBits(mek::kThreeHalvesPi, 4.7123889803850005));
    EXPECT_TRUE(sameBits(mek::kTwoPi, 6.28318530718));
}

TEST(Literals, bitPatternsAreTheShortenedOnes)
{
    // Written down from the exact decimal expansions, so that a change of the decimal digits cannot hide behind the
    // same change in the test above.
    EXPECT_TRUE(sameBits(mek::kRadPerDeg, 0x1.1df46a2529983p-6));
    EXPECT_TRUE(sameBits(mek::kDegPerRad, 0x1.ca5dc1a63c0b1p+5));
    EXPECT_TRUE(sameBits(mek::kPi, 0x1.921fb54442eeap+1));
    EXPECT_TRUE(sameBits(mek::kHalfPi, 0x1.921fb54442eeap+0));
    EXPECT_TRUE(sameBits(mek::kThreeHalvesPi, 0x1.2d97c7f332330p+2));
    EXPECT_TRUE(sameBits(mek::kTwoPi, 0x1.921fb54442eeap+2));
}

TEST(Literals, areNotTheExactValues)
{
    EXPECT_NE(mek::kRadPerDeg, static_cast<double>(kExactPi / 180));
    EXPECT_NE(mek::kDegPerRad, static_cast<double>(180 / kExactPi));
    EXPECT_NE(mek::kPi, static_cast<double>(kExactPi));
    EXPECT_NE(mek::kHalfPi, static_cast<double>(kExactPi / 2));
    EXPECT_NE(mek::kTwoPi, static_cast<double>(kExactPi * 2));
}

TEST(Literals, relativeErrorsAreTheStatedOnes)
{
    // Two digits are stated: half a unit of the second one is the tolerance.
    EXPECT_NEAR(static_cast<double>(relativeError(mek::kRadPerDeg, kExactPi / 180)), -1.9e-13, 0.05e-13);
    EXPECT_NEAR(static_cast<double>(relativeError(mek::kDegPerRad, 180 / kExactPi)), -4.1e-14, 0.05e-14);
    EXPECT_NEAR(static_cast<double>(relativeError(mek::kPi, kExactPi)), 6.6e-14, 0.05e-14);
    EXPECT_NEAR(static_cast<double>(relativeError(mek::kHalfPi, kExactPi / 2)), 6.6e-14, 0.05e-14);
    EXPECT_NEAR(static_cast<double>(relativeError(mek::kThreeHalvesPi, kExactPi * 1.5L)), 6.6e-14, 0.05e-14);
    EXPECT_NEAR(static_cast<double>(relativeError(mek::kTwoPi, kExactPi * 2)), 6.6e-14, 0.05e-14);
}

TEST(Literals, turnsAreWholeMultiplesOfHalfATurnToTheBit)
{
    EXPECT_TRUE(sameBits(2 * mek::kHalfPi, mek::kPi));
    EXPECT_TRUE(sameBits(2 * mek::kPi, mek::kTwoPi));
    EXPECT_TRUE(sameBits(3 * mek::kHalfPi, mek::kThreeHalvesPi));
}

} // namespace
