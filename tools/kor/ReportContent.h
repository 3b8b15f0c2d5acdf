// What the page of kor report tells of a file of rows: findings, charts at levels of detail, and the rows that its
// slider reaches.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KORInterface/ParameterCheck.h"

#include "accuracy/Comparison.h"
#include "series/Series.h"
#include "tools/kor/CompareSides.h"
#include "tools/kor/ParameterFile.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/ViewHistory.h"

namespace kor::tool {

/// The parameter file that the rows were made with.
struct ReportParameters {
    std::string path;
    CheckReport check;
    std::optional<PrmContent> content; ///< nothing if the library refuses the file
    std::int32_t mode = 0;             ///< mount mode; 0 if the library refuses the file
};

/// Checks and reads the file. Throws Failure if there is nothing to be shown.
/// Given  mode  mount mode that it is used with, when not its own
ReportParameters readReportParameters(const ParameterSource& source, std::optional<std::int32_t> mode);

/// The rows, which are the first side, held against the truth.
struct ReportTruth {
    Sides sides;
    accuracy::Comparison found;
};

struct ReportSources {
    series::Series rows; ///< one at least
    std::optional<ReportParameters> parameters;
    std::optional<ReportTruth> truth;
    std::string commandLine;
    std::string version;
};

/// The page. Whatever comes from files and from the command line is text in it.
std::string reportOf(const ReportSources& sources);

/// The page of a replay that has only begun, and the columns that it wants of the rows to come.
struct LivePage {
    std::string text;
    ViewLayout layout;
};

/// Given  sources  rows: emptyResults(), with path and title of the recording
///        run      tells this replay from others
LivePage livePageOf(const ReportSources& sources, const std::string& run);

} // namespace kor::tool
