// The rows of one recording through an engine and on to the results.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "KORInterface/CKor.h"

#include "recordings/Columns.h"
#include "recordings/Output.h"
#include "recordings/Problem.h"
#include "recordings/Reader.h"
#include "tools/kor/Progress.h"
#include "tools/kor/Tally.h"

namespace kor::tool {

class ViewHistory;

/// What a replay works with.
struct FeedParts {
    std::unique_ptr<CKor>& engine;
    std::function<std::unique_ptr<CKor>()> newEngine; ///< one to go on with where a sample spoils the rest; or empty
    recordings::Reader& reader;
    recordings::Output& results;
    recordings::Format format;
    Window window;
    bool skipBad;
    ShowProgress progress;
    std::size_t threads;
    ViewHistory* viewed; ///< gets every row besides; or null
};

/// Feeds the recording to its end or to where it breaks off. Before a live recording has to wait, the results of all
/// rows that have come are written out.
/// Returned  tally   what became of the samples
///           result  what broke the recording off; a failure to write is told by the results
recordings::Problem feed(const FeedParts& parts, Tally& tally);

} // namespace kor::tool
