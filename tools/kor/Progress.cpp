#include "tools/kor/Progress.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <string_view>

#include "platform/Files.h"
#include "platform/Terminal.h"
#include "tools/kor/Options.h"

namespace kor::tool {

namespace {

constexpr auto kFirst = std::chrono::milliseconds(200); // short runs show nothing
constexpr auto kEvery = std::chrono::milliseconds(100);

std::string clockText(double seconds)
{
    const auto whole = static_cast<std::uint64_t>(std::min(seconds + 0.5, 1e9));
    const auto two = [](std::uint64_t n) { return (n < 10 ? "0" : "") + std::to_string(n); };
    const std::string tail = two(whole / 60 % 60) + ":" + two(whole % 60);
    return whole < 3600 ? tail : std::to_string(whole / 3600) + ":" + tail;
}

// The last column would wrap the line.
int widthOfLine()
{
    return platform::terminalWidth(platform::kStandardError) - 1;
}

// With so many digits behind the point.
std::string withDigits(double value, int digits)
{
    char text[std::numeric_limits<double>::max_exponent10 + 16];
    return {text, std::to_chars(std::begin(text), std::end(text), value, std::chars_format::fixed, digits).ptr};
}

std::string cutTo(int width, std::string line)
{
    return line.substr(0, static_cast<std::size_t>(std::max(width, 1)));
}

} // namespace

double Pace::at(double seconds, std::uint64_t counted)
{
    constexpr double kStretch = 1;
    if (seconds - m_newer.seconds >= kStretch) {
        m_older = m_newer;
        m_newer = {seconds, counted};
    }
    const double passed = seconds - m_older.seconds;
    return passed > 0 ? static_cast<double>(counted - m_older.counted) / passed : 0;
}

namespace {

Choices<ShowProgress> progressChoices()
{
    return {{"auto", ShowProgress::automatic}, {"always", ShowProgress::always}, {"never", ShowProgress::never}};
}

} // namespace

ShowProgress progressOption(const std::optional<std::string>& when)
{
    if (!when) {
        return ShowProgress::automatic;
    }
    return choiceOption("--progress", *when, progressChoices());
}

std::vector<std::string> progressWords()
{
    return wordsOf(progressChoices());
}

std::string grouped(std::uint64_t number)
{
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3; at -= 3) {
        text.insert(at - 3, 1, ' ');
    }
    return text;
}

std::string progressLine(const std::string& title, std::uint64_t done, std::uint64_t total, std::uint64_t counted,
                         const std::string& unit, double seconds, int width)
{
    const double rate = seconds > 0 ? static_cast<double>(counted) / seconds : 0;
    const std::string pace = rate < 10 ? "" : grouped(static_cast<std::uint64_t>(rate)) + " " + unit + "/s";
    std::string line;
    if (total == 0) {
        line = title + "  " + grouped(counted) + " " + unit + (pace.empty() ? "" : "  " + pace);
    } else {
        const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
        const std::string percent = std::to_string(static_cast<int>(share * 100));
        std::string tail = " " + std::string(3 - std::min<std::size_t>(3, percent.size()), ' ') + percent + "%";
        tail += pace.empty() ? "  " + grouped(counted) + " " + unit : "  " + pace;
        if (share > 0 && counted > 0) { // the header alone tells nothing about the pace
            tail += "  " + clockText(seconds / share - seconds) + " left";
        }
        const int spare = width - static_cast<int>(title.size() + tail.size()) - 4;
        const auto cells = static_cast<std::size_t>(std::clamp(spare, 10, 40));
        const auto full = static_cast<std::size_t>(share * static_cast<double>(cells));
        line = title + "  [" + std::string(full, '#') + std::string(cells - full, '.') + "]" + tail;
    }
    return cutTo(width, std::move(line));
}

std::string streamLine(const StreamState& state, double pace, int width)
{
    std::string line = grouped(state.samples) + " samples  " + withDigits(pace, pace < 10 ? 1 : 0) + "/s";
    constexpr std::string_view kAxes = "xzy";
    for (std::size_t i = 0; state.samples > 0 && i < kAxes.size(); ++i) {
        line.append("  ").append(1, kAxes[i]).append(" ").append(withDigits(static_cast<double>(state.angles[i]), 4));
    }
    for (const auto& [outcome, count] : state.outcomes) {
        if (count > 0) {
            line.append("  ").append(outcome).append(" ").append(grouped(count));
        }
    }
    return cutTo(width, std::move(line));
}

Progress::Progress(ShowProgress show, std::string title, std::uint64_t total, std::string unit)
    : m_title(std::move(title)), m_total(total), m_unit(std::move(unit)),
      m_on(show == ShowProgress::always ||
           (show == ShowProgress::automatic && platform::isTerminal(platform::kStandardError))),
      m_next(show == ShowProgress::always ? m_start : m_start + kFirst)
{
    constexpr std::size_t kLongestTitle = 32;
    if (m_title.size() > kLongestTitle) {
        m_title = "..." + m_title.substr(m_title.size() - kLongestTitle + 3);
    }
}

bool Progress::isDue()
{
    if (!m_on) {
        return false;
    }
    m_now = Clock::now();
    if (m_now < m_next) {
        return false;
    }
    m_next = m_now + kEvery;
    return true;
}

void Progress::draw(const std::string& line)
{
    platform::File::standard(platform::kStandardError).write("\r" + line + "\x1b[K");
    m_drawn = true;
}

void Progress::update(std::uint64_t done, std::uint64_t counted)
{
    if (isDue()) {
        draw(progressLine(m_title, done, m_total, counted, m_unit, seconds(), widthOfLine()));
    }
}

void Progress::drawStream(const StreamState& state)
{
    draw(streamLine(state, m_pace.at(seconds(), state.samples), widthOfLine()));
}

void Progress::clear()
{
    if (m_drawn) {
        constexpr std::string_view kErase = "\r\x1b[K";
        platform::File::standard(platform::kStandardError).write(kErase);
        m_drawn = false;
        m_next = Clock::time_point();
    }
}

} // namespace kor::tool
