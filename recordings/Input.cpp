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
    return std::unique_ptr<Input>(new Input(std::move(file), path, title));
}

Input::Input(platform::File file, std::string path, std::string title)
    : m_file(std::move(file)), m_path(std::move(path)), m_title(std::move(title)), m_buffer(kRoom), m_live(!m_file.id())
{
}

void Input::tellBeforeWaiting()
{
    if (m_live) {
        m_signalsAreNoted.emplace();
    }
}

// Whether nothing can be read now: there is nothing yet, or a signal has ended the input.
bool Input::isToWait()
{
    const bool awaited = std::exchange(m_awaited, false);
    const bool there = m_file.isReadable(std::chrono::milliseconds(0)).value_or(awaited);
    if (platform::notedSignal() != 0) {
        m_problem = {.kind = Problem::Kind::interrupted,
                     .file = m_title,
                     .reason = "a signal has ended the reading; what was read before is kept"};
        return true;
    }
    m_mustWait = !there;
    return m_mustWait;
}

void Input::await(std::chrono::milliseconds patience)
{
    m_awaited = true;
    m_file.isReadable(patience);
}

std::uint64_t Input::position() const
{
    return m_unpacker ? m_read - (m_packedEnd - m_packedBegin) : consumed();
}

// At most so many bytes of the file; none at its end, when reading fails, and when it would have to wait and is to
// tell.
std::size_t Input::readFile(char* into, std::size_t room)
{
    if (m_signalsAreNoted && isToWait()) {
        return 0;
    }
    const std::ptrdiff_t got = m_file.read(into, room);
    if (got < 0) {
        m_problem = {.kind = Problem::Kind::cannotRead, .file = m_title, .reason = platform::lastError()};
        return 0;
    }
    m_atEnd = got == 0;
    m_read += static_cast<std::uint64_t>(got);
    return static_cast<std::size_t>(got);
}

bool Input::fail(const std::string& reason, const std::string& advice)
{
    m_problem = {.kind = Problem::Kind::badData, .file = m_title, .reason = reason, .advice = advice};
    return false;
}

// Reads the first bytes of the file; when they are compressed, what was read is set aside to be unpacked.
bool Input::findCompression()
{
    m_begun = true;
    while (m_end < kCompressionMark && !m_atEnd && !m_problem) {
        m_end += readFile(m_buffer.data() + m_end, m_buffer.size() - m_end);
    }
    if (m_problem) {
        return false;
    }
    m_compression = compressionOf(ahead());
    if (m_compression == Compression::none) {
        m_handedOut = m_end;
        return m_end > 0;
    }
    m_unpacker = makeUnpacker(m_compression);
    if (!m_unpacker) {
        return fail("this build cannot read " + std::string(nameOf(m_compression)), "decompress the file first");
    }
    m_packedEnd = std::exchange(m_end, 0);
    m_packed = m_buffer;
    return unpackMore();
}

bool Input::failPacked(std::string_view what, const std::string& why)
{
    std::string reason = "the ";
    reason.append(nameOf(m_compression)).append(" data ").append(what);
    reason.append(" at byte ").append(std::to_string(position())).append(" of the file").append(why);
    return fail(reason, "make or fetch the file anew");
}

// Hands out what has been unpacked before a fault, or before the end, and then says so.
bool Input::unpackMore()
{
    for (;;) {
        const Unpacker::Progress progress =
            m_unpacker->unpack({m_packed.data() + m_packedBegin, m_packedEnd - m_packedBegin}, m_buffer.data() + m_end,
                               m_buffer.size() - m_end);
        m_packedBegin += progress.taken;
        m_end += progress.made;
        m_handedOut += progress.made;
        if (progress.made > 0) {
            return true;
        }
        if (!m_unpacker->fault().empty()) {
            return failPacked("are damaged", " (" + m_unpacker->fault() + ")");
        }
        if (progress.taken > 0) {
            continue;
        }
        m_packedEnd = m_atEnd ? 0 : readFile(m_packed.data(), m_packed.size());
        m_packedBegin = 0;
        if (m_problem || m_mustWait) {
            return false;
        }
        if (m_packedEnd == 0) {
            return m_unpacker->isComplete() ? false : failPacked("end too early,", "");
        }
    }
}

bool Input::more()
{
    m_mustWait = false;
    if (m_problem || (m_atEnd && !m_unpacker)) {
        return false;
    }
    if (!m_begun) {
        return findCompression();
    }
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    if (m_unpacker) {
        return unpackMore();
    }
    const std::size_t got = readFile(m_buffer.data() + m_end, m_buffer.size() - m_end);
    m_end += got;
    m_handedOut += got;
    return got > 0;
}

} // namespace kor::recordings
