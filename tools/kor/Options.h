// Values of options, which arrive as text. Each function throws Misuse for a text that it does not expect.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Text.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

using platform::inQuotes;
using platform::shown;
using platform::split;
using platform::strictInteger;

template <typename Integer>
Integer wholeOption(std::string_view option, std::string_view text, Integer least = std::numeric_limits<Integer>::min(),
                    Integer most = std::numeric_limits<Integer>::max())
{
    const std::optional<Integer> value = strictInteger<Integer>(text);
    if (!value || *value < least || *value > most) {
        throw Misuse(std::string(option) + ": found " + inQuotes(text) + ", expected a whole number from " +
                     std::to_string(least) + " to " + std::to_string(most));
    }
    return *value;
}

/// The words that an option accepts, and what each means.
template <typename Value>
using Choices = std::vector<std::pair<std::string, Value>>;

template <typename Value>
std::vector<std::string> wordsOf(const Choices<Value>& choices)
{
    std::vector<std::string> words;
    for (const auto& [name, value] : choices) {
        words.push_back(name);
    }
    return words;
}

template <typename Value>
Value choiceOption(std::string_view option, std::string_view text, const Choices<Value>& choices)
{
    std::string names;
    for (const auto& [name, value] : choices) {
        if (name == text) {
            return value;
        }
        names += (names.empty() ? "" : " or ") + name;
    }
    throw Misuse(std::string(option) + ": found " + inQuotes(text) + ", expected " + names);
}

} // namespace kor::tool
