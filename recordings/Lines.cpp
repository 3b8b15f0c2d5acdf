#include "recordings/Lines.h"

#include <cstring>

namespace kor::recordings {

namespace {

std::string_view withoutReturn(std::string_view line)
{
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

} // namespace

Problem Lines::problem() const
{
    if (m_input.problem()) {
        return m_input.problem();
    }
    return {.kind = Problem::Kind::badData,
            .file = m_input.title(),
            .line = m_number,
            .found = "a line of more than " + std::to_string(kLongestLine) + " bytes",
            .expected = "a shorter one"};
}

// Passes over the rest of a line that is too long; false if the input ends before the line does.
bool Lines::skipRest()
{
    while (m_skipping) {
        const std::string_view ahead = m_input.ahead();
        const std::size_t newline = ahead.find('\n');
        m_skipping = newline == std::string_view::npos;
        m_input.consume(m_skipping ? ahead.size() : newline + 1);
        if (m_skipping && !m_input.more()) {
            return false;
        }
    }
    return true;
}

Lines::Step Lines::handOut(std::string_view& line, std::size_t length, std::size_t withEnd)
{
    ++m_number;
    m_pending = withEnd;
    line = withoutReturn(m_input.ahead().substr(0, length));
    return Step::line;
}

Lines::Step Lines::next(std::string_view& line)
{
    m_input.consume(m_pending);
    m_pending = 0;
    if (!skipRest()) {
        return m_input.problem() ? Step::failed : Step::end;
    }
    std::size_t searched = 0;
    for (;;) {
        const std::string_view ahead = m_input.ahead();
        const void* found =
            ahead.size() == searched ? nullptr : std::memchr(ahead.data() + searched, '\n', ahead.size() - searched);
        const std::size_t length =
            found == nullptr ? ahead.size() : static_cast<std::size_t>(static_cast<const char*>(found) - ahead.data());
        if (length > kLongestLine) {
            ++m_number;
            m_skipping = found == nullptr;
            m_input.consume(m_skipping ? length : length + 1);
            return Step::tooLong;
        }
        if (found != nullptr) {
            return handOut(line, length, length + 1);
        }
        searched = length;
        if (!m_input.more()) {
            if (m_input.problem()) {
                return Step::failed;
            }
            return length == 0 ? Step::end : handOut(line, length, length);
        }
    }
}

} // namespace kor::recordings
