#include "platform/Files.h"

#include <array>
#include <cerrno>

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace kor::platform {

namespace {

bool hasNul(std::wstring_view text)
{
    return text.find(L'\0') != std::wstring_view::npos;
}

enum class Renamed { yes, no, otherFileSystem };

Renamed renameFile(const std::wstring& from, const std::wstring& to);
bool forceToDisk(std::FILE* file) noexcept;

#if defined(_WIN32)
constexpr const wchar_t* kDirectoryEnds = L"\\/:";
constexpr std::string_view kLineEnd = "\r\n";
#else
constexpr const wchar_t* kDirectoryEnds = L"/";
constexpr std::string_view kLineEnd = "\n";
#endif

bool copyBytes(std::FILE* from, std::FILE* to) noexcept
{
    std::array<char, 16384> buffer;
    std::size_t length = 0;
    while ((length = std::fread(buffer.data(), 1, buffer.size(), from)) > 0) {
        if (std::fwrite(buffer.data(), 1, length, to) != length) {
            return false;
        }
    }
    return std::ferror(from) == 0;
}

// A new file in the directory of a path.
File createBeside(const std::wstring& path, std::wstring& name)
{
    const std::size_t end = path.find_last_of(kDirectoryEnds);
    const std::wstring directory = path.substr(0, end == std::wstring::npos ? 0 : end + 1);
    constexpr int kMostNames = 1000;
    File file;
    for (int n = 1; !file && n <= kMostNames; ++n) {
        name = directory + L"$tmp" + std::to_wstring(n) + L".prm";
        file = openFile(name, OpenMode::create);
    }
    return file;
}

// By a copy beside the target, because only within a file system can a file be replaced in one step.
bool moveAcross(const std::wstring& from, const std::wstring& to)
{
    File source = openFile(from, OpenMode::read);
    std::wstring beside;
    File copy = source ? createBeside(to, beside) : nullptr;
    if (!copy) {
        return false;
    }
    copyPermissions(source.get(), copy.get());
    const bool copied = copyBytes(source.get(), copy.get());
    const bool finished = finishFile(copy);
    if (!copied || !finished || renameFile(beside, to) != Renamed::yes) {
        removeFile(beside);
        return false;
    }
    source.reset();
    removeFile(from);
    return true;
}

} // namespace

bool finishFile(File& file) noexcept
{
    bool good = std::ferror(file.get()) == 0;
    good = std::fflush(file.get()) == 0 && good;
    good = forceToDisk(file.get()) && good;
    return std::fclose(file.release()) == 0 && good;
}

bool moveFile(const std::wstring& from, const std::wstring& to)
{
    const Renamed renamed = renameFile(from, to);
    return renamed == Renamed::yes || (renamed == Renamed::otherFileSystem && moveAcross(from, to));
}

std::string_view lineEnd() noexcept
{
    return kLineEnd;
}

#if defined(_WIN32)

File openFile(const std::wstring& path, OpenMode mode)
{
    if (!toUtf8(path) || hasNul(path)) {
        return nullptr;
    }
    const FileStatus status = fileStatus(path);
    if (status.exists && !status.isRegular) {
        return nullptr;
    }
    if (mode == OpenMode::write && (GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
        status.exists) {
        return nullptr;
    }
    const int flags = mode == OpenMode::read    ? _O_RDONLY
                      : mode == OpenMode::write ? _O_WRONLY | _O_CREAT | _O_TRUNC
                                                : _O_WRONLY | _O_CREAT | _O_EXCL;
    const int descriptor = _wsopen(path.c_str(), flags | _O_BINARY | _O_NOINHERIT, _SH_DENYNO, _S_IREAD | _S_IWRITE);
    if (descriptor < 0) {
        return nullptr;
    }
    File file(_fdopen(descriptor, mode == OpenMode::read ? "rb" : "wb"));
    if (!file) {
        _close(descriptor);
    }
    // A name such as CON leads to a device without having a status of its own.
    if (file && GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file.get())))) != FILE_TYPE_DISK) {
        return nullptr;
    }
    return file;
}

std::uint64_t fileSize(std::FILE* file) noexcept
{
    const __int64 size = _filelengthi64(_fileno(file));
    return size < 0 ? 0 : static_cast<std::uint64_t>(size);
}

FileStatus fileStatus(const std::wstring& path)
{
    FileStatus status;
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (hasNul(path) || GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == 0) {
        return status;
    }
    status.exists = true;
    status.isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    status.isRegular = (data.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
    status.readOnly = (data.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0;
    status.size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32U) | data.nFileSizeLow;
    return status;
}

bool setReadOnly(const std::wstring& path, bool readOnly)
{
    if (hasNul(path)) {
        return false;
    }
    const DWORD old = GetFileAttributesW(path.c_str());
    if (old == INVALID_FILE_ATTRIBUTES) {
        return false;
    }
    const DWORD bit = FILE_ATTRIBUTE_READONLY;
    return SetFileAttributesW(path.c_str(), readOnly ? (old | bit) : (old & ~bit)) != 0;
}

namespace {

Renamed renameFile(const std::wstring& from, const std::wstring& to)
{
    if (hasNul(from) || hasNul(to)) {
        return Renamed::no;
    }
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0) {
        return Renamed::yes;
    }
    return GetLastError() == ERROR_NOT_SAME_DEVICE ? Renamed::otherFileSystem : Renamed::no;
}

bool forceToDisk(std::FILE* file) noexcept
{
    return _commit(_fileno(file)) == 0;
}

} // namespace

bool isSameFile(std::FILE* file, const std::wstring& path)
{
    if (hasNul(path)) {
        return false;
    }
    const HANDLE other = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                     OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (other == INVALID_HANDLE_VALUE) {
        return false;
    }
    BY_HANDLE_FILE_INFORMATION a{};
    BY_HANDLE_FILE_INFORMATION b{};
    const bool told = GetFileInformationByHandle(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file))), &a) != 0 &&
                      GetFileInformationByHandle(other, &b) != 0;
    CloseHandle(other);
    return told && a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh &&
           a.nFileIndexLow == b.nFileIndexLow;
}

// A new file has the rights that its directory hands down.
void copyPermissions(std::FILE*, std::FILE*) noexcept {}

bool removeFile(const std::wstring& path)
{
    return !hasNul(path) && DeleteFileW(path.c_str()) != 0;
}

std::optional<std::wstring> currentDirectory()
{
    // The directory may grow between the question for its length and the question for its name.
    std::wstring name(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetCurrentDirectoryW(static_cast<DWORD>(name.size()), name.data());
        if (length == 0) {
            return std::nullopt;
        }
        const bool fits = length < name.size();
        name.resize(length);
        if (fits) {
            return name;
        }
    }
}

std::wstring joinPath(std::wstring_view directory, std::wstring_view name)
{
    std::wstring path(directory);
    path += L'\\';
    path += name;
    return path;
}

#else

namespace {

// The path's bytes; nothing when the system could not tell it from another path.
std::optional<std::string> bytesOf(const std::wstring& path)
{
    return hasNul(path) ? std::nullopt : toUtf8(path);
}

constexpr mode_t kEverybodyWrites = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr mode_t kAllAccess = S_IRWXU | S_IRWXG | S_IRWXO;

Renamed renameFile(const std::wstring& from, const std::wstring& to)
{
    const std::optional<std::string> oldName = bytesOf(from);
    const std::optional<std::string> newName = bytesOf(to);
    if (!oldName || !newName) {
        return Renamed::no;
    }
    const std::size_t end = newName->find_last_of('/');
    const std::string directory = end == std::string::npos ? "." : newName->substr(0, end + 1);
    if (::rename(oldName->c_str(), newName->c_str()) != 0) {
        return errno == EXDEV ? Renamed::otherFileSystem : Renamed::no;
    }
    // Outlasts a loss of power only when the directory has reached the disk. That is not always possible: whoever may
    // write to a directory need not be allowed to open it.
    const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
    return Renamed::yes;
}

// A file system that cannot do it says so with EINVAL; the file is as safe there as it gets.
bool forceToDisk(std::FILE* file) noexcept
{
    int result = -1;
    do {
        result = ::fsync(::fileno(file));
    } while (result != 0 && errno == EINTR);
    return result == 0 || errno == EINVAL || errno == ENOTSUP;
}

} // namespace

File openFile(const std::wstring& path, OpenMode mode)
{
    const std::optional<std::string> name = bytesOf(path);
    if (!name) {
        return nullptr;
    }
    // Opening a device or a pipe can act on it already, so the status is asked first; it is asked again of the open
    // file, because the path may lead elsewhere by then, and O_NONBLOCK keeps the opening from waiting meanwhile.
    struct stat status {};
    if ((mode == OpenMode::read ? ::stat(name->c_str(), &status) : ::lstat(name->c_str(), &status)) == 0) {
        if (!S_ISREG(status.st_mode)) {
            return nullptr;
        }
    } else if (mode == OpenMode::read || errno != ENOENT) {
        return nullptr;
    }
    const int flags = mode == OpenMode::read    ? O_RDONLY
                      : mode == OpenMode::write ? O_WRONLY | O_CREAT | O_NOFOLLOW
                                                : O_WRONLY | O_CREAT | O_EXCL;
    int descriptor = -1;
    do {
        descriptor = ::open(name->c_str(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0666);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        return nullptr;
    }
    // Emptied only now that it is known to be a regular file.
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        (mode == OpenMode::write && ::ftruncate(descriptor, 0) != 0)) {
        ::close(descriptor);
        return nullptr;
    }
    File file(::fdopen(descriptor, mode == OpenMode::read ? "rb" : "wb"));
    if (!file) {
        ::close(descriptor);
    }
    return file;
}

std::uint64_t fileSize(std::FILE* file) noexcept
{
    struct stat status {};
    if (::fstat(::fileno(file), &status) != 0 || status.st_size < 0) {
        return 0;
    }
    return static_cast<std::uint64_t>(status.st_size);
}

bool isSameFile(std::FILE* file, const std::wstring& path)
{
    const std::optional<std::string> name = bytesOf(path);
    struct stat a {};
    struct stat b {};
    return name && ::fstat(::fileno(file), &a) == 0 && ::stat(name->c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

void copyPermissions(std::FILE* from, std::FILE* to) noexcept
{
    struct stat status {};
    if (::fstat(::fileno(from), &status) == 0) {
        [[maybe_unused]] const int result = ::fchmod(::fileno(to), (status.st_mode & kAllAccess) | S_IRUSR | S_IWUSR);
    }
}

bool removeFile(const std::wstring& path)
{
    const std::optional<std::string> name = bytesOf(path);
    return name && ::unlink(name->c_str()) == 0;
}

FileStatus fileStatus(const std::wstring& path)
{
    FileStatus result;
    const std::optional<std::string> name = bytesOf(path);
    struct stat status {};
    if (!name || ::stat(name->c_str(), &status) != 0) {
        return result;
    }
    result.exists = true;
    result.isDirectory = S_ISDIR(status.st_mode);
    result.isRegular = S_ISREG(status.st_mode);
    result.readOnly = (status.st_mode & kEverybodyWrites) == 0;
    result.size = status.st_size < 0 ? 0 : static_cast<std::uint64_t>(status.st_size);
    return result;
}

bool setReadOnly(const std::wstring& path, bool readOnly)
{
    const std::optional<std::string> name = bytesOf(path);
    struct stat status {};
    if (!name || ::stat(name->c_str(), &status) != 0) {
        return false;
    }
    const mode_t old = status.st_mode & 07777U;
    const mode_t wanted = readOnly ? (old & ~kEverybodyWrites) : (old | S_IWUSR);
    return ::chmod(name->c_str(), wanted) == 0;
}

std::optional<std::wstring> currentDirectory()
{
    constexpr std::size_t kLongestName = std::size_t{1} << 20U;
    for (std::string name(256, '\0'); name.size() <= kLongestName; name.resize(2 * name.size())) {
        if (::getcwd(name.data(), name.size()) != nullptr) {
            return fromUtf8(name.c_str());
        }
        if (errno != ERANGE) {
            break;
        }
    }
    return std::nullopt;
}

std::wstring joinPath(std::wstring_view directory, std::wstring_view name)
{
    std::wstring path(directory);
    path += L'/';
    path += name;
    return path;
}

#endif

} // namespace kor::platform
