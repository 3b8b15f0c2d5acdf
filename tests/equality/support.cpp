// The support routines on arrays against plain loops.
#include "literal/Support.h"
#include "equality/Scenarios.h"
#include "equality/Source.h"
#include "mek/Matrix.h"
#include "mek/Polyfit.h"
#include "mek/Vector.h"

#include <algorithm>

namespace kor_test {

namespace {

void expectSameValues(const char* name, const double* got, const double* wanted, int count)
{
    for (int i = 0; i < count; ++i) {
        expectSame(name, i, got[i], wanted[i]);
    }
}

// Small whole numbers, whose sums cancel and whose comparisons end in ties; ordinary ones; awkward ones.
class Numbers {
public:
    explicit Numbers(std::uint64_t seed) : source(seed), m_kind(source.below(4)) {}

    double next()
    {
        switch (m_kind) {
        case 0:
            return source.pick({0.0, -0.0, 1.0, -1.0, 2.0, -2.0});
        case 1:
            return source.oneIn(5) ? source.awkward<double>() : source.uniform(-2, 2);
        default:
            return source.oneIn(20) ? source.pick({0.0, -0.0}) : source.uniform(-2, 2);
        }
    }

    template <int Count>
    void fill(double (&values)[Count])
    {
        std::generate_n(values, Count, [this] { return next(); });
    }

    void fillUnit(double (&v)[3])
    {
        fill(v);
        if (source.coin()) {
            literal::normalise(v);
        } else if (m_kind == 0) { // one of the axes
            std::fill_n(v, 3, source.pick({0.0, -0.0}));
            v[source.below(3)] = source.pick({1.0, -1.0});
        }
    }

    Source source;

private:
    int m_kind;
};

void compareMatrices(Numbers& numbers)
{
    double a[9];
    double b[9];
    double got[9];
    double wanted[9];
    numbers.fill(a);
    numbers.fill(b);
    mek::MatrixMultiply(a, b, 3, 3, 3, got);
    literal::MatrixMultiply(a, b, 3, 3, 3, wanted);
    expectSameValues("MatrixMultiply", got, wanted, 9);
    mek::MatrixMultiply(a, b, 3, 3, 1, got);
    literal::MatrixMultiply(a, b, 3, 3, 1, wanted);
    expectSameValues("MatrixMultiply", got, wanted, 3);

    const int n = numbers.source.pick({1, 2, 3, 3, 3, 3, 3, 3});
    if (numbers.source.oneIn(4)) { // a row that depends on the others
        std::transform(a, a + 3, a + 3, a + 6, [](double x, double y) { return x + y; });
    }
    std::copy_n(a, 9, got);
    std::copy_n(a, 9, wanted);
    expectSameCode("MatrixInverse", mek::MatrixInverse(got, n), literal::MatrixInverse(wanted, n));
    expectSameValues("MatrixInverse", got, wanted, 9);

    const double angle = numbers.next();
    mek::rotation_x(got, angle);
    literal::rotation_x(wanted, angle);
    expectSameValues("rotation_x", got, wanted, 9);
    mek::rotation_y(got, angle);
    literal::rotation_y(wanted, angle);
    expectSameValues("rotation_y", got, wanted, 9);
    mek::rotation_z(got, angle);
    literal::rotation_z(wanted, angle);
    expectSameValues("rotation_z", got, wanted, 9);
}

void compareVectors(Numbers& numbers)
{
    double g[3];
    double v[3];
    double a[3];
    double got[3];
    double wanted[3];
    numbers.fillUnit(g);
    numbers.fillUnit(v);
    numbers.fillUnit(a);
    mek::CrossMultiply(v, a, got);
    literal::CrossMultiply(v, a, wanted);
    expectSameValues("CrossMultiply", got, wanted, 3);

    const double angle1 = numbers.source.coin() ? numbers.source.uniform(0, 180) : 45.0 * numbers.next();
    const double angle2 = numbers.source.coin() ? numbers.source.uniform(0, 180) : 45.0 * numbers.next();
    mek::mlaRotateAroundAxis(a, angle1, v, got);
    literal::mlaRotateAroundAxis(a, angle1, v, wanted);
    expectSameValues("mlaRotateAroundAxis", got, wanted, 3);
    const int code = mek::solveVectorsRelAng(g, v, a, angle1, angle2, got);
    expectSameCode("solveVectorsRelAng", code, literal::solveVectorsRelAng(g, v, a, angle1, angle2, wanted));
    expectSameValues("solveVectorsRelAng", got, wanted, 3);

    numbers.fill(got);
    std::copy_n(got, 3, wanted);
    mek::ConvertCartesianToSphericalCoordinates(got);
    literal::ConvertCartesianToSphericalCoordinates(wanted);
    expectSameValues("ConvertCartesianToSphericalCoordinates", got, wanted, 3);
}

void compareLines(Numbers& numbers)
{
    double pairs[102] = {};
    const int count = numbers.source.pick({2, 3, 5, 51, 51});
    const bool still = numbers.source.oneIn(10);
    for (int i = 0; i < count; ++i) {
        pairs[2 * i] = still ? 1.0 : numbers.source.coin() ? 0.01 * i : numbers.next();
        pairs[2 * i + 1] = numbers.next();
    }
    double got[2];
    mek::JPolyfit(count, pairs, 1, got);
    expectSame("JPolyfit", 1, got[1], literal::lineSlope(count, pairs));
}

} // namespace

void runSupportScenario(std::uint64_t seed, Tally& tally)
{
    Numbers numbers(seed);
    for (int i = 0; i < 50; ++i) {
        compareMatrices(numbers);
        compareVectors(numbers);
        if (i % 10 == 0) {
            compareLines(numbers);
        }
        ++tally.samples;
        ++tally.valid;
    }
    ++tally.scenarios;
}

} // namespace kor_test
