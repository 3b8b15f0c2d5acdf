#include "series/File.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace kor::series {

namespace {

using recordings::Content;
using recordings::Input;
using recordings::kResultColumns;
using recordings::Outcome;
using recordings::Problem;
using recordings::Result;
using recordings::Step;
using recordings::Truth;
using recordings::Type;

constexpr std::int32_t kValidStatus = 2;

Verdict verdictOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::ok:
        return Verdict::usable;
    case Outcome::beforeReference:
        return Verdict::beforeReference;
    case Outcome::rejectedStatus:
        return Verdict::rejected;
    case Outcome::notFinite:
    case Outcome::noMatrixBothLevelsOutside:
    case Outcome::noMatrixFiltersFilling:
    case Outcome::noMatrixNoSolution:
    case Outcome::noMatrixNoModel:
    case Outcome::spoiled:
        break;
    }
    return Verdict::unusable;
}

// Where the labels of a file stand that have been met.
class Labels {
public:
    explicit Labels(std::vector<Label>& labels) : m_labels(labels) {}

    std::uint8_t of(std::string_view name, Verdict verdict)
    {
        const auto at = std::find_if(m_labels.begin(), m_labels.end(),
                                     [&](const Label& each) { return each.name == name && each.verdict == verdict; });
        constexpr std::size_t kMost = std::numeric_limits<std::uint8_t>::max();
        if (at == m_labels.end() && m_labels.size() < kMost) {
            m_labels.push_back({std::string(name), verdict});
            return static_cast<std::uint8_t>(m_labels.size() - 1);
        }
        if (at != m_labels.end()) {
            return static_cast<std::uint8_t>(at - m_labels.begin());
        }
        // Nobody's notes are so many. What is beyond is told apart by its verdict alone.
        const auto like = std::find_if(m_labels.rbegin(), m_labels.rend(),
                                       [&](const Label& each) { return each.verdict == verdict; });
        return like == m_labels.rend() ? std::uint8_t{0} : static_cast<std::uint8_t>(m_labels.rend() - like - 1);
    }

private:
    std::vector<Label>& m_labels;
};

std::uint8_t labelOf(const KOR_RAWINFO& row, bool /*told*/, Labels& labels)
{
    return row.status == kValidStatus
               ? labels.of("ok", Verdict::usable)
               : labels.of(recordings::kOutcomeNames[static_cast<std::size_t>(Outcome::rejectedStatus)],
                           Verdict::rejected);
}

std::uint8_t labelOf(const Result& row, bool told, Labels& labels)
{
    if (told) {
        return labels.of(recordings::kOutcomeNames[static_cast<std::size_t>(row.outcome)], verdictOf(row.outcome));
    }
    return row.matrixCode == 0 ? labels.of("ok", Verdict::usable)
                               : labels.of("matrix code " + std::to_string(row.matrixCode), Verdict::rejected);
}

std::uint8_t labelOf(const Truth& row, bool /*told*/, Labels& labels)
{
    const std::string_view note = row.note;
    if (row.valid) {
        return labels.of(note, Verdict::usable);
    }
    return labels.of(note.empty() ? "not valid" : note, note == "status"      ? Verdict::rejected
                                                        : note == "reference" ? Verdict::beforeReference
                                                                              : Verdict::unusable);
}

bool needsOrientation(Kind kind, std::string_view name)
{
    switch (kind) {
    case Kind::recording:
        return false;
    case Kind::results:
        return name.starts_with("orientation") || name.starts_with("sensorOut") ||
               (name.size() == 3 && name.front() == 'm');
    case Kind::truth:
        break;
    }
    return name.starts_with("result_");
}

Column withoutRows(Kind kind, const recordings::Column& column)
{
    return {std::string(column.name), std::string(column.unit), needsOrientation(kind, column.name), {}, {}};
}

// Which numbers have a place in a float.
bool fitsFloat(Type type)
{
    return type == Type::float32 || type == Type::uint8 || type == Type::flag || type == Type::outcome;
}

template <typename Reader, typename Record>
std::optional<Series> readRows(Reader& reader, Record record, const Selection& selection, Series series,
                               Problem& problem)
{
    const std::span<const recordings::Column> all = columnsOf(series.kind);
    std::vector<const recordings::Column*> chosen;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const recordings::Column& column = all[i];
        const bool isWanted = !selection.columns || std::find(selection.columns->begin(), selection.columns->end(),
                                                              column.name) != selection.columns->end();
        if (isWanted && isNumber(column) && reader.has(i)) {
            chosen.push_back(&column);
            series.columns.push_back(withoutRows(series.kind, column));
        }
    }
    Labels labels(series.labels);
    Window window = selection.window;
    for (Step step; (step = reader.next(record)) != Step::end;) {
        if (step != Step::sample) {
            if (step == Step::bad && selection.skipBad) {
                ++series.bad;
                continue;
            }
            problem = reader.problem();
            return std::nullopt;
        }
        if (!window.contains(record.timeStampMs)) {
            ++series.outsideWindow;
            continue;
        }
        series.stamps.push_back(record.timeStampMs);
        series.labelOf.push_back(labelOf(record, series.told, labels));
        for (std::size_t i = 0; i < chosen.size(); ++i) {
            const double value = recordings::valueAt(&record, *chosen[i]);
            if (fitsFloat(chosen[i]->type)) {
                series.columns[i].floats.push_back(static_cast<float>(value));
            } else {
                series.columns[i].doubles.push_back(value);
            }
        }
    }
    series.complete();
    problem = {};
    return series;
}

std::size_t outcomeColumn()
{
    const auto* const at = std::find_if(kResultColumns.begin(), kResultColumns.end(),
                                        [](const recordings::Column& column) { return column.type == Type::outcome; });
    return static_cast<std::size_t>(at - kResultColumns.begin());
}

} // namespace

std::optional<Kind> kindOf(Content content)
{
    switch (content) {
    case Content::recordingCsv:
    case Content::recordingBinary:
        return Kind::recording;
    case Content::resultsCsv:
    case Content::resultsBinary:
        return Kind::results;
    case Content::truthCsv:
        return Kind::truth;
    case Content::empty:
    case Content::wayPointsCsv:
    case Content::text:
    case Content::other:
    case Content::unknown:
        break;
    }
    return std::nullopt;
}

Series emptyResults()
{
    Series series;
    series.kind = Kind::results;
    for (const recordings::Column& column : kResultColumns) {
        series.columns.push_back(withoutRows(series.kind, column));
    }
    for (std::size_t i = 0; i < recordings::kOutcomeNames.size(); ++i) {
        series.labels.push_back({std::string(recordings::kOutcomeNames[i]), verdictOf(static_cast<Outcome>(i))});
    }
    return series;
}

std::optional<File> File::open(const std::string& path, Problem& problem)
{
    std::unique_ptr<Input> input = Input::open(path, problem);
    if (!input) {
        return std::nullopt;
    }
    const recordings::Recognised found = recordings::recognise(recordings::beginning(*input));
    if (const std::optional<Kind> kind = kindOf(found.content)) {
        return open(std::move(input), *kind, problem);
    }
    problem = input->problem() ? input->problem()
                               : Problem{.kind = Problem::Kind::badData,
                                         .file = input->title(),
                                         .found = found.what,
                                         .expected = "a recording, results of kor replay or the truth of kor simulate",
                                         .advice = found.advice};
    return std::nullopt;
}

std::optional<File> File::open(std::unique_ptr<Input> input, Kind kind, Problem& problem)
{
    File file;
    file.m_path = input->path();
    switch (kind) {
    case Kind::recording:
        file.recording = recordings::Reader::open(std::move(input), std::nullopt, problem);
        break;
    case Kind::results:
        file.results = recordings::ResultReader::open(std::move(input), std::nullopt, problem);
        break;
    case Kind::truth:
        file.truth = recordings::TruthReader::open(std::move(input), std::nullopt, problem);
        break;
    }
    if (!file.recording && !file.results && !file.truth) {
        return std::nullopt;
    }
    return file;
}

bool File::has(std::size_t column) const
{
    return results ? results->has(column) : truth ? truth->has(column) : recording->has(column);
}

const std::string& File::title() const
{
    return results ? results->title() : truth ? truth->title() : recording->title();
}

const std::vector<Problem>& File::warnings() const
{
    return results ? results->warnings() : truth ? truth->warnings() : recording->warnings();
}

bool File::saysOutcomes() const
{
    return !results || results->has(outcomeColumn());
}

std::vector<std::string> File::names() const
{
    std::vector<std::string> found;
    const std::span<const recordings::Column> all = columns();
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (isNumber(all[i]) && has(i)) {
            found.emplace_back(all[i].name);
        }
    }
    return found;
}

std::optional<Series> File::read(const Selection& selection, Problem& problem)
{
    Series series;
    series.kind = kind();
    series.path = m_path;
    series.title = title();
    series.told = saysOutcomes();
    if (results) {
        return readRows(*results, Result{}, selection, std::move(series), problem);
    }
    if (truth) {
        return readRows(*truth, Truth{}, selection, std::move(series), problem);
    }
    return readRows(*recording, KOR_RAWINFO{}, selection, std::move(series), problem);
}

} // namespace kor::series
