// Which samples are fed, and what became of each: the counts behind a summary.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "KORInterface/Records.h"
#include "KORInterface/Session.h"

#include "recordings/Columns.h"

namespace kor::tool {

/// The outcome of a sample as results name it.
recordings::Outcome outcomeOf(const SampleReport& report);

/// Whether no reading of a sample is nan or infinite.
bool readingsAreFinite(const KOR_RAWINFO& raw);

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

/// What became of the samples of one recording.
struct Tally {
    std::uint64_t samples = 0; ///< fed to the engine
    std::array<Places, recordings::kOutcomeNames.size()> outcomes{};
    std::uint64_t fillingAtStart = 0; ///< samples with which filters filled before the first orientation
    Places reference;                 ///< samples that became the reference: the engine takes one
    std::uint32_t referenceStamp = 0;
    Places badReadings;            ///< samples with a reading that is nan or infinite
    std::string_view badReading;   ///< the first of these: its column
    std::uint64_t spoiledFrom = 0; ///< place since which one sample spoils all that follow; 0 if none does
    SpoiledBy spoiledBy = SpoiledBy::nothing;
    Places repaired;  ///< samples behind which --repair has begun anew
    Places levelXOut; ///< samples with this level outside its table
    Places levelYOut;
    StampSteps steps;
    std::uint64_t outside = 0; ///< of the window: not fed
    Places bad;                ///< rows or records that could not be read: not fed
    std::uint32_t firstStamp = 0;
    std::uint32_t lastStamp = 0;
    double seconds = 0;

    void count(const KOR_RAWINFO& raw, const SampleReport& report, std::uint64_t place);

    /// Behind the sample that was counted last nothing is spoiled any more.
    void countRepair(std::uint64_t place);

    const Places& of(recordings::Outcome outcome) const { return outcomes[static_cast<std::size_t>(outcome)]; }
    std::uint64_t ok() const { return of(recordings::Outcome::ok).count; }

    /// Samples without a usable orientation. Not among them are those that every recording begins with: the samples
    /// before the reference and those with which filters fill for the first time.
    std::uint64_t unusable() const;

    /// The first place of the last run of matrices that are not finite, if no sound one came after it and the readings
    /// of one of its samples are finite: the model itself stays so. 0 if there is none.
    std::uint64_t staysNotFiniteFrom() const { return m_unprovoked ? m_notFinite.first : 0; }

private:
    Places m_notFinite; ///< the run that has not ended
    bool m_unprovoked = false;
};

} // namespace kor::tool
