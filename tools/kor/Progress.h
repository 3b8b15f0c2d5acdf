// A line on standard error that says how far a long run has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace kor::tool {

enum class ShowProgress { automatic, always, never };

/// What --progress asks for: auto when it is not given. Throws Misuse for anything but auto, always and never.
ShowProgress progressOption(const std::optional<std::string>& when);

class Progress {
public:
    /// title   what is being worked on
    /// total   steps of the whole, in the unit of done below; 0 when unknown, and no bar is drawn then
    /// unit    what the rate counts, "samples" for example
    Progress(ShowProgress show, std::string title, std::uint64_t total, std::string unit);
    ~Progress() { clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Draws when it is time to. Cheap enough to call every few hundred steps.
    void update(std::uint64_t done, std::uint64_t counted);

    /// Takes the line off the terminal, so that something else can be printed; the next update draws it again.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    std::string m_title;
    std::uint64_t m_total;
    std::string m_unit;
    bool m_on;
    bool m_drawn = false;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_next;
};

/// The text of one drawing, at most width characters.
std::string progressLine(const std::string& title, std::uint64_t done, std::uint64_t total, std::uint64_t counted,
                         const std::string& unit, double seconds, int width);

/// 1234567 as "1 234 567".
std::string grouped(std::uint64_t number);

} // namespace kor::tool
