// What the tool asks of the operating system. Nothing else in it knows which one that is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kor::tool::os {

constexpr int kStandardInput = 0;
constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

// Once, first thing in main: a closed pipe becomes a write error, standard streams carry bytes untranslated, and
// a standard stream that the caller closed keeps its number, so that no file can take its place.
void prepareProcess();

// The arguments after the program's name, in UTF-8 where the system has text and not bytes.
std::vector<std::string> arguments(int argc, char** argv);

// File descriptors. Failures give -1 or false and leave the reason for lastError.
int openForReading(const std::string& path);
int openForWriting(const std::string& path); // an existing device, FIFO or the like; truncates nothing
int createNew(const std::string& path);      // fails when the name is taken
std::ptrdiff_t readSome(int file, char* into, std::size_t room); // 0 at the end, -1 on failure
bool writeAll(int file, const char* bytes, std::size_t count);
bool closeFile(int file);
bool isDirectory(int file);

// What tells a regular file from every other, whatever its names; nothing for a device, a pipe or a missing file.
struct FileId {
    std::uint64_t volume = 0;
    std::uint64_t number = 0;
    bool operator==(const FileId&) const = default;
};
std::optional<FileId> regularFile(int file);
std::optional<FileId> regularFile(const std::string& path);
bool replaceFile(const std::string& from, const std::string& to);
void removeFile(const std::string& path);
std::string lastError();

// Why a file that is to be read cannot be. Looks before it opens, so that a FIFO without a writer does not hold it up.
std::string whyUnreadable(const std::string& path);

// The file to remove when a signal ends the process; empty for none.
void removeWhenKilled(const std::string& path);

unsigned processId();
bool isTerminal(int file);
int terminalWidth(int file); // columns; 80 when unknown

struct ChildResult {
    bool started = false;
    int status = 0;     // exit status; 128 + the number when a signal ended it
    std::string errors; // all of its standard error, or why it could not be started
};

// Children at a time: what a signal can take along when it ends this process.
constexpr std::size_t kMostChildren = 256;

// Runs this very program with other arguments and waits for its end. Safe to call from as many threads at a time.
ChildResult runSelf(const std::vector<std::string>& arguments);

} // namespace kor::tool::os
