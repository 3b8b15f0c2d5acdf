// JSON from outside: bounded, strict, with every number as it stands in the text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kor::tool {

/// One value of a JSON text.
struct JsonValue {
    enum class Kind { null, boolean, number, string, array, object };

    Kind kind = Kind::null;
    std::string text{};               ///< of a number as it stands, so that it is rounded once; of a string its content
    std::vector<std::string> names{}; ///< of an object's members, each once, in the order of the text
    std::vector<JsonValue> items{};   ///< elements of an array, values of an object's members

    const JsonValue* member(std::string_view name) const;

    /// The value for a message: short and printable; "an array of 3 values", "nothing" for a null pointer.
    static std::string excerpt(const JsonValue* value);
};

/// What a JSON text may claim. More is refused before it costs memory.
struct JsonLimits {
    std::size_t bytes = std::size_t{1} << 24;
    std::size_t values = 2'000'000;
    std::size_t depth = 8;
    std::size_t members = 100; ///< of one object
    /// What the text is, what it consists of and which numbers it holds, for messages.
    std::string_view what = "a parameter file";
    std::string_view parts = "the blocks of a parameter file";
    std::string_view number = "a number that single precision can hold";
};

/// Takes a JSON text apart. Throws Failure, status 65, with the title, the place (line and column, or the path of the
/// value as a JSON pointer), what was found and what was expected.
JsonValue parseJson(std::string_view text, const std::string& title, const JsonLimits& limits = {});

/// A step further down a path: "/AZ Calibration Table" and "3" to "/AZ Calibration Table/3".
std::string pathBelow(const std::string& path, std::string_view step);

} // namespace kor::tool
