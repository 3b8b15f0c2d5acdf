// One recording through an engine.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "KORInterface/CKor.h"
#include "KORInterface/CKorPrm.h"
#include "KORInterface/OrientationModel.h"
#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Terminal.h"
#include "recordings/Input.h"
#include "recordings/Output.h"
#include "recordings/Reader.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"
#include "tools/kor/Replay.h"
#include "tools/kor/ReplayFeed.h"
#include "tools/kor/Summary.h"
#include "tools/kor/View.h"

namespace kor::tool {

using recordings::Input;
using recordings::Output;
using recordings::Problem;
using recordings::Reader;

namespace {

std::unique_ptr<CKor> configured(const ReplayPlan& plan, const CKorPrm& prm)
{
    auto engine = std::make_unique<CKor>();
    ConfigureOptions options;
    options.parameterStore(plan.store).mcsFlag(plan.mcs);
    if (plan.mode) {
        options.mountMode(*plan.mode);
    }
    if (plan.psd) {
        options.detector((*plan.psd)[0], (*plan.psd)[1], (*plan.psd)[2]);
    }
    const int code = Configure(*engine, prm, options);
    if (code == kBadArgument) { // of a new engine and a set that was read, for want of memory alone
        throw Failure(kExitNoMemory, "there is not enough memory for the engine");
    }
    if (code != kSuccess) {
        throw Failure(kExitDataError, fmt::format("the parameter file {} cannot be used: {}", shown(plan.prm.path()),
                                                  StatusText(code)));
    }
    return engine;
}

// Where the results themselves are shown, a line about them would stand in the midst of them.
ShowProgress shownBeside(const std::string& output, ShowProgress asked)
{
    return asked == ShowProgress::automatic && output == "-" && platform::isTerminal(platform::kStandardOutput)
               ? ShowProgress::never
               : asked;
}

// Every core, unless a number was asked for; a live recording is waited for more than it is worked on.
std::size_t threadsFor(const ReplayPlan& plan, bool live)
{
    return plan.threads ? *plan.threads : live ? 1 : plan.cores;
}

// Gives the results their place. What was fed before a break stands, under a name that says so; a signal is how a live
// recording ends. Returned: the file that holds them, empty if there are none.
std::string keepResults(Output& results, const Problem& end, const Tally& tally)
{
    if (tally.samples == 0 && !results.problem()) {
        return {};
    }
    const bool broken = end && end.kind != Problem::Kind::interrupted;
    std::string name = broken && !results.partialPath().empty() ? shown(results.partialPath()) : results.title();
    if (broken ? !results.closePartial() : !results.close()) {
        throw Failure(results.problem());
    }
    return name;
}

std::string breakText(const Problem& broken, const std::string& results, const Tally& tally)
{
    if (results.empty()) {
        return messageOf(broken) + "; there are no results";
    }
    return fmt::format("{}; the results up to there ({} {}) went to {}", messageOf(broken), tally.samples,
                       tally.samples == 1 ? "sample" : "samples", results);
}

void tellView(const std::unique_ptr<View>& view, const std::string& level, const std::string& text)
{
    if (view) {
        view->end(level, text);
    }
}

// Returned  view  what shows the replay, if that was asked for
int run(const ReplayPlan& plan, const std::string& recording, const std::string& output, Summary& summary,
        std::unique_ptr<View>& view)
{
    CKorPrm prm;
    readParameterFile(plan.prm, prm, plan.checking, plan.mode);
    const std::int32_t mode = mountModeOf(plan, prm);
    const auto newEngine = [&plan, &prm] { return configured(plan, prm); };
    std::unique_ptr<CKor> engine = newEngine();
    const OrientationModel model = ModelOf(mode);
    summary.mountMode = mode;
    summary.model = ModelText(model);
    summary.oneNanSpoilsTheRest = model == OrientationModel::twoLevels;

    Problem problem;
    std::unique_ptr<Input> input = Input::open(recording, problem);
    if (!input) {
        throw Failure(problem);
    }
    const bool isLive = input->isLive();
    const auto openView = [&plan, &recording, &view, title = input->title()] {
        if (plan.view) {
            view = std::make_unique<View>(plan, recording, title);
        }
    };
    if (isLive) { // its first bytes may be long in coming, and people want to open the page before
        openView();
    }
    const std::unique_ptr<Reader> reader = Reader::open(std::move(input), plan.input, problem);
    if (!reader) {
        throw Failure(problem);
    }
    summary.recording = reader->title();
    summary.place = reader->placeName();
    for (const Problem& warning : reader->warnings()) {
        warn(messageOf(warning));
    }
    const std::unique_ptr<Output> results = Output::open(output, problem);
    if (!results) {
        throw Failure(problem);
    }
    if (!results->partialPath().empty()) {
        refuseToOverwrite(results->partialPath(), {recording}, plan.prm);
    }

    if (!isLive) {
        openView();
    }

    const Problem broken = feed({.engine = engine,
                                 .newEngine = plan.repair ? newEngine : std::function<std::unique_ptr<CKor>()>(),
                                 .reader = *reader,
                                 .results = *results,
                                 .format = resultFormat(plan, output),
                                 .window = plan.window,
                                 .skipBad = plan.skipBad,
                                 .progress = shownBeside(output, plan.progress),
                                 .threads = threadsFor(plan, isLive),
                                 .viewed = view ? &view->history() : nullptr},
                                summary.tally);
    summary.complete = !broken;
    try {
        summary.results = keepResults(*results, broken, summary.tally);
    } catch (const Failure&) {
        if (broken) {
            complain(messageOf(broken));
        }
        throw;
    }
    if (broken) {
        const std::string text = broken.kind == Problem::Kind::interrupted
                                     ? messageOf(broken)
                                     : breakText(broken, summary.results, summary.tally);
        complain(text);
        tellView(view, broken.kind == Problem::Kind::interrupted ? "good" : "error", "The replay has ended: " + text);
        return exitOf(broken.kind);
    }
    tellView(view, "good", "The replay has ended; the recording was read to its end.");
    return kExitOk;
}

// What a complete run has to complain about. Returned: the exit status.
int judge(const ReplayPlan& plan, const Summary& summary)
{
    const std::uint64_t unusable = summary.tally.unusable();
    if (const std::string why = whyNothingUsable(summary); !why.empty()) {
        complain(summary.recording + ": " + why);
        return kExitDataError;
    }
    if (plan.strict && unusable > 0) {
        complain(fmt::format("{}: {} of {} samples have no usable orientation, and --strict was given",
                             summary.recording, unusable, summary.tally.samples));
        return kExitDataError;
    }
    return kExitOk;
}

// Returned  view  as of run
int replayAndTell(const ReplayPlan& plan, const std::string& recording, const std::string& output,
                  std::unique_ptr<View>& view)
{
    Summary summary;
    summary.recording = shown(recording);
    summary.windowed = plan.window.limited();
    summary.skipsBad = plan.skipBad;
    summary.repairs = plan.repair;
    if (plan.summary != SummaryForm::json) {
        const int status = run(plan, recording, output, summary, view);
        if (plan.summary == SummaryForm::text) {
            tell(textOf(summary));
        }
        return status == kExitOk ? judge(plan, summary) : status;
    }

    MessageCollector messages;
    int status = kExitOk;
    try {
        status = run(plan, recording, output, summary, view);
        status = status == kExitOk ? judge(plan, summary) : status;
    } catch (const Misuse&) {
        throw;
    } catch (const Failure& failure) {
        status = failure.status();
        if (status != kExitNobodyReads) {
            complain(failure.what());
        }
    }
    tell(jsonOf(summary, status, messages.take()));
    return status;
}

} // namespace

int replayOne(const ReplayPlan& plan, const std::string& recording, const std::string& output)
{
    std::unique_ptr<View> view;
    const int status = replayAndTell(plan, recording, output, view);
    // An interrupt ends replay and view alike.
    if (view && view->hasEnded() && status != kExitInterrupted && status != kExitTerminated) {
        view->serveOn();
    }
    return status;
}

} // namespace kor::tool
