// Formatted input over the bytes of a parameter file.
//
// Kept [c-locale]: reads as C formatted input does in the "C" locale, even if another is set: items are separated by
// any run of blank, \t, \n, \v, \f and \r; every other byte, 0x00 and 0x80 to 0xFF included, is an ordinary one. An
// item is the longest prefix of text that could still become a match: "1e+x" is read as far as "1e+" and then fails.
//
// Kept [text-end]: the text ends at its first byte 0x1A. Text files have ended there on Windows, and a file must mean
// the same on every system.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/Files.h"

namespace kor::params {

class Scanner {
public:
    /// Over an open file, from its position on; the file stays the caller's.
    explicit Scanner(platform::File& file) noexcept;

    /// Over bytes in memory, which stay the caller's.
    explicit Scanner(std::string_view bytes) noexcept;

    Scanner(const Scanner&) = delete;
    Scanner& operator=(const Scanner&) = delete;

    /// Whether a read has met the end of the file. Standing right before it is not enough.
    bool atEnd() const noexcept { return m_atEnd; }

    /// Line of the next unread byte, from 1.
    std::size_t line() const noexcept { return m_line; }

    /// Line on which the last item that was looked for begins.
    std::size_t itemLine() const noexcept { return m_itemLine; }

    /// The last item that was looked for, as it stands in the text: from its first byte to the next white space, at
    /// most some sixty bytes of it. Empty at the end of the text. Valid until the next read.
    std::string_view item() noexcept;

    /// Bytes of the last number, as far as it was taken. Only over memory.
    std::size_t taken() const noexcept { return m_taken; }

    /// Bytes read so far.
    std::uint64_t consumed() const noexcept { return m_before + m_next; }

    void skipSpace() noexcept
    {
        if (!isAtText()) {
            passSpace();
        }
    }

    /// One call of `count` times "%s", separated by blanks, with "\n" at the end.
    /// Returned  joined  the words that were read, joined with single blanks
    ///           result  number of words
    /// Notes  1  Throws only std::bad_alloc or std::length_error.
    std::size_t words(std::size_t count, std::string& joined);

    /// Passes over a title that stands as the format has it, as words() would: a short way. False, and nothing is read,
    /// when the title does not stand right here, or something else does.
    /// Given     title  words with single blanks between
    bool takeTitle(std::string_view title) noexcept;

    /// As words(), for a title: looks for it in the joined words without keeping them.
    /// Returned  joined  the beginning of the joined words, some sixty bytes of it; empty if there are none
    ///           result  whether the words hold the title (holdsTitle)
    /// Notes  1  Throws only std::bad_alloc.
    bool wordsHold(std::size_t count, std::string_view title, std::string& joined);

    /// As words(1, ...) for a word of no interest.
    bool skipWord() noexcept;

    /// One call of "%f\t ... %f\n"; as all separators match any whitespace, also of "%f\t".
    /// Returned  values  the first `result` are replaced, the others left alone
    ///           result  number of values that parsed
    /// Notes  1  A value is rounded once, to the nearest float; too large becomes infinite, too small zero.
    ///        2  Throws only std::bad_alloc or std::length_error.
    std::size_t floats(std::span<float> values);

    /// One call of "%d\n". A value beyond 64 bits becomes the nearest 64-bit one.
    /// Returned  value   left alone unless the result is true
    bool integer(std::int64_t& value) noexcept;

private:
    static constexpr int kNone = -1;
    static constexpr int kTextEnd = 0x1A;
    static constexpr std::size_t kItemKept = 64; ///< of an item at the least, for item()

    /// Whether the next byte is at hand and neither white space nor the text's end: both lie among the control
    /// characters and the blank.
    bool isAtText() const noexcept { return m_next != m_fetched && static_cast<unsigned char>(m_bytes[m_next]) > ' '; }

    void passSpace() noexcept;
    void passFetchedSpace() noexcept;
    int peek() noexcept;
    void fetch(std::size_t kept) noexcept;
    void take() noexcept;
    bool takeIf(char lower) noexcept;
    bool beginItem() noexcept;
    bool takeSign() noexcept;
    bool takeRest(std::string_view lower) noexcept;
    bool takeDigits(bool hexadecimal);
    bool takeInfinity(float& magnitude) noexcept;
    bool takeNan(float& magnitude) noexcept;
    bool takeMagnitude(float& magnitude);
    bool takeNumber(float& value);
    bool takePlain(float& value) noexcept;
    void passWord() noexcept;
    bool isInWord() noexcept;
    template <typename Take>
    std::size_t takeWords(std::size_t count, Take&& take);

    platform::File* m_file = nullptr;
    const char* m_bytes = nullptr; ///< what has been fetched: the whole text, or m_buffer
    std::size_t m_next = 0;        ///< in m_bytes
    std::size_t m_fetched = 0;     ///< length of m_bytes
    std::uint64_t m_before = 0;    ///< bytes before m_bytes
    bool m_atEnd = false;
    bool m_broken = false; ///< the file could not be read on; that is not its end
    std::size_t m_line = 1;
    std::size_t m_itemLine = 1;
    std::size_t m_itemAt = 0; ///< in m_bytes
    std::size_t m_taken = 0;
    std::string m_digits; ///< the number being read, as far as the conversion takes it
    std::array<char, 4096> m_buffer;
};

} // namespace kor::params
