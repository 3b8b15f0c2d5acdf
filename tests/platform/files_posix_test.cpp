// Files, pipes and terminals as only a POSIX system makes them.
#include "platform/Files.h"
#include "platform/Terminal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/ChildExit.h"

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
    std::string path(const std::string& name) const { return (m_folder / name).string(); }

    fs::path m_folder;
};

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

TEST(PosixPipe, isReadOnAfterASignal)
{
    static std::atomic<int> signals;
    signals = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { ++signals; };
    sigemptyset(&action.sa_mask);
    struct sigaction before = {};
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0); // without SA_RESTART: calls are interrupted

    Pipe pipe;
    std::atomic<bool> ended{false};
    const pthread_t reader = ::pthread_self();
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
    EXPECT_GT(signals, 0);

    // A wait with patience ends by a signal.
    std::thread once([&] {
        std::this_thread::sleep_for(20ms);
        ::pthread_kill(reader, SIGUSR1);
    });
    EXPECT_FALSE(pipe.out.isReadable(60s));
    once.join();
    ::sigaction(SIGUSR1, &before, nullptr);
}

TEST(PosixPipe, needsNoSyncAndHasNoIdentityOrLength)
{
    Pipe pipe;
    EXPECT_TRUE(pipe.in.sync());
    EXPECT_FALSE(pipe.in.id().has_value());
    EXPECT_EQ(pipe.in.size(), 0U);
    EXPECT_FALSE(pipe.in.isDirectory());
}

// ---- files that are none -----------------------------------------------------------------------------------

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
