// Text in and out of the tool: strict numbers, names and foreign bytes made fit for a terminal, wide strings.
#pragma once

#include <charconv>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace kor::tool {

// A whole number and nothing else: no blanks, no plus sign, no other base, within the type's range.
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

// Bytes from a file for a message: quoted, at most 40 of them, everything but printable ASCII as \xNN.
std::string inQuotes(std::string_view bytes);

// A path or title for a message: control characters as \xNN, the rest (UTF-8) as it is.
std::string shown(std::string_view name);

// UTF-8 to the platform's wide string; nothing when it is not valid UTF-8 or holds a zero.
std::optional<std::wstring> wideFromUtf8(std::string_view text);

// A path from UTF-8 and back; on platforms with narrow paths the bytes are kept whatever they are.
std::filesystem::path pathFrom(std::string_view utf8);
std::string textOf(const std::filesystem::path& path);

std::vector<std::string_view> split(std::string_view text, char separator);

} // namespace kor::tool
