// What kor compare prints.
#pragma once

#include <string>
#include <vector>

#include "accuracy/Comparison.h"
#include "tools/kor/CompareSides.h"

namespace kor::tool {

/// "3.85e-06 deg (0.0139 arcsec)": a difference in its unit, and as arc-seconds as well if that is degrees.
std::string sizeText(double size, const std::string& unit);

/// Everything that was found, as a table.
std::string comparisonTable(const Sides& sides, const accuracy::Comparison& found);

/// The angle between the orientations in one line.
std::string comparisonLine(const accuracy::Comparison& found, const Sides& sides);

/// The same as JSON. A number that is not finite is null.
/// Given  beyond  what exceeds a tolerance, in words
std::string comparisonJson(const Sides& sides, const accuracy::Comparison& found,
                           const std::vector<std::string>& beyond);

} // namespace kor::tool
