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

ReplayPlan understood(const ReplayRequest& request)
{
    ReplayPlan plan;
    plan.prm.directory = request.prm;
    plan.prm.id = wholeOption<std::int32_t>("--id", request.id);
    if (request.mode) {
        plan.mode = mountModeOption(*request.mode);
    }
    plan.mcs = choiceOption<bool>("--mcs", request.mcs.value_or("on"), {{"on", true}, {"off", false}});
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
            throw Misuse(fmt::format("--psd: found {}, expected a DIVISOR other than 0, with which the reading has no "
                                     "effect",
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
        plan.summary = choiceOption<SummaryForm>("--summary", *request.summary,
                                                 {{"text", SummaryForm::text}, {"json", SummaryForm::json}});
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
            throw Misuse("--view-port goes with --view");
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

Command declareReplay(CLI::App& root)
{
    const auto request = std::make_shared<ReplayRequest>();
    Subcommand command(root, "replay", "Feed recordings to an engine and write its results");
    command.requiredArguments("RECORDING", request->recordings,
                              "CSV or binary (.korraw), as it is or compressed by gzip\n"
                              "or zstd; - is standard input.\n"
                              "Several run side by side, each in a process of its own");
    command.required("--prm", request->prm, "DIR", "Directory of the parameter file");
    command.required("--id", request->id, "N", "Sensor ID: the parameter file is DIR/TgN.prm");
    command.option("-o,--output", request->output, "RESULTS",
                   "Where the results go, compressed when the name ends in\n"
                   ".gz or .zst (default: standard output);\n"
                   "for several recordings the directory to put them in");
    command.option("--format", request->format, "FORMAT",
                   "Format of the results: csv, bin, or bare, the engine's\n"
                   "records alone (default: bin when RESULTS ends in\n"
                   ".korinfo, otherwise csv)");
    command.option("--input-format", request->input, "FORMAT",
                   "Format of the recordings: csv or bin (default: by\n"
                   ".csv or .korraw, otherwise by content)");
    declareWindow(command, request->from, request->to, "samples");
    command.option("--mode", request->mode, "N",
                   "Mount mode in place of the parameter file's:\n" + mountModeNames("\n"));
    command.option("--mcs", request->mcs, "on|off",
                   "Machine (on, the default) or local (off) coordinates\n"
                   "in mount modes below 7");
    command.option("--psd", request->psd, "A,B,D",
                   "Reading of the position-sensitive detector:\n"
                   "FIRST,SECOND,DIVISOR, the last one not 0; with --store,\n"
                   "in mount modes 7 to 10");
    command.flag("--store", request->store,
                 "Load the parameter store: the detector's coefficients\n"
                 "and, in mount modes 9 and 10, the dynamic parameters;\n"
                 "in mount modes 7 to 10");
    declareSkipBad(command, request->skipBad);
    command.flag("--repair", request->repair,
                 "Go on with fresh values and a new engine behind a\n"
                 "sample that is not finite and would spoil all that\n"
                 "follow: mount modes 9 and 10, or --mcs off with such a\n"
                 "sample as the reference");
    command.flag("--force", request->force, kForceHelp);
    command.hiddenFlag("--checked", request->checked);
    command.hiddenOption("--child-of", request->childOf);
    command.flag("--strict", request->strict,
                 "Exit status 65 if a sample has no usable orientation;\n"
                 "those before the reference and the first ones of a\n"
                 "model with filters do not count");
    command.option("--summary", request->summary, "FORM",
                   "Form of the summary: text (the default) or json, one\n"
                   "object that holds all messages, too");
    command.flag("-q,--quiet", request->quiet, "No summary; errors and warnings only");
    command.option("--progress", request->progress, "WHEN",
                   "auto (the default: when standard error is a\n"
                   "terminal), always or never");
    command.option("--jobs", request->jobs, "N", "Processes at a time, 1 to 256 (default: one per core)");
    command.option("--threads", request->threads, "N",
                   "Threads that share the work on one recording, 1 to 256\n"
                   "(default: one per core, of several recordings at a time\n"
                   "each its share; 1 for a live one)");
    command.flag("--view", request->view,
                 "Show the results in a browser while they come: serves\n"
                 "a page on 127.0.0.1, whose address is printed, until\n"
                 "an interrupt");
    command.option("--view-port", request->viewPort, "N", "Port of the page, 1 to 65535 (default: a free one)");
    command.footer(
        "Example:\n"
        "  kor replay --prm calibration --id 1005 run.csv -o run_results.csv\n\n"
        "A recording that is no regular file, a pipe for example, is live: results are written whenever the\n"
        "next row has yet to come, and an interrupt or a termination keeps those that are finished.\n\n"
        "A summary goes to standard error. Results appear under their name when they are complete; if the\n"
        "recording breaks off, those before the break are in NAME.partial.csv. If no sample has a usable\n"
        "orientation, the exit status is 65.\n\n"
        "kor --help lists the exit statuses. Several recordings end with the first status in their order\n"
        "that is not 0.");
    return command.runs([request] { return replay(*request); });
}

} // namespace kor::tool
