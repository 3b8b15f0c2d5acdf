// What the fuzzers share: an input taken apart, files in memory, a folder, and the check that ends the program.
#pragma once

#include "platform/Text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include <sys/mman.h>
#include <unistd.h>

namespace kor_fuzz {

// Ends the program, which counts as a finding.
inline void require(bool held, const char* promise)
{
    if (!held) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

// An input, from its beginning. Behind its end there are zeros.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    bool isEmpty() const { return m_rest.empty(); }

    // Any bits.
    template <typename Value>
    Value take()
    {
        static_assert(std::is_trivially_copyable_v<Value> && !std::is_same_v<Value, bool>);
        Value value;
        std::memset(&value, 0, sizeof value);
        const std::size_t size = m_rest.size() < sizeof value ? m_rest.size() : sizeof value;
        if (size > 0) {
            std::memcpy(&value, m_rest.data(), size);
        }
        m_rest.remove_prefix(size);
        return value;
    }

    // 0 .. count - 1, of at most 256.
    std::size_t below(std::size_t count) { return take<std::uint8_t>() % count; }
    bool coin() { return below(2) == 1; }

    template <typename Value, std::size_t N>
    Value pick(const Value (&values)[N])
    {
        return values[below(N)];
    }

    // A number that is ordinary for a range, and any bits now and then.
    template <typename Float>
    Float real(double range)
    {
        if (take<std::uint8_t>() >= 232) {
            return take<Float>();
        }
        return static_cast<Float>(range * take<std::int16_t>() / 32768.0);
    }

    // All that is left.
    std::string_view rest()
    {
        const std::string_view all = m_rest;
        m_rest = {};
        return all;
    }

private:
    std::string_view m_rest;
};

// A file that has a path and lies in memory.
class MemoryFile {
public:
    MemoryFile() : m_descriptor(memfd_create("kor_fuzz", 0))
    {
        require(m_descriptor >= 0, "there is a file in memory");
        m_path = "/proc/self/fd/" + std::to_string(m_descriptor);
    }
    ~MemoryFile() { ::close(m_descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const std::string& path() const { return m_path; }

    // A descriptor of its own, at the beginning of the content.
    int descriptor() const
    {
        require(::lseek(m_descriptor, 0, SEEK_SET) == 0, "the file in memory begins at 0");
        return ::dup(m_descriptor);
    }

    void write(std::string_view bytes)
    {
        require(::ftruncate(m_descriptor, 0) == 0, "the file in memory can be emptied");
        require(::pwrite(m_descriptor, bytes.data(), bytes.size(), 0) == static_cast<::ssize_t>(bytes.size()),
                "the file in memory has room");
    }

    std::string content() const
    {
        std::string bytes(static_cast<std::size_t>(::lseek(m_descriptor, 0, SEEK_END)), '\0');
        require(::pread(m_descriptor, bytes.data(), bytes.size(), 0) == static_cast<::ssize_t>(bytes.size()),
                "the file in memory can be read");
        return bytes;
    }

private:
    int m_descriptor;
    std::string m_path;
};

// A folder below TMPDIR, the current one from then on. fuzz.sh removes what a finding leaves of it.
class Folder {
public:
    Folder() : m_path((std::filesystem::temp_directory_path() / "kor_fuzz_XXXXXX").string())
    {
        require(mkdtemp(m_path.data()) != nullptr && chdir(m_path.c_str()) == 0, "there is a folder for files");
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return m_path; }

    void write(const char* name, std::string_view bytes) const
    {
        std::FILE* const file = std::fopen(name, "wb");
        require(file != nullptr, "a file can be made");
        require(std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size(), "a file can be written");
        require(std::fclose(file) == 0, "a file can be closed");
    }

    static std::string read(const char* name)
    {
        std::ifstream file(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static bool holds(const char* name) { return ::access(name, F_OK) == 0; }

private:
    std::string m_path;
};

// The parts of an input: what stands before its first zero byte and what stands behind it; one part twice without one.
struct TwoFiles {
    std::string_view first;
    std::string_view second;

    explicit TwoFiles(std::string_view all) : first(all.substr(0, all.find('\0'))), second(first)
    {
        if (first.size() < all.size()) {
            second = all.substr(first.size() + 1);
        }
    }
};

// Whether a text is fit for a terminal: UTF-8 without control characters.
inline bool isShown(std::string_view text)
{
    const std::optional<std::wstring> wide = kor::platform::fromUtf8(text);
    return wide && std::none_of(wide->begin(), wide->end(),
                                [](wchar_t c) { return c < L' ' || (c >= L'\x7f' && c <= L'\x9f'); });
}

} // namespace kor_fuzz
