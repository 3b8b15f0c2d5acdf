// Recordings, results and truth as they stand in files: one record a sample.
#pragma once

#include <cstddef>
#include <string>
#include <type_traits>

#include "KORInterface/Records.h"

#include "recordings/Columns.h"
#include "recordings/Output.h"

namespace kor::recordings {

/// Rows of one kind of record: KOR_RAWINFO, Result or Truth, which is always CSV. Numbers have the shortest text that
/// reads back as the same number, and a NaN has no sign: that depends on the processor. Binary results hold all
/// columns, packed behind a header (BinaryResults.h); bare ones are the engine's records alone.
template <typename Record>
class Rows {
    static_assert(std::is_trivially_copyable_v<Record>);

public:
    explicit Rows(Format format) : m_format(format) {}

    /// What stands before the first row; empty in a binary recording and in bare results.
    std::string header() const;

    /// Bytes that append may write over.
    static std::size_t longest();

    /// Appends a row to a text. Returned: its end.
    char* append(char* at, const Record& record) const;

private:
    Format m_format;
};

using ResultRows = Rows<Result>;

/// Rows that go to an output, one by one.
template <typename Record>
class Writer {
public:
    /// Writes what stands before the first row.
    explicit Writer(Output& output, Format format = Format::csv);

    /// Whether nothing has failed so far; the output's problem() says what has.
    bool write(const Record& record);

private:
    Output& m_output;
    Rows<Record> m_rows;
};

using RecordingWriter = Writer<KOR_RAWINFO>;
using ResultWriter = Writer<Result>;
using TruthWriter = Writer<Truth>;

} // namespace kor::recordings
