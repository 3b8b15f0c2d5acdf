#include "tools/kor/PlotPanels.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

namespace kor::tool {

namespace {

using series::Kind;

// Columns that are looked at together.
struct Group {
    Kind kind;
    std::string_view title;
    std::vector<std::string_view> columns;
    bool usual = true; // drawn unless others are asked for
};

const std::vector<Group>& groups()
{
    static const std::vector<Group> all = {
        {Kind::results, "orientation", {"orientationX_deg", "orientationY_deg", "orientationZ_deg"}},
        {Kind::results, "axis angles", {"azimuth_deg", "elevation_deg"}},
        {Kind::results, "levels", {"levelX_deg", "levelY_deg"}},
        {Kind::results, "temperatures", {"temperature_0", "temperature_1", "temperature_2"}},
        {Kind::results, "sensor out", {"sensorOutX_mm", "sensorOutY_mm", "sensorOutZ_mm"}, false},
        {Kind::results, "matrix", {"m00", "m01", "m02", "m10", "m11", "m12", "m20", "m21", "m22"}, false},
        {Kind::results, "out of table", {"levelX_out", "levelY_out"}, false},
        {Kind::recording, "axis angles", {"azimuthRaw", "elevationRaw"}},
        {Kind::recording, "levels, raw", {"levelXRaw", "levelYRaw"}},
        {Kind::recording, "level temperature", {"levelTemperature"}},
        {Kind::recording, "temperature counts", {"temperatureCount_0", "temperatureCount_1", "temperatureCount_2"}},
        {Kind::recording, "sensor vector", {"sensorVector_x", "sensorVector_y", "sensorVector_z"}, false},
        {Kind::truth, "position", {"position_x", "position_y", "position_z"}},
        {Kind::truth, "base x axis", {"R_00", "R_10", "R_20"}},
        {Kind::truth, "base y axis", {"R_01", "R_11", "R_21"}},
        {Kind::truth, "base z axis", {"R_02", "R_12", "R_22"}},
        {Kind::truth,
         "result",
         {"result_00", "result_01", "result_02", "result_10", "result_11", "result_12", "result_20", "result_21",
          "result_22"},
         false},
    };
    return all;
}

// The title of the panel that a column belongs to: that of its group, or its own name.
std::string_view titleOf(Kind kind, std::string_view column)
{
    for (const Group& group : groups()) {
        if (group.kind == kind &&
            std::find(group.columns.begin(), group.columns.end(), column) != group.columns.end()) {
            return group.title;
        }
    }
    return column;
}

Panel& panelFor(std::vector<Panel>& panels, std::string_view title, const std::string& unit)
{
    const auto at = std::find_if(panels.begin(), panels.end(), [&](const Panel& panel) {
        return panel.title == title && panel.unit == unit && !panel.showsErrors;
    });
    if (at != panels.end()) {
        return *at;
    }
    panels.push_back({std::string(title), unit, {}});
    return panels.back();
}

// All of the error in the order of the columns, the angle apart from its parts.
void addErrors(std::vector<Panel>& panels, const std::deque<PlottedRun>& runs)
{
    Panel angle = {"error", "arcsec", {}, true};
    Panel parts = {"error about", "arcsec", {}, true};
    for (const PlottedRun& run : runs) {
        for (const series::Column& column : run.errors) {
            Panel& panel = &column == &run.errors.front() ? angle : parts;
            panel.lines.push_back({&run, &column, column.name});
        }
    }
    if (!angle.lines.empty()) {
        panels.push_back(std::move(angle));
        panels.push_back(std::move(parts));
    }
}

} // namespace

std::vector<std::string> usualColumns(Kind kind)
{
    std::vector<std::string> names;
    for (const Group& group : groups()) {
        if (group.kind == kind && group.usual) {
            names.insert(names.end(), group.columns.begin(), group.columns.end());
        }
    }
    return names;
}

std::vector<Panel> panelsOf(const std::deque<PlottedRun>& runs, const std::vector<std::string>& columns)
{
    std::vector<Panel> panels;
    for (const PlottedRun& run : runs) {
        for (const std::string& name : columns.empty() ? usualColumns(run.rows.kind) : columns) {
            if (const series::Column* const column = run.rows.column(name)) {
                panelFor(panels, titleOf(run.rows.kind, name), column->unit).lines.push_back({&run, column, name});
            }
        }
    }
    addErrors(panels, runs);
    return panels;
}

bool alignTimes(std::deque<PlottedRun>& runs)
{
    struct Span {
        std::int64_t first;
        std::int64_t last;
    };
    std::vector<Span> spans;
    for (const PlottedRun& run : runs) {
        const auto [least, most] = std::minmax_element(run.rows.times.begin(), run.rows.times.end());
        spans.push_back({*least, *most});
    }
    // Where each run begins on the clock of the first one, which may have wrapped in between.
    std::vector<std::int64_t> begins;
    bool share = true;
    for (const Span& span : spans) {
        const auto step = static_cast<std::int32_t>(static_cast<std::uint32_t>(span.first) -
                                                    static_cast<std::uint32_t>(spans.front().first));
        begins.push_back(step);
        share = share && step <= spans.front().last - spans.front().first && -step <= span.last - span.first;
    }
    const std::int64_t earliest = *std::min_element(begins.begin(), begins.end());
    for (std::size_t i = 0; i < runs.size(); ++i) {
        runs[i].origin = spans[i].first - (share ? begins[i] - earliest : 0);
    }
    return share;
}

} // namespace kor::tool
