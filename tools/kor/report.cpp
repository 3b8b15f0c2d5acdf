// kor report: one page about results, a truth or a recording, to be looked at in a browser.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "accuracy/Comparison.h"
#include "series/File.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/MountMode.h"
#include "tools/kor/Options.h"
#include "tools/kor/Overwrite.h"
#include "tools/kor/ParameterFile.h"
#include "tools/kor/RecordingOptions.h"
#include "tools/kor/ReportContent.h"

namespace kor::tool {

namespace {

struct ReportRequest {
    std::string file;
    std::optional<std::string> truth;
    std::optional<std::string> prm;
    std::optional<std::string> id;
    std::optional<std::string> mode;
    std::string output;
};

series::Series readRows(const std::string& path)
{
    recordings::Problem problem;
    std::optional<series::File> file = series::File::open(path, problem);
    if (!file) {
        throw Failure(problem);
    }
    for (const recordings::Problem& warning : file->warnings()) {
        warn(messageOf(warning));
    }
    std::optional<series::Series> rows = file->read({}, problem);
    if (!rows) {
        throw Failure(problem);
    }
    if (rows->rows() == 0) {
        throw Failure(kExitDataError, rows->title + ": found no rows, expected one at least");
    }
    return std::move(*rows);
}

ReportTruth compareWithTruth(const ReportRequest& request)
{
    ReportTruth truth;
    truth.sides = readSides(request.file, *request.truth, std::nullopt);
    if (truth.sides.second.kind != SideKind::truth || truth.sides.first.path != request.file) {
        throw Misuse(fmt::format("--truth: {} holds results, expected a truth of kor simulate", shown(*request.truth)));
    }
    for (const Side* side : {&truth.sides.first, &truth.sides.second}) {
        warnOfNoRotation(*side);
    }
    truth.found = accuracy::compared(truth.sides.first.series, truth.sides.second.series, truth.sides.columns);
    return truth;
}

int report(const ReportRequest& request)
{
    if (request.prm.has_value() != request.id.has_value()) {
        throw Misuse("--prm and --id go together");
    }
    if (request.mode && !request.prm) {
        throw Misuse("--mode requires --prm and --id");
    }
    if (request.truth && (request.file == "-" || *request.truth == "-")) {
        throw Misuse("with --truth, FILE and TRUTH must not be -: the files are read twice");
    }
    std::vector<UsedFile> used = {{request.file, "the file that is reported"}};
    if (request.truth) {
        used.push_back({*request.truth, "the truth"});
    }
    ReportSources sources;
    if (request.prm) {
        const ParameterSource source{*request.prm, wholeOption<std::int32_t>("--id", *request.id)};
        const std::optional<std::int32_t> mode =
            request.mode ? std::optional(mountModeOption(*request.mode)) : std::nullopt;
        sources.parameters = readReportParameters(source, mode);
        used.push_back({sources.parameters->path, "the parameter file"});
    }
    refuseToOverwrite("-o", request.output, used);
    sources.rows = readRows(request.file);
    if (request.truth) {
        sources.truth = compareWithTruth(request);
    }
    sources.commandLine = commandLine();
    sources.version = KOR_VERSION;
    writeOutput(request.output, reportOf(sources));
    return kExitOk;
}

} // namespace

Command declareReport(const CommandGroup& root)
{
    const auto request = std::make_shared<ReportRequest>();
    Subcommand command(root, "report", "Write a page for the browser: findings, charts, orientation");
    command.required("FILE", request->file, "", "Results of kor replay, a truth, or a recording; - is standard input")
        .takes(fileNamed(rowEndings()));
    command.required("-o,--output", request->output, "PAGE", "The page, report.html for example; - is standard output")
        .takes(outputNamed({"html"}));
    command.option("--truth", request->truth, "TRUTH", "Truth of kor simulate: adds the error of the rows against it")
        .takes(fileNamed(truthEndings()))
        .moreInManual("The figures are those of kor compare");
    command.option("--prm", request->prm, "DIR", "Directory of the parameter file that the rows were made with")
        .takes(parameterDirectory())
        .moreInManual(
            "It adds the findings of the check of that file, its blocks with units, the model and the mount mode");
    command.option("--id", request->id, "N", "Sensor ID: the parameter file is DIR/TgN.prm").takes(sensorId());
    command
        .option("--mode", request->mode, "N",
                "Mount mode, 1 to 10, that the rows were made with, in place of that in the parameter file")
        .takes(oneOf(mountModeWords()));
    command.about(
        "The page is one file that opens without a network. It has at most 8 MB. Of a long file it shows fewer details "
        "than of a short one, and it says which are left out.",
        "It shows findings first, then the orientation in space with a slider, charts with one window and one "
        "cursor, a table of unusable stretches, and, if they are given, the error against the truth and the "
        "parameters. If not all rows of a file fit, each point of the charts stands for several rows, whose smallest "
        "and largest values it shows; the page says how many.");
    command.example("A page about the results of a simulated recording",
                    {"kor simulate --prm calibration --id 1005 --motion random -o sim.csv --truth sim_truth.csv",
                     "kor replay --prm calibration --id 1005 sim.csv -o sim_results.csv",
                     "kor report sim_results.csv --truth sim_truth.csv --prm calibration --id 1005 -o report.html"});
    return command.runs([request] { return report(*request); });
}

} // namespace kor::tool
