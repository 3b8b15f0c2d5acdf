#include "recordings/NumberText.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include <dragonbox/dragonbox.h>

namespace kor::recordings {

namespace {

constexpr std::array<std::uint64_t, 20> powersOfTen()
{
    std::array<std::uint64_t, 20> powers{};
    std::uint64_t power = 1;
    for (std::uint64_t& entry : powers) {
        entry = power;
        power *= 10;
    }
    return powers;
}
constexpr auto kPowersOfTen = powersOfTen();

// How many decimal digits a number has; 1 for 0. 1233 / 4096 is a little more than the decimal logarithm of 2.
int digitCount(std::uint64_t value)
{
    value |= 1U; // another digit, not another count
    const int estimate = (static_cast<int>(std::bit_width(value)) * 1233) >> 12;
    return estimate + (value >= kPowersOfTen[static_cast<std::size_t>(estimate)] ? 1 : 0);
}

// Eight digits at once, zeros in front included: each step halves all numbers in the word into those of half the
// digits. The factors are 1/100 and 1/10, exact for what stands there.
void putEight(char* at, std::uint32_t value)
{
    const std::uint64_t fours = value / 10000 | std::uint64_t{value % 10000} << 32U;
    const std::uint64_t hundreds = (fours * 10486U >> 20U) & 0x0000007f0000007fU;
    const std::uint64_t twos = hundreds | (fours - 100 * hundreds) << 16U;
    const std::uint64_t tens = (twos * 103U >> 10U) & 0x000f000f000f000fU;
    const std::uint64_t ones = tens | (twos - 10 * tens) << 8U;
    const std::uint64_t text = ones | 0x3030303030303030U;
    std::memcpy(at, &text, sizeof text);
}

// The digits of a number, with bytes behind them that may be copied too.
class Digits {
public:
    static constexpr std::size_t kCopied = 16; // in one piece, whatever is needed

    // Of a number of at most nine digits, or of at most seventeen.
    explicit Digits(std::uint32_t number) : m_count(digitCount(number)), m_first(m_text + 9 - m_count)
    {
        m_text[0] = static_cast<char>('0' + number / kEight);
        putEight(m_text + 1, number % kEight);
    }
    explicit Digits(std::uint64_t number) : m_count(digitCount(number)), m_first(m_text + 17 - m_count)
    {
        const std::uint64_t upper = number / kEight;
        m_text[0] = static_cast<char>('0' + upper / kEight);
        putEight(m_text + 1, static_cast<std::uint32_t>(upper % kEight));
        putEight(m_text + 9, static_cast<std::uint32_t>(number % kEight));
    }
    Digits(const Digits&) = delete;
    Digits& operator=(const Digits&) = delete;

    int count() const { return m_count; }

    // kCopied bytes from the digit of that number on.
    void copy(char* into, int from) const { std::memcpy(into, m_first + from, kCopied); }

    // Of all digits as many as there may be.
    char* append(char* at) const
    {
        copy(at, 0);
        at[kCopied] = m_first[kCopied];
        return at + m_count;
    }

private:
    static constexpr std::uint32_t kEight = 100000000;

    char m_text[17 + kCopied + 1] = {};
    int m_count;
    const char* m_first;
};

char* appendWhole(char* at, std::uint64_t value)
{
    constexpr std::uint64_t kNine = 1000000000;
    constexpr std::uint64_t kSeventeen = 100000000000000000;
    if (value < kNine) {
        return Digits(static_cast<std::uint32_t>(value)).append(at);
    }
    if (value < kSeventeen) {
        return Digits(value).append(at);
    }
    return std::to_chars(at, at + kNumberRoom, value).ptr;
}

// The lengths of the two forms of a number: its digits, without zeros behind the last one, and the number of digits in
// front of the point, negative for zeros behind it. With an exponent there is a point unless there is one digit only,
// and the exponent has two digits at least.
int lengthFixed(int count, int before)
{
    return before >= count ? before : before > 0 ? count + 1 : count + 2 - before;
}
int lengthWithExponent(int count, int before)
{
    return count + (count > 1 ? 1 : 0) + (before > 100 || before < -98 ? 5 : 4);
}

// A number with digits behind the point.
char* appendFixed(char* at, const Digits& digits, int before)
{
    if (before <= 0) {
        std::memcpy(at, "0.000000", 8); // with more zeros the other form is shorter
        return digits.append(at + 2 - before);
    }
    digits.copy(at, 0);
    at[before] = '.';
    digits.copy(at + before + 1, before);
    return at + digits.count() + 1;
}

char* appendWithExponent(char* at, const Digits& digits, int before)
{
    digits.copy(at, 0);
    digits.copy(at + 2, 1);
    at[1] = '.';
    at += digits.count() > 1 ? digits.count() + 1 : 1;
    const int exponent = before - 1;
    *at++ = 'e';
    *at++ = exponent < 0 ? '-' : '+';
    const int size = std::abs(exponent);
    *at = '0';
    at += size < 10 ? 1 : 0;
    return appendWhole(at, static_cast<std::uint64_t>(size));
}

template <typename Floating>
char* appendFloating(char* at, Floating value)
{
    if (!std::isfinite(value)) {
        if (std::isnan(value)) {
            std::memcpy(at, "nan", 3);
            return at + 3;
        }
        return std::to_chars(at, at + kNumberRoom, value).ptr;
    }
    *at = '-';
    at += std::signbit(value) ? 1 : 0;
    if (value == 0) {
        *at = '0';
        return at + 1;
    }
    namespace policy = jkj::dragonbox::policy;
    const auto shortest = jkj::dragonbox::to_decimal(value, policy::sign::ignore, policy::trailing_zero::remove);
    const Digits digits(shortest.significand);
    const int before = digits.count() + shortest.exponent;
    if (lengthFixed(digits.count(), before) > lengthWithExponent(digits.count(), before)) {
        return appendWithExponent(at, digits, before);
    }
    if (shortest.exponent < 0) {
        return appendFixed(at, digits, before);
    }
    // A whole number has all of its digits, also those beyond the shortest that would do.
    value = std::abs(value);
    constexpr auto kBeyond = static_cast<Floating>(std::uint64_t{1} << 63U);
    return value < kBeyond ? appendWhole(at, static_cast<std::uint64_t>(value))
                           : std::to_chars(at, at + kNumberRoom, value).ptr;
}

} // namespace

char* appendNumber(char* at, float value)
{
    return appendFloating(at, value);
}

char* appendNumber(char* at, double value)
{
    return appendFloating(at, value);
}

char* appendNumber(char* at, std::uint32_t value)
{
    return appendWhole(at, value);
}

char* appendNumber(char* at, std::int32_t value)
{
    *at = '-';
    at += value < 0 ? 1 : 0;
    return appendWhole(at, value < 0 ? 0U - static_cast<std::uint32_t>(value) : static_cast<std::uint32_t>(value));
}

} // namespace kor::recordings
