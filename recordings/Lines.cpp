#include "recordings/Lines.h"

#include <cstring>

namespace kor::recordings {

namespace {

// A line that a lone CR ends may begin with the LF of a CR LF before it.
std::string_view withoutOtherEnd(std::string_view line, char end)
{
    if (end == '\r') {
        return line.starts_with('\n') ? line.substr(1) : line;
    }
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

} // namespace

Problem Lines::problem() const
{
    if (Problem problem = m_input.problem()) {
        problem.line = problem.kind == Problem::Kind::badData ? m_number + 1 : 0;
        return problem;
    }
    return {.kind = Problem::Kind::badData,
            .file = m_input.title(),
            .line = m_number,
            .found = "a line of more than " + std::to_string(kLongestLine) + " bytes",
            .expected = "a shorter one"};
}

// The end of the line in what is ahead, null when it is not there yet. A CR that nothing follows yet may be half of a
// CR LF.
const char* Lines::endIn(std::string_view text)
{
    if (m_end == '\0') {
        const std::size_t first = text.find_first_of("\r\n");
        if (first == std::string_view::npos || first + 1 == text.size()) {
            m_end = first != std::string_view::npos && text[first] == '\n' ? '\n' : '\0';
        } else {
            m_end = text[first] == '\r' && text[first + 1] != '\n' ? '\r' : '\n';
        }
    }
    return m_end == '\0'
               ? nullptr
               : static_cast<const char*>(text.empty() ? nullptr : std::memchr(text.data(), m_end, text.size()));
}

// Passes over the rest of a line that is too long; false if the input ends before the line does.
bool Lines::skipRest()
{
    while (m_skipping) {
        const std::string_view ahead = m_input.ahead();
        const char* const found = endIn(ahead);
        m_skipping = found == nullptr;
        m_input.consume(m_skipping ? ahead.size() : static_cast<std::size_t>(found - ahead.data()) + 1);
        if (m_skipping && !m_input.more()) {
            return false;
        }
    }
    return true;
}

// Why the input has no more.
Lines::Step Lines::withoutLine() const
{
    return m_input.problem() ? Step::failed : m_input.mustWait() ? Step::pending : Step::end;
}

Lines::Step Lines::handOut(std::string_view& line, std::size_t length, std::size_t withEnd)
{
    ++m_number;
    m_pending = withEnd;
    line = withoutOtherEnd(m_input.ahead().substr(0, length), m_end);
    return Step::line;
}

Lines::Step Lines::next(std::string_view& line)
{
    m_input.consume(m_pending);
    m_pending = 0;
    if (!skipRest()) {
        return withoutLine();
    }
    std::size_t searched = 0;
    for (;;) {
        const std::string_view ahead = m_input.ahead();
        const char* const found = endIn(ahead.substr(searched));
        const std::size_t length = found == nullptr ? ahead.size() : static_cast<std::size_t>(found - ahead.data());
        if (length > kLongestLine) {
            ++m_number;
            m_skipping = found == nullptr;
            m_input.consume(m_skipping ? length : length + 1);
            return Step::tooLong;
        }
        if (found != nullptr) {
            return handOut(line, length, length + 1);
        }
        searched = m_end == '\0' ? 0 : length;
        if (!m_input.more()) {
            const Step step = withoutLine();
            return step == Step::end && length > 0 ? handOut(line, length, length) : step;
        }
    }
}

} // namespace kor::recordings
