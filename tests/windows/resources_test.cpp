// The resources of the built KORInterface.dll: the messages and the version.
#include "params/file/Messages.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

class Resources : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(m_library, nullptr) << "error " << GetLastError(); }
    ~Resources() override
    {
        if (m_library != nullptr) {
            FreeLibrary(m_library);
        }
    }

    // The string of an identifier; empty when there is none.
    std::wstring string(unsigned id) const
    {
        wchar_t text[256] = L"";
        const int length = LoadStringW(m_library, id, text, 256);
        return {text, static_cast<std::size_t>(length)};
    }

    HMODULE library() const { return m_library; }

private:
    HMODULE m_library = LoadLibraryW(L"KORInterface.dll");
};

std::wstring widened(std::string_view ascii)
{
    return {ascii.begin(), ascii.end()};
}

TEST_F(Resources, holdEveryMessageCharacterForCharacter)
{
    for (unsigned id = kor::params::kFirstMessage; id <= kor::params::kLastMessage; ++id) {
        const std::wstring wanted = widened(kor::params::messageText(id));
        ASSERT_FALSE(wanted.empty()) << id;
        EXPECT_EQ(string(id), wanted) << id;
    }
}

TEST_F(Resources, keepTheOddTexts)
{
    EXPECT_EQ(string(611), L"Block title \"Local Coordinate Tranform Matrix\" is not found.");
    EXPECT_EQ(string(615), L"Block title \"ADM Offset\" is not foun.");
    EXPECT_EQ(string(619), L"Block title \"Tilt YCalibration Table\" is not found.");
    EXPECT_EQ(string(622), L"Block \"QVC\" is not found ");
}

TEST_F(Resources, holdNoOtherString)
{
    int strings = 0;
    for (unsigned id = 0; id <= 0xFFFF; ++id) {
        strings += string(id).empty() ? 0 : 1;
    }
    EXPECT_EQ(strings, 24);
}

TEST_F(Resources, tellTheVersion)
{
    wchar_t path[MAX_PATH];
    ASSERT_NE(GetModuleFileNameW(library(), path, MAX_PATH), 0U);
    const DWORD size = GetFileVersionInfoSizeW(path, nullptr);
    ASSERT_NE(size, 0U) << "error " << GetLastError();
    std::vector<unsigned char> block(size);
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, size, block.data()));

    void* found = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", &found, &length));
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(found);
    EXPECT_EQ(fixed->dwSignature, 0xFEEF04BDU);
    EXPECT_EQ(fixed->dwFileVersionMS, (KOR_VERSION_MAJOR << 16U) | KOR_VERSION_MINOR);
    EXPECT_EQ(fixed->dwFileVersionLS, KOR_VERSION_PATCH << 16U);
    EXPECT_EQ(fixed->dwProductVersionMS, fixed->dwFileVersionMS);
    EXPECT_EQ(fixed->dwFileType, static_cast<DWORD>(VFT_DLL));

    const auto value = [&](const wchar_t* name) {
        const std::wstring key = std::wstring(L"\\StringFileInfo\\000004b0\\") + name;
        return VerQueryValueW(block.data(), key.c_str(), &found, &length) != 0
                   ? std::wstring(static_cast<const wchar_t*>(found))
                   : std::wstring(L"(none)");
    };
    EXPECT_EQ(value(L"FileVersion"), widened(KOR_VERSION));
    EXPECT_EQ(value(L"ProductVersion"), widened(KOR_VERSION));
    EXPECT_EQ(value(L"OriginalFilename"), L"KORInterface.dll");
}

} // namespace
