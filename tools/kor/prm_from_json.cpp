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

Command declarePrmFromJson(const CommandGroup& group)
{
    const auto request = std::make_shared<FromJsonRequest>();
    Subcommand command(group, "from-json", "Make the parameter file that a JSON text describes");
    command.required("TEXT", request->json, "", "JSON text as kor prm json prints it; - is standard input")
        .takes(fileNamed({"json"}));
    command.option("-o,--output", request->output, "FILE", "The parameter file, DIR/TgN.prm (default: standard output)")
        .takes(outputNamed({"prm"}));
    command.about("Each number is written as the shortest text that reads back as the same float. The same JSON text "
                  "gives the same "
                  "bytes on every system.");
    command.example(
        "A parameter file from the JSON text of another",
        {"kor prm json calibration/Tg1005.prm -o sensor.json", "kor prm from-json sensor.json -o Tg1005.prm"});
    return command.runs([request] { return runFromJson(*request); });
}

} // namespace kor::tool
