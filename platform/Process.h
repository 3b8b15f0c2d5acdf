// The process: its streams, arguments and end, and processes that run the same program or another one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kor::platform {

/// Once, first thing in main: a closed pipe and a file that must not grow become write errors, standard streams carry
/// bytes untranslated, and a standard stream that the caller closed keeps its number, so that no file can take its
/// place.
void prepareProcess();

/// The arguments after the program's name, in UTF-8 where the system has text and not bytes.
std::vector<std::string> arguments(int argc, char** argv);

unsigned processId();

/// Files at a time that a signal removes.
constexpr std::size_t kMostRemovedWhenKilled = 64;

/// While it exists, a signal that ends the process removes a file first; all but SIGKILL can.
/// Notes  1  On Windows these are Ctrl+C, Ctrl+Break, the closing of the console and the end of the session. A program
///           that ends another one does not ask it.
class RemovedWhenKilled {
public:
    RemovedWhenKilled() noexcept = default;

    /// Empty when there are kMostRemovedWhenKilled already. The path is that of a process that stays in its directory.
    explicit RemovedWhenKilled(const std::string& path);

    RemovedWhenKilled(RemovedWhenKilled&& other) noexcept;
    RemovedWhenKilled& operator=(RemovedWhenKilled&& other) noexcept;
    RemovedWhenKilled(const RemovedWhenKilled&) = delete;
    RemovedWhenKilled& operator=(const RemovedWhenKilled&) = delete;
    ~RemovedWhenKilled();

    explicit operator bool() const noexcept { return m_path != nullptr; }

private:
    const char* m_path = nullptr;
    std::size_t m_place = 0;
};

/// While it exists, this thread takes no ending signal; those that arrive wait, but for those of its own faults.
class EndingSignalsWait {
public:
    EndingSignalsWait() noexcept;
    ~EndingSignalsWait();
    EndingSignalsWait(const EndingSignalsWait&) = delete;
    EndingSignalsWait& operator=(const EndingSignalsWait&) = delete;
};

/// While it exists, an interrupt or a termination is noted in place of ending the process, so that the work at hand can
/// be finished. The next one ends the process as ever, if it comes more than 0.2 s later: a shell and timeout(1) send
/// one signal to the whole group, and some processes of it get it twice.
/// Notes  1  One at a time. Hang-up and quit end the process at once, and so does everything on Windows.
class EndingSignalsAreNoted {
public:
    EndingSignalsAreNoted() noexcept;
    ~EndingSignalsAreNoted();
    EndingSignalsAreNoted(const EndingSignalsAreNoted&) = delete;
    EndingSignalsAreNoted& operator=(const EndingSignalsAreNoted&) = delete;
};

/// The number of the signal that was noted; 0 if there was none.
int notedSignal() noexcept;

/// Children at a time: what a signal can take along when it ends this process.
constexpr std::size_t kMostChildren = 256;

/// To be called in a child of runSelf: when the parent ends, be it killed, this process does so at once, and removes
/// what RemovedWhenKilled names. One that has noted a signal already may finish its work. Given     parent  its number
/// Notes  1  On Windows the standard input, which runSelf keeps open, is read to its end for this.
void endWithParent(unsigned parent);

struct ChildResult {
    bool started = false;
    int status = 0;     ///< exit status; 128 + the number when a signal ended it
    std::string errors; ///< all of its standard error, or why it could not be started
};

/// Runs this very program with other arguments and waits for its end. Safe to call from as many threads at a time.
ChildResult runSelf(const std::vector<std::string>& arguments);

struct ProgramResult {
    bool started = false;
    bool isMissing = false; ///< there is no program of that name
    int status = 0;         ///< as of a ChildResult
    std::string output{};   ///< all of its standard output, if that is collected
    std::string errors{};   ///< the same of its standard error; or why it could not be started
};

enum class ProgramOutput {
    collected,
    passedOn ///< standard output and standard error are this process's own
};

/// Runs another program, found by its name in the directories of PATH, without a shell; gives it a text as its standard
/// input and waits for its end. A signal that ends this process takes it along.
/// Given  command  its name and its arguments
/// Notes  1  On Windows no program is started.
ProgramResult runProgram(const std::vector<std::string>& command, std::string_view input, ProgramOutput output);

/// Whether the system says that there is a desktop to open windows on.
bool hasDisplay();

} // namespace kor::platform
