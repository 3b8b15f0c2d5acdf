#include "python/src/Files.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <utility>

#include <pybind11/stl.h>

#include "platform/Text.h"
#include "python/src/Errors.h"
#include "python/src/Module.h"
#include "recordings/Output.h"
#include "recordings/Reader.h"
#include "recordings/Writer.h"
#include "tools/kor/Commands.h"

namespace kor::python {

using recordings::Format;
using recordings::Output;
using recordings::Problem;
using recordings::Result;
using recordings::Step;
using recordings::Truth;

namespace {

constexpr std::size_t kMatrix = 9;

std::optional<Format> formatOf(const std::optional<std::string>& name)
{
    if (!name) {
        return std::nullopt;
    }
    if (*name == "csv") {
        return Format::csv;
    }
    if (*name == "bin") {
        return Format::binary;
    }
    if (*name == "bare") {
        return Format::bare;
    }
    throw py::value_error("format: found " + platform::inQuotes(*name) + R"(, expected "csv", "bin", "bare" or None)");
}

// What reading with skipBad has left out.
class LeftOut {
public:
    void add(const Problem& problem, std::uint64_t place)
    {
        constexpr std::uint64_t kShown = 5;
        m_places.add(place);
        if (m_places.count <= kShown) {
            tool::warn(text(problem) + ": left out");
        }
    }

    void tell(const std::string& title) const
    {
        if (m_places.count > 0) {
            tool::warn(title + ": " + std::to_string(m_places.count) +
                       (m_places.count == 1 ? " row that could not be read was left out"
                                            : " rows that could not be read were left out"));
        }
    }

    const series::Places& places() const { return m_places; }

private:
    series::Places m_places;
};

// Hands each record to `take`, until an exception of a signal's handler is raised.
// Given  leftOut  where rows go that cannot be read; null: they end the reading
template <typename Record, typename Take>
bool readAll(recordings::RecordReader<Record>& reader, LeftOut* leftOut, const Take& take)
{
    Record record{};
    for (std::size_t count = 1;; ++count) {
        const Step step = reader.next(record);
        if (step == Step::end) {
            return true;
        }
        if (step == Step::sample) {
            take(record);
        } else if (step == Step::bad && leftOut != nullptr) {
            leftOut->add(reader.problem(), reader.place());
        } else {
            throw Fault(reader.problem());
        }
        if (count % kSamplesBetweenSignals == 0 && !signalsAreHandled()) {
            return false;
        }
    }
}

template <typename Record>
std::unique_ptr<recordings::RecordReader<Record>> opened(const std::string& path, std::optional<Format> format)
{
    Problem problem;
    auto reader = recordings::RecordReader<Record>::open(path, format, problem);
    if (!reader) {
        throw Fault(problem);
    }
    for (const Problem& warning : reader->warnings()) {
        tool::warn(text(warning));
    }
    return reader;
}

// Writes so many records that `make` gives, one by one.
template <typename Record, typename Make>
bool writeAll(const std::string& path, Format format, std::size_t count, const Make& make)
{
    Problem problem;
    const std::unique_ptr<Output> output = Output::open(path, problem);
    if (!output) {
        throw Fault(problem);
    }
    recordings::Writer<Record> writer(*output, format);
    for (std::size_t i = 0; i < count; ++i) {
        if (!writer.write(make(i))) {
            break;
        }
        if (i % kSamplesBetweenSignals == 0 && !signalsAreHandled()) {
            return false;
        }
    }
    if (output->problem() || !output->close()) {
        throw Fault(output->problem());
    }
    return true;
}

py::tuple pyReadRecording(const std::string& path, const std::optional<std::string>& format,
                          std::optional<std::uint32_t> from, std::optional<std::uint32_t> to, bool skipBad)
{
    const Warnings warnings;
    const Part part = partOf(format, from, to, skipBad);
    std::vector<KOR_RAWINFO> samples;
    bool interrupted = false;
    {
        const py::gil_scoped_release unlocked;
        samples = readRecording(path, part, interrupted);
    }
    if (interrupted) {
        throwRaised();
    }
    return py::make_tuple(arrayOf(std::move(samples), rawType()), warnings.list());
}

void pyWriteRecording(const std::string& path, const py::object& samples, const std::string& format)
{
    const Elements from = elementsOf(samples, rawType(), "samples", "korinterface.RAW_DTYPE");
    const Format as = *formatOf(format);
    bool done = false;
    {
        const py::gil_scoped_release unlocked;
        done = writeAll<KOR_RAWINFO>(path, as, from.count, [&from](std::size_t i) {
            KOR_RAWINFO raw;
            std::memcpy(&raw, from.bytes + i * sizeof raw, sizeof raw);
            return raw;
        });
    }
    if (!done) {
        throwRaised();
    }
}

// Columns that files made by earlier programs do not have.
bool hasColumn(const recordings::ResultReader& reader, std::string_view name)
{
    const auto& columns = recordings::kResultColumns;
    const auto* const column =
        std::find_if(columns.begin(), columns.end(), [name](const auto& each) { return each.name == name; });
    return reader.has(static_cast<std::size_t>(column - columns.begin()));
}

py::tuple pyReadResults(const std::string& path, const std::optional<std::string>& format)
{
    const Warnings warnings;
    const std::optional<Format> as = formatOf(format);
    std::vector<Result> rows;
    bool done = false;
    bool saysOutcomes = false;
    bool saysLevels = false;
    {
        const py::gil_scoped_release unlocked;
        const auto reader = opened<Result>(path, as);
        saysOutcomes = hasColumn(*reader, "outcome");
        saysLevels = hasColumn(*reader, "levelX_out") && hasColumn(*reader, "levelY_out");
        done = readAll(*reader, nullptr, [&rows](const Result& row) { rows.push_back(row); });
    }
    if (!done) {
        throwRaised();
    }
    ResultArrays arrays(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        arrays.set(i, rows[i]);
    }
    return py::make_tuple(arrays.tuple(), saysOutcomes, saysLevels, warnings.list());
}

void pyWriteResults(const std::string& path, const py::object& info, const py::object& matrices,
                    const py::object& codes, const py::object& outcomes, const py::object& levelXOut,
                    const py::object& levelYOut, const py::object& stamps, const std::string& format)
{
    const Elements infos = elementsOf(info, infoType(), "info", "korinterface.INFO_DTYPE");
    const std::size_t count = infos.count;
    const Elements matrix = numbersOf(matrices, py::dtype::of<double>(), count, {3, 3}, "matrices");
    const Elements code = numbersOf(codes, py::dtype::of<std::int32_t>(), count, {}, "codes");
    const Elements outcome = numbersOf(outcomes, py::dtype::of<std::uint8_t>(), count, {}, "outcomes");
    const Elements levelX = numbersOf(levelXOut, py::dtype::of<bool>(), count, {}, "level_x_out");
    const Elements levelY = numbersOf(levelYOut, py::dtype::of<bool>(), count, {}, "level_y_out");
    const Elements stamp = numbersOf(stamps, py::dtype::of<std::uint32_t>(), count, {}, "time_stamps");
    for (std::size_t i = 0; i < count; ++i) {
        if (static_cast<unsigned char>(outcome.bytes[i]) >= recordings::kOutcomeNames.size()) {
            throw py::value_error("outcomes: found " + std::to_string(static_cast<unsigned char>(outcome.bytes[i])) +
                                  " at index " + std::to_string(i) + ", expected an index of korinterface.OUTCOMES");
        }
    }
    const Format as = *formatOf(format);
    bool done = false;
    {
        const py::gil_scoped_release unlocked;
        done = writeAll<Result>(path, as, count, [&](std::size_t i) {
            Result row{};
            std::memcpy(&row.timeStampMs, stamp.bytes + i * sizeof row.timeStampMs, sizeof row.timeStampMs);
            std::memcpy(&row.info, infos.bytes + i * sizeof row.info, sizeof row.info);
            std::memcpy(row.matrix, matrix.bytes + i * sizeof row.matrix, sizeof row.matrix);
            std::memcpy(&row.matrixCode, code.bytes + i * sizeof row.matrixCode, sizeof row.matrixCode);
            row.outcome = static_cast<recordings::Outcome>(outcome.bytes[i]);
            row.levelXOut = levelX.bytes[i] != 0;
            row.levelYOut = levelY.bytes[i] != 0;
            return row;
        });
    }
    if (!done) {
        throwRaised();
    }
}

py::tuple pyReadTruth(const std::string& path)
{
    const Warnings warnings;
    std::vector<Truth> rows;
    std::vector<std::string> names; // of the notes
    std::vector<std::uint32_t> notes;
    bool done = false;
    {
        const py::gil_scoped_release unlocked;
        const auto reader = opened<Truth>(path, std::nullopt);
        done = readAll(*reader, nullptr, [&](const Truth& row) {
            auto known = std::find(names.begin(), names.end(), row.note);
            if (known == names.end()) {
                known = names.insert(names.end(), row.note);
            }
            notes.push_back(static_cast<std::uint32_t>(known - names.begin()));
            rows.push_back(row);
        });
    }
    if (!done) {
        throwRaised();
    }
    return py::make_tuple(truthArrays(rows), copyOf(notes.data(), {notes.size()}), names, warnings.list());
}

void pyWriteTruth(const std::string& path, const py::object& stamps, const py::object& valid, const py::object& base,
                  const py::object& positions, const py::object& matrices, const py::object& notes,
                  const std::vector<std::string>& names)
{
    const auto count = static_cast<std::size_t>(py::len(stamps));
    const Elements stamp = numbersOf(stamps, py::dtype::of<std::uint32_t>(), count, {}, "time_stamps");
    const Elements isValid = numbersOf(valid, py::dtype::of<bool>(), count, {}, "valid");
    const Elements orientation = numbersOf(base, py::dtype::of<double>(), count, {3, 3}, "base");
    const Elements position = numbersOf(positions, py::dtype::of<float>(), count, {3}, "positions");
    const Elements matrix = numbersOf(matrices, py::dtype::of<double>(), count, {3, 3}, "matrices");
    const Elements note = numbersOf(notes, py::dtype::of<std::uint32_t>(), count, {}, "notes");
    for (const std::string& name : names) {
        if (name.size() >= recordings::kLongestText) {
            throw py::value_error("notes: found " + platform::inQuotes(name) + ", expected fewer than " +
                                  std::to_string(recordings::kLongestText) + " bytes");
        }
    }
    bool done = false;
    {
        const py::gil_scoped_release unlocked;
        done = writeAll<Truth>(path, Format::csv, count, [&](std::size_t i) {
            Truth row{};
            std::uint32_t which = 0;
            std::memcpy(&row.timeStampMs, stamp.bytes + i * sizeof row.timeStampMs, sizeof row.timeStampMs);
            std::memcpy(row.base, orientation.bytes + i * sizeof row.base, sizeof row.base);
            std::memcpy(row.position, position.bytes + i * sizeof row.position, sizeof row.position);
            std::memcpy(row.result, matrix.bytes + i * sizeof row.result, sizeof row.result);
            std::memcpy(&which, note.bytes + i * sizeof which, sizeof which);
            row.valid = isValid.bytes[i] != 0;
            row.note = which < names.size() ? names[which].c_str() : "";
            return row;
        });
    }
    if (!done) {
        throwRaised();
    }
}

} // namespace

ResultArrays::ResultArrays(std::size_t count)
    : m_info(infoType(), std::vector<py::ssize_t>{static_cast<py::ssize_t>(count)}),
      m_matrices(numbers<double>({count, 3, 3})), m_codes(numbers<std::int32_t>({count})),
      m_outcomes(numbers<std::uint8_t>({count})), m_levelXOut(numbers<bool>({count})),
      m_levelYOut(numbers<bool>({count})), m_stamps(numbers<std::uint32_t>({count})),
      m_infoData(static_cast<char*>(m_info.mutable_data())), m_matrixData(m_matrices.mutable_data()),
      m_codeData(m_codes.mutable_data()), m_outcomeData(m_outcomes.mutable_data()),
      m_levelXData(m_levelXOut.mutable_data()), m_levelYData(m_levelYOut.mutable_data()),
      m_stampData(m_stamps.mutable_data())
{
}

void ResultArrays::set(std::size_t index, const Result& result)
{
    std::memcpy(m_infoData + index * sizeof(KOR_INFO), &result.info, sizeof(KOR_INFO));
    std::memcpy(m_matrixData + index * kMatrix, result.matrix, sizeof result.matrix);
    m_codeData[index] = result.matrixCode;
    m_outcomeData[index] = static_cast<std::uint8_t>(result.outcome);
    m_levelXData[index] = result.levelXOut;
    m_levelYData[index] = result.levelYOut;
    m_stampData[index] = result.timeStampMs;
}

py::tuple ResultArrays::tuple() const
{
    return py::make_tuple(m_info, m_matrices, m_codes, m_outcomes, m_levelXOut, m_levelYOut, m_stamps);
}

py::tuple truthArrays(const std::vector<Truth>& rows)
{
    const std::size_t count = rows.size();
    auto stamps = numbers<std::uint32_t>({count});
    auto valid = numbers<bool>({count});
    auto base = numbers<double>({count, 3, 3});
    auto positions = numbers<float>({count, 3});
    auto matrices = numbers<double>({count, 3, 3});
    for (std::size_t i = 0; i < count; ++i) {
        const Truth& row = rows[i];
        stamps.mutable_data()[i] = row.timeStampMs;
        valid.mutable_data()[i] = row.valid;
        std::copy(std::begin(row.base), std::end(row.base), base.mutable_data() + i * kMatrix);
        std::copy(std::begin(row.position), std::end(row.position), positions.mutable_data() + i * 3);
        std::copy(std::begin(row.result), std::end(row.result), matrices.mutable_data() + i * kMatrix);
    }
    return py::make_tuple(stamps, valid, base, positions, matrices);
}

Part partOf(const std::optional<std::string>& format, std::optional<std::uint32_t> from,
            std::optional<std::uint32_t> to, bool skipBad)
{
    Part part{.format = formatOf(format), .skipBad = skipBad};
    if (from) {
        part.window.from(*from);
    }
    if (to) {
        part.window.to(*to);
    }
    return part;
}

bool eachSample(const std::string& path, Part part, Surroundings& around, const TakeSample& take)
{
    const auto reader = opened<KOR_RAWINFO>(path, part.format);
    around.title = reader->title();
    around.placeName = reader->placeName();
    LeftOut leftOut;
    const bool done = readAll(*reader, part.skipBad ? &leftOut : nullptr, [&](const KOR_RAWINFO& raw) {
        if (part.window.contains(raw.timeStampMs)) {
            take(raw, reader->place());
        } else {
            ++around.outside;
        }
    });
    around.bad = leftOut.places();
    if (done) {
        leftOut.tell(reader->title());
    }
    return done;
}

std::vector<KOR_RAWINFO> readRecording(const std::string& path, Part part, bool& interrupted)
{
    std::vector<KOR_RAWINFO> samples;
    Surroundings around;
    interrupted =
        !eachSample(path, part, around, [&](const KOR_RAWINFO& raw, std::uint64_t) { samples.push_back(raw); });
    return samples;
}

void declareFiles(py::module_& module)
{
    module.attr("RAW_DTYPE") = rawType();
    module.attr("INFO_DTYPE") = infoType();
    py::list outcomes;
    for (const std::string_view name : recordings::kOutcomeNames) {
        outcomes.append(py::str(std::string(name)));
    }
    module.attr("OUTCOMES") = py::tuple(outcomes);
    const auto columns = [](const auto& table) {
        py::list list;
        for (const recordings::Column& column : table) {
            list.append(py::make_tuple(std::string(column.name), std::string(column.unit)));
        }
        return py::tuple(list);
    };
    module.attr("RAW_COLUMNS") = columns(recordings::kRawColumns);
    module.attr("RESULT_COLUMNS") = columns(recordings::kResultColumns);
    module.def("read_recording", &pyReadRecording);
    module.def("write_recording", &pyWriteRecording);
    module.def("read_results", &pyReadResults);
    module.def("write_results", &pyWriteResults);
    module.def("read_truth", &pyReadTruth);
    module.def("write_truth", &pyWriteTruth);
}

} // namespace kor::python
