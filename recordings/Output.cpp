#include "recordings/Output.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/Text.h"
#include "platform/os.h"

namespace kor::tool {

namespace fs = std::filesystem;

Output::Output(const std::string& path)
    : m_title(path == "-" ? "standard output" : shown(path)), m_file(-1), m_buffer(kRoom)
{
    if (path == "-") {
        m_file = os::kStandardOutput;
        return;
    }
    std::error_code error;
    fs::path target = pathFrom(path);
    const fs::file_status status = fs::status(target, error);
    if (fs::is_directory(status)) {
        throw Failure(kExitCannotCreate, "cannot create " + m_title + ": it is a directory");
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        m_file = os::openForWriting(path);
    } else {
        // A link stays a link: what it leads to is replaced.
        if (fs::is_symlink(fs::symlink_status(target, error))) {
            if (const fs::path led = fs::weakly_canonical(target, error); !error) {
                target = led;
            }
        }
        m_target = textOf(target);
        for (unsigned attempt = 0; attempt < 100 && m_file < 0; ++attempt) {
            // Short, because the target's name may be as long as the file system allows.
            const std::string name = ".kor." + std::to_string(os::processId()) + "-" + std::to_string(attempt) + ".tmp";
            m_temporary = textOf(target.parent_path() / name);
            m_file = os::createNew(m_temporary);
            if (m_file < 0 && errno != EEXIST) {
                break;
            }
        }
    }
    if (m_file < 0) {
        throw Failure(kExitCannotCreate, "cannot create " + m_title + ": " + os::lastError());
    }
    os::removeWhenKilled(m_temporary);
}

Output::~Output()
{
    if (m_file >= 0 && m_file != os::kStandardOutput) {
        os::closeFile(m_file);
    }
    if (!m_temporary.empty()) {
        os::removeWhenKilled({});
        os::removeFile(m_temporary);
    }
}

char* Output::room(std::size_t count)
{
    if (m_buffer.size() - m_used < count) {
        flush();
    }
    return m_buffer.data() + m_used;
}

void Output::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const std::string_view piece = bytes.substr(0, kRoom);
        std::memcpy(room(piece.size()), piece.data(), piece.size());
        filled(piece.size());
        bytes.remove_prefix(piece.size());
    }
}

void Output::flush()
{
    if (!os::writeAll(m_file, m_buffer.data(), m_used)) {
        failed(kExitIoError, "cannot write ");
    }
    m_used = 0;
}

void Output::close()
{
    flush();
    const int file = m_file;
    m_file = -1;
    if (!os::closeFile(file)) {
        failed(kExitIoError, "cannot write ");
    }
    if (!m_temporary.empty()) {
        if (!os::replaceFile(m_temporary, m_target)) {
            failed(kExitCannotCreate, "cannot put in place ");
        }
        os::removeWhenKilled({});
        m_temporary.clear();
    }
}

void Output::failed(Exit status, const std::string& what)
{
    throw Failure(status, what + m_title + ": " + os::lastError());
}

} // namespace kor::tool
