// Parameter files as JSON and back: what has been read, from either form, is the same in the other one.
//
// If the first byte of the input is a brace, the input is JSON; otherwise it is a parameter file.
#include "Fuzz.h"
#include "tools/kor/Exit.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/PrmJson.h"

#include <bit>
#include <cmath>
#include <limits>
#include <optional>

namespace {

using kor::tool::PrmBlock;
using kor::tool::PrmContent;
using kor::tool::PrmNumber;
using kor_fuzz::require;

constexpr const char* kTitle = "the input";

bool same(const std::vector<PrmNumber>& a, const std::vector<PrmNumber>& b)
{
    bool same = a.size() == b.size();
    for (std::size_t i = 0; same && i < a.size(); ++i) {
        same = a[i].has_value() == b[i].has_value() &&
               (!a[i] || std::bit_cast<std::uint32_t>(*a[i]) == std::bit_cast<std::uint32_t>(*b[i]) ||
                (std::isnan(*a[i]) && std::isnan(*b[i]) && std::signbit(*a[i]) == std::signbit(*b[i])));
    }
    return same;
}

// A tilt table without a word gets one when it is written.
bool sameWord(const PrmBlock& a, const PrmBlock& b)
{
    return a.word == b.word || (a.word.empty() && b.word == "End");
}

bool same(const PrmContent& a, const PrmContent& b)
{
    bool same = a.blocks.size() == b.blocks.size();
    for (std::size_t i = 0; same && i < a.blocks.size(); ++i) {
        const PrmBlock& x = a.blocks[i];
        const PrmBlock& y = b.blocks[i];
        // The row count of a table stands in files alone.
        const bool sameInteger =
            x.integer == y.integer || kor::tool::isTable(kor::ParameterBlockKindOf(static_cast<std::uint32_t>(i)));
        same = x.present == y.present && sameInteger && sameWord(x, y) && ::same(x.values, y.values) &&
               ::same(x.extras, y.extras);
    }
    return same;
}

// What a failure says; nothing if there was none.
template <typename Content, typename Made>
std::optional<std::string> failureOf(Content& content, Made made)
{
    try {
        content = made();
        return std::nullopt;
    } catch (const kor::tool::Failure& failure) {
        const std::string text = failure.what();
        require(failure.status() == kor::tool::kExitDataError, "a faulty text is bad data");
        require(!text.empty() && kor_fuzz::isShown(text), "a failure has a text to show");
        return text;
    }
}

// What the JSON form cannot express: an ID beyond 32 bits, and a word that is too long.
bool fitsJson(const PrmContent& content)
{
    if (content.unread > 0) {
        return false;
    }
    const std::int64_t id = content.at("Serial Number").integer.value_or(0);
    bool fits = id >= std::numeric_limits<std::int32_t>::min() && id <= std::numeric_limits<std::uint32_t>::max();
    for (const PrmBlock& block : content.blocks) {
        fits = fits && block.word.size() <= 1000;
    }
    return fits;
}

void throughJson(const PrmContent& content)
{
    const std::string json = kor::tool::jsonOf(content);
    PrmContent again;
    const auto failure = failureOf(again, [&] { return kor::tool::contentOfJson(json, kTitle); });
    if (!fitsJson(content)) {
        return;
    }
    if (failure) {
        std::fprintf(stderr, "%s\n%s\n", failure->c_str(), json.c_str());
    }
    require(!failure && same(content, again), "JSON that was made of a content is read as that content");
    require(kor::tool::jsonOf(again) == json, "and makes the same JSON");
}

void throughText(const PrmContent& content)
{
    if (content.unread > 0) {
        return;
    }
    const std::string text = kor::tool::prmText(content);
    PrmContent again;
    const auto failure = failureOf(again, [&] { return kor::tool::prmOf(text, kTitle); });
    if (failure) {
        std::fprintf(stderr, "%s\n%s\n", failure->c_str(), text.c_str());
    }
    require(!failure && same(content, again), "a file that was made of a content is read as that content");
    require(again.unread == 0 && again.restBytes == 0, "and holds nothing else");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    PrmContent content;
    const auto failure = failureOf(content, [&] {
        return bytes.starts_with('{') ? kor::tool::contentOfJson(bytes, kTitle) : kor::tool::prmOf(bytes, kTitle);
    });
    if (!failure) {
        throughJson(content);
        throughText(content);
    }
    return 0;
}
