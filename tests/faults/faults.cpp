// Stands between a program and the C library: lets an allocation or a system call of its choice go wrong. Linked into a
// program (faults.h), or loaded into any program by LD_PRELOAD and told by the environment:
//
//   KOR_FAULTS=alloc:N:once        the N-th allocation since the beginning of main fails
//   KOR_FAULTS=alloc:N:on          it does, and so does every one behind it
//   KOR_FAULTS=call:N:once:ERROR   the N-th of the calls below fails with this error number
//   KOR_FAULTS=call:N:on:ERROR     it does, and so does every one behind it
//   KOR_FAULTS=call:N:half         it reads or writes only half of what it should
//   KOR_FAULTS=call:N:kill         the process is killed in place of it
//   KOR_FAULTS=call:N:killed       the process is killed right behind it
//   KOR_FAULTS=call:N:torn         the same behind half of what it should read or write
//   KOR_FAULTS_REPORT=FILE         at the end: the number of allocations, then the names of the calls, a line each
//
// Waits last no time meanwhile.
#include "faults/faults.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

// The C library's own allocator behind the names that are replaced here.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}

namespace {

enum class Kind { none, fail, half, kill, killed, torn };

struct Plan {
    Kind kind = Kind::none;
    long at = 0;
    bool andAfter = false;
    int error = EIO;

    bool hits(long number) const { return kind != Kind::none && (number == at || (andAfter && number > at)); }
};

Plan g_allocationPlan;
Plan g_callPlan;
std::atomic<bool> g_isLoaded{false}; // by LD_PRELOAD, and main has begun
std::atomic<bool> g_skipsWaits{false};
std::atomic<long> g_allocations{0};
std::atomic<long> g_calls{0};

constexpr std::size_t kMostNames = std::size_t{1} << 20U;
char g_names[kMostNames]; // of the calls, a line each
std::atomic<std::size_t> g_named{0};

bool mayAllocate()
{
    return !g_allocationPlan.hits(++g_allocations);
}

void* orNoMemory(void* storage)
{
    if (storage == nullptr) {
        errno = ENOMEM;
    }
    return storage;
}

void killThis()
{
    ::syscall(SYS_kill, ::syscall(SYS_getpid), SIGKILL);
}

// What is to become of a call; errno is set if it is to fail.
Kind next(const char* name)
{
    if (!g_isLoaded) {
        return Kind::none;
    }
    const long number = ++g_calls;
    const std::size_t length = std::strlen(name);
    const std::size_t at = g_named.fetch_add(length + 1);
    if (at + length + 1 <= kMostNames) {
        std::memcpy(g_names + at, name, length);
        g_names[at + length] = '\n';
    }
    if (!g_callPlan.hits(number)) {
        return Kind::none;
    }
    if (g_callPlan.kind == Kind::kill) {
        killThis();
    }
    errno = g_callPlan.error;
    return g_callPlan.kind;
}

template <typename Function>
Function* real(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

// A call that either happens or fails with -1.
template <typename Call>
auto guarded(const char* name, Call&& call) -> decltype(call())
{
    const Kind kind = next(name);
    if (kind == Kind::fail) {
        return -1;
    }
    const auto result = call();
    if (kind == Kind::killed) {
        killThis();
    }
    return result;
}

template <typename Call>
ssize_t guardedTransfer(const char* name, std::size_t count, Call&& call)
{
    const Kind kind = next(name);
    if (kind == Kind::fail) {
        return -1;
    }
    const ssize_t result = call((kind == Kind::half || kind == Kind::torn) && count > 1 ? count / 2 : count);
    if (kind == Kind::killed || kind == Kind::torn) {
        killThis();
    }
    return result;
}

Plan planned(const char* text)
{
    Plan plan;
    char* end = nullptr;
    plan.at = std::strtol(text, &end, 10);
    const char* const how = *end == ':' ? end + 1 : "";
    plan.kind = std::strcmp(how, "half") == 0     ? Kind::half
                : std::strcmp(how, "kill") == 0   ? Kind::kill
                : std::strcmp(how, "killed") == 0 ? Kind::killed
                : std::strcmp(how, "torn") == 0   ? Kind::torn
                                                  : Kind::fail;
    plan.andAfter = std::strncmp(how, "on", 2) == 0 && how[2] != 'c';
    const char* const error = std::strchr(how, ':');
    if (error != nullptr) {
        plan.error = std::atoi(error + 1);
    }
    return plan;
}

void readPlans()
{
    const char* const text = std::getenv("KOR_FAULTS");
    if (text != nullptr && std::strncmp(text, "alloc:", 6) == 0) {
        g_allocationPlan = planned(text + 6);
    } else if (text != nullptr && std::strncmp(text, "call:", 5) == 0) {
        g_callPlan = planned(text + 5);
    }
}

void writeAll(long descriptor, const char* text, std::size_t length)
{
    while (length > 0) {
        const long put = ::syscall(SYS_write, descriptor, text, length);
        if (put <= 0) {
            return;
        }
        text += put;
        length -= static_cast<std::size_t>(put);
    }
}

[[gnu::destructor]] void report()
{
    const char* const path = g_isLoaded ? std::getenv("KOR_FAULTS_REPORT") : nullptr;
    if (path == nullptr) {
        return;
    }
    g_isLoaded = false;
    const long descriptor = ::syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    char count[32];
    const int length = std::snprintf(count, sizeof count, "%ld\n", g_allocations.load());
    writeAll(descriptor, count, static_cast<std::size_t>(length));
    const std::size_t named = g_named.load();
    writeAll(descriptor, g_names, named < kMostNames ? named : kMostNames);
    ::syscall(SYS_close, descriptor);
}

using Main = int(int, char**, char**);
Main* g_main = nullptr;

int countedMain(int count, char** arguments, char** environment)
{
    readPlans();
    g_allocations = 0;
    g_skipsWaits = true;
    g_isLoaded = true;
    return g_main(count, arguments, environment);
}

} // namespace

namespace kor_faults {

void failAllocation(long number, bool andAfter)
{
    g_allocationPlan = {number > 0 ? Kind::fail : Kind::none, number, andAfter, ENOMEM};
    g_allocations = 0;
    g_skipsWaits = number > 0;
}

long allocations()
{
    return g_allocations;
}

} // namespace kor_faults

extern "C" {

// ---- memory

void* malloc(std::size_t size)
{
    return orNoMemory(mayAllocate() ? __libc_malloc(size) : nullptr);
}

void* calloc(std::size_t count, std::size_t size)
{
    return orNoMemory(mayAllocate() ? __libc_calloc(count, size) : nullptr);
}

void* realloc(void* storage, std::size_t size)
{
    return orNoMemory(mayAllocate() ? __libc_realloc(storage, size) : nullptr);
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return orNoMemory(mayAllocate() ? __libc_memalign(alignment, size) : nullptr);
}

// ---- the beginning of the program

int __libc_start_main(Main* program, int count, char** arguments, void (*initialise)(), void (*finish)(),
                      void (*finishLoader)(), void* stackEnd)
{
    using Start = int(Main*, int, char**, void (*)(), void (*)(), void (*)(), void*);
    g_main = program;
    return real<Start>("__libc_start_main")(countedMain, count, arguments, initialise, finish, finishLoader, stackEnd);
}

// ---- system calls

int open(const char* path, int flags, ...)
{
    std::va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return guarded("open", [=] { return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode)); });
}

int open64(const char* path, int flags, ...)
{
    std::va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return guarded("open", [=] { return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode)); });
}

ssize_t read(int descriptor, void* into, std::size_t count)
{
    return guardedTransfer("read", count,
                           [=](std::size_t part) { return ::syscall(SYS_read, descriptor, into, part); });
}

// What a fortified program calls.
ssize_t __read_chk(int descriptor, void* into, std::size_t count, std::size_t)
{
    return read(descriptor, into, count);
}

ssize_t write(int descriptor, const void* from, std::size_t count)
{
    return guardedTransfer("write", count,
                           [=](std::size_t part) { return ::syscall(SYS_write, descriptor, from, part); });
}

// The descriptor is free again whatever the result.
int close(int descriptor)
{
    const Kind kind = next("close");
    const int error = errno;
    const int result = static_cast<int>(::syscall(SYS_close, descriptor));
    if (kind == Kind::killed) {
        killThis();
    }
    if (kind == Kind::fail) {
        errno = error;
        return -1;
    }
    return result;
}

int fsync(int descriptor)
{
    return guarded("fsync", [=] { return static_cast<int>(::syscall(SYS_fsync, descriptor)); });
}

int ftruncate(int descriptor, off_t length)
{
    return guarded("ftruncate", [=] { return static_cast<int>(::syscall(SYS_ftruncate, descriptor, length)); });
}

int rename(const char* from, const char* to)
{
    return guarded("rename", [=] { return static_cast<int>(::syscall(SYS_rename, from, to)); });
}

int link(const char* from, const char* to)
{
    return guarded("link", [=] { return static_cast<int>(::syscall(SYS_link, from, to)); });
}

int unlink(const char* path)
{
    return guarded("unlink", [=] { return static_cast<int>(::syscall(SYS_unlink, path)); });
}

int fstat(int descriptor, struct stat* status)
{
    return guarded("fstat", [=] { return static_cast<int>(::syscall(SYS_fstat, descriptor, status)); });
}

int stat(const char* path, struct stat* status)
{
    return guarded("stat", [=] { return static_cast<int>(::syscall(SYS_stat, path, status)); });
}

int lstat(const char* path, struct stat* status)
{
    return guarded("lstat", [=] { return static_cast<int>(::syscall(SYS_lstat, path, status)); });
}

int chmod(const char* path, mode_t mode)
{
    return guarded("chmod", [=] { return static_cast<int>(::syscall(SYS_chmod, path, mode)); });
}

int fchmod(int descriptor, mode_t mode)
{
    return guarded("fchmod", [=] { return static_cast<int>(::syscall(SYS_fchmod, descriptor, mode)); });
}

int fchown(int descriptor, uid_t user, gid_t group)
{
    return guarded("fchown", [=] { return static_cast<int>(::syscall(SYS_fchown, descriptor, user, group)); });
}

int flock(int descriptor, int operation)
{
    return guarded("flock", [=] { return static_cast<int>(::syscall(SYS_flock, descriptor, operation)); });
}

int fcntl(int descriptor, int command, ...)
{
    std::va_list more;
    va_start(more, command);
    const long argument = va_arg(more, long);
    va_end(more);
    return guarded("fcntl", [=] { return static_cast<int>(::syscall(SYS_fcntl, descriptor, command, argument)); });
}

DIR* opendir(const char* path)
{
    static auto* const call = real<DIR*(const char*)>("opendir");
    return next("opendir") == Kind::fail ? nullptr : call(path);
}

struct dirent* readdir(DIR* directory)
{
    static auto* const call = real<dirent*(DIR*)>("readdir");
    return next("readdir") == Kind::fail ? nullptr : call(directory);
}

int poll(struct pollfd* asked, nfds_t count, int milliseconds)
{
    return guarded("poll", [=] { return static_cast<int>(::syscall(SYS_poll, asked, count, milliseconds)); });
}

char* getcwd(char* into, std::size_t size)
{
    static auto* const call = real<char*(char*, std::size_t)>("getcwd");
    const Kind kind = next("getcwd");
    if (kind == Kind::fail) {
        return nullptr;
    }
    char* const result = call(into, size);
    if (kind == Kind::killed) {
        killThis();
    }
    return result;
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument)
{
    using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static auto* const call = real<Create>("pthread_create");
    return next("pthread_create") == Kind::fail ? EAGAIN : call(thread, attributes, run, argument);
}

int clock_nanosleep(clockid_t clock, int flags, const struct timespec* wanted, struct timespec* left)
{
    static auto* const call = real<int(clockid_t, int, const timespec*, timespec*)>("clock_nanosleep");
    return g_skipsWaits ? 0 : call(clock, flags, wanted, left);
}

int nanosleep(const struct timespec* wanted, struct timespec* left)
{
    static auto* const call = real<int(const timespec*, timespec*)>("nanosleep");
    return g_skipsWaits ? 0 : call(wanted, left);
}

} // extern "C"
