#include "platform/Streams.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <io.h>
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

Stream opened(const std::string& path, int flags)
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
    return Stream(descriptor);
}

} // namespace

// The run-time library takes so many bytes at a time.
constexpr std::size_t kMostAtATime = std::size_t{1} << 30U;

std::ptrdiff_t Stream::read(char* into, std::size_t room) noexcept
{
    const int got = _read(m_descriptor, into, static_cast<unsigned>(std::min(room, kMostAtATime)));
    return got < 0 && errno == EPIPE ? 0 : got; // the other end of a pipe closed it: the end
}

bool Stream::write(std::string_view bytes) noexcept
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

std::uint64_t Stream::size() const noexcept
{
    const __int64 size = id() ? _filelengthi64(m_descriptor) : 0;
    return size < 0 ? 0 : static_cast<std::uint64_t>(size);
}

// A directory cannot be opened as a file in the first place.
bool Stream::isDirectory() const noexcept
{
    return false;
}

std::optional<FileId> Stream::id() const noexcept
{
    return identified(handleOf(m_descriptor));
}

bool Stream::close() noexcept
{
    return _close(std::exchange(m_descriptor, -1)) == 0 && !m_failed;
}

Stream openAnyForReading(const std::string& path)
{
    return opened(path, _O_RDONLY);
}

// Opening never waits here.
Stream openWithoutWaiting(const std::string& path)
{
    return opened(path, _O_RDONLY);
}

Stream openAnyForWriting(const std::string& path)
{
    return opened(path, _O_WRONLY);
}

Stream createFile(const std::string& path)
{
    return opened(path, _O_WRONLY | _O_CREAT | _O_EXCL);
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

bool areSameName(const std::string& a, const std::string& b)
{
    const std::optional<std::wstring> first = fromUtf8(a);
    const std::optional<std::wstring> second = fromUtf8(b);
    return first && second && CompareStringOrdinal(first->c_str(), -1, second->c_str(), -1, TRUE) == CSTR_EQUAL;
}

bool replaceFile(const std::string& from, const std::string& to)
{
    const std::optional<std::wstring> oldName = nativeName(from);
    const std::optional<std::wstring> newName = nativeName(to);
    if (!oldName || !newName) {
        return false;
    }
    if (MoveFileExW(oldName->c_str(), newName->c_str(), MOVEFILE_REPLACE_EXISTING) == 0) {
        errno = GetLastError() == ERROR_ACCESS_DENIED ? EACCES : EIO;
        return false;
    }
    return true;
}

bool removeFile(const std::string& path)
{
    const std::optional<std::wstring> name = nativeName(path);
    return name && DeleteFileW(name->c_str()) != 0;
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
