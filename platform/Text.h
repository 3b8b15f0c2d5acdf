// Text in and out: UTF-8, strict numbers, and names and foreign bytes made fit for a terminal. Nothing here depends on
// the locale.
#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace kor::platform {

/// Wide text as UTF-8; nothing when it holds a lone surrogate or no valid code point.
std::optional<std::string> toUtf8(std::wstring_view text);

/// UTF-8 as wide text; nothing when it is not valid UTF-8.
std::optional<std::wstring> fromUtf8(std::string_view text);

/// A whole number and nothing else: no blanks, no plus sign, no other base, within the type's range.
template <typename Integer>
std::optional<Integer> strictInteger(std::string_view text)
{
    Integer value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

/// Whether a number that is out of its type's range is so for being too large, and not for being too small.
/// Given     number       perhaps a minus sign, digits with at most one point, then perhaps 'e' (hexadecimal: 'p') in
///                        either case and a decimal exponent; no "0x"
/// Notes  1  The place of the first digit decides, because both ends of every range are far away from 1.
bool isTooLarge(std::string_view number, bool hexadecimal = false);

/// Bytes from a file for a message: quoted, at most 40 of them, everything but printable ASCII as \xNN.
std::string inQuotes(std::string_view bytes);

/// A path or title for a message: control characters, those of UTF-8 beyond ASCII too, as \xNN, the rest as it is.
std::string shown(std::string_view name);

/// Bytes from a file as UTF-8 without control characters: those, and all beyond ASCII if the whole is not valid UTF-8,
/// as \xNN.
std::string printable(std::string_view bytes);

/// The parts between separators, empty ones included.
std::vector<std::string_view> split(std::string_view text, char separator);

/// Without the blanks at both ends.
std::string_view trimmed(std::string_view text, std::string_view blanks = " \t");

} // namespace kor::platform
