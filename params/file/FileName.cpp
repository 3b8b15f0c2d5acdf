#include "params/file/FileName.h"

#include <algorithm>

#include "platform/Text.h"

namespace kor::params {

namespace {

constexpr std::string_view kBegin = "Tg";
constexpr std::string_view kEnd = ".prm";

constexpr char lowerOf(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool areSame(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char one, char other) { return lowerOf(one) == lowerOf(other); });
}

} // namespace

std::string fileNameOf(std::int32_t id)
{
    return std::string(kBegin) + std::to_string(id) + std::string(kEnd);
}

std::optional<std::int32_t> idOfFileName(std::string_view name)
{
    if (name.size() <= kBegin.size() + kEnd.size() || !areSame(name.substr(0, kBegin.size()), kBegin) ||
        !areSame(name.substr(name.size() - kEnd.size()), kEnd)) {
        return std::nullopt;
    }
    return platform::strictInteger<std::int32_t>(name.substr(kBegin.size(), name.size() - kBegin.size() - kEnd.size()));
}

} // namespace kor::params
