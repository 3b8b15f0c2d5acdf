// The script by which gnuplot draws panels of columns over time.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "tools/kor/Gnuplot.h"
#include "tools/kor/PlotPanels.h"

namespace kor::tool {

/// A picture of one panel above the other, as wide as it is and as high as that many of them need.
PictureSize usualSize(const std::deque<PlottedRun>& runs, const std::vector<Panel>& panels);

/// Given     perPixel  points of the picture for each of its pixels: more than one in formats that can be enlarged
///           shared    whether the runs share their stamps
/// Notes  1  No line is longer than the picture needs: the rows of each column of pixels are decimated to those that a
///           line through all rows would show (series/Decimation.h).
///        2  A strip at the bottom tells gaps, values that are not finite and rows that are not usable.
std::string plotScript(const std::string& title, const std::deque<PlottedRun>& runs, const std::vector<Panel>& panels,
                       PictureSize size, int perPixel, bool shared);

} // namespace kor::tool
