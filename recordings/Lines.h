// The lines of a text file, one at a time and in constant memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "recordings/Input.h"

namespace kor::recordings {

/// A line may have so many bytes; beyond that it is refused without being kept.
constexpr std::size_t kLongestLine = std::size_t{64} * 1024;

class Lines {
public:
    enum class Step {
        line,
        tooLong, ///< problem() says so, and the next call goes on behind it
        pending, ///< the input must wait for the rest of the line: see Input::tellBeforeWaiting
        end,
        failed ///< the rest cannot be read: problem() says why
    };

    explicit Lines(Input& input) : m_input(input) {}

    /// The next line without its end, valid until the call after. The first line decides whether lines end in LF or CR
    /// LF, or in CR alone.
    Step next(std::string_view& line);

    /// Of the line handed out last, from 1.
    std::uint64_t number() const { return m_number; }

    Problem problem() const;

private:
    const char* endIn(std::string_view text);
    bool skipRest();
    Step withoutLine() const;
    Step handOut(std::string_view& line, std::size_t length, std::size_t withEnd);

    Input& m_input;
    std::uint64_t m_number = 0;
    std::size_t m_pending = 0; ///< bytes of the line handed out last, with its newline
    bool m_skipping = false;   ///< inside a line that is too long
    char m_end = '\0';         ///< what ends a line; not known yet while 0
};

} // namespace kor::recordings
