// Comparing floating-point numbers in tests: to the bit, or within a stated number of ulp.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <ios>
#include <limits>
#include <sstream>
#include <string>

namespace kor_test {

template <typename Float>
std::string describe(Float value)
{
    std::ostringstream text;
    text.precision(std::numeric_limits<Float>::max_digits10);
    text << value << " (" << std::hexfloat << value << ")";
    return text.str();
}

// Steps from one number to the other through the representable ones; NaN is one step from nothing but NaN.
template <typename Float>
std::uint64_t ulpDistance(Float a, Float b)
{
    if (std::isnan(a) || std::isnan(b)) {
        return std::isnan(a) && std::isnan(b) ? 0 : std::numeric_limits<std::uint64_t>::max();
    }
    const auto ordered = [](Float v) {
        if constexpr (sizeof(Float) == 8) {
            const auto bits = std::bit_cast<std::int64_t>(v);
            return bits < 0 ? std::numeric_limits<std::int64_t>::min() - bits : bits;
        } else {
            const auto bits = std::bit_cast<std::int32_t>(v);
            return static_cast<std::int64_t>(bits < 0 ? std::numeric_limits<std::int32_t>::min() - bits : bits);
        }
    };
    const auto x = static_cast<std::uint64_t>(ordered(a));
    const auto y = static_cast<std::uint64_t>(ordered(b));
    return ordered(a) > ordered(b) ? x - y : y - x;
}

// Equal to the last bit: signed zeros differ, any NaN equals any NaN.
template <typename Float>
::testing::AssertionResult sameBits(Float got, Float wanted)
{
    if ((std::isnan(got) && std::isnan(wanted)) || (got == wanted && std::signbit(got) == std::signbit(wanted))) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "wanted " << describe(wanted) << ", got " << describe(got) << ", "
                                         << ulpDistance(got, wanted) << " ulp apart";
}

template <typename Float>
::testing::AssertionResult withinUlp(Float got, Float wanted, std::uint64_t ulp)
{
    if (ulpDistance(got, wanted) <= ulp) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "wanted " << describe(wanted) << " within " << ulp << " ulp, got "
                                         << describe(got) << ", " << ulpDistance(got, wanted) << " ulp apart";
}

template <typename Float>
::testing::AssertionResult within(Float got, Float wanted, Float tolerance)
{
    if (std::abs(got - wanted) <= tolerance) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "wanted " << describe(wanted) << " within " << tolerance << ", got "
                                         << describe(got) << ", " << ulpDistance(got, wanted) << " ulp apart";
}

} // namespace kor_test
