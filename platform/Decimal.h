// Decimal numbers as nearly all are written, by a short way: some digits, perhaps with a point. Every other number is
// left to std::from_chars, and so is the rare float that might be rounded another way.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kor::platform {

// Powers of ten. Not in the functions, where they would be built anew in every call.
namespace decimal {

inline constexpr std::array<std::uint64_t, 9> kWhole = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
inline constexpr std::array<double, 16> kPowers = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

inline constexpr std::array<double, 16> kInverse = {1e0,  1e-1, 1e-2,  1e-3,  1e-4,  1e-5,  1e-6,  1e-7,
                                                    1e-8, 1e-9, 1e-10, 1e-11, 1e-12, 1e-13, 1e-14, 1e-15};

} // namespace decimal

/// Appends the digits at the start of a text to a number, eight at a time where the byte order allows it.
/// Given     at, end  the text
///           number   read so far
/// Returned  number   modulo 2^64
///           result   behind the digits
inline const char* takeDigits(const char* at, const char* end, std::uint64_t& number) noexcept
{
    if constexpr (std::endian::native == std::endian::little) {
        while (end - at >= 8) {
            std::uint64_t bytes = 0;
            std::memcpy(&bytes, at, sizeof bytes);
            bytes ^= 0x3030303030303030U; // a digit is its value now, every other byte 10 or more
            const std::uint64_t others = ((bytes + 0x7676767676767676U) | bytes) & 0x8080808080808080U;
            const auto count = static_cast<std::size_t>(std::countr_zero(others)) / 8;
            if (count == 0) {
                return at;
            }
            // Zeros move in front of the digits, and what follows them falls off. Then neighbours join: to numbers
            // below 100, and these to the whole.
            bytes <<= 8 * (8 - count);
            bytes = 10 * bytes + (bytes >> 8U);
            constexpr std::uint64_t kPairs = 0x000000FF000000FFU;
            const std::uint64_t value = ((bytes & kPairs) * ((std::uint64_t{1000000} << 32U) + 100) +
                                         ((bytes >> 16U) & kPairs) * ((std::uint64_t{10000} << 32U) + 1)) >>
                                        32U;
            number = number * decimal::kWhole[count] + value;
            at += count;
            if (count < 8) {
                return at;
            }
        }
    }
    for (; at != end && *at >= '0' && *at <= '9'; ++at) {
        number = 10 * number + static_cast<std::uint64_t>(*at - '0');
    }
    return at;
}

/// A number as its digits, at most 15 of them, and how many stand behind the point.
struct PlainNumber {
    std::uint64_t digits = 0;
    std::size_t decimals = 0;
};

/// The plain number at the start of a text: at least one digit, at most 15, with at most one point.
/// Returned  number  as its digits
///           result  behind the number, null when there is none or it is longer
/// Notes  1  Whoever calls this looks at what follows: an exponent may.
inline const char* takePlainNumber(const char* at, const char* end, PlainNumber& number) noexcept
{
    number = {};
    const char* const begin = at;
    // A few, whose number a processor guesses well: it then works on what follows before it has read them.
    for (; at != end && *at >= '0' && *at <= '9'; ++at) {
        number.digits = 10 * number.digits + static_cast<std::uint64_t>(*at - '0');
    }
    auto count = static_cast<std::size_t>(at - begin);
    if (at != end && *at == '.') {
        const char* const fraction = at + 1;
        at = takeDigits(fraction, end, number.digits);
        number.decimals = static_cast<std::size_t>(at - fraction);
        count += number.decimals;
    }
    return count == 0 || count >= decimal::kPowers.size() ? nullptr : at;
}

/// The nearest double: digits and power of ten are exact, so that their quotient is rounded once.
inline double doubleOf(const PlainNumber& number) noexcept
{
    return static_cast<double>(static_cast<std::int64_t>(number.digits)) / decimal::kPowers[number.decimals];
}

/// The nearest float, in less time than a division takes.
/// Returned  result  false, and no value, where a multiplication cannot tell the nearest float: the product of digits
///                   and inverse power is off by at most two units of its last place, and only within three of the
///                   middle between two floats could that matter
inline bool nearestFloat(const PlainNumber& number, float& value) noexcept
{
    const double product =
        static_cast<double>(static_cast<std::int64_t>(number.digits)) * decimal::kInverse[number.decimals];
    constexpr std::uint64_t kBeyondFloat = (std::uint64_t{1} << 29U) - 1;
    constexpr std::uint64_t kMiddle = std::uint64_t{1} << 28U;
    const std::uint64_t beyond = std::bit_cast<std::uint64_t>(product) & kBeyondFloat;
    value = static_cast<float>(product);
    return beyond - (kMiddle - 3) > 6;
}

} // namespace kor::platform
