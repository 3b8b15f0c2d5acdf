// Bars beside names, in panels, drawn by gnuplot.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/kor/Gnuplot.h"

namespace kor::tool {

struct BarRow {
    std::string name;
    std::vector<double> values; ///< one for each series; what is not above 0 has no bar
    std::optional<double> limit{};
};

struct BarPanel {
    std::string title;
    std::vector<BarRow> rows;
};

struct BarChart {
    std::string title;
    std::string note; ///< below the title
    std::string axis; ///< what the bars are, with the unit
    std::vector<std::string> series;
    double least = 0.0; ///< what is smaller has no bar
    std::string limits; ///< what the limits are; empty if there are none
    std::vector<BarPanel> panels;
};

/// As large as so many bars need.
PictureSize usualSize(const BarChart& chart);

/// The script that draws it: bars from the left over a logarithmic axis, which all panels share.
std::string barScript(const BarChart& chart);

} // namespace kor::tool
