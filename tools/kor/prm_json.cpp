// kor prm json: a parameter file as JSON.

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

struct JsonRequest {
    std::string file;
    std::string output = "-";
};

int runJson(const JsonRequest& request)
{
    refuseToOverwrite("--output", request.output, {{request.file, "the parameter file itself"}});
    const PrmContent content = readPrm(request.file);
    writeOutput(request.output, jsonOf(content));
    warnOfLosses(content, request.file, "null in the JSON text", "not in the JSON text");
    return kExitOk;
}

} // namespace

Command declarePrmJson(const CommandGroup& group)
{
    const auto request = std::make_shared<JsonRequest>();
    Subcommand command(group, "json", "Print a parameter file as JSON");
    command.required("FILE", request->file, "", "The parameter file; - is standard input").takes(fileNamed({"prm"}));
    command.option("-o,--output", request->output, "OUT", "File of the JSON text (default: standard output)")
        .takes(outputNamed({"json"}));
    command.about("Each block is a member whose name is the title of the block. kor prm from-json makes a parameter "
                  "file from the JSON text, in which every value is the same to the last bit.",
                  "A value that cannot be read becomes null, and text that the library ignores is left out; a warning "
                  "tells of both.");
    command.example("The parameter file of sensor 1005 as JSON",
                    {"kor prm json calibration/Tg1005.prm -o sensor.json"});
    return command.runs([request] { return runJson(*request); });
}

} // namespace kor::tool
