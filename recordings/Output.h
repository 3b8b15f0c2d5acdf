// Where samples go: a file that appears under its name only when complete, or standard output. A name that ends in .gz
// or .zst makes a compressed file.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Files.h"
#include "recordings/Compression.h"
#include "recordings/Problem.h"

namespace kor::recordings {

/// A name with ".partial" in front of its extension, that of a compression aside: "run.partial.csv.gz".
std::string partialName(const std::string& path);

/// Bytes collect in a buffer and go to a temporary file beside the target, which close() renames. A target that exists
/// and is not a regular file (a device, a pipe) is written directly, and so is "-", standard output.
/// keeps its permissions. A symbolic link is followed, also one to a file that is not there yet.
/// Notes  1  Without close() or closePartial() nothing takes the target's place and no temporary file remains.
///        2  After a failure everything that is written is dropped; problem() says what has failed first.
class Output {
public:
    /// Returned  problem  what has gone wrong when the result is null
    static std::unique_ptr<Output> open(const std::string& path, Problem& problem);

    /// Room for count bytes, at most kRoom; what of it was filled is kept by a call of filled.
    char* room(std::size_t count);
    void filled(std::size_t count) { m_used += count; }

    /// Whether nothing has failed so far. Bytes that are many go on without being copied.
    bool write(std::string_view bytes);

    /// Writes out what is buffered. A compressed file keeps back what makes no whole block yet.
    void flush();

    /// Writes out what is buffered, closes and renames; false when that, or any write before, has failed.
    bool close();

    /// The same for two that belong together: either both take their places or none does, and what was there stays.
    /// Notes  1  What goes to standard output, a device or a pipe cannot be taken back.
    static bool closeTogether(Output& first, Output& second);

    /// The same for content that breaks off: it takes the place of partialPath(), and the target stays as it was.
    bool closePartial();

    /// The partial name of the target; empty when written directly.
    std::string partialPath() const { return m_target.empty() ? std::string() : partialName(m_target); }

    const std::string& title() const { return m_title; } ///< for messages
    const Problem& problem() const { return m_problem; }

    static constexpr std::size_t kRoom = std::size_t{256} * 1024;

private:
    static constexpr std::size_t kLarge = kRoom / 8;

    Output() : m_buffer(kRoom) {}
    platform::File& file() { return m_target.empty() ? m_direct : m_temporary.file; }
    void pass(std::string_view bytes);
    bool put(std::string_view bytes, bool last);
    bool closeAs(std::string path);
    bool complete(std::string& path);
    void failPlacing(const std::string& path);
    void fail(Problem::Kind kind, const std::string& what);

    std::string m_title;
    Problem m_problem;
    std::string m_target; ///< empty when written directly
    platform::TemporaryFile m_temporary;
    platform::File m_direct;
    std::unique_ptr<Packer> m_packer; ///< null: bytes go as they are
    std::vector<char> m_buffer;
    std::size_t m_used = 0;
};

} // namespace kor::recordings
