#include "tools/kor/CompareSides.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "platform/Text.h"
#include "recordings/Columns.h"
#include "recordings/Input.h"
#include "recordings/Reader.h"
#include "recordings/Recognition.h"
#include "series/File.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

namespace {

using accuracy::ComparedColumn;
using recordings::Column;
using recordings::Content;
using recordings::kResultColumns;
using recordings::kTruthColumns;
using recordings::Problem;
using recordings::Result;
using recordings::ResultReader;
using recordings::Truth;
using recordings::TruthReader;
using recordings::Type;

series::File opened(const std::string& path)
{
    Problem problem;
    std::unique_ptr<recordings::Input> input = recordings::Input::open(path, problem);
    if (!input) {
        throw Failure(problem);
    }
    const recordings::Recognised found = recordings::recognise(recordings::beginning(*input));
    std::optional<series::Kind> kind = series::kindOf(found.content);
    if (found.content == Content::text) { // its header line is at fault, which the reader tells
        kind = series::Kind::results;
    }
    if (!kind || *kind == series::Kind::recording) {
        throw Failure(input->problem() ? input->problem()
                                       : Problem{.kind = Problem::Kind::badData,
                                                 .file = input->title(),
                                                 .found = found.what,
                                                 .expected = "results of kor replay or the truth of kor simulate"});
    }
    std::optional<series::File> file = series::File::open(std::move(input), *kind, problem);
    if (!file) {
        throw Failure(problem);
    }
    for (const Problem& warning : file->warnings()) {
        warn(messageOf(warning));
    }
    return std::move(*file);
}

SideKind kindOf(const series::File& file)
{
    return file.results ? SideKind::results : SideKind::truth;
}

// The columns that both files have, and where each of them has its values. Time stamps, outcomes and notes say which
// rows are compared; they are no quantities.
struct Columns {
    std::vector<ComparedColumn> named;
    std::vector<const Column*> first;
    std::vector<const Column*> second;
};

void add(Columns& columns, std::string_view name, const Column& first, const Column& second)
{
    columns.named.push_back({std::string(name), std::string(first.unit), first.unit == "deg"});
    columns.first.push_back(&first);
    columns.second.push_back(&second);
}

// Whether two values of a column have a difference that means something.
bool isQuantity(const Column& column)
{
    return column.type != Type::text && column.type != Type::outcome && column.name != "valid" &&
           column.name != "timeStampMs";
}

Columns commonColumns(const series::File& first, const series::File& second)
{
    Columns columns;
    if (kindOf(first) != kindOf(second)) {
        // They have one matrix in common, m00 to m22 of the results and result_00 to result_22 of the truth.
        for (std::size_t i = 0; i < orientationColumns(SideKind::results).size(); ++i) {
            const auto named = [i](SideKind kind, std::span<const Column> all) -> const Column& {
                return *std::find_if(all.begin(), all.end(), [kind, i](const Column& column) {
                    return column.name == orientationColumns(kind)[i];
                });
            };
            const Column& element = named(SideKind::results, kResultColumns);
            add(columns, element.name, element, named(SideKind::truth, kTruthColumns));
        }
        return columns;
    }
    const std::span<const Column> all = first.columns();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Column& column = all[i];
        if (isQuantity(column) && first.has(i) && second.has(i)) {
            add(columns, column.name, column, column);
        }
    }
    return columns;
}

// A matrix that is not a rotation has no angle to another.
void admit(Side& side, std::uint32_t stamp, const double* matrix, bool formed, std::uint8_t state)
{
    accuracy::Mat3 orientation{};
    std::copy_n(matrix, orientation.size(), orientation.begin());
    if (formed) {
        const double off = accuracy::offRotation(orientation);
        if (std::isnan(off)) {
            formed = false;
            state = side.series.stateOf("not_finite");
        } else if (off > accuracy::kMostOffRotation) {
            formed = false;
            state = side.series.stateOf("no_rotation");
            side.firstNoRotation = side.noRotation == 0 ? stamp : side.firstNoRotation;
            side.mostOffRotation = std::max(side.mostOffRotation, off);
            ++side.noRotation;
        }
    }
    side.series.stamps.push_back(stamp);
    side.series.formed.push_back(formed ? 1 : 0);
    side.series.states.push_back(state);
    side.series.orientations.push_back(orientation);
}

template <typename Reader, typename Record, typename Admit>
void readRows(Reader& reader, Side& side, const std::vector<const Column*>& places, Record record,
              const Admit& admitRow)
{
    side.title = reader.title();
    side.series.columns.resize(places.size());
    for (recordings::Step step; (step = reader.next(record)) != recordings::Step::end;) {
        if (step != recordings::Step::sample) {
            throw Failure(reader.problem());
        }
        admitRow(record);
        for (std::size_t i = 0; i < places.size(); ++i) {
            side.series.columns[i].push_back(recordings::valueAt(&record, *places[i]));
        }
    }
}

Side read(series::File& source, const std::vector<const Column*>& places, const std::optional<std::string>& note)
{
    Side side;
    side.path = source.path();
    side.kind = kindOf(source);
    accuracy::Series& rows = side.series;
    if (source.results) {
        const bool told = source.saysOutcomes();
        if (!told) {
            warn(source.results->title() +
                 ": there is no column outcome, so every row with a matrix is compared; replay "
                 "the recording again to leave out what came before the reference");
        }
        readRows(*source.results, side, places, Result{}, [&](const Result& row) {
            const bool formed = told ? row.outcome == recordings::Outcome::ok : row.matrixCode == 0;
            const std::string reason =
                told ? std::string(recordings::kOutcomeNames[static_cast<std::size_t>(row.outcome)])
                     : "matrix code " + std::to_string(row.matrixCode);
            admit(side, row.timeStampMs, row.matrix, formed, formed ? std::uint8_t{0} : rows.stateOf(reason));
        });
    } else {
        readRows(*source.truth, side, places, Truth{}, [&](const Truth& row) {
            const std::string_view reason = row.note;
            const bool wanted = note ? reason == *note : row.valid;
            // The matrix of these is the identity, which is nobody's orientation.
            const bool formed = reason != "status" && reason != "reference";
            admit(side, row.timeStampMs, row.result, formed,
                  wanted ? std::uint8_t{0} : rows.stateOf(reason.empty() ? "not valid" : std::string(reason)));
        });
    }
    return side;
}

} // namespace

const char* nameOf(SideKind kind)
{
    return kind == SideKind::results ? "results" : "truth";
}

std::vector<std::pair<std::string, std::size_t>> Side::counts() const
{
    std::vector<std::pair<std::string, std::size_t>> found;
    for (const std::string& reason : series.reasons) {
        const auto state = static_cast<std::uint8_t>(found.size() + 1);
        found.emplace_back(reason,
                           static_cast<std::size_t>(std::count(series.states.begin(), series.states.end(), state)));
    }
    return found;
}

std::string Side::reasons() const
{
    std::string text;
    for (const auto& [reason, count] : counts()) {
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", platform::shown(reason), count);
    }
    return text;
}

Sides readSides(const std::string& a, const std::string& b, const std::optional<std::string>& note)
{
    if (a == "-" && b == "-") {
        throw Misuse("standard input can only be one of the two files");
    }
    series::File first = opened(a);
    series::File second = opened(b);
    if (kindOf(first) == SideKind::truth && kindOf(second) == SideKind::results) {
        std::swap(first, second);
    }
    if (note && kindOf(second) != SideKind::truth) {
        throw Misuse("--note requires a truth, and neither file is one");
    }
    const Columns columns = commonColumns(first, second);
    return {read(first, columns.first, note), read(second, columns.second, note), columns.named};
}

std::vector<std::string> comparableColumns()
{
    std::vector<std::string> names;
    for (const std::span<const Column> columns :
         {std::span<const Column>(kResultColumns), std::span<const Column>(kTruthColumns)}) {
        for (const Column& column : columns) {
            if (isQuantity(column)) {
                names.emplace_back(column.name);
            }
        }
    }
    return names;
}

const std::vector<std::string>& orientationColumns(SideKind kind)
{
    static const auto named = [](const std::string& prefix) {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < 9; ++i) {
            names.push_back(prefix + std::to_string(i / 3) + std::to_string(i % 3));
        }
        return names;
    };
    static const std::vector<std::string> ofResults = named("m");
    static const std::vector<std::string> ofTruth = named("result_");
    return kind == SideKind::results ? ofResults : ofTruth;
}

Side sideOf(const series::Series& rows)
{
    Side side;
    side.path = rows.path;
    side.title = rows.title;
    side.kind = rows.kind == series::Kind::results ? SideKind::results : SideKind::truth;
    std::vector<const series::Column*> elements;
    for (const std::string& name : orientationColumns(side.kind)) {
        elements.push_back(rows.column(name));
    }
    for (std::size_t row = 0; row < rows.rows(); ++row) {
        accuracy::Mat3 matrix{};
        for (std::size_t i = 0; i < elements.size(); ++i) {
            matrix[i] = elements[i]->at(row);
        }
        const series::Label& label = rows.label(row);
        const bool usable = label.verdict == series::Verdict::usable;
        admit(side, rows.stamps[row], matrix.data(), rows.isMeant(*elements.front(), label.verdict),
              usable ? std::uint8_t{0} : side.series.stateOf(label.name));
    }
    return side;
}

void warnOfNoRotation(const Side& side)
{
    if (side.noRotation > 0) {
        warn(fmt::format("{}: in {} rows the matrix is not a rotation, first at {} ms: M M' differs from the identity, "
                         "or the determinant from 1, by up to {:.1e}; these rows are left out",
                         side.title, side.noRotation, side.firstNoRotation, side.mostOffRotation));
    }
}

namespace {

std::string rangeOf(const Side& side)
{
    const std::vector<std::uint32_t>& stamps = side.series.stamps;
    return stamps.empty() ? side.title + " has no rows"
                          : fmt::format("{} goes from {} to {} ms", side.title, stamps.front(), stamps.back());
}

} // namespace

void refuseIfNothing(const Side& first, const Side& second, const accuracy::Comparison& found)
{
    if (found.compared > 0) {
        return;
    }
    if (found.rows.pairs.empty()) {
        throw Failure(kExitDataError,
                      fmt::format("there is nothing to compare: {}, {}, and no time stamp is in both{}", rangeOf(first),
                                  rangeOf(second), found.rows.openFirst > 0 ? " the same number of times" : ""));
    }
    std::string reasons;
    for (const Side* side : {&first, &second}) {
        if (const std::string text = side->reasons(); !text.empty()) {
            reasons += fmt::format("; {}: {}", side->title, text);
        }
    }
    throw Failure(
        kExitDataError,
        fmt::format("there is nothing to compare: of {} rows with the same time stamp none is usable in both{}",
                    found.rows.pairs.size(), reasons));
}

} // namespace kor::tool
