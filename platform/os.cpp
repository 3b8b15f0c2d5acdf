#include "platform/os.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>

#ifdef _WIN32
#include <io.h>
#include <process.h>
#include <windows.h>

#include <shellapi.h>
#else
#include <atomic>
#include <csignal>

#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;
#endif

#include "platform/Text.h"

namespace kor::tool::os {

namespace {

int openWithoutWaiting(const std::string& path);

} // namespace

std::string lastError()
{
    return std::generic_category().message(errno);
}

std::string whyUnreadable(const std::string& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(pathFrom(path), error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        return std::filesystem::is_directory(status) ? "it is a directory" : "it is not a regular file";
    }
    const int file = openWithoutWaiting(path);
    if (file < 0) {
        return lastError();
    }
    closeFile(file);
    return "it cannot be read";
}

#ifdef _WIN32

namespace {

std::wstring wide(const std::string& path)
{
    return pathFrom(path).wstring();
}

int openWithoutWaiting(const std::string& path)
{
    return openForReading(path); // never waits here
}

// The run-time library takes a directory for a file that may not be opened.
int opened(int file, const std::wstring& path)
{
    if (file < 0 && errno == EACCES) {
        const DWORD attributes = GetFileAttributesW(path.c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            errno = EISDIR;
        }
    }
    return file;
}

// Quotes one argument so that the runtime's parser gives it back unchanged: backslashes double in front of a quote.
std::wstring quotedArgument(const std::wstring& argument)
{
    std::wstring out = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        out.append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
        backslashes = 0;
        out += c;
    }
    out.append(2 * backslashes, L'\\');
    return out + L"\"";
}

std::optional<FileId> identified(HANDLE handle)
{
    BY_HANDLE_FILE_INFORMATION info;
    if (handle == INVALID_HANDLE_VALUE || GetFileType(handle) != FILE_TYPE_DISK ||
        GetFileInformationByHandle(handle, &info) == 0 || (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return std::nullopt;
    }
    return FileId{info.dwVolumeSerialNumber, std::uint64_t{info.nFileIndexHigh} << 32 | info.nFileIndexLow};
}

ChildResult notStarted(const char* what)
{
    ChildResult result;
    result.errors = std::string(what) + ": " + std::system_category().message(static_cast<int>(GetLastError()));
    return result;
}

} // namespace

void prepareProcess()
{
    for (int stream = kStandardInput; stream <= kStandardError; ++stream) {
        if (_get_osfhandle(stream) < 0) {
            _open("NUL", stream == kStandardInput ? _O_WRONLY : _O_RDONLY);
        }
        _setmode(stream, _O_BINARY);
    }
}

// argv has been through the code page, which lacks most characters.
std::vector<std::string> arguments(int, char**)
{
    int count = 0;
    wchar_t** const values = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> out;
    for (int i = 1; values != nullptr && i < count; ++i) {
        out.push_back(textOf(values[i]));
    }
    LocalFree(values);
    return out;
}

int openForReading(const std::string& path)
{
    const std::wstring name = wide(path);
    return opened(_wopen(name.c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT), name);
}

int openForWriting(const std::string& path)
{
    const std::wstring name = wide(path);
    return opened(_wopen(name.c_str(), _O_WRONLY | _O_BINARY | _O_NOINHERIT), name);
}

int createNew(const std::string& path)
{
    return _wopen(wide(path).c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT, _S_IREAD | _S_IWRITE);
}

std::ptrdiff_t readSome(int file, char* into, std::size_t room)
{
    const int got = _read(file, into, static_cast<unsigned>(std::min<std::size_t>(room, 1u << 30)));
    return got < 0 && errno == EPIPE ? 0 : got; // the other end of a pipe closed it: the end
}

bool writeAll(int file, const char* bytes, std::size_t count)
{
    while (count > 0) {
        const int put = _write(file, bytes, static_cast<unsigned>(std::min<std::size_t>(count, 1u << 30)));
        if (put <= 0) {
            return false;
        }
        bytes += put;
        count -= static_cast<std::size_t>(put);
    }
    return true;
}

bool closeFile(int file)
{
    return _close(file) == 0;
}

bool isDirectory(int)
{
    return false; // a directory cannot be opened as a file in the first place: see opened
}

std::optional<FileId> regularFile(int file)
{
    return identified(reinterpret_cast<HANDLE>(_get_osfhandle(file)));
}

std::optional<FileId> regularFile(const std::string& path)
{
    const HANDLE handle = CreateFileW(wide(path).c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    const std::optional<FileId> id = identified(handle);
    if (handle != INVALID_HANDLE_VALUE) {
        CloseHandle(handle);
    }
    return id;
}

bool replaceFile(const std::string& from, const std::string& to)
{
    if (MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_REPLACE_EXISTING) == 0) {
        errno = GetLastError() == ERROR_ACCESS_DENIED ? EACCES : EIO;
        return false;
    }
    return true;
}

void removeFile(const std::string& path)
{
    _wunlink(wide(path).c_str());
}

void removeWhenKilled(const std::string&) {}

unsigned processId()
{
    return static_cast<unsigned>(GetCurrentProcessId());
}

bool isTerminal(int file)
{
    return _isatty(file) != 0;
}

int terminalWidth(int file)
{
    CONSOLE_SCREEN_BUFFER_INFO info;
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(file));
    return GetConsoleScreenBufferInfo(handle, &info) != 0 ? info.srWindow.Right - info.srWindow.Left : 80;
}

ChildResult runSelf(const std::vector<std::string>& arguments)
{
    wchar_t self[32768];
    if (GetModuleFileNameW(nullptr, self, 32768) == 0) {
        return notStarted("cannot find this program");
    }
    std::wstring line = quotedArgument(self);
    for (const std::string& argument : arguments) {
        line += L" " + quotedArgument(wide(argument));
    }

    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    if (CreatePipe(&reading, &writing, &inheritable, 0) == 0) {
        return notStarted("cannot make a pipe");
    }
    SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);

    // Only the three standard handles go to the child: a pipe of another thread's child would never end otherwise.
    HANDLE handles[3] = {GetStdHandle(STD_INPUT_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE), writing};
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = handles[0];
    startup.StartupInfo.hStdOutput = handles[1];
    startup.StartupInfo.hStdError = writing;
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<char> list(size);
    startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(list.data());
    PROCESS_INFORMATION process{};
    const bool started = InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size) != 0 &&
                         UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                                   &handles[2], sizeof(HANDLE), nullptr, nullptr) != 0 &&
                         CreateProcessW(self, line.data(), nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT,
                                        nullptr, nullptr, &startup.StartupInfo, &process) != 0;
    ChildResult result = started ? ChildResult{} : notStarted("cannot start this program");
    CloseHandle(writing);
    if (started) {
        result.started = true;
        char buffer[4096];
        DWORD got = 0;
        while (ReadFile(reading, buffer, sizeof buffer, &got, nullptr) != 0 && got > 0) {
            result.errors.append(buffer, got);
        }
        WaitForSingleObject(process.hProcess, INFINITE);
        DWORD status = 0;
        GetExitCodeProcess(process.hProcess, &status);
        result.status = static_cast<int>(status);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(reading);
    return result;
}

#else

namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// What the handler of an ending signal needs: plain arrays and lock-free atomics only.
constexpr std::size_t kPathRoom = 4096;
char doomedPath[kPathRoom];
std::atomic<bool> pathDoomed{false};
std::atomic<pid_t> children[kMostChildren];
std::atomic<bool> ending{false};
std::atomic<int> starting{0}; // children that are being started and not listed yet
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<pid_t>::is_always_lock_free);

extern "C" void endedBySignal(int number)
{
    // From here on nobody starts a child, and those being started are listed in a moment: see Starting.
    ending.store(true);
    while (starting.load() > 0) {
    }
    if (pathDoomed.load()) {
        unlink(doomedPath);
    }
    for (const auto& child : children) {
        if (const pid_t id = child.load(); id > 0) {
            kill(id, SIGTERM);
        }
    }
    // The handler was installed to run once, so this is the signal's own way to end a process.
    raise(number);
}

// A child's place among those that a signal takes along; none when there are more than kMostChildren.
class Listed {
public:
    void add(pid_t id)
    {
        for (auto& place : children) {
            pid_t none = 0;
            if (place.compare_exchange_strong(none, id)) {
                m_place = &place;
                return;
            }
        }
    }
    Listed() = default;
    ~Listed()
    {
        if (m_place != nullptr) {
            m_place->store(0);
        }
    }
    Listed(const Listed&) = delete;
    Listed& operator=(const Listed&) = delete;

private:
    std::atomic<pid_t>* m_place = nullptr;
};

int openWithoutWaiting(const std::string& path)
{
    return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
}

std::optional<FileId> identified(const struct stat& status)
{
    if (!S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return FileId{status.st_dev, status.st_ino};
}

// While a thread starts a child and lists it, that thread takes no ending signal: the handler may run in another one
// only, and waits for it. Nothing in between may allocate, because the handler's thread may hold the allocator.
class Starting {
public:
    Starting()
    {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int number : kEndingSignals) {
            sigaddset(&blocked, number);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &m_before);
        ++starting;
    }
    ~Starting()
    {
        --starting;
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    Starting(const Starting&) = delete;
    Starting& operator=(const Starting&) = delete;
    bool forbidden() const { return ending.load(); }
    const sigset_t& before() const { return m_before; }

private:
    sigset_t m_before;
};

std::string ownPath()
{
    char path[kPathRoom];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

} // namespace

void prepareProcess()
{
    for (int stream = kStandardInput; stream <= kStandardError; ++stream) {
        if (fcntl(stream, F_GETFD) == -1) {
            // The lowest free number, so this one. The direction is wrong on purpose: using it stays an error.
            const int filler = open("/dev/null", stream == kStandardInput ? O_WRONLY : O_RDONLY);
            static_cast<void>(filler);
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    for (const int number : kEndingSignals) {
        struct sigaction before = {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler == SIG_IGN) {
            continue; // started in the background or under nohup: stay that way
        }
        struct sigaction action = {};
        action.sa_handler = endedBySignal;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigemptyset(&action.sa_mask);
        sigaction(number, &action, nullptr);
    }
}

std::vector<std::string> arguments(int argc, char** argv)
{
    return {argv + std::min(argc, 1), argv + argc};
}

int openForReading(const std::string& path)
{
    return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
}

int openForWriting(const std::string& path)
{
    return open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
}

int createNew(const std::string& path)
{
    return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
}

std::ptrdiff_t readSome(int file, char* into, std::size_t room)
{
    for (;;) {
        const ssize_t got = read(file, into, room);
        if (got >= 0 || errno != EINTR) {
            return got;
        }
    }
}

bool writeAll(int file, const char* bytes, std::size_t count)
{
    while (count > 0) {
        const ssize_t put = write(file, bytes, count);
        if (put < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes += put;
        count -= static_cast<std::size_t>(put);
    }
    return true;
}

bool closeFile(int file)
{
    return close(file) == 0;
}

bool isDirectory(int file)
{
    struct stat status = {};
    return fstat(file, &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<FileId> regularFile(int file)
{
    struct stat status = {};
    return fstat(file, &status) == 0 ? identified(status) : std::nullopt;
}

std::optional<FileId> regularFile(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? identified(status) : std::nullopt;
}

bool replaceFile(const std::string& from, const std::string& to)
{
    return rename(from.c_str(), to.c_str()) == 0;
}

void removeFile(const std::string& path)
{
    unlink(path.c_str());
}

void removeWhenKilled(const std::string& path)
{
    pathDoomed.store(false);
    if (!path.empty() && path.size() < kPathRoom) {
        std::memcpy(doomedPath, path.c_str(), path.size() + 1);
        pathDoomed.store(true);
    }
}

unsigned processId()
{
    return static_cast<unsigned>(getpid());
}

bool isTerminal(int file)
{
    return isatty(file) == 1;
}

int terminalWidth(int file)
{
    struct winsize size = {};
    return ioctl(file, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

ChildResult runSelf(const std::vector<std::string>& arguments)
{
    ChildResult result;
    const std::string self = ownPath();
    int ends[2] = {-1, -1};
    if (self.empty() || pipe2(ends, O_CLOEXEC) != 0) {
        result.errors = "cannot prepare a process: " + lastError();
        return result;
    }

    std::vector<char*> argv{const_cast<char*>(self.c_str())};
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], kStandardError);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t id = 0;
    int error = ECANCELED;
    Listed listed;
    {
        const Starting section;
        posix_spawnattr_setsigmask(&attributes, &section.before());
        if (!section.forbidden()) {
            error = posix_spawn(&id, self.c_str(), &actions, &attributes, argv.data(), environ);
        }
        if (error == 0) {
            listed.add(id);
        }
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        result.errors = "cannot start a process: " + std::generic_category().message(error);
        return result;
    }
    result.started = true;

    char buffer[4096];
    for (std::ptrdiff_t got = 0; (got = readSome(ends[0], buffer, sizeof buffer)) > 0;) {
        result.errors.append(buffer, static_cast<std::size_t>(got));
    }
    close(ends[0]);

    int status = 0;
    while (waitpid(id, &status, 0) < 0 && errno == EINTR) {
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

#endif

} // namespace kor::tool::os
