#include "recordings/WayPoints.h"

#include <cmath>
#include <cstddef>
#include <memory>

#include "platform/Text.h"
#include "recordings/Columns.h"
#include "recordings/Input.h"
#include "recordings/Recognition.h"
#include "recordings/Table.h"

namespace kor::recordings {

namespace {

using Values = std::array<double, kWayPointColumns.size()>;

constexpr Kind kKind{kWayPointColumns,      sizeof(Values), "a file of way-points",
                     Content::wayPointsCsv, Content::other, true};

constexpr std::size_t kMostPoints = 1000000; // some 100 MB of splines

Problem badContent(const Input& input)
{
    return {.kind = Problem::Kind::badData, .file = input.title()};
}

Problem refused(const Input& input, const CsvRecords& rows, std::size_t column, const std::string& expected)
{
    Problem problem = badContent(input);
    problem.line = rows.place();
    problem.column = kWayPointColumns[column].name;
    problem.found = platform::inQuotes(rows.textOf(column));
    problem.expected = expected;
    return problem;
}

// What is wrong with a row beside its numbers.
Problem problemOf(const Input& input, const CsvRecords& rows, const Values& values, const std::vector<WayPoint>& before)
{
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!(std::fabs(values[i]) <= 1e6)) {
            return refused(input, rows, i, "a number from -1e6 to 1e6");
        }
    }
    if (!before.empty() && !(values[0] > before.back().time)) {
        return refused(input, rows, 0, "a later time than in the row before");
    }
    Problem problem;
    if (before.size() == kMostPoints) {
        problem = badContent(input);
        problem.line = rows.place();
        problem.reason = "there are more than " + std::to_string(kMostPoints) + " way-points";
    }
    return problem;
}

} // namespace

WayPointFile readWayPoints(const std::string& path)
{
    WayPointFile file;
    const std::unique_ptr<Input> input = Input::open(path, file.problem);
    if (!input) {
        return file;
    }
    const Recognised seen = recognise(beginning(*input));
    if (!input->problem() && !isText(seen.content)) {
        file.problem = badContent(*input);
        file.problem.found = seen.what;
        file.problem.expected = kKind.name;
        file.problem.advice = seen.advice;
        return file;
    }
    CsvRecords rows(*input, kKind);
    if (!rows.begin()) {
        return {{}, rows.problem()};
    }
    Values values{};
    for (Step step; (step = rows.next(&values)) != Step::end;) {
        if (step != Step::sample) {
            return {{}, rows.problem()};
        }
        file.problem = problemOf(*input, rows, values, file.points);
        if (file.problem) {
            return {{}, file.problem};
        }
        file.points.push_back({values[0], {values[1], values[2], values[3]}, values[4], values[5], values[6]});
    }
    if (file.points.empty()) {
        file.problem = badContent(*input);
        file.problem.reason = "there is no way-point";
        file.problem.advice = "write one below the header line";
    }
    return file;
}

} // namespace kor::recordings
