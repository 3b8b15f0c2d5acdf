// Files, pipes and terminals as only a POSIX system makes them.
#include "platform/Files.h"
#include "platform/Terminal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <thread>

#include <fcntl.h>
#include <linux/capability.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/Process.h"
#include "support/ChildExit.h"

namespace {

// Called before each flock of this program; what it returns is the error that the flock then fails with.
std::function<int()> g_beforeFlock;

} // namespace

// In place of the system's.
extern "C" int flock(int descriptor, int operation) noexcept
{
    const int error = g_beforeFlock ? g_beforeFlock() : 0;
    if (error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_flock, descriptor, operation));
}

// Called before each rename of this program; what it returns is the error that the rename then fails with.
namespace {
std::function<int(const std::string& from, const std::string& to)> g_beforeRename;
} // namespace

extern "C" int rename(const char* from, const char* to) noexcept
{
    const int error = g_beforeRename ? g_beforeRename(from, to) : 0;
    if (error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}

namespace {

namespace fs = std::filesystem;
using namespace kor::platform;
using namespace std::chrono_literals;

class PosixFiles : public ::testing::Test {
protected:
    PosixFiles() : m_folder(fs::temp_directory_path() / ("kor_posix_" + std::to_string(std::random_device{}())))
    {
        fs::create_directory(m_folder);
    }
    ~PosixFiles() override
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    void TearDown() override { g_beforeFlock = nullptr; }
    std::string path(const std::string& name) const { return (m_folder / name).string(); }
    void write(const std::string& name, const std::string& text) const
    {
        File file = openFile(path(name), OpenMode::create);
        EXPECT_TRUE(file.write(text)) << name;
    }
    std::string content(const std::string& name) const
    {
        File file = openFile(path(name), OpenMode::read);
        char bytes[64];
        return {bytes, static_cast<std::size_t>(std::max<std::ptrdiff_t>(file.read(bytes, sizeof bytes), 0))};
    }
    std::ptrdiff_t files() const { return std::distance(fs::directory_iterator(m_folder), {}); }

    // Directories, which nobody takes for abandoned files, under every name that a temporary file could have there.
    void takeTheirNames() const
    {
        for (int number = 0; number < 100; ++number) {
            fs::create_directory(temporary(number));
        }
    }
    fs::path temporary(int number) const
    {
        return m_folder / (".kor." + std::to_string(processId()) + "-" + std::to_string(number) + ".tmp");
    }

    fs::path m_folder;
};

// Permissions do not bind the superuser, unless the capabilities rest for a while.
class WithoutPrivileges {
public:
    WithoutPrivileges()
    {
        EXPECT_EQ(::syscall(SYS_capget, &m_header, m_before.data()), 0);
        std::array<__user_cap_data_struct, 2> none = m_before;
        none[0].effective = none[1].effective = 0;
        EXPECT_EQ(::syscall(SYS_capset, &m_header, none.data()), 0);
    }
    ~WithoutPrivileges() { EXPECT_EQ(::syscall(SYS_capset, &m_header, m_before.data()), 0); }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

private:
    __user_cap_header_struct m_header = {_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> m_before{};
};

mode_t modeOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 0777U;
}

struct Pipe {
    explicit Pipe(int flags = 0)
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe2(ends, flags), 0);
        out = File(ends[0]);
        in = File(ends[1]);
    }
    File out;
    File in;
};

// ---- pipes -------------------------------------------------------------------------------------------------

TEST(PosixPipe, thatDoesNotWaitIsWaitedForByItsReader)
{
    Pipe pipe(O_NONBLOCK);
    std::thread writer([&pipe] {
        std::this_thread::sleep_for(50ms);
        EXPECT_TRUE(pipe.in.write("late"));
    });
    char bytes[8];
    EXPECT_EQ(pipe.out.read(bytes, sizeof bytes), 4);
    writer.join();
}

TEST(PosixPipe, thatDoesNotWaitIsWaitedForByItsWriter)
{
    Pipe pipe(O_NONBLOCK);
    const std::string much(300000, 'x'); // several times what a pipe holds
    std::thread writer([&] {
        EXPECT_TRUE(pipe.in.write(much));
        EXPECT_TRUE(pipe.in.close());
    });
    std::this_thread::sleep_for(50ms);
    std::string got;
    char bytes[4096];
    for (std::ptrdiff_t length = 0; (length = pipe.out.read(bytes, sizeof bytes)) > 0;) {
        got.append(bytes, static_cast<std::size_t>(length));
    }
    writer.join();
    EXPECT_EQ(got, much);
}

// Counts the signals SIGUSR1, which interrupt calls: they are without SA_RESTART.
class Interruptions {
public:
    Interruptions()
    {
        signals = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { ++signals; };
        sigemptyset(&action.sa_mask);
        EXPECT_EQ(::sigaction(SIGUSR1, &action, &m_before), 0);
    }
    ~Interruptions() { ::sigaction(SIGUSR1, &m_before, nullptr); }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

    static inline std::atomic<int> signals{0};

private:
    struct sigaction m_before = {};
};

TEST_F(PosixFiles, areOpenedAfterASignal)
{
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    const Interruptions interruptions;
    const pthread_t opener = ::pthread_self();
    File out;
    std::thread other([&] {
        for (int i = 0; i < 20; ++i) {
            std::this_thread::sleep_for(2ms);
            ::pthread_kill(opener, SIGUSR1);
        }
        out = openAnyForReading(path("pipe"));
    });
    File in = openAnyForWriting(path("pipe")); // waits for its reader
    other.join();
    EXPECT_TRUE(in && out);
    EXPECT_GT(Interruptions::signals, 0);
}

TEST(PosixPipe, isReadOnAfterASignal)
{
    const Interruptions interruptions;
    const pthread_t reader = ::pthread_self();
    for (const int flags : {0, O_NONBLOCK}) {
        Pipe pipe(flags);
        std::atomic<bool> ended{false};
        std::thread other([&] {
            for (int i = 0; i < 20; ++i) {
                std::this_thread::sleep_for(2ms);
                ::pthread_kill(reader, SIGUSR1);
            }
            EXPECT_FALSE(ended);
            EXPECT_TRUE(pipe.in.write("x"));
        });
        char byte = 0;
        EXPECT_EQ(pipe.out.read(&byte, 1), 1);
        ended = true;
        other.join();
        EXPECT_GT(Interruptions::signals.exchange(0), 0);
    }

    // A wait with patience ends by a signal.
    const Pipe pipe;
    std::thread once([&] {
        std::this_thread::sleep_for(20ms);
        ::pthread_kill(reader, SIGUSR1);
    });
    EXPECT_EQ(pipe.out.isReadable(60s), false);
    once.join();
}

// The system refuses to wait for more descriptors than there may be.
TEST(PosixPipe, thatCannotBeWaitedForGivesAnError)
{
    Pipe pipe(O_NONBLOCK);
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    const rlimit none = {0, usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    char byte = 0;
    const std::ptrdiff_t got = pipe.out.read(&byte, 1);
    const std::string error = lastError();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &usual), 0);
    EXPECT_LT(got, 0);
    EXPECT_EQ(error, "Invalid argument");
}

TEST(PosixPipe, needsNoSyncAndHasNoIdentityOrLength)
{
    Pipe pipe;
    EXPECT_TRUE(pipe.in.sync());
    EXPECT_FALSE(pipe.in.id().has_value());
    EXPECT_EQ(pipe.in.size(), 0U);
    EXPECT_FALSE(pipe.in.isDirectory());
}

// ---- files that are not open -----------------------------------------------------------------------------------

TEST(PosixFile, thatIsNotOpenGivesNothing)
{
    File none;
    char byte = 0;
    EXPECT_FALSE(none);
    EXPECT_LT(none.read(&byte, 1), 0);
    EXPECT_FALSE(none.write("x"));
    EXPECT_EQ(none.size(), 0U);
    EXPECT_FALSE(none.id().has_value());
    EXPECT_FALSE(none.isDirectory());
    EXPECT_FALSE(none.sync());
    none.copyPermissions(File());
    EXPECT_FALSE(none.close());
}

TEST(PosixFile, ofAStandardStreamStaysOpen)
{
    {
        const File error = File::standard(kStandardError);
        EXPECT_EQ(error.descriptor(), STDERR_FILENO);
    }
    EXPECT_NE(::fcntl(STDERR_FILENO, F_GETFD), -1);
}

TEST(PosixFile, ofAStandardStreamKeepsItsNumberInUseWhenItCloses)
{
    int ends[2] = {};
    ASSERT_EQ(::pipe(ends), 0);
    File reading(ends[0]);
    File output = File::standard(kStandardOutput);
    const File saved = output.shared();
    ASSERT_EQ(::dup2(ends[1], STDOUT_FILENO), STDOUT_FILENO);
    ASSERT_EQ(::close(ends[1]), 0);
    EXPECT_TRUE(output.write("x"));
    const bool isClosed = output.close();
    const File next(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    const bool canBeWritten = File::standard(kStandardOutput).write("y");
    ASSERT_EQ(::dup2(saved.descriptor(), STDOUT_FILENO), STDOUT_FILENO);
    EXPECT_TRUE(isClosed);
    EXPECT_FALSE(output);
    EXPECT_GT(next.descriptor(), STDERR_FILENO) << "not what stands for a standard stream";
    EXPECT_FALSE(canBeWritten);
    char bytes[2] = {};
    EXPECT_EQ(reading.read(bytes, sizeof bytes), 1);
    EXPECT_EQ(reading.read(bytes, sizeof bytes), 0) << "the reader sees the end";
}

TEST(PosixFile, ofAStandardStreamTellsAtItsEndThatAWriteFailed)
{
    File output = File::standard(kStandardOutput);
    const File saved = output.shared();
    const File full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    ASSERT_EQ(::dup2(full.descriptor(), STDOUT_FILENO), STDOUT_FILENO);
    const bool isWritten = output.write("x");
    const bool isClosed = output.close();
    ASSERT_EQ(::dup2(saved.descriptor(), STDOUT_FILENO), STDOUT_FILENO);
    EXPECT_FALSE(isWritten);
    EXPECT_FALSE(isClosed);
}

TEST_F(PosixFiles, areToldFromDirectories)
{
    const File directory = openAnyForReading(m_folder.string());
    ASSERT_TRUE(directory);
    EXPECT_TRUE(directory.isDirectory());
    EXPECT_FALSE(directory.id().has_value());
    EXPECT_EQ(directory.size(), 0U);
}

TEST_F(PosixFiles, areNotOpenedBehindADirectoryThatIsNone)
{
    ASSERT_TRUE(openFile(path("file"), OpenMode::write));
    for (const OpenMode mode : {OpenMode::read, OpenMode::write, OpenMode::create}) {
        EXPECT_FALSE(openFile(path("file/inside"), mode));
        EXPECT_EQ(lastError(), "Not a directory");
        EXPECT_FALSE(openFile(path("missing/file"), mode));
        EXPECT_EQ(lastError(), "No such file or directory");
    }
    EXPECT_FALSE(openAnyForWriting(path("missing/file")));
    EXPECT_FALSE(setReadOnly(std::string("a\0b", 3), true));
    EXPECT_FALSE(removeFile(std::string("a\0b", 3)));
    EXPECT_FALSE(TemporaryFile::beside(path("missing/target")));
    EXPECT_EQ(lastError(), "No such file or directory");
}

TEST_F(PosixFiles, ofDevicesAreWrittenAsTheyAre)
{
    File null = openAnyForWriting("/dev/null");
    ASSERT_TRUE(null);
    EXPECT_TRUE(null.write("x"));
    EXPECT_TRUE(null.close());
    EXPECT_FALSE(openFile("/dev/null", OpenMode::write));
    EXPECT_EQ(lastError(), "Invalid argument");
}

TEST_F(PosixFiles, tellWhyTheyCannotBeRead)
{
    EXPECT_EQ(whyUnreadable(m_folder.string()), "it is a directory");
    EXPECT_EQ(whyUnreadable("/dev/null"), "it is not a regular file");
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(whyUnreadable(path("pipe")), "it is not a regular file") << "without waiting for its writer";
    EXPECT_EQ(whyUnreadable(path("missing")), "No such file or directory");
    ASSERT_TRUE(openFile(path("file"), OpenMode::write));
    EXPECT_EQ(whyUnreadable(path("file")), "it cannot be read");
}

TEST_F(PosixFiles, thatAreTemporaryDoNotReplaceADirectory)
{
    fs::create_directory(path("directory"));
    {
        TemporaryFile file = TemporaryFile::beside(path("target"));
        ASSERT_TRUE(file);
        EXPECT_TRUE(file.file.close());
        EXPECT_FALSE(file.takePlaceOf(path("directory")));
    }
    EXPECT_TRUE(fs::is_directory(path("directory")));
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder), {}), 1) << "it went all the same";
}

TEST_F(PosixFiles, haveNoCurrentDirectoryOnceThatIsRemoved)
{
    const std::string gone = path("gone");
    fs::create_directory(gone);
    const pid_t child = ::fork();
    if (child == 0) {
        const bool moved = ::chdir(gone.c_str()) == 0 && ::rmdir(gone.c_str()) == 0;
        const bool none = !currentDirectory().has_value();
        kor_test::endChild(moved && none ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(PosixFiles, areOneUnderEveryNameButNotBeforeTheyAreMade)
{
    EXPECT_TRUE(leadToSameFile(path("new"), path("./new")));
    EXPECT_FALSE(leadToSameFile(path("new"), path("newer")));
    ASSERT_TRUE(openFile(path("new"), OpenMode::write));
    EXPECT_FALSE(leadToSameFile(path("new"), path("newer")));
    EXPECT_FALSE(leadToSameFile(path("newer"), path("new")));
    fs::create_symlink("loop", path("loop"));
    EXPECT_TRUE(leadToSameFile(path("loop"), path("loop"))) << "a name that cannot be resolved is itself";
}

// ---- names and permissions ---------------------------------------------------------------------------------

TEST_F(PosixFiles, withAZeroInTheirNameAreNeitherFoundNorTouched)
{
    write("a", "x");
    ASSERT_EQ(::chmod(path("a").c_str(), 0640), 0);
    const std::string name = path("a") + std::string(1, '\0') + "b";
    EXPECT_FALSE(fileStatus(name).exists);
    EXPECT_FALSE(removeIfAbandoned(name, processId()));
    File own = openFile(path("own"), OpenMode::createPrivately);
    own.takePermissionsOf(name);
    EXPECT_EQ(modeOf(path("own")), 0600U);
    own.takePermissionsOf(path("a"));
    EXPECT_EQ(modeOf(path("own")), 0640U);
    int visited = 0;
    visitDirectory(m_folder.string() + std::string(1, '\0'), [&visited](const std::string&) { ++visited; });
    EXPECT_EQ(visited, 0);
    EXPECT_EQ(content("a"), "x");
}

TEST_F(PosixFiles, takeWhatTheyMayOfThePermissionsOfAnothersFile)
{
    // Only the superuser can give a file away; everybody else finds one of the superuser's.
    const bool isSuperuser = ::geteuid() == 0;
    const std::string theirs = isSuperuser ? path("theirs") : "/etc/passwd";
    if (isSuperuser) {
        write("theirs", "x");
        ASSERT_EQ(::chown(theirs.c_str(), 4711, 4712), 0);
        ASSERT_EQ(::chmod(theirs.c_str(), 0640), 0);
    }
    File own = openFile(path("own"), OpenMode::createPrivately);
    {
        const WithoutPrivileges none;
        own.takePermissionsOf(theirs);
    }
    struct stat status = {};
    ASSERT_EQ(::stat(path("own").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, ::geteuid());
    EXPECT_EQ(status.st_gid, ::getegid());
    EXPECT_EQ(modeOf(path("own")), isSuperuser ? 0600U : 0644U) << "another group is like everybody else";
    if (!isSuperuser) {
        return;
    }
    own.takePermissionsOf(theirs);
    ASSERT_EQ(::stat(path("own").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 4711U);
    EXPECT_EQ(status.st_gid, 4712U);
    EXPECT_EQ(modeOf(path("own")), 0640U);
}

TEST_F(PosixFiles, behindALinkThatMayNotBeReadAreNotFound)
{
    // A process that must not be looked into hides its links from those without privileges, its own user included.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::prctl(PR_SET_DUMPABLE, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) {
            ::pause();
        }
    }
    {
        const WithoutPrivileges none;
        const std::string link = "/proc/" + std::to_string(child) + "/exe";
        for (int round = 0; round < 1000 && behindLinks(link); ++round) {
            std::this_thread::sleep_for(1ms); // until the child has come so far
        }
        EXPECT_EQ(behindLinks(link), std::nullopt);
        EXPECT_EQ(lastError(), "Permission denied");
    }
    ::kill(child, SIGKILL);
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
}

TEST_F(PosixFiles, onlyAreMovedToAnotherFileSystem)
{
    std::string other = "/dev/shm/kor_posix_XXXXXX";
    struct stat here = {};
    struct stat there = {};
    ASSERT_NE(::mkdtemp(other.data()), nullptr) << "this test needs /dev/shm";
    EXPECT_EQ(::stat(m_folder.c_str(), &here) + ::stat(other.c_str(), &there), 0);
    EXPECT_NE(here.st_dev, there.st_dev) << "this test needs /dev/shm apart from the temporary directory";
    fs::create_directory(path("folder"));
    EXPECT_FALSE(moveFile(path("folder"), other + "/moved"));
    EXPECT_TRUE(fs::is_directory(path("folder")));
    EXPECT_TRUE(fs::is_empty(other));
    fs::remove_all(other);
}

// ---- temporary files that others come across ---------------------------------------------------------------

// Another run may look for abandoned files between the making of one and its claim.
TEST_F(PosixFiles, thatAreTemporaryTakeAnotherNameIfTheirsIsClaimedAtOnce)
{
    int claims = 0;
    g_beforeFlock = [&claims] { return ++claims == 1 ? EWOULDBLOCK : 0; };
    {
        const TemporaryFile file = TemporaryFile::beside(path("target"));
        g_beforeFlock = nullptr;
        ASSERT_TRUE(file);
        EXPECT_EQ(claims, 2);
        EXPECT_TRUE(fs::exists(temporary(0))) << "somebody else has it";
        EXPECT_TRUE(fs::exists(temporary(1)));
    }
    EXPECT_FALSE(fs::exists(temporary(1)));
    EXPECT_TRUE(TemporaryFile::beside(path("target")));
    EXPECT_EQ(files(), 0) << "it was abandoned";
}

TEST_F(PosixFiles, onAFileSystemWithoutLocksAreClaimedAndStay)
{
    g_beforeFlock = [] { return ENOLCK; };
    File file = openFile(path("t"), OpenMode::create);
    EXPECT_TRUE(file.claim());
    EXPECT_FALSE(removeIfAbandoned(path("t"), processId()));
    EXPECT_TRUE(fs::exists(path("t")));
}

TEST_F(PosixFiles, thatTakeThePlaceOfAbandonedOnesMeanwhileStay)
{
    write("t", "abandoned");
    write("new", "in use");
    g_beforeFlock = [this] {
        fs::rename(path("new"), path("t"));
        return 0;
    };
    EXPECT_FALSE(removeIfAbandoned(path("t"), processId()));
    EXPECT_EQ(content("t"), "in use");
}

TEST_F(PosixFiles, thatAreAbandonedStayInADirectoryThatMayNotBeWritten)
{
    write("t", "abandoned");
    ASSERT_EQ(::chmod(m_folder.c_str(), 0555), 0);
    {
        const WithoutPrivileges none;
        EXPECT_FALSE(removeIfAbandoned(path("t"), processId()));
    }
    ASSERT_EQ(::chmod(m_folder.c_str(), 0755), 0);
    EXPECT_EQ(content("t"), "abandoned");
    EXPECT_TRUE(removeIfAbandoned(path("t"), processId()));
}

TEST_F(PosixFiles, thatAreTemporaryNeedANameThatIsFree)
{
    takeTheirNames();
    EXPECT_FALSE(TemporaryFile::beside(path("target")));
    EXPECT_EQ(lastError(), "File exists");
    fs::remove(temporary(99));
    EXPECT_TRUE(TemporaryFile::beside(path("target")));
}

// ---- files that are replaced together ----------------------------------------------------------------------

TEST_F(PosixFiles, areNotReplacedIfThereIsNoNameToKeepTheOldOneUnder)
{
    fs::create_directory(path("beside"));
    write("one", "old");
    TemporaryFile first = TemporaryFile::beside(path("beside/one"));
    TemporaryFile second = TemporaryFile::beside(path("beside/two"));
    ASSERT_TRUE(first && second);
    takeTheirNames();
    EXPECT_EQ(TemporaryFile::takeTheirPlaces({{&first, path("one")}, {&second, path("two")}}), 0U);
    EXPECT_EQ(lastError(), "File exists");
    EXPECT_EQ(content("one"), "old");
    EXPECT_FALSE(fs::exists(path("two")));
    fs::remove(temporary(99));
    EXPECT_EQ(TemporaryFile::takeTheirPlaces({{&first, path("one")}, {&second, path("two")}}), 2U);
    EXPECT_EQ(content("one"), "");
    EXPECT_EQ(files(), 99 + 3) << "the directories and both files";
}

TEST_F(PosixFiles, areNotReplacedIfTheOldOneCannotBeKeptForTheLengthOfItsPath)
{
    TemporaryFile first = TemporaryFile::beside(path("one"));
    TemporaryFile second = TemporaryFile::beside(path("two"));
    ASSERT_TRUE(first && second);
    // A directory in which only short names fit in the longest path.
    constexpr std::size_t kDeep = PATH_MAX - 6;
    std::string name = m_folder.string();
    while (name.size() < kDeep) {
        const std::size_t left = kDeep - name.size() - 1;
        name += "/" + std::string(left > 250 ? 200 : left, 'd');
        ASSERT_TRUE(fs::create_directory(name)) << name.size();
    }
    const std::string target = name + "/t";
    {
        File old = openFile(target, OpenMode::create);
        ASSERT_TRUE(old.write("old"));
    }
    EXPECT_EQ(TemporaryFile::takeTheirPlaces({{&first, target}, {&second, path("two")}}), 0U);
    EXPECT_EQ(lastError(), "File name too long");
    EXPECT_EQ(fileStatus(target).size, 3U);
    EXPECT_FALSE(fs::exists(path("two")));
    EXPECT_TRUE(first.takePlaceOf(target)) << "alone it needs no second name";
    EXPECT_EQ(fileStatus(target).size, 0U);
}

TEST_F(PosixFiles, areAllReplacedOrNone)
{
    write("one", "old");
    fs::create_directory(path("three"));
    TemporaryFile first = TemporaryFile::beside(path("one"));
    TemporaryFile second = TemporaryFile::beside(path("two"));
    TemporaryFile third = TemporaryFile::beside(path("three"));
    ASSERT_TRUE(first && second && third);
    EXPECT_EQ(TemporaryFile::takeTheirPlaces({{&first, path("one")}, {&second, path("two")}, {&third, path("three")}}),
              2U);
    EXPECT_EQ(lastError(), "Is a directory");
    EXPECT_EQ(content("one"), "old");
    EXPECT_FALSE(fs::exists(path("two")));
    EXPECT_TRUE(fs::is_directory(path("three")));
    EXPECT_EQ(files(), 3) << "and the last of the new ones, which has not been anywhere";
}

// Two files whose first replacement cannot be undone; with everyRename not even to another name.
TEST_F(PosixFiles, areKeptUnderALastingNameIfTheyCannotGoBack)
{
    for (const bool everyRename : {false, true}) {
        write("one", "old");
        TemporaryFile first = TemporaryFile::beside(path("one"));
        TemporaryFile second = TemporaryFile::beside(path("two"));
        ASSERT_TRUE(first && second);
        ASSERT_TRUE(first.file.write("new"));
        bool failing = false;
        g_beforeRename = [&](const std::string&, const std::string& to) {
            failing = failing || to == path("two");
            return failing && (everyRename || !to.ends_with(".old")) ? EACCES : 0;
        };
        std::string former;
        const std::size_t done =
            TemporaryFile::takeTheirPlaces({{&first, path("one")}, {&second, path("two")}}, &former);
        g_beforeRename = nullptr;
        EXPECT_EQ(done, 1U);
        EXPECT_EQ(lastError(), "Permission denied");
        EXPECT_EQ(content("one"), "new");
        EXPECT_FALSE(fs::exists(path("two")));
        EXPECT_TRUE(former.ends_with(everyRename ? ".tmp" : ".old")) << former;
        ASSERT_EQ(fs::path(former).parent_path(), m_folder);
        EXPECT_EQ(content(fs::path(former).filename().string()), "old");
        fs::remove(former);
        fs::remove(path("one"));
    }
}

TEST_F(PosixFiles, thatMayNotBeWrittenAreReplacedAsOthersAre)
{
    write("one", "old");
    ASSERT_EQ(::chmod(path("one").c_str(), 0444), 0);
    TemporaryFile first = TemporaryFile::beside(path("one"));
    TemporaryFile second = TemporaryFile::beside(path("two"));
    ASSERT_TRUE(first && second);
    ASSERT_TRUE(first.file.write("new"));
    {
        const WithoutPrivileges none;
        EXPECT_EQ(TemporaryFile::takeTheirPlaces({{&first, path("one")}, {&second, path("two")}}), 2U);
    }
    EXPECT_EQ(content("one"), "new");
    EXPECT_EQ(content("two"), "");
    EXPECT_EQ(files(), 2);
}

// ---- terminals ---------------------------------------------------------------------------------------------

TEST(PosixTerminal, hasTheWidthThatItTells)
{
    const int controller = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(controller, 0) << "this test needs /dev/ptmx";
    ASSERT_EQ(::grantpt(controller), 0);
    ASSERT_EQ(::unlockpt(controller), 0);
    const int terminal = ::open(::ptsname(controller), O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    struct winsize size = {};
    for (const std::uint16_t columns :
         {std::uint16_t{1}, std::uint16_t{80}, std::uint16_t{133}, std::uint16_t{65535}}) {
        size.ws_col = columns;
        ASSERT_EQ(::ioctl(terminal, TIOCSWINSZ, &size), 0);
        EXPECT_EQ(terminalWidth(terminal), columns);
    }
    size.ws_col = 0;
    ASSERT_EQ(::ioctl(terminal, TIOCSWINSZ, &size), 0);
    EXPECT_EQ(terminalWidth(terminal), 80);
    EXPECT_TRUE(isTerminal(terminal));

    const Pipe pipe;
    EXPECT_FALSE(isTerminal(pipe.out.descriptor()));
    EXPECT_EQ(terminalWidth(pipe.out.descriptor()), 80);
    ::close(terminal);
    ::close(controller);
}

} // namespace
