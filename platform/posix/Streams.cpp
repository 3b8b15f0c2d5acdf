#include "platform/Streams.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kor::platform {

namespace {

std::optional<FileId> identified(const struct stat& status)
{
    if (!S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return FileId{status.st_dev, status.st_ino};
}

// A path that holds a zero would be taken for a shorter one.
bool isName(const std::string& path)
{
    if (path.find('\0') != std::string::npos) {
        errno = EINVAL;
        return false;
    }
    return true;
}

Stream opened(const std::string& path, int flags, mode_t mode = 0)
{
    if (!isName(path)) {
        return {};
    }
    for (;;) {
        const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
        if (descriptor >= 0 || errno != EINTR) {
            return Stream(descriptor);
        }
    }
}

} // namespace

std::ptrdiff_t Stream::read(char* into, std::size_t room) noexcept
{
    for (;;) {
        const ssize_t got = ::read(m_descriptor, into, room);
        if (got >= 0 || errno != EINTR) {
            return got;
        }
    }
}

bool Stream::write(std::string_view bytes) noexcept
{
    while (!bytes.empty()) {
        const ssize_t put = ::write(m_descriptor, bytes.data(), bytes.size());
        if (put < 0) {
            if (errno == EINTR) {
                continue;
            }
            m_failed = true;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

std::uint64_t Stream::size() const noexcept
{
    struct stat status = {};
    return ::fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0
               ? static_cast<std::uint64_t>(status.st_size)
               : 0;
}

bool Stream::isDirectory() const noexcept
{
    struct stat status = {};
    return ::fstat(m_descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<FileId> Stream::id() const noexcept
{
    struct stat status = {};
    return ::fstat(m_descriptor, &status) == 0 ? identified(status) : std::nullopt;
}

bool Stream::close() noexcept
{
    return ::close(std::exchange(m_descriptor, -1)) == 0 && !m_failed;
}

Stream openAnyForReading(const std::string& path)
{
    return opened(path, O_RDONLY);
}

Stream openWithoutWaiting(const std::string& path)
{
    return opened(path, O_RDONLY | O_NONBLOCK);
}

Stream openAnyForWriting(const std::string& path)
{
    return opened(path, O_WRONLY);
}

Stream createFile(const std::string& path)
{
    return opened(path, O_WRONLY | O_CREAT | O_EXCL, 0666);
}

std::optional<FileId> fileId(const std::string& path)
{
    struct stat status = {};
    return isName(path) && ::stat(path.c_str(), &status) == 0 ? identified(status) : std::nullopt;
}

bool areSameName(const std::string& a, const std::string& b)
{
    return a == b;
}

bool replaceFile(const std::string& from, const std::string& to)
{
    return isName(from) && isName(to) && ::rename(from.c_str(), to.c_str()) == 0;
}

bool removeFile(const std::string& path)
{
    return isName(path) && ::unlink(path.c_str()) == 0;
}

std::filesystem::path pathFrom(std::string_view utf8)
{
    return utf8;
}

std::string textOf(const std::filesystem::path& path)
{
    return path.native();
}

} // namespace kor::platform
