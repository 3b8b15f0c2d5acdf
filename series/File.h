// Any file of rows that the tool knows: recordings, results and truths, text or binary, compressed or not.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/Columns.h"
#include "recordings/Input.h"
#include "recordings/Problem.h"
#include "recordings/Reader.h"
#include "recordings/Recognition.h"
#include "series/Series.h"
#include "series/Stamps.h"

namespace kor::series {

/// What is to be read of a file.
struct Selection {
    std::optional<std::vector<std::string>> columns{}; ///< names as the file has them; nothing: all that are numbers
    Window window{};
    bool skipBad = false; ///< rows that cannot be read are left out and counted
};

/// The kind of rows that a content holds; nothing if it holds none.
std::optional<Kind> kindOf(recordings::Content content);

/// Results without a row, with all columns, and a label for each outcome in the order of their numbers.
Series emptyResults();

/// One file, open. One of the readers is there.
class File {
public:
    /// Opens a file and recognises what it holds; "-" is standard input.
    /// Returned  problem  what has gone wrong when there is no result
    static std::optional<File> open(const std::string& path, recordings::Problem& problem);

    /// The same with a file that is open already, and whose kind is known.
    static std::optional<File> open(std::unique_ptr<recordings::Input> input, Kind kind, recordings::Problem& problem);

    Kind kind() const { return results ? Kind::results : truth ? Kind::truth : Kind::recording; }
    std::span<const recordings::Column> columns() const { return columnsOf(kind()); }
    bool has(std::size_t column) const;
    const std::string& path() const { return m_path; } ///< as it was given
    const std::string& title() const;                  ///< for messages

    /// Whether the file says what became of its rows: results without the column outcome do not.
    bool saysOutcomes() const;

    /// Columns of the file that are left out.
    const std::vector<recordings::Problem>& warnings() const;

    /// The names of the columns of numbers that the file has.
    std::vector<std::string> names() const;

    /// Reads all rows. Each of the selected names is one of names().
    /// Returned  problem  what has gone wrong when there is no result
    /// Notes  1  Memory grows with the rows and the columns that are selected, see Series.
    std::optional<Series> read(const Selection& selection, recordings::Problem& problem);

    std::unique_ptr<recordings::Reader> recording;
    std::unique_ptr<recordings::ResultReader> results;
    std::unique_ptr<recordings::TruthReader> truth;

private:
    std::string m_path;
};

} // namespace kor::series
