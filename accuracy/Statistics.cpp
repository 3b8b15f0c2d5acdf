#include "accuracy/Statistics.h"

#include <algorithm>
#include <cmath>

namespace kor::accuracy {

namespace {

// Scaled by the largest one, so that no square leaves the range of a double. In ascending order small errors are not
// lost among large ones.
double rootMeanSquare(const std::vector<double>& ascending)
{
    const double largest = ascending.back();
    if (!(largest > 0.0) || !std::isfinite(largest)) {
        return largest;
    }
    double squares = 0.0;
    for (const double error : ascending) {
        squares += (error / largest) * (error / largest);
    }
    return largest * std::sqrt(squares / static_cast<double>(ascending.size()));
}

} // namespace

Spread spreadOf(std::vector<double>& errors)
{
    Spread spread;
    spread.count = errors.size();
    if (errors.empty()) {
        return spread;
    }
    std::sort(errors.begin(), errors.end());
    spread.median = errors[errors.size() / 2];
    spread.rms = rootMeanSquare(errors);
    spread.high = errors[errors.size() - 1 - errors.size() / 1000];
    spread.worst = errors.back();
    return spread;
}

} // namespace kor::accuracy
