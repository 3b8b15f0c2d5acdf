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

Lines::Step Lines::next(std::string_view& line)
{
    m_input.consume(m_pending);
    m_pending = 0;
    std::size_t searched = 0;
    for (;;) {
        const std::string_view ahead = m_input.ahead();
        const void* found =
            ahead.size() == searched ? nullptr : std::memchr(ahead.data() + searched, '\n', ahead.size() - searched);
        const std::size_t length =
            found == nullptr ? ahead.size() : static_cast<std::size_t>(static_cast<const char*>(found) - ahead.data());
        const bool tail = m_skipping;
        if (found != nullptr) {
            m_skipping = false;
            if (tail) {
                m_input.consume(length + 1);
                searched = 0;
                continue;
            }
        }
        if (!tail && length > kLongestLine) {
            ++m_number;
            m_skipping = found == nullptr;
            m_input.consume(m_skipping ? length : length + 1);
            return Step::tooLong;
        }
        if (found != nullptr) {
            ++m_number;
            m_pending = length + 1;
            line = withoutReturn(ahead.substr(0, length));
            return Step::line;
        }
        if (tail) {
            m_input.consume(length);
        }
        searched = tail ? 0 : length;
        if (!m_input.more()) {
            if (m_input.problem()) {
                return Step::failed;
            }
            if (tail || length == 0) {
                return Step::end;
            }
            ++m_number;
            m_pending = length;
            line = withoutReturn(m_input.ahead());
            return Step::line;
        }
    }
}

} // namespace kor::recordings
