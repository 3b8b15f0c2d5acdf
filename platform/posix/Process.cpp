#include "platform/Process.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/Files.h"

extern char** environ; // NOLINT(readability-redundant-declaration): not every system declares it

namespace kor::platform {

namespace {

// What ends a process from outside, beside the real-time signals.
constexpr int kEndingSignals[] = {SIGINT,    SIGTERM, SIGHUP,  SIGQUIT, SIGALRM, SIGUSR1,  SIGUSR2,
                                  SIGVTALRM, SIGPROF, SIGXCPU, SIGIO,   SIGPWR,  SIGSTKFLT};

// What ends it for a fault of its own. These cannot wait.
constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGSYS, SIGTRAP};

// Sent by the system to a child when its parent ends. Those that a user sends have lower numbers, so that they come
// first when both are waiting.
int signalOfParentsEnd()
{
    return SIGRTMIN;
}

// What the handler of an ending signal needs: plain arrays of lock-free atomics only. Whoever takes a path out of the
// table may use it: the handler to remove the file, the owner to give up the text.
std::atomic<const char*> doomedPaths[kMostRemovedWhenKilled];
std::atomic<pid_t> children[kMostChildren];
std::atomic<bool> ending{false};
std::atomic<int> starting{0}; // children that are being started and not listed yet
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);
static_assert(std::atomic<pid_t>::is_always_lock_free && std::atomic<const char*>::is_always_lock_free);

// The signal that was noted in place of ending the process, and when: milliseconds of a steady clock, 0 before.
using Milliseconds = std::chrono::milliseconds;
constexpr Milliseconds kOneRequest{200};
std::atomic<bool> signalsAreNoted{false};
std::atomic<int> noted{0};
std::atomic<Milliseconds::rep> notedAt{0};
static_assert(std::atomic<Milliseconds::rep>::is_always_lock_free);

// Whether the signal is one to note, or comes with the one that was.
bool isNoted(int number)
{
    if (!signalsAreNoted.load() || (number != SIGINT && number != SIGTERM)) {
        return false;
    }
    const auto now = std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
    Milliseconds::rep before = 0;
    if (notedAt.compare_exchange_strong(before, std::max<Milliseconds::rep>(now.count(), 1))) {
        noted.store(number);
        return true;
    }
    return now - Milliseconds(before) < kOneRequest;
}

extern "C" void endedBySignal(int number)
{
    // The parent of a child that has noted a signal may have got it as well.
    if (isNoted(number) || (number == signalOfParentsEnd() && noted.load() != 0)) {
        return;
    }
    // From here on nobody starts a child.
    ending.store(true);
    for (auto& place : doomedPaths) {
        if (const char* const path = place.exchange(nullptr); path != nullptr) {
            unlink(path);
        }
    }
    // Those being started are listed in a moment: see Starting. A thread that does not get so far, because it is
    // stopped or starved, must not keep the process from ending.
    constexpr int kMostRounds = 1000;
    for (int round = 0; round < kMostRounds && starting.load() > 0; ++round) {
        poll(nullptr, 0, 1); // a millisecond
    }
    for (const auto& child : children) {
        if (const pid_t id = child.load(); id > 0) {
            kill(id, SIGTERM);
        }
    }
    // The signal's own way to end a process.
    std::signal(number, SIG_DFL);
    raise(number);
}

sigset_t endingSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : kEndingSignals) {
        sigaddset(&set, number);
    }
    for (int number = SIGRTMIN; number <= SIGRTMAX; ++number) {
        sigaddset(&set, number);
    }
    return set;
}

// One handler at a time: a second signal waits until the first one is noted.
void handle(int number)
{
    struct sigaction action = {};
    action.sa_handler = endedBySignal;
    action.sa_mask = endingSignals();
    sigaction(number, &action, nullptr);
}

// What is ignored stays so (started in the background, or under nohup), and what an instrumentation of the program has
// taken for itself stays with it.
void handleUnlessTaken(int number)
{
    struct sigaction before = {};
    if (sigaction(number, nullptr, &before) == 0 && before.sa_handler == SIG_DFL) {
        handle(number);
    }
}

// The thread's signals before the first EndingSignalsWait in it.
thread_local sigset_t maskBefore;
thread_local int waiting = 0;

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

// While a thread starts a child and lists it, that thread takes no ending signal: the handler may run in another one
// only, and waits for it. Nothing in between may allocate, because the handler's thread may hold the allocator.
class Starting {
public:
    Starting() { ++starting; }
    ~Starting() { --starting; }
    Starting(const Starting&) = delete;
    Starting& operator=(const Starting&) = delete;
    bool forbidden() const { return ending.load(); }

private:
    EndingSignalsWait m_signalsWait;
};

std::string ownPath()
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

std::string reason(int error)
{
    return std::generic_category().message(error);
}

// Both ends close when it goes, and neither is handed down.
struct Pipe {
    File reading;
    File writing;

    bool open()
    {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return false;
        }
        reading = File(ends[0]);
        writing = File(ends[1]);
        return true;
    }
};

// What a child has as one of its standard streams.
struct Stream {
    int descriptor;
    int stream;
};

// A process that was started here. Whoever starts one waits for its end.
class Child {
public:
    // Given     command  its name, sought in PATH if there is no slash in it, and its arguments
    // Returned  result   0, or the number of the error
    int start(const std::vector<std::string>& command, const std::vector<Stream>& streams)
    {
        std::vector<char*> argv;
        argv.reserve(command.size() + 1);
        for (const std::string& argument : command) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        for (const Stream& each : streams) {
            posix_spawn_file_actions_adddup2(&actions, each.descriptor, each.stream);
        }
        // A pipe that is closed ends other programs, which do not look for the error.
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        int error = ECANCELED;
        {
            const Starting section;
            posix_spawnattr_setsigmask(&attributes, &maskBefore);
            if (!section.forbidden()) {
                error = posix_spawnp(&m_id, argv[0], &actions, &attributes, argv.data(), environ);
            }
            if (error == 0) {
                m_listed.add(m_id);
            }
        }
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        return error;
    }

    // Its exit status; 128 + the number when a signal ended it.
    int waitForEnd() const
    {
        int status = 0;
        while (waitpid(m_id, &status, 0) < 0 && errno == EINTR) {
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t m_id = 0;
    Listed m_listed;
};

} // namespace

void prepareProcess()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1) {
            // The lowest free number, so this one. The direction is wrong on purpose: using it stays an error.
            const int filler = open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
            static_cast<void>(filler);
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int number : kEndingSignals) {
        handleUnlessTaken(number);
    }
    for (const int number : kFaultSignals) {
        handleUnlessTaken(number);
    }
    for (int number = SIGRTMIN; number <= SIGRTMAX; ++number) {
        handleUnlessTaken(number);
    }
}

void endWithParent(unsigned parent)
{
    const int number = signalOfParentsEnd();
    handle(number);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    prctl(PR_SET_PDEATHSIG, number);
    if (static_cast<unsigned>(getppid()) != parent) { // it has ended before
        raise(number);
    }
}

std::vector<std::string> arguments(int argc, char** argv)
{
    return {argv + std::min(argc, 1), argv + argc};
}

unsigned processId()
{
    return static_cast<unsigned>(getpid());
}

RemovedWhenKilled::RemovedWhenKilled(const std::string& path)
{
    char* const copy = new char[path.size() + 1];
    std::memcpy(copy, path.c_str(), path.size() + 1);
    for (m_place = 0; m_place < kMostRemovedWhenKilled; ++m_place) {
        const char* none = nullptr;
        if (doomedPaths[m_place].compare_exchange_strong(none, copy)) {
            m_path = copy;
            return;
        }
    }
    delete[] copy;
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
    // If the handler has it, the process is ending and the text stays for it.
    const char* mine = m_path;
    if (m_path != nullptr && doomedPaths[m_place].compare_exchange_strong(mine, nullptr)) {
        delete[] m_path;
    }
}

EndingSignalsWait::EndingSignalsWait() noexcept
{
    if (waiting++ == 0) {
        const sigset_t blocked = endingSignals();
        pthread_sigmask(SIG_BLOCK, &blocked, &maskBefore);
    }
}

EndingSignalsWait::~EndingSignalsWait()
{
    if (--waiting == 0) {
        pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
    }
}

EndingSignalsAreNoted::EndingSignalsAreNoted() noexcept
{
    noted.store(0);
    notedAt.store(0);
    signalsAreNoted.store(true);
}

EndingSignalsAreNoted::~EndingSignalsAreNoted()
{
    signalsAreNoted.store(false);
}

int notedSignal() noexcept
{
    return noted.load(std::memory_order_relaxed);
}

ChildResult runSelf(const std::vector<std::string>& arguments)
{
    ChildResult result;
    const std::string self = ownPath();
    Pipe errors;
    if (self.empty() || !errors.open()) {
        result.errors = "cannot prepare a process: " + reason(errno);
        return result;
    }
    std::vector<std::string> command = arguments;
    command.insert(command.begin(), self);

    Child child;
    if (const int error = child.start(command, {{errors.writing.descriptor(), STDERR_FILENO}}); error != 0) {
        result.errors = "cannot start a process: " + reason(error);
        return result;
    }
    result.started = true;
    errors.writing.close();

    char buffer[4096];
    for (ssize_t got = 0;
         (got = read(errors.reading.descriptor(), buffer, sizeof buffer)) > 0 || (got < 0 && errno == EINTR);) {
        result.errors.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    errors.reading.close();
    result.status = child.waitForEnd();
    return result;
}

namespace {

// Writes what can be written without waiting; closes the file when that was all, or when nobody reads it.
void putSome(File& file, std::string_view& input)
{
    const ssize_t put = write(file.descriptor(), input.data(), input.size());
    if (put >= 0) {
        input.remove_prefix(static_cast<std::size_t>(put));
    } else if (errno != EINTR && errno != EAGAIN) {
        input = {};
    }
    if (input.empty()) {
        file.close();
    }
}

// Reads what has come; closes the file at its end.
void takeSome(File& file, std::string& into)
{
    char buffer[65536];
    const ssize_t got = read(file.descriptor(), buffer, sizeof buffer);
    if (got > 0) {
        into.append(buffer, static_cast<std::size_t>(got));
    } else if (got == 0 || errno != EINTR) {
        file.close();
    }
}

// Until all is closed. A program may write before it has read everything, so neither side may wait for the other one.
void exchange(File& in, std::string_view input, File& out, std::string& output, File& err, std::string& errors)
{
    fcntl(in.descriptor(), F_SETFL, O_NONBLOCK);
    while (in || out || err) {
        pollfd waits[] = {{in.descriptor(), POLLOUT, 0}, {out.descriptor(), POLLIN, 0}, {err.descriptor(), POLLIN, 0}};
        if (poll(waits, 3, -1) < 0) {
            continue; // a signal
        }
        if (waits[0].revents != 0) {
            putSome(in, input);
        }
        if (waits[1].revents != 0) {
            takeSome(out, output);
        }
        if (waits[2].revents != 0) {
            takeSome(err, errors);
        }
    }
}

} // namespace

ProgramResult runProgram(const std::vector<std::string>& command, std::string_view input, ProgramOutput output)
{
    ProgramResult result;
    Pipe in;
    Pipe out;
    Pipe errors;
    const bool collects = output == ProgramOutput::collected;
    if (!in.open() || (collects && (!out.open() || !errors.open()))) {
        result.errors = "cannot prepare a process: " + reason(errno);
        return result;
    }
    std::vector<Stream> streams = {{in.reading.descriptor(), STDIN_FILENO}};
    if (collects) {
        streams.push_back({out.writing.descriptor(), STDOUT_FILENO});
        streams.push_back({errors.writing.descriptor(), STDERR_FILENO});
    }
    Child child;
    if (const int error = child.start(command, streams); error != 0) {
        result.isMissing = error == ENOENT;
        result.errors = reason(error);
        return result;
    }
    result.started = true;
    in.reading.close();
    out.writing.close();
    errors.writing.close();

    exchange(in.writing, input, out.reading, result.output, errors.reading, result.errors);
    result.status = child.waitForEnd();
    return result;
}

bool hasDisplay()
{
    for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY"}) {
        const char* const value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            return true;
        }
    }
    return false;
}

} // namespace kor::platform
