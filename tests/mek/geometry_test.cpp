// The direction of gravity from two included angles.
#include "mek/Vector.h"

#include "Random.h"
#include "support/Float.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

using kor_test::Random;
using kor_test::sameBits;
using kor_test::Triple;
using kor_test::within;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kRadians = 0.01745329251994; // per degree, the system's literal

struct Solution {
    int code;
    Triple out;
};

Solution solve(const Triple& g, const Triple& v, const Triple& a, double angle1, double angle2)
{
    Solution s{-1, {123, 456, 789}};
    s.code = mek::solveVectorsRelAng(g.data(), v.data(), a.data(), angle1, angle2, s.out.data());
    return s;
}

long double dot(const Triple& a, const Triple& b)
{
    return static_cast<long double>(a[0]) * b[0] + static_cast<long double>(a[1]) * b[1] +
           static_cast<long double>(a[2]) * b[2];
}

long double length(const Triple& a)
{
    return std::sqrt(dot(a, a));
}

Triple cross(const Triple& a, const Triple& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Triple along(const Triple& a, const Triple& b, double factor)
{
    return {a[0] + factor * b[0], a[1] + factor * b[1], a[2] + factor * b[2]};
}

Triple normalised(const Triple& a)
{
    const double l = static_cast<double>(length(a));
    return {a[0] / l, a[1] / l, a[2] / l};
}

// The included angle in radians, exact at every opening.
double included(const Triple& a, const Triple& b)
{
    return static_cast<double>(std::atan2(length(cross(a, b)), dot(a, b)));
}

void expectNear(const Triple& got, const Triple& wanted, double tolerance)
{
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(within(got[i], wanted[i], tolerance)) << "component " << i;
    }
}

void expectZero(const Triple& got)
{
    for (const double value : got) {
        EXPECT_TRUE(sameBits(value, 0.0));
    }
}

void expectNaN(const Triple& got)
{
    for (const double value : got) {
        EXPECT_TRUE(std::isnan(value));
    }
}

// A line of sight, a level axis and a gravity that stand well clear of one another: |v.a| below 0.85, gravity between
// 15 and 165 degrees from either and at least 0.1 off their plane.
struct Scene {
    Triple v;
    Triple a;
    Triple gravity;
    Triple normal;
    double angle1;
    double angle2;
};

Scene soundScene(Random& random)
{
    for (;;) {
        Scene s{};
        s.v = random.direction();
        s.a = random.direction();
        s.gravity = random.direction();
        if (std::abs(dot(s.v, s.a)) > 0.85L || std::abs(dot(s.v, s.gravity)) > 0.96L ||
            std::abs(dot(s.a, s.gravity)) > 0.96L) {
            continue;
        }
        s.normal = normalised(cross(s.v, s.a));
        if (std::abs(dot(s.normal, s.gravity)) < 0.1L) {
            continue;
        }
        s.angle1 = included(s.gravity, s.v) / kRadians;
        s.angle2 = included(s.gravity, s.a) / kRadians;
        return s;
    }
}

TEST(SolveVectorsRelAng, firstAngleBelongsToTheLineOfSightAndTheSecondToTheLevelAxis)
{
    const Triple sight{0, 1, 0};
    const Triple level{1, 0, 0};
    const Triple down{0, 0, -1};
    const Solution s = solve(down, sight, level, 120, 80);
    const double p = std::cos(120 * kRadians);
    const double q = std::cos(80 * kRadians);
    EXPECT_EQ(s.code, 0);
    expectNear(s.out, {q, p, -std::sqrt(1 - p * p - q * q)}, 3e-16);
}

TEST(SolveVectorsRelAng, bothAnglesAreMetAndTheDirectionIsAUnitVector)
{
    Random random(61);
    for (int round = 0; round < 2000; ++round) {
        const Scene scene = soundScene(random);
        const Solution s = solve(scene.gravity, scene.v, scene.a, scene.angle1, scene.angle2);
        ASSERT_EQ(s.code, 0);
        // A few roundings divided by det (above 0.27) and by the sine of the angle (above 0.27).
        EXPECT_TRUE(within(included(s.out, scene.v), scene.angle1 * kRadians, 1e-13));
        EXPECT_TRUE(within(included(s.out, scene.a), scene.angle2 * kRadians, 1e-13));
        EXPECT_TRUE(within(static_cast<double>(length(s.out)), 1.0, 5e-15));
    }
}

TEST(SolveVectorsRelAng, directionComesBackFromItsTwoAngles)
{
    Random random(62);
    for (int round = 0; round < 2000; ++round) {
        const Scene scene = soundScene(random);
        const Solution s = solve(scene.gravity, scene.v, scene.a, scene.angle1, scene.angle2);
        // The component off the plane, above 0.1, comes from a root: ten times the error of the other two.
        expectNear(s.out, scene.gravity, 1e-13);
    }
}

TEST(SolveVectorsRelAng, signedVerticalPicksTheMirrorSolution)
{
    Random random(63);
    for (int round = 0; round < 500; ++round) {
        const Scene scene = soundScene(random);
        const Triple inPlane = along(scene.v, scene.a, random.between(-2, 2));
        const double nudge = random.between(1e-6, 5);
        const Solution up = solve(along(inPlane, scene.normal, nudge), scene.v, scene.a, scene.angle1, scene.angle2);
        const Solution down = solve(along(inPlane, scene.normal, -nudge), scene.v, scene.a, scene.angle1, scene.angle2);
        EXPECT_GT(dot(up.out, scene.normal), 0.09L);
        EXPECT_LT(dot(down.out, scene.normal), -0.09L);
        // Mirror images in the plane of v and a.
        const double height = static_cast<double>(dot(up.out, scene.normal));
        expectNear(down.out, along(up.out, scene.normal, -2 * height), 1e-14);
    }
}

TEST(SolveVectorsRelAng, lengthOfTheVerticalDoesNotMatter)
{
    Random random(64);
    for (int round = 0; round < 100; ++round) {
        const Scene s = soundScene(random);
        const Solution unit = solve(s.gravity, s.v, s.a, s.angle1, s.angle2);
        const Solution longer = solve(along({0, 0, 0}, s.gravity, 9800), s.v, s.a, s.angle1, s.angle2);
        EXPECT_EQ(unit.out, longer.out);
    }
}

TEST(SolveVectorsRelAng, tieTakesTheSolutionAlongSightCrossLevelAxis)
{
    // A vertical in the plane of v and a (or none at all) is as near to one solution as to the other.
    for (const Triple& g : {Triple{1, 0, 0}, Triple{0, -1, 0}, Triple{0, 0, 0}}) {
        const Solution plus = solve(g, {1, 0, 0}, {0, 1, 0}, 60, 60); // v x a = +z
        EXPECT_EQ(plus.code, 0);
        EXPECT_GT(plus.out[2], 0.7);
        const Solution minus = solve(g, {0, 1, 0}, {1, 0, 0}, 60, 60); // v x a = -z
        EXPECT_EQ(minus.code, 0);
        EXPECT_LT(minus.out[2], -0.7);
    }
}

TEST(SolveVectorsRelAng, obliqueAxesInClosedForm)
{
    // v and a 60 degrees apart in the x-y plane; gravity 90 degrees from both is the normal itself.
    const Triple v{1, 0, 0};
    const Triple a{0.5, std::sqrt(0.75), 0};
    const Solution s = solve({0, 0, -1}, v, a, 90, 90);
    EXPECT_EQ(s.code, 0);
    expectNear(s.out, {0, 0, -1}, 1e-12); // the literal misses a right angle by 3e-13
    // 60 and 60 degrees: the edges of a regular tetrahedron.
    const Solution edge = solve({0, 0, 1}, v, a, 60, 60);
    EXPECT_EQ(edge.code, 0);
    expectNear(edge.out, {0.5, std::sqrt(1.0 / 12), std::sqrt(2.0 / 3)}, 1e-12);
}

TEST(SolveVectorsRelAng, anglesUseTheShortenedLiteral)
{
    // cos(90 degrees) is 3e-13 with the literal and 6e-17 with the exact factor.
    const Solution s = solve({0, 0, 1}, {1, 0, 0}, {0, 1, 0}, 90, 60);
    EXPECT_TRUE(within(s.out[0], std::cos(90 * kRadians), 1e-16));
    EXPECT_GT(s.out[0], 2.9e-13);
}

TEST(SolveVectorsRelAng, impossibleAnglesGiveTheNearestDirectionAndCodeOne)
{
    const Triple v{1, 0, 0};
    const Triple a{0, 1, 0};
    for (const double angle2 : {30.0, 50.0, 140.0}) {
        const Solution s = solve({0, 0, 1}, v, a, 30, angle2);
        const double p = std::cos(30 * kRadians);
        const double q = std::cos(angle2 * kRadians);
        EXPECT_EQ(s.code, 1);
        expectNear(s.out, {p / std::hypot(p, q), q / std::hypot(p, q), 0}, 3e-16);
    }
}

TEST(SolveVectorsRelAng, nearestDirectionOfObliqueAxesLiesInTheirPlaneAndIsAUnitVector)
{
    Random random(65);
    int met = 0;
    while (met < 300) {
        const Triple v = random.direction();
        const Triple a = random.direction();
        const double c = static_cast<double>(dot(v, a));
        const double angle1 = random.between(0, 180);
        const double angle2 = random.between(0, 180);
        const long double p = std::cos(static_cast<long double>(angle1 * kRadians));
        const long double q = std::cos(static_cast<long double>(angle2 * kRadians));
        const long double det = 1 - static_cast<long double>(c) * c;
        const double alpha = static_cast<double>((p - c * q) / det);
        const double beta = static_cast<double>((q - c * p) / det);
        const Triple wanted = along(along({0, 0, 0}, v, alpha), a, beta);
        if (det < 0.1L || dot(wanted, wanted) < 1.001L) {
            continue;
        }
        ++met;
        const Solution s = solve(random.direction(), v, a, angle1, angle2);
        EXPECT_EQ(s.code, 1);
        expectNear(s.out, normalised(wanted), 1e-14); // a few roundings over det
    }
}

TEST(SolveVectorsRelAng, slightOvershootCountsAsTheInPlaneSolution)
{
    // v and a at right angles, angle1 = 0: s = (1, q, 0) and h2 = 1 - s.s = -q^2 to rounding.
    const Triple v{1, 0, 0};
    const Triple a{0, 1, 0};
    const Solution kept = solve({0, 0, 1}, v, a, 0, std::acos(3.16e-5) / kRadians); // h2 = -0.9986e-9
    EXPECT_EQ(kept.code, 0);
    EXPECT_EQ(kept.out[0], 1); // s itself, not brought to unit length
    EXPECT_TRUE(within(kept.out[1], 3.16e-5, 1e-15));
    EXPECT_EQ(kept.out[2], 0);

    const Solution refused = solve({0, 0, 1}, v, a, 0, std::acos(3.17e-5) / kRadians); // h2 = -1.0049e-9
    EXPECT_EQ(refused.code, 1);
    EXPECT_TRUE(within(static_cast<double>(length(refused.out)), 1.0, 3e-16));
    EXPECT_LT(refused.out[0], 1 - 4e-10);
}

TEST(SolveVectorsRelAng, overshootThresholdIsMinusOneBillionthToTheLastStep)
{
    // With v and a on the axes every step but q = cos(angle2 k) and 1 - s.s is exact, so the side is known.
    const auto h2 = [](double angle2) {
        const double q = std::cos(angle2 * kRadians);
        return 1 - (1 + q * q);
    };
    double inside = std::acos(3.16e-5) / kRadians;
    double outside = std::acos(3.17e-5) / kRadians;
    ASSERT_FALSE(h2(inside) < -1e-9);
    ASSERT_TRUE(h2(outside) < -1e-9);
    while (std::nextafter(inside, outside) != outside) {
        const double middle = inside + (outside - inside) / 2;
        (h2(middle) < -1e-9 ? outside : inside) = middle;
    }
    EXPECT_EQ(solve({0, 0, 1}, {1, 0, 0}, {0, 1, 0}, 0, inside).code, 0);
    EXPECT_EQ(solve({0, 0, 1}, {1, 0, 0}, {0, 1, 0}, 0, outside).code, 1);
}

TEST(SolveVectorsRelAng, sightParallelToTheLevelAxisGivesZeroAndCodeTwo)
{
    Random random(66);
    for (int round = 0; round < 50; ++round) {
        const Triple v = random.direction();
        for (const double sign : {1.0, -1.0}) {
            const Solution s = solve({0, 0, 1}, v, along({0, 0, 0}, v, sign), 90, 90);
            EXPECT_EQ(s.code, 2);
            expectZero(s.out);
        }
    }
}

TEST(SolveVectorsRelAng, parallelMeansADeterminantBelowOneTrillionth)
{
    // a = (c, sine, 0) against v = (1, 0, 0): c is v.a exactly; find the two neighbours around 1 - c c = 1e-12.
    double c = std::sqrt(1 - 1e-12);
    while (1 - c * c < 1e-12) {
        c = std::nextafter(c, 0);
    }
    while (1 - std::nextafter(c, 2) * std::nextafter(c, 2) >= 1e-12) {
        c = std::nextafter(c, 2);
    }
    const double above = std::nextafter(c, 2);
    for (const double sign : {1.0, -1.0}) {
        const Solution sound = solve({0, 0, 1}, {1, 0, 0}, {sign * c, 1e-6, 0}, 90, 90);
        EXPECT_EQ(sound.code, 0);
        EXPECT_TRUE(
            within(sound.out[2], 1.0, 1e-9)); // 90 degrees from both: the normal, to the literal's 3e-13 over 1e-6
        const Solution parallel = solve({0, 0, 1}, {1, 0, 0}, {sign * above, 1e-6, 0}, 90, 90);
        EXPECT_EQ(parallel.code, 2);
        expectZero(parallel.out);
    }
}

TEST(SolveVectorsRelAng, nanAngleWithSoundAxesGivesNaNAndCodeZero)
{
    const Triple g{0, 0, 1};
    const Triple v{1, 0, 0};
    const Triple a{0, 1, 0};
    for (const auto& [angle1, angle2] :
         {std::pair{kNaN, 60.0}, std::pair{60.0, kNaN}, std::pair{kNaN, kNaN}, std::pair{kInf, 60.0}}) {
        const Solution s = solve(g, v, a, angle1, angle2);
        EXPECT_EQ(s.code, 0);
        expectNaN(s.out);
    }
}

TEST(SolveVectorsRelAng, determinantThatIsNoNumberGivesZeroAndCodeTwo)
{
    const Triple g{0, 0, 1};
    const Triple v{1, 0, 0};
    const Triple a{0, 1, 0};
    for (std::size_t i = 0; i < 3; ++i) {
        for (const double bad : {kNaN, kInf, -kInf}) {
            Triple badV = v;
            badV[i] = bad;
            Triple badA = a;
            badA[i] = bad;
            for (const Solution& s : {solve(g, badV, a, 60, 60), solve(g, v, badA, 60, 60)}) {
                EXPECT_EQ(s.code, 2);
                expectZero(s.out);
            }
        }
    }
    const Solution both = solve(g, v, v, kNaN, kNaN);
    EXPECT_EQ(both.code, 2);
    expectZero(both.out);
}

} // namespace
