// kor prm from-json: the parameter file that a JSON text describes.

#include <memory>
#include <string>

#include <fmt/format.h>

#include "platform/Text.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Overwrite.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/PrmJson.h"
#include "tools/kor/prm.h"

namespace kor::tool {

namespace {

struct FromJsonRequest {
    std::string json;
    std::string output = "-";
};

int runFromJson(const FromJsonRequest& request)
{
    refuseToOverwrite("--output", request.output, {{request.json, "the JSON text itself"}});
    const std::string title = request.json == "-" ? "standard input" : platform::shown(request.json);
    const PrmContent content = contentOfJson(readWhole(request.json, kMostPrmBytes), title);
    writeOutput(request.output, prmText(content));
    noteName(request.output, content.id());
    return kExitOk;
}

} // namespace

Command declarePrmFromJson(CLI::App& group)
{
    const auto request = std::make_shared<FromJsonRequest>();
    Subcommand command(group, "from-json", "Make the parameter file that a JSON text describes");
    command.required("JSON", request->json, "", "JSON text as kor prm json prints it; - is standard input");
    command.option("-o,--output", request->output, "FILE",
                   "The parameter file, DIR/TgN.prm (default: standard output)");
    command.footer(
        "Each number has the shortest text that reads back as the same float. The same JSON text gives the same\n"
        "bytes on every system.");
    return command.runs([request] { return runFromJson(*request); });
}

} // namespace kor::tool
