#include "tools/kor/UncertaintyFile.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

#include <fmt/format.h>

#include "platform/Text.h"
#include "tools/kor/Exit.h"
#include "tools/kor/JsonTree.h"
#include "tools/kor/PrmContent.h"

namespace kor::tool {

using namespace accuracy;

namespace {

constexpr const char* kFormatName = "format";
constexpr const char* kFormatText = "kor uncertainty 1";
constexpr const char* kInputsName = "inputs";
constexpr const char* kNoiseName = "noise";
constexpr const char* kConstantName = "constant";
constexpr const char* kUnitName = "unit";
constexpr double kLargest = 1e9;

constexpr JsonLimits kLimits = {.bytes = 100'000,
                                .values = 2000,
                                .depth = 4,
                                .members = 200,
                                .what = "a file of uncertainties",
                                .parts = "\"format\" and \"inputs\" as in the example",
                                .number = "a number from 0 to 1e9"};

std::string listed(const std::vector<std::string>& words)
{
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + platform::inQuotes(words[i]);
    }
    return text;
}

// Reads the tree of the JSON text.
class FromJson {
public:
    FromJson(const JsonValue& root, const std::string& title) : m_root(root), m_title(title), m_known(knownInputs()) {}

    std::vector<InputUncertainty> uncertainties() const
    {
        expectMembers("", m_root, {kFormatName, kInputsName});
        const JsonValue* const format = m_root.member(kFormatName);
        if (format == nullptr || format->kind != JsonValue::Kind::string || format->text != kFormatText) {
            refuse(pathBelow("", kFormatName), format, platform::inQuotes(kFormatText));
        }
        const std::string path = pathBelow("", kInputsName);
        const JsonValue* const inputs = m_root.member(kInputsName);
        if (inputs == nullptr || inputs->kind != JsonValue::Kind::object) {
            refuse(path, inputs, "an object with a member for each input");
        }
        std::vector<InputUncertainty> found;
        for (std::size_t i = 0; i < inputs->names.size(); ++i) {
            found.push_back(inputOf(pathBelow(path, inputs->names[i]), inputs->names[i], inputs->items[i]));
        }
        return found;
    }

private:
    [[noreturn]] void refuse(const std::string& path, const std::string& found, const std::string& expected) const
    {
        throw Failure(kExitDataError, fmt::format("{}: {}: found {}, expected {}", m_title,
                                                  path.empty() ? "/" : platform::shown(path), found, expected));
    }

    [[noreturn]] void refuse(const std::string& path, const JsonValue* found, const std::string& expected) const
    {
        refuse(path, JsonValue::excerpt(found), expected);
    }

    void expectMembers(const std::string& path, const JsonValue& value, const std::vector<std::string>& names) const
    {
        if (value.kind != JsonValue::Kind::object) {
            refuse(path, &value, "an object with " + listed(names));
        }
        for (const std::string& name : value.names) {
            if (std::find(names.begin(), names.end(), name) == names.end()) {
                refuse(pathBelow(path, name), "a member of that name", listed(names));
            }
        }
    }

    InputUncertainty inputOf(const std::string& path, const std::string& name, const JsonValue& value) const
    {
        const auto known = std::find_if(m_known.begin(), m_known.end(),
                                        [&name](const KnownInput& input) { return input.name == name; });
        if (known == m_known.end()) {
            refuse(path, "a member of that name",
                   "the name of an input, as \"azimuth encoder\"; kor accuracy --budget lists them");
        }
        expectMembers(path, value, {kNoiseName, kConstantName, kUnitName});
        const JsonValue* const noise = value.member(kNoiseName);
        const JsonValue* const constant = value.member(kConstantName);
        const JsonValue* const unit = value.member(kUnitName);
        if (known->parameter && noise != nullptr) {
            refuse(pathBelow(path, kNoiseName), "a member of that name",
                   "\"constant\": a parameter is the same in all samples");
        }
        if (noise == nullptr && constant == nullptr) {
            refuse(path, "neither \"noise\" nor \"constant\"",
                   known->parameter ? "\"constant\", a standard uncertainty"
                                    : "at least one of them, a standard uncertainty");
        }
        if (unit == nullptr || unit->kind != JsonValue::Kind::string ||
            std::find(known->units.begin(), known->units.end(), unit->text) == known->units.end()) {
            refuse(pathBelow(path, kUnitName), unit, listed(known->units));
        }
        InputUncertainty input{.input = name, .unit = unit->text};
        if (noise != nullptr) {
            input.noise = numberOf(pathBelow(path, kNoiseName), *noise);
        }
        if (constant != nullptr) {
            input.constant = numberOf(pathBelow(path, kConstantName), *constant);
        }
        return input;
    }

    // What is too small for a double counts as 0.
    double numberOf(const std::string& path, const JsonValue& value) const
    {
        double number = 0.0;
        if (value.kind == JsonValue::Kind::number) {
            const std::string& text = value.text;
            std::from_chars(text.data(), text.data() + text.size(), number);
        }
        if (value.kind != JsonValue::Kind::number || !(number >= 0.0 && number <= kLargest)) {
            refuse(path, &value, std::string(kLimits.number));
        }
        return number;
    }

    const JsonValue& m_root;
    const std::string& m_title;
    std::vector<KnownInput> m_known;
};

} // namespace

std::vector<InputUncertainty> readUncertainties(const std::string& path)
{
    const std::string title = path == "-" ? "standard input" : platform::shown(path);
    const JsonValue root = parseJson(readWhole(path, kLimits.bytes, "file of uncertainties"), title, kLimits);
    return FromJson(root, title).uncertainties();
}

} // namespace kor::tool
