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

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "KORInterface/CKorPrm.h"

#include "accuracy/Budget.h"
#include "accuracy/ClosedLoop.h"
#include "platform/Text.h"
#include "recordings/Output.h"
#include "simulation/WayPoints.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"
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
};

constexpr double kArcSeconds = 3600.0;

std::string table(const std::vector<Finding>& findings)
{
    std::string text;
    int mode = 0;
    for (const Finding& f : findings) {
        if (f.mode != mode) {
            mode = f.mode;
            constexpr const char* kHead = "  {:<28} {:>7} {:>9} {:>9} {:>9} {:>9} {:>9} {:>9} {:>9} {:>9}\n";
            text += fmt::format("{}mount mode {}, {}\n", text.empty() ? "" : "\n", mode, modelName(mode));
            text += fmt::format(kHead, "stratum", "samples", "median", "99.9 %", "worst", "median", "99.9 %", "worst",
                                "without", "bound");
            text += fmt::format(kHead, "", "", "deg", "deg", "deg", "arcsec", "arcsec", "arcsec", "matrix", "deg");
        }
        const std::string exceeded = f.exceeded();
        text +=
            fmt::format("{} {:<28} {:>7} {:>9.1e} {:>9.1e} {:>9.1e} {:>9.1e} {:>9.1e} {:>9.1e} {:>7.2f} % "
                        "{:>9.1e}{}{}\n",
                        f.stratum.inherent.empty() ? " " : "*", f.stratum.name, f.samples, f.median, f.high, f.worst,
                        f.median * kArcSeconds, f.high * kArcSeconds, f.worst * kArcSeconds, 100.0 * f.shareWithout(),
                        f.stratum.worst, exceeded.empty() ? "" : "  BEYOND ITS BOUND: ", exceeded);
    }
    text += "\n* inherent: the error lies in the model's formulas and shows in a correct implementation\n";
    return text +
           fmt::format("with noise: standard deviations {} deg of encoders, {} deg of levels, {} mm of position\n",
                       kEncoderNoise, kLevelNoise, kPositionNoise);
}

// A NaN or infinity is no JSON.
std::string jsonNumber(double value)
{
    return std::isfinite(value) ? fmt::format("{}", value) : "null";
}

std::string json(const std::vector<Finding>& findings, std::uint64_t seed)
{
    std::string text = fmt::format("{{\n  \"seed\": {},\n  \"noise\": {{\"encoder_deg\": {}, \"level_deg\": {}, "
                                   "\"position_mm\": {}}},\n  \"strata\": [",
                                   seed, kEncoderNoise, kLevelNoise, kPositionNoise);
    const char* separator = "\n";
    for (const Finding& f : findings) {
        const Stratum& s = f.stratum;
        text += fmt::format(
            "{}    {{\"mode\": {}, \"model\": \"{}\", \"stratum\": \"{}\", \"poses\": \"{}\", \"inherent\": {}, "
            "\"samples\": {}, \"without\": {}, \"median_deg\": {}, \"p999_deg\": {}, \"worst_deg\": {}, "
            "\"median_bound_deg\": {}, \"worst_bound_deg\": {}, \"least_worst_deg\": {}, \"exceeded\": \"{}\"}}",
            separator, f.mode, modelName(f.mode), s.name, s.poses,
            s.inherent.empty() ? std::string("null") : "\"" + s.inherent + "\"", f.samples, f.without,
            jsonNumber(f.median), jsonNumber(f.high), jsonNumber(f.worst), s.median, s.worst, s.atLeast, f.exceeded());
        separator = ",\n";
    }
    return text + "\n  ]\n}\n";
}

std::string budgetTable(const Budget& budget)
{
    const Vec3& P = budget.pose.position;
    std::string text =
        fmt::format("mount mode {}, {}: target point at {:g}, {:g}, {:g} mm\n"
                    "turn of the base about the tracker's x, y and z, arc-seconds per unit of the input\n"
                    "  {:<12} {:<29} {:<10} {:>12} {:>11} {:>11} {:>11} {:>9}\n",
                    budget.mode, modelName(budget.mode), P[0], P[1], P[2], "", "input", "unit", "value", "about x",
                    "about y", "about z", "+-");
    for (const Sensitivity& s : budget.inputs) {
        text += fmt::format("  {:<12} {:<29} {:<10} {:>12.6g} {:>11.4g} {:>11.4g} {:>11.4g} {:>9.1e}\n", s.group,
                            s.input, s.unit, s.value, s.turn[0], s.turn[1], s.turn[2], s.uncertainty);
    }
    return text;
}

std::string budgetJson(const std::vector<Budget>& budgets)
{
    std::string text = "{\n  \"unit\": \"arc-seconds per unit of the input\",\n  \"budgets\": [";
    const char* before = "\n";
    for (const Budget& budget : budgets) {
        text += fmt::format("{}    {{\"mode\": {}, \"model\": \"{}\", \"position_mm\": [{}, {}, {}], \"base\": [{}], "
                            "\"inputs\": [",
                            before, budget.mode, modelName(budget.mode), budget.pose.position[0],
                            budget.pose.position[1], budget.pose.position[2], fmt::join(budget.pose.base, ", "));
        before = ",\n";
        const char* separator = "\n";
        for (const Sensitivity& s : budget.inputs) {
            text += fmt::format("{}      {{\"group\": \"{}\", \"input\": \"{}\", \"unit\": \"{}\", \"value\": {}, "
                                "\"x\": {}, \"y\": {}, \"z\": {}, \"uncertainty\": {}}}",
                                separator, s.group, s.input, s.unit, jsonNumber(s.value), jsonNumber(s.turn[0]),
                                jsonNumber(s.turn[1]), jsonNumber(s.turn[2]), jsonNumber(s.uncertainty));
            separator = ",\n";
        }
        text += "]}";
    }
    return text + "\n  ]\n}\n";
}

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

int runBudget(const AccuracyRequest& request, int only)
{
    if (request.poses || request.seed || request.progress) {
        throw Misuse("--budget takes neither --poses nor --seed nor --progress");
    }
    if (request.prm.has_value() != request.id.has_value()) {
        throw Misuse("--prm and --id belong together");
    }
    std::vector<SensorParameters> sensors;
    if (request.prm) {
        ParameterSource source;
        source.directory = *request.prm;
        source.id = wholeOption<std::int32_t>("--id", *request.id);
        CKorPrm prm;
        readParameterFile(source, prm);
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
    std::vector<Budget> budgets;
    for (const SensorParameters& sensor : sensors) {
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
    Output output("-");
    if (request.json) {
        output.write(budgetJson(budgets));
    } else {
        for (std::size_t i = 0; i < budgets.size(); ++i) {
            output.write((i > 0 ? "\n" : "") + budgetTable(budgets[i]));
        }
    }
    output.close();
    return kExitOk;
}

int runAccuracy(const AccuracyRequest& request)
{
    const int only = request.mode ? wholeOption<int>("--mode", *request.mode, 1, 10) : 0;
    if (request.budget) {
        return runBudget(request, only);
    }
    if (request.pose || request.prm || request.id) {
        throw Misuse("--pose, --prm and --id go with --budget");
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
    Output output("-");
    output.write(request.json ? json(findings, seed) : table(findings));
    output.close();
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
    CLI::App* const app = root.add_subcommand("accuracy", "Measure how exactly known poses are found again");
    app->get_help_ptr()->description("Print this help and exit");
    const auto option = [app](const char* name, auto& into, const char* type, const char* text) {
        app->add_option(name, into, text)->type_name(type);
    };
    option("--mode", request->mode, "M", "One mount mode, 1 to 10 (default: all)");
    option("--poses", request->poses, "N", "Poses of each stratum (default: 2000)");
    option("--seed", request->seed, "S", "Seed of the poses (default: 1)");
    app->add_flag("--json", request->json, "Print JSON in place of the table");
    app->add_flag(
        "--budget", request->budget,
        "Print how much the orientation turns per unit of each\ninput and parameter, in place of the measurement");
    option("--pose", request->pose, "X,Y,Z,R,P,Y",
           "Pose of the budget: target point, mm; roll, pitch and\nyaw of the base, degrees (default: one that suits)");
    option("--prm", request->prm, "DIR", "Directory of a parameter file for the budget (default:\na typical sensor)");
    option("--id", request->id, "N", "Sensor ID: the parameter file is DIR/TgN.prm");
    option("--progress", request->progress, "WHEN",
           "auto (the default: when standard error is a\nterminal), always or never");
    app->footer(
        "True poses go through the inverse of the library and back through it; an error is the angle of the\n"
        "rotation between the found and the true orientation. Exit status 1 when a stratum is beyond its bound.");
    return {app, [request] { return runAccuracy(*request); }};
}

} // namespace kor::tool
