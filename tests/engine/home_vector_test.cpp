// The home-vector solve.
#include "KORInterface/CKor.h"
#include "mek/Matrix.h"
#include "mek/Vector.h"
#include "support/Float.h"
#include "support/Matrices.h"

#include <cmath>
#include <limits>
#include <random>

namespace kor_test {
namespace {

struct Solution {
    bool ok = false;
    double first = 0;
    double second = 0;
};

struct Problem {
    D_VECTOR3 a;
    D_VECTOR3 b;
    D_VECTOR2 reference;
    D_VECTOR3 measured;
};

Vector cross(const Vector& a, const Vector& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// The solve written out step by step.
Solution literalHomeVector(const Problem& problem)
{
    const double deg = 0.01745329251994;
    const double pi = 3.14159265359;
    const double halfPi = 1.570796326795;
    const double threeHalvesPi = 4.7123889803850005;
    const double twoPi = 6.28318530718;
    const double dead = 1e-12;
    const Vector a = {problem.a.x, problem.a.y, problem.a.z};
    const Vector b = {problem.b.x, problem.b.y, problem.b.z};

    const double p = problem.measured.y * deg;
    const double q = -problem.measured.x * deg;
    const double r0 = problem.reference.x * deg;
    const double r1 = problem.reference.y * deg;

    double alpha = 0;
    if (std::fabs(b[0]) <= dead) {
        if (std::fabs(b[1]) <= dead) {
            alpha = 0;
        } else {
            alpha = b[1] > 0 ? halfPi : threeHalvesPi;
        }
    } else if (std::fabs(b[1]) <= dead) {
        alpha = b[0] > 0 ? 0 : pi;
    } else {
        alpha = std::atan(b[1] / b[0]);
        if (b[0] < 0 && b[1] > 0) {
            alpha += pi;
        } else if (b[0] < 0 && b[1] < 0) {
            alpha += pi;
        } else if (b[0] > 0 && b[1] < 0) {
            alpha += twoPi;
        }
    }

    double theta = std::acos(std::cos(p) * std::cos(q));
    if (theta > halfPi) {
        theta = pi - theta;
    }

    double beta = 0;
    if (std::fabs(p) <= dead && std::fabs(q) > dead) {
        beta = 0;
    } else if (std::fabs(q) <= dead && std::fabs(p) > dead) {
        beta = p > 0 ? 0 : pi;
    } else {
        const double s = std::asin(std::sin(q) / std::sin(theta));
        if (q > 0 && p > 0) {
            beta = s;
        } else if (q > 0 && p < 0) {
            beta = pi - s;
        } else if (q < 0 && p < 0) {
            beta = pi - s;
        } else {
            beta = s + twoPi;
        }
    }

    const double gamma = alpha + beta;
    const Vector u = {std::cos(gamma) * std::sin(theta), std::sin(gamma) * std::sin(theta), std::cos(theta)};
    const Vector w1 = cross(u, a);
    const double length = std::sqrt(b[0] * b[0] + b[1] * b[1] + b[2] * b[2]);
    Vector bn = {0, 0, 0};
    if (length > 0) {
        bn = {b[0] / length, b[1] / length, b[2] / length};
    }
    const Vector w2 = cross(u, bn);
    const Vector w3 = cross(bn, w2);
    Matrix f1 = {a[0], w1[0], u[0], a[1], w1[1], u[1], a[2], w1[2], u[2]};
    const Matrix f2 = {bn[0], w2[0], w3[0], bn[1], w2[1], w3[1], bn[2], w2[2], w3[2]};
    Solution solution;
    solution.ok = mek::MatrixInverse(f1.data(), 3);
    const Matrix r = multiply(f1, f2);

    const double y = -r[1];
    const double x = r[4];
    double phi = 0;
    if (std::fabs(x) <= dead) {
        if (std::fabs(y) <= dead) {
            phi = 0;
        } else {
            phi = y > 0 ? halfPi : threeHalvesPi;
        }
    } else if (std::fabs(y) <= dead) {
        phi = x > 0 ? 0 : pi;
    } else {
        phi = std::atan(y / x);
        if (x < 0 && y > 0) {
            phi += pi;
        } else if (x < 0 && y < 0) {
            phi -= pi;
        }
    }
    solution.first = (r0 - phi) * 57.29577951308;
    solution.second =
        ((std::atan((r[5] + r[2]) / (r[3] + r[0])) + std::atan(-r[6] / r[8])) * 0.5 + r1) * 57.29577951308;
    return solution;
}

Solution solve(const Problem& problem)
{
    CKor engine;
    Solution solution{false, -1, -1};
    solution.ok =
        engine.Calc_HV0(problem.a, problem.b, problem.reference, problem.measured, &solution.first, &solution.second);
    return solution;
}

::testing::AssertionResult meetsReference(const Problem& problem)
{
    const Solution got = solve(problem);
    const Solution wanted = literalHomeVector(problem);
    if (got.ok != wanted.ok) {
        return ::testing::AssertionFailure() << "result " << got.ok;
    }
    const ::testing::AssertionResult first = sameBits(got.first, wanted.first);
    if (!first) {
        return ::testing::AssertionFailure() << "first: " << first.message();
    }
    const ::testing::AssertionResult second = sameBits(got.second, wanted.second);
    return second ? second : ::testing::AssertionFailure() << "second: " << second.message();
}

// Pins [home-vector-measured, home-vector-mean].
TEST(HomeVector, randomProblemsMeetTheReferenceToTheBit)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> component(-1, 1);
    std::uniform_real_distribution<double> angle(-200, 200);
    for (int i = 0; i < 20000; ++i) {
        const Problem problem = {{component(random), component(random), component(random)},
                                 {component(random), component(random), component(random)},
                                 {angle(random), angle(random)},
                                 {angle(random) / 3, angle(random) / 3, angle(random)}};
        ASSERT_TRUE(meetsReference(problem)) << "round " << i;
    }
}

// Pins [home-vector-quadrants].
TEST(HomeVector, everyQuadrantAndDeadZoneMeetsTheReference)
{
    const double inf = std::numeric_limits<double>::infinity();
    const double edge = 1e-12;
    const std::array<double, 12> components = {
        0.0, -0.0, edge, -edge, std::nextafter(edge, 1), -std::nextafter(edge, 1), 0.5, -0.5, 1.0, -1.0, 1e200, inf};
    // Degrees whose radians lie at the edge of the dead zone, and plain ones.
    const double edgeDegrees = 1e-12 / 0.01745329251994;
    const std::array<double, 14> angles = {0.0,
                                           -0.0,
                                           edgeDegrees,
                                           -edgeDegrees,
                                           std::nextafter(edgeDegrees, 1),
                                           -std::nextafter(edgeDegrees, 1),
                                           10.0,
                                           -10.0,
                                           90.0,
                                           -90.0,
                                           120.0,
                                           -170.0,
                                           180.0,
                                           std::numeric_limits<double>::quiet_NaN()};
    const std::array<D_VECTOR3, 3> references = {{{1, 0, 0}, {0.3, -0.8, 0.5}, {0, 0, 0}}};
    for (const D_VECTOR3& a : references) {
        for (const double x : components) {
            for (const double y : components) {
                for (const double mx : angles) {
                    for (const double my : angles) {
                        const Problem problem = {a, {x, y, 0.25}, {3, -4}, {mx, my, 0}};
                        ASSERT_TRUE(meetsReference(problem))
                            << "b " << x << " " << y << ", measured " << mx << " " << my;
                    }
                }
            }
        }
    }
}

TEST(HomeVector, phiMeetsTheReferenceOnTheAxesOfItsQuadrants)
{
    // u is the z axis up to the tilt; a and b in steps of a quarter turn put R01 and R11 onto zero in turn.
    for (int turnA = 0; turnA < 8; ++turnA) {
        for (int turnB = 0; turnB < 8; ++turnB) {
            for (const double tilt : {1e-9, 5.0, 45.0, 90.0}) {
                const double ra = turnA * std::acos(-1.0) / 4;
                const double rb = turnB * std::acos(-1.0) / 4;
                const Problem problem = {
                    {std::cos(ra), std::sin(ra), 0}, {std::cos(rb), std::sin(rb), 0}, {0, 0}, {0, tilt, 0}};
                ASSERT_TRUE(meetsReference(problem)) << turnA << " " << turnB << " " << tilt;
            }
        }
    }
}

TEST(HomeVector, theThirdMeasuredComponentIsNotUsed)
{
    const Problem one = {{1, 0.25, 0}, {0.5, 0.75, 0.125}, {10, 20}, {3, 4, 0}};
    Problem other = one;
    other.measured.z = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(sameBits(solve(other).first, solve(one).first));
    EXPECT_TRUE(sameBits(solve(other).second, solve(one).second));
}

TEST(HomeVector, aZeroDirectionIsUsedAsItIs)
{
    const Problem problem = {{1, 0.25, 0}, {0, 0, 0}, {10, 20}, {3, 4, 0}};
    EXPECT_TRUE(meetsReference(problem));
    // The second frame is zero, so phi is zero and the first angle is the reference, there and back.
    EXPECT_EQ(solve(problem).first, (10 * 0.01745329251994 - 0.0) * 57.29577951308);
    EXPECT_TRUE(std::isnan(solve(problem).second)) << "0 / 0 in both arc tangents";
    EXPECT_TRUE(solve(problem).ok);
}

// Pins [home-vector-nan].
TEST(HomeVector, measuredZeroLeavesBothAnglesNoNumber)
{
    const Problem problem = {{1, 0.25, 0}, {0.5, 0.75, 0.125}, {10, 20}, {0, 0, 0}};
    EXPECT_TRUE(std::isnan(solve(problem).first));
    EXPECT_TRUE(std::isnan(solve(problem).second));
    EXPECT_FALSE(solve(problem).ok) << "a frame of nan does not invert";
}

TEST(HomeVector, aSingularFrameGivesFalseAndStillWritesBothAngles)
{
    const Problem problem = {{0, 0, 0}, {0.5, 0.75, 0.125}, {10, 20}, {3, 4, 0}};
    EXPECT_FALSE(solve(problem).ok);
    EXPECT_TRUE(meetsReference(problem)) << "from what the inversion left, the frame itself";
    EXPECT_NE(solve(problem).first, -1.0);
}

// Pins [home-vector-0].
TEST(HomeVector, aMeasuredAngleOfZeroGivesBetaZeroNotAQuarterTurn)
{
    // p = 0: with beta = 0 the tilt leans along b, and w2 is perpendicular to it with w1.
    const Problem problem = {{0, 1, 0}, {1, 0, 0}, {0, 0}, {5, 0, 0}};
    EXPECT_TRUE(meetsReference(problem));
    const Problem mirrored = {{0, 1, 0}, {1, 0, 0}, {0, 0}, {-5, 0, 0}};
    EXPECT_TRUE(sameBits(solve(mirrored).first, solve(problem).first)) << "the sign of q plays no part";
    EXPECT_TRUE(sameBits(solve(mirrored).second, solve(problem).second));
}

TEST(HomeVector, needsNoEngineState)
{
    const Problem problem = {{1, 0.25, 0}, {0.5, 0.75, 0.125}, {10, 20}, {3, 4, 0}};
    CKor engine;
    engine.setMountMode(5);
    engine.Destroy();
    double first = 0;
    double second = 0;
    engine.Calc_HV0(problem.a, problem.b, problem.reference, problem.measured, &first, &second);
    EXPECT_TRUE(sameBits(first, solve(problem).first));
    EXPECT_TRUE(sameBits(second, solve(problem).second));
}

TEST(HomeVector, theReferenceAnglesAreAddedToTheResult)
{
    // Shifting a reference angle shifts its result by the same degrees, but for the pair of shortened literals (1e-13).
    const Problem at = {{1, 0.25, 0}, {0.5, 0.75, 0.125}, {0, 0}, {3, 4, 0}};
    Problem shifted = at;
    shifted.reference = {30, -40};
    EXPECT_TRUE(within(solve(shifted).first - solve(at).first, 30.0, 1e-10));
    EXPECT_TRUE(within(solve(shifted).second - solve(at).second, -40.0, 1e-10));
}

// Pins [home-vector-null].
TEST(HomeVector, givesOnlyTheAnglesThatAreAskedFor)
{
    const Problem problem = {{1, 0.25, 0}, {0.5, 0.75, 0.125}, {10, 20}, {3, 4, 0}};
    const Solution both = solve(problem);
    CKor engine;
    const auto asked = [&](double* first, double* second) {
        return engine.Calc_HV0(problem.a, problem.b, problem.reference, problem.measured, first, second);
    };
    double angle = 0;
    EXPECT_EQ(asked(&angle, nullptr), both.ok);
    EXPECT_TRUE(sameBits(angle, both.first));
    EXPECT_EQ(asked(nullptr, &angle), both.ok);
    EXPECT_TRUE(sameBits(angle, both.second));
    EXPECT_EQ(asked(nullptr, nullptr), both.ok);
}

TEST(HomeVector, aDirectionThatIsNotANumberGivesAnglesThatAreNone)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double x : {-0.5, 0.5}) {
        const Solution solution = solve({{1, 0.25, 0}, {x, nan, 0.125}, {10, 20}, {3, 4, 0}});
        EXPECT_TRUE(std::isnan(solution.first)) << x;
        EXPECT_TRUE(std::isnan(solution.second)) << x;
    }
}

} // namespace
} // namespace kor_test
