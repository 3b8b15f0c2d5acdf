#include "recordings/Reader.h"

#include <bit>
#include <string_view>

#include "platform/Text.h"
#include "recordings/Compression.h"
#include "recordings/Recognition.h"

namespace kor::recordings {

namespace {

static_assert(std::endian::native == std::endian::little, "binary recordings are little-endian records as in memory");

template <typename Record>
constexpr Kind kKindOf{};

template <>
constexpr Kind kKindOf<KOR_RAWINFO>{kRawColumns, sizeof(KOR_RAWINFO), "a recording", Content::recordingCsv,
                                    Content::recordingBinary};
template <>
constexpr Kind kKindOf<Result>{kResultColumns, sizeof(Result), "results of kor replay", Content::resultsCsv,
                               Content::resultsBinary};
template <>
constexpr Kind kKindOf<Truth>{kTruthColumns, sizeof(Truth), "a truth file of kor simulate", Content::truthCsv,
                              Content::other};

std::optional<Format> formatNamed(const std::string& path)
{
    if (hasExtension(path, ".csv")) {
        return Format::csv;
    }
    if (hasExtension(path, ".korraw") || hasExtension(path, ".korinfo")) {
        return Format::binary;
    }
    return std::nullopt;
}

// How the content is to be read when it is what the name or the caller says; otherwise nothing, and the problem.
std::optional<Format> formatOf(const Input& input, std::string_view start, std::optional<Format> forced,
                               const Kind& kind, Problem& problem)
{
    const std::optional<Format> expected = forced ? forced : formatNamed(input.path());
    const Recognised recognised = recognise(start);
    if (recognised.content == Content::empty) {
        return expected.value_or(Format::csv);
    }
    problem = {.kind = Problem::Kind::badData, .file = input.title(), .found = recognised.what};
    problem.expected = kind.name;
    problem.advice = recognised.advice;
    const bool hasBinary = kind.binary != Content::other;
    if (isText(recognised.content)) {
        if (expected != Format::binary) {
            return Format::csv;
        }
        problem.found = "text " + platform::inQuotes(start);
        problem.expected = "binary records";
        problem.advice.clear();
        problem.readableAs = Format::csv;
        return std::nullopt;
    }
    if (expected == Format::csv) {
        if (recognised.content == kind.binary && hasBinary) {
            problem.expected = "CSV";
            problem.readableAs = Format::binary;
        }
        return std::nullopt;
    }
    // Less than one record cannot be judged; if the name says what it is, the record is named as cut off.
    const bool cutOff = expected == Format::binary && start.size() < kind.recordSize;
    if (hasBinary && (recognised.content == kind.binary || forced || cutOff)) {
        return Format::binary;
    }
    if (recognised.content == Content::unknown && hasBinary) {
        problem.readableAs = Format::binary;
    }
    return std::nullopt;
}

std::unique_ptr<Records> recordsOf(Input& input, const Kind& kind, Format format)
{
    if (format == Format::csv) {
        return std::make_unique<CsvRecords>(input, kind);
    }
    if (kind.binary == Content::recordingBinary) {
        return std::make_unique<PlainRecords>(input, kind);
    }
    return std::make_unique<PackedRecords>(input, kind);
}

} // namespace

template <typename Record>
std::unique_ptr<RecordReader<Record>> RecordReader<Record>::open(const std::string& path, std::optional<Format> format,
                                                                 Problem& problem)
{
    std::unique_ptr<Input> input = Input::open(path, problem);
    return input ? open(std::move(input), format, problem) : nullptr;
}

template <typename Record>
std::unique_ptr<RecordReader<Record>> RecordReader<Record>::open(std::unique_ptr<Input> input,
                                                                 std::optional<Format> format, Problem& problem)
{
    const Kind& kind = kKindOf<Record>;
    const std::string_view start = beginning(*input);
    if (input->problem()) {
        problem = input->problem();
        return nullptr;
    }
    const std::optional<Format> chosen = formatOf(*input, start, format, kind, problem);
    if (!chosen) {
        return nullptr;
    }
    std::unique_ptr<Records> records = recordsOf(*input, kind, *chosen);
    if (!records->begin()) {
        problem = records->problem();
        return nullptr;
    }
    problem = {};
    return std::unique_ptr<RecordReader>(new RecordReader(std::move(input), std::move(records)));
}

template class RecordReader<KOR_RAWINFO>;
template class RecordReader<Result>;
template class RecordReader<Truth>;

} // namespace kor::recordings
