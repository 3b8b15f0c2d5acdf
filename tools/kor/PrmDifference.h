// Two parameter files, value by value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/kor/PrmContent.h"

namespace kor::tool {

/// One value that differs, or one row of a table that only one side has.
struct PrmDifference {
    std::string field{};              ///< its name within the block
    std::string unit{};               ///< may be empty
    std::optional<std::size_t> row{}; ///< of a table, from 1, in the first file, or the second if only that has it
    PrmNumber reading{};              ///< first value of that row
    std::string a{}; ///< what each side has, as text; "not readable"; empty if that side has no such row
    std::string b{};
    bool isWord = false;            ///< the two sides are words, not numbers
    std::optional<double> change{}; ///< second minus first, if both are finite numbers
};

/// One block that differs.
struct PrmBlockDifference {
    std::uint32_t kind = 0;
    bool inA = true;
    bool inB = true;
    std::optional<std::size_t> rowsOfA{}; ///< of a table
    std::optional<std::size_t> rowsOfB{};
    std::vector<PrmDifference> values{}; ///< empty if only one side has the block
};

/// The blocks that differ, in the order of the file.
/// Given     tolerance  numbers may differ by so much. Two values that are nan, or could not be read, are equal
/// Notes  1  Rows of tables of the same length are compared one by one. In tables of different lengths that ascend
///           they are matched by their readings, so that a missing row is told as such.
std::vector<PrmBlockDifference> differencesOf(const PrmContent& a, const PrmContent& b, double tolerance);

/// The differences for a reader, a paragraph for each block; of a table at most so many rows.
std::string differenceText(const std::vector<PrmBlockDifference>& blocks, std::size_t mostRows);

/// Number of the values, rows and blocks that differ.
std::size_t differenceCount(const std::vector<PrmBlockDifference>& blocks);

} // namespace kor::tool
