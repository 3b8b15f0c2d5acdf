#include "platform/Process.h"

#include <cstring>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <io.h>

#include "platform/Files.h"
#include "platform/windows/Names.h"

namespace kor::platform {

namespace {

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

// Held while a file is made and noted below. Never destroyed, because the handler's thread may outlast everything else.
std::recursive_mutex& endingLock()
{
    static auto* const lock = new std::recursive_mutex;
    return *lock;
}

const char* doomedPaths[kMostRemovedWhenKilled];

// The system calls this in a thread of its own. It keeps the lock: nobody makes a file any more.
BOOL WINAPI endedByConsole(DWORD /*event*/)
{
    endingLock().lock();
    for (const char* const path : doomedPaths) {
        if (path != nullptr) {
            removeFile(path);
        }
    }
    return FALSE; // the system's own handler comes next and ends the process
}

// The parent writes nothing: the read returns when its end of the pipe is closed.
DWORD WINAPI waitForParentsEnd(void* /*nothing*/)
{
    char byte = 0;
    DWORD got = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &got, nullptr) != 0 && got > 0) {
    }
    endedByConsole(CTRL_CLOSE_EVENT);
    constexpr UINT kTerminated = 143;
    TerminateProcess(GetCurrentProcess(), kTerminated);
    return 0;
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
    constexpr int kInput = 0;
    constexpr int kError = 2;
    for (int stream = kInput; stream <= kError; ++stream) {
        if (_get_osfhandle(stream) < 0) {
            _open("NUL", stream == kInput ? _O_WRONLY : _O_RDONLY);
        }
        _setmode(stream, _O_BINARY);
    }
    SetConsoleCtrlHandler(endedByConsole, TRUE);
}

// argv has been through the code page, which lacks most characters.
std::vector<std::string> arguments(int, char**)
{
    int count = 0;
    wchar_t** const values = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> out;
    for (int i = 1; values != nullptr && i < count; ++i) {
        out.push_back(toUtf8(values[i]).value_or("\xff")); // a lone surrogate: no name and no value of anything
    }
    LocalFree(values);
    return out;
}

unsigned processId()
{
    return static_cast<unsigned>(GetCurrentProcessId());
}

RemovedWhenKilled::RemovedWhenKilled(const std::string& path)
{
    const std::lock_guard<std::recursive_mutex> guard(endingLock());
    while (m_place < kMostRemovedWhenKilled && doomedPaths[m_place] != nullptr) {
        ++m_place;
    }
    if (m_place < kMostRemovedWhenKilled) {
        char* const copy = new char[path.size() + 1];
        std::memcpy(copy, path.c_str(), path.size() + 1);
        m_path = doomedPaths[m_place] = copy;
    }
}

RemovedWhenKilled::RemovedWhenKilled(RemovedWhenKilled&& other) noexcept
    : m_path(std::exchange(other.m_path, nullptr)), m_place(other.m_place)
{
}

RemovedWhenKilled& RemovedWhenKilled::operator=(RemovedWhenKilled&& other) noexcept
{
    std::swap(m_path, other.m_path);
    std::swap(m_place, other.m_place);
    return *this;
}

RemovedWhenKilled::~RemovedWhenKilled()
{
    if (m_path != nullptr) {
        const std::lock_guard<std::recursive_mutex> guard(endingLock());
        doomedPaths[m_place] = nullptr;
        delete[] m_path;
    }
}

EndingSignalsWait::EndingSignalsWait() noexcept
{
    endingLock().lock();
}

EndingSignalsWait::~EndingSignalsWait()
{
    endingLock().unlock();
}

EndingSignalsAreNoted::EndingSignalsAreNoted() noexcept = default;
EndingSignalsAreNoted::~EndingSignalsAreNoted() = default;

int notedSignal() noexcept
{
    return 0;
}

void endWithParent(unsigned /*parent*/)
{
    if (const HANDLE thread = CreateThread(nullptr, 0, waitForParentsEnd, nullptr, 0, nullptr); thread != nullptr) {
        CloseHandle(thread);
    }
}

ChildResult runSelf(const std::vector<std::string>& arguments)
{
    wchar_t self[32768];
    if (GetModuleFileNameW(nullptr, self, 32768) == 0) {
        return notStarted("cannot find this program");
    }
    std::wstring line = quotedArgument(self);
    for (const std::string& argument : arguments) {
        const std::optional<std::wstring> text = nativeName(argument);
        if (!text) {
            ChildResult result;
            result.errors = "cannot start this program: an argument is not valid text";
            return result;
        }
        line += L" " + quotedArgument(*text);
    }

    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    if (CreatePipe(&reading, &writing, &inheritable, 0) == 0) {
        return notStarted("cannot make a pipe");
    }
    SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0);
    // By the end of this one the child hears of the end of this process.
    HANDLE life = nullptr;
    HANDLE heldOpen = nullptr;
    if (CreatePipe(&life, &heldOpen, &inheritable, 0) == 0) {
        const ChildResult result = notStarted("cannot make a pipe");
        CloseHandle(reading);
        CloseHandle(writing);
        return result;
    }
    SetHandleInformation(heldOpen, HANDLE_FLAG_INHERIT, 0);

    // Only these go to the child: a pipe of another thread's child would never end otherwise.
    HANDLE inherited[2] = {life, writing};
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = life;
    startup.StartupInfo.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.StartupInfo.hStdError = writing;
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<char> list(size);
    startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(list.data());
    PROCESS_INFORMATION process{};
    const bool started = InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size) != 0 &&
                         UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                                   inherited, sizeof inherited, nullptr, nullptr) != 0 &&
                         CreateProcessW(self, line.data(), nullptr, nullptr, TRUE, EXTENDED_STARTUPINFO_PRESENT,
                                        nullptr, nullptr, &startup.StartupInfo, &process) != 0;
    ChildResult result = started ? ChildResult{} : notStarted("cannot start this program");
    CloseHandle(writing);
    CloseHandle(life);
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
    CloseHandle(heldOpen);
    return result;
}

ProgramResult runProgram(const std::vector<std::string>& /*command*/, std::string_view /*input*/,
                         ProgramOutput /*output*/)
{
    ProgramResult result;
    result.errors = "this build starts no other programs";
    return result;
}

bool hasDisplay()
{
    return true;
}

} // namespace kor::platform
