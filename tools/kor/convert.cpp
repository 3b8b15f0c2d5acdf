// kor convert: recordings, results and truths from one format to another, in part, thinned out or joined.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "recordings/Columns.h"
#include "recordings/Compression.h"
#include "recordings/Input.h"
#include "recordings/Output.h"
#include "recordings/Reader.h"
#include "recordings/Recognition.h"
#include "recordings/Writer.h"
#include "series/File.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Options.h"
#include "tools/kor/Overwrite.h"
#include "tools/kor/Progress.h"
#include "tools/kor/RecordingOptions.h"

namespace kor::tool {

namespace {

using recordings::Format;
using recordings::Input;
using recordings::Output;
using recordings::Problem;
using recordings::Result;
using recordings::Step;
using recordings::Truth;
using series::nameOf;
using Rows = series::Kind; // of a file

struct ConvertRequest {
    using Option = std::optional<std::string>;
    std::vector<std::string> files; // the last one is the output
    Option inputFormat, format, from, to, every, progress;
    bool skipBad = false;
};

// The command line, understood.
struct ConvertPlan {
    std::vector<std::string> inputs;
    std::string output;
    std::optional<Format> inputFormat;
    std::optional<Format> format;
    Window window;
    std::uint64_t every = 1;
    bool skipBad = false;
    ShowProgress progress = ShowProgress::automatic;
};

ConvertPlan understood(const ConvertRequest& request)
{
    ConvertPlan plan;
    if (request.files.size() < 2) {
        throw Misuse("found one file, expected IN... and OUT");
    }
    plan.inputs.assign(request.files.begin(), request.files.end() - 1);
    plan.output = request.files.back();
    plan.inputFormat = inputFormatOption(request.inputFormat);
    plan.format = formatOption(request.format);
    plan.window = windowOption(request.from, request.to);
    plan.every = request.every ? wholeOption<std::uint64_t>("--every", *request.every, 1) : 1;
    plan.skipBad = request.skipBad;
    plan.progress = progressOption(request.progress);

    std::vector<UsedFile> used;
    std::size_t standard = 0;
    for (const std::string& input : plan.inputs) {
        used.push_back({input, "one of the files to convert"});
        standard += input == "-" ? 1 : 0;
    }
    if (standard > 1) {
        throw Misuse("standard input can be only one of the files");
    }
    refuseToOverwrite("OUT", plan.output, used);
    return plan;
}

// A file to convert, open.
struct Part {
    std::unique_ptr<Input> input;
    Rows rows = Rows::recording;
};

Part openedPart(const std::string& path)
{
    Problem problem;
    Part source;
    source.input = Input::open(path, problem);
    if (!source.input) {
        throw Failure(problem);
    }
    // What holds no rows is told by the reader of recordings.
    source.rows =
        series::kindOf(recordings::recognise(recordings::beginning(*source.input)).content).value_or(Rows::recording);
    return source;
}

// The format that the output's name, or --format, asks for.
Format outputFormat(const ConvertPlan& plan, Rows rows)
{
    const std::string& path = plan.output;
    const bool forRecordings = recordings::hasExtension(path, ".korraw");
    const bool forResults = recordings::hasExtension(path, ".korinfo");
    if ((forRecordings && rows != Rows::recording) || (forResults && rows != Rows::results)) {
        throw Misuse(fmt::format("{}: the name is that of {}, and the input is {}", shown(path),
                                 forRecordings ? "a binary recording" : "binary results", nameOf(rows)));
    }
    Format format = Format::csv;
    if (plan.format) {
        format = *plan.format;
    } else if (forRecordings || forResults) {
        format = Format::binary;
    } else if (path != "-" && !recordings::hasExtension(path, ".csv")) {
        throw Misuse(
            fmt::format("{}: the name does not say the format; end it in .csv, .korraw or .korinfo, with .gz or "
                        ".zst behind it to compress, or give --format",
                        shown(path)));
    }
    if (rows == Rows::truth && format != Format::csv) {
        throw Misuse("a truth can only be written as CSV");
    }
    if (format == Format::bare && rows != Rows::results) {
        throw Misuse("--format bare is a form of results, and the input is " + std::string(nameOf(rows)));
    }
    return format;
}

// What became of the rows.
struct Counts {
    std::uint64_t read = 0;
    std::uint64_t outside = 0;
    std::uint64_t thinned = 0;
    std::uint64_t bad = 0;
    std::uint64_t written = 0;
    std::uint64_t unreadBytes = 0; // records with something where the engine reads nothing
};

// Bytes of a binary record that CSV has no column for.
template <typename Record>
bool hasUnreadBytes(const Record& record)
{
    if constexpr (std::is_same_v<Record, KOR_RAWINFO>) {
        return record.reserved0 != 0 || record.reserved44 != 0 || record.reserved49[0] != 0 ||
               record.reserved49[1] != 0 || record.reserved49[2] != 0;
    } else {
        return false;
    }
}

// Parts that do not follow each other in time are joined all the same; whoever reads the whole has to know.
void tellIfBackwards(const std::string& before, std::uint32_t last, const std::string& after, std::uint32_t first)
{
    const auto step = static_cast<std::int32_t>(first - last);
    if (step < 0) {
        warn(fmt::format("{} begins at {} ms, before {} ends at {} ms: the time stamps go backwards", after, first,
                         before, last));
    } else if (step == 0) {
        warn(fmt::format("{} begins with the time stamp {} ms, with which {} ends", after, first, before));
    }
}

template <typename Record, typename Writer>
class Conversion {
public:
    Conversion(const ConvertPlan& plan, Output& output, Writer writer, Format format)
        : m_plan(plan), m_window(plan.window), m_output(output), m_writer(writer), m_format(format)
    {
    }

    void add(std::unique_ptr<Input> input)
    {
        constexpr std::uint64_t kRowsBetweenLooks = 1023; // rows between two looks at the clock, less one
        Problem problem;
        const auto reader = recordings::RecordReader<Record>::open(std::move(input), m_plan.inputFormat, problem);
        if (!reader) {
            throw Failure(problem);
        }
        for (const Problem& warning : reader->warnings()) {
            warn(messageOf(warning));
        }
        refuseOlder(*reader);
        Progress progress(m_plan.progress, reader->title(), reader->size(), "rows");
        m_startsPart = true;
        m_part = reader->title();
        Record record;
        for (Step step; (step = reader->next(record)) != Step::end;) {
            if ((m_counts.read & kRowsBetweenLooks) == 0) {
                progress.update(reader->consumed(), m_counts.read);
            }
            if (step == Step::sample) {
                take(record);
            } else {
                progress.clear();
                passOver(step, reader->problem());
            }
        }
        if (m_startsPart) {
            warn(m_part + ": there are no rows");
        }
    }

    const Counts& counts() const { return m_counts; }

private:
    // Rows without an outcome would come out with one that nobody has found.
    void refuseOlder(const recordings::RecordReader<Record>& reader) const
    {
        if constexpr (std::is_same_v<Record, Result>) {
            for (std::size_t i = 0; i < recordings::kResultColumns.size(); ++i) {
                if (!reader.has(i)) {
                    throw Failure(Problem{.kind = Problem::Kind::badData,
                                          .file = reader.title(),
                                          .reason = "the column " + std::string(recordings::kResultColumns[i].name) +
                                                    " is missing",
                                          .advice = "replay the recording again to have it"});
                }
            }
        }
    }

    void take(const Record& record)
    {
        const std::uint32_t stamp = record.timeStampMs;
        if (m_startsPart && m_counts.read > 0) {
            tellIfBackwards(m_before, m_last, m_part, stamp);
        }
        m_startsPart = false;
        m_before = m_part;
        m_last = stamp;
        ++m_counts.read;
        if (!m_window.contains(stamp)) {
            ++m_counts.outside;
        } else if (m_inside++ % m_plan.every != 0) {
            ++m_counts.thinned;
        } else {
            m_counts.unreadBytes += m_format == Format::csv && hasUnreadBytes(record) ? 1 : 0;
            if (!m_writer.write(record)) {
                throw Failure(m_output.problem());
            }
            ++m_counts.written;
        }
    }

    void passOver(Step step, const Problem& problem)
    {
        constexpr std::uint64_t kShown = 5;
        if (step == Step::failed || !m_plan.skipBad) {
            throw Failure(problem);
        }
        if (++m_counts.bad <= kShown) {
            warn(messageOf(problem) + ": left out");
        }
    }

    const ConvertPlan& m_plan;
    Window m_window;
    Output& m_output;
    Writer m_writer;
    Format m_format;
    Counts m_counts;
    std::uint64_t m_inside = 0; // rows within the window
    bool m_startsPart = true;
    std::string m_part;
    std::string m_before; // the part of the row before
    std::uint32_t m_last = 0;
};

template <typename Record, typename Writer>
Counts converted(const ConvertPlan& plan, std::vector<Part> sources, Output& output, Writer writer, Format format)
{
    Conversion<Record, Writer> conversion(plan, output, writer, format);
    for (Part& source : sources) {
        conversion.add(std::move(source.input));
    }
    return conversion.counts();
}

std::string summary(const Counts& counts, const ConvertPlan& plan, Rows rows)
{
    std::string text = fmt::format("converted: {}\n", rows == Rows::results ? "results" : nameOf(rows) + 2);
    const auto line = [&text](const char* name, std::uint64_t count) {
        text += fmt::format("  {:<22}{}\n", name, count);
    };
    line("rows read:", counts.read);
    if (plan.window.limited()) {
        line("outside the window:", counts.outside);
    }
    if (plan.every > 1) {
        line("left out by --every:", counts.thinned);
    }
    if (plan.skipBad) {
        line("bad, left out:", counts.bad);
    }
    line("rows written:", counts.written);
    return text;
}

int convert(const ConvertRequest& request)
{
    const ConvertPlan plan = understood(request);
    std::vector<Part> sources;
    for (const std::string& path : plan.inputs) {
        sources.push_back(openedPart(path));
        if (sources.back().rows != sources.front().rows) {
            throw Failure(Problem{
                .kind = Problem::Kind::badData,
                .file = sources.back().input->title(),
                .found = nameOf(sources.back().rows),
                .expected = fmt::format("{}, as {} is", nameOf(sources.front().rows), sources.front().input->title())});
        }
    }
    const Rows rows = sources.front().rows;
    const Format format = outputFormat(plan, rows);
    Problem problem;
    const std::unique_ptr<Output> output = Output::open(plan.output, problem);
    if (!output) {
        throw Failure(problem);
    }
    using recordings::RecordingWriter;
    using recordings::ResultWriter;
    using recordings::TruthWriter;
    const Counts counts =
        rows == Rows::recording
            ? converted<KOR_RAWINFO>(plan, std::move(sources), *output, RecordingWriter(*output, format), format)
        : rows == Rows::results
            ? converted<Result>(plan, std::move(sources), *output, ResultWriter(*output, format), format)
            : converted<Truth>(plan, std::move(sources), *output, TruthWriter(*output), format);
    if (counts.written == 0) {
        throw Failure(kExitDataError, counts.read == 0
                                          ? "there is nothing to convert: the input has no rows that could be read"
                                          : "there is nothing to convert: no row lies between --from and --to");
    }
    if (!output->close()) {
        throw Failure(output->problem());
    }
    if (counts.unreadBytes > 0) {
        warn(fmt::format("{} records have contents in bytes that the engine does not read; CSV has no columns for "
                         "them, so they are lost",
                         counts.unreadBytes));
    }
    tell(summary(counts, plan, rows));
    return kExitOk;
}

} // namespace

Command declareConvert(const CommandGroup& root)
{
    const auto request = std::make_shared<ConvertRequest>();
    Subcommand command(root, "convert", "Convert, cut out, thin out and join recordings and results");
    command
        .requiredArguments(
            "FILES", request->files,
            "IN... OUT: one or more inputs and, last, the output. Inputs are recordings, results or truths; several of "
            "one kind are joined in their order. The name of OUT gives the format: .csv, .korraw (recordings) or "
            ".korinfo (results), and compression if .gz or .zst follows. - is standard input or standard output")
        .takes(outputNamed(rowEndings()));
    command
        .option("--format", request->format, "FORMAT",
                "Format of OUT: csv, bin or bare; bare has only the engine's records of results, in binary (default: "
                "by the name of OUT)")
        .takes(oneOf(wordsOf(formatChoices())));
    command
        .option("--input-format", request->inputFormat, "FORMAT",
                "Format of the inputs: csv or bin (default: by their names and content)")
        .takes(oneOf(wordsOf(inputFormatChoices())));
    declareWindow(command, request->from, request->to, "rows");
    command.option("--every", request->every, "N", "Keep the first of every N rows");
    declareSkipBad(command, request->skipBad);
    declareProgress(command, request->progress);
    command.about("A CSV file that kor has written is the same, byte by byte, after it was converted to binary and "
                  "back. OUT appears under "
                  "its name when it is complete. A summary goes to standard error.");
    command.example("Two recordings as one, compressed", {"kor convert run.csv second.korraw both.csv.gz"});
    command.example("Every tenth row of the first second, as binary records",
                    {"kor convert --from 0 --to 999 --every 10 run.csv part.korraw"});
    return command.runs([request] { return convert(*request); });
}

} // namespace kor::tool
