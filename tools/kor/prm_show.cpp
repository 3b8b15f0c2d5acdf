// kor prm show: a parameter file for a reader.

#include <memory>
#include <string>

#include "platform/Text.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/PrmView.h"
#include "tools/kor/prm.h"

namespace kor::tool {

using platform::shown;

namespace {

struct ShowRequest {
    std::string file;
    bool rows = false;
};

int runShow(const ShowRequest& request)
{
    const PrmContent content = readPrm(request.file);
    print(textOf(content, shown(request.file), request.rows));
    warnOfLosses(content, request.file, "marked NOT READABLE", "not shown");
    return kExitOk;
}

} // namespace

Command declarePrmShow(const CommandGroup& group)
{
    const auto request = std::make_shared<ShowRequest>();
    Subcommand command(group, "show", "Print a parameter file with names and units");
    command.required("FILE", request->file, "", "The parameter file; - is standard input").takes(fileNamed({"prm"}));
    command.flag("--rows", request->rows, "Print every row of the tables");
    command.about("It prints the line of each block, and tells for each block and value whether the orientation "
                  "depends on it in the mount mode of the file.");
    command.example("The parameter file of sensor 1005", {"kor prm show calibration/Tg1005.prm"});
    return command.runs([request] { return runShow(*request); });
}

} // namespace kor::tool
