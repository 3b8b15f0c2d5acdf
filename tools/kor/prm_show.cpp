// kor prm show: a parameter file for a reader.

#include <cstdint>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "KORInterface/Session.h"

#include "platform/Text.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/PrmView.h"
#include "tools/kor/prm.h"

namespace kor::tool {

using platform::shown;

namespace {

constexpr int kTitleWidth = 36;

struct ShowRequest {
    std::string file;
    bool rows = false;
};

std::string textOf(const PrmView& view, std::int32_t mode)
{
    std::string text;
    for (const PrmLine& line : view.lines) {
        const std::string number = line.title.empty() ? "" : line.line == 0 ? "-" : std::to_string(line.line);
        std::string shownLine = fmt::format("{:>4}  {:<{}}{}", number, line.title, kTitleWidth, line.content);
        shownLine.erase(shownLine.find_last_not_of(' ') + 1);
        text += shownLine + "\n";
    }
    if (!view.leftOut.empty()) {
        text += fmt::format("\nNot read in mount mode {}: {}.\n", mode, view.leftOut);
    }
    return text;
}

int runShow(const ShowRequest& request)
{
    const PrmContent content = readPrm(request.file);
    const std::int32_t mode = content.mode();
    print(fmt::format("{}\nsensor {}, mount mode {}: {}\n\nline  {:<{}}content\n{}", shown(request.file), content.id(),
                      mode, ModelText(ModelOf(mode)), "block", kTitleWidth,
                      textOf(viewOf(content, request.rows), mode)));
    warnOfLosses(content, request.file, "marked NOT READABLE", "not shown");
    return kExitOk;
}

} // namespace

Command declarePrmShow(CLI::App& group)
{
    const auto request = std::make_shared<ShowRequest>();
    Subcommand command(group, "show", "Print a parameter file with names and units");
    command.required("FILE", request->file, "", "The parameter file; - is standard input");
    command.flag("--rows", request->rows, "Print every row of the tables");
    command.footer("Says of each block and value whether the orientation depends on it in the file's mount mode.");
    return command.runs([request] { return runShow(*request); });
}

} // namespace kor::tool
