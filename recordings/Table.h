// Records of one table of columns, from text or from bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/Cells.h"
#include "recordings/Columns.h"
#include "recordings/Input.h"
#include "recordings/Lines.h"
#include "recordings/Problem.h"
#include "recordings/Recognition.h"

namespace kor::recordings {

/// What a reader has found.
enum class Step {
    sample,
    bad,     ///< problem() says what is wrong where, and the next call goes on behind it
    pending, ///< the next record has yet to come: see Input::tellBeforeWaiting
    end,
    failed ///< the rest cannot be read: problem() says why
};

/// A kind of file: its columns, its records in memory, and what it is called in messages.
struct Kind {
    std::span<const Column> columns;
    std::size_t recordSize;
    std::string_view name;      ///< "a recording"
    Content csv;                ///< as which it is recognised
    Content binary;             ///< the same; other when it has no binary form
    bool othersRefused = false; ///< columns beside these are a fault, not left out
};

/// Hands out records one at a time, in constant memory.
class Records {
public:
    Records(Input& input, const Kind& kind) : m_input(input), m_kind(kind) {}
    virtual ~Records() = default;
    Records(const Records&) = delete;
    Records& operator=(const Records&) = delete;

    /// Reads what stands before the first record; false, and problem() set, when it is not as expected.
    virtual bool begin() = 0;

    /// The next record. Texts in it stay until the next call.
    virtual Step next(void* record) = 0;

    /// Where the record that was read last stands: its line in a CSV, its number in a binary file, from 1.
    virtual std::uint64_t place() const = 0;
    virtual const char* placeName() const = 0; ///< "line" or "record"

    /// Whether the file has the column; only optional ones can be missing.
    bool has(std::size_t column) const { return m_has[column]; }

    const Problem& problem() const { return m_problem; }
    const std::vector<Problem>& warnings() const { return m_warnings; }

protected:
    /// A problem with the content as a whole.
    Problem badContent() const { return {.kind = Problem::Kind::badData, .file = m_input.title()}; }

    /// The column of a name, in any case; the number of columns when none has it.
    std::size_t columnNamed(std::string_view name) const;

    /// Notes that a column is in the file; false when it is there already.
    bool note(std::size_t column);

    void warnOfOther(std::string_view name);

    /// The required columns that the file does not have, with commas between them.
    std::string missing() const;

    Input& m_input;
    Kind m_kind;
    Problem m_problem;
    std::vector<Problem> m_warnings;

private:
    std::vector<bool> m_has = std::vector<bool>(m_kind.columns.size());
};

/// From CSV: a header line that names the columns, then a record a line.
class CsvRecords : public Records {
public:
    CsvRecords(Input& input, const Kind& kind) : Records(input, kind), m_lines(input) {}
    bool begin() override;
    Step next(void* record) override;

    std::uint64_t place() const override { return m_lines.number(); }
    const char* placeName() const override { return "line"; }

    /// The text of a column in that line.
    std::string textOf(std::size_t column) const;

private:
    /// A column of the file.
    struct Place {
        const Column* column; ///< null: left out
        Type type;
        std::size_t offset;
    };

    bool readHeader(std::string_view line);
    bool readRow(std::string_view line, char* record);
    bool readUnusual(const Cell& cell, const Place& place, char* into);
    bool refuse(std::string found, std::string expected);
    bool refuseCount(std::string_view line);
    bool refuseHeader(std::string_view line);
    bool keepText(std::string_view text, const Place& place, char* into);

    Lines m_lines;
    std::string_view m_line;
    std::vector<Place> m_places; ///< in the order of the file
    std::string m_unquoted;
    std::vector<std::string> m_texts; ///< of the columns of the table
};

/// Records as they lie in memory, back to back.
class PlainRecords : public Records {
public:
    using Records::Records;
    bool begin() override;
    Step next(void* record) override;
    std::uint64_t place() const override { return m_record; }
    const char* placeName() const override { return "record"; }

protected:
    /// The bytes of the next record, until the next call; bad, pending, end and failed as from next.
    Step nextBytes(std::size_t size, std::string_view& bytes);

    /// A problem with the record that was handed out last.
    void refuseRecord(std::string found, std::string expected);

private:
    std::uint64_t m_record = 0;
    std::uint64_t m_byte = 0; ///< where that record begins
};

/// Packed records behind a header.
class PackedRecords : public PlainRecords {
public:
    using PlainRecords::PlainRecords;
    bool begin() override;
    Step next(void* record) override;

private:
    struct Place {
        const Column* column;
        std::size_t from; ///< in the file's record
    };
    bool refuse(std::string reason);
    bool await(std::size_t size);

    std::size_t m_size = 0;
    std::vector<Place> m_places;
};

} // namespace kor::recordings
