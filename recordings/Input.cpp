#include "recordings/Input.h"

#include <cstring>
#include <utility>

#include "platform/Text.h"

namespace kor::recordings {

std::unique_ptr<Input> Input::open(const std::string& path, Problem& problem)
{
    const bool standard = path == "-";
    const std::string title = standard ? "standard input" : platform::shown(path);
    platform::File file =
        standard ? platform::File::standard(platform::kStandardInput) : platform::openAnyForReading(path);
    if (!file || file.isDirectory()) {
        problem = {.kind = Problem::Kind::cannotOpen,
                   .file = title,
                   .reason = file ? "it is a directory" : platform::lastError()};
        return nullptr;
    }
    return std::unique_ptr<Input>(new Input(std::move(file), title));
}

Input::Input(platform::File file, std::string title)
    : m_file(std::move(file)), m_title(std::move(title)), m_buffer(kRoom)
{
}

bool Input::more()
{
    if (m_atEnd || m_problem) {
        return false;
    }
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    const std::ptrdiff_t got = m_file.read(m_buffer.data() + m_end, m_buffer.size() - m_end);
    if (got < 0) {
        m_problem = {.kind = Problem::Kind::cannotRead, .file = m_title, .reason = platform::lastError()};
        return false;
    }
    m_atEnd = got == 0;
    m_end += static_cast<std::size_t>(got);
    m_read += static_cast<std::uint64_t>(got);
    return got > 0;
}

} // namespace kor::recordings
