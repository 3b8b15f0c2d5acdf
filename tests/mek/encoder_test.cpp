// Encoder calibration, forward and inverse.
#include "mek/CEncoder.h"

#include "Random.h"
#include "mek/Search.h"
#include "support/Float.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

using kor_test::Random;
using kor_test::sameBits;
using kor_test::within;

namespace {

using Table = std::vector<float>; // reading, correction, reading, correction, ...
using Real = long double;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

mek::CEncoder encoder(const Table& table)
{
    mek::CEncoder e;
    e.setCalTable(table.data(), static_cast<int>(table.size() / 2));
    return e;
}

float forward(const Table& table, float reading)
{
    return encoder(table).encCalibration(reading);
}

float inverse(const Table& table, float angle)
{
    return encoder(table).inverseEncCalibration(angle);
}

// One straight piece of the periodic curve, in extended precision.
struct Piece {
    Real from;
    Real to;
    Real correctionFrom;
    Real correctionTo;

    Real slope() const { return (correctionTo - correctionFrom) / (to - from); }
};

std::vector<Piece> pieces(const Table& t)
{
    std::vector<Piece> all;
    for (std::size_t i = 0; i + 3 < t.size(); i += 2) {
        all.push_back({t[i], t[i + 2], t[i + 1], t[i + 3]});
    }
    all.push_back({t[t.size() - 2], static_cast<Real>(t[0]) + 360, t[t.size() - 1], t[1]});
    return all;
}

// Whole turns off (exactly: fmod does not round) until the value lies in [first, first + 360).
Real reduced(Real value, Real first)
{
    Real r = std::fmod(value, Real(360));
    while (r < first) {
        r += 360;
    }
    while (r >= first + 360) {
        r -= 360;
    }
    return r;
}

struct Correction {
    Real value;
    bool isOfARow; // not interpolated
};

Correction correctionAt(const Table& t, float reading)
{
    const Real r = reduced(reading, t[0]);
    for (const Piece& p : pieces(t)) {
        if (r >= p.from && r < p.to) {
            return {p.correctionFrom + p.slope() * (r - p.from), r == p.from || p.slope() == 0};
        }
    }
    ADD_FAILURE() << "no piece for " << reading;
    return {0, false};
}

// The reading whose calibrated angle is `angle`: linear search for the piece by its calibrated ends.
Real readingFor(const Table& t, float angle)
{
    const Real lowest = static_cast<Real>(t[0]) + t[1];
    const Real target = reduced(angle, lowest);
    const Real turns = angle - target;
    for (const Piece& p : pieces(t)) {
        const Real low = p.from + p.correctionFrom;
        const Real high = p.to + p.correctionTo;
        if (target >= low && target < high) {
            return p.from + (target - low) * (p.to - p.from) / (high - low) + turns;
        }
    }
    ADD_FAILURE() << "no piece for the angle " << angle;
    return 0;
}

// Narrowed from double, the result is one of two floats only where the exact value lies within `error` of the middle
// between them; everywhere else it is one float and every bit counts.
bool isNarrowed(float got, Real exact, Real error)
{
    return got == static_cast<float>(exact - error) || got == static_cast<float>(exact + error);
}

bool isClearCut(Real exact, Real error)
{
    return static_cast<float>(exact - error) == static_cast<float>(exact + error);
}

// A table of rows over most of a turn, its corrections wandering by at most `steepness` per degree.
Table randomTable(Random& random, int rows, double first, double steepness)
{
    Table t;
    const double pitch = 359.0 / rows;
    for (int i = 0; i < rows; ++i) {
        t.push_back(static_cast<float>(first + pitch * (i + random.between(0.0, 0.5))));
        t.push_back(static_cast<float>(random.between(-1, 1) * steepness * pitch / 4));
    }
    return t;
}

// A reading from one of several habitats: the first turn, nearby turns, far away, the very small, the rows themselves.
float randomReading(Random& random, const Table& t)
{
    switch (random.upTo(5)) {
    case 0:
        return random.floatBetween(-360, 720);
    case 1:
        return random.floatBetween(-1e4, 1e4);
    case 2:
        return random.floatBetween(-1e6, 1e6);
    case 3: {
        const float mantissa = random.floatBetween(-1, 1);
        return std::ldexp(mantissa, -random.upTo(40));
    }
    case 4:
        return t[2 * static_cast<std::size_t>(random.upTo(static_cast<int>(t.size() / 2) - 1))];
    default:
        return random.floatBetween(0, 360);
    }
}

double largestCorrection(const Table& t)
{
    double largest = 0;
    for (std::size_t i = 1; i < t.size(); i += 2) {
        largest = std::max(largest, std::abs(static_cast<double>(t[i])));
    }
    return largest;
}

// ------------------------------------------------------------------------------------------------------ no table

TEST(Encoder, withoutATableAnglesComeBackUnchanged)
{
    const Table rows{0, 5, 180, 7};
    mek::CEncoder none;
    mek::CEncoder null;
    null.setCalTable(nullptr, 2);
    mek::CEncoder empty;
    empty.setCalTable(rows.data(), 0);
    mek::CEncoder negative;
    negative.setCalTable(rows.data(), -1);
    mek::CEncoder mostNegative;
    mostNegative.setCalTable(rows.data(), INT_MIN);
    mek::CEncoder taken = encoder(rows);
    taken.setCalTable(nullptr, 0);
    for (const mek::CEncoder& e : {none, null, empty, negative, mostNegative, taken}) {
        for (const float value : {0.0F, -0.0F, 12.5F, -1e9F, 1e-40F, 3e38F, kInf, -kInf, kNaN}) {
            EXPECT_TRUE(sameBits(e.encCalibration(value), value));
            EXPECT_TRUE(sameBits(e.inverseEncCalibration(value), value));
        }
    }
}

TEST(Encoder, nanAndInfinityComeBackUnchanged)
{
    const Table rows{0, 5, 180, 7};
    for (const Table& t : {rows, Table{3, 4}}) {
        for (const float value : {kInf, -kInf, kNaN}) {
            EXPECT_TRUE(sameBits(forward(t, value), value));
            EXPECT_TRUE(sameBits(inverse(t, value), value));
        }
    }
}

TEST(Encoder, tableIsKeptByItsAddress)
{
    Table t{0, 1, 180, 1};
    const mek::CEncoder e = encoder(t);
    EXPECT_EQ(e.encCalibration(90), 91);
    t[1] = 3;
    t[3] = 3;
    EXPECT_EQ(e.encCalibration(90), 93);
    EXPECT_EQ(e.inverseEncCalibration(93), 90);
}

TEST(Encoder, laterTableReplacesTheEarlierOne)
{
    const Table first{0, 1, 180, 1};
    const Table second{10, 2};
    mek::CEncoder e = encoder(first);
    e.setCalTable(second.data(), 1);
    EXPECT_EQ(e.encCalibration(90), 92);
}

TEST(Encoder, rawReadingChangesNoResult)
{
    const Table t{0, 1, 90, -2, 200, 3};
    mek::CEncoder e = encoder(t);
    for (const float raw : {0.0F, 123.0F, -1e9F, kNaN, kInf}) {
        e.setRawReading(raw);
        for (float value = -400; value < 800; value += 37.5F) {
            EXPECT_TRUE(sameBits(e.encCalibration(value), forward(t, value)));
            EXPECT_TRUE(sameBits(e.inverseEncCalibration(value), inverse(t, value)));
        }
    }
}

// ------------------------------------------------------------------------------------------------- kept piece

// Tables as they should be and as they should not: up to a turn, a few rows or many, beginning anywhere; then rows
// exchanged, repeated, beyond a turn, huge, infinite and no numbers.
Table anyTable(Random& random)
{
    const int kind = random.upTo(6);
    const int rows = 1 + random.upTo(kind == 0 ? 60 : 6);
    const std::array<float, 6> begins = {0.0F, -180.0F, -360.0F, 0.5F, -1e-30F, 1e10F};
    const float begin = begins[static_cast<std::size_t>(random.upTo(kind < 5 ? 4 : 5))];
    Table t;
    for (int i = 0; i < rows; ++i) {
        const double span = kind == 5 ? 800.0 : 360.0;
        t.push_back(begin + static_cast<float>(span * i / rows + random.between(0.0, 0.9 * span / rows)));
        t.push_back(static_cast<float>(random.between(-0.1, 0.1)));
    }
    t[0] = begin;
    if (kind == 4) {
        const std::array<float, 6> odd = {kNaN, kInf, -kInf, 3e38F, -3e38F, 200.0F};
        t[static_cast<std::size_t>(random.upTo(2 * rows - 1))] = odd[static_cast<std::size_t>(random.upTo(5))];
    }
    if (kind == 3 && rows > 2) {
        std::swap(t[2], t[4]);
    }
    return t;
}

// What moves, jumps, and stops where pieces and turns end.
float anyReading(Random& random, const Table& t, float before)
{
    switch (random.upTo(5)) {
    case 0:
        return static_cast<float>(random.between(-800, 800));
    case 1: {
        const float key = t[2 * static_cast<std::size_t>(random.upTo(static_cast<int>(t.size() / 2) - 1))];
        const float turned = key + 360.0F * static_cast<float>(random.upTo(2) - 1);
        return random.upTo(1) == 0 ? turned : std::nextafter(turned, random.upTo(1) == 0 ? kInf : -kInf);
    }
    case 2: {
        const std::array<float, 8> odd = {0.0F, -0.0F, -1e-20F, 1e-45F, kNaN, kInf, -kInf, 3e38F};
        return odd[static_cast<std::size_t>(random.upTo(7))];
    }
    default:
        return before + static_cast<float>(random.between(-3, 3));
    }
}

TEST(EncoderPiece, givesWhatASearchGivesWhateverTheTableAndTheReading)
{
    Random random(77);
    for (int round = 0; round < 2000; ++round) {
        Table t = anyTable(random);
        mek::CEncoder e = encoder(t);
        std::uint64_t revision = 5;
        float reading = 0.0F;
        for (int i = 0; i < 60; ++i) {
            if (random.upTo(19) == 0) {
                // Rewritten in place, as an engine's table is, also through a copy of the engine.
                const Table next = anyTable(random);
                std::copy_n(next.begin(), std::min(next.size(), t.size()), t.begin());
                ++revision;
            }
            reading = anyReading(random, t, reading);
            const float wanted = forward(t, reading);
            const float got = e.encCalibration(reading, revision);
            ASSERT_TRUE(sameBits(got, wanted)) << reading << ", round " << round;
        }
    }
}

TEST(EncoderPiece, isForgottenWithAnotherRevisionAndAnotherTable)
{
    Table t{0, 1, 180, 1};
    mek::CEncoder e = encoder(t);
    EXPECT_EQ(e.encCalibration(90, 1), 91);
    t[1] = 3;
    t[3] = 3;
    EXPECT_EQ(e.encCalibration(90, 2), 93);
    const Table other{0, 7};
    e.setCalTable(other.data(), 1);
    EXPECT_EQ(e.encCalibration(90, 2), 97);
    e.setCalTable(nullptr, 0);
    EXPECT_EQ(e.encCalibration(90, 2), 90);
    EXPECT_EQ(e.encCalibration(90, 0), 90);
}

TEST(EncoderPiece, copiesKeepPiecesOfTheirOwn)
{
    Table t{0, 1, 100, 2, 200, 3};
    mek::CEncoder e = encoder(t);
    EXPECT_EQ(e.encCalibration(0, 1), 1);
    mek::CEncoder copy = e;
    t[1] = 11; // through the copy, which alone knows the new number
    EXPECT_EQ(copy.encCalibration(0, 2), 11);
    EXPECT_EQ(copy.encCalibration(100, 2), 102);
    EXPECT_EQ(e.encCalibration(0, 2), 11);
}

// A neighbour costs the same in a table of any length; any other row costs the logarithm of the length, and the last
// few rows are counted.
TEST(Search, fromARowFindsTheSameInFewLooks)
{
    for (const std::ptrdiff_t count : {1, 2, 3, 4, 17, 1000, 100000}) {
        int bits = 0;
        while ((std::ptrdiff_t{1} << bits) < count) {
            ++bits;
        }
        for (const std::ptrdiff_t wanted : {std::ptrdiff_t{0}, std::ptrdiff_t{1}, count / 3, count - 2, count - 1}) {
            for (const std::ptrdiff_t distance : {-90000, -40, -3, -2, -1, 0, 1, 2, 3, 40, 90000}) {
                const std::ptrdiff_t near = wanted + distance;
                if (near < 0 || near >= count || wanted < 0 || wanted >= count) {
                    continue;
                }
                int looks = 0;
                const auto reached = [&](std::ptrdiff_t place) {
                    EXPECT_TRUE(place >= 0 && place < count) << place;
                    ++looks;
                    return place <= wanted;
                };
                EXPECT_EQ(mek::lastReachedNear(near, count, reached), wanted) << near << " of " << count;
                EXPECT_LE(looks, std::abs(distance) <= 1 ? 4 : 2 + std::max(0, bits - 4) + 15)
                    << near << " of " << count;
                EXPECT_EQ(mek::lastReached(0, count, reached), wanted);
            }
        }
        // Before the first row that is reached.
        EXPECT_EQ(mek::lastReachedNear(count - 1, count, [](std::ptrdiff_t) { return false; }), 0);
        EXPECT_EQ(mek::lastReachedNear(0, count, [](std::ptrdiff_t) { return false; }), 0);
    }
}

// ------------------------------------------------------------------------------------------------- closed forms

TEST(EncoderForward, oneRowIsAConstantCorrection)
{
    const Table t{40, 0.1F};
    for (const float reading : {0.0F, 40.0F, 39.0F, 400.0F, -1000.25F, 1e6F, 1e-20F}) {
        EXPECT_TRUE(sameBits(forward(t, reading), static_cast<float>(double(reading) + double(0.1F))));
        EXPECT_TRUE(sameBits(inverse(t, reading), static_cast<float>(double(reading) - double(0.1F))));
    }
}

TEST(EncoderForward, interpolatesBetweenRowsAndMeetsThem)
{
    const Table t{0, 1, 100, 3, 200, -1};
    EXPECT_EQ(forward(t, 0), 1);
    EXPECT_EQ(forward(t, 50), 52);
    EXPECT_EQ(forward(t, 100), 103);
    EXPECT_EQ(forward(t, 125), 127);
    EXPECT_EQ(forward(t, 200), 199);
}

TEST(EncoderForward, gapBehindTheLastRowRollsOverToTheFirst)
{
    const Table t{0, 1, 100, 3, 200, -1}; // from -1 at 200 to +1 at 360
    EXPECT_EQ(forward(t, 280), 280);
    EXPECT_EQ(forward(t, 320), 320.5F);
    EXPECT_EQ(forward(t, 360), 361);
    // The same gap seen from below the first row.
    EXPECT_EQ(forward(t, -80), -80);
    EXPECT_EQ(forward(t, -40), -39.5F);

    const Table inside{90, 2, 170, -2}; // from -2 at 170 to 2 at 450
    EXPECT_EQ(forward(inside, 310), 310);
    EXPECT_EQ(forward(inside, 0), 5.0F / 7.0F); // 190 of 280 degrees on
    EXPECT_EQ(forward(inside, 450), 452);
}

TEST(EncoderForward, readingKeepsItsOwnTurn)
{
    const Table t{0, 1, 100, 3, 200, -1};
    for (const float turns : {-10000.0F, -3.0F, -1.0F, 1.0F, 2.0F, 10000.0F}) {
        EXPECT_EQ(forward(t, 50 + 360 * turns), 52 + 360 * turns);
        EXPECT_EQ(forward(t, 200 + 360 * turns), 199 + 360 * turns);
        EXPECT_EQ(inverse(t, 52 + 360 * turns), 50 + 360 * turns);
        EXPECT_EQ(inverse(t, 199 + 360 * turns), 200 + 360 * turns);
    }
}

TEST(EncoderForward, tablesMayBeginAnywhere)
{
    for (const float first : {-360.0F, -180.0F, -7.5F, 30.0F, 355.0F, 3600.0F, -3600.0F}) {
        const Table t{first, 2, first + 90, 4, first + 180, 0};
        for (const float turn : {-720.0F, -360.0F, 0.0F, 360.0F, 1080.0F}) {
            EXPECT_EQ(forward(t, first + 45 + turn), first + 48 + turn);
            EXPECT_EQ(forward(t, first + 270 + turn), first + 271 + turn);
            EXPECT_EQ(inverse(t, first + 48 + turn), first + 45 + turn);
            EXPECT_EQ(inverse(t, first + 271 + turn), first + 270 + turn);
        }
    }
}

TEST(EncoderForward, tableOfExactlyOneTurn)
{
    const Table t{0, 1, 90, 2, 180, 0, 270, -1, 360, 1};
    EXPECT_EQ(forward(t, 0), 1);
    EXPECT_EQ(forward(t, 315), 315);
    EXPECT_EQ(forward(t, 360), 361);
    EXPECT_EQ(forward(t, -45), -45);
    EXPECT_EQ(inverse(t, 315), 315);
    EXPECT_EQ(inverse(t, 361), 360);
    EXPECT_EQ(inverse(t, 1), 0);
    for (float angle = -800; angle < 800; angle += 3.7F) {
        EXPECT_TRUE(within(forward(t, inverse(t, angle)), angle, 1e-4F)); // two float roundings of 800
    }
}

TEST(EncoderForward, oneTurnWithUnequalEndsTakesTheFirstRowAtTheSeam)
{
    const Table t{0, 1, 180, 3, 360, 5}; // 360 is brought to 0
    EXPECT_EQ(forward(t, 360), 361);
    EXPECT_EQ(forward(t, 0), 1);
    EXPECT_EQ(forward(t, 270), 274);
    EXPECT_EQ(forward(t, -90), -86);
}

TEST(EncoderForward, tinyReadingBelowATableOfOneTurnTakesTheLastRow)
{
    // Brought up by a turn it rounds onto the last row, behind which nothing of the turn is left.
    const Table t{0, 1, 180, 3, 360, 5};
    EXPECT_EQ(forward(t, -1e-20F), 5);
    EXPECT_EQ(forward(t, std::nextafter(0.0F, -1.0F)), 5);
}

TEST(EncoderForward, correctionIsAddedInDoubleAndNarrowedOnce)
{
    // 2^24 + 0.5 + 0.75: single-precision sums would drop either part.
    const Table t{0, 1.25F, 180, 1.25F};
    EXPECT_TRUE(sameBits(forward(t, 16777216.0F), static_cast<float>(16777216.0 + 1.25)));
    EXPECT_TRUE(sameBits(forward(t, 33554432.0F), 33554432.0F));
    EXPECT_TRUE(sameBits(forward(t, 1e-6F), static_cast<float>(double(1e-6F) + 1.25)));
}

TEST(EncoderForward, tinyReadingBelowTheFirstRowBelongsToTheGap)
{
    // Brought up by a turn it rounds onto the seam; the correction there is the first row's.
    const Table t{0, 3, 180, -3};
    EXPECT_EQ(forward(t, -1e-30F), 3);
    EXPECT_EQ(forward(t, std::nextafter(0.0F, -1.0F)), 3);
    EXPECT_EQ(forward(t, -0.0F), 3);
}

TEST(EncoderForward, enormousReadingsStayFinite)
{
    const Table t{10, 1, 180, -1, 300, 2};
    for (const float value : {1e10F, -1e10F, 1e30F, -1e30F, 3e38F, -3e38F}) {
        EXPECT_EQ(forward(t, value), value); // corrections are far below the last digit
        EXPECT_EQ(inverse(t, value), value);
    }
}

// -------------------------------------------------------------------------------- against an exact linear search

TEST(EncoderForward, isTheNarrowedSumToTheBit)
{
    Random random(101);
    int readings = 0;
    int doubtful = 0;
    for (int round = 0; round < 100; ++round) {
        const double first = random.between(-400, 400);
        const Table t = randomTable(random, 1 + random.upTo(36), first, 0.9);
        const mek::CEncoder e = encoder(t);
        for (int i = 0; i < 1000; ++i) {
            const float reading = randomReading(random, t);
            const Correction correction = correctionAt(t, reading);
            const float got = e.encCalibration(reading);
            if (correction.isOfARow) {
                // Nothing but the sum and the narrowing rounds.
                const auto sum = static_cast<double>(reading) + static_cast<double>(correction.value);
                ASSERT_TRUE(sameBits(got, static_cast<float>(sum))) << "reading " << reading;
                continue;
            }
            const Real exact = reading + correction.value;
            // The correction to some roundings, through a reading brought near the table (below 1200 degrees) at a
            // slope of at most about 1; the sum to one rounding.
            const Real error = 8 * largestCorrection(t) * 0x1p-52L + 1200 * 0x1p-52L + std::abs(exact) * 0x1p-52L;
            ASSERT_TRUE(isNarrowed(got, exact, error))
                << "reading " << reading << ", got " << got << ", exact " << static_cast<double>(exact);
            ++readings;
            doubtful += isClearCut(exact, error) ? 0 : 1;
        }
    }
    EXPECT_LT(doubtful, readings / 1000); // nearly always a single float passes
}

TEST(EncoderInverse, isTheExactReadingNarrowedToTheBit)
{
    Random random(102);
    int angles = 0;
    int doubtful = 0;
    for (int round = 0; round < 100; ++round) {
        const double first = random.between(-400, 400);
        const Table t = randomTable(random, 1 + random.upTo(36), first, 0.9);
        const mek::CEncoder e = encoder(t);
        Real steepest = 1;
        for (const Piece& p : pieces(t)) {
            steepest = std::min(steepest, 1 + p.slope());
        }
        ASSERT_GT(steepest, 0.01L);
        for (int i = 0; i < 1000; ++i) {
            const float angle = randomReading(random, t);
            const Real exact = readingFor(t, angle);
            // As forward, magnified by the flattest piece of the curve.
            const Real error = 1600 * 0x1p-52L / steepest + std::abs(exact) * 0x1p-52L;
            const float got = e.inverseEncCalibration(angle);
            if (t.size() == 2) {
                // Nothing but the difference and the narrowing rounds.
                ASSERT_TRUE(sameBits(got, static_cast<float>(static_cast<double>(angle) - static_cast<double>(t[1]))));
                continue;
            }
            ASSERT_TRUE(isNarrowed(got, exact, error))
                << "angle " << angle << ", got " << got << ", exact " << static_cast<double>(exact);
            ++angles;
            doubtful += isClearCut(exact, error) ? 0 : 1;
        }
    }
    EXPECT_LT(doubtful, angles / 1000);
}

TEST(EncoderInverse, solvesSteepCurvesThatNoIterationWouldReach)
{
    // Correction slopes of +9 and close to -1.
    const Table steep{0, 0, 10, 90, 200, -60.0F, 300, -5};
    for (float angle = -1000; angle < 1000; angle += 1.37F) {
        const float reading = inverse(steep, angle);
        const Real exact = readingFor(steep, angle);
        EXPECT_TRUE(isNarrowed(reading, exact, 1e-11L)) << angle;
    }
    const Table flat{0, 0, 100, -99, 200, 0}; // slope -0.99: a degree of angle is a hundred of reading
    EXPECT_EQ(inverse(flat, 0.5F), 50);
    EXPECT_EQ(inverse(flat, 1), 100);
    EXPECT_EQ(inverse(flat, 100.5F + 720), 720 + 150);
}

TEST(EncoderInverse, closedForm)
{
    const Table t{0, 0, 100, 100, 250, 0}; // 0..100 to 0..200, 100..250 to 200..250
    EXPECT_EQ(inverse(t, 100), 50);
    EXPECT_EQ(inverse(t, 280), 280);
    EXPECT_EQ(inverse(t, -80), -80);
    const Table u{90, 2, 170, -2};
    EXPECT_EQ(inverse(u, 92), 90);
    EXPECT_EQ(inverse(u, 130), 130);
    EXPECT_EQ(inverse(u, 168), 170);
    EXPECT_EQ(inverse(u, 310), 310);
    EXPECT_EQ(inverse(u, -50), -50);
}

TEST(EncoderInverse, forwardAfterInverseGivesTheAngleBackOverAMillionReadings)
{
    Random random(103);
    int wrong = 0;
    for (int round = 0; round < 50; ++round) {
        const double first = random.between(-400, 400);
        const Table t = randomTable(random, 1 + random.upTo(36), first, 0.1);
        const mek::CEncoder e = encoder(t);
        double steepest = 0;
        for (const Piece& p : pieces(t)) {
            steepest = std::max(steepest, static_cast<double>(std::abs(p.slope())));
        }
        for (int i = 0; i < 20000; ++i) {
            const float angle = randomReading(random, t);
            const float reading = e.inverseEncCalibration(angle);
            const float again = e.encCalibration(reading);
            // The reading is off by half a unit of its last place, carried by a slope of 1 + steepest; the sum is
            // rounded once more; 1e-12 for the double arithmetic.
            const double unit = std::ldexp(1.0, std::ilogb(std::max(std::abs(reading), 1e-30F)) - 23);
            const double ownUnit = std::ldexp(1.0, std::ilogb(std::max(std::abs(again), 1e-30F)) - 23);
            const double tolerance = (1 + steepest) * unit / 2 + ownUnit / 2 + 1e-12;
            wrong += std::abs(static_cast<double>(again) - angle) <= tolerance ? 0 : 1;
        }
    }
    EXPECT_EQ(wrong, 0);
}

TEST(EncoderInverse, inverseAfterForwardGivesTheReadingBack)
{
    Random random(104);
    for (int round = 0; round < 20; ++round) {
        const double first = random.between(-400, 400);
        const Table t = randomTable(random, 2 + random.upTo(36), first, 0.1);
        for (int i = 0; i < 500; ++i) {
            const float reading = random.floatBetween(-700, 700);
            // Half a unit of a number below 1024 (3e-5) over a slope of at least 0.9, and once more for the result.
            EXPECT_TRUE(within(inverse(t, forward(t, reading)), reading, 7e-5F));
        }
    }
}

// ------------------------------------------------------------------------------------------ tables out of order

TEST(Encoder, tablesThatBreakTheRulesGiveFiniteResultsAndNoFault)
{
    const std::vector<Table> tables{
        {200, 1, 100, 2, 0, 3},                  // descending
        {0, 1, 100, 2, 50, 3, 300, -4},          // mixed
        {0, 1, 0, 2, 0, 3},                      // one reading thrice
        {0, 1, 100, 2, 100, -7, 200, 3},         // a step
        {0, 1, 400, 2},                          // more than a turn
        {-1000, 1, 0, 5, 1000, 2},               // several turns
        {0, 1, 720, 1},                          // two turns
        {360, 1, 0, -1},                         // a turn backwards
        {0, 100, 50, -100, 100, 300, 150, -300}, // a curve that folds back
        {0, 0, 100, -100, 200, -200},            // flat pieces: slope -1
        {0, 0, 100, 100, 200, 0},                // one flat piece
        {0, 5, 180, -355},                       // a gap that steps back
        {1e30F, 1, 2e30F, 2},                    // far out
        {-3e38F, 1, 3e38F, 2},                   // as far as floats go
        {0, 1e30F, 90, -1e30F},                  // absurd corrections
        {1e-40F, 1, 2e-40F, 2},                  // subnormal steps
        {0, 1, 1e-40F, -1, 2e-40F, 1},           //
    };
    Random random(105);
    for (std::size_t which = 0; which < tables.size(); ++which) {
        const Table& t = tables[which];
        for (int i = 0; i < 3000; ++i) {
            const float value = randomReading(random, t);
            if (std::abs(value) > 1e38F) {
                continue; // a row's own reading, so near the end of the floats that any sum may pass it
            }
            ASSERT_TRUE(std::isfinite(forward(t, value))) << "table " << which << ", reading " << value;
            ASSERT_TRUE(std::isfinite(inverse(t, value))) << "table " << which << ", angle " << value;
        }
    }
}

TEST(Encoder, randomUnsortedTablesGiveFiniteResultsAndNoFault)
{
    Random random(106);
    for (int round = 0; round < 3000; ++round) {
        Table t;
        const int rows = 1 + random.upTo(8);
        for (int i = 0; i < rows; ++i) {
            // Whole numbers from a small range: repeated readings and level pieces are frequent.
            t.push_back(static_cast<float>(random.upTo(20) * 50 - 400));
            t.push_back(static_cast<float>(random.upTo(20) * 50 - 500));
        }
        for (int i = 0; i < 30; ++i) {
            const auto value = static_cast<float>(random.upTo(400) * 10 - 2000);
            ASSERT_TRUE(std::isfinite(forward(t, value)));
            ASSERT_TRUE(std::isfinite(inverse(t, value)));
        }
    }
}

TEST(Encoder, readingsInTheTableThatAreNoNumbersGiveFiniteResultsAndNoFault)
{
    for (const float bad : {kNaN, kInf, -kInf}) {
        for (std::size_t row = 0; row < 3; ++row) {
            Table t{0, 1, 100, 2, 200, -1};
            t[2 * row] = bad;
            for (float value = -800; value < 800; value += 12.5F) {
                ASSERT_TRUE(std::isfinite(forward(t, value))) << "row " << row << " = " << bad << ", reading " << value;
                ASSERT_TRUE(std::isfinite(inverse(t, value))) << "row " << row << " = " << bad << ", angle " << value;
            }
        }
        const Table single{bad, 1};
        ASSERT_TRUE(std::isfinite(forward(single, 5)));
        ASSERT_TRUE(std::isfinite(inverse(single, 5)));
    }
}

} // namespace
