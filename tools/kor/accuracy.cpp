// kor accuracy: how exact the library is, measured.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "KORInterface/CKorPrm.h"

#include "accuracy/Budget.h"
#include "accuracy/ClosedLoop.h"
#include "accuracy/Uncertainty.h"
#include "platform/Text.h"
#include "simulation/WayPoints.h"
#include "tools/kor/AccuracyChart.h"
#include "tools/kor/AccuracyReport.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Gnuplot.h"
#include "tools/kor/MountMode.h"
#include "tools/kor/Options.h"
#include "tools/kor/Overwrite.h"
#include "tools/kor/ParameterFile.h"
#include "tools/kor/Progress.h"
#include "tools/kor/RecordingOptions.h"
#include "tools/kor/SimulatedSensor.h"
#include "tools/kor/UncertaintyFile.h"
#include "tools/kor/UncertaintyReport.h"

namespace kor::tool {

using namespace accuracy;
using namespace simulation;

namespace {

struct AccuracyRequest {
    using Option = std::optional<std::string>;
    Option mode, poses, seed, progress, pose, prm, id, uncertainty, trials, plot;
    bool json = false;
    bool budget = false;
    bool force = false;
};

Pose poseOption(const std::string& text)
{
    const std::vector<std::string_view> parts = split(text, ',');
    double values[6] = {};
    for (std::size_t i = 0; i < 6; ++i) {
        const std::string_view part = i < parts.size() ? parts[i] : std::string_view();
        const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), values[i]);
        if (parts.size() != 6 || error != std::errc() || end != part.data() + part.size() ||
            !(std::fabs(values[i]) <= 1e6)) {
            throw Misuse(
                fmt::format("--pose: found {}, expected X,Y,Z,ROLL,PITCH,YAW in mm and degrees", inQuotes(text)));
        }
    }
    return wayPointMotion({{0.0, {values[0], values[1], values[2]}, values[3], values[4], values[5]}})->pose(0.0);
}

// A picture beside what is printed.
class Picture {
public:
    // Refused before anything is measured.
    explicit Picture(const AccuracyRequest& request) : m_path(request.plot.value_or(""))
    {
        if (!request.plot) {
            return;
        }
        m_kind = pictureNamed(m_path);
        if (!m_kind) {
            throw Misuse(
                fmt::format("--plot: found {}, expected a name that ends in .svg, .png or .pdf", inQuotes(m_path)));
        }
        if (request.uncertainty) {
            refuseToOverwrite("--plot", m_path, {{*request.uncertainty, "the file of uncertainties itself"}});
        }
    }

    template <typename Found>
    void draw(const std::vector<Found>& found) const
    {
        if (m_kind) {
            const BarChart chart = chartOf(found);
            drawPicture(m_path, *m_kind, usualSize(chart), barScript(chart));
        }
    }

private:
    std::string m_path;
    std::optional<PictureKind> m_kind;
};

// The sensors that a budget or an uncertainty is made for: that of a parameter file, or a typical one for each mode
// that is asked for.
std::vector<SensorParameters> sensorsOf(const AccuracyRequest& request, int only)
{
    if (request.prm.has_value() != request.id.has_value()) {
        throw Misuse("--prm and --id belong together");
    }
    std::vector<SensorParameters> sensors;
    if (request.prm) {
        ParameterSource source;
        source.directory = *request.prm;
        source.id = wholeOption<std::int32_t>("--id", *request.id);
        CKorPrm prm;
        readParameterFile(source, prm, request.force ? Checking::forced : Checking::strict,
                          only == 0 ? std::nullopt : std::optional<std::int32_t>(only));
        int mode = only;
        if (only == 0) {
            prm.getMountMode(mode);
        }
        sensors.push_back(sensorOf(prm, mode));
    } else {
        for (int mode = 1; mode <= 10; ++mode) {
            if (only == 0 || only == mode) {
                sensors.push_back(typicalSensor(mode, false));
            }
        }
    }
    return sensors;
}

Pose poseOf(const AccuracyRequest& request, int mode)
{
    return request.pose ? poseOption(*request.pose) : typicalPose(mode);
}

Failure unseenTracker(int mode)
{
    return {kExitUsage,
            fmt::format("in mount mode {} the sensor cannot look at the tracker in this pose; move the target point, "
                        "or tilt the base, so that the tracker is off its azimuth axis",
                        mode)};
}

// Off in degrees: the figures are those of what the model finds.
void warnIfOff(double off, int mode, const char* what)
{
    constexpr double kOff = 0.01; // the pendulum's search stops a tenth of it away
    if (!(off <= kOff)) {
        warn(fmt::format("in mount mode {} the orientation that the model finds is {:.2g} degrees from this pose; the "
                         "{} is for the orientation found",
                         mode, off, what));
    }
}

int runBudget(const AccuracyRequest& request, int only)
{
    if (request.poses || request.seed || request.progress) {
        throw Misuse("--budget takes neither --poses nor --seed nor --progress");
    }
    const Picture picture(request);
    std::vector<Budget> budgets;
    for (const SensorParameters& sensor : sensorsOf(request, only)) {
        const std::optional<Budget> found = budgetOf(sensor, poseOf(request, sensor.mode));
        if (!found) {
            throw unseenTracker(sensor.mode);
        }
        warnIfOff(found->off, sensor.mode, "budget");
        budgets.push_back(*found);
    }
    std::string text = request.json ? budgetJson(budgets) : std::string();
    for (std::size_t i = 0; i < budgets.size() && !request.json; ++i) {
        text += (i > 0 ? "\n" : "") + budgetTable(budgets[i]);
    }
    print(text);
    picture.draw(budgets);
    return kExitOk;
}

int runUncertainty(const AccuracyRequest& request, int only)
{
    if (request.poses) {
        throw Misuse("--uncertainty does not take --poses");
    }
    MonteCarloPlan plan;
    plan.trials = request.trials ? wholeOption<std::uint64_t>("--trials", *request.trials, 100, 1'000'000) : 10'000;
    plan.seed = request.seed ? wholeOption<std::uint64_t>("--seed", *request.seed) : 1;
    const ShowProgress show = progressOption(request.progress);
    const Picture picture(request);
    const std::vector<InputUncertainty> inputs = readUncertainties(*request.uncertainty);
    const std::vector<SensorParameters> sensors = sensorsOf(request, only);

    // Of an input that both ways differ on, trials are added.
    std::uint64_t parts = 0;
    for (const InputUncertainty& input : inputs) {
        parts += (input.noise > 0.0 ? 1 : 0) + (input.constant > 0.0 ? 1 : 0);
    }
    Progress progress(show, "uncertainty", sensors.size() * (plan.trials + parts * plan.alone()), "trials");
    std::uint64_t done = 0;
    std::vector<Uncertainty> found;
    for (const SensorParameters& sensor : sensors) {
        const std::optional<Uncertainty> one =
            uncertaintyOf(sensor, poseOf(request, sensor.mode), inputs, plan, [&progress, &done] {
                if (++done % 256 == 0) {
                    progress.update(done, done);
                }
            });
        if (!one) {
            throw unseenTracker(sensor.mode);
        }
        warnIfOff(one->off, sensor.mode, "uncertainty");
        found.push_back(*one);
    }
    progress.clear();
    std::string text = request.json ? uncertaintyJson(found, plan) : std::string();
    for (std::size_t i = 0; i < found.size() && !request.json; ++i) {
        text += (i > 0 ? "\n" : "") + uncertaintyTable(found[i], plan);
    }
    print(text);
    picture.draw(found);
    tell(fmt::format("seed: {}\n", plan.seed));
    return kExitOk;
}

int runMeasurement(const AccuracyRequest& request, int only)
{
    const std::uint64_t poses =
        request.poses ? wholeOption<std::uint64_t>("--poses", *request.poses, 1, 10'000'000) : 2000;
    const std::uint64_t seed = request.seed ? wholeOption<std::uint64_t>("--seed", *request.seed) : 1;
    const ShowProgress show = progressOption(request.progress);
    const Picture picture(request);

    struct Task {
        int mode;
        Stratum stratum;
    };
    std::vector<Task> tasks;
    std::uint64_t total = 0;
    for (int mode = 1; mode <= 10; ++mode) {
        for (const Stratum& stratum : only == 0 || only == mode ? strataOf(mode) : std::vector<Stratum>()) {
            tasks.push_back({mode, stratum});
            total += stratum.route == Route::moving ? std::min<std::uint64_t>(poses, kLongestPath) : poses;
        }
    }

    Progress progress(show, "accuracy", total, "samples");
    std::uint64_t done = 0;
    std::vector<Finding> findings;
    bool sound = true;
    for (const Task& task : tasks) {
        findings.push_back(measure(task.mode, task.stratum, poses, seed, [&progress, &done](std::uint64_t more) {
            done += more;
            if (done % 16 == 0) {
                progress.update(done, done);
            }
        }));
        sound = sound && findings.back().exceeded().empty();
    }
    progress.clear();
    print(request.json ? accuracyJson(findings, seed) : accuracyTable(findings));
    picture.draw(findings);
    tell(fmt::format("seed: {}\n", seed));
    if (!sound) {
        complain("the library is less exact than recorded: see the strata whose errors exceed their bounds");
        return kExitBeyondBound;
    }
    return kExitOk;
}

int runAccuracy(const AccuracyRequest& request)
{
    const int only = request.mode ? mountModeOption(*request.mode) : 0;
    if (request.budget && request.uncertainty) {
        throw Misuse("--budget and --uncertainty exclude each other");
    }
    if (request.trials && !request.uncertainty) {
        throw Misuse("--trials requires --uncertainty");
    }
    if (request.uncertainty) {
        return runUncertainty(request, only);
    }
    if (request.budget) {
        return runBudget(request, only);
    }
    if (request.pose || request.prm || request.id || request.force) {
        throw Misuse("--pose, --prm, --id and --force require --budget or --uncertainty");
    }
    return runMeasurement(request, only);
}

} // namespace

Command declareAccuracy(const CommandGroup& root)
{
    const auto request = std::make_shared<AccuracyRequest>();
    Subcommand command(root, "accuracy", "Measure how exactly known poses are found again");
    command.option("--mode", request->mode, "M", "Only this mount mode (default: all):\n" + mountModeNames("\n"))
        .takes(oneOf(mountModeWords()));
    command.option("--poses", request->poses, "N", "Number of poses in each stratum (default: 2000)");
    command.option("--seed", request->seed, "S", "Seed of the poses or trials (default: 1)");
    command.flag("--json", request->json, "Print JSON in place of the table");
    command
        .flag("--budget", request->budget,
              "Print how much the orientation turns per unit of each input and parameter, in place of the measurement")
        .moreInManual("The unit of an angle is also given in arc-seconds. For a level, this is the slope of its table "
                      "at the reading");
    command
        .option("--uncertainty", request->uncertainty, "FILE",
                "Print the uncertainty of the orientation that follows from the standard uncertainties of the inputs, "
                "which FILE states as JSON")
        .takes(fileNamed({"json"}))
        .moreInManual(
            "The standard and the expanded uncertainty (k = 2) are given in arc-seconds, by the law of propagation "
            "(JCGM 100:2008, 5.1.2) and by Monte Carlo through the model with its filters (JCGM 101:2008), with the "
            "share of each input. If the two ways differ, the output says which of them to believe and why");
    command
        .option("--trials", request->trials, "N",
                "Monte Carlo trials of --uncertainty, 100 to 1000000 (default: 10000)")
        .moreInManual("The share of each input has trials of its own: a tenth of this number, but no fewer than 100");
    command
        .option("--plot", request->plot, "FILE",
                "Also draw a bar chart by stratum or by input, with gnuplot(1). The name of FILE ends in .svg, .png or "
                ".pdf")
        .takes(outputNamed(compressible(pictureEndings())));
    command.option("--pose", request->pose, "X,Y,Z,R,P,Y",
                   "Pose for --budget or --uncertainty: target point in mm, then roll, pitch and yaw of the base in "
                   "degrees (default: a pose that suits the mount mode)");
    command
        .option(
            "--prm", request->prm, "DIR",
            "Directory of the parameter file for --budget or --uncertainty (default: the values of a typical sensor)")
        .takes(parameterDirectory());
    command.option("--id", request->id, "N", "Sensor ID: the parameter file is DIR/TgN.prm").takes(sensorId());
    command.flag("--force", request->force, kForceHelp);
    declareProgress(command, request->progress);
    command.about("The raw readings of known poses are computed by the inverse of the library, and the library turns "
                  "them into orientations again. The error of a pose is the angle of the rotation between the "
                  "orientation found and the true one. The poses of each mount mode are grouped into strata. If the "
                  "largest error of a stratum exceeds its bound, the exit status is 1.\n\n"
                  "With --budget or --uncertainty, the command prints how the orientation depends on its inputs, in "
                  "place of this measurement.");
    command.example("The errors in mount mode 5, over fewer poses than usual", {"kor accuracy --mode 5 --poses 50"});
    command.example("How far the orientation of sensor 1005 turns per unit of each input",
                    {"kor accuracy --budget --mode 5 --prm calibration --id 1005"});
    command.example("The uncertainty of the orientation, from the uncertainties of the inputs",
                    {"kor accuracy --uncertainty examples/uncertainty.json --mode 5 --trials 1000"});
    return command.runs([request] { return runAccuracy(*request); });
}

} // namespace kor::tool
