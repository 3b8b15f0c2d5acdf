// What kor plot draws: files over each other, their columns in stacked panels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "series/Series.h"

namespace kor::tool {

/// One file. Runs that share a time axis by their stamps have origins that belong together.
struct PlottedRun {
    series::Series rows;
    std::string name;                   ///< for the legend
    std::vector<series::Column> errors; ///< against the truth: nan where nothing is compared
    std::int64_t origin = 0;            ///< time at which the axis begins, ms
};

/// One column of one run.
struct PlottedLine {
    const PlottedRun* run;
    const series::Column* column;
    std::string name; ///< for the legend, without that of the run
};

struct Panel {
    std::string title;
    std::string unit;
    std::vector<PlottedLine> lines;
    bool showsErrors = false;
};

/// The columns of a kind that are drawn unless others are asked for.
std::vector<std::string> usualColumns(series::Kind kind);

/// Panels of the columns that the runs have: those that belong together in one, if they have the same unit.
std::vector<Panel> panelsOf(const std::deque<PlottedRun>& runs, const std::vector<std::string>& columns);

/// Sets the origins.
/// Returned  result  whether the runs share their stamps; otherwise each begins with its first row
bool alignTimes(std::deque<PlottedRun>& runs);

} // namespace kor::tool
