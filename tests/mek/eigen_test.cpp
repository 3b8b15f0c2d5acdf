// Matrices, rotations and vectors against Eigen.
#include "mek/Literals.h"
#include "mek/Matrix.h"
#include "mek/Vector.h"

#include "Random.h"
#include "support/Float.h"

#include <Eigen/Dense>
#include <gtest/gtest.h>

using kor_test::Random;
using kor_test::Triple;
using kor_test::within;

namespace {

using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using RowMajor3 = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

RowMajor randomMatrix(Random& random, int rows, int columns)
{
    RowMajor m(rows, columns);
    for (int i = 0; i < rows * columns; ++i) {
        m.data()[i] = random.between(-1, 1);
    }
    return m;
}

Eigen::Vector3d vector(const Triple& v)
{
    return {v[0], v[1], v[2]};
}

TEST(AgainstEigen, productsOfEveryShape)
{
    Random random(41);
    for (int round = 0; round < 200; ++round) {
        const int r = 1 + random.upTo(5);
        const int n = 1 + random.upTo(5);
        const int c = 1 + random.upTo(5);
        const RowMajor a = randomMatrix(random, r, n);
        const RowMajor b = randomMatrix(random, n, c);
        RowMajor got(r, c);
        mek::MatrixMultiply(a.data(), b.data(), r, n, c, got.data());
        // At most six terms below 1 in another order: six roundings on either side.
        EXPECT_LE((got - a * b).cwiseAbs().maxCoeff(), 12 * 0x1p-53);
    }
}

TEST(AgainstEigen, inversesWithinTheConditionOfTheMatrix)
{
    Random random(42);
    for (int round = 0; round < 200; ++round) {
        const int n = 1 + random.upTo(9);
        const RowMajor m = randomMatrix(random, n, n);
        RowMajor got = m;
        ASSERT_TRUE(mek::MatrixInverse(got.data(), n));
        const RowMajor wanted = m.fullPivLu().inverse();
        const double condition = m.norm() * wanted.norm();
        // Either elimination is off by a small multiple of n roundings times the condition.
        EXPECT_LE((got - wanted).norm(), 4 * n * 0x1p-53 * condition * wanted.norm());
        EXPECT_LE((m * got - RowMajor::Identity(n, n)).norm(), 4 * n * 0x1p-53 * condition);
    }
}

TEST(AgainstEigen, rankDeficientMatricesAreSingular)
{
    Random random(43);
    for (int round = 0; round < 50; ++round) {
        const int n = 2 + random.upTo(4);
        RowMajor m = randomMatrix(random, n, n);
        m.col(n - 1) = m.col(0); // row operations keep equal columns equal, so the second one ends in exact zeros
        const RowMajor before = m;
        ASSERT_LT(m.fullPivLu().rank(), n);
        EXPECT_FALSE(mek::MatrixInverse(m.data(), n));
        EXPECT_TRUE((m.array() == before.array()).all());
    }
}

TEST(AgainstEigen, elementaryRotations)
{
    Random random(44);
    for (int round = 0; round < 100; ++round) {
        const double angle = random.between(-10, 10);
        RowMajor3 x;
        RowMajor3 y;
        RowMajor3 z;
        EXPECT_EQ(mek::rotation_x(x.data(), angle), 0);
        EXPECT_EQ(mek::rotation_y(y.data(), angle), 0);
        EXPECT_EQ(mek::rotation_z(z.data(), angle), 0);
        // Eigen rounds 1 - cos on the way.
        EXPECT_LE((x - Eigen::AngleAxisd(angle, Eigen::Vector3d::UnitX()).toRotationMatrix()).norm(), 4e-16);
        EXPECT_LE((y - Eigen::AngleAxisd(angle, Eigen::Vector3d::UnitY()).toRotationMatrix()).norm(), 4e-16);
        EXPECT_LE((z - Eigen::AngleAxisd(angle, Eigen::Vector3d::UnitZ()).toRotationMatrix()).norm(), 4e-16);
    }
}

TEST(AgainstEigen, crossProducts)
{
    Random random(45);
    for (int round = 0; round < 200; ++round) {
        const Triple a = random.direction();
        const Triple b = random.direction();
        Eigen::Vector3d got;
        mek::CrossMultiply(a.data(), b.data(), got.data());
        EXPECT_LE((got - vector(a).cross(vector(b))).norm(), 4e-16); // three roundings of products below 1
    }
}

TEST(AgainstEigen, turnsAboutAnAxis)
{
    Random random(46);
    for (int round = 0; round < 200; ++round) {
        const Triple axis = random.direction();
        const Triple v{random.between(-5, 5), random.between(-5, 5), random.between(-5, 5)};
        const double degrees = random.between(-400, 400);
        Eigen::Vector3d got;
        mek::mlaRotateAroundAxis(axis.data(), degrees, v.data(), got.data());
        const Eigen::Vector3d wanted = Eigen::AngleAxisd(degrees * mek::kRadPerDeg, vector(axis)) * vector(v);
        EXPECT_LE((got - wanted).norm(), 2e-14); // about ten roundings of magnitude 10
    }
}

} // namespace
