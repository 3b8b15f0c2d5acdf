#include "params/file/Scanner.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "params/file/Blocks.h"
#include "platform/Decimal.h"
#include "platform/Text.h"

namespace kor::params {

namespace {

constexpr bool isSpace(int c)
{
    return c == ' ' || static_cast<unsigned>(c - '\t') <= static_cast<unsigned>('\r' - '\t');
}

constexpr int lowerOf(int c)
{
    return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
}

constexpr bool isDigit(int c)
{
    return c >= '0' && c <= '9';
}

constexpr bool isHexDigit(int c)
{
    return isDigit(c) || (lowerOf(c) >= 'a' && lowerOf(c) <= 'f');
}

constexpr bool isNanCharacter(int c)
{
    return isDigit(c) || c == '_' || (lowerOf(c) >= 'a' && lowerOf(c) <= 'z');
}

// `number`: digits with at most one point, then perhaps 'e' or 'p' and an exponent; no sign, no "0x".
float magnitudeOf(std::string_view number, bool hexadecimal)
{
    float value = 0.0F;
    const std::from_chars_result result =
        std::from_chars(number.data(), number.data() + number.size(), value,
                        hexadecimal ? std::chars_format::hex : std::chars_format::general);
    if (result.ec == std::errc::result_out_of_range) {
        return platform::isTooLarge(number, hexadecimal) ? std::numeric_limits<float>::infinity() : 0.0F;
    }
    return value;
}

} // namespace

Scanner::Scanner(platform::File& file) noexcept : m_file(&file) {}

Scanner::Scanner(std::string_view bytes) noexcept : m_bytes(bytes.data()), m_fetched(bytes.size()) {}

// Moves so many bytes of the item at hand to the front of the buffer and fetches more of the file behind them. Before,
// everything up to m_fetched has either been read or is part of those bytes.
void Scanner::fetch(std::size_t kept) noexcept
{
    const std::uint64_t position = consumed();
    const std::size_t ahead = m_fetched - m_next;
    if (kept > 0) {
        std::memmove(m_buffer.data(), m_bytes + m_itemAt, kept);
    }
    m_bytes = m_buffer.data();
    m_itemAt = 0;
    const std::ptrdiff_t got = m_file->read(m_buffer.data() + kept, m_buffer.size() - kept);
    m_broken = got < 0;
    m_fetched = kept + static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0));
    m_next = kept - ahead;
    m_before = position - m_next;
}

// The next byte without reading it, kNone at the end.
int Scanner::peek() noexcept
{
    if (m_next == m_fetched) {
        if (m_atEnd || m_broken) {
            return kNone;
        }
        if (m_file != nullptr) {
            fetch(std::min(m_next - m_itemAt, kItemKept));
        }
        if (m_next == m_fetched) {
            m_atEnd = !m_broken;
            return kNone;
        }
    }
    const int byte = static_cast<unsigned char>(m_bytes[m_next]);
    if (byte == kTextEnd) {
        m_atEnd = true;
        return kNone;
    }
    return byte;
}

std::string_view Scanner::item() noexcept
{
    const auto length = [this] {
        std::size_t end = m_itemAt;
        while (end < m_fetched && !isSpace(static_cast<unsigned char>(m_bytes[end])) && m_bytes[end] != kTextEnd) {
            ++end;
        }
        return end - m_itemAt;
    };
    std::size_t whole = length();
    for (bool more = m_file != nullptr; more && m_itemAt + whole == m_fetched && whole < kItemKept;) {
        const std::size_t before = whole;
        fetch(whole);
        whole = length();
        more = whole > before;
    }
    return {m_bytes + m_itemAt, std::min(whole, kItemKept)};
}

// Only after a peek that was not kNone, and of nothing that ends a line.
void Scanner::take() noexcept
{
    ++m_next;
}

bool Scanner::takeIf(char lower) noexcept
{
    if (lowerOf(peek()) != lower) {
        return false;
    }
    take();
    return true;
}

void Scanner::passSpace() noexcept
{
    const char* at = m_bytes + m_next;
    const char* const end = m_bytes + m_fetched;
    std::size_t lines = 0;
    for (; at != end && isSpace(*at); ++at) {
        lines += *at == '\n' ? 1U : 0U;
    }
    m_next = static_cast<std::size_t>(at - m_bytes);
    m_line += lines;
    if (!isAtText()) {
        passFetchedSpace();
    }
}

// Notices the end of the text, and goes on behind what has been fetched so far.
void Scanner::passFetchedSpace() noexcept
{
    if (isSpace(peek())) {
        passSpace();
    }
}

bool Scanner::beginItem() noexcept
{
    skipSpace();
    m_itemLine = m_line;
    const bool any = isAtText() || peek() != kNone;
    m_itemAt = m_next;
    return any;
}

bool Scanner::takeTitle(std::string_view title) noexcept
{
    const std::string_view ahead(m_bytes + m_next, m_fetched - m_next);
    if (!ahead.starts_with(title) || ahead.size() == title.size() || !isSpace(ahead[title.size()])) {
        return false;
    }
    m_itemLine = m_line;
    m_itemAt = m_next;
    m_next += title.size();
    skipSpace();
    return true;
}

// Hands out the joined words piece by piece, as they are fetched.
template <typename Take>
std::size_t Scanner::takeWords(std::size_t count, Take&& take)
{
    for (std::size_t done = 0; done < count; ++done) {
        if (!beginItem()) {
            return done;
        }
        if (done > 0) {
            take(std::string_view(" "));
        }
        do {
            const std::size_t begin = m_next;
            passWord();
            take(std::string_view(m_bytes + begin, m_next - begin));
        } while (isInWord());
    }
    skipSpace();
    return count;
}

std::size_t Scanner::words(std::size_t count, std::string& joined)
{
    joined.clear();
    return takeWords(count, [&joined](std::string_view piece) { joined += piece; });
}

bool Scanner::wordsHold(std::size_t count, std::string_view title, std::string& joined)
{
    constexpr std::size_t kMostKept = 4096;
    joined.clear();
    std::string kept; // what a title may still begin in, and what has come since
    bool held = false;
    bool ended = false; // by a NUL
    takeWords(count, [&](std::string_view piece) {
        joined += piece.substr(0, kItemKept - std::min(kItemKept, joined.size()));
        while (!held && !ended && !piece.empty()) {
            kept += piece.substr(0, kMostKept);
            piece.remove_prefix(std::min(kMostKept, piece.size()));
            ended = kept.find('\0') != std::string::npos;
            held = holdsTitle(kept, title);
            if (kept.size() > kMostKept) {
                kept.erase(0, kept.size() - title.size());
            }
        }
    });
    return held;
}

// Up to the word's end, or that of what has been fetched.
void Scanner::passWord() noexcept
{
    while (m_next != m_fetched && !isSpace(m_bytes[m_next]) && m_bytes[m_next] != kTextEnd) {
        ++m_next;
    }
}

bool Scanner::isInWord() noexcept
{
    const int next = peek();
    return next != kNone && !isSpace(next);
}

bool Scanner::skipWord() noexcept
{
    if (!beginItem()) {
        return false;
    }
    do {
        passWord();
    } while (isInWord());
    skipSpace();
    return true;
}

bool Scanner::takeSign() noexcept
{
    return !takeIf('+') && takeIf('-');
}

bool Scanner::integer(std::int64_t& value) noexcept
{
    if (!beginItem()) {
        return false;
    }
    // Counted downwards, because the smallest value has no positive counterpart.
    constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
    const bool negative = takeSign();
    if (!isDigit(peek())) {
        return false;
    }
    std::int64_t below = 0;
    for (; isDigit(peek()); take()) {
        const std::int64_t digit = peek() - '0';
        below = below < (kSmallest + digit) / 10 ? kSmallest : 10 * below - digit;
    }
    value = negative ? below : below == kSmallest ? kLargest : -below;
    m_taken = m_next - m_itemAt;
    skipSpace();
    return true;
}

std::size_t Scanner::floats(std::span<float> values)
{
    for (std::size_t done = 0; done < values.size(); ++done) {
        if (!beginItem()) {
            return done;
        }
        if (!takePlain(values[done])) {
            if (!takeNumber(values[done])) {
                return done;
            }
            m_taken = m_next - m_itemAt;
        }
    }
    skipSpace();
    return values.size();
}

// The number at hand and the white space behind it, if it is a plain one and all of that has been fetched. Anything
// else is left to takeNumber, to the last byte.
bool Scanner::takePlain(float& value) noexcept
{
    const char* const begin = m_bytes + m_next;
    const char* const end = m_bytes + m_fetched;
    const bool negative = *begin == '-';
    platform::PlainNumber number;
    float magnitude = 0.0F;
    const char* const behind = platform::takePlainNumber(begin + (negative || *begin == '+' ? 1 : 0), end, number);
    if (behind == nullptr || behind == end || !isSpace(*behind) || !platform::nearestFloat(number, magnitude)) {
        return false;
    }
    value = negative ? -magnitude : magnitude;
    m_taken = static_cast<std::size_t>(behind - begin);
    m_line += *behind == '\n' ? 1U : 0U;
    m_next = static_cast<std::size_t>(behind + 1 - m_bytes);
    return true;
}

// The rest of a word in lower case, as far as it goes.
bool Scanner::takeRest(std::string_view lower) noexcept
{
    for (const char c : lower) {
        if (!takeIf(c)) {
            return false;
        }
    }
    return true;
}

bool Scanner::takeDigits(bool hexadecimal)
{
    bool any = false;
    for (; hexadecimal ? isHexDigit(peek()) : isDigit(peek()); take()) {
        m_digits += static_cast<char>(lowerOf(peek()));
        any = true;
    }
    return any;
}

// The rest of "inf" or "infinity" behind its i.
bool Scanner::takeInfinity(float& magnitude) noexcept
{
    magnitude = std::numeric_limits<float>::infinity();
    return takeRest("nf") && (!takeIf('i') || takeRest("nity"));
}

// The rest of "nan" or "nan(...)" behind its n.
bool Scanner::takeNan(float& magnitude) noexcept
{
    magnitude = std::numeric_limits<float>::quiet_NaN();
    if (!takeRest("an")) {
        return false;
    }
    if (!takeIf('(')) {
        return true;
    }
    while (isNanCharacter(peek())) {
        take();
    }
    return takeIf(')');
}

// Digits with a point and an exponent, decimal or hexadecimal.
bool Scanner::takeMagnitude(float& magnitude)
{
    m_digits.clear();
    bool any = takeIf('0');
    const bool hexadecimal = any && takeIf('x');
    if (hexadecimal) {
        any = false;
    } else if (any) {
        m_digits += '0';
    }
    any = takeDigits(hexadecimal) || any;
    if (takeIf('.')) {
        m_digits += '.';
        any = takeDigits(hexadecimal) || any;
    }
    if (!any) {
        return false;
    }
    const char exponent = hexadecimal ? 'p' : 'e';
    if (takeIf(exponent)) {
        m_digits += exponent;
        if (takeSign()) {
            m_digits += '-';
        }
        if (!takeDigits(false)) {
            return false;
        }
    }
    magnitude = magnitudeOf(m_digits, hexadecimal);
    return true;
}

bool Scanner::takeNumber(float& value)
{
    const bool negative = takeSign();
    float magnitude = 0.0F;
    const bool taken = takeIf('i')   ? takeInfinity(magnitude)
                       : takeIf('n') ? takeNan(magnitude)
                                     : takeMagnitude(magnitude);
    if (taken) {
        value = negative ? -magnitude : magnitude;
    }
    return taken;
}

} // namespace kor::params
