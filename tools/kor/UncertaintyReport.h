// What kor accuracy --uncertainty prints.
#pragma once

#include <string>
#include <vector>

#include "accuracy/Uncertainty.h"

namespace kor::tool {

std::string uncertaintyTable(const accuracy::Uncertainty& found, const accuracy::MonteCarloPlan& plan);

/// The same as JSON. A number that is not finite is null.
std::string uncertaintyJson(const std::vector<accuracy::Uncertainty>& found, const accuracy::MonteCarloPlan& plan);

} // namespace kor::tool
