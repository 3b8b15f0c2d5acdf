// The rows of a recording, of results or of a truth in memory, column by column, with what each row is good for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/Columns.h"

namespace kor::series {

enum class Kind { recording, results, truth };

/// "a recording", "results" or "a truth".
const char* nameOf(Kind kind);

/// The columns of files of a kind, numbers or not.
std::span<const recordings::Column> columnsOf(Kind kind);

/// Whether values of a column are numbers; the note of a truth is text, and is kept as a label.
constexpr bool isNumber(const recordings::Column& column)
{
    return column.type != recordings::Type::text;
}

/// What a row is good for.
enum class Verdict : std::uint8_t {
    usable,          ///< results: ok; a truth: valid; a recording: the status is 2
    beforeReference, ///< results and truth alone
    rejected,        ///< the status is not 2
    unusable         ///< everything else: no orientation, not finite, spoiled, not valid
};
inline constexpr std::size_t kVerdicts = 4;

/// Why a row is what it is, in the word of the file: an outcome or a note.
struct Label {
    std::string name;
    Verdict verdict = Verdict::usable;
};

/// One column of numbers. Values are kept as the file's type has them: single precision, flags, small whole numbers and
/// outcomes as floats, everything else as doubles, so that none is rounded.
struct Column {
    std::string name;
    std::string unit;              ///< empty if it has none, or that of a table of the parameter file
    bool needsOrientation = false; ///< 0 or the identity in rows without an orientation: angles, matrix, sensorOut
    std::vector<float> floats;
    std::vector<double> doubles;

    double at(std::size_t row) const { return doubles.empty() ? static_cast<double>(floats[row]) : doubles[row]; }
};

/// Rows in the order of the file.
/// Notes  1  Every vector of rows has a value for each row, those of the columns too.
///        2  A row takes 13 bytes, and 4 or 8 for each column: 161 bytes if all columns of results are there.
struct Series {
    Kind kind = Kind::recording;
    std::string path;  ///< as it was given
    std::string title; ///< for messages
    std::vector<Column> columns;

    std::vector<std::uint32_t> stamps;
    /// Milliseconds, the stamps without their wraps: the first is the first stamp. A step of 2^31 ms and more leads
    /// backwards.
    std::vector<std::int64_t> times;

    std::vector<std::uint8_t> labelOf; ///< place in labels
    std::vector<Label> labels;         ///< those that occur, in the order in which they do
    bool told = true; ///< whether the file says what became of its rows; results without an outcome do not

    std::uint32_t usualStep = 0;         ///< median of the steps forward, ms
    std::vector<std::size_t> gaps;       ///< rows behind a gap
    std::vector<std::size_t> backward;   ///< rows whose time lies before that of the row before
    std::vector<std::size_t> references; ///< rows that became the reference: of each file one, unless repaired

    std::uint64_t outsideWindow = 0; ///< rows that were left out
    std::uint64_t bad = 0;           ///< the same, because they could not be read

    std::size_t rows() const { return stamps.size(); }
    const Label& label(std::size_t row) const { return labels[labelOf[row]]; }
    Verdict verdict(std::size_t row) const { return labels[labelOf[row]].verdict; }

    /// Null if there is none of that name.
    const Column* column(std::string_view name) const;

    /// Whether the value of a column says something in rows of that verdict.
    bool isMeant(const Column& column, Verdict verdict) const;

    /// How many rows have each label, in the order of labels.
    std::vector<std::size_t> counts() const;

    /// Works out what follows from stamps and labels: times, usualStep, gaps, backward and references.
    void complete();
};

} // namespace kor::series
