// Readers of recordings: raw samples as CSV or as binary records, one at a time and in constant memory.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "KORInterface/Records.h"

#include "recordings/Columns.h"
#include "recordings/Input.h"
#include "recordings/Problem.h"

namespace kor::recordings {

class Reader {
public:
    enum class Step {
        sample,
        bad, ///< problem() says what is wrong where, and the next call goes on behind it
        end,
        failed ///< the rest cannot be read: problem() says why
    };

    /// Opens a recording; "-" is standard input.
    /// Given     format   nothing: CSV when the name ends in .csv, binary when it ends in .korraw, otherwise by content
    /// Returned  problem  what has gone wrong when the result is null
    static std::unique_ptr<Reader> open(const std::string& path, std::optional<Format> format, Problem& problem);

    virtual ~Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// The next sample into raw.
    virtual Step next(KOR_RAWINFO& raw) = 0;

    const Problem& problem() const { return m_problem; }

    /// Columns that are left out, because they are no fields of a sample.
    const std::vector<Problem>& warnings() const { return m_warnings; }

    const std::string& title() const { return m_input->title(); } ///< for messages
    std::uint64_t consumed() const { return m_input->consumed(); }
    std::uint64_t size() const { return m_input->size(); } ///< in bytes; 0 when unknown

protected:
    explicit Reader(std::unique_ptr<Input> input) : m_input(std::move(input)) {}

    /// Reads what stands before the first sample; false, and problem() set, when this is no recording.
    virtual bool begin() = 0;

    /// A problem with the content as a whole.
    Problem badContent() const { return {.kind = Problem::Kind::badData, .file = m_input->title()}; }

    std::unique_ptr<Input> m_input;
    Problem m_problem;
    std::vector<Problem> m_warnings;
};

} // namespace kor::recordings
