#include "tools/kor/SampleFeed.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "tools/kor/Tally.h"

namespace kor::tool {

namespace {

// Where it is the parameters that are not finite, every repair is in vain.
constexpr unsigned kMostRepairsInVain = 100;

} // namespace

SampleFeed::SampleFeed(std::unique_ptr<CKor>& engine, NewEngine newEngine)
    : m_engine(engine), m_newEngine(std::move(newEngine))
{
}

bool SampleFeed::feed(const KOR_RAWINFO& raw, SampleResult& result)
{
    ProcessSample(*m_engine, raw, result);
    if (!m_newEngine || !mustBeRepaired(raw, result.report)) {
        return false;
    }
    FreshProcessValues();
    m_engine = m_newEngine();
    return true;
}

// A sample may leave behind what spoils others and be sound itself, with the spoiled level out of use; then there
// is time until one is not.
bool SampleFeed::mustBeRepaired(const KOR_RAWINFO& raw, const SampleReport& report)
{
    if (report.outcome == SampleOutcome::valid) {
        m_repairsInVain = 0;
    }
    const bool notFinite = report.outcome == SampleOutcome::notFinite || report.outcome == SampleOutcome::spoiled;
    if (report.spoiledBy == SpoiledBy::nothing || !notFinite) {
        return false;
    }
    m_repairsInVain += readingsAreFinite(raw) ? 1 : 0;
    return m_repairsInVain <= kMostRepairsInVain;
}

recordings::Result resultOf(const KOR_RAWINFO& raw, const SampleResult& sample)
{
    recordings::Result result;
    result.timeStampMs = raw.timeStampMs;
    result.info = sample.info;
    std::copy(std::begin(sample.matrix), std::end(sample.matrix), result.matrix);
    result.matrixCode = sample.matrixCode;
    result.outcome = outcomeOf(sample.report);
    result.levelXOut = sample.report.levelXOutside;
    result.levelYOut = sample.report.levelYOutside;
    return result;
}

} // namespace kor::tool
