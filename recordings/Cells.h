// The cells of a CSV row: where each ends, and the values that their texts stand for.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
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

/// The value of a type in words, for messages: "a whole number from 0 to 255".
std::string_view expectation(Type type);

/// A value's bytes into a record.
template <typename Value>
void putValue(void* into, Value value)
{
    std::memcpy(into, &value, sizeof value);
}

/// The number at the start of a text: the end of what was read, null when there is none in range.
template <typename Value>
const char* numberAs(const char* begin, const char* end, void* into)
{
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
