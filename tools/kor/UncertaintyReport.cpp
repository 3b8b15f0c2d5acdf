#include "tools/kor/UncertaintyReport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "KORInterface/Session.h"

namespace kor::tool {

using namespace accuracy;
using namespace simulation;

namespace {

// Keys in the order in which they are written.
using Json = nlohmann::ordered_json;

const char* nameOf(Believe believe)
{
    switch (believe) {
    case Believe::monteCarlo:
        return "monte carlo";
    case Believe::law:
        return "law";
    case Believe::neither:
        return "neither";
    case Believe::either:
        break;
    }
    return "either";
}

const char* nameOf(Discrepancy why)
{
    switch (why) {
    case Discrepancy::filters:
        return "filters";
    case Discrepancy::search:
        return "search";
    case Discrepancy::jumps:
        return "jumps";
    case Discrepancy::notLinear:
        return "not linear";
    case Discrepancy::withoutTurn:
        return "no matrix";
    case Discrepancy::none:
        break;
    }
    return "none";
}

const char* kindOf(const Contribution& c)
{
    return c.noise ? "noise" : "constant";
}

std::string sentenceOf(const Contribution& c)
{
    switch (c.why) {
    case Discrepancy::filters:
        return fmt::format("If this input is the same in all samples, Monte Carlo gives {:.3g}, as the law does: the "
                           "model's\nfilters {}.",
                           c.held->standard.angle,
                           c.alone.standard.angle > c.law.angle ? "amplify what changes from sample to sample"
                                                                : "average what changes from sample to sample");
    case Discrepancy::search:
        return "The model's search stops too early to follow so small a change, although the change exists.";
    case Discrepancy::jumps:
        return fmt::format(
            "A few of its trials turn by up to {:.3g}: near this pose the model changes over to another\n"
            "solution, of which the law knows nothing.",
            c.alone.farthest);
    case Discrepancy::notLinear:
        return "The orientation does not follow this input in proportion, although the law assumes it.";
    case Discrepancy::withoutTurn:
        return "With this input alone no trial has a matrix.";
    case Discrepancy::none:
        break;
    }
    return {};
}

// Which of both to believe, and why.
std::string verdictOf(const Uncertainty& found)
{
    if (found.believe == Believe::either) {
        return fmt::format("Both agree, within {:g} % or {:g} times Monte Carlo's own uncertainty: believe either.",
                           100.0 * kAgreement, kDoubt);
    }
    if (found.believe == Believe::neither) {
        return "No trial has a matrix: in this pose the model does not work. Believe neither.";
    }
    const std::string head = fmt::format(
        "They differ, by more than {:g} % and {:g} times Monte Carlo's own uncertainty.\nBelieve {}. ",
        100.0 * kAgreement, kDoubt,
        found.believe == Believe::law ? "the law" : "Monte Carlo, which computes each sample as the library does");
    if (!found.cause && found.trials.far > 0) {
        return head + "A few trials turn much farther than all others: near this pose the model\n"
                      "changes over to another solution, of which the law knows nothing.";
    }
    if (!found.cause) {
        return head + "No input alone makes the difference: several inputs that change together do.";
    }
    const Contribution& c = found.contributions[*found.cause];
    return head +
           fmt::format("Most of the difference is {}, {}:\n{:.3g} arc-seconds by the law, {:.3g} by Monte Carlo.\n{}",
                       c.input, kindOf(c), c.law.angle, c.alone.standard.angle, sentenceOf(c));
}

// Whether the trials are turned to one side by more than the number of trials explains.
bool isOneSided(const Trials& trials)
{
    const double count = static_cast<double>(trials.count - trials.without);
    for (std::size_t k = 0; k < 3; ++k) {
        const double own = trials.standard.axes[k] / std::sqrt(count);
        if (std::fabs(trials.mean[k]) > std::max(4.0 * own, kAgreement * trials.standard.angle)) {
            return true;
        }
    }
    return false;
}

std::string rowOf(const char* name, const char* what, const TurnUncertainty& u, double factor)
{
    return fmt::format("  {:<19} {:<15} {:>10.4g} {:>10.4g} {:>10.4g} {:>10.4g}\n", name, what, factor * u.axes[0],
                       factor * u.axes[1], factor * u.axes[2], factor * u.angle);
}

Json jsonOf(const TurnUncertainty& u)
{
    return {{"x", u.axes[0]}, {"y", u.axes[1]}, {"z", u.axes[2]}, {"angle", u.angle}};
}

TurnUncertainty expanded(const TurnUncertainty& u)
{
    return {scaled(u.axes, kCoverage), kCoverage * u.angle};
}

Json jsonOf(const Trials& trials)
{
    return {{"trials", trials.count},
            {"without", trials.without},
            {"standard", jsonOf(trials.standard)},
            {"standard_own", jsonOf(trials.own)},
            {"expanded", jsonOf(expanded(trials.standard))},
            {"mean", {{"x", trials.mean[0]}, {"y", trials.mean[1]}, {"z", trials.mean[2]}}},
            {"within_expanded_angle", trials.withinExpanded},
            {"p95_angle", trials.ninetyFivePercent},
            {"far", trials.far},
            {"farthest_angle", trials.farthest}};
}

Json jsonOf(const Contribution& c)
{
    return {{"group", c.group},
            {"input", c.input},
            {"kind", kindOf(c)},
            {"stated", c.stated},
            {"unit", c.unit},
            {"law", jsonOf(c.law)},
            {"law_share_percent", 100.0 * c.lawShare},
            {"monte_carlo", jsonOf(c.alone)},
            {"monte_carlo_share_percent", 100.0 * c.aloneShare},
            {"held", c.held ? jsonOf(*c.held) : Json()},
            {"difference", nameOf(c.why)}};
}

Json jsonOf(const Uncertainty& found)
{
    Json inputs = Json::array();
    for (const Contribution& c : found.contributions) {
        inputs.push_back(jsonOf(c));
    }
    return {{"mode", found.mode},
            {"model", ModelText(ModelOf(found.mode))},
            {"position_mm", found.pose.position},
            {"base", found.pose.base},
            {"law", {{"standard", jsonOf(found.law)}, {"expanded", jsonOf(expanded(found.law))}}},
            {"monte_carlo", jsonOf(found.trials)},
            {"inputs", inputs},
            {"not_inputs", found.notInputs},
            {"believe", nameOf(found.believe)},
            {"cause", found.cause ? Json(*found.cause) : Json()},
            {"verdict", verdictOf(found)}};
}

} // namespace

std::string uncertaintyTable(const Uncertainty& found, const MonteCarloPlan& plan)
{
    const Vec3& P = found.pose.position;
    const Trials& trials = found.trials;
    std::string text = fmt::format("mount mode {}, {}: target point at {:g}, {:g}, {:g} mm\n"
                                   "turn of the base about the tracker's x, y and z, and its angle, arc-seconds\n"
                                   "  {:<35} {:>10} {:>10} {:>10} {:>10}\n",
                                   found.mode, ModelText(ModelOf(found.mode)), P[0], P[1], P[2], "", "about x",
                                   "about y", "about z", "angle");
    text += rowOf("law of propagation", "standard", found.law, 1.0);
    text += rowOf("", "expanded, k = 2", found.law, kCoverage);
    text += rowOf("Monte Carlo", "standard", trials.standard, 1.0);
    text += rowOf("", "  +-", trials.own, 1.0);
    text += rowOf("", "expanded, k = 2", trials.standard, kCoverage);
    text +=
        fmt::format("{} trials, each input alone {}: {:.1f} % turn by no more than the expanded angle, 95 % by no more "
                    "than {:.4g}\n",
                    trials.count, plan.alone(), 100.0 * trials.withinExpanded, trials.ninetyFivePercent);
    if (trials.without > 0) {
        text += fmt::format("{:.2g} % of the trials have no matrix and are left out of all figures\n",
                            100.0 * static_cast<double>(trials.without) / static_cast<double>(trials.count));
    }
    if (trials.far > 0) {
        text += fmt::format("{:.2g} % of the trials turn by more than {:g} times that, by up to {:.3g}\n",
                            100.0 * static_cast<double>(trials.far) / static_cast<double>(trials.count), kFar,
                            trials.farthest);
    }
    if (isOneSided(trials)) {
        text += fmt::format("on average the trials are turned by {:.3g}, {:.3g}, {:.3g}: add this, because no standard "
                            "uncertainty contains it\n",
                            trials.mean[0], trials.mean[1], trials.mean[2]);
    }
    text += verdictOf(found) + "\n";
    if (!found.contributions.empty()) {
        text += fmt::format("  {:<29} {:<8} {:>8} {:<10} {:>10} {:>7} {:>11} {:>8} {:>7}\n", "input", "", "standard",
                            "unit", "law", "share", "Monte Carlo", "+-", "share");
    }
    for (const Contribution& c : found.contributions) {
        text += fmt::format("{} {:<29} {:<8} {:>8.4g} {:<10} {:>10.4g} {:>5.1f} % {:>11.4g} {:>8.2g} {:>5.1f} %\n",
                            c.why == Discrepancy::none ? " " : "*", c.input, kindOf(c), c.stated, c.unit, c.law.angle,
                            100.0 * c.lawShare, c.alone.standard.angle, c.alone.own.angle, 100.0 * c.aloneShare);
    }
    for (std::size_t i = 0; i < found.notInputs.size(); ++i) {
        text += (i == 0 ? "not inputs of this mount mode: " : ", ") + found.notInputs[i] +
                (i + 1 == found.notInputs.size() ? "\n" : "");
    }
    return text;
}

std::string uncertaintyJson(const std::vector<Uncertainty>& found, const MonteCarloPlan& plan)
{
    Json modes = Json::array();
    for (const Uncertainty& one : found) {
        modes.push_back(jsonOf(one));
    }
    const Json all = {
        {"unit", "arc-seconds"},
        {"coverage_factor", kCoverage},
        {"agreement", {{"share", kAgreement}, {"own_uncertainties", kDoubt}, {"axis_share_of_angle", kSmallAxis}}},
        {"seed", plan.seed},
        {"trials", plan.trials},
        {"law", "JCGM 100:2008, 5.1.2; JCGM 102:2011, 6.2"},
        {"monte_carlo", "JCGM 101:2008, 7 and annex B"},
        {"modes", modes}};
    return all.dump(2) + "\n";
}

} // namespace kor::tool
