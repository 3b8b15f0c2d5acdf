// Output files: complete under their name, or not there.
#include "recordings/Output.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using kor::recordings::Output;
using kor::recordings::Problem;

class OutputTest : public testing::Test {
protected:
    OutputTest() : m_directory(fs::path(testing::TempDir()) / ("kor-output-" + std::to_string(getpid())))
    {
        fs::create_directory(m_directory);
    }
    ~OutputTest() override { fs::remove_all(m_directory); }

    std::string path(const char* name) const { return (m_directory / name).string(); }
    std::string content(const char* name) const
    {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::unique_ptr<Output> open(const char* name) const
    {
        Problem problem;
        std::unique_ptr<Output> output = Output::open(path(name), problem);
        EXPECT_NE(output, nullptr) << text(problem);
        return output;
    }
    std::ptrdiff_t files() const { return std::distance(fs::directory_iterator(m_directory), {}); }

private:
    fs::path m_directory;
};

TEST_F(OutputTest, appearsOnClose)
{
    const auto output = open("r");
    output->write("all of it");
    EXPECT_FALSE(fs::exists(path("r")));
    output->close();
    EXPECT_EQ(content("r"), "all of it");
    EXPECT_EQ(files(), 1);
}

TEST(PartialName, hasItsMarkInFrontOfTheExtensions)
{
    using kor::recordings::partialName;
    const std::string folder = fs::path("some.dir/").make_preferred().string();
    EXPECT_EQ(partialName("run.csv"), "run.partial.csv");
    EXPECT_EQ(partialName(folder + "run.v2.korinfo"), folder + "run.v2.partial.korinfo");
    EXPECT_EQ(partialName(folder + "run"), folder + "run.partial");
    EXPECT_EQ(partialName("run.csv.gz"), "run.partial.csv.gz");
}

TEST_F(OutputTest, whatBreaksOffAppearsUnderAnotherNameAndTheOldFileStays)
{
    std::ofstream(path("r.csv")) << "old";
    const auto output = open("r.csv");
    output->write("some of it");
    EXPECT_EQ(output->partialPath(), path("r.partial.csv"));
    EXPECT_TRUE(output->closePartial());
    EXPECT_EQ(content("r.partial.csv"), "some of it");
    EXPECT_EQ(content("r.csv"), "old");
    EXPECT_EQ(files(), 2);
}

TEST_F(OutputTest, withoutCloseNothingRemainsAndTheOldFileStays)
{
    std::ofstream(path("r")) << "old";
    {
        const auto output = open("r");
        output->write(std::string(Output::kRoom * 2, 'x'));
        EXPECT_EQ(files(), 2);
    }
    EXPECT_EQ(content("r"), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(OutputTest, piecesOfAnySizeComeOutInOrder)
{
    std::string wanted;
    const auto output = open("r");
    for (std::size_t size = 1; wanted.size() < 3 * Output::kRoom; size = size * 3 % 700001) {
        const std::string piece(size, static_cast<char>('a' + size % 26));
        output->write(piece);
        wanted += piece;
    }
    output->close();
    EXPECT_EQ(content("r"), wanted);
}

TEST_F(OutputTest, twoToOneTargetDoNotMix)
{
    const auto first = open("r");
    const auto second = open("r");
    first->write("first");
    second->write("second");
    first->close();
    second->close();
    EXPECT_EQ(content("r"), "second");
    EXPECT_EQ(files(), 1);
}

#ifndef _WIN32 // the device is a POSIX one
TEST_F(OutputTest, aFullDeviceIsAWriteError)
{
    Problem problem;
    const auto output = Output::open("/dev/full", problem);
    ASSERT_NE(output, nullptr);
    EXPECT_TRUE(output->write("x"));
    EXPECT_FALSE(output->close());
    EXPECT_EQ(output->problem().kind, Problem::Kind::cannotWrite);
    EXPECT_EQ(text(output->problem()), "cannot write /dev/full: No space left on device");
}

TEST_F(OutputTest, manyBytesDoNotWaitInTheBuffer)
{
    Problem problem;
    const auto output = Output::open("/dev/full", problem);
    ASSERT_NE(output, nullptr);
    EXPECT_FALSE(output->write(std::string(3 * Output::kRoom, 'x')));
}

TEST_F(OutputTest, afterAWriteErrorWritingGoesOnIntoNothing)
{
    Problem problem;
    const auto output = Output::open("/dev/full", problem);
    ASSERT_NE(output, nullptr);
    const std::string piece(Output::kRoom / 16, 'x');
    for (int i = 0; i < 16; ++i) {
        EXPECT_TRUE(output->write(piece)) << "still in the buffer";
    }
    EXPECT_FALSE(output->write(piece));
    EXPECT_FALSE(output->write("x"));
    EXPECT_FALSE(output->close());
}
#endif

TEST_F(OutputTest, twoThatBelongTogetherAppearTogether)
{
    std::ofstream(path("a")) << "old";
    const auto first = open("a");
    const auto second = open("b");
    first->write("1");
    second->write("2");
    EXPECT_TRUE(Output::closeTogether(*first, *second));
    EXPECT_EQ(content("a"), "1");
    EXPECT_EQ(content("b"), "2");
    EXPECT_EQ(files(), 2);
}

// Whichever of the two cannot take its place, and whether or not the other one replaces a file.
TEST_F(OutputTest, ofTwoThatBelongTogetherNoneAppearsIfOneCannot)
{
    for (const bool firstFails : {true, false}) {
        for (const bool replaces : {true, false}) {
            const char* const failing = firstFails ? "a" : "b";
            const char* const other = firstFails ? "b" : "a";
            if (replaces) {
                std::ofstream(path(other)) << "old";
            }
            {
                const auto first = open("a");
                const auto second = open("b");
                first->write("1");
                second->write("2");
                fs::create_directory(path(failing));
                EXPECT_FALSE(Output::closeTogether(*first, *second));
                const Output& told = firstFails ? *first : *second;
                EXPECT_EQ(told.problem().kind, Problem::Kind::cannotCreate);
                EXPECT_NE(text(told.problem()).find("cannot take its place"), std::string::npos);
                EXPECT_FALSE((firstFails ? *second : *first).problem());
            }
            EXPECT_EQ(fs::exists(path(other)), replaces);
            EXPECT_EQ(content(other), replaces ? "old" : "");
            EXPECT_EQ(files(), replaces ? 2 : 1) << "and nothing beside them";
            fs::remove(path(failing));
            fs::remove(path(other));
        }
    }
}

#ifndef _WIN32 // the device is a POSIX one
TEST_F(OutputTest, ofTwoThatBelongTogetherNoneAppearsIfOneCannotBeWritten)
{
    for (const bool firstFails : {true, false}) {
        Problem problem;
        const auto full = Output::open("/dev/full", problem);
        const auto file = open("r");
        full->write("1");
        file->write("2");
        EXPECT_FALSE(firstFails ? Output::closeTogether(*full, *file) : Output::closeTogether(*file, *full));
        EXPECT_EQ(full->problem().kind, Problem::Kind::cannotWrite);
        EXPECT_FALSE(fs::exists(path("r")));
    }
    EXPECT_EQ(files(), 0);
}

TEST_F(OutputTest, aLinkThatAppearsOnTheWayIsFollowed)
{
    const auto output = open("r");
    output->write("x");
    fs::create_symlink("other", path("r"));
    EXPECT_TRUE(output->close());
    EXPECT_TRUE(fs::is_symlink(path("r")));
    EXPECT_EQ(content("other"), "x");
    EXPECT_EQ(files(), 2);
}
#endif

TEST_F(OutputTest, aMissingDirectoryCannotBeWrittenInto)
{
    Problem problem;
    EXPECT_EQ(Output::open(path("none/r"), problem), nullptr);
    EXPECT_EQ(problem.kind, Problem::Kind::cannotCreate);
}

TEST_F(OutputTest, aDirectoryIsNotReplaced)
{
    fs::create_directory(path("d"));
    Problem problem;
    EXPECT_EQ(Output::open(path("d"), problem), nullptr);
    EXPECT_EQ(text(problem), "cannot create " + path("d") + ": it is a directory");
}

TEST_F(OutputTest, aTargetThatHasBecomeADirectoryIsToldAndNothingRemains)
{
    {
        const auto output = open("r");
        output->write("x");
        fs::create_directory(path("r"));
        EXPECT_FALSE(output->close());
        EXPECT_EQ(output->problem().kind, Problem::Kind::cannotCreate);
        EXPECT_NE(text(output->problem()).find("cannot take its place"), std::string::npos);
    }
    EXPECT_EQ(files(), 1);
}

} // namespace
