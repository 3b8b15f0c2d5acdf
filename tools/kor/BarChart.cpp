#include "tools/kor/BarChart.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include <fmt/format.h>

namespace kor::tool {

namespace {

// Pixels.
constexpr int kPanelWidth = 700;
constexpr int kNames = 250; // room for the names beside a panel
constexpr int kRight = 25;
constexpr int kHead = 85; // title, note and key
constexpr int kBarHeight = 6;
constexpr int kGap = 6;     // between the rows of a panel
constexpr int kAround = 95; // title above a panel, numbers and axis below
constexpr int kLineText = 18;

// Colours that the colour-blind tell apart, also in grey.
constexpr const char* kBarColours[] = {"#0072b2", "#e69f00", "#56b4e9", "#d55e00"};

int columnsOf(const BarChart& chart)
{
    return chart.panels.size() > 1 ? 2 : 1;
}

int heightOf(const BarChart& chart, const BarPanel& panel)
{
    const int row = std::max(kLineText, static_cast<int>(chart.series.size()) * kBarHeight + kGap);
    return kAround + row * std::max(1, static_cast<int>(panel.rows.size()));
}

// Panels of one line are as high as the highest of them.
std::vector<int> lineHeights(const BarChart& chart)
{
    std::vector<int> heights;
    const auto columns = static_cast<std::size_t>(columnsOf(chart));
    for (std::size_t i = 0; i < chart.panels.size(); ++i) {
        if (i % columns == 0) {
            heights.push_back(0);
        }
        heights.back() = std::max(heights.back(), heightOf(chart, chart.panels[i]));
    }
    return heights;
}

struct Decades {
    double first = -1.0;
    double last = 1.0;
};

Decades decadesOf(const BarChart& chart)
{
    double least = std::numeric_limits<double>::infinity();
    double most = 0.0;
    const auto take = [&](double value) {
        if (value > 0.0 && value >= chart.least && std::isfinite(value)) {
            least = std::min(least, value);
            most = std::max(most, value);
        }
    };
    for (const BarPanel& panel : chart.panels) {
        for (const BarRow& row : panel.rows) {
            std::for_each(row.values.begin(), row.values.end(), take);
            take(row.limit.value_or(0.0));
        }
    }
    if (most == 0.0) {
        return {};
    }
    // A bar of the least value is to be seen.
    const double first = std::floor(std::log10(least) - 0.1);
    return {first, std::max(first + 1.0, std::ceil(std::log10(most)))};
}

// Bars of a panel as data blocks of gnuplot, one for each series, and of the limits.
std::string blocksOf(const BarChart& chart, const BarPanel& panel, double first)
{
    const double share = 0.8 / static_cast<double>(chart.series.size());
    const double lowest = std::pow(10.0, first);
    std::string text;
    for (std::size_t k = 0; k < chart.series.size(); ++k) {
        text += fmt::format("$bars{} << END\n", k);
        for (std::size_t i = 0; i < panel.rows.size(); ++i) {
            const double value = panel.rows[i].values[k];
            const double top = static_cast<double>(i) + 0.6 + share * static_cast<double>(k);
            if (std::isfinite(value) && value > lowest) {
                text += fmt::format("{:.6g} {:.4f} {:.4f}\n", value, top, top + share);
            }
        }
        text += "NaN NaN NaN\nEND\n";
    }
    text += "$limits << END\n";
    for (std::size_t i = 0; i < panel.rows.size(); ++i) {
        if (panel.rows[i].limit && *panel.rows[i].limit > lowest) {
            text += fmt::format("{:.6g} {:.4f} {:.4f}\n", *panel.rows[i].limit, static_cast<double>(i) + 0.55,
                                static_cast<double>(i) + 1.45);
        }
    }
    return text + "NaN NaN NaN\nEND\n";
}

std::string plotOf(const BarChart& chart, double first)
{
    std::string text;
    for (std::size_t k = 0; k < chart.series.size(); ++k) {
        text += fmt::format("{}$bars{} using 1:2:(1e{:.0f}):1:2:3 with boxxyerror fillstyle solid noborder "
                            "linecolor rgb '{}' title {}",
                            k == 0 ? "plot " : ", ", k, first, kBarColours[k % std::size(kBarColours)],
                            gnuplotText(chart.series[k]));
    }
    if (!chart.limits.empty()) {
        text += fmt::format(", $limits using 1:2:(0):($3-$2) with vectors nohead linewidth 2 linecolor rgb '#000000' "
                            "title {}",
                            gnuplotText(chart.limits));
    }
    return text + "\n";
}

} // namespace

PictureSize usualSize(const BarChart& chart)
{
    int height = kHead;
    for (const int line : lineHeights(chart)) {
        height += line;
    }
    return {kPanelWidth * columnsOf(chart), height};
}

std::string barScript(const BarChart& chart)
{
    const PictureSize size = usualSize(chart);
    const Decades decades = decadesOf(chart);
    const auto across = [&size](int pixels) { return static_cast<double>(pixels) / size.width; };
    const auto up = [&size](int fromTop) { return 1.0 - static_cast<double>(fromTop) / size.height; };
    constexpr double kMostTicks = 7.0;
    const double step = std::max(1.0, std::ceil((decades.last - decades.first) / kMostTicks));
    std::string text = fmt::format("set multiplot\n"
                                   "set label 1 {} at screen {:.5f},{:.5f} left\n"
                                   "set label 2 {} at screen {:.5f},{:.5f} left\n"
                                   "set key at screen {:.5f},{:.5f} left top horizontal\n"
                                   "set logscale x\n"
                                   "set xrange [1e{:.0f}:1e{:.0f}]\n"
                                   "set xtics 1e{:.0f},1e{:.0f} format '%.0e' nomirror\n"
                                   "unset mxtics\n"
                                   "set grid xtics linetype 1 linewidth 0.5 linecolor rgb '#bbbbbb'\n"
                                   "set ytics nomirror scale 0\n",
                                   gnuplotText(chart.title), across(15), up(15), gnuplotText(chart.note), across(15),
                                   up(37), across(15), up(50), decades.first, decades.last, decades.first, step);
    const std::vector<int> heights = lineHeights(chart);
    const auto columns = static_cast<std::size_t>(columnsOf(chart));
    int top = kHead;
    for (std::size_t i = 0; i < chart.panels.size(); ++i) {
        const BarPanel& panel = chart.panels[i];
        const int left = kPanelWidth * static_cast<int>(i % columns);
        if (i > 0 && i % columns == 0) {
            top += heights[i / columns - 1];
        }
        std::string names;
        for (std::size_t row = 0; row < panel.rows.size(); ++row) {
            names += fmt::format("{}{} {}", row == 0 ? "" : ", ", gnuplotText(panel.rows[row].name), row + 1);
        }
        text += blocksOf(chart, panel, decades.first);
        text += fmt::format("set lmargin at screen {:.5f}\nset rmargin at screen {:.5f}\n"
                            "set tmargin at screen {:.5f}\nset bmargin at screen {:.5f}\n"
                            "set title {} offset 0,-0.5\nset xlabel {}\n"
                            "set yrange [{}.5:0.5]\nset ytics ({})\n",
                            across(left + kNames), across(left + kPanelWidth - kRight), up(top + 25),
                            up(top + heightOf(chart, panel) - (kAround - 25)), gnuplotText(panel.title),
                            gnuplotText(chart.axis), std::max<std::size_t>(1, panel.rows.size()), names);
        text += plotOf(chart, decades.first);
        text += "unset key\nunset label 1\nunset label 2\n";
    }
    return text + "unset multiplot\n";
}

} // namespace kor::tool
