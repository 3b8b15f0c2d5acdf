// Time stamps: the window that is asked for, and the steps from one to the next.
#pragma once

#include <cstdint>
#include <vector>

namespace kor::series {

/// The samples of the window from --from to --to, both inclusive. Stamps count modulo 2^32, so the window from a
/// late stamp to an early one is the stretch across the wrap. With one bound only, the first stamp of the
/// recording decides: a bound at most 2^31 - 1 ms below it lies before the recording, any other one behind it.
class Window {
public:
    void from(std::uint32_t stamp) { m_from = stamp, m_hasFrom = true; }
    void to(std::uint32_t stamp) { m_to = stamp, m_hasTo = true; }
    bool limited() const { return m_hasFrom || m_hasTo; }

    /// To be asked for every sample of the recording, in its order.
    bool contains(std::uint32_t stamp);

private:
    std::uint32_t m_from = 0;
    std::uint32_t m_to = 0;
    bool m_hasFrom = false;
    bool m_hasTo = false;
    bool m_started = false;
    std::uint32_t m_first = 0;
};

/// How often something was met, and where first and last: lines of a CSV, records of a binary recording, from 1.
struct Places {
    std::uint64_t count = 0;
    std::uint64_t first = 0;
    std::uint64_t last = 0;

    void add(std::uint64_t place)
    {
        first = count == 0 ? place : first;
        last = place;
        ++count;
    }
    void add(const Places& other);
};

/// The steps from one time stamp to the next. A step of 2^31 ms and more leads backwards; the wrap of the stamps does
/// not. A gap is a step forward of more than one and a half times the median step and 1 ms: one sample at least is
/// missing, and 1 ms is what the rounding of the stamps does.
/// Notes  1  In constant memory: steps are exact below 1024 ms, and beyond to three percent.
class StampSteps {
public:
    void add(std::uint32_t step, std::uint64_t place);

    std::uint32_t median() const; ///< of the steps forward, ms; 0 if there is none
    Places gaps() const;

    /// Whether a step is a gap beside a median step.
    static bool isGap(std::uint32_t step, std::uint32_t median);
    std::uint32_t longest() const { return m_longest; } ///< step forward, ms
    const Places& backward() const { return m_backward; }
    std::uint32_t longestBackward() const { return m_longestBackward; } ///< ms

private:
    std::vector<Places> m_forward; ///< by length, see bucketOf
    std::uint64_t m_count = 0;     ///< of the steps forward
    std::uint32_t m_longest = 0;
    Places m_backward;
    std::uint32_t m_longestBackward = 0;
};

} // namespace kor::series
