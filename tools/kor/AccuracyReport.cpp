#include "tools/kor/AccuracyReport.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "KORInterface/Session.h"

#include "accuracy/Statistics.h"

namespace kor::tool {

using namespace accuracy;
using namespace simulation;

namespace {

// Keys in the order in which they are written.
using Json = nlohmann::ordered_json;

std::string textOf(const Json& json)
{
    return json.dump(2) + "\n";
}

Json jsonOf(const Finding& finding)
{
    const Stratum& s = finding.stratum;
    return {{"mode", finding.mode},
            {"model", ModelText(ModelOf(finding.mode))},
            {"stratum", s.name},
            {"poses", s.poses},
            {"inherent", s.inherent.empty() ? Json() : Json(s.inherent)},
            {"samples", finding.samples},
            {"without", finding.without},
            {"median_deg", finding.median},
            {"p999_deg", finding.high},
            {"worst_deg", finding.worst},
            {"median_bound_deg", s.bounds.median},
            {"worst_bound_deg", s.bounds.worst},
            {"least_worst_deg", s.bounds.atLeast},
            {"exceeded", finding.exceeded()}};
}

Json jsonOf(const Budget& budget)
{
    Json inputs = Json::array();
    for (const Sensitivity& s : budget.inputs) {
        inputs.push_back({{"group", s.group},
                          {"input", s.input},
                          {"unit", s.unit},
                          {"unit_arcsec", s.arcSeconds ? Json(*s.arcSeconds) : Json()},
                          {"value", s.value},
                          {"x", s.turn[0]},
                          {"y", s.turn[1]},
                          {"z", s.turn[2]},
                          {"uncertainty", s.uncertainty}});
    }
    return {{"mode", budget.mode},
            {"model", ModelText(ModelOf(budget.mode))},
            {"position_mm", budget.pose.position},
            {"base", budget.pose.base},
            {"inputs", inputs}};
}

} // namespace

std::string accuracyTable(const std::vector<Finding>& findings)
{
    std::string text;
    int mode = 0;
    for (const Finding& f : findings) {
        if (f.mode != mode) {
            mode = f.mode;
            constexpr const char* kHead = "  {:<28} {:>7} {:>9} {:>9} {:>9} {:>9} {:>9} {:>9} {:>9} {:>9}\n";
            text += fmt::format("{}mount mode {}, {}\n", text.empty() ? "" : "\n", mode, ModelText(ModelOf(mode)));
            text += fmt::format(kHead, "stratum", "samples", "median", "99.9 %", "worst", "median", "99.9 %", "worst",
                                "without", "bound");
            text += fmt::format(kHead, "", "", "deg", "deg", "deg", "arcsec", "arcsec", "arcsec", "matrix", "deg");
        }
        const std::string exceeded = f.exceeded();
        text += fmt::format("{} {:<28} {:>7} {:>9.1e} {:>9.1e} {:>9.1e} {:>9.1e} {:>9.1e} {:>9.1e} {:>7.2f} % "
                            "{:>9.1e}{}{}\n",
                            f.stratum.inherent.empty() ? " " : "*", f.stratum.name, f.samples, f.median, f.high,
                            f.worst, f.median * kArcSecondsOfDegree, f.high * kArcSecondsOfDegree,
                            f.worst * kArcSecondsOfDegree, 100.0 * f.shareWithout(), f.stratum.bounds.worst,
                            exceeded.empty() ? "" : "  BEYOND ITS BOUND: ", exceeded);
    }
    text += "\nRows marked * show errors that the formulas themselves cause, in any correct implementation\n";
    return text +
           fmt::format("with noise: standard deviations {} deg of encoders, {} deg of levels, {} mm of position\n",
                       kEncoderNoise, kLevelNoise, kPositionNoise);
}

std::string budgetTable(const Budget& budget)
{
    const Vec3& P = budget.pose.position;
    std::string text = fmt::format(
        "mount mode {}, {}: target point at {:g}, {:g}, {:g} mm\n"
        "turn of the base about the tracker's x, y and z, arc-seconds per unit of the input\n"
        "column arcsec: the unit of an angle in arc-seconds; of a level, by the slope of its table at the reading\n"
        "  {:<12} {:<29} {:<10} {:>9} {:>12} {:>11} {:>11} {:>11} {:>9}\n",
        budget.mode, ModelText(ModelOf(budget.mode)), P[0], P[1], P[2], "", "input", "unit", "arcsec", "value",
        "about x", "about y", "about z", "+-");
    for (const Sensitivity& s : budget.inputs) {
        text += fmt::format("  {:<12} {:<29} {:<10} {:>9} {:>12.6g} {:>11.4g} {:>11.4g} {:>11.4g} {:>9.1e}\n", s.group,
                            s.input, s.unit, s.arcSeconds ? fmt::format("{:.6g}", *s.arcSeconds) : "-", s.value,
                            s.turn[0], s.turn[1], s.turn[2], s.uncertainty);
    }
    return text;
}

std::string accuracyJson(const std::vector<Finding>& findings, std::uint64_t seed)
{
    Json strata = Json::array();
    for (const Finding& finding : findings) {
        strata.push_back(jsonOf(finding));
    }
    return textOf(
        {{"seed", seed},
         {"noise", {{"encoder_deg", kEncoderNoise}, {"level_deg", kLevelNoise}, {"position_mm", kPositionNoise}}},
         {"strata", strata}});
}

std::string budgetJson(const std::vector<Budget>& budgets)
{
    Json list = Json::array();
    for (const Budget& budget : budgets) {
        list.push_back(jsonOf(budget));
    }
    return textOf({{"unit", "arc-seconds per unit of the input"}, {"budgets", list}});
}

} // namespace kor::tool
