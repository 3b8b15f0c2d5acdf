// Signals that end the process, and processes that run the same program. Each scenario has a process of its own.
#include "platform/Process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/Files.h"
#include "support/ChildExit.h"

namespace {

namespace fs = std::filesystem;
using namespace kor::platform;
using namespace std::chrono_literals;

/// What a child process ends with: its exit status, or 1000 and the number of the signal.
int inChild(const std::function<int()>& run)
{
    const pid_t child = ::fork();
    if (child == 0) {
        kor_test::endChild(run());
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

/// Prepares the process as if its caller ignored no signal: a shell lets what it starts in the background ignore two.
void prepare()
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        std::signal(number, SIG_DFL);
    }
    prepareProcess();
}

/// Calls the handler of a signal, which ends the process by the signal: that waits, so that the child can look around.
void handle(int number)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    struct sigaction action = {};
    ::sigaction(number, nullptr, &action);
    action.sa_handler(number);
}

bool isPending(int number)
{
    sigset_t set;
    sigpending(&set);
    return sigismember(&set, number) == 1;
}

class Processes : public ::testing::Test {
protected:
    Processes() : m_folder(fs::temp_directory_path() / ("kor_process_" + std::to_string(std::random_device{}())))
    {
        fs::create_directory(m_folder);
    }
    ~Processes() override
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    std::string target() const { return (m_folder / "target").string(); }
    bool holdsNothing() const { return fs::is_empty(m_folder); }

    fs::path m_folder;
};

TEST_F(Processes, areEndedByTheirSignalsWhichRemoveTemporaryFiles)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGXCPU, SIGABRT, SIGRTMIN, SIGRTMIN + 5}) {
        EXPECT_EQ(inChild([&] {
                      prepare();
                      const TemporaryFile file = TemporaryFile::beside(target());
                      if (!file || holdsNothing()) {
                          return 1;
                      }
                      ::raise(number);
                      return 2;
                  }),
                  1000 + number);
        EXPECT_TRUE(holdsNothing()) << number;
    }
}

TEST_F(Processes, ofASignalRemoveEveryTemporaryFileFirst)
{
    EXPECT_EQ(inChild([&] {
                  prepare();
                  std::vector<TemporaryFile> files;
                  for (int i = 0; i < 5; ++i) {
                      files.push_back(TemporaryFile::beside(target()));
                  }
                  files.erase(files.begin() + 1);
                  handle(SIGTERM);
                  return holdsNothing() && isPending(SIGTERM) ? 0 : 1;
              }),
              0);
}

TEST_F(Processes, takeALimitOfTheFileSizeForAWriteError)
{
    EXPECT_EQ(inChild([&] {
                  prepare();
                  const rlimit limit = {10, 10};
                  ::setrlimit(RLIMIT_FSIZE, &limit);
                  TemporaryFile made = TemporaryFile::beside(target());
                  const bool written = made.file.write("more than ten bytes");
                  return !written && lastError() == "File too large" ? 0 : 1;
              }),
              0);
    EXPECT_TRUE(holdsNothing());
}

TEST_F(Processes, endWithTheirParentUnlessTheyFinishWorkAlready)
{
    EXPECT_EQ(inChild([] {
                  prepare();
                  endWithParent(static_cast<unsigned>(::getppid()));
                  return 0;
              }),
              0);
    EXPECT_EQ(inChild([&] {
                  prepare();
                  const TemporaryFile file = TemporaryFile::beside(target());
                  endWithParent(static_cast<unsigned>(::getpid())); // so the parent must have been another one
                  return 1;
              }),
              1000 + SIGRTMIN);
    EXPECT_TRUE(holdsNothing());
    EXPECT_EQ(inChild([] {
                  prepare();
                  const EndingSignalsAreNoted noting;
                  {
                      const EndingSignalsWait bothAreThere;
                      ::kill(::getpid(), SIGRTMIN);
                      ::kill(::getpid(), SIGTERM);
                  }
                  return notedSignal() == SIGTERM ? 0 : 1;
              }),
              0)
        << "the signal of a user comes first";
}

TEST_F(Processes, keepIgnoringWhatTheirCallerLetThemIgnore)
{
    EXPECT_EQ(inChild([] {
                  std::signal(SIGHUP, SIG_IGN);
                  prepareProcess();
                  ::raise(SIGHUP);
                  return 0;
              }),
              0);
}

TEST_F(Processes, putSomethingInPlaceOfClosedStandardStreams)
{
    EXPECT_EQ(inChild([&] {
                  ::close(STDIN_FILENO);
                  ::close(STDOUT_FILENO);
                  prepare();
                  char byte = 0;
                  const bool readsNothing = ::read(STDIN_FILENO, &byte, 1) < 0;
                  const bool writesNothing = ::write(STDOUT_FILENO, &byte, 1) < 0;
                  const File file = openFile(target(), OpenMode::create);
                  return readsNothing && writesNothing && file.descriptor() > STDERR_FILENO ? 0 : 1;
              }),
              0);
}

TEST_F(Processes, closeAFileThatHasTheFirstDescriptor)
{
    EXPECT_EQ(inChild([&] {
                  ::close(STDIN_FILENO);
                  {
                      const File file = openFile(target(), OpenMode::create);
                      if (file.descriptor() != STDIN_FILENO) {
                          return 1;
                      }
                  }
                  return ::fcntl(STDIN_FILENO, F_GETFD) == -1 ? 0 : 2;
              }),
              0);
}

TEST_F(Processes, noteTheFirstSignalAndEndByALaterOne)
{
    EXPECT_EQ(inChild([] {
                  prepare();
                  const EndingSignalsAreNoted noting;
                  if (notedSignal() != 0) {
                      return 1;
                  }
                  ::raise(SIGINT);
                  ::raise(SIGTERM); // with the first one: timeout(1) and shells send a pair
                  if (notedSignal() != SIGINT) {
                      return 2;
                  }
                  std::this_thread::sleep_for(250ms);
                  handle(SIGTERM);
                  return isPending(SIGTERM) && notedSignal() == SIGINT ? 0 : 3;
              }),
              0);
    EXPECT_EQ(inChild([] {
                  prepare();
                  const EndingSignalsAreNoted noting;
                  ::raise(SIGHUP);
                  return 1;
              }),
              1000 + SIGHUP);
    EXPECT_EQ(inChild([] {
                  prepare();
                  {
                      const EndingSignalsAreNoted noting;
                  }
                  ::raise(SIGINT);
                  return 1;
              }),
              1000 + SIGINT);
}

TEST_F(Processes, letSignalsWaitUntilTheOutermostGuardGoes)
{
    EXPECT_EQ(inChild([] {
                  prepare();
                  const EndingSignalsWait outer;
                  {
                      const EndingSignalsWait inner;
                      ::raise(SIGTERM);
                  }
                  return isPending(SIGTERM) ? 0 : 1; // which the end of the outer one does not let happen
              }),
              1000 + SIGTERM);
}

// ---- children ----------------------------------------------------------------------------------------------

constexpr const char* kTask = "KOR_TEST_TASK";

// What the processes do that the tests below start; nothing without a task.
TEST(ChildOfATest, doesItsTask)
{
    const char* const given = std::getenv(kTask);
    if (given == nullptr) {
        return;
    }
    const std::string task = given;
    ::unsetenv(kTask);
    if (task == "complain") {
        std::fputs("a complaint", stderr);
        kor_test::endChild(7);
    } else if (task == "complain a lot") {
        std::fputs(std::string(200000, 'x').c_str(), stderr);
        kor_test::endChild(0);
    } else if (task == "die") {
        ::raise(SIGKILL);
    }
    std::this_thread::sleep_for(60s);
}

ChildResult runTask(const char* task)
{
    ::setenv(kTask, task, 1);
    ChildResult result = runSelf({"--gtest_filter=ChildOfATest.doesItsTask"});
    ::unsetenv(kTask);
    return result;
}

TEST_F(Processes, runThemselvesAndTellStatusAndErrors)
{
    const ChildResult result = runTask("complain");
    EXPECT_TRUE(result.started);
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.errors, "a complaint");

    const ChildResult dead = runTask("die");
    EXPECT_TRUE(dead.started);
    EXPECT_EQ(dead.status, 128 + SIGKILL);

    // More than a pipe holds.
    const ChildResult talkative = runTask("complain a lot");
    EXPECT_EQ(talkative.status, 0);
    EXPECT_EQ(talkative.errors, std::string(200000, 'x'));
}

// What starts a process says so when it gets no descriptor for the pipes to it.
template <class Start>
void expectNoDescriptorIsToldFor(const Start& start)
{
    EXPECT_EQ(inChild([&start] {
                  const int next = ::dup(STDIN_FILENO);
                  ::close(next);
                  rlimit usual{};
                  ::getrlimit(RLIMIT_NOFILE, &usual);
                  const rlimit limit = {static_cast<rlim_t>(next), usual.rlim_max};
                  ::setrlimit(RLIMIT_NOFILE, &limit);
                  const auto result = start();
                  ::setrlimit(RLIMIT_NOFILE, &usual);
                  return !result.started && result.errors == "cannot prepare a process: Too many open files" ? 0 : 1;
              }),
              0);
}

TEST_F(Processes, tellWhyTheyCannotRunThemselves)
{
    const ChildResult tooLong = runSelf({std::string(1U << 22, 'x')});
    EXPECT_FALSE(tooLong.started);
    EXPECT_EQ(tooLong.errors, "cannot start a process: Argument list too long");

    expectNoDescriptorIsToldFor([] { return runSelf({}); });
}

TEST_F(Processes, takeTheirChildrenAlongAndStartNoMore)
{
    EXPECT_EQ(inChild([] {
                  prepare();
                  ChildResult result;
                  std::thread thread([&result] { result = runTask("sleep"); });
                  siginfo_t info{};
                  while (::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0) {
                      std::this_thread::sleep_for(1ms);
                  }
                  // The signal that comes before the child is listed would wait for it; this one finds it asleep.
                  std::this_thread::sleep_for(200ms);
                  handle(SIGTERM);
                  thread.join();
                  if (!result.started || result.status != 128 + SIGTERM) {
                      return 1;
                  }
                  const ChildResult none = runTask("complain");
                  return !none.started && none.errors == "cannot start a process: Operation canceled" ? 0 : 2;
              }),
              0);
}

TEST_F(Processes, haveTheArgumentsBehindTheirName)
{
    char name[] = "kor";
    char first[] = "a b";
    char* list[] = {name, first, nullptr};
    EXPECT_EQ(arguments(2, list), (std::vector<std::string>{"a b"}));
    EXPECT_EQ(arguments(1, list), std::vector<std::string>{});
    EXPECT_EQ(arguments(0, list), std::vector<std::string>{});
    EXPECT_EQ(processId(), static_cast<unsigned>(::getpid()));
}

} // namespace

// More both ways than pipes hold, at the same time.
TEST(RunProgram, passesAllItsStreamsOn)
{
    const std::string input(3000000, 'x');
    const ProgramResult result = runProgram({"sh", "-c", "tee /dev/stderr; exit 7"}, input, ProgramOutput::collected);
    EXPECT_TRUE(result.started);
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(result.output, input);
    EXPECT_EQ(result.errors, input);
}

TEST(RunProgram, doesNotWaitForAProgramThatReadsNothing)
{
    prepareProcess(); // a closed pipe is an error of writing
    const ProgramResult result =
        runProgram({"sh", "-c", "exec <&-; echo done"}, std::string(3000000, 'x'), ProgramOutput::collected);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "done\n");
}

TEST(RunProgram, tellsAMissingProgramFromOneThatCannotBeStarted)
{
    const ProgramResult missing = runProgram({"kor-there-is-no-such-program"}, "", ProgramOutput::collected);
    EXPECT_FALSE(missing.started);
    EXPECT_TRUE(missing.isMissing);
    const ProgramResult directory = runProgram({"/"}, "", ProgramOutput::collected);
    EXPECT_FALSE(directory.started);
    EXPECT_FALSE(directory.isMissing);
    EXPECT_FALSE(directory.errors.empty());
    EXPECT_EQ(runProgram({"sh", "-c", "kill -KILL $$"}, "", ProgramOutput::passedOn).status, 128 + SIGKILL);
}

TEST(RunProgram, tellsWhyNothingCanBeStarted)
{
    expectNoDescriptorIsToldFor([] { return runProgram({"sh", "-c", "exit 0"}, "", ProgramOutput::collected); });
}

TEST(RunProgram, goesOnAfterASignal)
{
    static std::atomic<int> signals;
    signals = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { ++signals; };
    sigemptyset(&action.sa_mask);
    struct sigaction before = {};
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0); // without SA_RESTART: calls are interrupted
    const pthread_t runner = ::pthread_self();
    std::thread other([&] {
        for (int i = 0; i < 30; ++i) {
            std::this_thread::sleep_for(5ms);
            ::pthread_kill(runner, SIGUSR1);
        }
    });
    // Its streams are closed before it ends, so that both waits are interrupted.
    const ProgramResult result = runProgram({"sh", "-c", "sleep 0.1; echo done; exec >&- 2>&-; sleep 0.1; exit 3"}, "",
                                            ProgramOutput::collected);
    other.join();
    ::sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(result.output, "done\n");
    EXPECT_EQ(result.status, 3);
    EXPECT_GT(signals, 0);
}

TEST(Display, isNamedByEitherOfTwoVariables)
{
    EXPECT_EQ(inChild([] {
                  ::unsetenv("DISPLAY");
                  ::unsetenv("WAYLAND_DISPLAY");
                  const bool none = !hasDisplay();
                  ::setenv("DISPLAY", "", 1);
                  const bool empty = !hasDisplay();
                  ::setenv("WAYLAND_DISPLAY", "wayland-0", 1);
                  const bool second = hasDisplay();
                  ::setenv("DISPLAY", ":0", 1);
                  ::unsetenv("WAYLAND_DISPLAY");
                  return none && empty && second && hasDisplay() ? 0 : 1;
              }),
              0);
}
