#include "platform/Streams.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace kor::platform {

namespace fs = std::filesystem;

Stream Stream::standard(int stream) noexcept
{
    Stream file(stream);
    file.m_stays = true;
    return file;
}

Stream::Stream(Stream&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)), m_stays(other.m_stays), m_failed(other.m_failed)
{
}

Stream& Stream::operator=(Stream&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_stays, other.m_stays);
    std::swap(m_failed, other.m_failed);
    return *this;
}

Stream::~Stream()
{
    if (!m_stays && m_descriptor >= 0) {
        close();
    }
}

std::string lastError()
{
    return std::generic_category().message(errno);
}

bool leadToSameFile(const std::string& a, const std::string& b)
{
    const std::optional<FileId> first = fileId(a);
    const std::optional<FileId> second = fileId(b);
    if (first || second) {
        return first == second;
    }
    const auto resolved = [](const std::string& path) {
        std::error_code error;
        const fs::path made = fs::weakly_canonical(fs::absolute(pathFrom(path), error), error);
        return error ? path : textOf(made);
    };
    return areSameName(resolved(a), resolved(b));
}

std::string whyUnreadable(const std::string& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(pathFrom(path), error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        return fs::is_directory(status) ? "it is a directory" : "it is not a regular file";
    }
    return openWithoutWaiting(path) ? "it cannot be read" : lastError();
}

TemporaryFile::TemporaryFile(TemporaryFile&& other) noexcept
    : stream(std::move(other.stream)), m_path(std::exchange(other.m_path, {})), m_guard(std::move(other.m_guard))
{
}

TemporaryFile TemporaryFile::beside(const std::string& target)
{
    constexpr unsigned kMostNames = 100;
    const fs::path directory = pathFrom(target).parent_path();
    TemporaryFile made;
    for (unsigned attempt = 0; attempt < kMostNames; ++attempt) {
        // Short, because the target's name may be as long as the file system allows.
        const std::string name = ".kor." + std::to_string(processId()) + "-" + std::to_string(attempt) + ".tmp";
        const std::string path = textOf(directory / name);
        const EndingSignalsWait untilItIsNoted;
        made.stream = createFile(path);
        if (made.stream) {
            made.m_path = path;
            made.m_guard = RemovedWhenKilled(path);
            if (!made.m_guard) {
                made = TemporaryFile();
                errno = EMFILE;
            }
            break;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return made;
}

TemporaryFile& TemporaryFile::operator=(TemporaryFile&& other) noexcept
{
    std::swap(stream, other.stream);
    std::swap(m_path, other.m_path);
    std::swap(m_guard, other.m_guard);
    return *this;
}

TemporaryFile::~TemporaryFile()
{
    if (!m_path.empty()) {
        stream = Stream();
        removeFile(m_path);
    }
}

bool TemporaryFile::takePlaceOf(const std::string& target)
{
    if (!replaceFile(m_path, target)) {
        return false;
    }
    m_path.clear();
    m_guard = RemovedWhenKilled();
    return true;
}

} // namespace kor::platform
