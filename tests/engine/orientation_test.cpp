// Composition of the result matrix and the three orientation angles.
#include "engine/engine_pair.h"
#include "mek/Matrix.h"
#include "support/LiteralPolarizer.h"

#include <cmath>
#include <limits>
#include <random>

namespace kor_test {
namespace {

constexpr double kDegPerRad = 57.29577951308;

// What the engine reports for an angle of so many radians.
float reported(double radians)
{
    return static_cast<float>(static_cast<double>(static_cast<float>(radians)) * kDegPerRad);
}

double above(double value)
{
    return std::nextafter(value, std::numeric_limits<double>::infinity());
}

// In the plain configuration the model's matrix is the identity, so the machine matrix is what is taken apart.
KOR_INFO takenApart(const Matrix& machine)
{
    EnginePair pair(5);
    pair.machineMatrix(machine);
    pair.feedBoth(plainSample());
    return pair.feedBoth(plainSample());
}

// Columns of a matrix whose third column alone matters.
Matrix thirdColumn(double m02, double m12, double m22)
{
    return {1, 0, m02, 0, 1, m12, 0, 0, m22};
}

KOR_RAWINFO turned(float azimuth, float elevation, float roll)
{
    KOR_RAWINFO raw = plainSample();
    raw.azimuthRaw = azimuth;
    raw.elevationRaw = elevation;
    raw.levelYRaw = roll;
    return raw;
}

// Composition ----------------------------------------------------------------------------------------------------

const Matrix kSkewed = {2, 0.5, 0.25, -1, 3, 0.125, 0.75, -0.5, 4};

TEST(Composition, withTheMcsFlagTheMachineMatrixStandsBeforeTheModels)
{
    EnginePair pair(5);
    pair.machineMatrix(kSkewed);
    pair.localMatrix(rotationX(1));
    pair.feedBoth(turned(10, 20, 30));
    pair.feedBoth(turned(11, 22, 33));
    std::array<double, 9> slots = {0, 1, 0, 0, 33, 11, 22, 0, 0};
    const Matrix model = literalPolarizer({0, 0, 0, 0, 1, 1, 1, 0}, slots, 0, 0);
    EXPECT_TRUE(sameBitsThroughout(readMatrix(pair.engine), multiply(kSkewed, model)));
}

// Pins [reference-in-machine-frame].
TEST(Composition, withTheMcsFlagTheLocalMatrixAndTheReferenceHaveNoEffect)
{
    EnginePair one(5);
    EnginePair other(6);
    one.localMatrix(kSkewed);
    one.feedBoth(turned(10, 20, 30));
    other.feedBoth(turned(-50, 60, 70));
    const KOR_INFO a = one.feedBoth(turned(1, 2, 3));
    const KOR_INFO b = other.feedBoth(turned(1, 2, 3));
    EXPECT_TRUE(sameResult(a, b));
}

TEST(Composition, withoutTheMcsFlagTheTurnSinceTheReferenceIsCarriedIntoTheLocalFrame)
{
    EnginePair pair(5);
    pair.mcs(false);
    pair.machineMatrix(kSkewed); // no effect here
    pair.localMatrix(kSkewed);
    pair.feedBoth(turned(10, 20, 30));
    pair.feedBoth(turned(11, 22, 33));
    const std::array<float, 8> factors = {0, 0, 0, 0, 1, 1, 1, 0};
    const Matrix reference = literalPolarizer(factors, {0, 1, 0, 0, 30, 10, 20, 0, 0}, 0, 0);
    const Matrix now = literalPolarizer(factors, {0, 1, 0, 0, 33, 11, 22, 0, 0}, 0, 0);
    Matrix inverse = kSkewed;
    ASSERT_TRUE(mek::MatrixInverse(inverse.data(), 3));
    const Matrix wanted = multiply(multiply(kSkewed, multiply(now, transposed(reference))), inverse);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_TRUE(within(readMatrix(pair.engine)[i], wanted[i], 1e-14)) << i;
    }
}

TEST(Composition, theFlagMayChangeBetweenSamples)
{
    EnginePair pair(5);
    pair.machineMatrix(rotationZ(0.3));
    pair.localMatrix(rotationX(0.4));
    for (int i = 0; i < 6; ++i) {
        pair.mcs(i % 2 == 0);
        pair.feedBoth(turned(static_cast<float>(i), 2, 3));
    }
}

// Pins [frames-below-mode-7].
TEST(Composition, fromMode7OnTheModelsMatrixIsTheResult)
{
    EnginePair pair(5);
    pair.mountMode(7);
    pair.machineMatrix(kSkewed);
    pair.localMatrix(kSkewed);
    const Matrix model = literalPolarizer({0, 0, 0, 0, 1, 1, 1, 0}, {0, 1, 0, 0, 33, 11, 22, 0, 0}, 0, 0);
    for (const bool flag : {true, false}) {
        pair.mcs(flag);
        pair.feedBoth(turned(11, 22, 33));
        pair.feedBoth(turned(11, 22, 33));
        EXPECT_TRUE(sameBitsThroughout(readMatrix(pair.engine), model)) << flag;
    }
}

// Rebuilding the matrix from the reported angles; they are floats, so 2e-7 of a turn is what they can carry.
// Pins [order-of-angles].
TEST(OrientationAngles, withTheMcsFlagAreAboutXThenYThenZ)
{
    EnginePair pair(5);
    pair.machineMatrix(multiply(rotationX(0.3), rotationZ(-1.1)));
    pair.feedBoth(turned(1, 2, 3));
    for (float step = -160; step < 170; step += 33) {
        const KOR_INFO info = pair.feedBoth(turned(step, step / 3, step / 5));
        const double rad = 1 / kDegPerRad;
        const Matrix rebuilt = multiply(multiply(rotationX(static_cast<double>(info.orientationAngles[0]) * rad),
                                                 rotationY(static_cast<double>(info.orientationAngles[2]) * rad)),
                                        rotationZ(static_cast<double>(info.orientationAngles[1]) * rad));
        EXPECT_LT(angleBetween(rebuilt, readMatrix(pair.engine)), 5e-5);
    }
}

// Pins [order-of-angles].
TEST(OrientationAngles, withoutTheMcsFlagAreAboutZThenYThenX)
{
    EnginePair pair(5);
    pair.mcs(false);
    pair.localMatrix(multiply(rotationX(0.3), rotationZ(-1.1)));
    pair.feedBoth(turned(1, 2, 3));
    for (float step = -160; step < 170; step += 33) {
        const KOR_INFO info = pair.feedBoth(turned(step, step / 3, step / 5));
        const double rad = 1 / kDegPerRad;
        const Matrix rebuilt = multiply(multiply(rotationZ(static_cast<double>(info.orientationAngles[1]) * rad),
                                                 rotationY(static_cast<double>(info.orientationAngles[2]) * rad)),
                                        rotationX(static_cast<double>(info.orientationAngles[0]) * rad));
        EXPECT_LT(angleBetween(rebuilt, readMatrix(pair.engine)), 5e-5);
    }
}

// MCS flag true: first angle -------------------------------------------------------------------------------------

// Pins [no-dead-zone-about-x].
TEST(MachineAngles, theFirstAngleKeepsItsQuadrantHoweverSmallTheNumerator)
{
    EXPECT_EQ(takenApart(thirdColumn(0, -1e-13, -1)).orientationAngles[0], reported(3.14159265359));
    EXPECT_EQ(takenApart(thirdColumn(0, 1e-13, -1)).orientationAngles[0], reported(-3.14159265359));
    EXPECT_EQ(takenApart(thirdColumn(0, 0, -1)).orientationAngles[0], 0.0F) << "no quadrant at zero itself";
    EXPECT_EQ(takenApart(thirdColumn(0, -1e-13, 1)).orientationAngles[0], reported(1e-13));
}

TEST(MachineAngles, theFirstAngleInEveryQuadrant)
{
    EXPECT_EQ(takenApart(thirdColumn(0, -1, 1)).orientationAngles[0], reported(std::atan(1.0)));
    EXPECT_EQ(takenApart(thirdColumn(0, 1, 1)).orientationAngles[0], reported(std::atan(-1.0)));
    EXPECT_EQ(takenApart(thirdColumn(0, -1, -1)).orientationAngles[0], reported(std::atan(-1.0) + 3.14159265359));
    EXPECT_EQ(takenApart(thirdColumn(0, 1, -1)).orientationAngles[0], reported(std::atan(1.0) - 3.14159265359));
    EXPECT_EQ(takenApart(thirdColumn(0, -1, 0)).orientationAngles[0], reported(1.570796326795));
    EXPECT_EQ(takenApart(thirdColumn(0, 1, 0)).orientationAngles[0], reported(-1.570796326795));
}

TEST(MachineAngles, theDeadZoneOfTheFirstAngleEndsRightAfter1e12)
{
    // A third column (1, -y, x) with tiny x and y: its length rounds to 1.
    const auto first = [](double y, double x) { return takenApart(thirdColumn(1, -y, x)).orientationAngles[0]; };
    EXPECT_EQ(first(1e-12, 1e-12), 0.0F);
    EXPECT_EQ(first(-1e-12, -1e-12), 0.0F);
    EXPECT_EQ(first(2e-12, 1e-12), reported(1.570796326795));
    EXPECT_EQ(first(-2e-12, 1e-12), reported(-1.570796326795));
    EXPECT_EQ(first(2e-12, -1e-12), reported(1.570796326795));
    EXPECT_EQ(first(above(1e-12), 1e-12), reported(1.570796326795));
    EXPECT_EQ(first(1e-12, above(1e-12)), reported(std::atan(1e-12 / above(1e-12))));
    EXPECT_EQ(first(2e-12, above(1e-12)), reported(std::atan(2e-12 / above(1e-12))));
    EXPECT_EQ(first(2e-12, -above(1e-12)), reported(std::atan(-2e-12 / above(1e-12)) + 3.14159265359));
}

// MCS flag true: second angle ------------------------------------------------------------------------------------

// With the first angle zero the second is that of (e10, e11).
float second(double y, double x)
{
    return takenApart({1, 1, 0, y, x, 0, 0, 0, 1}).orientationAngles[1];
}

// Pins [half-turn-reads-0].
TEST(MachineAngles, theDeadZonesOfTheSecondAngleEndRightAfter1e12)
{
    EXPECT_EQ(second(1e-12, 1e-12), 0.0F);
    EXPECT_EQ(second(-1e-12, 1e-12), 0.0F);
    EXPECT_EQ(second(above(1e-12), 1e-12), reported(1.570796326795));
    EXPECT_EQ(second(-above(1e-12), 1e-12), reported(-1.570796326795));
    EXPECT_EQ(second(2e-12, -1e-12), reported(1.570796326795));
    EXPECT_EQ(second(1e-12, 2e-12), 0.0F) << "a small numerator gives zero";
    EXPECT_EQ(second(1e-12, -2e-12), 0.0F) << "on the negative side too";
    EXPECT_EQ(second(above(1e-12), 2e-12), reported(std::atan(above(1e-12) / 2e-12)));
    EXPECT_EQ(second(2e-12, above(1e-12)), reported(std::atan(2e-12 / above(1e-12))));
}

TEST(MachineAngles, theSecondAngleInEveryQuadrant)
{
    const double t = std::atan(0.5 / std::sqrt(1.25) / (2 / std::sqrt(5)));
    EXPECT_TRUE(within(second(0.5, 2), reported(t), 1e-5F));
    EXPECT_TRUE(within(second(-0.5, 2), reported(-t), 1e-5F));
    EXPECT_TRUE(within(second(0.5, -2), reported(3.14159265359 - t), 2e-5F));
    EXPECT_TRUE(within(second(-0.5, -2), reported(t - 3.14159265359), 2e-5F));
}

// MCS flag true: third angle -------------------------------------------------------------------------------------

// Pins [third-machine-angle].
TEST(MachineAngles, theThirdAngleIsAPlainArcTangent)
{
    EXPECT_EQ(takenApart(thirdColumn(0.75, 0, 1)).orientationAngles[2], reported(std::atan(0.75)));
    // e22 and e12 both negative: the first angle takes the sign up, w stays positive and so does the quadrant.
    const KOR_INFO info = takenApart(thirdColumn(0.6, 0, -0.8));
    EXPECT_EQ(info.orientationAngles[0], 0.0F);
    EXPECT_EQ(info.orientationAngles[2], reported(std::atan(0.6 / -0.8))) << "no quadrant correction";
}

TEST(MachineAngles, theDeadZoneOfTheThirdAngleEndsRightAfter1e12)
{
    const auto third = [](double e02, double w) { return takenApart(thirdColumn(e02, 0, w)).orientationAngles[2]; };
    EXPECT_EQ(third(1, 0), reported(1.570796326795));
    EXPECT_EQ(third(-1, 0), reported(-1.570796326795));
    EXPECT_EQ(third(1, -1e-12), reported(1.570796326795)) << "inside: the sign of w does not count";
    EXPECT_EQ(third(-1, -1e-12), reported(-1.570796326795));
    EXPECT_EQ(third(1, -above(1e-12)), reported(std::atan(1 / -above(1e-12)))) << "outside it does";
    EXPECT_LT(third(1, -above(1e-12)), -89.9F);
    EXPECT_GT(third(-1, -above(1e-12)), 89.9F);
}

TEST(MachineAngles, aThirdColumnThatVanishesInItsOwnLengthGivesZeros)
{
    // The squares overflow: the length is infinite and every normalised entry zero.
    const KOR_INFO info = takenApart(thirdColumn(1e200, 1e200, 1e200));
    EXPECT_EQ(info.orientationAngles[0], 0.0F);
    EXPECT_EQ(info.orientationAngles[2], 0.0F);
    EXPECT_EQ(takenApart(thirdColumn(-1e200, 1, 1)).orientationAngles[2], 0.0F);
}

TEST(MachineAngles, aColumnOfZerosOrNoNumbersGivesNoNumber)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(takenApart(thirdColumn(0, 0, 0)).orientationAngles[0]));
    EXPECT_TRUE(std::isnan(takenApart(thirdColumn(nan, 0, 1)).orientationAngles[2]));
    EXPECT_TRUE(std::isnan(takenApart(thirdColumn(0, 0, nan)).orientationAngles[2]));
    EXPECT_TRUE(std::isnan(takenApart({0, 0, 0, 0, 1, 0, 0, 0, 1}).orientationAngles[1]));
    const KOR_INFO info = takenApart({nan, nan, nan, nan, nan, nan, nan, nan, nan});
    for (const float angle : info.orientationAngles) {
        EXPECT_TRUE(std::isnan(angle));
    }
}

TEST(MachineAngles, theColumnsAreNormalisedEachByItself)
{
    const Matrix turn = multiply(multiply(rotationX(0.3), rotationY(0.7)), rotationZ(-0.2));
    const Matrix stretched = multiply(turn, Matrix{4, 0, 0, 0, 0.5, 0, 0, 0, 8});
    const KOR_INFO plain = takenApart(turn);
    const KOR_INFO scaled = takenApart(stretched); // powers of two: exact
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(within(scaled.orientationAngles[i], plain.orientationAngles[i], 1e-5F));
    }
    EXPECT_TRUE(within(plain.orientationAngles[0], reported(0.3), 1e-5F));
    EXPECT_TRUE(within(plain.orientationAngles[1], reported(-0.2), 1e-5F));
    EXPECT_TRUE(within(plain.orientationAngles[2], reported(0.7), 1e-5F));
}

TEST(MachineAngles, awkwardMatricesMeetTheReference)
{
    const std::array<double, 16> values = {0.0,
                                           -0.0,
                                           1.0,
                                           -1.0,
                                           1e-12,
                                           -1e-12,
                                           above(1e-12),
                                           -above(1e-12),
                                           2e-12,
                                           -0.5,
                                           1e200,
                                           1e-200,
                                           1e300,
                                           0.75,
                                           std::numeric_limits<double>::infinity(),
                                           std::numeric_limits<double>::quiet_NaN()};
    std::mt19937 random(7);
    for (int i = 0; i < 4000; ++i) {
        Matrix machine{};
        for (double& element : machine) {
            // The last two spoil everything, so they come rarely.
            element = values[random() % (i % 8 == 0 ? values.size() : values.size() - 2)];
        }
        takenApart(machine);
        if (::testing::Test::HasFailure()) {
            FAIL() << "round " << i;
        }
    }
}

// MCS flag false -------------------------------------------------------------------------------------------------

// A singular local matrix is its own "inverse", so the engine takes apart the square of it.
KOR_INFO squareTakenApart(const Matrix& local)
{
    EnginePair pair(5);
    pair.mcs(false);
    pair.localMatrix(local);
    pair.feedBoth(plainSample());
    return pair.feedBoth(plainSample());
}

// The rank-one matrix u v^T with v.u = 1 is its own square; its first column is u, its second v[1] u.
Matrix withFirstColumn(double x, double y)
{
    const double c = 1.0 - x;
    return {x, 0, x * c, y, 0, y * c, 1, 0, c};
}

TEST(LocalAngles, deadZonesMeetTheReferenceOnBothSidesOf1e12)
{
    // A walk in single steps of the last place across the edge, for numerator and denominator and all signs.
    int zeros = 0;
    int others = 0;
    for (const double signX : {1.0, -1.0}) {
        for (const double signY : {1.0, -1.0}) {
            double edge = 1e-12;
            for (int i = 0; i < 6; ++i) {
                edge = std::nextafter(edge, 0.0);
            }
            for (int i = 0; i < 12; ++i) {
                for (const double other : {1e-12, 2e-12, 0.5e-12}) {
                    for (const bool swap : {false, true}) {
                        const double x = signX * (swap ? other : edge);
                        const double y = signY * (swap ? edge : other);
                        const KOR_INFO info = squareTakenApart(withFirstColumn(x, y));
                        (info.orientationAngles[1] == 0.0F ? zeros : others) += 1;
                    }
                }
                edge = above(edge);
            }
        }
    }
    EXPECT_GT(zeros, 50);
    EXPECT_GT(others, 50);
}

TEST(LocalAngles, theSecondAngleIsFirstAndFeedsTheOthers)
{
    EnginePair pair(5);
    pair.mcs(false);
    pair.feedBoth(plainSample());
    for (const float azimuth : {0.0F, 30.0F, 89.0F, 90.0F, 91.0F, 179.0F, 180.0F, -180.0F, -91.0F, -30.0F}) {
        for (const float elevation : {0.0F, 45.0F, 90.0F, 120.0F, 180.0F, -90.0F}) {
            for (const float roll : {0.0F, 20.0F, 90.0F, 180.0F, -90.0F, -170.0F}) {
                pair.feedBoth(turned(azimuth, elevation, roll));
            }
        }
    }
}

// Pins [no-dead-zone-about-x].
TEST(LocalAngles, theFirstAngleKeepsItsQuadrantHoweverSmallTheNumerator)
{
    // Half a turn about x, give or take 1e-13: the small-numerator rule would report zero.
    const KOR_INFO info = [] {
        EnginePair pair(5);
        pair.mcs(false);
        pair.feedBoth(plainSample());
        return pair.feedBoth(turned(0, 180, 0));
    }();
    EXPECT_TRUE(within(std::fabs(info.orientationAngles[0]), 180.0F, 2e-5F));
}

TEST(LocalAngles, awkwardLocalMatricesMeetTheReference)
{
    const std::array<double, 12> values = {0.0,  -0.0,  1.0,   -1.0,   1e-12, -1e-12,
                                           1e-6, -1e-6, 1e150, 1e-200, 0.75,  std::numeric_limits<double>::infinity()};
    std::mt19937 random(11);
    for (int i = 0; i < 4000; ++i) {
        Matrix local{};
        for (double& element : local) {
            element = values[random() % (i % 8 == 0 ? values.size() : values.size() - 1)];
        }
        squareTakenApart(local);
        if (::testing::Test::HasFailure()) {
            FAIL() << "round " << i;
        }
    }
}

// Modes 7 and above ----------------------------------------------------------------------------------------------

TEST(SignedVerticalAngles, theFirstAngleIsForcedIntoAQuarterTurn)
{
    EnginePair pair(5);
    pair.mountMode(8);
    pair.feedBoth(plainSample());
    for (const float elevation : {-180.0F, -120.0F, -91.0F, -89.0F, -30.0F, 0.0F, 30.0F, 89.0F, 91.0F, 150.0F}) {
        for (const float azimuth : {0.0F, 50.0F, -130.0F}) {
            for (const float roll : {0.0F, 40.0F, 150.0F}) {
                const KOR_INFO info = pair.feedBoth(turned(azimuth, elevation, roll));
                EXPECT_LE(std::fabs(info.orientationAngles[0]), 90.00001F);
                const double rad = 1 / kDegPerRad;
                const Matrix rebuilt =
                    multiply(multiply(rotationX(static_cast<double>(info.orientationAngles[0]) * rad),
                                      rotationY(static_cast<double>(info.orientationAngles[2]) * rad)),
                             rotationZ(static_cast<double>(info.orientationAngles[1]) * rad));
                EXPECT_LT(angleBetween(rebuilt, readMatrix(pair.engine)), 5e-5);
            }
        }
    }
}

TEST(SignedVerticalAngles, quarterAndHalfTurnsMeetTheReference)
{
    EnginePair pair(5);
    pair.mountMode(7);
    pair.feedBoth(plainSample());
    for (const float azimuth : {0.0F, 90.0F, 180.0F, -90.0F, 270.0F}) {
        for (const float elevation : {0.0F, 90.0F, 180.0F, -90.0F, 270.0F}) {
            for (const float roll : {0.0F, 90.0F, 180.0F, -90.0F, 270.0F}) {
                pair.feedBoth(turned(azimuth, elevation, roll));
            }
        }
    }
}

TEST(SignedVerticalAngles, anglesNextToTheQuarterTurnMeetTheReference)
{
    EnginePair pair(5);
    pair.mountMode(7);
    pair.feedBoth(plainSample());
    for (const float quarter : {90.0F, -90.0F}) {
        float elevation = std::nextafter(quarter, 0.0F);
        for (int i = 0; i < 3; ++i) {
            for (const float azimuth : {0.0F, 33.0F}) {
                pair.feedBoth(turned(azimuth, elevation, 0));
            }
            elevation = std::nextafter(elevation, quarter * 2);
        }
    }
}

} // namespace
} // namespace kor_test
