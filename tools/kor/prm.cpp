// kor prm: the group of commands that handle parameter files.

#include "tools/kor/prm.h"

#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "platform/Text.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/PrmContent.h"

namespace kor::tool {

std::vector<Command> declarePrm(const CommandGroup& root)
{
    Subcommand command(root, "prm", "Check, show, compare and write parameter files");
    command.about("A parameter file is a text file of one sensor, DIR/TgN.prm for sensor N. kor prm SUBCOMMAND --help "
                  "describes a subcommand.",
                  "Its blocks and values are described in the page on file formats, see FILES in kor(1).");
    command.example(
        "Print a parameter file with names and units, convert it to JSON and back, and compare the two files",
        {"kor prm show calibration/Tg1005.prm", "kor prm json calibration/Tg1005.prm -o sensor.json",
         "kor prm from-json sensor.json -o Tg1005.prm", "kor prm diff calibration/Tg1005.prm Tg1005.prm"});
    const CommandGroup group = command.asGroup();
    return {declarePrmCheck(group), declarePrmShow(group),    declarePrmJson(group), declarePrmFromJson(group),
            declarePrmDiff(group),  declarePrmRewrite(group), declarePrmNew(group)};
}

void warnOfLosses(const PrmContent& content, const std::string& path, const char* unread, const char* rest)
{
    if (content.unread > 0) {
        warn(fmt::format("{}: {} {} could not be read and {} {}; kor prm check tells which", platform::shown(path),
                         content.unread, content.unread == 1 ? "value" : "values", content.unread == 1 ? "is" : "are",
                         unread));
    }
    if (content.restLine > 0) {
        warn(fmt::format("{}: line {}: {} bytes behind the last block, which the library ignores, are {}",
                         platform::shown(path), content.restLine, content.restBytes, rest));
    }
}

void noteName(const std::string& path, std::int32_t id)
{
    if (path != "-" && idInName(path) != id) {
        warn(fmt::format("{}: the library looks for sensor {} under the name {}", platform::shown(path), id,
                         prmName(id)));
    }
}

} // namespace kor::tool
