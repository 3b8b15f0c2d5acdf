#include "tools/kor/MountMode.h"

#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "KORInterface/OrientationModel.h"
#include "KORInterface/Session.h"

#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"

namespace kor::tool {

namespace {

constexpr std::int32_t kFirstMode = 1;
constexpr std::int32_t kLastMode = 10;

} // namespace

std::string mountModeNames(std::string_view separator)
{
    std::string names;
    for (std::int32_t mode = kFirstMode; mode <= kLastMode; ++mode) {
        const OrientationModel model = ModelOf(mode);
        if (mode == kFirstMode || ModelOf(mode - 1) != model) {
            names += fmt::format("{}{}", mode == kFirstMode ? "" : separator, mode);
        } else {
            names += fmt::format(", {}", mode);
        }
        if (mode == kLastMode || ModelOf(mode + 1) != model) {
            names += fmt::format(" {}", ModelText(model));
        }
    }
    return names;
}

std::vector<std::string> mountModeWords()
{
    std::vector<std::string> words;
    for (std::int32_t mode = kFirstMode; mode <= kLastMode; ++mode) {
        words.push_back(std::to_string(mode));
    }
    return words;
}

std::int32_t mountModeOption(std::string_view text)
{
    const std::optional<std::int32_t> mode = strictInteger<std::int32_t>(text);
    if (!mode || *mode < kFirstMode || *mode > kLastMode) {
        throw Misuse(fmt::format("--mode: found {}, expected a whole number from {} to {}: {}", inQuotes(text),
                                 kFirstMode, kLastMode, mountModeNames()));
    }
    return *mode;
}

std::string mountModeText(std::int32_t mode)
{
    return fmt::format("mount mode {} ({})", mode, ModelText(ModelOf(mode)));
}

} // namespace kor::tool
