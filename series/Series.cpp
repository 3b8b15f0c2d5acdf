#include "series/Series.h"

#include <algorithm>

#include "series/Stamps.h"

namespace kor::series {

const char* nameOf(Kind kind)
{
    switch (kind) {
    case Kind::recording:
        return "a recording";
    case Kind::results:
        return "results";
    case Kind::truth:
        break;
    }
    return "a truth";
}

std::span<const recordings::Column> columnsOf(Kind kind)
{
    switch (kind) {
    case Kind::recording:
        return recordings::kRawColumns;
    case Kind::results:
        return recordings::kResultColumns;
    case Kind::truth:
        break;
    }
    return recordings::kTruthColumns;
}

const Column* Series::column(std::string_view name) const
{
    const auto at =
        std::find_if(columns.begin(), columns.end(), [name](const Column& each) { return each.name == name; });
    return at == columns.end() ? nullptr : &*at;
}

bool Series::isMeant(const Column& column, Verdict verdict) const
{
    if (!column.needsOrientation || verdict == Verdict::usable) {
        return true;
    }
    // A truth knows the orientation of samples that are not held against it, too.
    return kind == Kind::truth && verdict == Verdict::unusable;
}

std::vector<std::size_t> Series::counts() const
{
    std::vector<std::size_t> found(labels.size());
    for (const std::uint8_t label : labelOf) {
        ++found[label];
    }
    return found;
}

void Series::complete()
{
    times.resize(rows());
    StampSteps steps;
    backward.clear();
    for (std::size_t row = 0; row < rows(); ++row) {
        if (row == 0) {
            times[row] = stamps[row];
            continue;
        }
        const std::uint32_t step = stamps[row] - stamps[row - 1];
        steps.add(step, row);
        times[row] = times[row - 1] + static_cast<std::int32_t>(step);
        if (times[row] < times[row - 1]) {
            backward.push_back(row);
        }
    }
    usualStep = steps.median();
    gaps.clear();
    references.clear();
    std::size_t waiting = rows(); // the last row so far that had no reference; rows(): none
    for (std::size_t row = 0; row < rows(); ++row) {
        if (row > 0 && StampSteps::isGap(stamps[row] - stamps[row - 1], usualStep)) {
            gaps.push_back(row);
        }
        // The last row without a reference is the one that became it.
        if (verdict(row) == Verdict::beforeReference) {
            waiting = row;
        } else if (verdict(row) == Verdict::usable && waiting < rows()) {
            references.push_back(waiting);
            waiting = rows();
        }
    }
}

} // namespace kor::series
