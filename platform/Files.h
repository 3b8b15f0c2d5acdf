// Files by wide path.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Text.h"

namespace kor::platform {

/// What ends a line of a text file. Files are opened as they are, so whoever writes text puts it there.
std::string_view lineEnd() noexcept;

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

/// An open file that closes itself.
using File = std::unique_ptr<std::FILE, CloseFile>;

enum class OpenMode {
    read,   ///< an existing file
    write,  ///< a file that is emptied or made
    create, ///< a file that is made and was not there before
};

/// Opens a regular file, bytes as they are (no translation of line ends).
/// Given     path  wide path; text that the system cannot express (a lone surrogate, an embedded NUL) names nothing
/// Returned  file  null when it cannot be opened
/// Notes  1  Directories, pipes and devices are refused, without waiting for a peer at the other end of a pipe.
///           So is a symbolic link when the file is to be written.
///        2  Throws only std::bad_alloc, as does everything here that takes or gives a string.
File openFile(const std::wstring& path, OpenMode mode);

/// Length of an open file in bytes; 0 when it cannot be told.
std::uint64_t fileSize(std::FILE* file) noexcept;

/// Whether an open file is what the path leads to.
bool isSameFile(std::FILE* file, const std::wstring& path);

/// Gives an open file the access permissions of another, and its owner's rights to read and write; as far as the system
/// lets.
void copyPermissions(std::FILE* from, std::FILE* to) noexcept;

/// Closes a file that has been written.
/// Returned  file    null
///           result  whether every byte has reached the disk; an error of any write before counts
bool finishFile(File& file) noexcept;

/// What the system says of a path.
struct FileStatus {
    bool exists = false;
    bool isDirectory = false;
    bool isRegular = false;
    bool readOnly = false; ///< POSIX: nobody has write permission
    std::uint64_t size = 0;
};

/// Status of what a path leads to; `exists` is false when there is nothing or it cannot be told.
FileStatus fileStatus(const std::wstring& path);

/// Sets or clears the read-only bit. POSIX: takes write permission from everybody, or gives it to the owner.
/// Returned  result  false when the system refuses
bool setReadOnly(const std::wstring& path, bool readOnly);

/// Removes a file; whether it did.
bool removeFile(const std::wstring& path);

/// Moves a file to a path, over the file that may be there. Whoever looks at the path finds the old file or the whole
/// new one at any time, also when the process ends halfway. The new one is asked to outlast a loss of power.
/// Given     to      a symbolic link is replaced, not followed
/// Returned  result  false when it cannot be moved; then both files are as they were
/// Notes  1  Between file systems it first goes to a free name "$tmp<n>.prm" beside the path. An interrupted move
///           may leave that.
bool moveFile(const std::wstring& from, const std::wstring& to);

/// The current directory; nothing when the system does not tell or its name is not valid text.
std::optional<std::wstring> currentDirectory();

/// Directory, the system's separator, file name. On POSIX systems '/' alone separates: a backslash or a percent
/// sign is a character like any other.
std::wstring joinPath(std::wstring_view directory, std::wstring_view name);

} // namespace kor::platform
