// Readers of recordings, results and truth, one record at a time and in constant memory.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "KORInterface/Records.h"

#include "recordings/Columns.h"
#include "recordings/Input.h"
#include "recordings/Problem.h"
#include "recordings/Table.h"

namespace kor::recordings {

/// Reads files of one kind of record: KOR_RAWINFO, Result or Truth.
/// Notes  1  A text in a record (Truth) stays until the next call of next.
template <typename Record>
class RecordReader {
public:
    using Step = recordings::Step;

    /// Opens a file; "-" is standard input.
    /// Given     format   nothing: CSV when the name ends in .csv, binary when it ends in .korraw or .korinfo (before
    ///                    .gz or .zst), otherwise by content; and always only when the content looks like it
    /// Returned  problem  what has gone wrong when the result is null
    static std::unique_ptr<RecordReader> open(const std::string& path, std::optional<Format> format, Problem& problem);

    /// The same with a file that is open already, and of which nothing has been consumed.
    static std::unique_ptr<RecordReader> open(std::unique_ptr<Input> input, std::optional<Format> format,
                                              Problem& problem);

    /// The next record.
    Step next(Record& record) { return m_records->next(&record); }

    bool isLive() const { return m_input->isLive(); }

    /// From now on next answers Step::pending in place of waiting for a live recording; every record that has come
    /// whole has been handed out before. await is what waits. See Input::tellBeforeWaiting.
    void tellBeforeWaiting() { m_input->tellBeforeWaiting(); }
    void await(std::chrono::milliseconds patience) { m_input->await(patience); }

    /// Where the record that was read last stands: its line in a CSV, its number in a binary file, from 1.
    std::uint64_t place() const { return m_records->place(); }
    const char* placeName() const { return m_records->placeName(); } ///< "line" or "record"

    const Problem& problem() const { return m_records->problem(); }

    /// Columns that are left out, because they are none of the record's.
    const std::vector<Problem>& warnings() const { return m_records->warnings(); }

    /// Whether the file has the column of that number; only optional ones can be missing.
    bool has(std::size_t column) const { return m_records->has(column); }

    const std::string& title() const { return m_input->title(); } ///< for messages
    std::uint64_t consumed() const { return m_input->position(); }
    std::uint64_t size() const { return m_input->size(); } ///< in bytes of the file; 0 when unknown

private:
    RecordReader(std::unique_ptr<Input> input, std::unique_ptr<Records> records)
        : m_input(std::move(input)), m_records(std::move(records))
    {
    }

    std::unique_ptr<Input> m_input;
    std::unique_ptr<Records> m_records;
};

using Reader = RecordReader<KOR_RAWINFO>;
using ResultReader = RecordReader<Result>;
using TruthReader = RecordReader<Truth>;

} // namespace kor::recordings
