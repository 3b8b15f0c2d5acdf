#include "tools/kor/JsonTree.h"

#include <algorithm>
#include <cstdint>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "platform/Text.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

namespace {

constexpr int kNumberOutOfRange = 406; // the parser's own number of that error

// Takes the parser's events. False from one of them ends the parsing.
class Tree {
public:
    Tree(std::string_view text, const std::string& title, const JsonLimits& limits)
        : m_text(text), m_title(title), m_limits(limits)
    {
    }

    JsonValue taken() { return std::move(m_root); }

    // The events, by the names that the parser calls them.
    bool null() { return add(JsonValue::Kind::null, "null"); }
    bool boolean(bool value) { return add(JsonValue::Kind::boolean, value ? "true" : "false"); }
    // Only what begins with a minus sign comes here, and so 0 was "-0".
    bool number_integer(std::int64_t value)
    {
        return add(JsonValue::Kind::number, value == 0 ? "-0" : std::to_string(value));
    }
    bool number_unsigned(std::uint64_t value) { return add(JsonValue::Kind::number, std::to_string(value)); }
    bool number_float(double /*rounded*/, const std::string& text) { return add(JsonValue::Kind::number, text); }
    bool string(std::string& text) { return add(JsonValue::Kind::string, std::move(text)); }
    bool binary(nlohmann::json::binary_t& /*bytes*/) { return false; } // no part of JSON text
    bool start_array(std::size_t /*length*/) { return open(JsonValue::Kind::array); }
    bool end_array() { return close(); }
    bool start_object(std::size_t /*length*/) { return open(JsonValue::Kind::object); }
    bool end_object() { return close(); }

    bool key(const std::string& name)
    {
        std::vector<std::string>& names = m_open.back()->names;
        if (std::find(names.begin(), names.end(), name) != names.end()) {
            refuse(pathBelow(path(), name), "a second value of that name", "each name once");
        }
        if (names.size() == m_limits.members) {
            refuse(path(), fmt::format("more than {} members", m_limits.members), std::string(m_limits.parts));
        }
        names.push_back(name);
        return true;
    }

    bool parse_error(std::size_t position, const std::string& token, const nlohmann::json::exception& error)
    {
        if (error.id == kNumberOutOfRange) {
            refuse(placeOfNext(), platform::inQuotes(token), std::string(m_limits.number));
        }
        const std::string_view before = m_text.substr(0, std::min(position, m_text.size()));
        const auto line = std::count(before.begin(), before.end(), '\n') + 1;
        const std::size_t column = before.size() - (before.rfind('\n') + 1); // npos + 1 is 0
        // The parser's own words behind its number and place: what it was about, and what is wrong.
        std::string_view words = error.what();
        if (const std::size_t at = words.find("syntax error"); at != std::string_view::npos) {
            words.remove_prefix(at);
        }
        words = words.substr(0, words.find("; last read"));
        constexpr std::size_t kLongest = 200;
        throw Failure(kExitDataError, fmt::format("{}: line {}, column {}: found {}, expected JSON ({})", m_title, line,
                                                  std::max<std::size_t>(column, 1), foundBefore(before, position),
                                                  platform::shown(words.substr(0, kLongest))));
    }

private:
    // The word that ends where the parser stopped.
    static std::string foundBefore(std::string_view before, std::size_t position)
    {
        if (position > before.size() || before.empty()) {
            return "end of file";
        }
        const std::string_view text = platform::trimmed(before, " \t\r\n");
        const std::size_t mark = text.find_last_of(" \t\r\n,:[]{}");
        const std::size_t begin = mark == std::string_view::npos ? 0 : mark + 1;
        return platform::inQuotes(begin < text.size() ? text.substr(begin) : text.substr(text.empty() ? 0 : begin - 1));
    }

    bool add(JsonValue::Kind kind, std::string text)
    {
        if (++m_count > m_limits.values) {
            refuse(path(), fmt::format("more than {} values", m_limits.values), std::string(m_limits.what));
        }
        JsonValue value{.kind = kind, .text = std::move(text)};
        if (m_open.empty()) {
            m_root = std::move(value);
        } else {
            m_open.back()->items.push_back(std::move(value));
        }
        return true;
    }

    bool open(JsonValue::Kind kind)
    {
        if (m_open.size() == m_limits.depth) {
            refuse(path(), fmt::format("values more than {} deep in each other", m_limits.depth),
                   std::string(m_limits.parts));
        }
        add(kind, {});
        // What is open does not move: only the innermost grows, and its elements are not open.
        m_open.push_back(m_open.empty() ? &m_root : &m_open.back()->items.back());
        return true;
    }

    bool close()
    {
        m_open.pop_back();
        return true;
    }

    // Of the innermost value that is open.
    std::string path() const
    {
        std::string text;
        for (std::size_t i = 0; i + 1 < m_open.size(); ++i) {
            text = pathBelow(text, stepIn(*m_open[i], m_open[i]->items.size() - 1));
        }
        return text;
    }

    // Of the value that comes next.
    std::string placeOfNext() const
    {
        return m_open.empty() ? path() : pathBelow(path(), stepIn(*m_open.back(), m_open.back()->items.size()));
    }

    static std::string stepIn(const JsonValue& value, std::size_t index)
    {
        return value.kind == JsonValue::Kind::object ? value.names[index] : std::to_string(index);
    }

    [[noreturn]] void refuse(const std::string& path, const std::string& found, const std::string& expected) const
    {
        throw Failure(kExitDataError, fmt::format("{}: {}: found {}, expected {}", m_title,
                                                  path.empty() ? "/" : platform::shown(path), found, expected));
    }

    std::string_view m_text;
    std::string m_title;
    JsonLimits m_limits;
    JsonValue m_root;
    std::vector<JsonValue*> m_open;
    std::size_t m_count = 0;
};

} // namespace

const JsonValue* JsonValue::member(std::string_view name) const
{
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? nullptr : &items[static_cast<std::size_t>(found - names.begin())];
}

std::string JsonValue::excerpt(const JsonValue* value)
{
    if (value == nullptr) {
        return "nothing";
    }
    constexpr std::size_t kLongest = 40;
    switch (value->kind) {
    case Kind::null:
    case Kind::boolean:
        return value->text;
    case Kind::number:
        return value->text.size() > kLongest ? value->text.substr(0, kLongest) + "..." : value->text;
    case Kind::string:
        return platform::inQuotes(value->text);
    case Kind::array:
        return value->items.size() == 1 ? "an array of one value"
                                        : fmt::format("an array of {} values", value->items.size());
    case Kind::object:
        return "an object";
    }
    return {};
}

JsonValue parseJson(std::string_view text, const std::string& title, const JsonLimits& limits)
{
    if (text.size() > limits.bytes) {
        throw Failure(kExitDataError, fmt::format("{}: found more than {} bytes, expected the JSON of {}", title,
                                                  limits.bytes, limits.what));
    }
    Tree tree(text, title, limits);
    nlohmann::json::sax_parse(text.begin(), text.end(), &tree);
    return tree.taken();
}

std::string pathBelow(const std::string& path, std::string_view step)
{
    std::string text = path + "/";
    for (const char c : step) {
        text += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return text;
}

} // namespace kor::tool
