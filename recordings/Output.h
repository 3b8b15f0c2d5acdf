// Where results go: a file that appears under its name only when complete, or standard output.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kor/Exit.h"

namespace kor::tool {

// Bytes collect in a buffer and go to a temporary file beside the target, which close() renames. A target that
// exists and is no regular file (a device, a FIFO) is written directly, and so is "-", standard output.
// Without close() nothing takes the target's place and no temporary file remains.
class Output {
public:
    // Throws Failure (73) when the file cannot be created.
    explicit Output(const std::string& path);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Room for count bytes, at most kRoom; what of it was filled is kept by a call of filled.
    char* room(std::size_t count);
    void filled(std::size_t count) { m_used += count; }
    void write(std::string_view bytes);

    // Writes out what is buffered, closes and renames. Throws Failure (74), as room and write do.
    void close();

    static constexpr std::size_t kRoom = 256 * 1024;

private:
    void flush();
    [[noreturn]] void failed(Exit status, const std::string& what);

    std::string m_title;
    std::string m_target;    // empty when written directly
    std::string m_temporary; // empty when written directly
    int m_file;
    std::vector<char> m_buffer;
    std::size_t m_used = 0;
};

} // namespace kor::tool
