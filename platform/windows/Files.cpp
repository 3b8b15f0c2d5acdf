#include "platform/Files.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>
#include <utility>

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include "platform/windows/Names.h"

namespace kor::platform {

namespace {

HANDLE handleOf(int descriptor)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

std::optional<FileId> identified(HANDLE handle)
{
    BY_HANDLE_FILE_INFORMATION info;
    if (handle == INVALID_HANDLE_VALUE || GetFileType(handle) != FILE_TYPE_DISK ||
        GetFileInformationByHandle(handle, &info) == 0 || (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return std::nullopt;
    }
    return FileId{info.dwVolumeSerialNumber, std::uint64_t{info.nFileIndexHigh} << 32U | info.nFileIndexLow};
}

// A new file that may be removed while it is open, as the end of the process by Ctrl+C needs it; empty if that fails,
// for which the run-time library then finds the error number.
File createdRemovable(const std::wstring& name)
{
    const HANDLE handle =
        CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return {};
    }
    const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_BINARY | _O_NOINHERIT);
    if (descriptor < 0) {
        CloseHandle(handle);
        DeleteFileW(name.c_str());
    }
    return File(descriptor);
}

bool isEmptied(const File& file)
{
    BY_HANDLE_FILE_INFORMATION info;
    if (GetFileInformationByHandle(handleOf(file.descriptor()), &info) == 0 || info.nNumberOfLinks > 1) {
        errno = EMLINK;
        return false;
    }
    return _chsize_s(file.descriptor(), 0) == 0;
}

File opened(const std::string& path, int flags)
{
    const std::optional<std::wstring> name = nativeName(path);
    if (!name) {
        return {};
    }
    const int descriptor = _wopen(name->c_str(), flags | _O_BINARY | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
    // The run-time library takes a directory for a file that may not be opened.
    if (descriptor < 0 && errno == EACCES) {
        const DWORD attributes = GetFileAttributesW(name->c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            errno = EISDIR;
        }
    }
    return File(descriptor);
}

} // namespace

// The run-time library takes so many bytes at a time.
constexpr std::size_t kMostAtATime = std::size_t{1} << 30U;

std::ptrdiff_t File::read(char* into, std::size_t room) noexcept
{
    const int got = _read(m_descriptor, into, static_cast<unsigned>(std::min(room, kMostAtATime)));
    return got < 0 && errno == EPIPE ? 0 : got; // the other end of a pipe closed it: the end
}

// Windows answers about a pipe, but does not wait for one.
std::optional<bool> File::isReadable(std::chrono::milliseconds patience) const noexcept
{
    constexpr std::chrono::milliseconds kBetweenQuestions(10);
    const HANDLE handle = handleOf(m_descriptor);
    if (GetFileType(handle) == FILE_TYPE_DISK) {
        return true;
    }
    for (;;) {
        DWORD ahead = 0;
        if (PeekNamedPipe(handle, nullptr, 0, nullptr, &ahead, nullptr) == 0) {
            return GetLastError() == ERROR_BROKEN_PIPE ? std::optional(true) : std::nullopt; // at its end, or no pipe
        }
        if (ahead > 0 || patience.count() <= 0) {
            return ahead > 0;
        }
        const std::chrono::milliseconds step = std::min(patience, kBetweenQuestions);
        Sleep(static_cast<DWORD>(step.count()));
        patience -= step;
    }
}

bool File::write(std::string_view bytes) noexcept
{
    while (!bytes.empty()) {
        const int put = _write(m_descriptor, bytes.data(), static_cast<unsigned>(std::min(bytes.size(), kMostAtATime)));
        if (put <= 0) {
            m_failed = true;
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

std::uint64_t File::size() const noexcept
{
    const __int64 size = id() ? _filelengthi64(m_descriptor) : 0;
    return size < 0 ? 0 : static_cast<std::uint64_t>(size);
}

// A directory cannot be opened as a file in the first place.
bool File::isDirectory() const noexcept
{
    return false;
}

std::optional<FileId> File::id() const noexcept
{
    return identified(handleOf(m_descriptor));
}

bool File::sync() noexcept
{
    return _commit(m_descriptor) == 0;
}

void File::copyPermissions(const File&) noexcept {}

void File::takePermissionsOf(const std::string&) noexcept {}

// While it is open nobody can have it for himself, which is what removeIfAbandoned asks for.
bool File::claim() noexcept
{
    return true;
}

// One that is open in between could not take its place everywhere.
File File::shared() const noexcept
{
    return {};
}

bool File::close() noexcept
{
    if (!m_stays) {
        return _close(std::exchange(m_descriptor, -1)) == 0 && !m_failed;
    }
    // An error of closing shows on a second descriptor as well; _dup2 would hide it.
    File second(_dup(m_descriptor));
    const bool isGood = (!second || second.close()) && !m_failed;
    const int stream = std::exchange(m_descriptor, -1);
    // The direction is wrong on purpose: using it is an error.
    if (const File filler(_open("NUL", stream == kStandardInput ? _O_WRONLY : _O_RDONLY)); filler) {
        _dup2(filler.descriptor(), stream);
    }
    return isGood;
}

File openFile(const std::string& path, OpenMode mode)
{
    const std::optional<std::wstring> name = nativeName(path);
    if (!name) {
        return {};
    }
    const FileStatus status = fileStatus(path);
    const bool link = status.exists && (GetFileAttributesW(name->c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    if ((status.exists && !status.isRegular) || (mode == OpenMode::write && link)) {
        errno = status.isDirectory ? EISDIR : EINVAL;
        return {};
    }
    const int flags = mode == OpenMode::read    ? _O_RDONLY
                      : mode == OpenMode::write ? _O_WRONLY | _O_CREAT
                                                : _O_WRONLY | _O_CREAT | _O_EXCL;
    const bool makes = mode == OpenMode::create || mode == OpenMode::createPrivately;
    File file = makes ? createdRemovable(*name) : File();
    if (!file) {
        file = File(_wsopen(name->c_str(), flags | _O_BINARY | _O_NOINHERIT, _SH_DENYNO, _S_IREAD | _S_IWRITE));
    }
    // A name such as CON leads to a device without having a status of its own.
    if (file && GetFileType(handleOf(file.descriptor())) != FILE_TYPE_DISK) {
        file = File();
        errno = EINVAL;
    }
    // Emptied only now that it is known to have no other name.
    if (file && mode == OpenMode::write && !isEmptied(file)) {
        return {};
    }
    return file;
}

FileStatus fileStatus(const std::string& path)
{
    FileStatus status;
    WIN32_FILE_ATTRIBUTE_DATA data{};
    const std::optional<std::wstring> name = nativeName(path);
    if (!name || GetFileAttributesExW(name->c_str(), GetFileExInfoStandard, &data) == 0) {
        return status;
    }
    status.exists = true;
    status.isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    status.isRegular = (data.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
    status.readOnly = (data.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0;
    status.size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32U) | data.nFileSizeLow;
    return status;
}

bool setReadOnly(const std::string& path, bool readOnly)
{
    const std::optional<std::wstring> name = nativeName(path);
    const DWORD old = name ? GetFileAttributesW(name->c_str()) : INVALID_FILE_ATTRIBUTES;
    if (old == INVALID_FILE_ATTRIBUTES) {
        return false;
    }
    const DWORD bit = FILE_ATTRIBUTE_READONLY;
    return SetFileAttributesW(name->c_str(), readOnly ? (old | bit) : (old & ~bit)) != 0;
}

std::optional<std::string> currentDirectory()
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
            return toUtf8(name);
        }
    }
}

std::string joinPath(std::string_view directory, std::string_view name)
{
    return std::string(directory) + "\\" + std::string(name);
}

std::string_view lineEnd() noexcept
{
    return "\r\n";
}

File openAnyForReading(const std::string& path)
{
    return opened(path, _O_RDONLY);
}

File openAnyForWriting(const std::string& path)
{
    return opened(path, _O_WRONLY);
}

std::optional<FileId> fileId(const std::string& path)
{
    const std::optional<std::wstring> name = nativeName(path);
    if (!name) {
        return std::nullopt;
    }
    const HANDLE handle = CreateFileW(name->c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    const std::optional<FileId> id = identified(handle);
    if (handle != INVALID_HANDLE_VALUE) {
        CloseHandle(handle);
    }
    return id;
}

// Not every run-time library has a number of its own for a pipe that is being closed.
bool isBrokenPipe() noexcept
{
    return errno == EPIPE || _doserrno == ERROR_NO_DATA || _doserrno == ERROR_BROKEN_PIPE;
}

bool areSameName(const std::string& a, const std::string& b)
{
    const std::optional<std::wstring> first = fromUtf8(a);
    const std::optional<std::wstring> second = fromUtf8(b);
    return first && second && CompareStringOrdinal(first->c_str(), -1, second->c_str(), -1, TRUE) == CSTR_EQUAL;
}

Renamed renameFile(const std::string& from, const std::string& to, bool durable)
{
    const std::optional<std::wstring> oldName = nativeName(from);
    const std::optional<std::wstring> newName = nativeName(to);
    if (!oldName || !newName) {
        return Renamed::no;
    }
    const DWORD flags = MOVEFILE_REPLACE_EXISTING | (durable ? MOVEFILE_WRITE_THROUGH : 0);
    if (MoveFileExW(oldName->c_str(), newName->c_str(), flags) != 0) {
        return Renamed::yes;
    }
    const DWORD error = GetLastError();
    errno = error == ERROR_ACCESS_DENIED ? EACCES : error == ERROR_NOT_SAME_DEVICE ? EXDEV : EIO;
    return error == ERROR_NOT_SAME_DEVICE ? Renamed::otherFileSystem : Renamed::no;
}

void visitDirectory(const std::string& path, const std::function<void(const std::string& name)>& visit)
{
    const std::optional<std::wstring> all = nativeName(joinPath(path, "*"));
    WIN32_FIND_DATAW found;
    const HANDLE search = all ? FindFirstFileW(all->c_str(), &found) : INVALID_HANDLE_VALUE;
    if (search == INVALID_HANDLE_VALUE) {
        return;
    }
    struct Close {
        HANDLE search;
        ~Close() { FindClose(search); }
    };
    const Close close = {search};
    do {
        if (const std::optional<std::string> name = toUtf8(found.cFileName)) {
            visit(*name);
        }
    } while (FindNextFileW(search, &found) != 0);
}

bool removeFile(const std::string& path) noexcept
{
    try {
        const std::optional<std::wstring> name = nativeName(path);
        return name && DeleteFileW(name->c_str()) != 0;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return false;
    }
}

bool removeIfAbandoned(const std::string& path, unsigned process)
{
    // Between its closing and its new name a file is open nowhere, so the process counts as well.
    const HANDLE owner = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process);
    if (owner != nullptr || GetLastError() != ERROR_INVALID_PARAMETER) {
        DWORD status = STILL_ACTIVE;
        if (owner != nullptr) {
            GetExitCodeProcess(owner, &status);
            CloseHandle(owner);
        }
        if (status == STILL_ACTIVE) {
            return false;
        }
    }
    const std::optional<std::wstring> name = nativeName(path);
    const HANDLE alone = !name ? INVALID_HANDLE_VALUE
                               : CreateFileW(name->c_str(), DELETE, 0, nullptr, OPEN_EXISTING,
                                             FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    return alone != INVALID_HANDLE_VALUE && CloseHandle(alone) != 0;
}

std::filesystem::path pathFrom(std::string_view utf8)
{
    return fromUtf8(utf8).value_or(std::wstring());
}

std::string textOf(const std::filesystem::path& path)
{
    return toUtf8(path.native()).value_or("\xff");
}

} // namespace kor::platform
