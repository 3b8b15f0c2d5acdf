// Files by path. Paths are UTF-8; on systems whose names are bytes those bytes are kept, valid text or not.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Process.h"

namespace kor::platform {

/// What ends a line of a text file. Files are opened as they are, so whoever writes text puts it there.
std::string_view lineEnd() noexcept;

constexpr int kStandardInput = 0;
constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

/// Why the last call here has failed, in the system's words.
std::string lastError();

/// Whether it has failed because nobody reads the pipe any more that it wrote to.
bool isBrokenPipe() noexcept;

/// Tells a regular file from every other, also if it has several names.
struct FileId {
    std::uint64_t volume = 0;
    std::uint64_t number = 0;
    bool operator==(const FileId&) const = default;
};

/// An open file, bytes as they are (no translation of line ends).
class File {
public:
    File() noexcept = default;

    /// Owns an open descriptor; none when negative.
    explicit File(int descriptor) noexcept : m_descriptor(descriptor) {}

    /// Standard input, output or error, which stays open when the object goes.
    static File standard(int stream) noexcept;

    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    explicit operator bool() const noexcept { return m_descriptor >= 0; }
    int descriptor() const noexcept { return m_descriptor; }

    /// Returned  result  number of bytes; 0 at the end, -1 on failure
    std::ptrdiff_t read(char* into, std::size_t room) noexcept;

    /// Whether a read would return at once: with bytes, at the end or with an error. Nothing if the system cannot tell
    /// without reading, as Windows cannot for a console; there is no wait then.
    /// Given  patience  how long to wait for that; zero only asks. A signal ends the wait.
    std::optional<bool> isReadable(std::chrono::milliseconds patience) const noexcept;

    /// Writes all of it; false on failure.
    bool write(std::string_view bytes) noexcept;

    /// Length in bytes; 0 when it cannot be told.
    std::uint64_t size() const noexcept;

    bool isDirectory() const noexcept;

    /// Nothing for a device, a pipe or a directory.
    std::optional<FileId> id() const noexcept;

    /// Asks for every byte to reach the disk, as far as the file system can.
    bool sync() noexcept;

    /// Gives the file the owner, the group and the access permissions of another, as far as the system lets; its owner
    /// may read and write it in any case.
    /// Notes  1  Where the process may not give it to that owner, the owner of the other file may still read it, as one
    ///           of its group; or as anybody, where it may not have that group either. Another group than the other
    ///           file's gets the rights of everybody else.
    ///        2  Windows: nothing is done; a new file has the rights that its directory hands down.
    void copyPermissions(const File& from) noexcept;

    /// Gives the file owner, group and exactly the access permissions of what is at a path; as far as the system lets.
    void takePermissionsOf(const std::string& path) noexcept;

    /// Marks a new file as one of a running process, for as long as any descriptor of it is open.
    /// Returned  result  false when removeIfAbandoned has come first
    bool claim() noexcept;

    /// Another descriptor of the same open file; empty when there cannot be one.
    File shared() const noexcept;

    /// Closes the file, a standard stream too.
    /// Returned  result  false when closing, or any write before, has failed
    /// Notes  1  The number of a standard stream stays in use: the next file or connection would get it, and with it
    ///           what is meant for the stream.
    bool close() noexcept;

private:
    int m_descriptor = -1;
    bool m_stays = false;
    bool m_failed = false; ///< a write did
};

enum class OpenMode {
    read,            ///< an existing file
    write,           ///< a file that is emptied or made
    create,          ///< a file that is made and was not there before
    createPrivately, ///< the same, at first for its owner alone
};

/// Opens a regular file.
/// Returned  file  empty when it cannot be opened
/// Notes  1  Directories, pipes and devices are refused, without waiting for a peer at the other end of a pipe. So is a
///           symbolic link when the file is to be written, and a file that has another name besides. A path that holds
///           a zero, or text that the system cannot express, names nothing.
File openFile(const std::string& path, OpenMode mode);

/// Opens a file, pipe or device for reading; waits for the writer of a pipe.
File openAnyForReading(const std::string& path);

/// Opens what exists for writing, be it a device, a pipe or a file; truncates nothing.
File openAnyForWriting(const std::string& path);

/// Identity of the regular file that a path leads to.
std::optional<FileId> fileId(const std::string& path);

/// The path behind the symbolic links that the last part of a path may be, whether anything is there or not.
/// Returned  result  nothing when links lead in a circle, as lastError() says
std::optional<std::string> behindLinks(const std::string& path);

/// Whether two paths lead to one file: one that is there, perhaps under two names, or one that is still to be made.
bool leadToSameFile(const std::string& a, const std::string& b);

/// Whether two names are one to the system, which may take capital and small letters for the same.
bool areSameName(const std::string& a, const std::string& b);

enum class Renamed { yes, no, otherFileSystem };

/// Gives a file another path on its file system, over the file that may be there.
/// Given     durable  whether the new name is to outlast a loss of power
Renamed renameFile(const std::string& from, const std::string& to, bool durable);

/// Moves a file to a path, over the file that may be there. Whoever looks at the path finds the old file or the whole
/// new one at any time, also when the process ends halfway. The new one is asked to outlast a loss of power.
/// Given     to      a symbolic link is replaced, not followed
/// Returned  result  false when it cannot be moved; then both files are as they were
/// Notes  1  Between file systems it first goes to a free name "$tmp<n>.prm" beside the path. An interrupted move
///           may leave that.
bool moveFile(const std::string& from, const std::string& to);

/// Removes a file; whether it did.
bool removeFile(const std::string& path) noexcept;

/// Removes a file that the process made and no longer claims, because it has ended.
/// Given     process  that made it
bool removeIfAbandoned(const std::string& path, unsigned process);

/// Hands out the names of what a directory holds, as far as they can be told.
/// Notes  1  Throws what `visit` throws, and std::bad_alloc; the standard library's own iterator ends the process when
///           there is no memory.
void visitDirectory(const std::string& path, const std::function<void(const std::string& name)>& visit);

/// What the system says of a path.
struct FileStatus {
    bool exists = false;
    bool isDirectory = false;
    bool isRegular = false;
    bool readOnly = false; ///< POSIX: nobody has write permission
    std::uint64_t size = 0;
};

/// Status of what a path leads to; `exists` is false when there is nothing or it cannot be told.
FileStatus fileStatus(const std::string& path);

/// Sets or clears the read-only bit. POSIX: takes write permission from everybody, or gives it to the owner.
/// Returned  result  false when the system refuses
bool setReadOnly(const std::string& path, bool readOnly);

/// The current directory; nothing when the system does not tell.
std::optional<std::string> currentDirectory();

/// Directory, the system's separator, file name. On POSIX systems '/' alone separates: a backslash or a percent sign is
/// a character like any other.
std::string joinPath(std::string_view directory, std::string_view name);

/// Why a file that is to be read cannot be. Looks before it opens, so that a pipe without a writer does not hold it up.
std::string whyUnreadable(const std::string& path);

/// A path from UTF-8 and back. Where names are text, what is not UTF-8 gives an empty path, and what UTF-8 cannot
/// express gives text that names nothing.
std::filesystem::path pathFrom(std::string_view utf8);
std::string textOf(const std::filesystem::path& path);

/// A new file beside a target. It goes unless it takes the target's place, also when a signal ends the process.
class TemporaryFile {
public:
    TemporaryFile() = default;

    /// Makes the file, with the permissions of the target if that exists; the object is empty when it cannot. Temporary
    /// files that processes have left there which were killed are removed first.
    static TemporaryFile beside(const std::string& target);

    TemporaryFile(TemporaryFile&& other) noexcept;
    TemporaryFile& operator=(TemporaryFile&& other) noexcept;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    explicit operator bool() const noexcept { return !m_path.empty(); }

    File file;

    /// To be called when the file is closed.
    bool takePlaceOf(const std::string& target);

    struct Placing {
        TemporaryFile* file; ///< closed
        std::string target;
    };

    /// Gives several files their places: all of them or none. An ending signal waits meanwhile.
    /// Returned  result  the first one whose place cannot be taken, as lastError() says; then what stood at the
    ///                   others is back there. The number of all if there is none
    ///           former  the file with what stood at another one's place, if the system does not let it go back there
    static std::size_t takeTheirPlaces(const std::vector<Placing>& placings, std::string* former = nullptr);

private:
    std::string m_path;
    RemovedWhenKilled m_guard;
    File m_claim; ///< open until the file has taken its place
};

} // namespace kor::platform
