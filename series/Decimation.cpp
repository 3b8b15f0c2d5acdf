#include "series/Decimation.h"

#include <algorithm>
#include <cmath>

namespace kor::series {

std::vector<std::size_t> Bucket::rows() const
{
    if (drawn == 0) {
        return {};
    }
    std::vector<std::size_t> found = {first, lowest, highest, last};
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

std::size_t bucketOf(const Extent& extent, std::int64_t time)
{
    // A stretch has at most 2^31 ms for each row, so none of these is out of range.
    const double length = static_cast<double>(extent.to - extent.from) + 1.0;
    const double place = static_cast<double>(time - extent.from) / length * static_cast<double>(extent.count);
    return std::min(static_cast<std::size_t>(place), extent.count - 1);
}

std::vector<Bucket> decimated(const Series& series, const Column& column, const Extent& extent, std::size_t begin,
                              std::size_t end)
{
    std::vector<Bucket> buckets(extent.count);
    auto gap = std::lower_bound(series.gaps.begin(), series.gaps.end(), begin);
    bool leads = false; // from the row before, which is drawn, to this one
    for (std::size_t row = begin; row < end; ++row) {
        if (gap != series.gaps.end() && *gap == row) {
            leads = false;
            ++gap;
        }
        if (row > begin && series.times[row] < series.times[row - 1]) {
            leads = false;
        }
        const std::int64_t time = series.times[row];
        if (time < extent.from || time > extent.to || !series.isMeant(column, series.verdict(row))) {
            leads = false;
            continue;
        }
        Bucket& bucket = buckets[bucketOf(extent, time)];
        const double value = column.at(row);
        if (!std::isfinite(value)) {
            ++bucket.notFinite;
            leads = false;
            continue;
        }
        if (bucket.drawn == 0) {
            bucket.first = bucket.lowest = bucket.highest = row;
            bucket.joined = leads;
        } else if (value < column.at(bucket.lowest)) {
            bucket.lowest = row;
        } else if (value > column.at(bucket.highest)) {
            bucket.highest = row;
        }
        bucket.last = row;
        ++bucket.drawn;
        leads = true;
    }
    return buckets;
}

std::vector<Strand> strands(const Series& series, std::size_t most)
{
    std::vector<Strand> found;
    std::size_t begin = 0;
    for (const std::size_t row : series.backward) {
        if (found.size() + 1 >= most) {
            break;
        }
        found.push_back({begin, row});
        begin = row;
    }
    if (begin < series.rows()) {
        found.push_back({begin, series.rows()});
    }
    return found;
}

} // namespace kor::series
