// kor plot: recordings, results and truths over time, as a picture or in a window.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "accuracy/Comparison.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "series/File.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/CompareSides.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Gnuplot.h"
#include "tools/kor/Options.h"
#include "tools/kor/Overwrite.h"
#include "tools/kor/PlotPanels.h"
#include "tools/kor/PlotScript.h"
#include "tools/kor/RecordingOptions.h"

namespace kor::tool {

namespace {

using recordings::Problem;
using series::Kind;

struct PlotRequest {
    using Option = std::optional<std::string>;
    std::vector<std::string> files;
    Option output, truth, columns, from, to, size;
    bool skipBad = false;
};

// The command line, understood.
struct PlotPlan {
    std::vector<std::string> files;
    std::optional<std::string> output; // nothing: a window
    PictureKind kind = PictureKind::svg;
    std::optional<std::string> truth;
    std::vector<std::string> columns; // empty: the usual ones
    Window window;
    std::optional<PictureSize> size;
    bool skipBad = false;
};

PictureSize sizeOption(const std::string& text)
{
    constexpr int kLeast = 300;
    constexpr int kMost = 20000;
    const std::vector<std::string_view> parts = platform::split(text, 'x');
    const auto partOf = [&](std::size_t i) { return platform::strictInteger<int>(parts[i]).value_or(0); };
    if (parts.size() != 2 || partOf(0) < kLeast || partOf(1) < kLeast || partOf(0) > kMost || partOf(1) > kMost) {
        throw Misuse(fmt::format("--size: found {}, expected width and height in pixels, each from {} to {}: 1200x900",
                                 inQuotes(text), kLeast, kMost));
    }
    return {partOf(0), partOf(1)};
}

PlotPlan understood(const PlotRequest& request)
{
    PlotPlan plan;
    plan.files = request.files;
    plan.truth = request.truth;
    plan.window = windowOption(request.from, request.to);
    plan.skipBad = request.skipBad;
    if (request.size) {
        plan.size = sizeOption(*request.size);
    }
    if (request.columns) {
        for (const std::string_view name : platform::split(*request.columns, ',')) {
            plan.columns.emplace_back(platform::trimmed(name));
        }
    }
    std::vector<UsedFile> used;
    for (const std::string& file : plan.files) {
        used.push_back({file, "one of the files to plot"});
    }
    if (plan.truth) {
        used.push_back({*plan.truth, "the truth"});
    }
    if (std::count_if(used.begin(), used.end(), [](const UsedFile& file) { return file.path == "-"; }) > 1) {
        throw Misuse("standard input can be only one of the files");
    }
    plan.output = request.output;
    if (!plan.output) {
        if (!platform::hasDisplay()) {
            throw Misuse("there is no desktop to open a window on; give -o FILE, which ends in .svg, .png or .pdf");
        }
        return plan;
    }
    const std::optional<PictureKind> kind = pictureNamed(*plan.output);
    if (!kind) {
        throw Misuse(
            fmt::format("-o: found {}, expected a name that ends in .svg, .png or .pdf", inQuotes(*plan.output)));
    }
    plan.kind = *kind;
    refuseToOverwrite("-o", *plan.output, used);
    return plan;
}

series::File openedFile(const std::string& path)
{
    Problem problem;
    std::optional<series::File> file = series::File::open(path, problem);
    if (!file) {
        throw Failure(problem);
    }
    for (const Problem& warning : file->warnings()) {
        warn(messageOf(warning));
    }
    return std::move(*file);
}

// A name that is in none of the files is a mistake; one that is in some of them is drawn for these.
void refuseUnknown(const std::vector<std::string>& columns, const std::vector<series::File>& files)
{
    std::vector<std::string> known;
    for (const series::File& file : files) {
        for (const std::string& name : file.names()) {
            if (std::find(known.begin(), known.end(), name) == known.end()) {
                known.push_back(name);
            }
        }
    }
    for (const std::string& name : columns) {
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            throw Misuse(
                fmt::format("--columns: found {}, expected some of {}", inQuotes(name), fmt::join(known, ", ")));
        }
    }
}

series::Series readRows(series::File& file, const PlotPlan& plan, std::vector<std::string> columns)
{
    series::Selection selection;
    selection.columns = std::move(columns);
    selection.window = plan.window;
    selection.skipBad = plan.skipBad;
    Problem problem;
    std::optional<series::Series> rows = file.read(selection, problem);
    if (!rows) {
        throw Failure(problem);
    }
    if (rows->bad > 0) {
        warn(fmt::format("{}: {} rows that could not be read are left out", rows->title, rows->bad));
    }
    if (!rows->told) {
        warn(rows->title + ": there is no column outcome, so samples without an orientation are drawn as others are; "
                           "replay the recording again to have them marked");
    }
    if (rows->rows() == 0) {
        throw Failure(kExitDataError,
                      rows->title + (rows->outsideWindow == 0 ? ": there are no rows to plot"
                                                              : ": no row lies between --from and --to"));
    }
    return std::move(*rows);
}

// What is read of a file: what is drawn, and the orientation if it is held against a truth.
std::vector<std::string> neededColumns(const series::File& file, const PlotPlan& plan)
{
    std::vector<std::string> names = plan.columns.empty() ? usualColumns(file.kind()) : plan.columns;
    if (plan.truth && file.kind() == Kind::results) {
        const std::vector<std::string>& matrix = orientationColumns(SideKind::results);
        names.insert(names.end(), matrix.begin(), matrix.end());
    }
    return names;
}

// The error of every row that kor compare would compare, arc-seconds; nan in all others.
std::vector<series::Column> errorsOf(const series::Series& rows, const Side& truth)
{
    const Side results = sideOf(rows);
    warnOfNoRotation(results);
    accuracy::Comparison counts;
    const std::vector<accuracy::Pair> pairs = accuracy::comparedRows(results.series, truth.series, 0, counts);
    refuseIfNothing(results, truth, counts);
    const std::vector<double> nothing(rows.rows(), std::numeric_limits<double>::quiet_NaN());
    std::vector<series::Column> errors;
    for (const char* const name : {"angle", "about x", "about y", "about z"}) {
        errors.push_back({name, "arcsec", false, {}, nothing});
    }
    for (const accuracy::Pair& pair : pairs) {
        const accuracy::Turn turn =
            accuracy::turnOf(results.series.orientations[pair.first], truth.series.orientations[pair.second]);
        errors[0].doubles[pair.first] = turn.angle * accuracy::kArcSecondsOfDegree;
        for (std::size_t i = 0; i < 3; ++i) {
            errors[i + 1].doubles[pair.first] = turn.about[i] * accuracy::kArcSecondsOfDegree;
        }
    }
    return errors;
}

std::optional<Side> truthOf(const PlotPlan& plan, const std::vector<series::File>& files)
{
    if (!plan.truth) {
        return std::nullopt;
    }
    if (std::none_of(files.begin(), files.end(), [](const auto& file) { return file.kind() == Kind::results; })) {
        throw Misuse("--truth requires results, and none of the files holds results");
    }
    series::File file = openedFile(*plan.truth);
    if (file.kind() != Kind::truth) {
        throw Failure(Problem{.kind = Problem::Kind::badData,
                              .file = file.title(),
                              .found = nameOf(file.kind()),
                              .expected = "the truth of kor simulate"});
    }
    Problem problem;
    const std::optional<series::Series> rows = file.read({.columns = orientationColumns(SideKind::truth)}, problem);
    if (!rows) {
        throw Failure(problem);
    }
    Side side = sideOf(*rows);
    warnOfNoRotation(side);
    return side;
}

// The last parts of a path, so many of them; what comes from standard input has a title alone.
std::string lastParts(const series::Series& rows, std::size_t count)
{
    if (rows.path == "-") {
        return rows.title;
    }
    const std::filesystem::path path = platform::pathFrom(rows.path);
    std::filesystem::path last;
    auto part = path.end();
    for (std::size_t i = 0; i < count && part != path.begin(); ++i) {
        --part;
        last = last.empty() ? *part : *part / last;
    }
    return platform::textOf(last);
}

// Names for the legend: as much of each path as tells it from the others. The same file again has a number behind it.
void nameRuns(std::deque<PlottedRun>& runs)
{
    for (PlottedRun& run : runs) {
        run.name = lastParts(run.rows, 1);
    }
    constexpr std::size_t kMostParts = 20;
    for (std::size_t parts = 2; parts <= kMostParts; ++parts) {
        std::vector<PlottedRun*> again;
        for (PlottedRun& run : runs) {
            if (std::any_of(runs.begin(), runs.end(), [&run](const PlottedRun& other) {
                    return other.name == run.name && other.rows.path != run.rows.path;
                })) {
                again.push_back(&run);
            }
        }
        for (PlottedRun* const run : again) {
            run->name = lastParts(run->rows, parts);
        }
    }
    for (std::size_t i = runs.size(); i-- > 1;) {
        const auto before = std::count_if(runs.begin(), runs.begin() + static_cast<std::ptrdiff_t>(i),
                                          [&](const PlottedRun& other) { return other.name == runs[i].name; });
        if (before > 0) {
            runs[i].name += fmt::format(" ({})", before + 1);
        }
    }
}

int plot(const PlotRequest& request)
{
    const PlotPlan plan = understood(request);
    std::vector<series::File> files;
    for (const std::string& path : plan.files) {
        files.push_back(openedFile(path));
    }
    refuseUnknown(plan.columns, files);
    const std::optional<Side> truth = truthOf(plan, files);

    std::deque<PlottedRun> runs;
    for (series::File& file : files) {
        PlottedRun& run = runs.emplace_back();
        run.rows = readRows(file, plan, neededColumns(file, plan));
        if (truth && file.kind() == Kind::results) {
            run.errors = errorsOf(run.rows, *truth);
        }
    }
    nameRuns(runs);
    std::string title;
    for (const PlottedRun& run : runs) {
        title += (title.empty() ? "" : ", ") + run.name;
    }
    const bool shared = alignTimes(runs);
    const std::vector<Panel> panels = panelsOf(runs, plan.columns);
    const PictureSize size = plan.size.value_or(usualSize(runs, panels));
    // A picture of lines can be enlarged, so it has more of them.
    const int perPixel = plan.output && plan.kind != PictureKind::png ? 2 : 1;
    const std::string script = plotScript(title, runs, panels, size, perPixel, shared);
    if (plan.output) {
        drawPicture(*plan.output, plan.kind, size, script);
    } else {
        drawInWindow(title, size, script);
    }
    return kExitOk;
}

} // namespace

Command declarePlot(const CommandGroup& root)
{
    const auto request = std::make_shared<PlotRequest>();
    Subcommand command(root, "plot", "Plot recordings, results and truths over time");
    command
        .requiredArguments("FILES", request->files,
                           "Recordings, results of kor replay or truths of kor simulate, drawn over each other; - is "
                           "standard input")
        .takes(fileNamed(rowEndings()));
    command
        .option("-o,--output", request->output, "FILE",
                "File of the picture, whose name ends in .svg, .png or .pdf (default: a window on the desktop)")
        .takes(outputNamed(compressible(pictureEndings())))
        .moreInManual("If .gz or .zst follows, the picture is compressed");
    command
        .option("--truth", request->truth, "TRUTH",
                "Truth of kor simulate: adds the error of the results, in arc-seconds, as an angle and about each axis")
        .takes(fileNamed(truthEndings()))
        .moreInManual("The angle is the one that kor compare finds");
    std::vector<std::string> columns;
    for (const Kind kind : {Kind::recording, Kind::results, Kind::truth}) {
        for (const recordings::Column& column : series::columnsOf(kind)) {
            const std::string name(column.name);
            if (series::isNumber(column) && std::find(columns.begin(), columns.end(), name) == columns.end()) {
                columns.push_back(name);
            }
        }
    }
    command
        .option("--columns", request->columns, "NAMES",
                "Columns to draw, with commas between them (default: angles, levels and temperatures; for a truth, "
                "position and axes)")
        .takes(listOf(std::move(columns)));
    declareWindow(command, request->from, request->to, "rows");
    command.option(
        "--size", request->size, "WxH",
        "Width and height in pixels; in a PDF, 100 pixels are an inch (default: 1200 wide, as high as needed)");
    declareSkipBad(command, request->skipBad);
    command.about(
        "Lines break at gaps and where there is no orientation. The strip at the bottom shows gaps, rejected samples "
        "and unusable samples, and the dashed vertical line shows where the reference was captured. In every column of "
        "pixels the smallest and the largest value are drawn, so that no peak of millions of rows is lost. The program "
        "gnuplot(1) draws the picture and has to be installed.",
        "Columns that belong together are in one panel, and the panels are one above the other.");
    command.example("Results and their error, as a picture",
                    {"kor simulate --prm calibration --id 1005 --motion random -o sim.csv --truth sim_truth.csv",
                     "kor replay --prm calibration --id 1005 sim.csv -o sim_results.csv",
                     "kor plot sim_results.csv --truth sim_truth.csv -o sim.svg"});
    command.example("The levels of a recording", {"kor plot run.csv --columns levelXRaw,levelYRaw -o levels.png"});
    return command.runs([request] { return plot(*request); });
}

} // namespace kor::tool
