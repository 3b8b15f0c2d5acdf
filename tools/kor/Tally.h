// What became of each sample: the counts behind a summary.
#pragma once

#include <cstdint>
#include <string>

#include "KORInterface/Records.h"

#include "recordings/Results.h"

namespace kor::tool {

enum class Outcome { valid, rejectedByStatus, withoutMatrix };

// Tells from the engine's public answers what became of a sample, in the order they are fed.
//
// ReadMatrix gives 0 for every sample of status 2, also when the model formed no matrix, so the trace that a
// matrix leaves has to tell: sensorOut is filled in, and once a reference is captured ReadMatrix gives something
// else than the identity. A sample of status 2 without any trace is counted
//   - below mode 7, position not zero:  without matrix, since sensorOut would repeat the position;
//   - modes 7 and 8:                    valid, since their model forms a matrix of every sample, and sensorOut is
//                                       zero when the first three QVC parameters are;
//   - modes 9 and 10:                   without matrix. A matrix whose sensorOut is exactly zero before a reference
//                                       is captured cannot be told apart from none;
//   - all others:                       without matrix once a reference is captured. Before, it cannot be told
//                                       (position zero, or a mode above 10, where sensorOut is always zero): valid.
// In modes 9 and 10 a matrix of nine zeros with sensorOut zero is what the model hands out before its first
// solve, and no orientation: without matrix as well.
class Judge {
public:
    explicit Judge(int mountMode) : m_mode(mountMode) {}
    Outcome judge(const KOR_RAWINFO& raw, const Result& result);

private:
    int m_mode;
    bool m_captured = false; // a sample that surely had a matrix was fit to be the reference
};

// The samples of the window from --from to --to, both inclusive. Stamps count modulo 2^32, so the window from a
// late stamp to an early one is the stretch across the wrap. With one bound only, the first stamp of the
// recording decides: a bound at most 2^31 - 1 ms below it lies before the recording, any other one behind it.
class Window {
public:
    void from(std::uint32_t stamp) { m_from = stamp, m_hasFrom = true; }
    void to(std::uint32_t stamp) { m_to = stamp, m_hasTo = true; }
    bool limited() const { return m_hasFrom || m_hasTo; }

    // To be asked for every sample of the recording, in its order.
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
    std::uint64_t samples = 0; // fed to the engine
    std::uint64_t valid = 0;
    std::uint64_t rejectedByStatus = 0;
    std::uint64_t withoutMatrix = 0;
    std::uint64_t outside = 0; // not fed
    std::uint64_t bad = 0;     // rows or records that are none
    std::uint32_t firstStamp = 0;
    std::uint32_t lastStamp = 0;
    double seconds = 0;

    void count(std::uint32_t stamp, Outcome outcome);

    // Several lines, the first one the title.
    std::string summary(const std::string& title, bool withOutside, bool withBad) const;
};

} // namespace kor::tool
