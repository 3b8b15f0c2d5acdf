#include "platform/Files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <limits>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kor::platform {

namespace {

constexpr mode_t kEverybodyWrites = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr mode_t kAllAccess = S_IRWXU | S_IRWXG | S_IRWXO;

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

File opened(const std::string& path, int flags, mode_t mode = 0)
{
    if (!isName(path)) {
        return {};
    }
    for (;;) {
        const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
        if (descriptor >= 0 || errno != EINTR) {
            return File(descriptor);
        }
    }
}

// Without memory: what is done to a file must not fail for want of it halfway.
File openedDirectoryOf(const std::string& path)
{
    std::array<char, PATH_MAX> directory = {'.'}; // no longer path can be opened
    const std::size_t end = path.find_last_of('/');
    if (end != std::string::npos && end + 2 <= directory.size()) {
        std::copy_n(path.begin(), end + 1, directory.begin());
    }
    int descriptor = -1;
    do {
        descriptor = ::open(directory.data(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    return File(descriptor);
}

// Whoever shares a pipe with this process may have made it one that does not wait. After this the call is made again.
bool waitedFor(int descriptor, short event)
{
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
        return errno == EINTR;
    }
    struct pollfd asked = {descriptor, event, 0};
    return ::poll(&asked, 1, -1) >= 0 || errno == EINTR;
}

} // namespace

std::ptrdiff_t File::read(char* into, std::size_t room) noexcept
{
    for (;;) {
        const ssize_t got = ::read(m_descriptor, into, room);
        if (got >= 0 || !waitedFor(m_descriptor, POLLIN)) {
            return got;
        }
    }
}

std::optional<bool> File::isReadable(std::chrono::milliseconds patience) const noexcept
{
    constexpr std::chrono::milliseconds kMost(std::numeric_limits<int>::max());
    struct pollfd asked = {m_descriptor, POLLIN, 0};
    const int answered = ::poll(&asked, 1, static_cast<int>(std::min(patience, kMost).count()));
    return answered < 0 ? errno != EINTR : asked.revents != 0;
}

bool File::write(std::string_view bytes) noexcept
{
    while (!bytes.empty()) {
        const ssize_t put = ::write(m_descriptor, bytes.data(), bytes.size());
        if (put < 0) {
            if (waitedFor(m_descriptor, POLLOUT)) {
                continue;
            }
            m_failed = true;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

std::uint64_t File::size() const noexcept
{
    struct stat status = {};
    return ::fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0
               ? static_cast<std::uint64_t>(status.st_size)
               : 0;
}

bool File::isDirectory() const noexcept
{
    struct stat status = {};
    return ::fstat(m_descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<FileId> File::id() const noexcept
{
    struct stat status = {};
    return ::fstat(m_descriptor, &status) == 0 ? identified(status) : std::nullopt;
}

// A file system that cannot do it says so with EINVAL; the file is as safe there as it gets.
bool File::sync() noexcept
{
    int result = -1;
    do {
        result = ::fsync(m_descriptor);
    } while (result != 0 && errno == EINTR);
    return result == 0 || errno == EINVAL || errno == ENOTSUP;
}

namespace {

struct Handed {
    bool toOwner = false;
    bool toGroup = false;
};

// Gives a file to the owner and the group wanted. Whoever may not give a file away may still give it to a group of
// their own.
Handed handOver(int descriptor, const struct stat& wanted)
{
    constexpr auto kStays = static_cast<uid_t>(-1);
    struct stat own = {};
    Handed handed;
    if (::fstat(descriptor, &own) == 0) {
        handed = {.toOwner = own.st_uid == wanted.st_uid, .toGroup = own.st_gid == wanted.st_gid};
    }
    if ((!handed.toOwner || !handed.toGroup) && ::fchown(descriptor, wanted.st_uid, wanted.st_gid) == 0) {
        handed = {.toOwner = true, .toGroup = true};
    }
    handed.toGroup = handed.toGroup || ::fchown(descriptor, kStays, wanted.st_gid) == 0;
    return handed;
}

// The rights wanted, where another group than the one meant is like everybody else.
mode_t rightsOf(const struct stat& wanted, Handed handed)
{
    const mode_t mode = wanted.st_mode & kAllAccess;
    return handed.toGroup ? mode : (mode & ~mode_t{S_IRWXG}) | ((mode & S_IRWXO) << 3U);
}

} // namespace

void File::copyPermissions(const File& from) noexcept
{
    struct stat wanted = {};
    if (::fstat(from.m_descriptor, &wanted) != 0) {
        return;
    }
    const Handed handed = handOver(m_descriptor, wanted);
    mode_t mode = rightsOf(wanted, handed) | S_IRUSR | S_IWUSR;
    if (!handed.toOwner && (wanted.st_mode & S_IRUSR) != 0) {
        mode |= handed.toGroup ? S_IRGRP : S_IRGRP | S_IROTH;
    }
    [[maybe_unused]] const int result = ::fchmod(m_descriptor, mode);
}

void File::takePermissionsOf(const std::string& path) noexcept
{
    struct stat wanted = {};
    if (!isName(path) || ::stat(path.c_str(), &wanted) != 0) {
        return;
    }
    const Handed handed = handOver(m_descriptor, wanted); // before its rights, which are not for the one who has it now
    [[maybe_unused]] const int result = ::fchmod(m_descriptor, rightsOf(wanted, handed));
}

// A lock, which the system takes off with the last descriptor. A file system that has none does not lock for
// removeIfAbandoned either.
bool File::claim() noexcept
{
    struct stat status = {};
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
        return errno != EWOULDBLOCK;
    }
    return ::fstat(m_descriptor, &status) != 0 || status.st_nlink > 0;
}

File File::shared() const noexcept
{
    return File(::fcntl(m_descriptor, F_DUPFD_CLOEXEC, 0));
}

bool File::close() noexcept
{
    if (!m_stays) {
        return ::close(std::exchange(m_descriptor, -1)) == 0 && !m_failed;
    }
    // An error of closing shows on a second descriptor as well; dup2 would hide it.
    File second = shared();
    const bool isGood = (!second || second.close()) && !m_failed;
    const int stream = std::exchange(m_descriptor, -1);
    // The direction is wrong on purpose: using it is an error.
    if (const File filler = opened("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY); filler) {
        ::dup2(filler.descriptor(), stream);
    }
    return isGood;
}

namespace {

bool refused(const struct stat& status)
{
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
}

// Opening a device or a pipe can act on it already, so the status is asked before.
bool mayBeOpened(const std::string& path, OpenMode mode)
{
    struct stat status = {};
    const bool reads = mode == OpenMode::read;
    if ((reads ? ::stat(path.c_str(), &status) : ::lstat(path.c_str(), &status)) != 0) {
        return !reads && errno == ENOENT;
    }
    return S_ISREG(status.st_mode) || refused(status);
}

// The path may have led elsewhere by then.
bool isWhatWasAskedFor(int descriptor, OpenMode mode)
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return refused(status);
    }
    if (mode == OpenMode::write && status.st_nlink > 1) {
        errno = EMLINK;
        return false;
    }
    return true;
}

} // namespace

File openFile(const std::string& path, OpenMode mode)
{
    const bool makes = mode == OpenMode::create || mode == OpenMode::createPrivately;
    if (isName(path) && !makes && !mayBeOpened(path, mode)) {
        return {};
    }
    const int flags = mode == OpenMode::read    ? O_RDONLY
                      : mode == OpenMode::write ? O_WRONLY | O_CREAT | O_NOFOLLOW
                                                : O_WRONLY | O_CREAT | O_EXCL;
    // O_NONBLOCK keeps the opening from waiting where the path has come to lead elsewhere.
    File file = opened(path, flags | O_NONBLOCK, mode == OpenMode::createPrivately ? 0600 : 0666);
    // What was made just now is regular, and empty.
    if (!file || makes) {
        return file;
    }
    if (!isWhatWasAskedFor(file.descriptor(), mode)) {
        const int error = errno;
        file = File();
        errno = error;
        return {};
    }
    // Emptied only now that it is known to be a regular file of this name alone.
    if (mode == OpenMode::write && ::ftruncate(file.descriptor(), 0) != 0) {
        return {};
    }
    return file;
}

FileStatus fileStatus(const std::string& path)
{
    FileStatus result;
    struct stat status = {};
    if (!isName(path) || ::stat(path.c_str(), &status) != 0) {
        return result;
    }
    result.exists = true;
    result.isDirectory = S_ISDIR(status.st_mode);
    result.isRegular = S_ISREG(status.st_mode);
    result.readOnly = (status.st_mode & kEverybodyWrites) == 0;
    result.size = status.st_size < 0 ? 0 : static_cast<std::uint64_t>(status.st_size);
    return result;
}

bool setReadOnly(const std::string& path, bool readOnly)
{
    struct stat status = {};
    if (!isName(path) || ::stat(path.c_str(), &status) != 0) {
        return false;
    }
    const mode_t old = status.st_mode & 07777U;
    const mode_t wanted = readOnly ? (old & ~kEverybodyWrites) : (old | S_IWUSR);
    return ::chmod(path.c_str(), wanted) == 0;
}

std::optional<std::string> currentDirectory()
{
    constexpr std::size_t kLongestName = std::size_t{1} << 20U;
    for (std::string name(256, '\0'); name.size() <= kLongestName; name.resize(2 * name.size())) {
        if (::getcwd(name.data(), name.size()) != nullptr) {
            name.resize(name.find('\0')); // getcwd has ended it within its size
            return name;
        }
        if (errno != ERANGE) {
            break;
        }
    }
    return std::nullopt;
}

std::string joinPath(std::string_view directory, std::string_view name)
{
    return std::string(directory) + "/" + std::string(name);
}

std::string_view lineEnd() noexcept
{
    return "\n";
}

File openAnyForReading(const std::string& path)
{
    return opened(path, O_RDONLY);
}

File openAnyForWriting(const std::string& path)
{
    return opened(path, O_WRONLY);
}

std::optional<FileId> fileId(const std::string& path)
{
    struct stat status = {};
    return isName(path) && ::stat(path.c_str(), &status) == 0 ? identified(status) : std::nullopt;
}

bool isBrokenPipe() noexcept
{
    return errno == EPIPE;
}

bool areSameName(const std::string& a, const std::string& b)
{
    return a == b;
}

Renamed renameFile(const std::string& from, const std::string& to, bool durable)
{
    if (!isName(from) || !isName(to)) {
        return Renamed::no;
    }
    if (::rename(from.c_str(), to.c_str()) != 0) {
        return errno == EXDEV ? Renamed::otherFileSystem : Renamed::no;
    }
    // Outlasts a loss of power only when the directory has reached the disk. That is not always possible: whoever may
    // write to a directory need not be allowed to open it.
    if (File directory = durable ? openedDirectoryOf(to) : File()) {
        directory.sync();
    }
    return Renamed::yes;
}

void visitDirectory(const std::string& path, const std::function<void(const std::string& name)>& visit)
{
    struct Close {
        void operator()(DIR* directory) const { ::closedir(directory); }
    };
    const std::unique_ptr<DIR, Close> directory(isName(path) ? ::opendir(path.c_str()) : nullptr);
    if (!directory) {
        return;
    }
    while (const dirent* const entry = ::readdir(directory.get())) {
        visit(entry->d_name);
    }
}

bool removeFile(const std::string& path) noexcept
{
    return isName(path) && ::unlink(path.c_str()) == 0;
}

bool removeIfAbandoned(const std::string& path, unsigned /*process*/)
{
    if (!isName(path)) {
        return false;
    }
    // The lock tells also of processes on other computers, and does not take a later process for the one that had its
    // number. Some network file systems lock only what may be written.
    constexpr int kAsItIs = O_NOFOLLOW | O_NONBLOCK;
    File file = opened(path, O_WRONLY | kAsItIs);
    if (!file) {
        file = opened(path, O_RDONLY | kAsItIs);
    }
    const std::optional<FileId> id = file ? file.id() : std::nullopt;
    return id && ::flock(file.descriptor(), LOCK_EX | LOCK_NB) == 0 && fileId(path) == id && removeFile(path);
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
