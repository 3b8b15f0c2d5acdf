#include "tools/kor/CompareReport.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "accuracy/Statistics.h"

namespace kor::tool {

using accuracy::ComparedColumn;
using accuracy::Comparison;
using accuracy::Difference;
using accuracy::Spread;

namespace {

// Keys in the order in which they are written.
using Json = nlohmann::ordered_json;

const ComparedColumn kOrientationColumn = {"orientation", "deg", true};

// The lines above the table: what was read, and what became of the rows.
std::string sidesText(const Sides& sides)
{
    std::string text;
    for (const Side* side : {&sides.first, &sides.second}) {
        const std::size_t rows = side->series.stamps.size();
        const std::string reasons = side->reasons();
        text += fmt::format("{:<8} {}: {} rows{}\n", nameOf(side->kind), side->title, rows,
                            reasons.empty() ? "" : ", not usable: " + reasons);
    }
    return text;
}

std::vector<std::pair<std::string, std::size_t>> rowCounts(const Sides& sides, const Comparison& found)
{
    const std::string first = sides.againstTruth() ? "the results" : "the first file";
    const std::string second = sides.againstTruth() ? "the truth" : "the second file";
    std::vector<std::pair<std::string, std::size_t>> counts = {
        {"rows with the same time stamp", found.rows.pairs.size()},
        {"compared", found.compared},
        {"usable in " + first + " only", found.onlyFirstUsable},
        {"usable in " + second + " only", found.onlySecondUsable},
        {"usable in neither", found.neitherUsable},
        {"without an earlier row for --lag", found.withoutEarlier},
        {"time stamp in " + first + " only", found.rows.onlyFirst},
        {"time stamp in " + second + " only", found.rows.onlySecond},
        {"time stamp not as often in both, " + first, found.rows.openFirst},
        {"time stamp not as often in both, " + second, found.rows.openSecond},
    };
    // The first two always, the others if there are such rows.
    counts.erase(std::remove_if(counts.begin() + 2, counts.end(), [](const auto& count) { return count.second == 0; }),
                 counts.end());
    return counts;
}

std::uint32_t stampOf(const Sides& sides, const accuracy::Pair& pair)
{
    return sides.first.series.stamps[pair.first];
}

std::string rowsText(const Sides& sides, const ComparedColumn& column, const Difference& difference)
{
    constexpr const char* kRow = "{:<17} {:<7} {:>8} {:>10.2e} {:>10.2e} {:>10.2e} {:>10.2e} {:>11}\n";
    const Spread& s = difference.spread;
    std::string text;
    if (s.count > 0) {
        text = fmt::format(kRow, column.name, column.unit, s.count, s.median, s.rms, s.high, s.worst,
                           stampOf(sides, difference.worst));
    }
    if (s.count > 0 && column.unit == "deg") {
        text += fmt::format(kRow, "", "arcsec", "", s.median * accuracy::kArcSecondsOfDegree,
                            s.rms * accuracy::kArcSecondsOfDegree, s.high * accuracy::kArcSecondsOfDegree,
                            s.worst * accuracy::kArcSecondsOfDegree, "");
    }
    if (difference.lone > 0) {
        text += fmt::format("{:<17} not both finite in {} rows, first at {} ms\n", column.name, difference.lone,
                            stampOf(sides, difference.firstLone));
    }
    return text;
}

Json jsonOf(const Side& side)
{
    Json reasons = Json::object();
    for (const auto& [reason, count] : side.counts()) {
        reasons[reason] = count;
    }
    return {{"file", side.path},
            {"kind", nameOf(side.kind)},
            {"rows", side.series.stamps.size()},
            {"not_usable", reasons},
            {"most_off_rotation", side.noRotation > 0 ? Json(side.mostOffRotation) : Json()}};
}

Json jsonOf(const Sides& sides, const ComparedColumn& column, const Difference& difference)
{
    const Spread& s = difference.spread;
    Json json = {{"name", column.name}, {"unit", column.unit}, {"rows", s.count}, {"not_finite", difference.lone}};
    if (s.count == 0) {
        return json;
    }
    const auto add = [&json, &s](const std::string& suffix, double factor) {
        json["median" + suffix] = s.median * factor;
        json["rms" + suffix] = s.rms * factor;
        json["p999" + suffix] = s.high * factor;
        json["largest" + suffix] = s.worst * factor;
    };
    add("", 1.0);
    if (column.unit == "deg") {
        add("_arcsec", accuracy::kArcSecondsOfDegree);
    }
    json["largest_at_ms"] = stampOf(sides, difference.worst);
    json["largest_at_rows"] = {difference.worst.first + 1, difference.worst.second + 1};
    return json;
}

} // namespace

std::string sizeText(double size, const std::string& unit)
{
    const std::string text = fmt::format("{:.2e}{}{}", size, unit.empty() ? "" : " ", unit);
    return unit == "deg" ? text + fmt::format(" ({:.2e} arcsec)", size * accuracy::kArcSecondsOfDegree) : text;
}

std::string comparisonTable(const Sides& sides, const Comparison& found)
{
    std::string text = sidesText(sides);
    for (const auto& [name, count] : rowCounts(sides, found)) {
        text += fmt::format("  {:<52}{:>9}\n", name + ":", count);
    }
    text += fmt::format("\n{:<17} {:<7} {:>8} {:>10} {:>10} {:>10} {:>10} {:>11}\n", "difference", "unit", "rows",
                        "median", "RMS", "99.9 %", "largest", "at ms");
    text += rowsText(sides, kOrientationColumn, found.orientation);
    for (std::size_t i = 0; i < found.columns.size(); ++i) {
        text += rowsText(sides, sides.columns[i], found.columns[i]);
    }
    return text;
}

std::string comparisonLine(const Comparison& found, const Sides& sides)
{
    const Spread& s = found.orientation.spread;
    return fmt::format("{} rows compared: median angle {:.2e} deg, RMS {:.2e}, 99.9 % {:.2e}, largest {} at {} ms\n",
                       s.count, s.median, s.rms, s.high, sizeText(s.worst, kOrientationColumn.unit),
                       stampOf(sides, found.orientation.worst));
}

std::string comparisonJson(const Sides& sides, const Comparison& found, const std::vector<std::string>& beyond)
{
    Json columns = Json::array();
    for (std::size_t i = 0; i < found.columns.size(); ++i) {
        columns.push_back(jsonOf(sides, sides.columns[i], found.columns[i]));
    }
    const Json json = {{"sides", {jsonOf(sides.first), jsonOf(sides.second)}},
                       {"rows",
                        {{"same_time_stamp", found.rows.pairs.size()},
                         {"compared", found.compared},
                         {"only_first_usable", found.onlyFirstUsable},
                         {"only_second_usable", found.onlySecondUsable},
                         {"neither_usable", found.neitherUsable},
                         {"without_earlier", found.withoutEarlier},
                         {"only_first", found.rows.onlyFirst},
                         {"only_second", found.rows.onlySecond},
                         {"open_first", found.rows.openFirst},
                         {"open_second", found.rows.openSecond}}},
                       {"orientation", jsonOf(sides, kOrientationColumn, found.orientation)},
                       {"columns", columns},
                       {"beyond", beyond}};
    // A path may hold bytes that are no UTF-8.
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace kor::tool
