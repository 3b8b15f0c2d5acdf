// What kor accuracy draws.
#pragma once

#include <vector>

#include "accuracy/Budget.h"
#include "accuracy/ClosedLoop.h"
#include "accuracy/Uncertainty.h"
#include "tools/kor/BarChart.h"

namespace kor::tool {

/// One panel a mount mode, one row a stratum.
BarChart chartOf(const std::vector<accuracy::Finding>& findings);

/// One panel a mount mode, one row an input that turns the base.
BarChart chartOf(const std::vector<accuracy::Budget>& budgets);
BarChart chartOf(const std::vector<accuracy::Uncertainty>& found);

} // namespace kor::tool
