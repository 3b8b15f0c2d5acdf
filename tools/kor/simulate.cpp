// kor simulate: recordings of a sensor that does not exist.

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "KORInterface/CKorPrm.h"
#include "KORInterface/Session.h"

#include "platform/Files.h"
#include "platform/Text.h"
#include "recordings/Compression.h"
#include "recordings/Output.h"
#include "recordings/Writer.h"
#include "simulation/Motion.h"
#include "simulation/Simulator.h"
#include "simulation/WayPoints.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/MountMode.h"
#include "tools/kor/Options.h"
#include "tools/kor/Overwrite.h"
#include "tools/kor/ParameterFile.h"
#include "tools/kor/Progress.h"
#include "tools/kor/RecordingOptions.h"
#include "tools/kor/SimulatedSensor.h"

namespace kor::tool {

using namespace simulation;

namespace {

using recordings::Format;
using recordings::Output;

// The command line as it was given.
struct SimulateRequest {
    using Option = std::optional<std::string>;
    std::string prm;
    std::string id;
    std::string motion;
    Option mode, samples, rate, seed, output, truth, format, startStamp, reference, progress;
    Option dropped, badStatus, levelOut, nan;
    std::vector<std::string> noise, bias, quantised, jumps;
    bool force = false;
};

double number(const std::string& option, std::string_view text, double least, double most)
{
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !(value >= least && value <= most)) {
        throw Misuse(fmt::format("{}: found {}, expected a number from {} to {}", option, inQuotes(text), least, most));
    }
    return value;
}

std::vector<std::string> columnNames()
{
    std::vector<std::string> names;
    names.reserve(kChannels.size());
    for (const recordings::Column& column : kChannels) {
        names.emplace_back(column.name);
    }
    return names;
}

// COLUMN=VALUE, several times; each column once.
void channelValues(const char* option, const std::vector<std::string>& given, double least,
                   std::array<double, kChannels.size()>& into)
{
    std::array<bool, kChannels.size()> set{};
    for (const std::string& text : given) {
        const std::size_t at = text.find('=');
        const std::optional<std::size_t> channel =
            at == std::string::npos ? std::nullopt : channelNamed(std::string_view(text).substr(0, at));
        if (!channel) {
            throw Misuse(fmt::format("{}: found {}, expected COLUMN=VALUE with a column of {}", option, inQuotes(text),
                                     fmt::join(columnNames(), ", ")));
        }
        if (set[*channel]) {
            throw Misuse(fmt::format("{}: {} is given twice", option, kChannels[*channel].name));
        }
        set[*channel] = true;
        into[*channel] = number(option, std::string_view(text).substr(at + 1), least, 1e9);
    }
}

double probability(const char* option, const SimulateRequest::Option& text)
{
    return text ? number(option, *text, 0.0, 1.0) : 0.0;
}

SimulationPlan planOf(const SimulateRequest& request)
{
    SimulationPlan plan;
    plan.seed = request.seed ? wholeOption<std::uint64_t>("--seed", *request.seed) : 1;
    plan.rate = request.rate ? number("--rate", *request.rate, 0.001, 1e6) : 100.0;
    plan.firstStamp = request.startStamp ? wholeOption<std::uint32_t>("--start-stamp", *request.startStamp) : 0;
    plan.reference = request.reference ? wholeOption<std::uint64_t>("--reference", *request.reference) : 20;
    Faults& faults = plan.faults;
    channelValues("--noise", request.noise, 0.0, faults.noise);
    channelValues("--bias", request.bias, -1e9, faults.bias);
    channelValues("--quantise", request.quantised, 0.0, faults.quantum);
    faults.dropped = probability("--drop", request.dropped);
    faults.badStatus = probability("--bad-status", request.badStatus);
    faults.levelOut = probability("--level-out", request.levelOut);
    faults.nan = probability("--nan", request.nan);
    for (const std::string& text : request.jumps) {
        const std::size_t at = text.find('=');
        if (at == std::string::npos) {
            throw Misuse(fmt::format("--time-jump: found {}, expected SAMPLE=MS", inQuotes(text)));
        }
        const std::string_view view = text;
        constexpr std::int64_t kTurn = std::int64_t{1} << 32;
        faults.jumps.emplace_back(wholeOption<std::uint64_t>("--time-jump", view.substr(0, at)),
                                  wholeOption<std::int64_t>("--time-jump", view.substr(at + 1), -kTurn, kTurn));
    }
    return plan;
}

void refuseOutputs(const SimulateRequest& request, const ParameterSource& source, bool fileMotion)
{
    std::vector<UsedFile> used = {{source.path(), "the parameter file"}};
    if (fileMotion) {
        used.push_back({request.motion, "the file of the way-points"});
    }
    const auto check = [&used](const char* option, const std::string& output) {
        if (output.empty()) {
            throw Misuse(fmt::format("{}: found \"\", expected a file", option));
        }
        tool::refuseToOverwrite(option, output, used);
    };
    const std::string recording = request.output.value_or("-");
    check("-o", recording);
    if (request.truth) {
        used.push_back({recording, "the recording itself", platform::kStandardOutput});
        check("--truth", *request.truth);
    }
}

std::unique_ptr<Output> openOutput(const std::string& path)
{
    recordings::Problem problem;
    std::unique_ptr<Output> output = Output::open(path, problem);
    if (!output) {
        throw Failure(problem);
    }
    return output;
}

// A recording takes its place only together with its truth.
void throwIfFailed(const Output& output)
{
    if (output.problem()) {
        throw Failure(output.problem());
    }
}

std::unique_ptr<Motion> motionFromFile(const std::string& path)
{
    std::error_code error;
    if (path.find_first_of("./\\") == std::string::npos && !std::filesystem::exists(platform::pathFrom(path), error)) {
        throw Misuse(
            fmt::format("--motion: found {}, expected {}, or a file of way-points", inQuotes(path), kMotionNames));
    }
    const recordings::WayPointFile file = recordings::readWayPoints(path);
    if (file.problem) {
        throw Failure(file.problem);
    }
    return wayPointMotion(file.points);
}

// Samples that may not be compared with the truth, by the note of each.
using NoteCounts = std::vector<std::pair<std::string_view, std::uint64_t>>;

// How many samples are valid, and the notes of the others.
struct Validity {
    std::uint64_t valid = 0;
    NoteCounts others;

    void add(const SimulatedSample& sample)
    {
        if (sample.valid) {
            ++valid;
            return;
        }
        const std::string_view note = sample.note;
        const auto at =
            std::find_if(others.begin(), others.end(), [note](const auto& known) { return known.first == note; });
        if (at == others.end()) {
            others.emplace_back(note, 1);
        } else {
            ++at->second;
        }
    }
};

std::string listed(const NoteCounts& counts)
{
    std::string text;
    for (const auto& [note, number] : counts) {
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", note, number);
    }
    return text;
}

// Why samples with a note have no orientation that the truth could be compared with, and what helps.
std::string reasonOf(std::string_view note, std::uint64_t reference)
{
    if (note == "reference") {
        return fmt::format("no reference is captured before sample {}; take more --samples or an earlier --reference",
                           reference);
    }
    if (note == "status") {
        return "the status is not 2; --bad-status asks for that";
    }
    if (note == "nan") {
        return "a value was replaced by nan, as --nan asks for, which in mount modes 9 and 10 spoils all samples "
               "behind it";
    }
    if (note == "level") {
        return "a level lies beyond its table, or in mount modes 9 and 10 both do";
    }
    if (note == "moving") {
        return "mount modes 9 and 10 need a pose to be held for 24 samples; --motion static does, with enough "
               "--samples";
    }
    return "the model is not exact in these poses; the page on accuracy names its limits";
}

// A recording with nothing to compare has seldom been meant.
void warnIfNoneIsValid(const Validity& validity, std::uint64_t samples, std::uint64_t reference)
{
    if (validity.valid > 0) {
        return;
    }
    if (samples == 0) {
        warn("no sample is valid: all samples were dropped");
        return;
    }
    std::string reasons;
    for (const auto& [note, number] : validity.others) {
        reasons += fmt::format("{}{} of {} have the note {}: {}", reasons.empty() ? "" : ". ", number, samples, note,
                               reasonOf(note, reference));
    }
    warn("no sample is valid: " + reasons);
}

int simulate(const SimulateRequest& request)
{
    SimulationPlan plan = planOf(request);
    ParameterSource source;
    source.directory = request.prm;
    source.id = wholeOption<std::int32_t>("--id", request.id);
    const std::uint64_t samples =
        request.samples ? wholeOption<std::uint64_t>("--samples", *request.samples, 1, std::uint64_t{1} << 40) : 1000;
    Format format =
        request.output && recordings::hasExtension(*request.output, ".korraw") ? Format::binary : Format::csv;
    if (request.format) {
        format = choiceOption("--format", *request.format, inputFormatChoices());
    }
    const ShowProgress show = progressOption(request.progress);

    CKorPrm prm;
    std::optional<std::int32_t> otherMode;
    if (request.mode) {
        otherMode = mountModeOption(*request.mode);
    }
    readParameterFile(source, prm, request.force ? Checking::forced : Checking::strict, otherMode);
    int mode = 0;
    prm.getMountMode(mode);
    mode = otherMode.value_or(mode);
    plan.sensor = sensorOf(prm, mode);
    if (ModelOf(mode) == Model::twoLevels && plan.rate != 100.0) {
        warn(fmt::format("mount mode {} assumes that its samples are 10 ms apart, even if --rate is not 100", mode));
    }

    std::unique_ptr<Motion> motion = builtInMotion(request.motion, mode, plan.seed);
    const bool fileMotion = motion == nullptr;
    if (fileMotion) {
        motion = motionFromFile(request.motion);
    }
    refuseOutputs(request, source, fileMotion);

    Simulator simulator(plan, *motion);
    const std::unique_ptr<Output> recording = openOutput(request.output.value_or("-"));
    recordings::RecordingWriter writer(*recording, format);
    const std::unique_ptr<Output> truth = request.truth ? openOutput(*request.truth) : nullptr;
    std::optional<recordings::TruthWriter> truthWriter;
    if (truth) {
        truthWriter.emplace(*truth);
    }
    Progress progress(show, "simulate", samples, "samples");
    std::uint64_t dropped = 0;
    Validity validity;
    SimulatedSample sample;
    for (std::uint64_t i = 0; i < samples; ++i) {
        if (i % 256 == 0) {
            progress.update(i, i);
        }
        if (!simulator.next(sample)) {
            throw Failure(kExitDataError, simulator.problem());
        }
        if (sample.dropped) {
            ++dropped;
            continue;
        }
        validity.add(sample);
        if (!writer.write(sample.raw) || (truthWriter && !truthWriter->write(truthOf(sample)))) {
            break;
        }
    }
    progress.clear();
    const bool closed = truth ? Output::closeTogether(*recording, *truth) : recording->close();
    if (!closed) {
        throwIfFailed(*recording);
        throwIfFailed(*truth);
    }
    tell(fmt::format("simulated: mount mode {}, {}\n"
                     "  seed:     {}\n"
                     "  samples:  {}\n"
                     "  valid:    {}{}\n"
                     "  dropped:  {}\n",
                     mode, ModelText(ModelOf(mode)), plan.seed, samples - dropped, validity.valid,
                     validity.others.empty() ? "" : " (not valid: " + listed(validity.others) + ")", dropped));
    warnIfNoneIsValid(validity, samples - dropped, plan.reference);
    return kExitOk;
}

} // namespace

Command declareSimulate(const CommandGroup& root)
{
    const auto request = std::make_shared<SimulateRequest>();
    Subcommand command(root, "simulate", "Make the recording of a sensor that is moved in a known way");
    command.required("--prm", request->prm, "DIR", "Directory of the parameter file").takes(parameterDirectory());
    command.required("--id", request->id, "N", "Sensor ID: the parameter file is DIR/TgN.prm").takes(sensorId());
    Values motions = fileNamed(compressible({"csv"}));
    motions.words = wordsIn(kMotionNames);
    command
        .required("--motion", request->motion, "NAME|FILE",
                  fmt::format("{}, or a CSV file of way-points", kMotionNames))
        .takes(motions);
    command
        .option("-o,--output", request->output, "REC",
                "File of the recording: CSV, or binary if REC ends in .korraw; compressed if .gz or .zst follows "
                "(default: standard output)")
        .takes(outputNamed(recordingEndings()));
    command
        .option("--truth", request->truth, "TRUTH",
                "File of the true poses: CSV with one line for each sample of the recording")
        .takes(outputNamed(truthEndings()))
        .moreInManual("TRUTH and REC appear together or not at all");
    command.option("--format", request->format, "FORMAT", "Format of the recording: csv or bin")
        .takes(oneOf(wordsOf(inputFormatChoices())));
    command
        .option("--mode", request->mode, "N",
                "Mount mode in place of that in the parameter file:\n" + mountModeNames("\n"))
        .takes(oneOf(mountModeWords()));
    command.option("--samples", request->samples, "N", "Number of samples, dropped ones included (default: 1000)");
    command.option("--rate", request->rate, "HZ", "Samples per second (default: 100)");
    command.option("--seed", request->seed, "S", "Seed of all random numbers (default: 1)");
    command.option("--start-stamp", request->startStamp, "MS", "Time stamp of the first sample (default: 0)");
    command
        .option("--reference", request->reference, "N", "The reference may be captured from sample N on (default: 20)")
        .moreInManual("Before sample N, the columns referenceHold and referenceGate prevent that: both in the first "
                      "half of these samples, then the gate alone, and in the last quarter the hold alone");
    const Values channels = assignmentTo(columnNames());
    command
        .repeatable("--noise", request->noise, "C=S",
                    "Add normal noise of standard deviation S to column C of the recording. May be repeated, like the "
                    "next three options")
        .takes(channels);
    command.repeatable("--bias", request->bias, "C=V", "Add V to column C").takes(channels);
    command
        .repeatable("--quantise", request->quantised, "C=Q", "Round column C to multiples of Q, after bias and noise")
        .takes(channels);
    command.repeatable("--time-jump", request->jumps, "N=MS",
                       "From sample N on, the clock is MS milliseconds ahead (behind if MS is negative)");
    command.option("--drop", request->dropped, "P", "Probability that a sample is lost");
    command.option("--bad-status", request->badStatus, "P", "Probability that a sample's status is 0, 1 or 3");
    command.option("--level-out", request->levelOut, "P",
                   "Probability that the reading of a level is beyond its table");
    command.option("--nan", request->nan, "P", "Probability that one value of a sample is replaced by nan");
    command.flag("--force", request->force, kForceHelp);
    declareProgress(command, request->progress);
    command.about(
        "The same command gives the same bytes on every platform. A summary with the seed goes to standard error.",
        "The raw readings are computed from the motion by the inverse of everything that the engine does. The truth "
        "tells for each sample whether the engine's orientation can be compared with it; kor compare does that. The "
        "columns of recordings, truths and way-points are described in the page on file formats, see FILES in kor(1).");
    command.example("A simulated recording with its truth",
                    {"kor simulate --prm calibration --id 1005 --motion random -o sim.csv --truth sim_truth.csv"});
    command.example(
        "A recording with noise of a thousandth of a degree on the azimuth encoder, as binary records",
        {"kor simulate --prm calibration --id 1005 --motion circle --noise azimuthRaw=0.001 -o noisy.korraw"});
    return command.runs([request] { return simulate(*request); });
}

} // namespace kor::tool
