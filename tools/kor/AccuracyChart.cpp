#include "tools/kor/AccuracyChart.h"

#include <algorithm>
#include <cmath>
#include <string>

#include <fmt/format.h>

#include "KORInterface/Session.h"

#include "accuracy/Statistics.h"

namespace kor::tool {

using namespace accuracy;

namespace {

// Arc-seconds: an input that turns the base by less has no row.
constexpr double kLeastTurn = 1e-3;

std::string panelTitle(int mode)
{
    return fmt::format("mount mode {}, {}", mode, ModelText(ModelOf(mode)));
}

std::string nameOf(const std::string& group, const std::string& input)
{
    return group == "position" ? "position " + input : input;
}

} // namespace

BarChart chartOf(const std::vector<Finding>& findings)
{
    BarChart chart;
    chart.title = "Orientation errors of known poses";
    chart.note = "* errors that the formulas themselves cause";
    chart.axis = "error, arc-seconds";
    chart.series = {"median", "99.9 %", "worst"};
    chart.limits = "bound of the worst";
    int mode = 0;
    for (const Finding& f : findings) {
        if (f.mode != mode) {
            mode = f.mode;
            chart.panels.push_back({panelTitle(mode), {}});
        }
        std::string name = std::string(f.stratum.name) + (f.stratum.inherent.empty() ? "" : " *");
        if (!f.exceeded().empty()) {
            name.insert(0, "BEYOND ITS BOUND: ");
        }
        chart.panels.back().rows.push_back(
            {name,
             {f.median * kArcSecondsOfDegree, f.high * kArcSecondsOfDegree, f.worst * kArcSecondsOfDegree},
             f.stratum.bounds.worst * kArcSecondsOfDegree});
    }
    return chart;
}

BarChart chartOf(const std::vector<Budget>& budgets)
{
    BarChart chart;
    chart.title = "How far the base turns when one input changes by its unit";
    chart.note = fmt::format("inputs that turn it by less than {:g} arc-seconds are left out", kLeastTurn);
    chart.axis = "turn, arc-seconds per unit of the input";
    chart.least = kLeastTurn;
    chart.series = {"about x", "about y", "about z"};
    for (const Budget& budget : budgets) {
        BarPanel panel{panelTitle(budget.mode), {}};
        for (const Sensitivity& s : budget.inputs) {
            if (simulation::length(s.turn) >= kLeastTurn) {
                panel.rows.push_back({nameOf(s.group, s.input) + (s.unit == "1" ? "" : ", per " + s.unit),
                                      {std::fabs(s.turn[0]), std::fabs(s.turn[1]), std::fabs(s.turn[2])}});
            }
        }
        chart.panels.push_back(std::move(panel));
    }
    return chart;
}

BarChart chartOf(const std::vector<Uncertainty>& found)
{
    BarChart chart;
    chart.title = "Standard uncertainty of the orientation, and what each input contributes";
    chart.note =
        fmt::format("angle of the turn; * law and Monte Carlo differ; below {:g} arc-seconds left out", kLeastTurn);
    chart.axis = "standard uncertainty, arc-seconds";
    chart.least = kLeastTurn;
    chart.series = {"law of propagation", "Monte Carlo"};
    for (const Uncertainty& one : found) {
        BarPanel panel{panelTitle(one.mode), {}};
        panel.rows.push_back({one.believe == Believe::either ? "all together" : "all together *",
                              {one.law.angle, one.trials.standard.angle}});
        for (const Contribution& c : one.contributions) {
            if (std::max(c.law.angle, c.alone.standard.angle) >= kLeastTurn) {
                panel.rows.push_back({fmt::format("{}, {}{}", nameOf(c.group, c.input), c.noise ? "noise" : "constant",
                                                  c.why == Discrepancy::none ? "" : " *"),
                                      {c.law.angle, c.alone.standard.angle}});
            }
        }
        chart.panels.push_back(std::move(panel));
    }
    return chart;
}

} // namespace kor::tool
