#include "platform/Files.h"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace kor::platform {

namespace fs = std::filesystem;

namespace {

bool copyBytes(File& from, File& to) noexcept
{
    std::array<char, 16384> buffer;
    for (;;) {
        const std::ptrdiff_t length = from.read(buffer.data(), buffer.size());
        if (length <= 0) {
            return length == 0;
        }
        if (!to.write({buffer.data(), static_cast<std::size_t>(length)})) {
            return false;
        }
    }
}

// A new file in the directory of a path.
File createBeside(const std::string& path, std::string& name)
{
    const fs::path directory = pathFrom(path).parent_path();
    constexpr int kMostNames = 1000;
    File file;
    for (int n = 1; !file && n <= kMostNames; ++n) {
        name = textOf(directory / ("$tmp" + std::to_string(n) + ".prm"));
        file = openFile(name, OpenMode::create);
    }
    return file;
}

// By a copy beside the target, because only within a file system can a file be replaced in one step.
bool moveAcross(const std::string& from, const std::string& to)
{
    File source = openFile(from, OpenMode::read);
    std::string beside;
    File copy = source ? createBeside(to, beside) : File();
    if (!copy) {
        return false;
    }
    copy.copyPermissions(source);
    const bool copied = copyBytes(source, copy) && copy.sync();
    const bool closed = copy.close();
    if (!copied || !closed || renameFile(beside, to, true) != Renamed::yes) {
        removeFile(beside);
        return false;
    }
    source = File();
    removeFile(from);
    return true;
}

} // namespace

bool moveFile(const std::string& from, const std::string& to)
{
    const Renamed renamed = renameFile(from, to, true);
    return renamed == Renamed::yes || (renamed == Renamed::otherFileSystem && moveAcross(from, to));
}

File File::standard(int stream) noexcept
{
    File file(stream);
    file.m_stays = true;
    return file;
}

File::File(File&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)), m_stays(other.m_stays), m_failed(other.m_failed)
{
}

File& File::operator=(File&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_stays, other.m_stays);
    std::swap(m_failed, other.m_failed);
    return *this;
}

File::~File()
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
    return openFile(path, OpenMode::read) ? "it cannot be read" : lastError();
}

TemporaryFile::TemporaryFile(TemporaryFile&& other) noexcept
    : file(std::move(other.file)), m_path(std::exchange(other.m_path, {})), m_guard(std::move(other.m_guard))
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
        made.file = openFile(path, OpenMode::create);
        if (made.file) {
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
    std::swap(file, other.file);
    std::swap(m_path, other.m_path);
    std::swap(m_guard, other.m_guard);
    return *this;
}

TemporaryFile::~TemporaryFile()
{
    if (!m_path.empty()) {
        file = File();
        removeFile(m_path);
    }
}

bool TemporaryFile::takePlaceOf(const std::string& target)
{
    if (renameFile(m_path, target, false) != Renamed::yes) {
        return false;
    }
    m_path.clear();
    m_guard = RemovedWhenKilled();
    return true;
}

} // namespace kor::platform
