// The cells of a CSV row: where each ends, and the values that their texts stand for.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

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

/// Whether the type has room for a missing value, which is nan.
constexpr bool canBeMissing(Type type)
{
    return type == Type::float32 || type == Type::float64;
}

/// The plain number at the start of a text, the form that nearly every cell has.
/// Returned  result  the end of what was read, null when there is no such number or the type is read otherwise
///           into    the value in its own type
const char* readNumber(Type type, const char* begin, const char* end, void* into);

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
