#include "accuracy/Comparison.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>

namespace kor::accuracy {

using namespace simulation;

namespace {

// The rows of a series, ordered by stamp; rows of the same stamp keep their order.
std::vector<std::size_t> orderedByStamp(const std::vector<std::uint32_t>& stamps)
{
    std::vector<std::size_t> rows(stamps.size());
    std::iota(rows.begin(), rows.end(), std::size_t{0});
    std::stable_sort(rows.begin(), rows.end(),
                     [&stamps](std::size_t a, std::size_t b) { return stamps[a] < stamps[b]; });
    return rows;
}

// How many rows from a place on have the stamp of that place.
std::size_t alikeFrom(const std::vector<std::size_t>& rows, std::size_t at, const std::vector<std::uint32_t>& stamps)
{
    std::size_t end = at + 1;
    while (end < rows.size() && stamps[rows[end]] == stamps[rows[at]]) {
        ++end;
    }
    return end - at;
}

// The difference between two values of a column; nothing if it is not finite.
std::optional<double> differenceOf(double a, double b, bool angle)
{
    if (a == b || (std::isnan(a) && std::isnan(b))) {
        return 0.0;
    }
    if (!std::isfinite(a) || !std::isfinite(b)) {
        return std::nullopt;
    }
    constexpr double kTurn = 360.0;
    return std::fabs(angle ? std::remainder(a - b, kTurn) : a - b);
}

// Collects the differences of one quantity over the pairs that are compared.
template <typename Between>
Difference differenceOver(const std::vector<Pair>& pairs, const Between& between)
{
    Difference found;
    std::vector<double> sizes;
    sizes.reserve(pairs.size());
    double worst = -1.0;
    for (const Pair& pair : pairs) {
        const std::optional<double> size = between(pair);
        if (!size) {
            found.firstLone = found.lone == 0 ? pair : found.firstLone;
            ++found.lone;
            continue;
        }
        if (*size > worst) {
            worst = *size;
            found.worst = pair;
        }
        sizes.push_back(*size);
    }
    found.spread = spreadOf(sizes);
    return found;
}

} // namespace

std::uint8_t Series::stateOf(const std::string& reason)
{
    auto at = std::find(reasons.begin(), reasons.end(), reason);
    if (at == reasons.end()) {
        constexpr std::size_t kMostReasons = std::numeric_limits<std::uint8_t>::max();
        if (reasons.size() == kMostReasons) {
            return static_cast<std::uint8_t>(kMostReasons);
        }
        reasons.push_back(reason);
        at = reasons.end() - 1;
    }
    return static_cast<std::uint8_t>(at - reasons.begin() + 1);
}

Pairing paired(const std::vector<std::uint32_t>& first, const std::vector<std::uint32_t>& second)
{
    const std::vector<std::size_t> a = orderedByStamp(first);
    const std::vector<std::size_t> b = orderedByStamp(second);
    Pairing found;
    found.pairs.reserve(std::min(a.size(), b.size()));
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        const std::uint32_t stampA = first[a[i]];
        const std::uint32_t stampB = second[b[j]];
        if (stampA != stampB) {
            ++(stampA < stampB ? found.onlyFirst : found.onlySecond);
            ++(stampA < stampB ? i : j);
            continue;
        }
        const std::size_t countA = alikeFrom(a, i, first);
        const std::size_t countB = alikeFrom(b, j, second);
        if (countA == countB) {
            for (std::size_t k = 0; k < countA; ++k) {
                found.pairs.push_back({a[i + k], b[j + k]});
            }
        } else {
            found.openFirst += countA;
            found.openSecond += countB;
        }
        i += countA;
        j += countB;
    }
    found.onlyFirst += a.size() - i;
    found.onlySecond += b.size() - j;
    std::sort(found.pairs.begin(), found.pairs.end(), [](const Pair& x, const Pair& y) { return x.first < y.first; });
    return found;
}

std::vector<Pair> comparedRows(const Series& first, const Series& second, std::int64_t lag, Comparison& counts)
{
    counts.rows = paired(first.stamps, second.stamps);
    std::vector<Pair> pairs;
    pairs.reserve(counts.rows.pairs.size());
    for (const Pair& pair : counts.rows.pairs) {
        const auto rows = static_cast<std::int64_t>(second.stamps.size());
        const std::int64_t earlier = static_cast<std::int64_t>(pair.second) - lag;
        if (earlier < 0 || earlier >= rows) {
            ++counts.withoutEarlier;
            continue;
        }
        const auto with = static_cast<std::size_t>(earlier);
        const bool firstUsable = first.states[pair.first] == 0 && first.formed[pair.first] != 0;
        const bool secondUsable = second.states[pair.second] == 0 && second.formed[with] != 0;
        if (firstUsable && secondUsable) {
            pairs.push_back({pair.first, with});
        } else {
            ++(firstUsable ? counts.onlyFirstUsable : secondUsable ? counts.onlySecondUsable : counts.neitherUsable);
        }
    }
    counts.compared = pairs.size();
    return pairs;
}

Comparison compared(const Series& first, const Series& second, const std::vector<ComparedColumn>& columns,
                    std::int64_t lag)
{
    Comparison comparison;
    const std::vector<Pair> pairs = comparedRows(first, second, lag, comparison);
    comparison.orientation = differenceOver(pairs, [&first, &second](const Pair& pair) {
        return std::optional<double>(angleBetween(first.orientations[pair.first], second.orientations[pair.second]));
    });
    comparison.columns.reserve(columns.size());
    for (std::size_t i = 0; i < columns.size(); ++i) {
        comparison.columns.push_back(differenceOver(
            pairs, [&a = first.columns[i], &b = second.columns[i], angle = columns[i].angle](const Pair& pair) {
                return differenceOf(a[pair.first], b[pair.second], angle);
            }));
    }
    return comparison;
}

Turn turnOf(const Mat3& first, const Mat3& second)
{
    Turn turn;
    turn.angle = angleBetween(first, second);
    const Vec3 axis = turnBetween(first, second);
    const double size = length(axis);
    turn.about = size > 0.0 ? scaled(axis, turn.angle / size) : Vec3{};
    return turn;
}

double offRotation(const Mat3& matrix)
{
    if (!std::all_of(matrix.begin(), matrix.end(), [](double element) { return std::isfinite(element); })) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    const Mat3 product = matrix * transposed(matrix);
    const double determinant = matrix[0] * (matrix[4] * matrix[8] - matrix[5] * matrix[7]) -
                               matrix[1] * (matrix[3] * matrix[8] - matrix[5] * matrix[6]) +
                               matrix[2] * (matrix[3] * matrix[7] - matrix[4] * matrix[6]);
    double off = std::fabs(determinant - 1.0);
    for (std::size_t i = 0; i < product.size(); ++i) {
        off = std::max(off, std::fabs(product[i] - simulation::kIdentity[i]));
    }
    return off;
}

} // namespace kor::accuracy
