#include "tools/kor/ReportContent.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "KORInterface/Session.h"

#include "accuracy/Statistics.h"
#include "platform/Files.h"
#include "platform/Text.h"
#include "recordings/Columns.h"
#include "simulation/Rotation.h"
#include "tools/kor/CompareReport.h"
#include "tools/kor/Message.h"
#include "tools/kor/PrmView.h"
#include "tools/kor/ReportPage.h"
#include "tools/kor/ReportWords.h"

namespace kor::tool {

namespace {

using Json = nlohmann::ordered_json;
using platform::printable;
using series::Kind;
using series::Series;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr std::string_view kErrorColumn = "error against the truth";

// Points of the first picture, as many as a wide chart has pixels.
constexpr std::size_t kOverviewPoints = 1500;
// Rows that the slider reaches beside those that findings name: a matrix takes 72 bytes that no packing makes fewer.
constexpr std::size_t kMostPoses = 6000;
// Stretches and gaps that are listed and drawn; all of them are counted.
constexpr std::size_t kMostListed = 2000;

struct Chart {
    const char* title;
    const char* unit;
    std::vector<std::string_view> columns;
};

// The charts of each kind of file, from top to bottom. Columns that a file does not have are left out.
const std::vector<Chart>& chartsOf(Kind kind)
{
    static const std::vector<Chart> results = {
        {"Error against the truth", "arcsec", {kErrorColumn}},
        {"Orientation angles", "degrees", {"orientationX_deg", "orientationZ_deg", "orientationY_deg"}},
        {"Azimuth", "degrees", {"azimuth_deg"}},
        {"Elevation", "degrees", {"elevation_deg"}},
        {"Levels", "degrees", {"levelX_deg", "levelY_deg"}},
        {"Sensor output", "mm", {"sensorOutX_mm", "sensorOutY_mm", "sensorOutZ_mm"}},
        {"Temperatures", "", {"temperature_0", "temperature_1", "temperature_2"}},
    };
    static const std::vector<Chart> recording = {
        {"Azimuth before calibration", "degrees", {"azimuthRaw"}},
        {"Elevation before calibration", "degrees", {"elevationRaw"}},
        {"Level readings", "", {"levelXRaw", "levelYRaw"}},
        {"Target point", "mm", {"sensorVector_x", "sensorVector_y", "sensorVector_z"}},
        {"Level temperature", "", {"levelTemperature"}},
        {"Temperature counts", "", {"temperatureCount_0", "temperatureCount_1", "temperatureCount_2"}},
        {"Status, gate and hold of the reference", "", {"status", "referenceGate", "referenceHold"}},
    };
    static const std::vector<Chart> truth = {
        {"Error against the other truth", "arcsec", {kErrorColumn}},
        {"Target point", "mm", {"position_x", "position_y", "position_z"}},
        {"Base x axis, tracker frame", "", {"R_00", "R_10", "R_20"}},
        {"Base y axis, tracker frame", "", {"R_01", "R_11", "R_21"}},
        {"Base z axis, tracker frame", "", {"R_02", "R_12", "R_22"}},
    };
    return kind == Kind::results ? results : kind == Kind::truth ? truth : recording;
}

// How the elements of the drawn matrix are named in a file, without the row and the column.
std::string matrixPrefix(Kind kind)
{
    return kind == Kind::results ? "m" : "R_";
}

bool isMatrixElement(std::string_view name)
{
    for (const std::string_view prefix : {"m", "R_", "result_"}) {
        if (name.size() == prefix.size() + 2 && name.starts_with(prefix) && name[prefix.size()] >= '0' &&
            name[prefix.size()] <= '2') {
            return true;
        }
    }
    return false;
}

// What an outcome, a note or a status means for the orientation of its row.
std::string meaningOf(Kind kind, std::string_view label)
{
    static const std::vector<std::pair<std::string_view, const char*>> results = {
        {"ok", "The orientation of this row is the sensor's."},
        {"before_reference",
         "No orientation: no reference had been captured, the angles are 0 and the matrix the identity."},
        {"rejected_status", "No orientation: the status is not 2, the angles are 0 and the matrix the identity."},
        {"not_finite", "No orientation: the matrix holds nan or an infinity."},
        {"no_matrix_both_levels_out",
         "No orientation: both levels are outside their tables, the matrix is the identity."},
        {"no_matrix_filters_filling", "No orientation: the filters do not hold enough samples yet."},
        {"no_matrix_no_solution",
         "No orientation: the model's equations have no solution, the matrix is the identity."},
        {"no_matrix_no_model", "No orientation: the engine has no model, the matrix is the identity."},
        {"spoiled", "No orientation: an earlier sample is the reason that the matrix is not finite."},
    };
    if (kind == Kind::results) {
        for (const auto& [name, text] : results) {
            if (name == label) {
                return text;
            }
        }
    }
    return "";
}

// A value for JSON, which has no nan.
Json finite(double value)
{
    return std::isfinite(value) ? Json(value) : Json();
}

// A stretch of rows with the same label, none of them usable.
struct Stretch {
    std::size_t first;
    std::size_t last;
    bool known; // every recording begins so: before the reference, and while filters fill for the first time
};

class Report {
public:
    explicit Report(const ReportSources& sources)
        : m_sources(sources), m_rows(sources.rows), m_count(sources.rows.rows())
    {
        findTimes();
        findStretches();
        findErrors();
        chooseCharts();
    }

    std::string page()
    {
        PageData data;
        Json manifest = {{"title", title()}, {"rows", m_count}};
        manifest["duration"] = m_times.back() / 1000.0;
        manifest["startRow"] = 1 + startRow();
        manifest["subtitle"] =
            fmt::format("{}, {:.3f} s, {}", plural(m_count, "row", "rows"), m_times.back() / 1000.0, kindText());
        manifest["reference"] = m_rows.references.empty() ? Json() : at(m_rows.references.front());
        manifest["findings"] = findings();
        manifest["facts"] = facts();
        manifest["outcomes"] = outcomes();
        tellLabels(manifest);
        manifest["stretches"] = stretches();
        manifest["gaps"] = gaps();
        manifest["comparison"] = comparison();
        manifest["parameters"] = parameters();
        manifest["panels"] = m_panels;
        manifest["charted"] = charted();
        manifest["columns"] = valueColumns();
        manifest["sight"] = sight();
        const std::size_t poses = putPoses(data);
        putLevels(manifest, data, poses);
        return pageOf(std::move(manifest), data);
    }

    // Without rows: what is known of them before they come.
    LivePage livePage(const std::string& run)
    {
        Json manifest = {{"live", true}, {"run", run},      {"title", title()},
                         {"rows", 0},    {"duration", 0.0}, {"startRow", 1}};
        manifest["subtitle"] = "No rows yet";
        manifest["reference"] = nullptr;
        manifest["findings"] = Json::array();
        manifest["facts"] = facts();
        manifest["outcomes"] = Json::array();
        tellLabels(manifest);
        manifest["stretches"] = {{"list", Json::array()}, {"total", 0}, {"text", ""}};
        manifest["gaps"] = {{"list", Json::array()}, {"text", ""}};
        manifest["comparison"] = nullptr;
        manifest["parameters"] = parameters();
        manifest["panels"] = m_panels;
        manifest["charted"] = charted();
        manifest["columns"] = valueColumns();
        manifest["sight"] = sight();
        manifest["levels"] = Json::object();
        manifest["resolution"] = "";
        manifest["contents"] = "The rows come from the running kor replay and are kept by this page alone.";
        LivePage page;
        for (const series::Column* column : m_values) {
            page.layout.values.push_back(recordingColumn(column->name));
        }
        for (std::size_t i = 0; i < m_charted.size(); ++i) {
            manifest["charted"][i]["needsOrientation"] = m_charted[i]->needsOrientation;
            const auto value = std::find(m_values.begin(), m_values.end(), m_charted[i]);
            page.layout.charted.push_back(
                {static_cast<std::size_t>(value - m_values.begin()), m_charted[i]->needsOrientation});
        }
        page.text = pageOf(std::move(manifest), {}, PageConnections::toItsServer);
        return page;
    }

private:
    static const recordings::Column* recordingColumn(std::string_view name)
    {
        return std::find_if(recordings::kResultColumns.begin(), recordings::kResultColumns.end(),
                            [name](const recordings::Column& column) { return column.name == name; });
    }

    std::string title() const
    {
        return printable(m_rows.path == "-" ? m_rows.title
                                            : platform::textOf(platform::pathFrom(m_rows.path).filename()));
    }

    std::string kindText() const
    {
        return m_rows.kind == Kind::results ? "results of kor replay" : series::nameOf(m_rows.kind);
    }

    // Times of the charts, milliseconds from the first row. Time never goes back on a chart: behind a backward step it
    // goes on with the usual step.
    void findTimes()
    {
        m_times.resize(m_count);
        for (std::size_t row = 1; row < m_count; ++row) {
            const std::int64_t step = m_rows.times[row] - m_rows.times[row - 1];
            m_times[row] = m_times[row - 1] + static_cast<double>(step < 0 ? m_rows.usualStep : step);
        }
    }

    void findStretches()
    {
        bool hasBegun = false; // whether a usable row has come
        for (std::size_t row = 0; row < m_count;) {
            std::size_t end = row + 1;
            while (end < m_count && m_rows.labelOf[end] == m_rows.labelOf[row]) {
                ++end;
            }
            const series::Label& label = m_rows.label(row);
            if (label.verdict == series::Verdict::usable) {
                hasBegun = true;
                m_usable += end - row;
            } else {
                const bool known = label.verdict == series::Verdict::beforeReference ||
                                   (!hasBegun && label.name == "no_matrix_filters_filling");
                m_unusable += known ? 0 : end - row;
                m_stretches.push_back({row, end - 1, known});
            }
            row = end;
        }
    }

    // The angle between each row and the truth, as kor compare has it.
    void findErrors()
    {
        if (!m_sources.truth) {
            return;
        }
        const ReportTruth& truth = *m_sources.truth;
        m_errors.assign(m_count, static_cast<float>(kNone));
        accuracy::Comparison counts;
        for (const accuracy::Pair& pair :
             accuracy::comparedRows(truth.sides.first.series, truth.sides.second.series, 0, counts)) {
            const double angle = simulation::angleBetween(truth.sides.first.series.orientations[pair.first],
                                                          truth.sides.second.series.orientations[pair.second]);
            m_errors[pair.first] = static_cast<float>(angle * accuracy::kArcSecondsOfDegree);
        }
    }

    void chooseCharts()
    {
        for (const Chart& chart : chartsOf(m_rows.kind)) {
            Json columns = Json::array();
            for (const std::string_view name : chart.columns) {
                const series::Column* const column = m_rows.column(name);
                if (column != nullptr || (name == kErrorColumn && m_sources.truth)) {
                    columns.push_back(m_charted.size());
                    m_charted.push_back(column);
                }
            }
            if (!columns.empty()) {
                m_panels.push_back({{"title", chart.title}, {"unit", chart.unit}, {"columns", columns}});
            }
        }
        for (const series::Column& column : m_rows.columns) {
            if (column.name != "timeStampMs" && column.name != "outcome" && !isMatrixElement(column.name)) {
                m_values.push_back(&column);
            }
        }
        for (std::size_t i = 0; i < m_matrix.size(); ++i) {
            const std::string place = {static_cast<char>('0' + i / 3), static_cast<char>('0' + i % 3)};
            m_matrix[i] = m_rows.column(matrixPrefix(m_rows.kind) + place);
        }
    }

    bool hasMatrix() const { return m_rows.kind != Kind::recording && m_matrix[0] != nullptr; }

    // A value as charts have it: nothing where it has no meaning.
    float chartedValue(std::size_t charted, std::size_t row) const
    {
        const series::Column* const column = m_charted[charted];
        if (column == nullptr) {
            return m_errors[row];
        }
        const double value = m_rows.isMeant(*column, m_rows.verdict(row)) ? column->at(row) : kNone;
        return static_cast<float>(std::isfinite(value) ? value : kNone);
    }

    // The first row with an orientation, which the page shows when it opens.
    std::size_t startRow() const
    {
        for (std::size_t row = 0; row < m_count; ++row) {
            if (m_rows.verdict(row) == series::Verdict::usable) {
                return row;
            }
        }
        return 0;
    }

    // A row as the page names it.
    Json at(std::size_t row) const { return {{"row", row + 1}, {"time", m_times[row] / 1000.0}}; }

    std::string place(std::size_t row) const
    {
        return fmt::format("row {} at {:.3f} s", row + 1, m_times[row] / 1000.0);
    }

    std::string share(std::size_t count) const { return tool::share(count, m_count); }

    Json findings() const
    {
        Json list = Json::array();
        const auto add = [&list](const char* level, const std::string& text) {
            list.push_back({{"level", level}, {"text", text}});
        };
        tellUse(add);
        tellReference(add);
        tellTimes(add);
        tellLevels(add);
        tellCheck(add);
        tellError(add);
        // The worst first.
        constexpr std::array<std::string_view, 4> kLevels = {"error", "warning", "note", "good"};
        const auto rank = [&kLevels](const Json& finding) {
            return std::find(kLevels.begin(), kLevels.end(), finding["level"].get<std::string>()) - kLevels.begin();
        };
        std::stable_sort(list.begin(), list.end(), [&rank](const Json& a, const Json& b) { return rank(a) < rank(b); });
        return list;
    }

    template <typename Add>
    void tellUse(const Add& add) const
    {
        const bool one = m_usable == 1;
        const char* const what = m_rows.kind == Kind::recording ? (one ? "has the status 2" : "have the status 2")
                                 : m_rows.kind == Kind::truth   ? "may be held against results"
                                 : one                          ? "holds a usable orientation"
                                                                : "hold a usable orientation";
        const std::string text =
            fmt::format("{} of {} {}, {}.", m_usable, plural(m_count, "row", "rows"), what, share(m_usable));
        if (m_usable == 0) {
            add("error", text);
        } else if (m_unusable > 0) {
            add("warning", text + unusableText(m_unusable));
        } else {
            add("good", text + (m_usable < m_count ? " The others are those that every recording begins with." : ""));
        }
        if (!m_rows.told) {
            add("warning", "The file does not say what became of its rows: it has no column outcome.");
        }
    }

    template <typename Add>
    void tellReference(const Add& add) const
    {
        if (m_rows.kind != Kind::results || !m_rows.told) {
            return;
        }
        const std::vector<std::size_t>& references = m_rows.references;
        if (references.size() == 1) {
            add("good", fmt::format("The reference was captured in {}.", place(references.front())));
        } else if (references.size() > 1) {
            add("note", fmt::format("{} references were captured, the first in {}, the last in {}.", references.size(),
                                    place(references.front()), place(references.back())));
        } else if (m_usable > 0) {
            add("note", "The reference was captured before the first row.");
        } else if (std::any_of(m_rows.labels.begin(), m_rows.labels.end(), [](const series::Label& label) {
                       return label.verdict == series::Verdict::beforeReference;
                   })) {
            add("error", "No reference was captured: all angles are 0.");
        }
    }

    template <typename Add>
    void tellTimes(const Add& add) const
    {
        if (m_count > 1 && m_rows.usualStep == 0) {
            add("warning", noGapText(0));
        }
        if (m_rows.gaps.empty()) {
            if (m_rows.usualStep > 0) {
                add("good", noGapText(m_rows.usualStep));
            }
        } else {
            const std::size_t longest =
                *std::max_element(m_rows.gaps.begin(), m_rows.gaps.end(),
                                  [this](std::size_t a, std::size_t b) { return gap(a) < gap(b); });
            add("warning",
                fmt::format("The time stamps have {}, the longest of {:.3f} s before {}.",
                            plural(m_rows.gaps.size(), "gap", "gaps"), gap(longest) / 1000.0, place(longest)));
        }
        if (!m_rows.backward.empty()) {
            add("warning", backwardText(m_rows.backward.size(), m_rows.backward.front() + 1));
        }
    }

    template <typename Add>
    void tellLevels(const Add& add) const
    {
        for (const char axis : {'X', 'Y'}) {
            const series::Column* const out = m_rows.column(fmt::format("level{}_out", axis));
            std::size_t count = 0;
            std::size_t first = 0;
            for (std::size_t row = m_count; out != nullptr && row-- > 0;) {
                if (out->at(row) != 0.0) {
                    ++count;
                    first = row;
                }
            }
            if (count > 0) {
                add("warning", levelOutText(axis, count, m_count, place(first)));
            }
        }
    }

    template <typename Add>
    void tellCheck(const Add& add) const
    {
        if (!m_sources.parameters) {
            return;
        }
        const ReportParameters& parameters = *m_sources.parameters;
        const std::uint32_t errors = parameters.check.errors();
        const std::uint32_t warnings = parameters.check.warnings();
        const std::string text =
            fmt::format("The check of the parameter file finds {} and {}", plural(errors, "error", "errors"),
                        plural(warnings, "warning", "warnings"));
        if (!parameters.content) {
            add("error", text + "; the library refuses the file.");
        } else {
            add(errors > 0 ? "error" : warnings > 0 ? "warning" : "good", text + ".");
        }
    }

    template <typename Add>
    void tellError(const Add& add) const
    {
        if (!m_sources.truth) {
            return;
        }
        const accuracy::Difference& error = m_sources.truth->found.orientation;
        if (error.spread.count == 0) {
            add("error", "No row can be compared with the truth.");
            return;
        }
        add("note", fmt::format("Error against the truth over {}: {}.", plural(error.spread.count, "row", "rows"),
                                errorFigures()));
    }

    std::string errorFigures() const
    {
        const accuracy::Difference& error = m_sources.truth->found.orientation;
        return fmt::format("median {} arcsec, 99.9 % at most {} arcsec, worst {} arcsec in {}",
                           arcSeconds(error.spread.median), arcSeconds(error.spread.high),
                           arcSeconds(error.spread.worst), place(error.worst.first));
    }

    static std::string arcSeconds(double degrees)
    {
        return fmt::format("{:.3g}", degrees * accuracy::kArcSecondsOfDegree);
    }

    double gap(std::size_t row) const { return row == 0 ? 0.0 : m_times[row] - m_times[row - 1]; }

    Json facts() const
    {
        Json list = Json::array();
        const auto add = [&list](const char* name, const std::string& value, bool code = false) {
            list.push_back({{"name", name}, {"value", value}, {"code", code}});
        };
        add("File", printable(m_rows.path));
        add("Content", kindText());
        if (m_count > 0) {
            add("Time stamps", fmt::format("{} to {} ms, usual step {} ms", m_rows.stamps.front(), m_rows.stamps.back(),
                                           m_rows.usualStep));
        }
        if (const auto& parameters = m_sources.parameters; parameters) {
            add("Parameter file", printable(parameters->path));
            if (parameters->content) {
                add("Sensor", std::to_string(parameters->content->id()));
                add("Model and mode",
                    fmt::format("{}, mount mode {}", ModelText(ModelOf(parameters->mode)), parameters->mode));
            }
        } else if (m_rows.kind != Kind::truth) {
            add("Model and mode", "not known: --prm and --id name the parameter file");
        }
        if (m_sources.truth) {
            add("Truth", printable(m_sources.truth->sides.second.path));
        }
        add("Made by", "kor " + m_sources.version);
        add("Command line", printable(m_sources.commandLine), true);
        return list;
    }

    // How many rows have each label, the usable ones first.
    Json outcomes() const
    {
        struct Place {
            std::size_t count = 0;
            std::size_t first = 0;
            std::size_t last = 0;
        };
        std::vector<Place> places(m_rows.labels.size());
        for (std::size_t row = 0; row < m_count; ++row) {
            Place& found = places[m_rows.labelOf[row]];
            found.first = found.count == 0 ? row : found.first;
            found.last = row;
            ++found.count;
        }
        Json list = Json::array();
        for (std::size_t i = 0; i < places.size(); ++i) {
            const Place& found = places[i];
            if (found.count > 0) {
                list.push_back({{"name", labelText(i)},
                                {"count", found.count},
                                {"share", share(found.count)},
                                {"first", found.first + 1},
                                {"last", found.last + 1}});
            }
        }
        return list;
    }

    std::string labelText(std::size_t label) const { return printable(m_rows.labels[label].name); }

    void tellLabels(Json& manifest) const
    {
        manifest["labels"] = Json::array();
        for (std::size_t i = 0; i < m_rows.labels.size(); ++i) {
            const series::Label& label = m_rows.labels[i];
            // A truth knows the orientation of samples that are not held against it, too.
            const bool oriented = label.verdict == series::Verdict::usable || m_rows.kind == Kind::truth;
            manifest["labels"].push_back(
                {{"name", labelText(i)}, {"text", meaningOf(m_rows.kind, label.name)}, {"oriented", oriented}});
        }
    }

    // The longest ones if there are too many, in the order of the file.
    template <typename Item, typename Length>
    static std::vector<Item> mostOf(std::vector<Item> items, const Length& length)
    {
        if (items.size() > kMostListed) {
            std::vector<std::size_t> order(items.size());
            for (std::size_t i = 0; i < order.size(); ++i) {
                order[i] = i;
            }
            std::stable_sort(order.begin(), order.end(),
                             [&](std::size_t a, std::size_t b) { return length(items[a]) > length(items[b]); });
            order.resize(kMostListed);
            std::sort(order.begin(), order.end());
            std::vector<Item> kept;
            kept.reserve(order.size());
            for (const std::size_t i : order) {
                kept.push_back(items[i]);
            }
            return kept;
        }
        return items;
    }

    static std::string listedText(std::size_t all, const char* what)
    {
        return all > kMostListed ? fmt::format(" Listed and drawn are the {} longest of {} {}.", kMostListed, all, what)
                                 : std::string();
    }

    std::vector<Stretch> listedStretches() const
    {
        return mostOf(m_stretches, [](const Stretch& stretch) { return stretch.last - stretch.first; });
    }

    Json stretches() const
    {
        Json list = Json::array();
        for (const Stretch& stretch : listedStretches()) {
            list.push_back({{"outcome", labelText(m_rows.labelOf[stretch.first])},
                            {"first", stretch.first + 1},
                            {"last", stretch.last + 1},
                            {"from", m_times[stretch.first] / 1000.0},
                            {"to", m_times[stretch.last] / 1000.0},
                            {"known", stretch.known}});
        }
        const std::string text =
            stretchesText(m_count - m_usable, m_count, m_stretches.size(), listedText(m_stretches.size(), "stretches"));
        return {{"list", list}, {"total", m_stretches.size()}, {"text", text}};
    }

    Json gaps() const
    {
        Json list = Json::array();
        for (const std::size_t row : mostOf(m_rows.gaps, [this](std::size_t each) { return gap(each); })) {
            list.push_back({{"row", row + 1}, {"time", m_times[row] / 1000.0}, {"length", gap(row) / 1000.0}});
        }
        return {
            {"list", list},
            {"text", fmt::format("{} between two time stamps longer than one and a half times the usual step and "
                                 "1 ms.{}",
                                 plural(m_rows.gaps.size(), "step", "steps"), listedText(m_rows.gaps.size(), "gaps"))}};
    }

    Json comparison() const
    {
        if (!m_sources.truth) {
            return nullptr;
        }
        const ReportTruth& truth = *m_sources.truth;
        const accuracy::Spread& spread = truth.found.orientation.spread;
        Json json = {{"table", Json::array()},
                     {"median", finite(spread.median)},
                     {"p999", finite(spread.high)},
                     {"largest", finite(spread.worst)}};
        const std::string table = comparisonTable(truth.sides, truth.found);
        for (const std::string_view line : platform::split(table, '\n')) {
            json["table"].push_back(printable(line));
        }
        if (spread.count == 0) {
            json["text"] = "No row of the file can be compared with the truth; the table says why.";
            json["histogram"] = nullptr;
            return json;
        }
        json["text"] = fmt::format("Angle of the rotation between the orientation of a row and the true one, as kor "
                                   "compare tells it, over {}: {}.",
                                   plural(spread.count, "row", "rows"), errorFigures());
        json["histogram"] = histogram(spread);
        return json;
    }

    // Bars from 0 to the worst error; if that lies far out, to a little beyond 99.9 %.
    Json histogram(const accuracy::Spread& spread) const
    {
        constexpr std::size_t kBars = 60;
        const double scale = accuracy::kArcSecondsOfDegree;
        const double end =
            (spread.worst > 3.0 * spread.high && spread.high > 0.0 ? 1.3 * spread.high : spread.worst) * scale;
        std::vector<double> edges;
        for (std::size_t i = 0; i <= kBars; ++i) {
            edges.push_back(end * static_cast<double>(i) / static_cast<double>(kBars));
        }
        std::vector<std::size_t> counts(kBars);
        std::size_t beyond = 0;
        for (const float error : m_errors) {
            if (!(error >= 0.0f)) {
                continue;
            }
            const double bar = end > 0.0 ? static_cast<double>(error) / end * static_cast<double>(kBars) : 0.0;
            // The worst error itself belongs to the last bar, however single precision has rounded it.
            if (bar <= static_cast<double>(kBars) * (1.0 + 1e-6)) {
                ++counts[std::min(kBars - 1, static_cast<std::size_t>(bar))];
            } else {
                ++beyond;
            }
        }
        Json marks = Json::array();
        for (const auto& [name, value] :
             {std::pair("median", spread.median), std::pair("99.9 %", spread.high), std::pair("worst", spread.worst)}) {
            marks.push_back({{"name", name}, {"value", value * scale}, {"text", arcSeconds(value) + " arcsec"}});
        }
        std::string caption = "Rows by the size of their error.";
        if (beyond > 0) {
            caption +=
                fmt::format(" {} beyond the right end, up to {} arcsec.",
                            beyond == 1 ? "1 row lies" : fmt::format("{} rows lie", beyond), arcSeconds(spread.worst));
        }
        return {{"edges", edges}, {"counts", counts}, {"marks", marks}, {"unit", "arcsec"}, {"caption", caption}};
    }

    static const char* levelOf(CheckSeverity severity)
    {
        return severity == CheckSeverity::error ? "error" : severity == CheckSeverity::warning ? "warning" : "note";
    }

    Json parameters() const
    {
        if (!m_sources.parameters) {
            return nullptr;
        }
        const ReportParameters& parameters = *m_sources.parameters;
        Json check = Json::array();
        for (std::uint32_t i = 0; i < parameters.check.findings(); ++i) {
            const CheckFinding finding = parameters.check.finding(i);
            check.push_back(
                {{"level", levelOf(finding.severity)}, {"text", fmt::format("{} [{}]", finding.text, finding.rule)}});
        }
        if (check.empty()) {
            check.push_back({{"level", "good"}, {"text", "The check finds nothing."}});
        }
        Json lines = Json::array();
        std::string text =
            fmt::format("{}: the library refuses this file, so its blocks are not shown.", printable(parameters.path));
        if (parameters.content) {
            const PrmView view = viewOf(*parameters.content, false);
            for (const PrmLine& line : view.lines) {
                lines.push_back({{"line", line.title.empty() ? 0 : line.line},
                                 {"title", printable(line.title)},
                                 {"content", printable(line.content)}});
            }
            text = fmt::format("{}, as kor prm show prints it.{}", printable(parameters.path),
                               view.leftOut.empty() ? std::string()
                                                    : fmt::format(" Not read in mount mode {}: {}.",
                                                                  parameters.content->mode(), view.leftOut));
        }
        return {{"text", text}, {"check", check}, {"lines", lines}};
    }

    Json charted() const
    {
        Json list = Json::array();
        for (std::size_t i = 0; i < m_charted.size(); ++i) {
            double least = kNone;
            double most = kNone;
            for (std::size_t row = 0; row < m_count; ++row) {
                const auto value = static_cast<double>(chartedValue(i, row));
                least = value >= least ? least : std::isnan(value) ? least : value;
                most = value <= most ? most : std::isnan(value) ? most : value;
            }
            const auto column = std::find(m_values.begin(), m_values.end(), m_charted[i]);
            list.push_back({{"name", m_charted[i] == nullptr ? std::string(kErrorColumn) : m_charted[i]->name},
                            {"column", column - m_values.begin()}, // the errors stand behind the file's own

                            {"least", finite(least)},
                            {"most", finite(most)}});
        }
        return list;
    }

    Json valueColumns() const
    {
        Json list = Json::array();
        for (const series::Column* column : m_values) {
            list.push_back({{"name", column->name}, {"unit", column->unit}, {"single", column->doubles.empty()}});
        }
        if (m_sources.truth) {
            list.push_back({{"name", kErrorColumn}, {"unit", "arcsec"}, {"single", true}});
        }
        return list;
    }

    // How the line of sight follows from a row; nothing if there is no orientation to be drawn.
    Json sight() const
    {
        if (!hasMatrix()) {
            return nullptr;
        }
        const auto columnOf = [this](std::string_view name) -> Json {
            const auto found = std::find_if(m_values.begin(), m_values.end(),
                                            [name](const series::Column* column) { return column->name == name; });
            return found == m_values.end() ? Json() : Json(found - m_values.begin());
        };
        constexpr std::string_view kNotToScale = " Distances are not to scale.";
        Json json = {{"forward", "x"},
                     {"sign", 1},
                     {"frame", "tracker"},
                     {"machine", nullptr},
                     {"position", nullptr},
                     {"azimuthColumn", nullptr},
                     {"elevationColumn", nullptr},
                     {"azimuthOffset", 0.0},
                     {"elevationOffset", 0.0}};
        if (m_rows.kind == Kind::truth) {
            json["position"] = {columnOf("position_x"), columnOf("position_y"), columnOf("position_z")};
            json["note"] =
                fmt::format("The base stands as the row has it in the tracker frame, and the line of sight leads "
                            "from the tracker to the target point.{}",
                            kNotToScale);
            return json;
        }
        json["azimuthColumn"] = columnOf("azimuth_deg");
        json["elevationColumn"] = columnOf("elevation_deg");
        const auto& parameters = m_sources.parameters;
        if (!parameters || !parameters->content) {
            json["frame"] = "unknown";
            json["note"] =
                fmt::format("The base stands as the matrix of the row has it. Without a parameter file (--prm, "
                            "--id) the tracker's axes are not known, the encoder offsets are taken for 0, and "
                            "the sight at azimuth 0 for the base's x axis.{}",
                            kNotToScale);
            return json;
        }
        const std::vector<PrmNumber>& offsets = parameters->content->at("Angle Offset").values;
        for (std::size_t i = 0; i < offsets.size() && i < 2; ++i) {
            json[i == 0 ? "azimuthOffset" : "elevationOffset"] = finite(static_cast<double>(offsets[i].value_or(0.0f)));
        }
        json["forward"] = parameters->mode >= 5 ? "y" : "x"; // where the sensor looks at azimuth 0
        json["sign"] = parameters->mode == 3 ? -1 : 1;
        std::string frame = "in the tracker frame";
        if (parameters->mode < kFirstLongMode) {
            // From machine coordinates to the tracker frame: the engine multiplies by the inverse.
            json["machine"] = Json::array();
            for (const PrmNumber& element : parameters->content->at("Machine Coordinate Tranform Matrix").values) {
                json["machine"].push_back(finite(static_cast<double>(element.value_or(0.0f))));
            }
            json["frame"] = "machine";
            json["position"] = {columnOf("sensorOutX_mm"), columnOf("sensorOutY_mm"), columnOf("sensorOutZ_mm")};
            frame = "in machine coordinates, which the parameter file leads to the tracker frame";
        }
        json["note"] =
            fmt::format("The base stands as the matrix of the row has it, {}. The stage stands as azimuth and "
                        "elevation less the encoder offsets have it, without the model's small corrections, and "
                        "the line of sight is the stage's.{}",
                        frame, kNotToScale);
        return json;
    }

    // Rows that the slider reaches: as many in even steps as there is room for, and all that findings name.
    std::vector<std::size_t> poseRows() const
    {
        std::vector<std::size_t> rows;
        const std::size_t step = (m_count + kMostPoses - 1) / kMostPoses;
        for (std::size_t row = 0; row < m_count; row += step) {
            rows.push_back(row);
        }
        rows.push_back(m_count - 1);
        rows.push_back(startRow());
        for (const Stretch& stretch : listedStretches()) {
            rows.push_back(stretch.first);
        }
        for (const std::vector<std::size_t>* list : {&m_rows.references, &m_rows.gaps, &m_rows.backward}) {
            rows.insert(rows.end(), list->begin(),
                        list->begin() + static_cast<std::ptrdiff_t>(std::min(list->size(), kMostListed)));
        }
        for (const Json& outcome : outcomes()) {
            rows.push_back(outcome["first"].get<std::size_t>() - 1);
            rows.push_back(outcome["last"].get<std::size_t>() - 1);
        }
        if (m_sources.truth && m_sources.truth->found.compared > 0) {
            rows.push_back(m_sources.truth->found.orientation.worst.first);
        }
        std::sort(rows.begin(), rows.end());
        rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
        return rows;
    }

    // Returned  result  how many there are
    std::size_t putPoses(PageData& data) const
    {
        const std::vector<std::size_t> rows = poseRows();
        std::vector<std::uint32_t> numbers;
        std::vector<std::uint32_t> stamps;
        std::vector<double> times;
        std::vector<std::uint8_t> labels;
        std::vector<double> matrices;
        for (const std::size_t row : rows) {
            numbers.push_back(static_cast<std::uint32_t>(row + 1));
            stamps.push_back(m_rows.stamps[row]);
            times.push_back(m_times[row]);
            labels.push_back(m_rows.labelOf[row]);
            for (std::size_t i = 0; hasMatrix() && i < m_matrix.size(); ++i) {
                matrices.push_back(m_matrix[i]->at(row));
            }
        }
        std::vector<double> values;
        for (const series::Column* column : m_values) {
            for (const std::size_t row : rows) {
                values.push_back(column->at(row));
            }
        }
        if (m_sources.truth) {
            for (const std::size_t row : rows) {
                values.push_back(static_cast<double>(m_errors[row]));
            }
        }
        data.more.push_back(packed("pose-rows", std::span<const std::uint32_t>(numbers)));
        data.more.push_back(packed("pose-stamps", std::span<const std::uint32_t>(stamps)));
        data.more.push_back(packed("pose-times", std::span<const double>(times)));
        data.more.push_back(packed("pose-labels", std::span<const std::uint8_t>(labels)));
        data.more.push_back(packed("pose-matrices", std::span<const double>(matrices)));
        data.more.push_back(packed("pose-values", std::span<const double>(values)));
        return rows.size();
    }

    // The blocks of one level of detail.
    std::vector<PageBlock> level(const std::string& name, std::size_t rowsPerPoint) const
    {
        const std::size_t points = (m_count + rowsPerPoint - 1) / rowsPerPoint;
        std::vector<double> times;
        std::vector<float> lows;
        std::vector<float> highs;
        for (std::size_t row = 0; row < m_count; row += rowsPerPoint) {
            times.push_back(m_times[row]);
        }
        lows.reserve(points * m_charted.size());
        for (std::size_t i = 0; i < m_charted.size(); ++i) {
            for (std::size_t row = 0; row < m_count; row += rowsPerPoint) {
                float low = static_cast<float>(kNone);
                float high = low;
                for (std::size_t j = row; j < std::min(m_count, row + rowsPerPoint); ++j) {
                    const float value = chartedValue(i, j);
                    low = value >= low || std::isnan(value) ? low : value;
                    high = value <= high || std::isnan(value) ? high : value;
                }
                lows.push_back(low);
                if (rowsPerPoint > 1) {
                    highs.push_back(high);
                }
            }
        }
        std::vector<PageBlock> blocks;
        if (times.back() < 4294967295.0) {
            const std::vector<std::uint32_t> whole(times.begin(), times.end());
            blocks.push_back(packed(name + "-times", std::span<const std::uint32_t>(whole)));
        } else {
            blocks.push_back(packed(name + "-times", std::span<const double>(times)));
        }
        blocks.push_back(packed(name + "-lows", std::span<const float>(lows)));
        if (rowsPerPoint > 1) {
            blocks.push_back(packed(name + "-highs", std::span<const float>(highs)));
        }
        return blocks;
    }

    static std::size_t bytesOfAll(const std::vector<PageBlock>& blocks)
    {
        std::size_t bytes = 0;
        for (const PageBlock& block : blocks) {
            bytes += bytesOf(block);
        }
        return bytes;
    }

    // An overview for the first picture, and behind it the finest level that there is room for.
    void putLevels(Json& manifest, PageData& data, std::size_t poses) const
    {
        const std::size_t overview =
            m_count <= 2 * kOverviewPoints ? 1 : (m_count + kOverviewPoints - 1) / kOverviewPoints;
        const auto put = [&manifest, this](const std::string& name, std::size_t rowsPerPoint) {
            manifest["levels"][name] = {{"rowsPerPoint", rowsPerPoint},
                                        {"points", (m_count + rowsPerPoint - 1) / rowsPerPoint}};
        };
        std::vector<PageBlock> blocks = level("overview", overview);
        data.first.insert(data.first.end(), std::make_move_iterator(blocks.begin()),
                          std::make_move_iterator(blocks.end()));
        put("overview", overview);
        std::size_t finest = overview;
        bool fits = false;
        if (overview > 1) {
            const std::size_t used =
                emptyPageBytes() + bytesOfAll(data.first) + bytesOfAll(data.more) + manifestBytes(manifest);
            const std::size_t room = used < kMostPageBytes ? kMostPageBytes - used : 0;
            // Packed, a number takes some three of its four bytes, and as base64 four again; smooth columns take less.
            const std::size_t plain = m_count * (m_charted.size() + 1) * 4;
            for (finest = plain / 4 <= room ? 1 : std::max<std::size_t>(4, plain / 2 / std::max<std::size_t>(1, room));
                 finest < overview;) {
                blocks = level("detail", finest);
                const std::size_t bytes = bytesOfAll(blocks);
                if (bytes <= room) {
                    data.more.insert(data.more.end(), std::make_move_iterator(blocks.begin()),
                                     std::make_move_iterator(blocks.end()));
                    put("detail", finest);
                    fits = true;
                    break;
                }
                // Two numbers for each point in place of one from the second level on.
                const double times = static_cast<double>(bytes) / static_cast<double>(std::max<std::size_t>(1, room));
                finest = finest == 1 ? std::max<std::size_t>(4, static_cast<std::size_t>(std::ceil(2.1 * times)))
                                     : static_cast<std::size_t>(std::ceil(1.1 * times * static_cast<double>(finest)));
            }
            finest = fits ? finest : overview;
        }
        manifest["resolution"] =
            finest == 1
                ? "The charts hold every row. Where more rows than pixels lie beside each other, the line passes "
                  "through the smallest and the largest value of each pixel."
                : fmt::format("The file has more rows than a page that opens quickly can hold: a point of the "
                              "charts stands for {} rows and shows their smallest and largest value, however far "
                              "you zoom. No extreme is left out.",
                              finest);
        manifest["contents"] = fmt::format(
            "{} in the charts, {}; {} with all values and the matrix for the cursor{}; the findings, and the "
            "parameters as "
            "far as they were given.",
            plural(m_count, "row", "rows"), finest == 1 ? "each by itself" : fmt::format("{} to a point", finest),
            plural(poses, "row", "rows"), poses < m_count ? ", in even steps and wherever a finding is" : "");
    }

    const ReportSources& m_sources;
    const Series& m_rows;
    std::size_t m_count;
    std::vector<double> m_times;
    std::vector<Stretch> m_stretches;
    std::size_t m_usable = 0;
    std::size_t m_unusable = 0;  // beside those that every recording begins with
    std::vector<float> m_errors; // arc-seconds, of each row; nan if it is not compared
    Json m_panels = Json::array();
    std::vector<const series::Column*> m_charted; // null: the errors
    std::vector<const series::Column*> m_values;  // told at the cursor
    std::array<const series::Column*, 9> m_matrix{};
};

} // namespace

std::string reportOf(const ReportSources& sources)
{
    return Report(sources).page();
}

LivePage livePageOf(const ReportSources& sources, const std::string& run)
{
    return Report(sources).livePage(run);
}

} // namespace kor::tool
