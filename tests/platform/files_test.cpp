#include "platform/Files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <random>
#include <string>

namespace {

namespace fs = std::filesystem;
using namespace kor::platform;

// A folder of its own for each test, removed afterwards.
class Files : public ::testing::Test {
protected:
    Files() : m_folder(fs::temp_directory_path() / ("kor_files_" + std::to_string(std::random_device{}())))
    {
        fs::create_directory(m_folder);
    }
    ~Files() override
    {
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    std::string path(const std::string& name) const { return joinPath(textOf(m_folder), name); }

    fs::path m_folder;
};

std::string read(const std::string& path)
{
    File file = openFile(path, OpenMode::read);
    if (!file) {
        return "(cannot be opened)";
    }
    char bytes[64];
    return {bytes, static_cast<std::size_t>(file.read(bytes, sizeof bytes))};
}

void write(const std::string& path, const std::string& text)
{
    File file = openFile(path, OpenMode::write);
    ASSERT_TRUE(file);
    ASSERT_TRUE(file.write(text));
    ASSERT_TRUE(file.sync());
    ASSERT_TRUE(file.close());
}

TEST_F(Files, passBytesThroughUntouched)
{
    const std::string bytes("a\r\n\x1a\0\xff\n", 7);
    write(path("bytes"), bytes);
    EXPECT_EQ(read(path("bytes")), bytes);
}

TEST_F(Files, writingEmptiesAnExistingFile)
{
    write(path("twice"), "a long text");
    write(path("twice"), "short");
    EXPECT_EQ(read(path("twice")), "short");
    EXPECT_EQ(fileStatus(path("twice")).size, 5U);
}

TEST_F(Files, haveWideNamesBeyondAscii)
{
    const std::string name = "\xc3\xbc\xe4\xb8\xad\xf0\x9f\x98\x80.prm";
    write(path(name), "x");
    EXPECT_TRUE(fs::exists(m_folder / fs::path(u8"\u00fc\u4e2d\U0001f600.prm")));
    EXPECT_EQ(read(path(name)), "x");
}

TEST_F(Files, aMissingFileIsNotOpened)
{
    EXPECT_FALSE(openFile(path("missing"), OpenMode::read));
    EXPECT_FALSE(fileStatus(path("missing")).exists);
}

TEST_F(Files, aFolderIsNotOpened)
{
    fs::create_directory(m_folder / "folder");
    EXPECT_FALSE(openFile(path("folder"), OpenMode::read));
    EXPECT_EQ(lastError(), "Is a directory");
    EXPECT_FALSE(openFile(path("folder"), OpenMode::write));
    const FileStatus status = fileStatus(path("folder"));
    EXPECT_TRUE(status.exists);
    EXPECT_TRUE(status.isDirectory);
    EXPECT_FALSE(status.isRegular);
}

TEST_F(Files, aNameWithAZeroNamesNothing)
{
    EXPECT_FALSE(openFile(path(std::string("a\0b", 3)), OpenMode::write));
    EXPECT_FALSE(openFile(path(std::string("a\0b", 3)), OpenMode::create));
    EXPECT_TRUE(fs::is_empty(m_folder));
}

#ifdef _WIN32 // where names are text
TEST_F(Files, aNameThatIsNoTextNamesNothing)
{
    EXPECT_FALSE(openFile(path("\xed\xa0\x80"), OpenMode::write));
    EXPECT_FALSE(openFile(path("\xff"), OpenMode::write));
    EXPECT_TRUE(fs::is_empty(m_folder));
}
#endif

TEST_F(Files, lengthIsThatOfTheOpenFile)
{
    write(path("five"), "12345");
    File file = openFile(path("five"), OpenMode::read);
    ASSERT_TRUE(file);
    EXPECT_EQ(file.size(), 5U);
    char byte = 0;
    EXPECT_EQ(file.read(&byte, 1), 1);
    EXPECT_EQ(file.size(), 5U);
    EXPECT_EQ(file.read(&byte, 1), 1);
    EXPECT_EQ(byte, '2') << "asking for the length moved the reading position";
}

TEST_F(Files, readOnlyBitIsSetAndCleared)
{
    write(path("guarded"), "x");
    EXPECT_FALSE(fileStatus(path("guarded")).readOnly);
    EXPECT_TRUE(setReadOnly(path("guarded"), true));
    EXPECT_TRUE(fileStatus(path("guarded")).readOnly);
    EXPECT_TRUE(setReadOnly(path("guarded"), false));
    EXPECT_FALSE(fileStatus(path("guarded")).readOnly);
    EXPECT_FALSE(setReadOnly(path("missing"), false));
}

TEST_F(Files, currentDirectoryIsWhereRelativeNamesGo)
{
    const fs::path before = fs::current_path();
    fs::current_path(m_folder);
    const std::optional<std::string> here = currentDirectory();
    write("relative", "x");
    fs::current_path(before);
    ASSERT_TRUE(here.has_value());
    EXPECT_EQ(read(joinPath(*here, "relative")), "x");
}

TEST(Paths, joinWithTheSystemsSeparator)
{
#if defined(_WIN32)
    EXPECT_EQ(joinPath("D", "Tg1.prm"), "D\\Tg1.prm");
#else
    EXPECT_EQ(joinPath("D", "Tg1.prm"), "D/Tg1.prm");
    EXPECT_EQ(joinPath("a\\b%d", "Tg1.prm"), "a\\b%d/Tg1.prm");
#endif
}

} // namespace
