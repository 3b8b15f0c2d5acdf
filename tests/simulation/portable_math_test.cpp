// The portable functions against the C library's long double ones, whose errors lie far below a double's ulp.
#include <cmath>
#include <functional>
#include <limits>

#include <gtest/gtest.h>

#include "simulation/PortableMath.h"
#include "simulation/Random.h"

using namespace kor::simulation;

namespace {

// Distance of a double from an exact value, in units of the double's last place there.
double ulps(double got, long double exact)
{
    const double nearest = static_cast<double>(exact);
    const double above = std::nextafter(std::fabs(nearest), std::numeric_limits<double>::infinity());
    return static_cast<double>(std::fabs(static_cast<long double>(got) - exact) / (above - std::fabs(nearest)));
}

double worst(const std::function<double()>& draw, const std::function<double(double)>& portable,
             const std::function<long double(long double)>& exact)
{
    double largest = 0.0;
    for (int i = 0; i < 200000; ++i) {
        const double x = draw();
        largest = std::fmax(largest, ulps(portable(x), exact(x)));
    }
    return largest;
}

class PortableMath : public testing::Test {
protected:
    void SetUp() override
    {
        if (std::numeric_limits<long double>::digits < 64) {
            slack = 1.0; // the comparison itself is only as good as this platform's library
        }
    }
    Random random{7, "test"};
    double slack = 0.0;
};

} // namespace

// MinGW's long double sines reduce with 66 bits of pi, too few to judge others by; the bits below hold there, too.
#ifndef __MINGW32__
TEST_F(PortableMath, sineAndCosineAreWithinOneUlpOfAnglesOfUse)
{
    const auto draw = [this] { return random.uniform(-1000.0, 1000.0); };
    EXPECT_LT(worst(draw, portable::sine, [](long double x) { return std::sin(x); }), 1.0 + slack);
    EXPECT_LT(worst(draw, portable::cosine, [](long double x) { return std::cos(x); }), 1.0 + slack);
    const auto small = [this] { return random.uniform(-1.0, 1.0); };
    EXPECT_LT(worst(small, portable::sine, [](long double x) { return std::sin(x); }), 1.0 + slack);
    EXPECT_LT(worst(small, portable::cosine, [](long double x) { return std::cos(x); }), 1.0 + slack);
}

TEST_F(PortableMath, sineAndCosineHoldFarOut)
{
    const auto draw = [this] { return random.uniform(-1e5, 1e5); };
    EXPECT_LT(worst(draw, portable::sine, [](long double x) { return std::sin(x); }), 2.0 + slack);
    EXPECT_LT(worst(draw, portable::cosine, [](long double x) { return std::cos(x); }), 2.0 + slack);
    EXPECT_TRUE(std::isnan(portable::sine(1e9)));
    EXPECT_TRUE(std::isnan(portable::cosine(std::numeric_limits<double>::infinity())));
    EXPECT_TRUE(std::isnan(portable::sine(std::nan(""))));
}

TEST_F(PortableMath, sineKeepsItsDigitsNearMultiplesOfPi)
{
    for (int i = -300; i <= 300; ++i) {
        const double x = i * portable::kPi;
        const long double exact = std::sin(static_cast<long double>(x));
        EXPECT_LE(std::fabs(static_cast<long double>(portable::sine(x)) - exact), 1e-28L + 1e-10L * std::fabs(exact))
            << i;
    }
}
#endif

TEST_F(PortableMath, tangentIsWithinThreeUlp)
{
    const auto draw = [this] { return random.uniform(-1.5, 1.5); };
    EXPECT_LT(worst(draw, portable::tangent, [](long double x) { return std::tan(x); }), 3.0 + slack);
}

TEST_F(PortableMath, arcSineIsWithinThreeUlp)
{
    const auto draw = [this] { return random.uniform(-1.0, 1.0); };
    EXPECT_LT(worst(draw, portable::arcSine, [](long double x) { return std::asin(x); }), 3.0 + slack);
    EXPECT_EQ(portable::arcSine(1.0), portable::kPi / 2);
    EXPECT_EQ(portable::arcSine(-1.0), -portable::kPi / 2);
    EXPECT_TRUE(std::isnan(portable::arcSine(1.0000000000000002)));
    EXPECT_TRUE(std::isnan(portable::arcSine(std::nan(""))));
}

TEST_F(PortableMath, arcTangentIsWithinTwoUlpAllRound)
{
    double largest = 0.0;
    for (int i = 0; i < 200000; ++i) {
        const double x = random.uniform(-1.0, 1.0);
        const double y = random.uniform(-1.0, 1.0) * (i % 2 == 0 ? 1.0 : 1e-3);
        largest = std::fmax(largest, ulps(portable::arcTangent(y, x),
                                          std::atan2(static_cast<long double>(y), static_cast<long double>(x))));
    }
    EXPECT_LT(largest, 2.0 + slack);
}

TEST_F(PortableMath, arcTangentKnowsTheAxes)
{
    EXPECT_EQ(portable::arcTangent(0.0, 1.0), 0.0);
    EXPECT_EQ(portable::arcTangent(0.0, -1.0), portable::kPi);
    EXPECT_EQ(portable::arcTangent(-0.0, -1.0), -portable::kPi);
    EXPECT_EQ(portable::arcTangent(2.0, 0.0), portable::kPi / 2);
    EXPECT_EQ(portable::arcTangent(-2.0, 0.0), -portable::kPi / 2);
    EXPECT_EQ(portable::arcTangent(0.0, 0.0), 0.0);
    EXPECT_TRUE(std::signbit(portable::arcTangent(-0.0, 0.0)));
    EXPECT_EQ(portable::arcTangent(1.0, 1.0), portable::kPi / 4);
    EXPECT_TRUE(std::isnan(portable::arcTangent(std::nan(""), 1.0)));
}

TEST_F(PortableMath, logarithmIsWithinTwoUlp)
{
    const auto wide = [this] {
        return std::ldexp(random.uniform(0.5, 1.0), static_cast<int>(random.uniform(-900, 900)));
    };
    EXPECT_LT(worst(wide, portable::logarithm, [](long double x) { return std::log(x); }), 2.0 + slack);
    const auto nearOne = [this] { return random.uniform(0.9, 1.1); };
    EXPECT_LT(worst(nearOne, portable::logarithm, [](long double x) { return std::log(x); }), 2.0 + slack);
    EXPECT_EQ(portable::logarithm(1.0), 0.0);
    EXPECT_TRUE(std::isnan(portable::logarithm(0.0)));
    EXPECT_TRUE(std::isnan(portable::logarithm(-1.0)));
}

// Bits that every platform must find. They were computed by this code; what they pin is that nothing else does.
TEST_F(PortableMath, givesTheseBits)
{
    double sum = 0.0;
    for (int i = 1; i <= 10000; ++i) {
        const double x = 0.0137 * i;
        const double y = portable::sine(x) + 0.5 * portable::cosine(3.0 * x);
        sum += portable::arcTangent(y, portable::tangent(x)) + portable::arcSine(0.6 * y) + portable::logarithm(x);
    }
    EXPECT_EQ(sum, 0x1.33840ca78a924p+15) << std::hexfloat << sum;
}
