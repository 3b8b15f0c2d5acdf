// The cells of a CSV row: where each ends, and the values that their texts stand for.
#pragma once

#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <vector>

#include "platform/Text.h"
#include "recordings/Columns.h"

namespace kor::recordings {

/// What can stand between the cells of a table. Only commas are read; the others are recognised.
struct Separator {
    char character;
    std::string_view name;
};
inline constexpr Separator kSeparators[] = {
    {',', "commas"}, {';', "semicolons"}, {'\t', "tabs"}, {'|', "vertical bars"}};

/// What may stand around a value.
inline constexpr std::string_view kBlanks = " \t";

inline bool isBlank(std::string_view text)
{
    return text.find_first_not_of(kBlanks) == std::string_view::npos;
}

/// The value of a type in words, for messages: "a whole number from 0 to 255".
std::string_view expectation(Type type);

/// A value's bytes into a record.
template <typename Value>
void putValue(void* into, Value value)
{
    std::memcpy(into, &value, sizeof value);
}

/// Digits read one behind the other.
struct PlainDigits {
    std::uint64_t number = 0; ///< all digits as one number
    std::size_t count = 0;    ///< how many; beyond kMost the number may have overflowed

    static constexpr std::size_t kMost = 15; ///< so many are exact in double precision, and so are their powers of ten

    /// Reads on. Returned: where the digits end.
    const char* take(const char* at, const char* end)
    {
        const char* const begin = at;
        for (; at != end; ++at) {
            const auto digit = static_cast<unsigned char>(*at - '0');
            if (digit > 9) {
                break;
            }
            number = 10 * number + digit;
        }
        count += static_cast<std::size_t>(at - begin);
        return at;
    }

    bool isKnown() const { return count > 0 && count <= kMost; }
};

inline constexpr double kPlainPowers[PlainDigits::kMost + 1] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                                1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

/// The same as numberAs for the form that nearly all numbers have, several times as fast: few digits and no exponent.
/// Returned  result  null for a number of any other form, too
template <typename Value>
const char* plainFloatingAs(const char* begin, const char* end, void* into)
{
    const bool negative = begin != end && *begin == '-';
    PlainDigits digits;
    const char* at = digits.take(begin + (negative ? 1 : 0), end);
    std::size_t behindPoint = 0;
    if (at != end && *at == '.') {
        const char* const point = at;
        at = digits.take(point + 1, end);
        behindPoint = static_cast<std::size_t>(at - point) - 1;
    }
    if (!digits.isKnown() || *(at - 1) == '.' || (at != end && (*at == 'e' || *at == 'E'))) {
        return nullptr;
    }
    // Both are exact, so the quotient is rounded once.
    const double size = static_cast<double>(digits.number) / kPlainPowers[behindPoint];
    if constexpr (sizeof(Value) < sizeof size) {
        // Rounded once more it is the same, unless the first rounding may have led to the middle between two floats.
        constexpr std::uint64_t kMiddle = std::uint64_t{1} << 28U;
        if ((std::bit_cast<std::uint64_t>(size) & (2 * kMiddle - 1)) == kMiddle) {
            return nullptr;
        }
    }
    putValue(into, static_cast<Value>(negative ? -size : size));
    return at;
}

/// The same for whole numbers.
template <typename Value>
const char* plainWholeAs(const char* begin, const char* end, void* into)
{
    const bool negative = std::is_signed_v<Value> && begin != end && *begin == '-';
    PlainDigits digits;
    const char* const at = digits.take(begin + (negative ? 1 : 0), end);
    const auto size = static_cast<std::int64_t>(digits.number);
    const std::int64_t value = negative ? -size : size;
    if (!digits.isKnown() || value < std::numeric_limits<Value>::min() || value > std::numeric_limits<Value>::max()) {
        return nullptr;
    }
    putValue(into, static_cast<Value>(value));
    return at;
}

/// The number at the start of a text: the end of what was read, null when there is none in range.
template <typename Value>
const char* numberAs(const char* begin, const char* end, void* into)
{
    const char* plain = nullptr;
    if constexpr (std::is_floating_point_v<Value>) {
        plain = plainFloatingAs<Value>(begin, end, into);
    } else {
        plain = plainWholeAs<Value>(begin, end, into);
    }
    if (plain != nullptr) {
        return plain;
    }
    Value value{};
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (std::is_floating_point_v<Value> && error == std::errc::result_out_of_range &&
        !platform::isTooLarge({begin, static_cast<std::size_t>(stop - begin)})) {
        value = *begin == '-' ? -Value{} : Value{}; // what is below every number rounds to zero
    } else if (error != std::errc()) {
        return nullptr;
    }
    putValue(into, value);
    return stop;
}

/// The plain number at the start of a text, the form that nearly every cell has.
/// Returned  result  the end of what was read, null when there is no such number or the type is read otherwise
///           into    the value in its own type
inline const char* readNumber(Type type, const char* begin, const char* end, void* into)
{
    switch (type) {
    case Type::float32:
        return numberAs<float>(begin, end, into);
    case Type::float64:
        return numberAs<double>(begin, end, into);
    case Type::int32:
        return numberAs<std::int32_t>(begin, end, into);
    case Type::uint32:
        return numberAs<std::uint32_t>(begin, end, into);
    case Type::uint8:
        return numberAs<std::uint8_t>(begin, end, into);
    case Type::flag:
        if (begin == end || (*begin != '0' && *begin != '1')) {
            return nullptr;
        }
        putValue(into, *begin == '1');
        return begin + 1;
    case Type::text:
    case Type::outcome:
        break;
    }
    return nullptr;
}

/// The value of a whole cell in every form that is accepted.
/// Given     text    without blanks at its ends and without quotation marks
/// Returned  result  false when the text stands for no value of the type
///           into    the value in its own type; a text stays where it is
bool readValue(Type type, std::string_view text, void* into);

/// Whether a text says that the value is missing: nothing at all, NA, nan or null, in any case.
bool saysMissing(std::string_view text);

/// A cell as it stands in its row.
struct Cell {
    enum class Fault { none, quoteNotClosed, textBehindQuote };

    std::string_view text; ///< without blanks at its ends and without quotation marks
    const char* end;       ///< the separator behind it, or the end of the row
    Fault fault = Fault::none;
};

/// The cell that begins at a place of a row.
/// Given     unquoted  holds the text of a cell with doubled quotation marks, until its next use
Cell cellAt(const char* at, const char* end, char separator, std::string& unquoted);

/// The texts of all cells of a row, as far as its quotation marks are closed.
std::vector<std::string> cellsOf(std::string_view row, char separator = ',');

/// A column's name in the one form in which names are compared.
std::string folded(std::string_view name);

} // namespace kor::recordings
