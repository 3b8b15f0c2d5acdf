// What kor accuracy prints.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "accuracy/Budget.h"
#include "accuracy/ClosedLoop.h"

namespace kor::tool {

std::string accuracyTable(const std::vector<accuracy::Finding>& findings);
std::string budgetTable(const accuracy::Budget& budget);

/// The same as JSON. A number that is not finite is null.
std::string accuracyJson(const std::vector<accuracy::Finding>& findings, std::uint64_t seed);
std::string budgetJson(const std::vector<accuracy::Budget>& budgets);

} // namespace kor::tool
