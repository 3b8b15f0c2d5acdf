// One sample after the other through an engine, and on to rows of results.
#pragma once

#include <functional>
#include <memory>

#include "KORInterface/CKor.h"
#include "KORInterface/Records.h"
#include "KORInterface/Session.h"

#include "recordings/Columns.h"

namespace kor::tool {

/// Feeds an engine, and goes on with fresh values and a new engine where a sample spoils all that follow.
class SampleFeed {
public:
    using NewEngine = std::function<std::unique_ptr<CKor>()>;

    /// Given  engine     the one that is fed; another one takes its place when something is repaired
    ///        newEngine  makes that other one; empty: nothing is repaired
    SampleFeed(std::unique_ptr<CKor>& engine, NewEngine newEngine);

    /// Returned  result  what became of the sample
    ///           true    if the samples behind it begin anew
    bool feed(const KOR_RAWINFO& raw, SampleResult& result);

private:
    bool mustBeRepaired(const KOR_RAWINFO& raw, const SampleReport& report);

    std::unique_ptr<CKor>& m_engine;
    NewEngine m_newEngine;
    unsigned m_repairsInVain = 0; ///< since the last sound sample
};

/// The row of a sample.
recordings::Result resultOf(const KOR_RAWINFO& raw, const SampleResult& sample);

} // namespace kor::tool
