// Files by path. Paths are UTF-8; on systems whose names are bytes those bytes are kept whatever they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Process.h"

namespace kor::platform {

constexpr int kStandardInput = 0;
constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

/// Why the last call here has failed, in the system's words.
std::string lastError();

/// Tells a regular file from every other, whatever its names.
struct FileId {
    std::uint64_t volume = 0;
    std::uint64_t number = 0;
    bool operator==(const FileId&) const = default;
};

/// An open file, bytes as they are (no translation of line ends).
class Stream {
public:
    Stream() noexcept = default;

    /// Owns an open descriptor; none when negative.
    explicit Stream(int descriptor) noexcept : m_descriptor(descriptor) {}

    /// Standard input, output or error, which stays open when the object goes.
    static Stream standard(int stream) noexcept;

    Stream(Stream&& other) noexcept;
    Stream& operator=(Stream&& other) noexcept;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream();

    explicit operator bool() const noexcept { return m_descriptor >= 0; }
    int descriptor() const noexcept { return m_descriptor; }

    /// Returned  result  number of bytes; 0 at the end, -1 on failure
    std::ptrdiff_t read(char* into, std::size_t room) noexcept;

    /// Writes all of it; false on failure.
    bool write(std::string_view bytes) noexcept;

    /// Length in bytes; 0 when it cannot be told.
    std::uint64_t size() const noexcept;

    bool isDirectory() const noexcept;

    /// Nothing for a device, a pipe or a directory.
    std::optional<FileId> id() const noexcept;

    /// Closes the file, a standard stream too.
    /// Returned  result  false when closing, or any write before, has failed
    bool close() noexcept;

private:
    int m_descriptor = -1;
    bool m_stays = false;
    bool m_failed = false; ///< a write did
};

/// Opens whatever a path leads to for reading; waits for the writer of a pipe.
Stream openAnyForReading(const std::string& path);

/// Opens whatever a path leads to for reading, without waiting for the writer of a pipe.
Stream openWithoutWaiting(const std::string& path);

/// Opens an existing device, pipe or the like for writing; truncates nothing.
Stream openAnyForWriting(const std::string& path);

/// Makes a file; fails when the name is taken.
Stream createFile(const std::string& path);

/// Identity of the regular file that a path leads to.
std::optional<FileId> fileId(const std::string& path);

/// Whether two paths lead to one file: one that is there, whatever its names, or one that is still to be made.
bool leadToSameFile(const std::string& a, const std::string& b);

/// Whether two names are one to the system, which may take capital and small letters for the same.
bool areSameName(const std::string& a, const std::string& b);

/// Gives a file another path on its file system, over the file that may be there.
bool replaceFile(const std::string& from, const std::string& to);

bool removeFile(const std::string& path);

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

    /// Makes the file; the object is empty when it cannot.
    static TemporaryFile beside(const std::string& target);

    TemporaryFile(TemporaryFile&& other) noexcept;
    TemporaryFile& operator=(TemporaryFile&& other) noexcept;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    explicit operator bool() const noexcept { return !m_path.empty(); }

    Stream stream;

    /// To be called when the stream is closed.
    bool takePlaceOf(const std::string& target);

private:
    std::string m_path;
    RemovedWhenKilled m_guard;
};

} // namespace kor::platform
