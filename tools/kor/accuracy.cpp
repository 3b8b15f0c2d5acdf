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
#include "platform/Text.h"
#include "simulation/WayPoints.h"
#include "tools/kor/AccuracyReport.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/MountMode.h"
#include "tools/kor/Options.h"
#include "tools/kor/ParameterFile.h"
#include "tools/kor/Progress.h"
#include "tools/kor/SimulatedSensor.h"

namespace kor::tool {

using namespace accuracy;
using namespace simulation;

namespace {

struct AccuracyRequest {
    using Option = std::optional<std::string>;
    Option mode, poses, seed, progress, pose, prm, id;
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

// The sensors that a budget is made for: that of a parameter file, or a typical one for each mode that is asked for.
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

int runBudget(const AccuracyRequest& request, int only)
{
    if (request.poses || request.seed || request.progress) {
        throw Misuse("--budget takes neither --poses nor --seed nor --progress");
    }
    std::vector<Budget> budgets;
    for (const SensorParameters& sensor : sensorsOf(request, only)) {
        const std::optional<Budget> found =
            budgetOf(sensor, request.pose ? poseOption(*request.pose) : typicalPose(sensor.mode));
        if (!found) {
            throw Failure(kExitUsage, fmt::format("in mount mode {} the sensor cannot look at the tracker in this pose",
                                                  sensor.mode));
        }
        constexpr double kOff = 0.01; // the pendulum's search stops a tenth of it away
        if (!(found->off <= kOff)) {
            warn(fmt::format(
                "in mount mode {} the model finds the sensor {:.2g} degrees from this pose; the budget is that "
                "of what it finds",
                sensor.mode, found->off));
        }
        budgets.push_back(*found);
    }
    std::string text = request.json ? budgetJson(budgets) : std::string();
    for (std::size_t i = 0; i < budgets.size() && !request.json; ++i) {
        text += (i > 0 ? "\n" : "") + budgetTable(budgets[i]);
    }
    print(text);
    return kExitOk;
}

int runAccuracy(const AccuracyRequest& request)
{
    const int only = request.mode ? mountModeOption(*request.mode) : 0;
    if (request.budget) {
        return runBudget(request, only);
    }
    if (request.pose || request.prm || request.id || request.force) {
        throw Misuse("--pose, --prm, --id and --force go with --budget");
    }
    const std::uint64_t poses =
        request.poses ? wholeOption<std::uint64_t>("--poses", *request.poses, 1, 10'000'000) : 2000;
    const std::uint64_t seed = request.seed ? wholeOption<std::uint64_t>("--seed", *request.seed) : 1;
    const ShowProgress show = progressOption(request.progress);

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
    tell(fmt::format("seed: {}\n", seed));
    if (!sound) {
        complain("the library is less exact than recorded: see the strata beyond their bounds");
        return kExitBeyondBound;
    }
    return kExitOk;
}

} // namespace

Command declareAccuracy(CLI::App& root)
{
    const auto request = std::make_shared<AccuracyRequest>();
    Subcommand command(root, "accuracy", "Measure how exactly known poses are found again");
    command.option("--mode", request->mode, "M", "One mount mode (default: all):\n" + mountModeNames("\n"));
    command.option("--poses", request->poses, "N", "Poses of each stratum (default: 2000)");
    command.option("--seed", request->seed, "S", "Seed of the poses (default: 1)");
    command.flag("--json", request->json, "Print JSON in place of the table");
    command.flag(
        "--budget", request->budget,
        "Print how much the orientation turns per unit of each\ninput and parameter, in place of the measurement");
    command.option(
        "--pose", request->pose, "X,Y,Z,R,P,Y",
        "Pose of the budget: target point, mm; roll, pitch and\nyaw of the base, degrees (default: one that suits)");
    command.option("--prm", request->prm, "DIR",
                   "Directory of a parameter file for the budget (default:\na typical sensor)");
    command.option("--id", request->id, "N", "Sensor ID: the parameter file is DIR/TgN.prm");
    command.flag("--force", request->force, kForceHelp);
    command.option("--progress", request->progress, "WHEN",
                   "auto (the default: when standard error is a\nterminal), always or never");
    command.footer(
        "True poses go through the inverse of the library and back through it; an error is the angle of the\n"
        "rotation between the found and the true orientation. Exit status 1 when a stratum is beyond its bound.");
    return command.runs([request] { return runAccuracy(*request); });
}

} // namespace kor::tool
