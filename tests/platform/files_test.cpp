#include "platform/Files.h"

#include <gtest/gtest.h>

#include <cstdio>
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
    std::wstring path(const std::wstring& name) const
    {
        const std::u8string folder = m_folder.u8string();
        return joinPath(*fromUtf8({reinterpret_cast<const char*>(folder.data()), folder.size()}), name);
    }

    fs::path m_folder;
};

std::string read(const std::wstring& path)
{
    const File file = openFile(path, OpenMode::read);
    if (!file) {
        return "(cannot be opened)";
    }
    char bytes[64];
    return {bytes, std::fread(bytes, 1, sizeof bytes, file.get())};
}

void write(const std::wstring& path, const std::string& text)
{
    const File file = openFile(path, OpenMode::write);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(std::fwrite(text.data(), 1, text.size(), file.get()), text.size());
}

TEST_F(Files, passBytesThroughUntouched)
{
    const std::string bytes("a\r\n\x1a\0\xff\n", 7);
    write(path(L"bytes"), bytes);
    EXPECT_EQ(read(path(L"bytes")), bytes);
}

TEST_F(Files, writingEmptiesAnExistingFile)
{
    write(path(L"twice"), "a long text");
    write(path(L"twice"), "short");
    EXPECT_EQ(read(path(L"twice")), "short");
    EXPECT_EQ(fileStatus(path(L"twice")).size, 5U);
}

TEST_F(Files, haveWideNamesBeyondAscii)
{
    const std::wstring name = L"\u00fc\u4e2d\U0001f600.prm";
    write(path(name), "x");
    EXPECT_TRUE(fs::exists(m_folder / fs::path(u8"\u00fc\u4e2d\U0001f600.prm")));
    EXPECT_EQ(read(path(name)), "x");
}

TEST_F(Files, aMissingFileIsNotOpened)
{
    EXPECT_EQ(openFile(path(L"missing"), OpenMode::read), nullptr);
    EXPECT_FALSE(fileStatus(path(L"missing")).exists);
}

TEST_F(Files, aFolderIsNotOpened)
{
    fs::create_directory(m_folder / "folder");
    EXPECT_EQ(openFile(path(L"folder"), OpenMode::read), nullptr);
    EXPECT_EQ(openFile(path(L"folder"), OpenMode::write), nullptr);
    const FileStatus status = fileStatus(path(L"folder"));
    EXPECT_TRUE(status.exists);
    EXPECT_TRUE(status.isDirectory);
    EXPECT_FALSE(status.isRegular);
}

TEST_F(Files, aNameWithALoneSurrogateOrNulNamesNothing)
{
    EXPECT_EQ(openFile(path(std::wstring(1, static_cast<wchar_t>(0xD800))), OpenMode::write), nullptr);
    EXPECT_EQ(openFile(path(std::wstring(L"a\0b", 3)), OpenMode::write), nullptr);
    EXPECT_TRUE(fs::is_empty(m_folder));
}

TEST_F(Files, lengthIsThatOfTheOpenFile)
{
    write(path(L"five"), "12345");
    const File file = openFile(path(L"five"), OpenMode::read);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(fileSize(file.get()), 5U);
    std::fgetc(file.get());
    EXPECT_EQ(fileSize(file.get()), 5U);
    EXPECT_EQ(std::fgetc(file.get()), '2') << "asking for the length moved the reading position";
}

TEST_F(Files, readOnlyBitIsSetAndCleared)
{
    write(path(L"guarded"), "x");
    EXPECT_FALSE(fileStatus(path(L"guarded")).readOnly);
    EXPECT_TRUE(setReadOnly(path(L"guarded"), true));
    EXPECT_TRUE(fileStatus(path(L"guarded")).readOnly);
    EXPECT_TRUE(setReadOnly(path(L"guarded"), false));
    EXPECT_FALSE(fileStatus(path(L"guarded")).readOnly);
    EXPECT_FALSE(setReadOnly(path(L"missing"), false));
}

TEST_F(Files, currentDirectoryIsWhereRelativeNamesGo)
{
    const fs::path before = fs::current_path();
    fs::current_path(m_folder);
    const std::optional<std::wstring> here = currentDirectory();
    write(L"relative", "x");
    fs::current_path(before);
    ASSERT_TRUE(here.has_value());
    EXPECT_EQ(read(joinPath(*here, L"relative")), "x");
}

TEST(Paths, joinWithTheSystemsSeparator)
{
#if defined(_WIN32)
    EXPECT_EQ(joinPath(L"D", L"Tg1.prm"), L"D\\Tg1.prm");
#else
    EXPECT_EQ(joinPath(L"D", L"Tg1.prm"), L"D/Tg1.prm");
    EXPECT_EQ(joinPath(L"a\\b%d", L"Tg1.prm"), L"a\\b%d/Tg1.prm");
#endif
}

} // namespace
