// kor replay: recordings through an engine.

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "platform/Process.h"
#include "recordings/Compression.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/MountMode.h"
#include "tools/kor/Options.h"
#include "tools/kor/Overwrite.h"
#include "tools/kor/RecordingOptions.h"
#include "tools/kor/Replay.h"

namespace kor::tool {

using recordings::Format;

namespace {

Choices<bool> mcsChoices()
{
    return {{"on", true}, {"off", false}};
}

Choices<SummaryForm> summaryChoices()
{
    return {{"text", SummaryForm::text}, {"json", SummaryForm::json}};
}

ReplayPlan understood(const ReplayRequest& request)
{
    ReplayPlan plan;
    plan.prm.directory = request.prm;
    plan.prm.id = wholeOption<std::int32_t>("--id", request.id);
    if (request.mode) {
        plan.mode = mountModeOption(*request.mode);
    }
    plan.mcs = choiceOption("--mcs", request.mcs.value_or("on"), mcsChoices());
    if (request.psd) {
        const std::vector<std::string_view> parts = split(*request.psd, ',');
        if (parts.size() != 3) {
            throw Misuse(fmt::format("--psd: found {}, expected FIRST,SECOND,DIVISOR", inQuotes(*request.psd)));
        }
        plan.psd.emplace();
        for (std::size_t i = 0; i < 3; ++i) {
            (*plan.psd)[i] = wholeOption<std::int32_t>("--psd", parts[i]);
        }
        if (plan.psd->back() == 0) {
            throw Misuse(
                fmt::format("--psd: found {}, expected a DIVISOR other than 0; with 0 the reading has no effect",
                            inQuotes(*request.psd)));
        }
    }
    plan.store = request.store;
    plan.input = inputFormatOption(request.input);
    plan.format = formatOption(request.format);
    plan.window = windowOption(request.from, request.to);
    plan.skipBad = request.skipBad;
    plan.repair = request.repair;
    plan.checking = request.checked ? Checking::done : request.force ? Checking::forced : Checking::strict;
    plan.strict = request.strict;
    if (request.summary) {
        plan.summary = choiceOption("--summary", *request.summary, summaryChoices());
    }
    if (request.quiet) {
        if (request.summary) {
            throw Misuse("--quiet and --summary exclude each other");
        }
        plan.summary = SummaryForm::none;
    }
    plan.progress = progressOption(request.progress);
    plan.cores = std::max(std::thread::hardware_concurrency(), 1u);
    constexpr unsigned kMostJobs = platform::kMostChildren;
    plan.jobs =
        !request.jobs ? std::min(plan.cores, kMostJobs) : wholeOption<unsigned>("--jobs", *request.jobs, 1, kMostJobs);
    if (request.threads) {
        constexpr unsigned kMostThreads = 256;
        plan.threads = wholeOption<unsigned>("--threads", *request.threads, 1, kMostThreads);
    }
    plan.view = request.view;
    if (request.viewPort) {
        if (!request.view) {
            throw Misuse("--view-port requires --view");
        }
        plan.viewPort = wholeOption<std::uint16_t>("--view-port", *request.viewPort, 1);
    }
    return plan;
}

int replay(const ReplayRequest& request)
{
    if (request.childOf) {
        platform::endWithParent(wholeOption<unsigned>("--child-of", *request.childOf));
    }
    const ReplayPlan plan = understood(request);
    if (request.output && request.output->empty()) {
        throw Misuse("-o: found \"\", expected a file or directory");
    }
    if (request.recordings.size() > 1) {
        if (plan.view) {
            throw Misuse("--view shows one recording");
        }
        return replaySeveral(plan, request);
    }
    const std::string output = request.output.value_or("-");
    refuseToOverwrite(output, request.recordings, plan.prm);
    return replayOne(plan, request.recordings.front(), output);
}

} // namespace

std::int32_t mountModeOf(const ReplayPlan& plan, const CKorPrm& prm)
{
    constexpr std::int32_t kFirstThreeVectorMode = 7;
    std::int32_t mode = 0;
    prm.getMountMode(mode);
    mode = plan.mode.value_or(mode);
    const auto refuse = [mode](const char* option, const char* where) {
        throw Misuse(fmt::format("{} has no effect in {}, only in mount modes {}", option, mountModeText(mode), where));
    };
    if (mode < kFirstThreeVectorMode && plan.store) {
        refuse("--store", "7 to 10");
    }
    if (mode < kFirstThreeVectorMode && plan.psd) {
        refuse("--psd", "7 to 10");
    }
    if (mode >= kFirstThreeVectorMode && !plan.mcs) {
        refuse("--mcs off", "below 7");
    }
    if (plan.psd && !plan.store) {
        throw Misuse("--psd has no effect without --store, which loads the detector's coefficients");
    }
    return mode;
}

Format resultFormat(const ReplayPlan& plan, const std::string& output)
{
    return plan.format ? *plan.format : recordings::hasExtension(output, ".korinfo") ? Format::binary : Format::csv;
}

void refuseToOverwrite(const std::string& output, const std::vector<std::string>& recordings,
                       const ParameterSource& prm)
{
    std::vector<UsedFile> used;
    used.reserve(recordings.size() + 1);
    for (const std::string& recording : recordings) {
        used.push_back({recording, "the recording itself"});
    }
    used.push_back({prm.path(), "the parameter file"});
    tool::refuseToOverwrite("-o", output, used);
}

Command declareReplay(const CommandGroup& root)
{
    const auto request = std::make_shared<ReplayRequest>();
    Subcommand command(root, "replay", "Feed recordings to an engine and write its results");
    command
        .requiredArguments("RECORDING", request->recordings,
                           "A recording, CSV or binary (.korraw), which may be compressed by gzip or zstd; - is "
                           "standard input. Several recordings are replayed side by side, each in a process of its own")
        .takes(fileNamed(recordingEndings()));
    command.required("--prm", request->prm, "DIR", "Directory of the parameter file").takes(parameterDirectory());
    command.required("--id", request->id, "N", "Sensor ID: the parameter file is DIR/TgN.prm").takes(sensorId());
    command
        .option("-o,--output", request->output, "RESULTS",
                "File of the results, compressed if the name ends in .gz or .zst (default: standard output). For "
                "several recordings: directory of their results")
        .takes(outputNamed(resultEndings()));
    command
        .option("--format", request->format, "FORMAT",
                "Format of the results: csv, bin or bare; bare has only the engine's records, in binary (default: bin "
                "if RESULTS ends in .korinfo, otherwise csv)")
        .takes(oneOf(wordsOf(formatChoices())))
        .moreInManual("The format bin has a header and, after it, all columns");
    command
        .option(
            "--input-format", request->input, "FORMAT",
            "Format of the recordings: csv or bin (default: by the ending .csv or .korraw, otherwise by the content)")
        .takes(oneOf(wordsOf(inputFormatChoices())))
        .moreInManual("A file whose content does not match its name is refused, unless this option is given");
    declareWindow(command, request->from, request->to, "samples");
    command
        .option("--mode", request->mode, "N",
                "Mount mode in place of that in the parameter file:\n" + mountModeNames("\n"))
        .takes(oneOf(mountModeWords()));
    command
        .option("--mcs", request->mcs, "on|off",
                "Machine coordinates (on, the default) or local coordinates (off; in mount modes 1 to 6 only)")
        .takes(oneOf(wordsOf(mcsChoices())));
    command.option("--psd", request->psd, "F,S,D",
                   "Reading of the position-sensitive detector: first, second and divisor; the divisor must not be 0. "
                   "Only for mount modes 7 to 10, together with --store");
    command.flag("--store", request->store,
                 "Load the parameter store of the engine from the parameter file: the detector's coefficients and, in "
                 "mount modes 9 and 10, the dynamic parameters. Only for mount modes 7 to 10");
    declareSkipBad(command, request->skipBad).moreInManual("If none is left, the exit status is 65");
    command
        .flag("--repair", request->repair,
              "Go on with fresh values and a new engine after a sample that is not finite and would spoil all samples "
              "that follow. Such samples exist in mount modes 9 and 10, and with --mcs off if the reference is "
              "captured from one")
        .moreInManual(
            "From there on, the results are those of a new process: its filters have to fill again, and it captures a "
            "reference of its own. A warning tells of a repair, and the summary counts all of them");
    command.flag("--force", request->force, kForceHelp);
    command.hiddenFlag("--checked", request->checked);
    command.hiddenOption("--child-of", request->childOf);
    command.flag("--strict", request->strict,
                 "Exit status 65 if a sample has no usable orientation. The samples before the reference, and the "
                 "first samples of a model with filters, do not count");
    command
        .option(
            "--summary", request->summary, "FORM",
            "Form of the summary: text (the default), or json: one object, which also holds all warnings and errors")
        .takes(oneOf(wordsOf(summaryChoices())));
    command.flag("-q,--quiet", request->quiet, "Print errors and warnings, but no summary");
    declareProgress(command, request->progress);
    command.option("--jobs", request->jobs, "N",
                   "Number of recordings that are replayed at a time, 1 to 256 (default: one per core)");
    command
        .option("--threads", request->threads, "N",
                "Threads that share the work on one recording, 1 to 256 (default: one per core, divided among the "
                "recordings that are replayed at a time; 1 for a live recording)")
        .moreInManual("One thread reads, one feeds the engine, and the others make and write the results, which are "
                      "the same with any number of threads. More than eight threads are of no use");
    command
        .flag("--view", request->view,
              "Show the results of one recording in a browser while they are made: serve a page on 127.0.0.1 until an "
              "interrupt, and print its address")
        .moreInManual("No other host can reach that address. It is printed on standard error; for a live recording, "
                      "before the first byte comes. The page has the charts, the orientation in space and the findings "
                      "of kor report, and follows the rows as they come. A browser that is slow or is closed does not "
                      "delay the replay, and the results are the same as without this option. After the summary, the "
                      "page is served until an interrupt or a termination; the exit status is that of the replay. An "
                      "interrupt during a live recording ends both the replay and the page");
    command.option("--view-port", request->viewPort, "N", "Port of the page, 1 to 65535 (default: a free one)");
    command.about("A summary goes to standard error. The results appear under their name when they are complete. If "
                  "the recording breaks off, the results before the break are in NAME.partial.csv.\n\n"
                  "A recording that is not a regular file, a pipe for example, is live: the results are written out "
                  "whenever kor has to wait for the next row, and an interrupt or a termination keeps the results of "
                  "all rows that have been read.\n\n"
                  "With several recordings, the exit status is that of the first one, in the order of the command "
                  "line, whose status is not 0.",
                  "If a signal ends the process of a recording, the status of the recording is 128 plus the number of "
                  "the signal. If a run leaves no results, an older file with their name stays as it was.");
    command.example("Orientations of a recording of sensor 1005, whose parameter file is calibration/Tg1005.prm",
                    {"kor replay --prm calibration --id 1005 run.csv -o run_results.csv"});
    command.example("Ten seconds of the same recording, in local coordinates, on standard output",
                    {"kor replay --prm calibration --id 1005 --mcs off --from 0 --to 10000 run.csv"});
    command.example("Two recordings side by side, with their results in the directory out",
                    {"kor replay --prm calibration --id 1005 run.csv second.korraw -o out"});
    return command.runs([request] { return replay(*request); });
}

} // namespace kor::tool
