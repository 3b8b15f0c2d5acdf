#include "platform/Text.h"

namespace kor::tool {

namespace {

void appendEscaped(std::string& out, unsigned char byte)
{
    constexpr char kDigits[] = "0123456789abcdef";
    out += "\\x";
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
}

void appendWide(std::wstring& out, std::uint32_t codePoint)
{
    if (sizeof(wchar_t) == 2 && codePoint > 0xffff) {
        const std::uint32_t above = codePoint - 0x10000;
        out += static_cast<wchar_t>(0xd800 + (above >> 10));
        out += static_cast<wchar_t>(0xdc00 + (above & 0x3ff));
    } else {
        out += static_cast<wchar_t>(codePoint);
    }
}

} // namespace

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
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            appendEscaped(out, byte);
        } else {
            out += c;
        }
    }
    return out;
}

std::optional<std::wstring> wideFromUtf8(std::string_view text)
{
    std::wstring out;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i++]);
        if (lead < 0x80) {
            if (lead == 0) {
                return std::nullopt;
            }
            out += static_cast<wchar_t>(lead);
            continue;
        }
        // A lead byte says how many follow and the least code point that needs so many.
        int following = 0;
        std::uint32_t codePoint = 0;
        std::uint32_t least = 0;
        if ((lead & 0xe0) == 0xc0) {
            following = 1, codePoint = lead & 0x1fu, least = 0x80;
        } else if ((lead & 0xf0) == 0xe0) {
            following = 2, codePoint = lead & 0x0fu, least = 0x800;
        } else if ((lead & 0xf8) == 0xf0) {
            following = 3, codePoint = lead & 0x07u, least = 0x10000;
        } else {
            return std::nullopt;
        }
        for (; following > 0; --following, ++i) {
            if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) {
                return std::nullopt;
            }
            codePoint = codePoint << 6 | (static_cast<unsigned char>(text[i]) & 0x3fu);
        }
        const bool surrogate = codePoint >= 0xd800 && codePoint <= 0xdfff;
        if (codePoint < least || codePoint > 0x10ffff || surrogate) {
            return std::nullopt;
        }
        appendWide(out, codePoint);
    }
    return out;
}

std::filesystem::path pathFrom(std::string_view utf8)
{
    return std::u8string(utf8.begin(), utf8.end());
}

std::string textOf(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
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

} // namespace kor::tool
