#include "tools/kor/PlotScript.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <string_view>

#include <fmt/format.h>

#include "platform/Text.h"
#include "series/Decimation.h"

namespace kor::tool {

namespace {

using series::Bucket;
using series::Extent;

// Colours that are told apart with every kind of colour vision, on white. Those of the lines; marks are black and grey.
constexpr std::array<const char*, 7> kColours = {"#0072B2", "#D55E00", "#009E73", "#CC79A7",
                                                 "#E69F00", "#56B4E9", "#000000"};
constexpr const char* kMarkColour = "#000000";
constexpr const char* kMildColour = "#707070";
constexpr const char* kReferenceColour = "#444444";
constexpr int kDashes = 5; // kinds of lines that gnuplot has

// In pixels.
constexpr int kTop = 34;
constexpr int kBottom = 52;
constexpr int kLeft = 96;
constexpr int kBetween = 10;
constexpr int kLine = 17; // of text
constexpr int kLetter = 7;
constexpr int kPanel = 165;
constexpr int kUsualWidth = 1200;
constexpr int kHighest = 20000;
constexpr int kMarkSpacing = 12;

constexpr std::size_t kMostStrands = 64;
constexpr std::size_t kMostReferences = 50;
constexpr std::size_t kMostMarkRows = 24;

// A text of at most so many characters; what stands in the middle is left out. As of a text that is printable.
std::string shortened(const std::string& text, std::size_t most)
{
    std::vector<std::size_t> starts; // of the characters
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xc0U) != 0x80U) {
            starts.push_back(i);
        }
    }
    if (starts.size() <= most) {
        return text;
    }
    const std::size_t ahead = (most - 1) / 2;
    const std::size_t behind = most - 1 - ahead;
    return text.substr(0, starts[ahead]) + "\xe2\x80\xa6" + text.substr(starts[starts.size() - behind]);
}

std::string lineName(const std::deque<PlottedRun>& runs, const PlottedLine& line)
{
    return runs.size() == 1 ? line.name : line.run->name + ": " + line.name;
}

// One kind of marks of one run: a row of the strip.
struct MarkRow {
    std::string name;
    std::size_t count = 0;
    int marker = 0;
    const char* colour = kMarkColour;
    bool inPanels = false; // also at the lower edge of each panel
    std::vector<bool> buckets;
};

// Times on the axis, in its unit.
struct Axis {
    double length = 1.0;
    double unit = 1000.0; // ms
    const char* name = "s";
    std::size_t count = 1; // of the buckets

    double of(std::int64_t ms) const { return static_cast<double>(ms) / unit; }
    double ofBucket(std::size_t bucket) const
    {
        return (static_cast<double>(bucket) + 0.5) / static_cast<double>(count) * length;
    }
};

// Draws all of it.
class Drawing {
public:
    Drawing(const std::deque<PlottedRun>& runs, const std::vector<Panel>& panels, PictureSize size)
        : m_runs(runs), m_panels(panels), m_size(size)
    {
        std::size_t longest = 10;
        for (const Panel& panel : panels) {
            for (const PlottedLine& line : panel.lines) {
                longest = std::max(longest, lineName(runs, line).size());
            }
        }
        for (const PlottedRun& run : runs) {
            for (const series::Label& label : run.rows.labels) {
                if (label.verdict != series::Verdict::usable) {
                    longest =
                        std::max(longest, markName(run, label.name).size() + std::string_view(" (100000)").size());
                }
            }
        }
        longest = std::max(longest, std::string_view("reference captured").size());
        m_right = std::clamp(static_cast<int>(longest) * kLetter + 50, 120, size.width * 3 / 10);
    }

    std::string script(const std::string& title, int perPixel, bool shared)
    {
        measureTime(perPixel);
        findMarks();
        drawTitle(title);
        const int strip = m_marks.empty() ? 0 : static_cast<int>(m_marks.size()) * kLine + kLine / 2;
        const int between = kBetween * static_cast<int>(m_panels.size() - (m_marks.empty() ? 1 : 0));
        const double height = static_cast<double>(m_size.height - kTop - kBottom - strip - between) /
                              static_cast<double>(m_panels.size());
        double top = kTop;
        for (std::size_t i = 0; i < m_panels.size(); ++i) {
            placePanel(top, std::max(height, 20.0), i + 1 == m_panels.size() && m_marks.empty(), shared);
            drawPanel(m_panels[i], i == 0, top, height);
            top += height + kBetween;
        }
        if (!m_marks.empty()) {
            placePanel(top, strip, true, shared);
            drawStrip();
        }
        return m_data + "set multiplot\n" + m_script + "unset multiplot\n";
    }

private:
    std::string markName(const PlottedRun& run, const std::string& name) const
    {
        return m_runs.size() == 1 ? name : run.name + ": " + name;
    }

    void measureTime(int perPixel)
    {
        std::int64_t last = 0;
        for (const PlottedRun& run : m_runs) {
            last = std::max(last, *std::max_element(run.rows.times.begin(), run.rows.times.end()) - run.origin);
        }
        m_last = last;
        constexpr std::int64_t kManySeconds = 2000;
        constexpr std::int64_t kManyMinutes = 200;
        if (last > kManyMinutes * 60 * 1000) {
            m_axis.unit = 3600.0 * 1000.0;
            m_axis.name = "h";
        } else if (last > kManySeconds * 1000) {
            m_axis.unit = 60.0 * 1000.0;
            m_axis.name = "min";
        }
        m_axis.length = std::max(m_axis.of(last), 1e-3);
        m_axis.count =
            static_cast<std::size_t>(std::max(m_size.width - kLeft - m_right, 10)) * static_cast<std::size_t>(perPixel);
    }

    Extent extentOf(const PlottedRun& run) const { return {run.origin, run.origin + m_last, m_axis.count}; }

    std::vector<Bucket> bucketsOf(const PlottedLine& line, const series::Strand& strand) const
    {
        return series::decimated(line.run->rows, *line.column, extentOf(*line.run), strand.begin, strand.end);
    }

    // The gaps of each run, and its rows that are not usable.
    void findMarks()
    {
        for (const PlottedRun& run : m_runs) {
            const std::vector<series::Label>& labels = run.rows.labels;
            std::vector<MarkRow> marks = emptyMarks(run);
            MarkRow gaps{markName(run, "gap"),           run.rows.gaps.size(), 1, kMildColour, false,
                         std::vector<bool>(m_axis.count)};
            markRows(run, gaps, marks);
            if (gaps.count > 0) {
                addMarks(std::move(gaps));
            }
            for (std::size_t i = 0; i < marks.size(); ++i) {
                if (labels[i].verdict != series::Verdict::usable) {
                    addMarks(std::move(marks[i]));
                }
            }
        }
    }

    // One for each label.
    std::vector<MarkRow> emptyMarks(const PlottedRun& run) const
    {
        constexpr int kCross = 2;
        constexpr int kCircle = 6;
        constexpr std::array<int, 4> kOthers = {8, 10, 12, 4}; // triangles, diamond, square
        std::vector<MarkRow> marks;
        const std::vector<std::size_t> counts = run.rows.counts();
        std::size_t others = 0;
        for (std::size_t i = 0; i < counts.size(); ++i) {
            const series::Label& label = run.rows.labels[i];
            MarkRow row{markName(run, label.name),      counts[i], kCross, kMarkColour, true,
                        std::vector<bool>(m_axis.count)};
            if (label.verdict == series::Verdict::beforeReference) {
                row.marker = kCircle;
                row.colour = kMildColour;
                row.inPanels = false;
            } else if (label.verdict == series::Verdict::unusable) {
                row.marker = kOthers[others++ % kOthers.size()];
            } else if (label.verdict == series::Verdict::usable) {
                row.inPanels = false;
            }
            marks.push_back(std::move(row));
        }
        return marks;
    }

    void markRows(const PlottedRun& run, MarkRow& gaps, std::vector<MarkRow>& labels) const
    {
        const series::Series& rows = run.rows;
        std::size_t at = 0; // in the gaps
        for (std::size_t row = 0; row < rows.rows(); ++row) {
            const bool behindGap = at < rows.gaps.size() && rows.gaps[at] == row;
            if (behindGap) {
                mark(run, gaps, row - 1, row);
                ++at;
            }
            if (rows.verdict(row) != series::Verdict::usable) {
                const bool goesOn = row > 0 && !behindGap && rows.labelOf[row - 1] == rows.labelOf[row] &&
                                    rows.times[row - 1] <= rows.times[row];
                mark(run, labels[rows.labelOf[row]], goesOn ? row - 1 : row, row);
            }
        }
    }

    // From the time of one row to that of another.
    void mark(const PlottedRun& run, MarkRow& marks, std::size_t from, std::size_t to) const
    {
        const Extent extent = extentOf(run);
        const std::size_t last = bucketOf(extent, run.rows.times[to]);
        for (std::size_t bucket = bucketOf(extent, run.rows.times[from]); bucket <= last; ++bucket) {
            marks.buckets[bucket] = true;
        }
    }

    void addMarks(MarkRow row)
    {
        if (m_marks.size() < kMostMarkRows) {
            m_marks.push_back(std::move(row));
        }
    }

    void drawTitle(const std::string& title)
    {
        const auto most = static_cast<std::size_t>(std::max(m_size.width / (kLetter + 1), 12));
        m_script +=
            fmt::format("set label 1 {} at screen 0.5, screen {} center noenhanced\n",
                        gnuplotText(shortened(platform::printable(title), most)), 1.0 - 0.5 * kTop / m_size.height);
    }

    // Places the next panel and its axis of time.
    void placePanel(double top, double height, bool lowest, bool shared)
    {
        const double full = m_size.height;
        m_script +=
            fmt::format("set lmargin at screen {}\nset rmargin at screen {}\nset tmargin at screen {}\n"
                        "set bmargin at screen {}\n",
                        static_cast<double>(kLeft) / m_size.width, 1.0 - static_cast<double>(m_right) / m_size.width,
                        1.0 - top / full, 1.0 - (top + height) / full);
        m_script += fmt::format("set xrange [0:{}]\nset y2range [0:1]\nunset y2tics\n"
                                "set grid xtics ytics lc rgb '#dddddd' lw 1 lt 1\n"
                                "set xtics nomirror format '{}'\nset ytics nomirror\n",
                                m_axis.length, lowest ? "%g" : "");
        m_script += "unset arrow\n";
        if (lowest) {
            const std::string since = shared ? fmt::format("time since stamp {} ms ({})", earliestStamp(), m_axis.name)
                                             : fmt::format("time since the first row of each file ({})", m_axis.name);
            m_script += fmt::format("set xlabel {} noenhanced\n", gnuplotText(since));
        }
        for (const PlottedRun& run : m_runs) {
            const std::vector<std::size_t>& references = run.rows.references;
            for (std::size_t i = 0; i < std::min(references.size(), kMostReferences); ++i) {
                const double at = m_axis.of(run.rows.times[references[i]] - run.origin);
                m_script += fmt::format("set arrow from first {0}, graph 0 to first {0}, graph 1 nohead front lw 1.5 "
                                        "dt 4 lc rgb '{1}'\n",
                                        at, kReferenceColour);
            }
        }
    }

    std::uint32_t earliestStamp() const { return static_cast<std::uint32_t>(m_runs.front().origin); }

    bool hasReference() const
    {
        return std::any_of(m_runs.begin(), m_runs.end(),
                           [](const PlottedRun& run) { return !run.rows.references.empty(); });
    }

    // The legend's text: cut to the room that it has.
    std::string legendText(const std::string& name) const
    {
        const auto most = static_cast<std::size_t>(std::max((m_right - 46) / kLetter, 6));
        return gnuplotText(shortened(platform::printable(name), most));
    }

    // A block of data; its name.
    std::string block(const std::string& lines)
    {
        std::string name = fmt::format("$d{}", m_blocks++);
        m_data += name + " << EOD\n" + lines + "EOD\n";
        return name;
    }

    struct Range {
        double least = std::numeric_limits<double>::infinity();
        double most = -std::numeric_limits<double>::infinity();
    };

    // The line through the rows of a column, and dots for rows that no line leads to.
    void takeLine(const PlottedLine& line, std::string& path, std::string& dots, Range& range, MarkRow& notFinite) const
    {
        for (const series::Strand& strand : series::strands(line.run->rows, kMostStrands)) {
            const std::vector<Bucket> buckets = bucketsOf(line, strand);
            std::vector<std::size_t> piece; // rows of the line without a break
            for (std::size_t i = 0; i < buckets.size(); ++i) {
                if (buckets[i].notFinite > 0) {
                    notFinite.count += buckets[i].notFinite;
                    notFinite.buckets[i] = true;
                }
                if (buckets[i].drawn > 0 && !buckets[i].joined) {
                    takePiece(line, piece, path, dots, range);
                    piece.clear();
                }
                const std::vector<std::size_t> rows = buckets[i].rows();
                piece.insert(piece.end(), rows.begin(), rows.end());
            }
            takePiece(line, piece, path, dots, range);
        }
    }

    void takePiece(const PlottedLine& line, const std::vector<std::size_t>& piece, std::string& path, std::string& dots,
                   Range& range) const
    {
        std::string& text = piece.size() == 1 ? dots : path;
        for (const std::size_t row : piece) {
            const double value = line.column->at(row);
            range.least = std::min(range.least, value);
            range.most = std::max(range.most, value);
            const double time = m_axis.of(line.run->rows.times[row] - line.run->origin);
            text += line.column->floats.empty() ? fmt::format("{} {}\n", time, value)
                                                : fmt::format("{} {}\n", time, line.column->floats[row]);
        }
        text += piece.size() > 1 ? "\n" : "";
    }

    void drawPanel(const Panel& panel, bool first, double top, double height)
    {
        std::vector<std::string> plots;
        Range range;
        std::map<const PlottedRun*, std::size_t> numbers;
        for (const PlottedRun& run : m_runs) {
            numbers.emplace(&run, numbers.size());
        }
        std::vector<MarkRow> notFinite;
        for (std::size_t i = 0; i < panel.lines.size(); ++i) {
            const PlottedLine& line = panel.lines[i];
            std::string path;
            std::string dots;
            MarkRow& missing = notFinite.emplace_back();
            missing.buckets.resize(m_axis.count);
            takeLine(line, path, dots, range, missing);
            missing.count = panel.showsErrors ? 0 : missing.count; // what has no error has no value either
            const char* const colour = kColours[i % kColours.size()];
            const std::size_t run = numbers[line.run];
            const std::string look = fmt::format("lc rgb '{}' lw {}", colour, run == 0 ? 1.2 : 1.8);
            const std::string dash = fmt::format(" dt {}", run % kDashes + 1);
            const std::string title = legendText(lineName(m_runs, line));
            if (!dots.empty()) {
                plots.push_back(
                    fmt::format("{} using 1:2 with points pt 7 ps 0.35 lc rgb '{}' notitle", block(dots), colour));
            }
            if (path.empty()) {
                plots.push_back(fmt::format("NaN with lines {}{} title {}", look, dash, title));
                continue;
            }
            const std::string name = block(path);
            if (run > 0) { // what falls between two dashes is not to be lost
                plots.push_back(fmt::format("{} using 1:2 with lines lc rgb '{}' lw 0.6 notitle", name, colour));
            }
            plots.push_back(fmt::format("{} using 1:2 with lines {}{} title {}", name, look, dash, title));
        }
        if (first && hasReference()) {
            plots.push_back(
                fmt::format("NaN with lines lw 1.5 dt 4 lc rgb '{}' title 'reference captured'", kReferenceColour));
        }
        const bool marked =
            std::any_of(m_marks.begin(), m_marks.end(), [](const MarkRow& row) { return row.inPanels; });
        double level = 0.04;
        for (const MarkRow& row : m_marks) {
            if (row.inPanels) {
                plots.push_back(marksPlot(row, level, true));
            }
        }
        for (std::size_t i = 0; i < notFinite.size(); ++i) {
            MarkRow& row = notFinite[i];
            if (row.count > 0) {
                row.name = lineName(m_runs, panel.lines[i]) + " not finite";
                row.marker = 3; // a star
                level = 0.04;
                plots.push_back(marksPlot(row, level, true));
                plots.back().replace(plots.back().find("notitle"), 7,
                                     fmt::format("title {}", legendText(fmt::format("not finite: {}", row.count))));
            }
        }
        setRange(range, marked, height);
        drawPanelName(panel, top, height);
        m_script += fmt::format("set key at screen {}, screen {} left top Left reverse samplen 2 noenhanced\n",
                                1.0 - static_cast<double>(m_right - 6) / m_size.width, 1.0 - top / m_size.height);
        m_script += "plot " + fmt::format("{}", fmt::join(plots, ", \\\n     ")) + "\n";
        m_script += "unset label 1\nunset label 2\nunset label 3\n";
    }

    // Title and unit along the panel; one beside the other where the panel is low.
    void drawPanelName(const Panel& panel, double top, double height)
    {
        const std::string unit = panel.unit.empty() ? std::string() : "(" + panel.unit + ")";
        const auto most = static_cast<std::size_t>(std::max(height / (kLetter - 1), 6.0));
        const auto drawLabel = [&](int number, const std::string& text, double left) {
            m_script += fmt::format("set label {} {} at screen {}, screen {} center rotate noenhanced\n", number,
                                    gnuplotText(shortened(text, most)), left / m_size.width,
                                    1.0 - (top + height / 2) / m_size.height);
        };
        if (panel.title.size() + unit.size() + 1 <= most) {
            drawLabel(2, unit.empty() ? panel.title : panel.title + " " + unit, 14.0);
        } else {
            drawLabel(2, panel.title, 9.0);
            drawLabel(3, unit, 24.0);
        }
    }

    // The range of values with a margin, below for the marks as well.
    void setRange(Range range, bool marked, double height)
    {
        if (range.least > range.most) {
            range = {-1.0, 1.0};
        }
        constexpr double kLargest = 1e300; // of what there is a difference of
        range = {std::clamp(range.least, -kLargest, kLargest), std::clamp(range.most, -kLargest, kLargest)};
        const double middle = range.least / 2 + range.most / 2;
        // A constant has no width, and beside a large number the digits of a small width have no room.
        const double size = std::fabs(middle);
        const double least = range.least == range.most ? std::max(size * 1e-2, 1e-6) : std::max(size * 1e-6, 1e-12);
        const double width = std::max(range.most - range.least, least);
        const double below = std::min(range.least, middle - width / 2) - width * (marked ? 0.14 : 0.05);
        const double above = std::max(range.most, middle + width / 2) + width * 0.05;

        constexpr double kBetweenTics = 22.0; // pixels, at least
        const double step = roundStep((above - below) / std::max(height / kBetweenTics, 1.0));
        const double largest = std::max(std::fabs(below), std::fabs(above));
        std::string format = "%.4g";
        if (largest < 1e7 && largest >= 1e-3) {
            const int before = static_cast<int>(std::log10(std::max(largest, 1.0))) + (below < 0.0 ? 2 : 1);
            const int decimals = std::clamp(static_cast<int>(std::ceil(-std::log10(step) - 1e-9)), 0, 9 - before);
            format = fmt::format("%.{}f", decimals);
        }
        m_script += fmt::format("set yrange [{}:{}]\nset ytics {} format '{}'\n", below, above, step, format);
    }

    // The next larger one of 1, 2, 5, 10, 20 ...
    static double roundStep(double step)
    {
        const double power = std::pow(10.0, std::floor(std::log10(step)));
        for (const double factor : {1.0, 2.0, 5.0}) {
            if (factor * power >= step) {
                return factor * power;
            }
        }
        return 10.0 * power;
    }

    // Marks at one height of the second axis: a bar for each stretch, and symbols along it.
    std::string marksPlot(const MarkRow& row, double level, bool secondAxis)
    {
        std::string bars;
        std::string symbols;
        const double pixel = m_axis.length / std::max(m_size.width - kLeft - m_right, 10);
        double last = -std::numeric_limits<double>::infinity();
        for (std::size_t i = 0; i < row.buckets.size(); ++i) {
            if (!row.buckets[i]) {
                continue;
            }
            std::size_t end = i;
            while (end + 1 < row.buckets.size() && row.buckets[end + 1]) {
                ++end;
            }
            if (end > i) {
                bars += fmt::format("{} {}\n{} {}\n\n", m_axis.ofBucket(i), level, m_axis.ofBucket(end), level);
            }
            // One at each end of a stretch at least; lone ones all, unless they would cover each other.
            for (double at = m_axis.ofBucket(i); at <= m_axis.ofBucket(end); at += kMarkSpacing * pixel) {
                if (at - last >= 2 * pixel) {
                    symbols += fmt::format("{} {}\n", at, level);
                    last = at;
                }
            }
            i = end;
        }
        const char* const axes = secondAxis ? " axes x1y2" : "";
        std::string plot = fmt::format("{} using 1:2{} with points pt {} ps 0.7 lc rgb '{}' notitle", block(symbols),
                                       axes, row.marker, row.colour);
        if (!bars.empty() && !secondAxis) {
            plot += fmt::format(", \\\n     {} using 1:2{} with lines lw 2 lc rgb '{}' notitle", block(bars), axes,
                                row.colour);
        }
        return plot;
    }

    void drawStrip()
    {
        std::vector<std::string> plots;
        std::string tics;
        for (std::size_t i = 0; i < m_marks.size(); ++i) {
            const auto level = static_cast<double>(-static_cast<int>(i)); // none is -0
            plots.push_back(marksPlot(m_marks[i], level, false));
            tics += fmt::format("{}{} {}", tics.empty() ? "" : ", ",
                                legendText(fmt::format("{} ({})", m_marks[i].name, m_marks[i].count)), level);
        }
        const double lowest = -static_cast<double>(m_marks.size()) + 0.25;
        m_script += fmt::format("set yrange [{0}:0.75]\nset y2range [{0}:0.75]\nunset key\nunset ytics\n"
                                "set y2tics ({1}) scale 0\n",
                                lowest, tics);
        m_script += "set grid y2tics noytics\nplot " + fmt::format("{}", fmt::join(plots, ", \\\n     ")) + "\n";
    }

    const std::deque<PlottedRun>& m_runs;
    const std::vector<Panel>& m_panels;
    PictureSize m_size;
    int m_right = 0;
    std::int64_t m_last = 0; // ms
    Axis m_axis;
    std::vector<MarkRow> m_marks;
    std::string m_data;
    std::string m_script;
    std::size_t m_blocks = 0;
};

} // namespace

PictureSize usualSize(const std::deque<PlottedRun>& runs, const std::vector<Panel>& panels)
{
    int height = kTop + kBottom;
    for (const Panel& panel : panels) {
        const auto legend = static_cast<int>(panel.lines.size() + 2) * kLine;
        height += std::max(kPanel, legend) + kBetween;
    }
    std::size_t marks = 0;
    for (const PlottedRun& run : runs) {
        marks += run.rows.labels.size() + 1;
    }
    height += static_cast<int>(std::min(marks, kMostMarkRows)) * kLine;
    return {kUsualWidth, std::min(height, kHighest)};
}

std::string plotScript(const std::string& title, const std::deque<PlottedRun>& runs, const std::vector<Panel>& panels,
                       PictureSize size, int perPixel, bool shared)
{
    return Drawing(runs, panels, size).script(title, perPixel, shared);
}

} // namespace kor::tool
