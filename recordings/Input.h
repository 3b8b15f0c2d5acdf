// Bytes of a file or of standard input, through one buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Files.h"
#include "recordings/Problem.h"

namespace kor::recordings {

class Input {
public:
    /// Opens a file; "-" is standard input.
    /// Returned  problem  what has gone wrong when the result is null
    static std::unique_ptr<Input> open(const std::string& path, Problem& problem);

    /// What is buffered and not consumed. It stays in place until the next call of more.
    std::string_view ahead() const { return {m_buffer.data() + m_begin, m_end - m_begin}; }
    void consume(std::size_t count) { m_begin += count; }

    /// Adds at least one byte to what is ahead, room permitting; false at the end and when reading has failed.
    bool more();

    /// Set when reading has failed.
    const Problem& problem() const { return m_problem; }

    /// Bytes that more can hold ahead at the least, also if nothing has been consumed.
    static constexpr std::size_t kRoom = 256 * 1024;

    const std::string& title() const { return m_title; } ///< for messages
    std::uint64_t consumed() const { return m_read - (m_end - m_begin); }
    std::uint64_t size() const { return m_file.size(); } ///< 0 when unknown

private:
    Input(platform::File file, std::string title);

    platform::File m_file;
    std::string m_title;
    Problem m_problem;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::uint64_t m_read = 0;
    bool m_atEnd = false;
};

} // namespace kor::recordings
