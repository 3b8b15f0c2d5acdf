// The rewriting under faults that a POSIX system can be made to show: full disks, directories without write
// permission, two file systems, kills, links. What must hold throughout: the file is the old one or a complete copy.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "params/file/Writer.h"
#include "params/prm_file.h"
#include "platform/Files.h"
#include "support/ChildExit.h"
#include "support/CommaLocale.h"
#include "support/Rounds.h"

namespace {

// Called before each fsync of this program; what it returns is the error that the fsync then fails with.
std::function<int(int)> g_beforeFsync;

} // namespace

// In place of the system's.
extern "C" int fsync(int descriptor)
{
    const int error = g_beforeFsync ? g_beforeFsync(descriptor) : 0;
    if (error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

namespace {

using namespace prm_test;
namespace fs = std::filesystem;

std::string bytesOf(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::ptrdiff_t entriesOf(const fs::path& directory)
{
    return std::distance(fs::directory_iterator(directory), {});
}

constexpr int kDied = -1;

/// The value of a function that runs in a child process; kDied when a signal or an exception ended it.
int inChild(const std::function<int()>& run)
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        ADD_FAILURE() << "no pipe";
        return kDied;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        int value = kDied;
        try {
            value = run();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "in the child: %s\n", error.what()); // must not go on as the test program
        }
        [[maybe_unused]] const ssize_t sent = ::write(ends[1], &value, sizeof value);
        kor_test::endChild(0);
    }
    ::close(ends[1]);
    int value = kDied;
    if (::read(ends[0], &value, sizeof value) != sizeof value) {
        value = kDied;
    }
    ::close(ends[0]);
    EXPECT_EQ(::waitpid(child, nullptr, 0), child);
    return value;
}

const kor::params::Wait kNoWait = [](std::uint32_t) {};

int rewrite(const fs::path& file, const kor::params::Wait& wait = kNoWait)
{
    float dynamic[7] = {};
    // Not file.wstring(), which asks the locale.
    return kor::params::rewriteFile(file.string(), 0, dynamic, wait).status;
}

void writeProc(const char* path, const std::string& text)
{
    std::ofstream(path) << text;
}

/// Lets this process mount file systems for itself alone; false when the system forbids it.
bool mayMount()
{
    if (::unshare(CLONE_NEWNS) == 0) {
        return true;
    }
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return false;
    }
    writeProc("/proc/self/setgroups", "deny");
    writeProc("/proc/self/uid_map", user + " " + user + " 1");
    writeProc("/proc/self/gid_map", group + " " + group + " 1");
    return true;
}

/// A file system of that many bytes on a directory, for this process alone; false when the system forbids it.
bool mountSmall(const fs::path& directory, const std::string& size)
{
    return mayMount() && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("tmpfs", directory.c_str(), "tmpfs", 0, ("mode=0777,size=" + size).c_str()) == 0 &&
           ::access(directory.c_str(), W_OK) == 0;
}

// Below the hard limit that this process may be under, which it could not raise.
void limitFileSize(std::size_t bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    if (::getrlimit(RLIMIT_FSIZE, &limit) == 0) {
        limit.rlim_cur = bytes;
    }
    if (limit.rlim_cur != bytes || ::setrlimit(RLIMIT_FSIZE, &limit) != 0) {
        std::fputs("the size of files cannot be limited\n", stderr);
        kor_test::endChild(1);
    }
}

// Permissions bind neither the superuser nor the master of a user namespace. Without capabilities they bind the
// superuser as they bind every owner, and a private temporary directory stays within reach.
void dropPrivileges()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> none{};
    if (::syscall(SYS_capset, &header, none.data()) != 0) {
        kor_test::endChild(1);
    }
}

// Kills rewritings of the file in this process's children, each a little later than the one before. The number of
// kills that came before the end; kWrongState when the file was neither the old one nor a complete copy.
constexpr int kWrongState = -4;

int killLaterAndLater(const fs::path& file, const std::string& old, const std::string& copy)
{
    writeFile(file, old);
    const auto start = std::chrono::steady_clock::now();
    rewrite(file);
    const auto whole = std::chrono::steady_clock::now() - start;
    int killed = 0;
    constexpr int kRounds = kor_test::rounds(150);
    for (int round = 0; round < kRounds; ++round) {
        writeFile(file, old);
        const pid_t child = ::fork();
        if (child == 0) {
            kor_test::endChild(rewrite(file) == kSuccess ? 0 : 1);
        }
        std::this_thread::sleep_for(whole * 2 * round / kRounds);
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        killed += WIFSIGNALED(status) ? 1 : 0;
        const std::string now = bytesOf(file);
        if (now != old && now != copy) {
            return kWrongState;
        }
    }
    return killed;
}

class WriterFaults : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_before = fs::current_path();
        fs::current_path(m_here.path());
        PrmValues values = secondSensor(0);
        values.azimuth.assign(2000, {12.5F, -0.25F});
        m_text = PrmFile(values).text(1, 18);
        m_copy = m_text + "Scale Factor\n0.000000\t0.000000\t0.000000\t0.000000\t1.000000\t1.000000\t1.000000\t\n"
                          "Mounting Mode\n0\n";
        writeFile(file(), m_text);
        for (const fs::path& directory : {m_here.path(), m_there.path()}) {
            fs::permissions(directory, fs::perms::all);
        }
    }
    void TearDown() override { fs::current_path(m_before); }

    fs::path file() const { return m_there.path() / "Tg17.prm"; }
    fs::path temporary() const { return m_here.path() / "$tmp.prm"; }

    void expectReplaced() const
    {
        EXPECT_EQ(bytesOf(file()), m_copy);
        EXPECT_EQ(entriesOf(m_there.path()), 1);
        EXPECT_EQ(entriesOf(m_here.path()), 0);
    }

    void expectKept() const
    {
        EXPECT_EQ(bytesOf(file()), m_text);
        EXPECT_EQ(entriesOf(m_there.path()), 1);
    }

    void expectKeptAndCopied() const
    {
        expectKept();
        EXPECT_EQ(bytesOf(temporary()), m_copy);
        EXPECT_EQ(entriesOf(m_here.path()), 1);
    }

    TempDir m_here;
    TempDir m_there;
    fs::path m_before;
    std::string m_text;
    std::string m_copy;
};

// ---- a disk that is full -----------------------------------------------------------------------------------

// Pins [rewriting-failed-copy].
TEST_F(WriterFaults, aFullDiskGives550AndKeepsTheFile)
{
    const int result = inChild([this] {
        if (mountSmall(m_here.path(), "8k")) {
            fs::current_path(m_here.path());
        } else {
            limitFileSize(8192);
        }
        int waits = 0;
        const int status = rewrite(file(), [&waits](std::uint32_t) { ++waits; });
        return fs::file_size("$tmp.prm") < m_copy.size() && waits == 0 ? status : -2;
    });
    EXPECT_EQ(result, kCannotOpen);
    expectKept();
}

TEST_F(WriterFaults, aCopyThatLacksOneByteIsNotPutInPlace)
{
    for (const std::size_t limit : {std::size_t{0}, std::size_t{1}, std::size_t{4096}, m_copy.size() - 1}) {
        const int result = inChild([this, limit] {
            limitFileSize(limit);
            return rewrite(file());
        });
        EXPECT_EQ(result, kCannotOpen) << limit;
        expectKept();
    }
    EXPECT_EQ(inChild([this] {
                  limitFileSize(m_copy.size());
                  return rewrite(file());
              }),
              kSuccess);
    expectReplaced();
}

// Room that comes back does not bring back what had none.
// Pins [rewriting-failed-copy].
TEST_F(WriterFaults, anErrorIsNotForgottenWhenLaterWritesSucceed)
{
    for (const bool fails : {false, true}) {
        const int result = inChild([&] {
            kor::platform::File file = kor::platform::openFile("$tmp.prm", kor::platform::OpenMode::write);
            const std::string text(100000, 'x');
            if (fails) {
                limitFileSize(4096);
            }
            const bool written = file.write(text);
            ::lseek(file.descriptor(), 0, SEEK_SET);
            return written != fails && file.write("y") && file.close() != fails ? fails ? 0 : 1 : 2;
        });
        EXPECT_EQ(result, fails ? 0 : 1);
    }
}

TEST_F(WriterFaults, aFormatFailureOnAFullDiskIsAFormatFailure)
{
    m_text += "Scale Factor\n1 2 3 4 5 6 7 8\nMounting Mode\n0\n";
    writeFile(file(), m_text);
    EXPECT_EQ(inChild([this] {
                  limitFileSize(4096);
                  return rewrite(file());
              }),
              kBadFormat);
    expectKept();
}

// ---- directories that may not be written -------------------------------------------------------------------

// Pins [rewriting-gives-0, rewriting-in-one-step].
TEST_F(WriterFaults, aDirectoryThatRefusesTheReplacementKeepsFileAndCopyAndGives0)
{
    fs::permissions(m_there.path(), fs::perms(0555));
    const int result = inChild([this] {
        dropPrivileges();
        return rewrite(file());
    });
    EXPECT_EQ(result, kSuccess);
    expectKeptAndCopied();
    fs::permissions(m_there.path(), fs::perms::all);
}

TEST_F(WriterFaults, aCurrentDirectoryThatRefusesTheCopyGives550)
{
    fs::permissions(m_here.path(), fs::perms(0555));
    const int result = inChild([this] {
        dropPrivileges();
        return rewrite(file());
    });
    EXPECT_EQ(result, kCannotOpen);
    expectKept();
    EXPECT_EQ(entriesOf(m_here.path()), 0);
    fs::permissions(m_here.path(), fs::perms::all);
}

TEST_F(WriterFaults, aFileThatMayNotBeReadGives550AndMakesNoCopy)
{
    fs::permissions(file(), fs::perms(0));
    const int result = inChild([this] {
        dropPrivileges();
        return rewrite(file());
    });
    fs::permissions(file(), fs::perms(0600));
    EXPECT_EQ(result, kCannotOpen);
    expectKept();
    EXPECT_EQ(entriesOf(m_here.path()), 0);
}

TEST_F(WriterFaults, aFileThatBecomesADirectoryMeanwhileLeavesTheCopy)
{
    EXPECT_EQ(rewrite(file(),
                      [this](std::uint32_t) {
                          fs::remove(file());
                          fs::create_directory(file());
                      }),
              kSuccess);
    EXPECT_TRUE(fs::is_directory(file()));
    EXPECT_EQ(bytesOf(temporary()), m_copy);
}

TEST_F(WriterFaults, aFileThatIsRemovedMeanwhileComesBackAsTheCopy)
{
    EXPECT_EQ(rewrite(file(), [this](std::uint32_t) { fs::remove(file()); }), kSuccess);
    expectReplaced();
}

// ---- two file systems --------------------------------------------------------------------------------------

// The file lies on another file system than the current directory.
class WriterAcross : public WriterFaults {
protected:
    ~WriterAcross() override
    {
        std::error_code ignored;
        if (!m_shared.empty()) {
            fs::remove_all(m_shared, ignored);
        }
    }

    static dev_t deviceOf(const fs::path& path)
    {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 ? status.st_dev : 0;
    }

    /// Runs in a child whose current directory is on another file system than the file. What is left there the
    /// child must look at itself, because a file system mounted for it alone is gone with it.
    int across(const std::function<int()>& run)
    {
        std::string name = "/dev/shm/kor_writer_XXXXXX";
        if (::mkdtemp(name.data()) != nullptr) {
            m_shared = name;
            fs::permissions(m_shared, fs::perms::all);
        }
        const bool shared = !m_shared.empty() && deviceOf(m_shared) != deviceOf(m_there.path());
        const int value = inChild([&] {
            if (shared) {
                m_work = m_shared;
            } else if (mountSmall(m_here.path(), "4m")) {
                m_work = m_here.path();
            } else {
                return kNoSecondSystem;
            }
            fs::current_path(m_work);
            return run();
        });
        EXPECT_NE(value, kNoSecondSystem)
            << "this test needs two file systems: /dev/shm apart from the temporary directory, or the right to mount";
        return value;
    }

    bool copySurvives() const { return bytesOf(m_work / "$tmp.prm") == m_copy && entriesOf(m_work) == 1; }

    static constexpr int kNoSecondSystem = -3;

    fs::path m_shared;
    fs::path m_work;
};

// Pins [rewriting-across].
TEST_F(WriterAcross, theCopyIsMovedBeforeTheCallReturns)
{
    EXPECT_EQ(across([this] {
                  const int status = rewrite(file());
                  return entriesOf(m_work) == 0 ? status : kWrongState;
              }),
              kSuccess);
    expectReplaced();
}

TEST_F(WriterAcross, theCopyHasThePermissionsOfTheFile)
{
    fs::permissions(file(), fs::perms(0640));
    EXPECT_EQ(across([this] { return rewrite(file()); }), kSuccess);
    EXPECT_EQ(fs::status(file()).permissions(), fs::perms(0640));
    expectReplaced();
}

// Pins [rewriting-across].
TEST_F(WriterAcross, filesThatLieBesideAreLeftAlone)
{
    writeFile(m_there.path() / "$tmp1.prm", "somebody else's");
    writeFile(m_there.path() / "$tmp.prm", "somebody's");
    fs::create_symlink("nowhere", m_there.path() / "$tmp2.prm");
    EXPECT_EQ(across([this] { return rewrite(file()); }), kSuccess);
    EXPECT_EQ(bytesOf(file()), m_copy);
    EXPECT_EQ(bytesOf(m_there.path() / "$tmp1.prm"), "somebody else's");
    EXPECT_EQ(bytesOf(m_there.path() / "$tmp.prm"), "somebody's");
    EXPECT_TRUE(fs::is_symlink(m_there.path() / "$tmp2.prm"));
    EXPECT_EQ(entriesOf(m_there.path()), 4);
}

TEST_F(WriterAcross, aDiskThatHasNoRoomBesideTheFileKeepsFileAndCopy)
{
    EXPECT_EQ(across([this] {
                  // Only from the waits on, so that the first copy is complete.
                  const int status = rewrite(file(), [this](std::uint32_t) { limitFileSize(m_copy.size() - 1); });
                  return copySurvives() ? status : kWrongState;
              }),
              kSuccess);
    expectKept();
}

TEST_F(WriterAcross, aDirectoryThatRefusesTheReplacementKeepsFileAndCopy)
{
    fs::permissions(m_there.path(), fs::perms(0555));
    EXPECT_EQ(across([this] {
                  dropPrivileges();
                  const int status = rewrite(file());
                  return copySurvives() ? status : kWrongState;
              }),
              kSuccess);
    expectKept();
    fs::permissions(m_there.path(), fs::perms::all);
}

TEST_F(WriterAcross, aFileThatBecomesADirectoryMeanwhileLeavesTheCopyAndNothingBeside)
{
    EXPECT_EQ(across([this] {
                  const int status = rewrite(file(), [this](std::uint32_t) {
                      fs::remove(file());
                      fs::create_directory(file());
                  });
                  return copySurvives() ? status : kWrongState;
              }),
              kSuccess);
    EXPECT_TRUE(fs::is_directory(file()));
    EXPECT_EQ(entriesOf(m_there.path()), 1);
}

TEST_F(WriterAcross, aKillAtAnyMomentLeavesTheOldFileOrACompleteCopy)
{
    EXPECT_GT(across([this] { return killLaterAndLater(file(), m_text, m_copy); }), kor_test::rounds(10));
}

// ---- losses of power ---------------------------------------------------------------------------------------

// What reaches the disk, in this order: the name of each file, or for a directory what it then holds.
class ForcedToDisk : public WriterAcross {
protected:
    void SetUp() override
    {
        WriterAcross::SetUp();
        g_beforeFsync = [this](int descriptor) {
            struct stat status {};
            ::fstat(descriptor, &status);
            m_forced.push_back(S_ISDIR(status.st_mode) ? state() : nameOf(descriptor));
            return m_forced.size() == m_failing ? m_error : 0;
        };
    }
    void TearDown() override
    {
        g_beforeFsync = nullptr;
        WriterAcross::TearDown();
    }

    static std::string nameOf(int descriptor)
    {
        return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).filename().string();
    }

    std::string state() const
    {
        return std::string(bytesOf(file()) == m_copy ? "replaced" : "old") +
               (fs::exists("$tmp.prm") ? " and copy" : "");
    }

    /// Rewrites, and the n-th of what is forced to the disk does not get there.
    int rewriteFailing(std::size_t n, int error)
    {
        m_failing = n;
        m_error = error;
        return rewrite(file());
    }

    std::vector<std::string> m_forced;
    std::size_t m_failing = 0;
    int m_error = 0;
};

// Pins [rewriting-reaches-disk].
TEST_F(ForcedToDisk, theCopyThenTheDirectoryThatNamesIt)
{
    EXPECT_EQ(rewrite(file()), kSuccess);
    EXPECT_EQ(m_forced, (std::vector<std::string>{"$tmp.prm", "replaced"}));
}

// Pins [rewriting-reaches-disk].
TEST_F(ForcedToDisk, aNameWithoutFolderIsInTheOneThatTheProcessIsIn)
{
    fs::copy_file(file(), "Tg17.prm");
    std::vector<fs::path> directories;
    g_beforeFsync = [&directories](int descriptor) {
        const fs::path path = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
        if (fs::is_directory(path)) {
            directories.push_back(path);
        }
        return 0;
    };
    EXPECT_EQ(rewrite("Tg17.prm"), kSuccess);
    EXPECT_EQ(directories, std::vector<fs::path>{fs::current_path()});
    EXPECT_EQ(bytesOf("Tg17.prm"), m_copy);
}

// Pins [rewriting-reaches-disk].
TEST_F(ForcedToDisk, theDirectoryBeforeTheCopyOnTheOtherFileSystemGoes)
{
    EXPECT_EQ(across([this] {
                  const int status = rewrite(file());
                  const std::vector<std::string> wanted = {"$tmp.prm", "$tmp1.prm", "replaced and copy"};
                  return m_forced == wanted ? status : kWrongState;
              }),
              kSuccess);
    expectReplaced();
}

// Some systems tell only then that there is no room, or that a write has failed.
TEST_F(ForcedToDisk, aCopyThatDoesNotGetThereGives550AndKeepsTheFile)
{
    for (const int error : {EIO, ENOSPC, EDQUOT}) {
        m_forced.clear();
        EXPECT_EQ(rewriteFailing(1, error), kCannotOpen);
        expectKept();
        EXPECT_EQ(m_forced.size(), 1U);
    }
}

TEST_F(ForcedToDisk, aCopyBesideTheFileThatDoesNotGetThereKeepsFileAndCopy)
{
    EXPECT_EQ(across([this] {
                  const int status = rewriteFailing(2, EDQUOT);
                  return copySurvives() ? status : kWrongState;
              }),
              kSuccess);
    expectKept();
}

TEST_F(ForcedToDisk, aFileSystemThatForcesNothingIsTakenAsItIs)
{
    for (const int error : {EINVAL, ENOTSUP}) {
        for (const std::size_t n : {1U, 2U}) {
            m_forced.clear();
            writeFile(file(), m_text);
            EXPECT_EQ(rewriteFailing(n, error), kSuccess);
            expectReplaced();
        }
    }
}

TEST_F(ForcedToDisk, againAfterAnInterruption)
{
    EXPECT_EQ(rewriteFailing(1, EINTR), kSuccess);
    EXPECT_EQ(m_forced, (std::vector<std::string>{"$tmp.prm", "$tmp.prm", "replaced"}));
    expectReplaced();
}

TEST_F(WriterFaults, aDirectoryThatMayNotBeListedTakesTheReplacement)
{
    fs::permissions(m_there.path(), fs::perms(0333));
    const int result = inChild([this] {
        fs::permissions(file(), fs::perms(0644));
        dropPrivileges();
        return rewrite(file());
    });
    fs::permissions(m_there.path(), fs::perms::all);
    EXPECT_EQ(result, kSuccess);
    expectReplaced();
}

// ---- kills -------------------------------------------------------------------------------------------------

// Pins [rewriting-in-one-step].
TEST_F(WriterFaults, aKillDuringAWaitLeavesTheOldFileAndACompleteCopy)
{
    for (int last = 1; last <= 2; ++last) {
        int waits = 0;
        EXPECT_EQ(inChild([&] {
                      return rewrite(file(), [&](std::uint32_t) {
                          if (++waits == last) {
                              ::raise(SIGKILL);
                          }
                      });
                  }),
                  kDied);
        expectKeptAndCopied();
    }
    // The next call starts anew.
    EXPECT_EQ(rewrite(file()), kSuccess);
    expectReplaced();
}

TEST_F(WriterFaults, aKillAtAnyMomentLeavesTheOldFileOrACompleteCopy)
{
    EXPECT_GT(killLaterAndLater(file(), m_text, m_copy), kor_test::rounds(10));
}

// Whoever looks at the path meanwhile never finds it empty.
// Pins [rewriting-in-one-step].
TEST_F(WriterFaults, aPathThatIsWatchedIsNeverWithoutAWholeFile)
{
    const pid_t child = ::fork();
    if (child == 0) {
        for (;;) {
            std::ofstream(m_here.path() / "new", std::ios::binary) << m_text;
            fs::rename(m_here.path() / "new", file());
            rewrite(file());
        }
    }
    int wrong = 0;
    for (int look = 0; look < kor_test::rounds(500); ++look) {
        const std::string now = bytesOf(file());
        wrong += now == m_text || now == m_copy ? 0 : 1;
    }
    ::kill(child, SIGKILL);
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    EXPECT_EQ(wrong, 0);
}

// ---- paths, links, handles, locale -------------------------------------------------------------------------

TEST_F(WriterFaults, thePathIsTakenAsItStands)
{
    for (const fs::path& name : {fs::path("back\\slash.prm"), fs::path("%s%d%n"), fs::path(u8"Ma\u00df \u6e2c.prm"),
                                 fs::path("no extension"), fs::path(" ")}) {
        const fs::path path = m_there.path() / name;
        writeFile(path, m_text);
        EXPECT_EQ(rewrite(path), kSuccess) << name;
        EXPECT_EQ(bytesOf(path), m_copy) << name;
    }
    EXPECT_EQ(entriesOf(m_there.path()), 6);
    EXPECT_EQ(entriesOf(m_here.path()), 0);
}

TEST_F(WriterFaults, textThatNoFileNameCanHoldGives0)
{
    for (const wchar_t unit : {static_cast<wchar_t>(0xd800), static_cast<wchar_t>(0x110000)}) {
        const std::wstring path = m_there.path().wstring() + L"/" + unit;
        CKorPrm prm;
        *std::copy(path.begin(), path.end(), prm.prmDirectory) = L'\0';
        EXPECT_EQ(prm.PrmFileCopy(), kSuccess);
    }
    EXPECT_EQ(entriesOf(m_here.path()), 0);
}

TEST_F(WriterFaults, aFileWhoseStatusIsDeniedGives0)
{
    fs::permissions(m_there.path(), fs::perms(0666));
    const int result = inChild([this] {
        dropPrivileges();
        return rewrite(file());
    });
    fs::permissions(m_there.path(), fs::perms::all);
    EXPECT_EQ(result, kSuccess);
    expectKept();
    EXPECT_EQ(entriesOf(m_here.path()), 0);
}

TEST_F(WriterFaults, aReadOnlyDirectoryAtThePathStaysReadOnly)
{
    const fs::path path = m_there.path() / "directory";
    fs::create_directory(path);
    fs::permissions(path, fs::perms(0555));
    EXPECT_EQ(rewrite(path), kCannotOpen);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0555));
    EXPECT_EQ(entriesOf(m_here.path()), 0);
}

// Pins [rewriting-regular-file].
TEST_F(WriterFaults, pipesAndDevicesGive550WithoutWaiting)
{
    const fs::path path = m_there.path() / "other";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(rewrite(path), kCannotOpen);
    fs::remove(path);
    fs::create_symlink("/dev/zero", path);
    EXPECT_EQ(rewrite(path), kCannotOpen);
    fs::remove(path);
    EXPECT_EQ(entriesOf(m_here.path()), 0);

    ASSERT_EQ(::mkfifo(temporary().c_str(), 0600), 0);
    EXPECT_EQ(rewrite(file()), kCannotOpen);
    expectKept();
}

// Pins [rewriting-through-links].
TEST_F(WriterFaults, aLinkInTheTemporaryFilesPlaceIsNotWrittenThrough)
{
    writeFile(m_there.path() / "precious", "precious");
    fs::create_symlink(m_there.path() / "precious", temporary());
    EXPECT_EQ(rewrite(file()), kCannotOpen);
    EXPECT_EQ(bytesOf(m_there.path() / "precious"), "precious");
    fs::remove(temporary());

    fs::create_hard_link(m_there.path() / "precious", temporary());
    EXPECT_EQ(rewrite(file()), kCannotOpen) << "emptying the copy would empty the other file";
    EXPECT_EQ(bytesOf(m_there.path() / "precious"), "precious");
    fs::remove(temporary());

    fs::create_hard_link(file(), temporary());
    EXPECT_EQ(rewrite(file()), kCannotOpen) << "emptying the copy would empty the file";
    EXPECT_EQ(bytesOf(file()), m_text);
}

TEST_F(WriterFaults, aLinkAtThePathIsReplacedAndItsTargetKept)
{
    const fs::path link = m_here.path() / "link.prm";
    fs::create_symlink(file(), link);
    EXPECT_EQ(rewrite(link), kSuccess);
    EXPECT_FALSE(fs::is_symlink(link));
    EXPECT_EQ(bytesOf(link), m_copy);
    expectKept();
}

TEST_F(WriterFaults, theCopyHasThePermissionsOfTheFile)
{
    for (const auto& [given, wanted] : std::vector<std::array<unsigned, 2>>{{0600, 0600}, {0640, 0640}, {0444, 0644}}) {
        writeFile(file(), m_text);
        fs::permissions(file(), fs::perms(given));
        ASSERT_EQ(rewrite(file()), kSuccess);
        EXPECT_EQ(static_cast<unsigned>(fs::status(file()).permissions()), wanted);
        fs::permissions(file(), fs::perms(0600));
    }
}

// ---- owner and group ---------------------------------------------------------------------------------------

// The superuser has files of other users to rewrite. Those of anybody else are their own, and stay so.
class Ownership : public WriterAcross {
protected:
    const bool m_isSuperuser = ::geteuid() == 0;
    const uid_t m_somebody = m_isSuperuser ? 4711 : ::geteuid();
    const gid_t m_someGroup = m_isSuperuser ? 4712 : ::getegid();
    const gid_t m_ownGroup = ::getegid(); // of the superuser, also without privileges

    static std::string owned(uid_t user, gid_t group, mode_t mode)
    {
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "%u:%u %03o", user, group, mode);
        return text.data();
    }

    static std::string ownershipOf(const fs::path& path)
    {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 ? owned(status.st_uid, status.st_gid, status.st_mode & 0777U)
                                                  : "none";
    }

    void belongTo(uid_t user, gid_t group, mode_t mode) const
    {
        writeFile(file(), m_text);
        ASSERT_EQ(::chown(file().c_str(), user, group), 0);
        ASSERT_EQ(::chmod(file().c_str(), mode), 0);
    }

    // What the file is after a rewriting by a process that `become` makes of the child.
    std::string afterRewritingBy(const std::function<void()>& become)
    {
        EXPECT_EQ(inChild([&] {
                      become();
                      return rewrite(file());
                  }),
                  kSuccess);
        EXPECT_EQ(bytesOf(file()), m_copy);
        return ownershipOf(file());
    }
};

// Pins [rewriting-ownership].
TEST_F(Ownership, ofTheFileAreKept)
{
    for (const mode_t mode : {0600U, 0640U, 0400U}) {
        belongTo(m_somebody, m_someGroup, mode);
        EXPECT_EQ(rewrite(file()), kSuccess);
        EXPECT_EQ(ownershipOf(file()), owned(m_somebody, m_someGroup, mode == 0640 ? 0640 : 0600));
        expectReplaced();
    }
}

TEST_F(Ownership, ofTheFileAreKeptFromAnotherFileSystem)
{
    belongTo(m_somebody, m_someGroup, 0640);
    EXPECT_EQ(across([this] { return rewrite(file()); }), kSuccess);
    EXPECT_EQ(ownershipOf(file()), owned(m_somebody, m_someGroup, 0640));
    expectReplaced();
}

TEST_F(Ownership, whoMayNotKeepTheOwnerKeepsTheGroup)
{
    for (const mode_t mode : {0640U, 0660U}) {
        belongTo(m_somebody, m_ownGroup, mode);
        EXPECT_EQ(afterRewritingBy(dropPrivileges), owned(::geteuid(), m_ownGroup, mode));
    }
    if (m_isSuperuser) { // the former owner could not read it either
        belongTo(m_somebody, m_ownGroup, 0044);
        EXPECT_EQ(afterRewritingBy(dropPrivileges), owned(0, m_ownGroup, 0644));
    }
}

TEST_F(Ownership, ofTheGroupAloneIsKept)
{
    belongTo(::geteuid(), m_someGroup, 0640);
    EXPECT_EQ(rewrite(file()), kSuccess);
    EXPECT_EQ(ownershipOf(file()), owned(::geteuid(), m_someGroup, 0640));
    expectReplaced();
}

TEST_F(Ownership, whoBelongsToTheGroupKeepsIt)
{
    belongTo(m_somebody, m_someGroup, 0660);
    EXPECT_EQ(afterRewritingBy([this] {
                  if (m_isSuperuser && ::setgroups(1, &m_someGroup) != 0) {
                      kor_test::endChild(1);
                  }
                  dropPrivileges();
              }),
              owned(::geteuid(), m_someGroup, 0660));
}

TEST_F(Ownership, whoOwnsTheFileButMayNotKeepItsGroupLetsNobodyIn)
{
    belongTo(::geteuid(), m_someGroup, 0600);
    EXPECT_EQ(afterRewritingBy(dropPrivileges), owned(::geteuid(), m_isSuperuser ? m_ownGroup : m_someGroup, 0600));
}

// Another group gets no more than everybody has, and the former owner is one of them.
// Pins [rewriting-ownership].
TEST_F(Ownership, whoMayKeepNeitherLeavesTheFileReadableToItsOwner)
{
    belongTo(m_somebody, m_someGroup, 0674);
    EXPECT_EQ(afterRewritingBy(dropPrivileges), owned(::geteuid(), m_ownGroup, m_isSuperuser ? 0644 : 0674));
    const auto readAll = [this] {
        // May read every file and give none away.
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        std::array<__user_cap_data_struct, 2> kept{};
        kept[0].effective = kept[0].permitted = m_isSuperuser ? 1U << CAP_DAC_OVERRIDE : 0;
        if (::syscall(SYS_capset, &header, kept.data()) != 0) {
            kor_test::endChild(1);
        }
    };
    belongTo(m_somebody, m_someGroup, 0600);
    EXPECT_EQ(afterRewritingBy(readAll), owned(::geteuid(), m_ownGroup, m_isSuperuser ? 0644 : 0600));
    if (m_isSuperuser) { // the former owner could not read it, and nobody else is let in for him
        belongTo(m_somebody, m_someGroup, 0040);
        EXPECT_EQ(afterRewritingBy(readAll), owned(::geteuid(), m_ownGroup, 0600));
    }
}

// Whoever reads a file by its group's rights owns the copy, and would be shut out of it.
TEST_F(WriterFaults, theCopyCanBeReadByItsOwner)
{
    kor::platform::File from = kor::platform::openFile(file().string(), kor::platform::OpenMode::read);
    kor::platform::File to = kor::platform::openFile(temporary().string(), kor::platform::OpenMode::write);
    fs::permissions(file(), fs::perms(0040));
    to.copyPermissions(from);
    fs::permissions(file(), fs::perms(0600));
    EXPECT_EQ(fs::status(temporary()).permissions(), fs::perms(0640));
}

// Pins [rewriting-closes-files].
TEST_F(WriterFaults, noCallLeavesAHandleOpen)
{
    const auto handles = [] { return entriesOf("/proc/self/fd"); };
    const std::ptrdiff_t before = handles();
    for (int block = 0; block <= 20; ++block) {
        PrmFile sensor(secondSensor(0));
        writeFile(file(), sensor.text(1, block));
        rewrite(file());
        writeFile(file(), sensor.text(1, block) + "no title of any block\n");
        rewrite(file());
        EXPECT_EQ(handles(), before) << block;
    }
    fs::remove(temporary());
    fs::create_directory(temporary());
    EXPECT_EQ(rewrite(file()), kCannotOpen);
    EXPECT_EQ(rewrite(m_there.path()), kCannotOpen);
    EXPECT_EQ(rewrite(m_there.path() / "missing"), kSuccess);
    EXPECT_EQ(handles(), before);
}

// Pins [c-locale].
TEST_F(WriterFaults, aLocaleWithACommaChangesNothing)
{
    const TempDir locales;
    ASSERT_NE(kor_test::makeCommaLocale(locales.path()), -1);
    ASSERT_EQ(::setenv("LOCPATH", locales.path().c_str(), 1), 0);
    const char* name = std::setlocale(LC_ALL, kor_test::kCommaLocale);
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%.1f", 1.5);
    EXPECT_EQ(rewrite(file()), kSuccess);
    std::setlocale(LC_ALL, "C");
    ::unsetenv("LOCPATH");
    ASSERT_NE(name, nullptr) << "this test needs localedef and the locale sources";
    ASSERT_STREQ(text.data(), "1,5") << "the locale is not in force";
    expectReplaced();
}

} // namespace
