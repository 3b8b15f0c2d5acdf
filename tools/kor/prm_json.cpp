// kor prm json: a parameter file as JSON.

#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "platform/Text.h"
#include "tools/kor/Commands.h"
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

Command declarePrmJson(CLI::App& group)
{
    const auto request = std::make_shared<JsonRequest>();
    CLI::App* const app = group.add_subcommand("json", "Print a parameter file as JSON");
    app->get_help_ptr()->description("Print this help and exit");
    app->add_option("FILE", request->file, "The parameter file; - is standard input")->type_name("")->required();
    app->add_option("-o,--output", request->output, "Where the JSON text goes (default: standard output)")
        ->type_name("JSON");
    app->footer(
        "Each block is a member with the block's title for its name. kor prm from-json makes the parameter file\n"
        "again, in which every value is the same to the last bit.");
    return {app, [request] { return runJson(*request); }};
}

} // namespace kor::tool
