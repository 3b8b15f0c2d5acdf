// The two files of kor compare, as series of rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "accuracy/Comparison.h"
#include "series/Series.h"

namespace kor::tool {

enum class SideKind { results, truth };

/// "results" or "truth".
const char* nameOf(SideKind kind);

struct Side {
    std::string path; ///< as it was given
    std::string title;
    SideKind kind = SideKind::results;
    accuracy::Series series;

    /// Rows whose matrix is finite and no rotation: not usable.
    std::uint64_t noRotation = 0;
    std::uint32_t firstNoRotation = 0; ///< time stamp
    double mostOffRotation = 0.0;      ///< the largest accuracy::offRotation of these

    /// The reasons against rows with the number of rows of each: "before_reference 111, rejected_status 24".
    std::string reasons() const;
    std::vector<std::pair<std::string, std::size_t>> counts() const;
};

/// Results come first if the other side is truth.
struct Sides {
    Side first;
    Side second;
    std::vector<accuracy::ComparedColumn> columns; ///< of both series

    /// Whether results are held against the truth.
    bool againstTruth() const { return first.kind != second.kind; }
};

/// Reads both files; "-" is standard input. Throws Failure, and Misuse for a note without a truth.
/// Given  note  compares the rows of a truth with this note in place of its valid ones
/// Notes  1  A row of results is usable if its outcome is ok, one of a truth if it is valid.
///        2  All rows are kept, some 350 bytes each.
Sides readSides(const std::string& a, const std::string& b, const std::optional<std::string>& note);

/// The names of all columns that there may be a difference of.
std::vector<std::string> comparableColumns();

/// The columns that a side has its orientations from, row by row: those of the engine's answer.
const std::vector<std::string>& orientationColumns(SideKind kind);

/// The same for rows of results or of a truth that are in memory already; no columns but the orientations.
/// Given  rows  has the orientationColumns
Side sideOf(const series::Series& rows);

/// Warns of matrices that are no rotations.
void warnOfNoRotation(const Side& side);

/// Throws Failure if no row is compared: two files with nothing to compare must not pass for two that agree.
void refuseIfNothing(const Side& first, const Side& second, const accuracy::Comparison& found);

} // namespace kor::tool
