// A line on standard error that says how far a long run has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kor::tool {

/// How many a second there were lately: over the last second or two, so that a change is seen soon and a burst is not.
class Pace {
public:
    /// Given  seconds  since the beginning, not before the call before
    double at(double seconds, std::uint64_t counted);

private:
    struct Mark {
        double seconds = 0;
        std::uint64_t counted = 0;
    };
    Mark m_older;
    Mark m_newer;
};

/// What a live stream has given so far.
struct StreamState {
    std::uint64_t samples = 0;
    std::vector<std::pair<std::string, std::uint64_t>> outcomes{}; ///< how many had each; 0 is not shown
    float angles[3] = {};                                          ///< of the last sample, about x, z and y, degrees
};

enum class ShowProgress { automatic, always, never };

/// What --progress asks for: auto when it is not given. Throws Misuse for anything but auto, always and never.
ShowProgress progressOption(const std::optional<std::string>& when);
std::vector<std::string> progressWords(); ///< what it accepts

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

    /// The same for a stream without a known end. The state is asked for only when it is time to draw.
    template <typename StateOf>
    void updateStream(StateOf stateOf)
    {
        if (isDue()) {
            drawStream(stateOf());
        }
    }

    /// Takes the line off the terminal, so that something else can be printed; the next update draws it again.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    bool isDue();
    double seconds() const { return std::chrono::duration<double>(m_now - m_start).count(); }
    void drawStream(const StreamState& state);
    void draw(const std::string& line);

    std::string m_title;
    std::uint64_t m_total;
    std::string m_unit;
    bool m_on;
    bool m_drawn = false;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_next;
    Clock::time_point m_now; ///< of the drawing at hand
    Pace m_pace;
};

/// The text of one drawing, at most width characters.
std::string progressLine(const std::string& title, std::uint64_t done, std::uint64_t total, std::uint64_t counted,
                         const std::string& unit, double seconds, int width);

/// The text of one drawing for a stream, at most width characters.
std::string streamLine(const StreamState& state, double pace, int width);

/// 1234567 as "1 234 567".
std::string grouped(std::uint64_t number);

} // namespace kor::tool
