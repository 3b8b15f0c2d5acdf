// One recording through an engine.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "KORInterface/CKor.h"
#include "KORInterface/CKorPrm.h"
#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Terminal.h"
#include "recordings/Output.h"
#include "recordings/Reader.h"
#include "recordings/Writer.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"
#include "tools/kor/Replay.h"

namespace kor::tool {

using recordings::Output;
using recordings::Problem;
using recordings::Reader;

namespace {

void configure(const ReplayPlan& plan, const CKorPrm& prm, CKor& engine)
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

StreamState stateOf(const Tally& tally, const KOR_INFO& last)
{
    StreamState state{.samples = tally.samples,
                      .outcomes = {{"ok", tally.valid},
                                   {"before the reference", tally.beforeReference},
                                   {"rejected", tally.rejectedByStatus},
                                   {"without matrix", tally.withoutMatrix},
                                   {"not finite", tally.notFinite},
                                   {"bad", tally.bad}}};
    std::copy(std::begin(last.orientationAngles), std::end(last.orientationAngles), state.angles);
    return state;
}

// Where the results themselves are shown, a line about them would stand in the midst of them.
ShowProgress shownBeside(const std::string& output, ShowProgress asked)
{
    return asked == ShowProgress::automatic && output == "-" && platform::isTerminal(platform::kStandardOutput)
               ? ShowProgress::never
               : asked;
}

} // namespace

int replayOne(const ReplayPlan& plan, const std::string& recording, const std::string& output)
{
    constexpr std::uint64_t kBadRowsShown = 5;   // of those left out
    constexpr std::uint64_t kProgressMask = 255; // samples between two looks at the clock, less one

    CKorPrm prm;
    readParameterFile(plan.prm, prm, plan.checking, plan.mode);
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

    Window window = plan.window;
    Tally tally;
    Progress progress(shownBeside(output, plan.progress), reader->title(), reader->size(), "samples");
    const auto start = std::chrono::steady_clock::now();
    int status = kExitOk;
    std::uint64_t steps = 0;
    KOR_RAWINFO raw;
    SampleResult sample{};
    const auto show = [&] {
        if (reader->isLive()) {
            progress.updateStream([&] { return stateOf(tally, sample.info); });
        } else {
            progress.update(reader->consumed(), tally.samples);
        }
    };
    reader->whileWaiting([&] {
        results->flush();
        show();
    });
    // What has been fed stands, also when the rest cannot be read.
    for (Reader::Step step; (step = reader->next(raw)) != Reader::Step::end;) {
        if ((steps++ & kProgressMask) == 0) {
            show();
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
        if (!window.contains(raw.timeStampMs)) {
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
    tell(tally.summary(reader->title(), window.limited(), plan.skipBad));
    return status;
}

} // namespace kor::tool
