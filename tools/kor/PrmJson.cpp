#include "tools/kor/PrmJson.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "platform/Text.h"
#include "tools/kor/Exit.h"
#include "tools/kor/JsonTree.h"

namespace kor::tool {

namespace {

constexpr const char* kFormatName = "format";
constexpr const char* kFormatText = "kor prm 1";
constexpr const char* kRowsName = "rows";
constexpr const char* kLimitsName = "limits";
constexpr const char* kWordName = "word";
constexpr std::size_t kTiltExtras = 3;

std::string jsonString(const std::string& text)
{
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string jsonRow(std::span<const PrmNumber> values)
{
    std::string text = "[";
    for (const PrmNumber& value : values) {
        text += (text.size() > 1 ? ", " : "") + jsonNumber(value);
    }
    return text + "]";
}

// Rows one below the other.
std::string jsonRows(const std::vector<PrmNumber>& values, std::size_t columns, const char* margin)
{
    std::string text = "[";
    for (std::size_t i = 0; i < values.size(); i += columns) {
        text += fmt::format("{}\n{}  {}", i > 0 ? "," : "", margin, jsonRow(std::span(values).subspan(i, columns)));
    }
    return values.empty() ? "[]" : fmt::format("{}\n{}]", text, margin);
}

std::string jsonBlock(const ParameterBlockKind& kind, const PrmBlock& block)
{
    switch (kind.layout) {
    case ParameterLayout::integer:
        return block.integer ? std::to_string(*block.integer) : "null";
    case ParameterLayout::word:
        return jsonString(block.word);
    case ParameterLayout::separate:
        return jsonRow(block.values);
    case ParameterLayout::rows:
        if (block.values.size() == 1) {
            return jsonNumber(block.values.front());
        }
        return kind.rows == 1 ? jsonRow(block.values) : jsonRows(block.values, kind.columns, "  ");
    case ParameterLayout::encoderTable:
        return jsonRows(block.values, kind.columns, "  ");
    case ParameterLayout::tiltTable:
        return fmt::format("{{\n    \"{}\": {},\n    \"{}\": {},\n    \"{}\": {}\n  }}", kRowsName,
                           jsonRows(block.values, kind.columns, "    "), kLimitsName, jsonRow(block.extras), kWordName,
                           jsonString(block.word));
    }
    return "null";
}

// Reads the tree of a JSON text into a content.
class FromJson {
public:
    FromJson(const JsonValue& root, const std::string& title) : m_root(root), m_title(title) {}

    PrmContent content()
    {
        if (m_root.kind != JsonValue::Kind::object) {
            refuse("", &m_root, "an object with a member for each block");
        }
        checkNames();
        for (std::uint32_t kind = 0; kind < m_content.blocks.size(); ++kind) {
            const ParameterBlockKind form = ParameterBlockKindOf(kind);
            if (const JsonValue* const value = m_root.member(form.title); value != nullptr) {
                m_content.blocks[kind] = blockOf(form, pathBelow("", form.title), *value);
            }
        }
        checkPresence();
        return std::move(m_content);
    }

private:
    [[noreturn]] void refuse(const std::string& path, const std::string& found, const std::string& expected) const
    {
        throw Failure(kExitDataError, fmt::format("{}: {}: found {}, expected {}", m_title,
                                                  path.empty() ? "/" : platform::shown(path), found, expected));
    }

    [[noreturn]] void refuse(const std::string& path, const JsonValue* found, const std::string& expected) const
    {
        const bool unread = found != nullptr && found->kind == JsonValue::Kind::null;
        refuse(path, JsonValue::excerpt(found),
               expected + (unread ? "; null stands for a value that could not be read" : ""));
    }

    void checkNames() const
    {
        const JsonValue* const format = m_root.member(kFormatName);
        if (format == nullptr || format->kind != JsonValue::Kind::string || format->text != kFormatText) {
            refuse(pathBelow("", kFormatName), format, platform::inQuotes(kFormatText));
        }
        for (const std::string& name : m_root.names) {
            if (name != kFormatName && kindOf(name) == ParameterBlockKinds()) {
                refuse(pathBelow("", name), "a member of that name", "the title of a block, as \"Angle Offset\"");
            }
        }
    }

    // A file may end early, but not lack a block in between, and what stands behind its end is not read.
    void checkPresence() const
    {
        const bool longMode = m_content.mode() >= kFirstLongMode;
        std::optional<std::uint32_t> absent;
        for (std::uint32_t kind = 0; kind < m_content.blocks.size(); ++kind) {
            const ParameterBlockKind form = ParameterBlockKindOf(kind);
            const std::string path = pathBelow("", form.title);
            if (form.modeSevenUp && !longMode) {
                if (m_content.blocks[kind].present) {
                    refuse(path, "the block",
                           fmt::format("no such block: in mount mode {} a file ends behind \"Mounting Mode\"",
                                       m_content.mode()));
                }
            } else if (m_content.blocks[kind].present) {
                if (absent) {
                    refuse(pathBelow("", ParameterBlockKindOf(*absent).title), "nothing",
                           fmt::format("the block, because \"{}\" stands behind it", form.title));
                }
            } else if (form.required) {
                refuse(path, "nothing",
                       form.modeSevenUp ? fmt::format("the block, which mount mode {} requires", m_content.mode())
                                        : std::string("the block, which every parameter file has"));
            } else if (!absent) {
                absent = kind;
            }
        }
    }

    PrmBlock blockOf(const ParameterBlockKind& form, const std::string& path, const JsonValue& value)
    {
        PrmBlock block{.present = true};
        switch (form.layout) {
        case ParameterLayout::integer:
            block.integer = integerOf(form, path, value);
            break;
        case ParameterLayout::word:
            block.word = wordOf(path, value, false);
            break;
        case ParameterLayout::separate:
            takeRow(path, value, form.columns, block.values);
            break;
        case ParameterLayout::rows:
            if (form.rows == 1 && form.columns == 1) {
                block.values.push_back(numberOf(path, value));
            } else if (form.rows == 1) {
                takeRow(path, value, form.columns, block.values);
            } else {
                takeRows(path, value, form, form.rows, form.rows, block.values);
            }
            break;
        case ParameterLayout::encoderTable:
            takeRows(path, value, form, 0, kMostTableRows, block.values);
            break;
        case ParameterLayout::tiltTable:
            takeTilt(path, value, form, block);
            break;
        }
        return block;
    }

    void takeTilt(const std::string& path, const JsonValue& value, const ParameterBlockKind& form, PrmBlock& block)
    {
        if (value.kind != JsonValue::Kind::object) {
            refuse(path, &value,
                   fmt::format("an object with \"{}\", \"{}\" and \"{}\"", kRowsName, kLimitsName, kWordName));
        }
        for (const std::string& name : value.names) {
            if (name != kRowsName && name != kLimitsName && name != kWordName) {
                refuse(pathBelow(path, name), "a member of that name",
                       fmt::format("\"{}\", \"{}\" or \"{}\"", kRowsName, kLimitsName, kWordName));
            }
        }
        takeRows(pathBelow(path, kRowsName), member(path, value, kRowsName), form, 0, kMostTableRows, block.values);
        takeRow(pathBelow(path, kLimitsName), member(path, value, kLimitsName), kTiltExtras, block.extras);
        block.word = wordOf(pathBelow(path, kWordName), member(path, value, kWordName), true);
    }

    const JsonValue& member(const std::string& path, const JsonValue& value, const char* name) const
    {
        const JsonValue* const found = value.member(name);
        if (found == nullptr) {
            refuse(pathBelow(path, name), "nothing", "the member");
        }
        return *found;
    }

    void takeRows(const std::string& path, const JsonValue& value, const ParameterBlockKind& form, std::size_t least,
                  std::size_t most, std::vector<PrmNumber>& into) const
    {
        if (value.kind != JsonValue::Kind::array || value.items.size() < least || value.items.size() > most) {
            refuse(path, &value,
                   least == most ? fmt::format("{} rows of {} numbers", most, form.columns)
                                 : fmt::format("at most {} rows of {} numbers", most, form.columns));
        }
        for (std::size_t row = 0; row < value.items.size(); ++row) {
            takeRow(pathBelow(path, std::to_string(row)), value.items[row], form.columns, into);
        }
    }

    void takeRow(const std::string& path, const JsonValue& value, std::size_t columns,
                 std::vector<PrmNumber>& into) const
    {
        if (value.kind != JsonValue::Kind::array || value.items.size() != columns) {
            refuse(path, &value, fmt::format("an array of {} numbers", columns));
        }
        for (std::size_t i = 0; i < columns; ++i) {
            into.push_back(numberOf(pathBelow(path, std::to_string(i)), value.items[i]));
        }
    }

    PrmNumber numberOf(const std::string& path, const JsonValue& value) const
    {
        constexpr float kInfinite = std::numeric_limits<float>::infinity();
        constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
        if (value.kind == JsonValue::Kind::string) {
            const bool negative = value.text.starts_with('-');
            const std::string name = value.text.substr(negative ? 1 : 0);
            if (name == "inf" || name == "nan") {
                return std::copysign(name == "inf" ? kInfinite : kNan, negative ? -1.0F : 1.0F);
            }
        }
        if (value.kind != JsonValue::Kind::number) {
            refuse(path, &value, R"(a number, or one of "nan", "-nan", "inf" and "-inf")");
        }
        const std::string& text = value.text;
        float number = 0.0F;
        if (const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
            error == std::errc::result_out_of_range) {
            if (platform::isTooLarge(text)) {
                refuse(path, &value, "a number that single precision can hold, or \"inf\"");
            }
            number = text.starts_with('-') ? -0.0F : 0.0F;
        }
        return number;
    }

    std::int64_t integerOf(const ParameterBlockKind& form, const std::string& path, const JsonValue& value) const
    {
        // The sensor ID may stand for its 32 bits without a sign.
        const std::int64_t most = form.title == std::string_view("Serial Number")
                                      ? std::int64_t{std::numeric_limits<std::uint32_t>::max()}
                                      : std::int64_t{std::numeric_limits<std::int32_t>::max()};
        constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
        const std::optional<std::int64_t> number =
            value.kind == JsonValue::Kind::number ? platform::strictInteger<std::int64_t>(value.text) : std::nullopt;
        if (!number || *number < kLeast || *number > most) {
            refuse(path, &value, fmt::format("a whole number from {} to {}", kLeast, most));
        }
        return *number;
    }

    // White space would end the word, and the byte 0x1A the file.
    std::string wordOf(const std::string& path, const JsonValue& value, bool mayBeEmpty) const
    {
        const auto ends = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r') || c == '\x1A' || c == '\0'; };
        constexpr std::size_t kLongest = 1000;
        if (value.kind != JsonValue::Kind::string || (value.text.empty() && !mayBeEmpty) ||
            value.text.size() > kLongest || std::any_of(value.text.begin(), value.text.end(), ends)) {
            refuse(path, &value, fmt::format("a string of one word of at most {} bytes", kLongest));
        }
        return value.text;
    }

    const JsonValue& m_root;
    std::string m_title;
    PrmContent m_content;
};

} // namespace

std::string jsonNumber(const PrmNumber& number)
{
    if (!number) {
        return "null";
    }
    const std::string text = shortestText(*number);
    // Without a fraction a reader of JSON may take it for the whole number 0, which has no sign.
    return !std::isfinite(*number) ? "\"" + text + "\"" : text == "-0" ? "-0.0" : text;
}

std::string jsonOf(const PrmContent& content)
{
    std::string text = fmt::format("{{\n  \"{}\": \"{}\"", kFormatName, kFormatText);
    for (std::uint32_t kind = 0; kind < content.blocks.size(); ++kind) {
        if (content.blocks[kind].present) {
            const ParameterBlockKind form = ParameterBlockKindOf(kind);
            text += fmt::format(",\n  \"{}\": {}", form.title, jsonBlock(form, content.blocks[kind]));
        }
    }
    return text + "\n}\n";
}

PrmContent contentOfJson(std::string_view text, const std::string& title)
{
    const JsonValue root = parseJson(text, title);
    return FromJson(root, title).content();
}

} // namespace kor::tool
