// What of a column is to be drawn in so many columns of pixels: as good as all of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "series/Series.h"

namespace kor::series {

/// A stretch of time cut into equal buckets, each as wide as a column of pixels.
struct Extent {
    std::int64_t from = 0; ///< ms, as Series::times
    std::int64_t to = 0;   ///< the same, inclusive
    std::size_t count = 1; ///< of the buckets
};

/// The rows of one bucket. Rows are numbers of rows of the series, so that whoever draws has their times and values.
struct Bucket {
    std::size_t drawn = 0;     ///< rows that are drawn: meant, and finite. The rows below exist if there is one
    std::size_t notFinite = 0; ///< rows with a value that is meant and not finite
    std::size_t first = 0;     ///< first and last in the order of the file
    std::size_t last = 0;
    std::size_t lowest = 0; ///< with the smallest and the largest value
    std::size_t highest = 0;
    bool joined = false; ///< a line leads here from `last` of the bucket before that has rows

    /// The same rows in the order of the file, none twice: what a line has to pass through.
    std::vector<std::size_t> rows() const;
};

/// Decimates rows from `begin` up to `end`.
/// Given     column  of that series; another one, of as many values, is decimated as it is if it needs no orientation
/// Returned  result  extent.count buckets; all rows with extent.from <= time <= extent.to are in one
/// Notes  1  Drawn on pixels no wider than a bucket, lines through the rows of each bucket cover every pixel that lines
///           through all rows cover: the outermost values of each column of pixels are kept, and so are those at which
///           the line comes and goes. Beside it, gaps inside a bucket are bridged, which are narrower than a pixel.
///        2  No line leads across a gap, a backward step, or a row that is not drawn.
///        3  Time in proportion to the rows; memory in proportion to the buckets.
///        4  Where time runs backwards between begin and end, the buckets hold what both stretches have, and lines may
///           lead from one to the other: strands() are to be decimated one by one.
std::vector<Bucket> decimated(const Series& series, const Column& column, const Extent& extent, std::size_t begin,
                              std::size_t end);

/// Rows from one backward step of time to the next.
struct Strand {
    std::size_t begin = 0;
    std::size_t end = 0; ///< behind the last one
};

/// All rows in strands, at most so many: the last one holds what is left.
std::vector<Strand> strands(const Series& series, std::size_t most);

/// The bucket of a time between extent.from and extent.to.
std::size_t bucketOf(const Extent& extent, std::int64_t time);

} // namespace kor::series
