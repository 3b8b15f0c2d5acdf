// kor replay: recordings through an engine.

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "KORInterface/CKor.h"
#include "KORInterface/CKorPrm.h"
#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "recordings/Output.h"
#include "recordings/Reader.h"
#include "recordings/Writer.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"
#include "tools/kor/Overwrite.h"
#include "tools/kor/ParameterFile.h"
#include "tools/kor/Progress.h"
#include "tools/kor/Tally.h"

namespace kor::tool {

namespace {

namespace fs = std::filesystem;
using platform::pathFrom;
using platform::textOf;
using recordings::Format;
using recordings::Output;
using recordings::Problem;
using recordings::Reader;

// The command line as it was given.
struct Request {
    using Option = std::optional<std::string>;
    std::vector<std::string> recordings;
    std::string prm;
    std::string id;
    Option output;
    Option mode;
    Option mcs;
    Option psd;
    bool store = false;
    Option input;
    Option format;
    Option from;
    Option to;
    bool skipBad = false;
    Option progress;
    Option jobs;
};

// The same, understood.
struct Plan {
    ParameterSource prm;
    std::optional<std::int32_t> mode;
    bool mcs = true;
    std::optional<std::array<std::int32_t, 3>> psd;
    bool store = false;
    std::optional<Format> input;
    std::optional<Format> format;
    Window window;
    bool skipBad = false;
    ShowProgress progress = ShowProgress::automatic;
    unsigned jobs = 1;
};

Plan understood(const Request& request)
{
    Plan plan;
    plan.prm.directory = request.prm;
    plan.prm.id = wholeOption<std::int32_t>("--id", request.id);
    if (request.mode) {
        plan.mode = wholeOption<std::int32_t>("--mode", *request.mode);
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
    }
    plan.store = request.store;
    const std::vector<std::pair<std::string, Format>> formats = {{"csv", Format::csv}, {"bin", Format::binary}};
    if (request.input) {
        plan.input = choiceOption("--input", *request.input, formats);
    }
    if (request.format) {
        plan.format = choiceOption("--format", *request.format, formats);
    }
    if (request.from) {
        plan.window.from(wholeOption<std::uint32_t>("--from", *request.from));
    }
    if (request.to) {
        plan.window.to(wholeOption<std::uint32_t>("--to", *request.to));
    }
    plan.skipBad = request.skipBad;
    plan.progress = progressOption(request.progress);
    plan.jobs = !request.jobs ? std::max(1u, std::thread::hardware_concurrency())
                              : wholeOption<unsigned>("--jobs", *request.jobs, 1);
    return plan;
}

Format resultFormat(const Plan& plan, const std::string& output)
{
    return plan.format ? *plan.format : output.ends_with(".korinfo") ? Format::binary : Format::csv;
}

// Results in the place of something that is read would be the end of it.
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

void configure(const Plan& plan, const CKorPrm& prm, CKor& engine)
{
    ConfigureOptions options;
    options.parameterStore(plan.store).mcsFlag(plan.mcs);
    if (plan.mode) {
        options.mountMode(*plan.mode);
    }
    if (plan.psd) {
        options.detector((*plan.psd)[0], (*plan.psd)[1], (*plan.psd)[2]);
    }
    if (const int code = Configure(engine, prm, options); code != kSuccess) {
        throw Failure(kExitDataError, fmt::format("the parameter file {} cannot be used: {}", shown(plan.prm.path()),
                                                  StatusText(code)));
    }
}

recordings::Result resultOf(std::uint32_t stamp, const SampleResult& sample)
{
    recordings::Result result;
    result.timeStampMs = stamp;
    result.info = sample.info;
    std::copy(std::begin(sample.matrix), std::end(sample.matrix), result.matrix);
    result.matrixCode = sample.matrixCode;
    result.outcome = outcomeOf(sample.report);
    result.levelXOut = sample.report.levelXOutside;
    result.levelYOut = sample.report.levelYOutside;
    return result;
}

int replayOne(Plan plan, const std::string& recording, const std::string& output)
{
    constexpr std::uint64_t kBadRowsShown = 5;   // of those left out
    constexpr std::uint64_t kProgressMask = 255; // samples between two looks at the clock, less one

    CKorPrm prm;
    readParameterFile(plan.prm, prm);
    CKor engine;
    configure(plan, prm, engine);

    Problem problem;
    const std::unique_ptr<Reader> reader = Reader::open(recording, plan.input, problem);
    if (!reader) {
        throw Failure(problem);
    }
    for (const Problem& warning : reader->warnings()) {
        warn(messageOf(warning));
    }
    const std::unique_ptr<Output> results = Output::open(output, problem);
    if (!results) {
        throw Failure(problem);
    }
    recordings::ResultWriter writer(*results, resultFormat(plan, output));

    Tally tally;
    Progress progress(plan.progress, reader->title(), reader->size(), "samples");
    const auto start = std::chrono::steady_clock::now();
    int status = kExitOk;
    std::uint64_t steps = 0;
    KOR_RAWINFO raw;
    SampleResult sample;
    // What has been fed stands, also when the rest cannot be read.
    for (Reader::Step step; (step = reader->next(raw)) != Reader::Step::end;) {
        if ((steps++ & kProgressMask) == 0) {
            progress.update(reader->consumed(), tally.samples);
        }
        if (step != Reader::Step::sample) {
            tally.bad += step == Reader::Step::bad ? 1 : 0;
            if (step == Reader::Step::failed || !plan.skipBad) {
                progress.clear();
                complain(messageOf(reader->problem()));
                status = exitOf(reader->problem().kind);
                break;
            }
            if (tally.bad <= kBadRowsShown) {
                progress.clear();
                warn(messageOf(reader->problem()) + ": left out");
            }
            continue;
        }
        if (!plan.window.contains(raw.timeStampMs)) {
            ++tally.outside;
            continue;
        }
        ProcessSample(engine, raw, sample);
        if (!writer.write(resultOf(raw.timeStampMs, sample))) {
            break;
        }
        tally.count(raw.timeStampMs, sample.report);
    }
    if (!results->close()) {
        throw Failure(results->problem());
    }
    tally.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    progress.clear();
    tell(tally.summary(reader->title(), plan.window.limited(), plan.skipBad));
    return status;
}

struct Job {
    std::string recording;
    std::string output;
};

// Two models keep process-wide values, so that no two recordings may share a process.
std::vector<std::string> childArguments(const Request& request, const Job& job)
{
    std::vector<std::string> arguments = {"replay", "--progress=never", "--prm=" + request.prm, "--id=" + request.id};
    const auto add = [&arguments](const char* option, const Request::Option& value) {
        if (value) {
            arguments.push_back(option + ("=" + *value));
        }
    };
    add("--mode", request.mode);
    add("--mcs", request.mcs);
    add("--psd", request.psd);
    add("--input", request.input);
    add("--format", request.format);
    add("--from", request.from);
    add("--to", request.to);
    if (request.store) {
        arguments.emplace_back("--store");
    }
    if (request.skipBad) {
        arguments.emplace_back("--skip-bad");
    }
    arguments.insert(arguments.end(), {"--output=" + job.output, "--", job.recording});
    return arguments;
}

std::vector<Job> jobsOf(const Plan& plan, const std::vector<std::string>& recordings, const std::string& directory)
{
    const char* const extension = resultFormat(plan, {}) == Format::binary ? ".korinfo" : ".csv";
    std::vector<Job> jobs;
    std::map<std::string, std::string> stems;
    for (const std::string& recording : recordings) {
        if (recording == "-") {
            throw Misuse("standard input can only be replayed alone");
        }
        const std::string stem = textOf(pathFrom(recording).stem());
        const auto [first, added] = stems.emplace(stem, recording);
        if (!added) {
            throw Misuse(fmt::format("{} and {} would both give {}{}", shown(first->second), shown(recording),
                                     shown(stem), extension));
        }
        jobs.push_back({recording, textOf(pathFrom(directory) / pathFrom(stem + extension))});
        refuseToOverwrite(jobs.back().output, recordings, plan.prm);
    }
    return jobs;
}

int replaySeveral(const Plan& plan, const Request& request)
{
    const std::string directory = request.output.value_or("-");
    if (directory == "-") {
        throw Misuse("several recordings need -o DIR, the directory of their results");
    }
    const std::vector<Job> jobs = jobsOf(plan, request.recordings, directory);
    CKorPrm prm;
    readParameterFile(plan.prm, prm); // one message instead of one per recording
    std::error_code error;
    fs::create_directories(pathFrom(directory), error);
    if (error || !fs::is_directory(pathFrom(directory), error)) {
        throw Failure(kExitCannotCreate, "cannot create the directory " + shown(directory) +
                                             (error ? ": " + error.message() : ": it is something else already"));
    }

    std::mutex lock;
    std::condition_variable finished;
    std::vector<std::optional<platform::ChildResult>> ends(jobs.size());
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t mine = 0; (mine = next++) < jobs.size();) {
            platform::ChildResult end;
            try {
                end = platform::runSelf(childArguments(request, jobs[mine]));
            } catch (const std::exception& problem) {
                end.started = false;
                end.errors = problem.what();
            }
            const std::lock_guard<std::mutex> guard(lock);
            ends[mine] = std::move(end);
            finished.notify_one();
        }
    };
    std::vector<std::jthread> workers; // waits for all of them, also when an exception ends this function
    try {
        while (workers.size() < std::min({std::size_t{plan.jobs}, jobs.size(), platform::kMostChildren})) {
            workers.emplace_back(work);
        }
    } catch (const std::system_error& failed) {
        if (workers.empty()) {
            throw Failure(kExitSoftware, std::string("cannot start a thread: ") + failed.what());
        }
        // Those that have started do the work of the others.
    }

    Progress progress(plan.progress, "replay", jobs.size(), "done");
    int status = kExitOk;
    {
        std::unique_lock<std::mutex> guard(lock);
        for (std::size_t i = 0; i < jobs.size(); ++i) {
            const auto done = [&ends] {
                return static_cast<std::uint64_t>(
                    std::count_if(ends.begin(), ends.end(), [](const auto& end) { return end.has_value(); }));
            };
            while (!ends[i]) {
                progress.update(done(), done());
                finished.wait_for(guard, std::chrono::milliseconds(100));
            }
            progress.clear();
            if (ends[i]->started) {
                tell(ends[i]->errors);
            } else {
                complain(shown(jobs[i].recording) + ": " + ends[i]->errors);
                ends[i]->status = kExitSoftware;
            }
            if (ends[i]->status > 128) {
                complain(fmt::format("{}: ended by signal {}", shown(jobs[i].recording), ends[i]->status - 128));
            }
            status = status == kExitOk ? ends[i]->status : status;
        }
    }
    return status;
}

int replay(const Request& request)
{
    const Plan plan = understood(request);
    if (request.output && request.output->empty()) {
        throw Misuse("-o: found \"\", expected a file or directory");
    }
    if (request.recordings.size() > 1) {
        return replaySeveral(plan, request);
    }
    const std::string output = request.output.value_or("-");
    refuseToOverwrite(output, request.recordings, plan.prm);
    return replayOne(plan, request.recordings.front(), output);
}

} // namespace

Command declareReplay(CLI::App& root)
{
    const auto request = std::make_shared<Request>();
    CLI::App* const app = root.add_subcommand("replay", "Feed recordings to an engine and write its results");
    app->get_help_ptr()->description("Print this help and exit");
    app->add_option("RECORDING", request->recordings,
                    "CSV or binary (.korraw); - is standard input.\n"
                    "Several run side by side, each in a process of its own")
        ->required()
        ->type_name("");
    app->add_option("--prm", request->prm, "Directory of the parameter file")->required()->type_name("DIR");
    app->add_option("--id", request->id, "Sensor ID: the parameter file is DIR/TgN.prm")->required()->type_name("N");
    app->add_option("-o,--output", request->output,
                    "Where the results go (default: standard output);\n"
                    "for several recordings the directory to put them in")
        ->type_name("RESULTS");
    app->add_option("--format", request->format,
                    "Format of the results: csv or bin (default: bin when\n"
                    "RESULTS ends in .korinfo, otherwise csv)")
        ->type_name("FORMAT");
    app->add_option("--input", request->input,
                    "Format of the recordings: csv or bin (default: by\n"
                    ".csv or .korraw, otherwise by content)")
        ->type_name("FORMAT");
    app->add_option("--from", request->from, "Leave out samples before this time stamp")->type_name("MS");
    app->add_option("--to", request->to,
                    "Leave out samples after this time stamp; with --from\n"
                    "the larger one, the window lies across the wrap")
        ->type_name("MS");
    app->add_option("--mode", request->mode, "Mount mode in place of the parameter file's")->type_name("N");
    app->add_option("--mcs", request->mcs,
                    "Machine (on, the default) or local (off) coordinates\n"
                    "in mount modes below 7")
        ->type_name("on|off");
    app->add_option("--psd", request->psd, "Reading of the position-sensitive detector:\nFIRST,SECOND,DIVISOR")
        ->type_name("A,B,D");
    app->add_flag("--store", request->store,
                  "Load the parameter store: dynamic parameters and the\n"
                  "detector's coefficients");
    app->add_flag("--skip-bad", request->skipBad, "Leave out bad rows and records and count them");
    app->add_option("--progress", request->progress,
                    "auto (the default: when standard error is a\n"
                    "terminal), always or never")
        ->type_name("WHEN");
    app->add_option("--jobs", request->jobs, "Processes at a time, at most 256 (default: one per core)")
        ->type_name("N");
    app->footer("Example:\n"
                "  kor replay --prm calibration --id 1005 run.csv -o run_results.csv\n\n"
                "A summary goes to standard error. Results appear under their name when they are complete.\n\n"
                "kor --help lists the exit statuses. Several recordings end with the first status in their order\n"
                "that is not 0.");
    return {app, [request] { return replay(*request); }};
}

} // namespace kor::tool
