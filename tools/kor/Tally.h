// What became of each sample of a recording: the counts behind a summary.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "KORInterface/Records.h"
#include "KORInterface/Session.h"

#include "recordings/Columns.h"
#include "series/Stamps.h"

namespace kor::tool {

/// The outcome of a sample as results name it.
recordings::Outcome outcomeOf(const SampleReport& report);

/// Whether no reading of a sample is nan or infinite.
bool readingsAreFinite(const KOR_RAWINFO& raw);

using series::Places;
using series::StampSteps;
using series::Window;

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
