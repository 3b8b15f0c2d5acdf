#include "tools/kor/RecordingOptions.h"

#include <cstdint>

#include "tools/kor/Options.h"

namespace kor::tool {

using recordings::Format;

std::optional<Format> inputFormatOption(const std::optional<std::string>& text)
{
    if (!text) {
        return std::nullopt;
    }
    return choiceOption<Format>("--input-format", *text, {{"csv", Format::csv}, {"bin", Format::binary}});
}

std::optional<Format> formatOption(const std::optional<std::string>& text)
{
    if (!text) {
        return std::nullopt;
    }
    return choiceOption<Format>("--format", *text,
                                {{"csv", Format::csv}, {"bin", Format::binary}, {"bare", Format::bare}});
}

Window windowOption(const std::optional<std::string>& from, const std::optional<std::string>& to)
{
    Window window;
    if (from) {
        window.from(wholeOption<std::uint32_t>("--from", *from));
    }
    if (to) {
        window.to(wholeOption<std::uint32_t>("--to", *to));
    }
    return window;
}

void declareWindow(Subcommand& command, std::optional<std::string>& from, std::optional<std::string>& to,
                   const std::string& rows)
{
    command.option("--from", from, "MS", "Leave out " + rows + " before this time stamp");
    command.option("--to", to, "MS",
                   "Leave out " + rows +
                       " after this time stamp; with --from\nthe larger one, the window lies across the wrap");
}

void declareSkipBad(Subcommand& command, bool& skipBad)
{
    command.flag("--skip-bad", skipBad, "Leave out bad rows and records and count them");
}

} // namespace kor::tool
