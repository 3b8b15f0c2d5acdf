// Statistics of errors, the pairing of rows by their time stamps, and the comparison of two series.
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "accuracy/Comparison.h"
#include "accuracy/Statistics.h"
#include "simulation/Rotation.h"

using namespace kor::accuracy;
using namespace kor::simulation;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();

// Turn about a unit vector, in a way of its own: Rodrigues' formula in long double.
Mat3 turned(const Vec3& axis, long double degrees)
{
    const long double angle = degrees * std::acos(-1.0L) / 180.0L;
    const long double s = std::sin(angle);
    const long double half = std::sin(angle / 2);
    const long double v = 2 * half * half; // one less the cosine
    const long double x = axis[0], y = axis[1], z = axis[2];
    const long double elements[9] = {1 - v * (y * y + z * z), v * x * y - s * z,       v * x * z + s * y,
                                     v * x * y + s * z,       1 - v * (x * x + z * z), v * y * z - s * x,
                                     v * x * z - s * y,       v * y * z + s * x,       1 - v * (x * x + y * y)};
    Mat3 matrix{};
    for (std::size_t i = 0; i < 9; ++i) {
        matrix[i] = static_cast<double>(elements[i]);
    }
    return matrix;
}

// Rows with these stamps, all to be compared, all the identity.
Series rowsAt(const std::vector<std::uint32_t>& stamps)
{
    Series series;
    series.stamps = stamps;
    series.formed.assign(stamps.size(), 1);
    series.states.assign(stamps.size(), 0);
    series.orientations.assign(stamps.size(), kIdentity);
    return series;
}

std::vector<std::pair<std::size_t, std::size_t>> rowsOf(const Pairing& pairing)
{
    std::vector<std::pair<std::size_t, std::size_t>> rows;
    for (const Pair& pair : pairing.pairs) {
        rows.emplace_back(pair.first, pair.second);
    }
    return rows;
}

using Rows = std::vector<std::pair<std::size_t, std::size_t>>;

} // namespace

// The sine and cosine are computed from rounded elements: a few units of 1.1e-16 rad, 6e-15 degrees, at any size.
TEST(AngleBetweenRotations, keepsItsDigitsFromTheSmallestAngleToHalfATurn)
{
    const Vec3 axis = unit({0.3, -0.5, 0.8});
    for (const long double degrees : {0.0L, 1e-9L, 1e-6L, 1e-3L, 1.0L, 60.0L, 90.0L, 179.0L, 179.999999L, 180.0L}) {
        const double wanted = static_cast<double>(degrees);
        EXPECT_NEAR(angleBetween(turned(axis, degrees), kIdentity), wanted, 5e-14) << wanted;
        const Mat3 from = turned(unit({-1.0, 2.0, 0.1}), 77.0L);
        EXPECT_NEAR(angleBetween(turned(axis, degrees) * from, from), wanted, 1e-13) << wanted;
    }
}

// Against the identity no element of a small turn about an axis of the frame is rounded but the sine itself.
TEST(AngleBetweenRotations, keepsItsRelativeAccuracyForTinyAngles)
{
    for (const long double degrees : {1e-120L, 1e-30L, 1e-15L, 1e-10L}) {
        const double wanted = static_cast<double>(degrees);
        EXPECT_NEAR(angleBetween(turned({0.0, 0.0, 1.0}, degrees), kIdentity), wanted, 1e-15 * wanted);
    }
}

TEST(AngleBetweenRotations, takesNanForHalfATurn)
{
    Mat3 broken = kIdentity;
    broken[4] = kNan;
    EXPECT_EQ(angleBetween(broken, kIdentity), 180.0);
    EXPECT_EQ(angleBetween(kIdentity, broken), 180.0);
}

// A rotation about a known axis by a known angle, beside any other rotation.
TEST(TurnOfAnOrientation, isItsAngleAboutItsAxis)
{
    const Mat3 other = turned(unit({1.0, -2.0, 0.5}), 77.0L);
    for (const long double degrees : {1e-7L, 1e-3L, 1.0L, 90.0L, 170.0L}) {
        const Vec3 axis = unit({0.3, -0.5, 0.8});
        const Turn turn = turnOf(turned(axis, degrees) * other, other);
        const auto size = static_cast<double>(degrees);
        EXPECT_EQ(turn.angle, angleBetween(turned(axis, degrees) * other, other));
        for (std::size_t i = 0; i < 3; ++i) {
            // The elements are rounded to 2^-53, which is worth so much of an angle; near half a turn thirty times.
            EXPECT_NEAR(turn.about[i], size * axis[i], (degrees > 100.0L ? 3e-12 : 1e-13)) << size;
        }
    }
    EXPECT_EQ(turnOf(other, other).about, Vec3{});
}

TEST(OffRotation, isSmallForRotationsAndTellsAllOthers)
{
    EXPECT_LT(offRotation(turned(unit({0.3, -0.5, 0.8}), 123.0L)), 1e-15); // roundings of nine products
    EXPECT_EQ(offRotation({1, 0, 0, 0, 1, 0, 0, 0, -1}), 2.0);             // a reflection: orthonormal, determinant -1
    EXPECT_NEAR(offRotation({1, 1e-5, 0, 0, 1, 0, 0, 0, 1}), 1e-5, 1e-9);  // sheared, determinant 1
    EXPECT_NEAR(offRotation({1, 0, 0, 0, 1, 0, 0, 0, 1.25}), 0.5625, 0.0);
    EXPECT_EQ(offRotation({}), 1.0);
    EXPECT_TRUE(std::isnan(offRotation({1, 0, 0, 0, kNan, 0, 0, 0, 1})));
    EXPECT_TRUE(std::isnan(offRotation({kInfinite, 0, 0, 0, 1, 0, 0, 0, 1})));
}

TEST(SpreadOfErrors, countsAsItSays)
{
    std::vector<double> none;
    EXPECT_EQ(spreadOf(none).count, 0u);

    std::vector<double> few = {3.0, 0.0, 4.0, 1.0};
    const Spread spread = spreadOf(few);
    EXPECT_EQ(spread.count, 4u);
    EXPECT_EQ(spread.median, 3.0);
    EXPECT_DOUBLE_EQ(spread.rms, std::sqrt(26.0 / 4.0));
    EXPECT_EQ(spread.high, 4.0);
    EXPECT_EQ(spread.worst, 4.0);

    std::vector<double> thousand(1000);
    for (std::size_t i = 0; i < thousand.size(); ++i) {
        thousand[i] = static_cast<double>((i * 7) % 1000);
    }
    EXPECT_EQ(spreadOf(thousand).high, 998.0); // 999 of 1000 lie at or below
    EXPECT_EQ(thousand.back(), 999.0);
}

TEST(SpreadOfErrors, rootMeanSquareStaysInRange)
{
    for (const double scale : {1e-300, 1e300}) {
        std::vector<double> errors = {3.0 * scale, 4.0 * scale};
        EXPECT_NEAR(spreadOf(errors).rms / scale, std::sqrt(12.5), 1e-14);
    }
    std::vector<double> zeros = {0.0, 0.0};
    EXPECT_EQ(spreadOf(zeros).rms, 0.0);
    std::vector<double> infinite = {1.0, kInfinite};
    EXPECT_EQ(spreadOf(infinite).rms, kInfinite);
}

TEST(PairingOfRows, countsRowsThatAreMissingOnEitherSide)
{
    const Pairing pairing = paired({10, 20, 30, 50}, {20, 30, 40, 50, 60});
    EXPECT_EQ(rowsOf(pairing), (Rows{{1, 0}, {2, 1}, {3, 3}}));
    EXPECT_EQ(pairing.onlyFirst, 1u);
    EXPECT_EQ(pairing.onlySecond, 2u);
    EXPECT_EQ(pairing.openFirst + pairing.openSecond, 0u);
}

TEST(PairingOfRows, goesAcrossTheWrapAndBackwardJumps)
{
    const std::vector<std::uint32_t> wrapping = {4294967280u, 4294967290u, 4u, 14u};
    EXPECT_EQ(rowsOf(paired(wrapping, {4294967290u, 4u, 14u})), (Rows{{1, 0}, {2, 1}, {3, 2}}));

    // The clock goes back by 25 before the fifth row; the second side lacks the row before.
    const Pairing pairing = paired({100, 110, 120, 130, 115, 125, 135}, {100, 110, 120, 115, 125, 135});
    EXPECT_EQ(rowsOf(pairing), (Rows{{0, 0}, {1, 1}, {2, 2}, {4, 3}, {5, 4}, {6, 5}}));
    EXPECT_EQ(pairing.onlyFirst, 1u);
}

TEST(PairingOfRows, pairsDoubledStampsInTheirOrderAndLeavesOpenWhatIsOpen)
{
    const Pairing even = paired({10, 20, 10, 20}, {10, 10, 20, 20});
    EXPECT_EQ(rowsOf(even), (Rows{{0, 0}, {1, 2}, {2, 1}, {3, 3}}));

    const Pairing odd = paired({10, 20, 20, 30}, {10, 20, 30, 30, 30});
    EXPECT_EQ(rowsOf(odd), (Rows{{0, 0}}));
    EXPECT_EQ(odd.openFirst, 3u);  // 20 twice, 30 once
    EXPECT_EQ(odd.openSecond, 4u); // 20 once, 30 three times
    EXPECT_EQ(odd.onlyFirst + odd.onlySecond, 0u);
}

TEST(ComparisonOfSeries, comparesRowsThatAreUsableOnBothSides)
{
    Series a = rowsAt({1, 2, 3, 4, 5});
    Series b = rowsAt({1, 2, 3, 4, 6});
    a.states[1] = a.stateOf("rejected_status");
    b.states[2] = b.stateOf("side");
    b.formed[3] = 0;
    a.states[3] = a.stateOf("not_finite");
    a.orientations[0] = turned({1.0, 0.0, 0.0}, 2.0L);
    const Comparison found = compared(a, b, {});
    EXPECT_EQ(found.rows.pairs.size(), 4u);
    EXPECT_EQ(found.compared, 1u);
    EXPECT_EQ(found.onlySecondUsable, 1u);
    EXPECT_EQ(found.onlyFirstUsable, 1u);
    EXPECT_EQ(found.neitherUsable, 1u);
    EXPECT_EQ(found.orientation.spread.count, 1u);
    EXPECT_NEAR(found.orientation.spread.worst, 2.0, 1e-14); // rounding of the elements
    EXPECT_EQ(a.reasons, (std::vector<std::string>{"rejected_status", "not_finite"}));
    EXPECT_EQ(a.states[3], 2);
}

TEST(ComparisonOfSeries, findsTheLargestDifferenceOfEachColumn)
{
    Series a = rowsAt({10, 20, 30, 40});
    Series b = rowsAt({20, 30, 40});
    a.columns = {{9.0, 1.0, 2.0, 3.0}, {0.0, 359.5, 10.0, -179.0}, {0.0, kNan, kInfinite, -0.0}};
    b.columns = {{1.5, 2.25, 3.0}, {0.25, 10.0, 179.5}, {kNan, kInfinite, 0.0}};
    const Comparison found = compared(a, b, {{"x", "mm"}, {"angle", "deg", true}, {"odd", ""}});
    ASSERT_EQ(found.columns.size(), 3u);
    EXPECT_EQ(found.columns[0].spread.worst, 0.5);
    EXPECT_EQ(found.columns[0].spread.median, 0.25);
    EXPECT_EQ(found.columns[0].worst.first, 1u);
    EXPECT_EQ(found.columns[0].worst.second, 0u);
    EXPECT_EQ(found.columns[1].spread.worst, 1.5); // across the half turn
    EXPECT_EQ(found.columns[1].worst.first, 3u);
    EXPECT_EQ(found.columns[1].spread.median, 0.75); // across zero
    EXPECT_EQ(found.columns[2].spread.worst, 0.0);   // the same on both sides, also where it is not finite
    EXPECT_EQ(found.columns[2].lone, 0u);
}

TEST(ComparisonOfSeries, countsValuesThatAreFiniteOnOneSideOnly)
{
    Series a = rowsAt({1, 2, 3, 4});
    Series b = a;
    a.columns = {{1.0, kNan, kInfinite, kInfinite}};
    b.columns = {{1.0, 1.0, -kInfinite, 2.0}};
    const Difference found = compared(a, b, {{"x", ""}}).columns[0];
    EXPECT_EQ(found.spread.count, 1u);
    EXPECT_EQ(found.lone, 3u);
    EXPECT_EQ(found.firstLone.first, 1u);
}

TEST(ComparisonOfSeries, comparesWithEarlierRowsWhenAsked)
{
    Series a = rowsAt({1, 2, 3, 4});
    Series b = a;
    for (std::size_t i = 0; i < 4; ++i) {
        a.orientations[i] = turned({0.0, 0.0, 1.0}, static_cast<long double>(i));
        b.orientations[i] = turned({0.0, 0.0, 1.0}, static_cast<long double>(i + 1));
    }
    b.states[2] = b.stateOf("moving"); // decides with its own stamp, not as the earlier row of another
    const Comparison found = compared(a, b, {}, 1);
    EXPECT_EQ(found.withoutEarlier, 1u);
    EXPECT_EQ(found.compared, 2u);
    EXPECT_EQ(found.onlyFirstUsable, 1u);
    EXPECT_NEAR(found.orientation.spread.worst, 0.0, 1e-13); // roundings of the elements
    b.formed[2] = 0;                                         // and without an orientation nothing is compared with it
    EXPECT_EQ(compared(a, b, {}, 1).compared, 1u);
    EXPECT_EQ(compared(a, b, {}, -1).withoutEarlier, 1u);
    EXPECT_NEAR(compared(a, b, {}, -1).orientation.spread.worst, 2.0, 1e-13);
}

TEST(ComparisonOfSeries, agreesWithItselfExactly)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> any(-1.0, 1.0);
    Series a;
    for (std::uint32_t i = 0; i < 200; ++i) {
        const Mat3 matrix = turned(unit({any(random), any(random), any(random)}), 180.0L * any(random));
        a.stamps.push_back(i);
        a.formed.push_back(1);
        a.states.push_back(0);
        a.orientations.push_back(matrix);
    }
    EXPECT_EQ(compared(a, a, {}).orientation.spread.worst, 0.0);
}
