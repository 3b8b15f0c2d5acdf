// Output files: complete under their name, or not there.
#include "recordings/Output.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using kor::tool::Failure;
using kor::tool::Output;

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
    std::ptrdiff_t files() const { return std::distance(fs::directory_iterator(m_directory), {}); }

private:
    fs::path m_directory;
};

TEST_F(OutputTest, appearsOnClose)
{
    Output output(path("r"));
    output.write("all of it");
    EXPECT_FALSE(fs::exists(path("r")));
    output.close();
    EXPECT_EQ(content("r"), "all of it");
    EXPECT_EQ(files(), 1);
}

TEST_F(OutputTest, withoutCloseNothingRemainsAndTheOldFileStays)
{
    std::ofstream(path("r")) << "old";
    {
        Output output(path("r"));
        output.write(std::string(Output::kRoom * 2, 'x'));
        EXPECT_EQ(files(), 2);
    }
    EXPECT_EQ(content("r"), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(OutputTest, piecesOfAnySizeComeOutInOrder)
{
    std::string wanted;
    Output output(path("r"));
    for (std::size_t size = 1; wanted.size() < 3 * Output::kRoom; size = size * 3 % 700001) {
        const std::string piece(size, static_cast<char>('a' + size % 26));
        output.write(piece);
        wanted += piece;
    }
    output.close();
    EXPECT_EQ(content("r"), wanted);
}

TEST_F(OutputTest, twoToOneTargetDoNotMix)
{
    Output first(path("r"));
    Output second(path("r"));
    first.write("first");
    second.write("second");
    first.close();
    second.close();
    EXPECT_EQ(content("r"), "second");
    EXPECT_EQ(files(), 1);
}

#ifndef _WIN32 // the device is a POSIX one
TEST_F(OutputTest, aFullDeviceIsAWriteError)
{
    Output output("/dev/full");
    output.write("x");
    try {
        output.close();
        FAIL() << "closed";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), kor::tool::kExitIoError);
        EXPECT_STREQ(failure.what(), "cannot write /dev/full: No space left on device");
    }
}
#endif

TEST_F(OutputTest, aMissingDirectoryCannotBeWrittenInto)
{
    try {
        Output output(path("none/r"));
        FAIL() << "created";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), kor::tool::kExitCannotCreate);
    }
}

} // namespace
