// Bytes of a file or of standard input, through one buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kor::tool {

class Input {
public:
    // "-" is standard input. Throws Failure when the file cannot be opened.
    explicit Input(const std::string& path);
    ~Input();
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    // What is buffered and not consumed. It stays in place until the next call of more.
    std::string_view ahead() const { return {m_buffer.data() + m_begin, m_end - m_begin}; }
    void consume(std::size_t count) { m_begin += count; }

    // Adds at least one byte to what is ahead, room permitting; false at the end. Throws Failure when reading fails.
    bool more();

    // What more can hold ahead at the least, whatever has been consumed.
    static constexpr std::size_t kRoom = 256 * 1024;

    const std::string& title() const { return m_title; } // for messages
    std::uint64_t consumed() const { return m_read - (m_end - m_begin); }

private:
    std::string m_title;
    int m_file;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::uint64_t m_read = 0;
    bool m_atEnd = false;
};

} // namespace kor::tool
