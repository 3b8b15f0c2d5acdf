#include "recordings/Input.h"

#include <algorithm>
#include <cstring>

#include "platform/Text.h"
#include "platform/os.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

Input::Input(const std::string& path)
    : m_title(path == "-" ? "standard input" : shown(path)),
      m_file(path == "-" ? os::kStandardInput : os::openForReading(path)), m_buffer(kRoom)
{
    if (m_file < 0) {
        throw Failure(kExitNoInput, "cannot open " + m_title + ": " + os::lastError());
    }
    if (os::isDirectory(m_file)) {
        if (m_file != os::kStandardInput) {
            os::closeFile(m_file);
        }
        throw Failure(kExitNoInput, "cannot read " + m_title + ": it is a directory");
    }
}

Input::~Input()
{
    if (m_file != os::kStandardInput) {
        os::closeFile(m_file);
    }
}

bool Input::more()
{
    if (m_atEnd) {
        return false;
    }
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    const std::ptrdiff_t got = os::readSome(m_file, m_buffer.data() + m_end, m_buffer.size() - m_end);
    if (got < 0) {
        throw Failure(kExitIoError, "cannot read " + m_title + ": " + os::lastError());
    }
    m_atEnd = got == 0;
    m_end += static_cast<std::size_t>(got);
    m_read += static_cast<std::uint64_t>(got);
    return got > 0;
}

} // namespace kor::tool
