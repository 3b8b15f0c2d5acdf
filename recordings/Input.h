// Bytes of a file or of standard input, unpacked when they are compressed, through one buffer.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Files.h"
#include "platform/Process.h"
#include "recordings/Compression.h"
#include "recordings/Problem.h"

namespace kor::recordings {

class Input {
public:
    /// Opens a file; "-" is standard input.
    /// Returned  problem  what has gone wrong when the result is null
    /// Notes  1  Whether it is compressed is seen from its first bytes, when more is called first.
    static std::unique_ptr<Input> open(const std::string& path, Problem& problem);

    /// What is buffered and not consumed. It stays in place until the next call of more.
    std::string_view ahead() const { return {m_buffer.data() + m_begin, m_end - m_begin}; }
    void consume(std::size_t count) { m_begin += count; }

    /// Adds at least one byte to what is ahead, room permitting; false at the end and when reading has failed. Hands
    /// out what has come and waits only for the first byte.
    bool more();

    /// Whether the bytes may be long in coming: from a pipe or a terminal, from anything but a regular file.
    bool isLive() const { return m_live; }

    /// From now on more returns false in place of waiting, and mustWait says so; and an interrupt or a termination ends
    /// the input as an error of reading would. A regular file never has to wait: nothing changes.
    void tellBeforeWaiting();

    /// Whether the last call of more has returned false because it would have had to wait.
    bool mustWait() const { return m_mustWait; }

    /// Waits for more, at most so long; a signal ends the wait. Where only a read can wait, that of the next call of
    /// more does.
    void await(std::chrono::milliseconds patience);

    /// Set when reading has failed, a signal has ended it, or a compressed file is damaged (badData).
    const Problem& problem() const { return m_problem; }

    /// Bytes that more can hold ahead at the least, also if nothing has been consumed.
    static constexpr std::size_t kRoom = 256 * 1024;

    const std::string& title() const { return m_title; }                       ///< for messages
    const std::string& path() const { return m_path; }                         ///< as it was given
    std::uint64_t consumed() const { return m_handedOut - (m_end - m_begin); } ///< bytes of the content
    std::uint64_t position() const; ///< bytes of the file that have been consumed, as far as can be told
    std::uint64_t size() const { return m_file.size(); } ///< of the file in bytes; 0 when unknown

private:
    Input(platform::File file, std::string path, std::string title);
    bool isToWait();
    std::size_t readFile(char* into, std::size_t room);
    bool findCompression();
    bool unpackMore();
    bool fail(const std::string& reason, const std::string& advice);
    bool failPacked(std::string_view what, const std::string& why);

    platform::File m_file;
    std::string m_path;
    std::string m_title;
    Problem m_problem;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::uint64_t m_handedOut = 0; ///< bytes that have been put ahead
    std::uint64_t m_read = 0;      ///< bytes of the file
    bool m_atEnd = false;
    bool m_begun = false; ///< the compression is known
    bool m_live;          ///< no regular file
    bool m_mustWait = false;
    bool m_awaited = false; ///< and nothing has been asked or read since
    std::optional<platform::EndingSignalsAreNoted> m_signalsAreNoted;

    /// Of a compressed file only.
    Compression m_compression = Compression::none;
    std::unique_ptr<Unpacker> m_unpacker;
    std::vector<char> m_packed;
    std::size_t m_packedBegin = 0;
    std::size_t m_packedEnd = 0;
};

} // namespace kor::recordings
