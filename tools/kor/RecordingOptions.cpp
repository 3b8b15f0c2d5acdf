#include "tools/kor/RecordingOptions.h"

#include <cstdint>
#include <string>
#include <vector>

#include "tools/kor/Progress.h"

namespace kor::tool {

using recordings::Format;

Choices<Format> inputFormatChoices()
{
    return {{"csv", Format::csv}, {"bin", Format::binary}};
}

Choices<Format> formatChoices()
{
    return {{"csv", Format::csv}, {"bin", Format::binary}, {"bare", Format::bare}};
}

std::optional<Format> inputFormatOption(const std::optional<std::string>& text)
{
    if (!text) {
        return std::nullopt;
    }
    return choiceOption("--input-format", *text, inputFormatChoices());
}

std::optional<Format> formatOption(const std::optional<std::string>& text)
{
    if (!text) {
        return std::nullopt;
    }
    return choiceOption("--format", *text, formatChoices());
}

std::vector<std::string> recordingEndings()
{
    return compressible({"csv", "korraw"});
}

std::vector<std::string> resultEndings()
{
    return compressible({"csv", "korinfo"});
}

std::vector<std::string> truthEndings()
{
    return compressible({"csv"});
}

std::vector<std::string> rowEndings()
{
    return compressible({"csv", "korraw", "korinfo"});
}

void declareProgress(Subcommand& command, std::optional<std::string>& when)
{
    command
        .option("--progress", when, "WHEN",
                "Show on standard error how far the run has come: always, never, or auto (the default: if standard "
                "error is a terminal)")
        .takes(oneOf(progressWords()));
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
                       " after this time stamp. If --from is larger than --to, the window contains the wrap of the "
                       "time stamps from 4294967295 to 0");
}

DescribedOption& declareSkipBad(Subcommand& command, bool& skipBad)
{
    return command.flag("--skip-bad", skipBad, "Leave out rows and records that cannot be read, and count them");
}

} // namespace kor::tool
