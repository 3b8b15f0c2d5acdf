// What became of each sample: the counts behind a summary.
#pragma once

#include <cstdint>
#include <string>

#include "KORInterface/Session.h"

#include "recordings/Columns.h"

namespace kor::tool {

/// The outcome of a sample as results name it.
recordings::Outcome outcomeOf(const SampleReport& report);

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

struct Tally {
    std::uint64_t samples = 0; ///< fed to the engine
    std::uint64_t valid = 0;
    std::uint64_t beforeReference = 0;
    std::uint64_t rejectedByStatus = 0;
    std::uint64_t withoutMatrix = 0;
    std::uint64_t notFinite = 0;
    std::uint64_t outside = 0; ///< not fed
    std::uint64_t bad = 0;     ///< rows or records that could not be read
    std::uint32_t firstStamp = 0;
    std::uint32_t lastStamp = 0;
    double seconds = 0;

    void count(std::uint32_t stamp, const SampleReport& report);

    /// Several lines, the first one the title.
    std::string summary(const std::string& title, bool withOutside, bool withBad) const;
};

} // namespace kor::tool
