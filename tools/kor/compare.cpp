// kor compare: two replays, a replay and its truth, or two truths held against each other.

#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "accuracy/Comparison.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/CompareReport.h"
#include "tools/kor/CompareSides.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"
#include "tools/kor/RecordingOptions.h"

namespace kor::tool {

namespace {

using accuracy::ComparedColumn;
using accuracy::Comparison;
using accuracy::Difference;

struct CompareRequest {
    std::string first;
    std::string second;
    std::vector<std::string> tolerances;
    std::optional<std::string> note;
    std::optional<std::string> lag;
    bool strict = false;
    bool brief = false;
    bool json = false;
};

// The largest difference that is accepted of a column, or of the angle between the orientations.
struct Tolerance {
    std::string column; // empty: the orientation
    std::string value;  // as it was given
};

constexpr std::string_view kOrientation = "orientation";

Tolerance toleranceOf(const std::string& text)
{
    const std::size_t at = text.find('=');
    if (at == std::string::npos) {
        return {"", text};
    }
    const std::string column = text.substr(0, at);
    return {column == kOrientation ? "" : column, text.substr(at + 1)};
}

// Units of an angle, in degrees.
std::vector<std::pair<std::string, double>> angleUnits()
{
    return {{"deg", 1.0}, {"arcsec", 1.0 / 3600.0}, {"rad", 180.0 / std::acos(-1.0)}};
}

// A number, perhaps with a unit: that of the column, and for degrees arc-seconds or radians as well.
double limitOf(const Tolerance& tolerance, const std::string& unit)
{
    double value = 0.0;
    const std::string& text = tolerance.value;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const std::string given(end, text.data() + text.size());
    std::vector<std::pair<std::string, double>> units = {{"", 1.0}, {unit, 1.0}};
    if (unit == "deg") {
        units = angleUnits();
        units.emplace_back("", 1.0);
    }
    for (const auto& [name, factor] : units) {
        if (error == std::errc() && value >= 0.0 && given == name) {
            return value * factor;
        }
    }
    throw Misuse(fmt::format("--tolerance: found {}, expected a number of at least 0{}", inQuotes(text),
                             unit == "deg"  ? ", in degrees or with deg, arcsec or rad behind it"
                             : unit.empty() ? ""
                                            : ", perhaps with " + unit + " behind it"));
}

// What exceeds its tolerance, in words.
void judge(const std::string& name, const std::string& unit, const Difference& difference, double limit,
           const Sides& sides, std::vector<std::string>& beyond)
{
    if (difference.lone > 0) {
        beyond.push_back(fmt::format("{}: in {} rows not both values are finite, first at {} ms", name, difference.lone,
                                     sides.first.series.stamps[difference.firstLone.first]));
    }
    if (difference.spread.worst > limit) {
        beyond.push_back(fmt::format("{}: {} at {} ms is more than {}", name, sizeText(difference.spread.worst, unit),
                                     sides.first.series.stamps[difference.worst.first], sizeText(limit, unit)));
    }
}

// Tolerances whose column both files have.
using Limits = std::vector<std::pair<const ComparedColumn*, double>>;

Limits limitsOf(const std::vector<std::string>& given, const std::vector<ComparedColumn>& columns)
{
    Limits limits;
    for (const std::string& text : given) {
        const Tolerance tolerance = toleranceOf(text);
        const ComparedColumn* column = nullptr;
        std::string names(kOrientation);
        for (const ComparedColumn& known : columns) {
            column = known.name == tolerance.column ? &known : column;
            names += ", " + known.name;
        }
        if (column == nullptr && !tolerance.column.empty()) {
            throw Misuse(fmt::format("--tolerance: found {}, expected one of the columns that both files have: {}",
                                     inQuotes(tolerance.column), names));
        }
        for (const auto& [other, limit] : limits) {
            if (other == column) {
                throw Misuse(fmt::format("--tolerance: {} is given twice",
                                         column == nullptr ? std::string(kOrientation) : column->name));
            }
        }
        limits.emplace_back(column, limitOf(tolerance, column == nullptr ? "deg" : column->unit));
    }
    return limits;
}

std::vector<std::string> beyondTolerance(const Sides& sides, const Comparison& found, const Limits& limits)
{
    std::vector<std::string> beyond;
    for (const auto& [column, limit] : limits) {
        if (column == nullptr) {
            judge(std::string(kOrientation), "deg", found.orientation, limit, sides, beyond);
        } else {
            const auto at = static_cast<std::size_t>(column - sides.columns.data());
            judge(column->name, column->unit, found.columns[at], limit, sides, beyond);
        }
    }
    return beyond;
}

// Rows that the statistics pass over although something should be there.
std::vector<std::string> passedOver(const Sides& sides, const Comparison& found)
{
    std::vector<std::string> beyond;
    const std::size_t lone =
        found.rows.onlyFirst + found.rows.onlySecond + found.rows.openFirst + found.rows.openSecond;
    if (lone > 0) {
        beyond.push_back(fmt::format("{} rows have no counterpart", lone));
    }
    // A truth leaves out samples that may well have an orientation, but what it holds for valid has to have one.
    const std::size_t missing = found.onlySecondUsable + (sides.againstTruth() ? 0 : found.onlyFirstUsable);
    if (missing > 0) {
        beyond.push_back(fmt::format("{} rows are usable on one side only", missing));
    }
    return beyond;
}

int compare(const CompareRequest& request)
{
    constexpr std::int64_t kMostLag = std::numeric_limits<std::int32_t>::max();
    const std::int64_t lag = request.lag ? wholeOption<std::int64_t>("--lag", *request.lag, -kMostLag, kMostLag) : 0;
    if (request.brief && request.json) {
        throw Misuse("--brief and --json exclude each other");
    }
    const Sides sides = readSides(request.first, request.second, request.note);
    const Limits limits = limitsOf(request.tolerances, sides.columns);
    for (const Side* side : {&sides.first, &sides.second}) {
        warnOfNoRotation(*side);
    }
    const Comparison found = accuracy::compared(sides.first.series, sides.second.series, sides.columns, lag);
    refuseIfNothing(sides.first, sides.second, found);

    std::vector<std::string> beyond = beyondTolerance(sides, found, limits);
    if (request.strict) {
        const std::vector<std::string> more = passedOver(sides, found);
        beyond.insert(beyond.end(), more.begin(), more.end());
    }
    print(request.json    ? comparisonJson(sides, found, beyond)
          : request.brief ? comparisonLine(found, sides)
                          : comparisonTable(sides, found));
    for (const std::string& text : beyond) {
        complain(text);
    }
    return beyond.empty() ? kExitOk : kExitBeyondBound;
}

} // namespace

Command declareCompare(const CommandGroup& root)
{
    const auto request = std::make_shared<CompareRequest>();
    Subcommand command(root, "compare", "Compare two results, results with the truth, or two truths");
    command.required("A", request->first, "", "Results of kor replay or truth of kor simulate; - is standard input")
        .takes(fileNamed(resultEndings()));
    command.required("B", request->second, "", "The file to compare it with, of the same kinds")
        .takes(fileNamed(resultEndings()));
    std::vector<std::string> columns = comparableColumns();
    columns.insert(columns.begin(), std::string(kOrientation));
    Values tolerances = assignmentTo(std::move(columns));
    for (const auto& [unit, factor] : angleUnits()) {
        tolerances.units.push_back(unit);
    }
    command
        .repeatable("--tolerance", request->tolerances, "VALUE",
                    "Largest angle allowed between the orientations, in degrees unless deg, arcsec or rad follows the "
                    "number. COLUMN=VALUE: largest difference allowed in a column, in its unit. May be repeated. Exit "
                    "status 1 if it is exceeded")
        .takes(tolerances);
    command.flag("--strict", request->strict,
                 "Exit status 1 also if a row has no counterpart, or is usable in one of the files only");
    command
        .option("--note", request->note, "NOTE",
                "Compare the rows of the truth that have this note, in place of the valid ones")
        .takes(oneOf({"ok", "range", "status", "nan", "reference", "level", "moving", "side"}));
    command.option("--lag", request->lag, "N",
                   "Compare each row of the results with the row of the truth that is N rows earlier; without a truth, "
                   "each row of A with an earlier row of B");
    command.flag("--brief", request->brief, "Print one line: the angle between the orientations");
    command.flag("--json", request->json, "Print JSON in place of the table");
    command.about(
        "Rows belong together if their time stamps are the same. A row of results is compared if its outcome is ok, a "
        "row of a truth if it is valid; all other rows are only counted. If there is nothing to compare, the exit "
        "status is 65.",
        "For the angle between the orientations, and for every column that both files have, it prints the median, the "
        "root mean square, the size that 99.9 % do not exceed, and the largest difference with its time stamp.");
    command.example("How far results are from the truth, and whether that is within a twentieth of an arc-second",
                    {"kor simulate --prm calibration --id 1005 --motion random -o sim.csv --truth sim_truth.csv",
                     "kor replay --prm calibration --id 1005 sim.csv -o sim_results.csv",
                     "kor compare sim_results.csv sim_truth.csv --tolerance 0.05arcsec"});
    return command.runs([request] { return compare(*request); });
}

} // namespace kor::tool
