#include "platform/Text.h"

#include <cstdint>

namespace kor::platform {

namespace {

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

constexpr bool isHighSurrogate(std::uint32_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool isLowSurrogate(std::uint32_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// wchar_t is signed on some systems; a negative one must not become a valid code point.
constexpr std::uint32_t unitOf(wchar_t character)
{
    if constexpr (sizeof(wchar_t) == 2) {
        return static_cast<std::uint16_t>(character);
    } else {
        return static_cast<std::uint32_t>(character);
    }
}

constexpr char byteOf(std::uint32_t value)
{
    return static_cast<char>(static_cast<unsigned char>(value));
}

void appendUtf8(std::string& out, std::uint32_t point)
{
    if (point < 0x80) {
        out += byteOf(point);
        return;
    }
    if (point < 0x800) {
        out += byteOf(0xC0U | (point >> 6U));
    } else {
        if (point < 0x10000) {
            out += byteOf(0xE0U | (point >> 12U));
        } else {
            out += byteOf(0xF0U | (point >> 18U));
            out += byteOf(0x80U | ((point >> 12U) & 0x3FU));
        }
        out += byteOf(0x80U | ((point >> 6U) & 0x3FU));
    }
    out += byteOf(0x80U | (point & 0x3FU));
}

void appendWide(std::wstring& out, std::uint32_t point)
{
    if constexpr (sizeof(wchar_t) == 2) {
        if (point >= 0x10000) {
            out += static_cast<wchar_t>(0xD800U + ((point - 0x10000U) >> 10U));
            out += static_cast<wchar_t>(0xDC00U + ((point - 0x10000U) & 0x3FFU));
            return;
        }
    }
    out += static_cast<wchar_t>(point);
}

void appendEscaped(std::string& out, unsigned char byte)
{
    constexpr char kDigits[] = "0123456789abcdef";
    out += "\\x";
    out += kDigits[byte >> 4U];
    out += kDigits[byte & 15U];
}

} // namespace

std::optional<std::string> toUtf8(std::wstring_view text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint32_t point = unitOf(text[i]);
        if constexpr (sizeof(wchar_t) == 2) {
            if (isHighSurrogate(point) && i + 1 < text.size() && isLowSurrogate(unitOf(text[i + 1]))) {
                point = 0x10000U + ((point - 0xD800U) << 10U) + (unitOf(text[++i]) - 0xDC00U);
            }
        }
        if (isHighSurrogate(point) || isLowSurrogate(point) || point > kLastCodePoint) {
            return std::nullopt;
        }
        appendUtf8(out, point);
    }
    return out;
}

namespace {

unsigned bytesAfter(std::uint32_t lead)
{
    if (lead < 0x80) {
        return 0;
    }
    if (lead < 0xE0) {
        return 1;
    }
    return lead < 0xF0 ? 2 : 3;
}

} // namespace

std::optional<std::wstring> fromUtf8(std::string_view text)
{
    std::wstring out;
    for (std::size_t i = 0; i < text.size();) {
        const std::uint32_t lead = static_cast<unsigned char>(text[i++]);
        // No sequence begins with 0x80 to 0xC1 or above 0xF4.
        if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4) {
            return std::nullopt;
        }
        const unsigned following = bytesAfter(lead);
        if (following > text.size() - i) {
            return std::nullopt;
        }
        std::uint32_t point = following == 0 ? lead : lead & (0x3FU >> following);
        for (unsigned k = 0; k < following; ++k) {
            const std::uint32_t byte = static_cast<unsigned char>(text[i++]);
            if ((byte & 0xC0U) != 0x80U) {
                return std::nullopt;
            }
            point = (point << 6U) | (byte & 0x3FU);
        }
        constexpr std::uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
        if (point < kSmallest[following] || point > kLastCodePoint || isHighSurrogate(point) || isLowSurrogate(point)) {
            return std::nullopt;
        }
        appendWide(out, point);
    }
    return out;
}

bool isTooLarge(std::string_view number, bool hexadecimal)
{
    const std::size_t letter = number.find_first_of(hexadecimal ? "pP" : "eE");
    std::string_view digits = number.substr(0, letter);
    if (digits.starts_with('-')) {
        digits.remove_prefix(1);
    }
    const std::size_t point = digits.find('.');
    const std::size_t whole = point == std::string_view::npos ? digits.size() : point;
    const std::size_t first = digits.find_first_not_of("0.");
    if (first == std::string_view::npos) {
        return false;
    }
    const std::int64_t places = static_cast<std::int64_t>(whole) - static_cast<std::int64_t>(first);

    std::int64_t exponent = 0;
    if (letter != std::string_view::npos) {
        std::string_view text = number.substr(letter + 1);
        if (text.starts_with('+')) {
            text.remove_prefix(1);
        }
        if (std::from_chars(text.data(), text.data() + text.size(), exponent).ec != std::errc()) {
            return !text.starts_with('-');
        }
    }
    return exponent > -(hexadecimal ? 4 : 1) * places;
}

std::string inQuotes(std::string_view bytes)
{
    constexpr std::size_t kMost = 40;
    std::string out = "\"";
    for (const char c : bytes.substr(0, kMost)) {
        if (c >= 0x20 && c < 0x7f) {
            out += c;
        } else {
            appendEscaped(out, static_cast<unsigned char>(c));
        }
    }
    return out + (bytes.size() > kMost ? "\"..." : "\"");
}

std::string shown(std::string_view name)
{
    std::string out;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto byte = static_cast<unsigned char>(name[i]);
        const auto next = static_cast<unsigned char>(i + 1 < name.size() ? name[i + 1] : '\0');
        // U+0080 to U+009F: to some terminals they are what the escape character begins.
        if (byte == 0xc2 && next >= 0x80 && next <= 0x9f) {
            appendEscaped(out, byte);
            appendEscaped(out, next);
            ++i;
        } else if (byte < 0x20 || byte == 0x7f) {
            appendEscaped(out, byte);
        } else {
            out += name[i];
        }
    }
    return out;
}

std::string printable(std::string_view bytes)
{
    if (fromUtf8(bytes)) {
        return shown(bytes);
    }
    std::string out;
    for (const char c : bytes) {
        if (c >= 0x20 && c < 0x7f) {
            out += c;
        } else {
            appendEscaped(out, static_cast<unsigned char>(c));
        }
    }
    return out;
}

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t at = text.find(separator);
        parts.push_back(text.substr(0, at));
        if (at == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(at + 1);
    }
}

std::string_view trimmed(std::string_view text, std::string_view blanks)
{
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace kor::platform
