#include "simulation/PortableMath.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace kor::simulation::portable {

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kHalfPi = 0x1.921fb54442d18p+0;
constexpr double kHalfPiRest = 0x1.1a62633145c07p-54;
constexpr double kPiRest = 0x1.1a62633145c07p-53;

// An angle taken to [-pi/4, pi/4] by quarter turns, with the remainder that rounding the angle left.
struct Reduced {
    double angle;
    double rest;
    int quarter; // 0 to 3
};

// The quarter turn in three parts; the products of the first two with a number below 2^20 are exact.
bool reduce(double x, Reduced& reduced)
{
    constexpr double kPart1 = 0x1.921fb544p+0;
    constexpr double kPart2 = 0x1.0b4611a6p-34;
    constexpr double kPart3 = 0x1.3198a2e037073p-69;
    constexpr double kQuartersPerRadian = 0x1.45f306dc9c883p-1;
    constexpr double kLimit = 1048576.0;
    const double quarters = x * kQuartersPerRadian;
    if (!(quarters > -kLimit && quarters < kLimit)) {
        return false;
    }
    const auto n = static_cast<std::int32_t>(quarters + (quarters < 0.0 ? -0.5 : 0.5));
    const auto turns = static_cast<double>(n);
    const double first = x - turns * kPart1; // exact: both are close to each other, or n is 0
    const double second = turns * kPart2;
    const double difference = first - second;
    const double lost = (first - difference) - second;
    const double third = turns * kPart3 - lost;
    reduced.angle = difference - third;
    reduced.rest = (difference - reduced.angle) - third;
    reduced.quarter = n & 3;
    return true;
}

// Taylor's series: the first omitted term is below a hundredth of an ulp at pi/4.
double sineNearZero(double x, double rest)
{
    const double z = x * x;
    const double tail =
        -1.0 / 6.0 +
        z * (1.0 / 120.0 +
             z * (-1.0 / 5040.0 +
                  z * (1.0 / 362880.0 +
                       z * (-1.0 / 39916800.0 +
                            z * (1.0 / 6227020800.0 + z * (-1.0 / 1307674368000.0 + z * (1.0 / 355687428096000.0)))))));
    return x + (x * z * tail + rest * (1.0 - 0.5 * z));
}

double cosineNearZero(double x, double rest)
{
    const double z = x * x;
    const double half = 0.5 * z;
    const double tail =
        1.0 / 24.0 +
        z * (-1.0 / 720.0 +
             z * (1.0 / 40320.0 +
                  z * (-1.0 / 3628800.0 +
                       z * (1.0 / 479001600.0 + z * (-1.0 / 87178291200.0 + z * (1.0 / 20922789888000.0 +
                                                                                 z * (-1.0 / 6402373705728000.0)))))));
    const double head = 1.0 - half;
    return head + (((1.0 - head) - half) + (z * z * tail - x * rest));
}

// Arc tangent of a number in [0, 1]: the nearest eighth from a table, the remaining turn from the series.
double arcTangentUpToOne(double t)
{
    struct Entry {
        double angle;
        double rest;
    };
    constexpr Entry kEighths[9] = {{0.0, 0.0},
                                   {0x1.fd5ba9aac2f6ep-4, -0x1.cd37686760c17p-59},
                                   {0x1.f5b75f92c80ddp-3, 0x1.8ab6e3cf7afbdp-57},
                                   {0x1.6f61941e4def1p-2, -0x1.c63aae6f6e918p-56},
                                   {0x1.dac670561bb4fp-2, 0x1.a2b7f222f65e2p-56},
                                   {0x1.1e00babdefeb4p-1, -0x1.928df287a668fp-58},
                                   {0x1.4978fa3269ee1p-1, 0x1.2419a87f2a458p-56},
                                   {0x1.700a7c5784634p-1, -0x1.8c34d25aadef6p-56},
                                   {0x1.921fb54442d18p-1, 0x1.1a62633145c07p-55}};
    const int i = static_cast<int>(8.0 * t + 0.5);
    const double eighth = i / 8.0;
    const double r = (t - eighth) / (1.0 + t * eighth);
    const double z = r * r;
    const double tail =
        -1.0 / 3.0 +
        z * (1.0 / 5.0 + z * (-1.0 / 7.0 + z * (1.0 / 9.0 + z * (-1.0 / 11.0 + z * (1.0 / 13.0 - z / 15.0)))));
    return kEighths[i].angle + (r + (r * z * tail + kEighths[i].rest));
}

} // namespace

double sine(double x)
{
    Reduced at{};
    if (!reduce(x, at)) {
        return kNan;
    }
    const double value = at.quarter % 2 == 0 ? sineNearZero(at.angle, at.rest) : cosineNearZero(at.angle, at.rest);
    return at.quarter < 2 ? value : -value;
}

double cosine(double x)
{
    Reduced at{};
    if (!reduce(x, at)) {
        return kNan;
    }
    const double value = at.quarter % 2 == 0 ? cosineNearZero(at.angle, at.rest) : sineNearZero(at.angle, at.rest);
    return at.quarter == 0 || at.quarter == 3 ? value : -value;
}

double tangent(double x)
{
    return sine(x) / cosine(x);
}

double arcTangent(double y, double x)
{
    if (std::isnan(x) || std::isnan(y) || (std::isinf(x) && std::isinf(y))) {
        return kNan;
    }
    const double ay = std::fabs(y);
    const double ax = std::fabs(x);
    double angle = 0.0;
    if (ax == 0.0 && ay == 0.0) {
        angle = std::signbit(x) ? kPi : 0.0;
    } else if (ay <= ax) {
        angle = arcTangentUpToOne(ay / ax);
        if (std::signbit(x)) {
            angle = kPi - (angle - kPiRest);
        }
    } else {
        const double over = arcTangentUpToOne(ax / ay);
        angle = std::signbit(x) ? kHalfPi + (over + kHalfPiRest) : kHalfPi - (over - kHalfPiRest);
    }
    return std::copysign(angle, y);
}

double arcSine(double x)
{
    if (!(x >= -1.0 && x <= 1.0)) {
        return kNan;
    }
    return arcTangent(x, std::sqrt((1.0 - x) * (1.0 + x)));
}

double logarithm(double x)
{
    constexpr double kLn2 = 0x1.62e42fefa2p-1; // few enough bits for exact products with exponents
    constexpr double kLn2Rest = 0x1.9ef35793c7673p-41;
    if (!(x >= std::numeric_limits<double>::min() && x <= std::numeric_limits<double>::max())) {
        return kNan;
    }
    constexpr std::uint64_t kFraction = (std::uint64_t{1} << 52) - 1;
    const std::uint64_t bits = std::bit_cast<std::uint64_t>(x);
    int exponent = static_cast<int>(bits >> 52) - 1023;
    double m = std::bit_cast<double>((bits & kFraction) | (std::uint64_t{1023} << 52));
    if (m > 1.4142135623730951) {
        m *= 0.5;
        ++exponent;
    }
    // log m = 2 artanh(s) with s = f / (2 + f), f = m - 1, written as f less a correction by the series.
    const double f = m - 1.0;
    const double s = f / (2.0 + f);
    const double z = s * s;
    const double tail =
        z * (2.0 / 3.0 +
             z * (2.0 / 5.0 +
                  z * (2.0 / 7.0 +
                       z * (2.0 / 9.0 +
                            z * (2.0 / 11.0 +
                                 z * (2.0 / 13.0 +
                                      z * (2.0 / 15.0 + z * (2.0 / 17.0 + z * (2.0 / 19.0 + z * (2.0 / 21.0))))))))));
    const double half = 0.5 * f * f;
    const auto e = static_cast<double>(exponent);
    return e * kLn2 - ((half - (s * (half + tail) + e * kLn2Rest)) - f);
}

} // namespace kor::simulation::portable
