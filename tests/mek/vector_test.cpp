// Cross product, turn about an axis, spherical coordinates.
#include "mek/Vector.h"

#include "mek/Literals.h"

#include "Random.h"
#include "support/Float.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

using kor_test::Random;
using kor_test::sameBits;
using kor_test::Triple;
using kor_test::within;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr long double kExactPi = 3.14159265358979323846264338327950288L;
constexpr Triple kX{1, 0, 0};
constexpr Triple kY{0, 1, 0};
constexpr Triple kZ{0, 0, 1};

Triple cross(const Triple& a, const Triple& b)
{
    Triple out{kNaN, kNaN, kNaN};
    mek::CrossMultiply(a.data(), b.data(), out.data());
    return out;
}

Triple turned(const Triple& axis, double degrees, const Triple& v)
{
    Triple out{kNaN, kNaN, kNaN};
    mek::mlaRotateAroundAxis(axis.data(), degrees, v.data(), out.data());
    return out;
}

Triple spherical(Triple v)
{
    mek::ConvertCartesianToSphericalCoordinates(v.data());
    return v;
}

void expectNear(const Triple& got, const Triple& wanted, double tolerance)
{
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(within(got[i], wanted[i], tolerance)) << "component " << i;
    }
}

void expectBits(const Triple& got, const Triple& wanted)
{
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(sameBits(got[i], wanted[i])) << "component " << i;
    }
}

// Rodrigues' formula in extended precision, from the same rounded angle in radians.
Triple rodrigues(const Triple& axis, double degrees, const Triple& v)
{
    const long double angle = degrees * 0.01745329251994;
    const long double c = std::cos(angle);
    const long double s = std::sin(angle);
    const std::array<long double, 3> a{axis[0], axis[1], axis[2]};
    const std::array<long double, 3> w{v[0], v[1], v[2]};
    const std::array<long double, 3> aw{a[1] * w[2] - a[2] * w[1], a[2] * w[0] - a[0] * w[2],
                                        a[0] * w[1] - a[1] * w[0]};
    const long double along = a[0] * w[0] + a[1] * w[1] + a[2] * w[2];
    Triple out{};
    for (std::size_t i = 0; i < 3; ++i) {
        out[i] = static_cast<double>(w[i] * c + aw[i] * s + a[i] * along * (1 - c));
    }
    return out;
}

// ----------------------------------------------------------------------------------------------- CrossMultiply

TEST(CrossMultiply, axesFollowTheRightHand)
{
    EXPECT_EQ(cross(kX, kY), kZ);
    EXPECT_EQ(cross(kY, kZ), kX);
    EXPECT_EQ(cross(kZ, kX), kY);
    EXPECT_EQ(cross(kY, kX), (Triple{0, 0, -1}));
    EXPECT_EQ(cross(kZ, kY), (Triple{-1, 0, 0}));
    EXPECT_EQ(cross(kX, kZ), (Triple{0, -1, 0}));
}

TEST(CrossMultiply, integerComponentsAreExact)
{
    EXPECT_EQ(cross({1, 2, 3}, {4, 5, 6}), (Triple{-3, 6, -3}));
    EXPECT_EQ(cross({-7, 2, 5}, {3, -4, 11}), (Triple{42, 92, 22}));
}

TEST(CrossMultiply, ofAVectorWithItselfIsExactlyZero)
{
    EXPECT_EQ(cross({0.1, 0.2, 0.3}, {0.1, 0.2, 0.3}), (Triple{0, 0, 0}));
}

TEST(CrossMultiply, agreesWithExtendedPrecision)
{
    Random random(51);
    for (int round = 0; round < 500; ++round) {
        Triple a{};
        Triple b{};
        for (std::size_t i = 0; i < 3; ++i) {
            a[i] = random.between(-10, 10);
            b[i] = random.between(-10, 10);
        }
        const Triple got = cross(a, b);
        for (std::size_t i = 0; i < 3; ++i) {
            const std::size_t j = (i + 1) % 3;
            const std::size_t k = (i + 2) % 3;
            const long double first = static_cast<long double>(a[j]) * b[k];
            const long double second = static_cast<long double>(a[k]) * b[j];
            // Two rounded products and a rounded difference.
            const double tolerance = static_cast<double>((std::abs(first) + std::abs(second)) * 0x1p-52L);
            EXPECT_TRUE(within(got[i], static_cast<double>(first - second), tolerance));
        }
    }
}

TEST(CrossMultiply, productsAreRoundedBeforeTheyAreSubtracted)
{
    // (1 + e)(1 - e) rounds to 1; fused arithmetic would leave -e^2 in the third component.
    const double e = 0x1p-30;
    EXPECT_EQ(cross({1 + e, 1, 0}, {1, 1 - e, 0})[2], 0);
    EXPECT_EQ(cross({1, 1 + e, 0}, {1 - e, 1, 0})[2], 0);
}

TEST(CrossMultiply, resultMayReplaceEitherOperand)
{
    const Triple a{1, 2, 3};
    const Triple b{4, 5, 7};
    const Triple wanted{-1, 5, -3};
    Triple first = a;
    mek::CrossMultiply(first.data(), b.data(), first.data());
    EXPECT_EQ(first, wanted);
    Triple second = b;
    mek::CrossMultiply(a.data(), second.data(), second.data());
    EXPECT_EQ(second, wanted);
    Triple both = a;
    mek::CrossMultiply(both.data(), both.data(), both.data());
    EXPECT_EQ(both, (Triple{0, 0, 0}));
}

// ----------------------------------------------------------------------------------------- mlaRotateAroundAxis

TEST(RotateAroundAxis, positiveAnglesTurnByTheRightHand)
{
    const double miss = 5e-13; // 90 degrees times the shortened literal misses a quarter turn by 3e-13
    expectNear(turned(kZ, 90, kX), kY, miss);
    expectNear(turned(kX, 90, kY), kZ, miss);
    expectNear(turned(kY, 90, kZ), kX, miss);
    expectNear(turned(kZ, -90, kX), {0, -1, 0}, miss);
    expectNear(turned({0, 0, -1}, 90, kX), {0, -1, 0}, miss);
}

TEST(RotateAroundAxis, degreesBecomeRadiansByTheShortenedLiteral)
{
    // The exact factor would leave 6e-17 here.
    const double remainder = turned(kZ, 90, kX)[0];
    const double wanted = static_cast<double>(kExactPi / 2 - 90 * 0.01745329251994);
    EXPECT_GT(wanted, 2.9e-13);
    EXPECT_TRUE(within(remainder, wanted, 1e-16)); // the last digit of the angle
}

TEST(RotateAroundAxis, agreesWithRodriguesInExtendedPrecision)
{
    Random random(52);
    for (int round = 0; round < 500; ++round) {
        const Triple axis = random.direction();
        const double degrees = random.between(-720, 720);
        const Triple v{random.between(-3, 3), random.between(-3, 3), random.between(-3, 3)};
        expectNear(turned(axis, degrees, v), rodrigues(axis, degrees, v), 1e-14); // about ten roundings of size 5
    }
}

TEST(RotateAroundAxis, axisIsTakenAsItIsAndNotNormalised)
{
    const Triple axis{0.3, -2, 1.5};
    const Triple v{1, 2, -3};
    expectNear(turned(axis, 37, v), rodrigues(axis, 37, v), 1e-14);
}

TEST(RotateAroundAxis, zeroAngleReturnsTheVector)
{
    const Triple v{0.1, -2.3, 4.5};
    EXPECT_EQ(turned({0.6, 0, 0.8}, 0, v), v);
}

TEST(RotateAroundAxis, keepsLengthAndTheComponentAlongTheAxis)
{
    Random random(53);
    for (int round = 0; round < 200; ++round) {
        const Triple axis = random.direction();
        const Triple v = random.direction();
        const Triple w = turned(axis, random.between(-180, 180), v);
        EXPECT_TRUE(within(w[0] * w[0] + w[1] * w[1] + w[2] * w[2], 1.0, 3e-15));
        EXPECT_TRUE(within(w[0] * axis[0] + w[1] * axis[1] + w[2] * axis[2],
                           v[0] * axis[0] + v[1] * axis[1] + v[2] * axis[2], 2e-15));
    }
}

TEST(RotateAroundAxis, oppositeTurnsCancel)
{
    Random random(54);
    for (int round = 0; round < 200; ++round) {
        const Triple axis = random.direction();
        const Triple v = random.direction();
        const double degrees = random.between(-180, 180);
        expectNear(turned(axis, -degrees, turned(axis, degrees, v)), v, 3e-15);
    }
}

TEST(RotateAroundAxis, resultMayReplaceTheVector)
{
    Random random(55);
    for (int round = 0; round < 50; ++round) {
        const Triple axis = random.direction();
        const Triple v = random.direction();
        Triple inPlace = v;
        mek::mlaRotateAroundAxis(axis.data(), 33, inPlace.data(), inPlace.data());
        expectBits(inPlace, turned(axis, 33, v));
    }
}

TEST(RotateAroundAxis, nanAngleGivesNaN)
{
    for (const double value : turned(kZ, kNaN, {1, 2, 3})) {
        EXPECT_TRUE(std::isnan(value));
    }
}

// ----------------------------------------------------------------------- ConvertCartesianToSphericalCoordinates

TEST(Spherical, axesAndTheirSigns)
{
    // A quarter turn of the shortened literal is 3.7e-12 degrees short of 90.
    expectNear(spherical({0, 1, 0}), {0, 0, 1}, 0);
    expectNear(spherical({-1, 0, 0}), {90, 0, 1}, 1e-11);
    expectNear(spherical({1, 0, 0}), {-90, 0, 1}, 1e-11);
    expectNear(spherical({0, 0, 2}), {0, 90, 2}, 1e-11);
    expectNear(spherical({0, 0, -2}), {0, -90, 2}, 1e-11);
    expectNear(spherical({-3, 3, 0}), {45, 0, std::sqrt(18.0)}, 1e-11);
    expectNear(spherical({3, 4, 5}), {-36.86989764584402, 45, std::sqrt(50.0)}, 1e-11);
}

TEST(Spherical, behindTheSensorTheSignOfXZeroDecidesTheHalfTurn)
{
    EXPECT_TRUE(within(spherical({0.0, -1, 0})[0], -180.0, 1e-11));
    EXPECT_TRUE(within(spherical({-0.0, -1, 0})[0], 180.0, 1e-11));
}

TEST(Spherical, radiansBecomeDegreesByTheShortenedLiteral)
{
    // The exact factor would give 90 to one ulp, 1.4e-14.
    const double wanted = static_cast<double>(kExactPi / 2 * 57.29577951308L);
    EXPECT_LT(wanted, 90 - 3e-12);
    EXPECT_TRUE(within(spherical({-1, 0, 0})[0], wanted, 3e-14));
    EXPECT_TRUE(within(spherical({0, 0, 1})[1], wanted, 3e-14));
}

TEST(Spherical, formulasToTheBit)
{
    Random random(56);
    for (int round = 0; round < 300; ++round) {
        const double x = random.between(-50, 50);
        const double y = random.between(-50, 50);
        const double z = random.between(-50, 50);
        expectBits(spherical({x, y, z}),
                   {std::atan2(-x, y) * 57.29577951308, std::atan2(z, std::sqrt(x * x + y * y)) * 57.29577951308,
                    std::sqrt(x * x + y * y + z * z)});
    }
}

TEST(Spherical, directionComesBackFromItsAngles)
{
    Random random(57);
    for (int round = 0; round < 300; ++round) {
        const Triple unit = random.direction();
        const double distance = random.between(0.001, 1000);
        const Triple s = spherical({unit[0] * distance, unit[1] * distance, unit[2] * distance});
        const long double h = s[0] / 57.29577951308L;
        const long double v = s[1] / 57.29577951308L;
        // Angles below pi are rounded to 4e-16.
        expectNear({static_cast<double>(-std::cos(v) * std::sin(h)), static_cast<double>(std::cos(h) * std::cos(v)),
                    static_cast<double>(std::sin(v))},
                   unit, 1.5e-15);
        EXPECT_TRUE(within(s[2] / distance, 1.0, 1e-15));
    }
}

TEST(Spherical, zeroVectorGivesZeros)
{
    const Triple s = spherical({0, 0, 0});
    EXPECT_EQ(s, (Triple{0, 0, 0}));
}

TEST(Spherical, nanStaysInTheAnglesItEnters)
{
    const Triple s = spherical({1, 1, kNaN});
    EXPECT_TRUE(within(s[0], -45.0, 1e-11));
    EXPECT_TRUE(std::isnan(s[1]));
    EXPECT_TRUE(std::isnan(s[2]));
}

} // namespace
