// Open files, their identity, and temporary files.
#include "platform/Files.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;
using namespace kor::platform;

// A folder of its own for each test, removed afterwards.
class OpenFiles : public ::testing::Test {
protected:
    OpenFiles() : m_folder(fs::temp_directory_path() / ("kor_open_files_" + std::to_string(std::random_device{}())))
    {
        fs::create_directory(m_folder);
    }
    ~OpenFiles() override
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    std::string path(const std::string& name) const { return textOf(m_folder / pathFrom(name)); }
    void write(const std::string& name, const std::string& content) const
    {
        std::ofstream(m_folder / pathFrom(name), std::ios::binary) << content;
    }
    std::ptrdiff_t files() const { return std::distance(fs::directory_iterator(m_folder), {}); }

    fs::path m_folder;
};

TEST_F(OpenFiles, areMadeOnlyWhereThereIsNothing)
{
    File file = openFile(path("new"), OpenMode::create);
    ASSERT_TRUE(file);
    EXPECT_TRUE(file.write("a\r\n\x1a"));
    EXPECT_EQ(file.size(), 4U);
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(file);
    EXPECT_FALSE(openFile(path("new"), OpenMode::create));
    EXPECT_EQ(lastError(), "File exists");
    File again = openAnyForReading(path("new"));
    char bytes[16];
    EXPECT_EQ(again.read(bytes, sizeof bytes), 4);
    EXPECT_EQ(std::string(bytes, 4), "a\r\n\x1a");
    EXPECT_EQ(again.read(bytes, sizeof bytes), 0);
}

TEST_F(OpenFiles, aWriteErrorIsNotForgottenAtTheEnd)
{
    write("old", "x");
    File file = openAnyForReading(path("old"));
    ASSERT_TRUE(file);
    EXPECT_FALSE(file.write("y")) << "open for reading";
    EXPECT_FALSE(file.close());
}

TEST_F(OpenFiles, areNotMovedWhereTheyCannotBe)
{
    write("source", "new");
    write("target", "old");
    fs::create_directory(m_folder / "folder");
    write("folder/inside", "kept");
    const auto content = [this](const char* name) {
        std::ifstream file(m_folder / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };

    EXPECT_FALSE(moveFile(path("missing"), path("target")));
    EXPECT_FALSE(moveFile(path("source"), path("folder")));
    EXPECT_FALSE(moveFile(path("source"), path("missing/target")));
    EXPECT_FALSE(moveFile(path("source"), path(std::string("target\0", 7))));
    EXPECT_EQ(content("source"), "new");
    EXPECT_EQ(content("target"), "old");
    EXPECT_EQ(content("folder/inside"), "kept");
    EXPECT_EQ(files(), 3);

    EXPECT_TRUE(moveFile(path("source"), path("target")));
    EXPECT_EQ(content("target"), "new");
    EXPECT_EQ(files(), 2);
}

TEST_F(OpenFiles, moveTheirFile)
{
    write("old", "x");
    File first = openAnyForReading(path("old"));
    File second = std::move(first);
    EXPECT_FALSE(first);
    ASSERT_TRUE(second);
    first = std::move(second);
    char byte = 0;
    EXPECT_EQ(first.read(&byte, 1), 1);
}

TEST_F(OpenFiles, haveOneIdentityWhateverTheirNames)
{
    write("a", "x");
    write("b", "x");
    fs::create_hard_link(m_folder / "a", m_folder / "hard");
    ASSERT_TRUE(fileId(path("a")));
    EXPECT_EQ(fileId(path("a")), fileId(path("hard")));
    EXPECT_EQ(fileId(path("a")), openAnyForReading(path("hard")).id());
    EXPECT_NE(fileId(path("a")), fileId(path("b")));
    EXPECT_FALSE(fileId(path("none")));
    EXPECT_FALSE(fileId(path(".")));
}

TEST_F(OpenFiles, pathsLeadToOneFileAlsoBeforeItIsMade)
{
    write("a", "x");
    fs::create_directory(m_folder / "d");
    EXPECT_TRUE(leadToSameFile(path("a"), path("d/../a")));
    EXPECT_TRUE(leadToSameFile(path("new"), path("d/../new")));
    EXPECT_TRUE(leadToSameFile(path("none/new"), path("none/./new")));
    EXPECT_FALSE(leadToSameFile(path("new"), path("other")));
    EXPECT_FALSE(leadToSameFile(path("new"), path("d/new")));
    EXPECT_FALSE(leadToSameFile(path("a"), path("new")));
}

TEST_F(OpenFiles, aPathWithAZeroNamesNothing)
{
    write("a", "x");
    const std::string name = path("a") + std::string(1, '\0') + "b";
    EXPECT_FALSE(openAnyForReading(name));
    EXPECT_FALSE(fileId(name));
    EXPECT_FALSE(removeFile(name));
    EXPECT_EQ(renameFile(name, path("c"), false), Renamed::no);
    EXPECT_TRUE(fs::exists(m_folder / "a"));
}

TEST_F(OpenFiles, whyAFileCannotBeReadIsTold)
{
    EXPECT_EQ(whyUnreadable(path(".")), "it is a directory");
    EXPECT_EQ(whyUnreadable(path("none")), "No such file or directory");
}

TEST_F(OpenFiles, aTemporaryFileGoesUnlessItTakesItsPlace)
{
    write("r", "old");
    {
        const TemporaryFile file = TemporaryFile::beside(path("r"));
        ASSERT_TRUE(file);
        EXPECT_EQ(files(), 2);
    }
    EXPECT_EQ(files(), 1);
    TemporaryFile file = TemporaryFile::beside(path("r"));
    ASSERT_TRUE(file.file.write("new"));
    ASSERT_TRUE(file.file.close());
    EXPECT_TRUE(file.takePlaceOf(path("r")));
    EXPECT_EQ(files(), 1);
    EXPECT_EQ(fs::file_size(m_folder / "r"), 3U);
}

TEST_F(OpenFiles, aTemporaryFileThatMovesGoesOnce)
{
    {
        TemporaryFile first = TemporaryFile::beside(path("r"));
        TemporaryFile second = std::move(first);
        EXPECT_FALSE(first);
        EXPECT_TRUE(second);
        first = std::move(second);
        EXPECT_TRUE(first);
        EXPECT_EQ(files(), 1);
    }
    EXPECT_EQ(files(), 0);
}

// What the tests of whole programs do not reach: names that are not those of temporary files.
TEST_F(OpenFiles, onlyTemporaryFilesOfEndedProcessesAreRemoved)
{
    // No process has this number on any system: it is beyond what they give.
    for (const char* const name : {".kor.4294967294-0.tmp", ".kor.4294967294-77.tmp"}) {
        write(name, "x");
    }
    const std::vector<std::string> others = {
        ".kor.4294967294-0.old", ".kor.-0.tmp",   ".kor.1-.tmp",   ".kor.1.tmp",
        ".kor.1-0x.tmp",         ".kor..tmp",     ".kor.tmp",      "kor.1-0.tmp",
        ".kor.1-0.tmp.gz",       ".kor.1 -0.tmp", ".kor.+1-0.tmp", ".kor.1-99999999999.tmp"};
    for (const std::string& name : others) {
        write(name, "x");
    }
    {
        const TemporaryFile first = TemporaryFile::beside(path("r"));
        const TemporaryFile second = TemporaryFile::beside(path("r"));
        ASSERT_TRUE(first && second) << "the first one is in use";
        EXPECT_EQ(files(), static_cast<std::ptrdiff_t>(others.size()) + 2);
    }
    EXPECT_EQ(files(), static_cast<std::ptrdiff_t>(others.size()));
}

TEST_F(OpenFiles, aTemporaryFileThatIsCompleteIsStillInUse)
{
    TemporaryFile file = TemporaryFile::beside(path("r"));
    ASSERT_TRUE(file.file.close());
    EXPECT_TRUE(TemporaryFile::beside(path("other"))) << "which looks for those that nobody uses";
    EXPECT_TRUE(file.takePlaceOf(path("r")));
    EXPECT_EQ(files(), 1);
}

#ifndef _WIN32 // where a process is known by its number
TEST_F(OpenFiles, aClaimLastsAsLongAsAnyDescriptor)
{
    const unsigned process = processId();
    File file = openFile(path("t"), OpenMode::createPrivately);
    ASSERT_TRUE(file.claim());
    EXPECT_FALSE(openAnyForWriting(path("t")).claim()) << "somebody else has it";
    File other = file.shared();
    ASSERT_TRUE(other);
    file.close();
    EXPECT_FALSE(removeIfAbandoned(path("t"), process));
    other.close();
    EXPECT_TRUE(removeIfAbandoned(path("t"), process));
    EXPECT_EQ(files(), 0);
    EXPECT_FALSE(removeIfAbandoned(path("t"), process)) << "it is gone";
}

// Between its making and its claim another run may look for abandoned files.
TEST_F(OpenFiles, aFileThatWasTakenForAbandonedCannotBeClaimed)
{
    File file = openFile(path("t"), OpenMode::create);
    ASSERT_TRUE(removeIfAbandoned(path("t"), processId()));
    EXPECT_FALSE(file.claim());
}
#endif

#ifndef _WIN32 // where there are links for everybody
TEST_F(OpenFiles, linksAreFollowedToWhatIsThereOrIsNot)
{
    write("a", "x");
    fs::create_directory(m_folder / "d");
    EXPECT_EQ(behindLinks(path("a")), path("a"));
    EXPECT_EQ(behindLinks(path("none/none")), path("none/none"));
    fs::create_symlink("../a", m_folder / "d/1");
    fs::create_symlink(path("d/1"), m_folder / "2");
    EXPECT_EQ(behindLinks(path("2")), path("d/../a"));
    fs::create_symlink("none", m_folder / "3");
    EXPECT_EQ(behindLinks(path("3")), path("none"));
    EXPECT_TRUE(leadToSameFile(path("3"), path("none")));
    fs::create_symlink("5", m_folder / "4");
    fs::create_symlink("4", m_folder / "5");
    EXPECT_EQ(behindLinks(path("4")), std::nullopt);
    EXPECT_EQ(lastError(), "Too many levels of symbolic links");
}
#endif

#ifndef _WIN32 // where no signal ends a process
TEST_F(OpenFiles, thereAreNoMoreTemporaryFilesThanASignalCanRemove)
{
    std::vector<TemporaryFile> some;
    while (some.size() < kMostRemovedWhenKilled) {
        some.push_back(TemporaryFile::beside(path("r")));
        ASSERT_TRUE(some.back()) << some.size();
    }
    EXPECT_FALSE(TemporaryFile::beside(path("r")));
    EXPECT_EQ(lastError(), "Too many open files");
    EXPECT_EQ(files(), static_cast<std::ptrdiff_t>(kMostRemovedWhenKilled));
    some.pop_back();
    EXPECT_TRUE(TemporaryFile::beside(path("r"))) << "a place has become free";
}
#endif

struct Pipe {
    Pipe()
    {
        int ends[2] = {-1, -1};
#ifdef _WIN32
        EXPECT_EQ(_pipe(ends, 4096, _O_BINARY), 0);
#else
        EXPECT_EQ(pipe(ends), 0);
#endif
        out = File(ends[0]);
        in = File(ends[1]);
    }
    File out;
    File in;
};

constexpr std::chrono::milliseconds kAtOnce{0};

TEST(Readable, isAPipeThatHoldsBytesOrHasNoWriter)
{
    Pipe pipe;
    EXPECT_EQ(pipe.out.isReadable(kAtOnce), false);
    EXPECT_TRUE(pipe.in.write("ab"));
    EXPECT_EQ(pipe.out.isReadable(kAtOnce), true);
    char bytes[2];
    EXPECT_EQ(pipe.out.read(bytes, 1), 1);
    EXPECT_EQ(pipe.out.isReadable(kAtOnce), true) << "one is left";
    EXPECT_EQ(pipe.out.read(bytes, 1), 1);
    EXPECT_EQ(pipe.out.isReadable(kAtOnce), false);
    pipe.in.close();
    EXPECT_EQ(pipe.out.isReadable(kAtOnce), true) << "at its end";
    EXPECT_EQ(pipe.out.read(bytes, 1), 0);
}

TEST_F(OpenFiles, areReadableAtTheirEndToo)
{
    write("a", "");
    EXPECT_EQ(openAnyForReading(path("a")).isReadable(kAtOnce), true);
}

TEST(Readable, isWaitedForAsLongAsAsked)
{
    Pipe pipe;
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(pipe.out.isReadable(std::chrono::milliseconds(30)), false);
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(30));

    std::thread writer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_TRUE(pipe.in.write("a"));
    });
    EXPECT_EQ(pipe.out.isReadable(std::chrono::minutes(1)), true);
    writer.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(30)) << "only until bytes come";
}

#ifdef _WIN32
TEST(Readable, isNotKnownOfADeviceWhichIsNotWaitedForEither)
{
    const File device = openAnyForReading("NUL");
    EXPECT_TRUE(device);
    EXPECT_EQ(device.isReadable(kAtOnce), std::nullopt);
    EXPECT_EQ(device.isReadable(std::chrono::hours(1)), std::nullopt);
}
#endif

TEST(BrokenPipe, isOneThatNobodyReads)
{
#ifndef _WIN32 // where no signal comes with it
    std::signal(SIGPIPE, SIG_IGN);
#endif
    Pipe pipe;
    pipe.out.close();
    EXPECT_FALSE(pipe.in.write("a"));
    EXPECT_TRUE(isBrokenPipe());
    EXPECT_FALSE(openAnyForReading("none"));
    EXPECT_FALSE(isBrokenPipe());
}

TEST(Path, keepsItsBytes)
{
    EXPECT_EQ(textOf(pathFrom("d\xc3\xa4/x.csv")), "d\xc3\xa4/x.csv");
#ifndef _WIN32 // where names are text
    EXPECT_EQ(textOf(pathFrom("d\xc3\xa4/\xff.csv")), "d\xc3\xa4/\xff.csv");
#endif
}

} // namespace
