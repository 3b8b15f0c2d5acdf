// The parts of kor replay: what was asked for, one recording, several recordings.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KORInterface/CKorPrm.h"

#include "recordings/Columns.h"
#include "tools/kor/ParameterFile.h"
#include "tools/kor/Progress.h"
#include "tools/kor/Tally.h"

namespace kor::tool {

/// The command line as it was given.
struct ReplayRequest {
    using Option = std::optional<std::string>;
    std::vector<std::string> recordings;
    std::string prm;
    std::string id;
    Option output;
    Option mode;
    Option mcs;
    Option psd;
    bool store = false;
    Option input;
    Option format;
    Option from;
    Option to;
    bool skipBad = false;
    bool repair = false;
    bool force = false;
    bool checked = false;
    Option childOf;
    bool strict = false;
    bool quiet = false;
    Option summary;
    Option progress;
    Option jobs;
    Option threads;
    bool view = false;
    Option viewPort;
};

enum class SummaryForm { none, text, json };

/// The same, understood.
struct ReplayPlan {
    ParameterSource prm;
    std::optional<std::int32_t> mode;
    bool mcs = true;
    std::optional<std::array<std::int32_t, 3>> psd;
    bool store = false;
    std::optional<recordings::Format> input;
    std::optional<recordings::Format> format;
    Window window;
    bool skipBad = false;
    bool repair = false;
    Checking checking = Checking::strict;
    bool strict = false;
    SummaryForm summary = SummaryForm::text;
    ShowProgress progress = ShowProgress::automatic;
    unsigned cores = 1; ///< at hand
    unsigned jobs = 1;
    std::optional<unsigned> threads; ///< of one recording
    bool view = false;
    std::uint16_t viewPort = 0; ///< 0: a free one
};

recordings::Format resultFormat(const ReplayPlan& plan, const std::string& output);

/// Throws Misuse when results would take the place of something that is read.
void refuseToOverwrite(const std::string& output, const std::vector<std::string>& recordings,
                       const ParameterSource& prm);

/// The mount mode of a run. Throws Misuse if an option was given that has no effect in it.
std::int32_t mountModeOf(const ReplayPlan& plan, const CKorPrm& prm);

/// One recording in this process. Returned: the exit status.
int replayOne(const ReplayPlan& plan, const std::string& recording, const std::string& output);

/// Several recordings, each in a process of its own. Returned: the exit status.
int replaySeveral(const ReplayPlan& plan, const ReplayRequest& request);

} // namespace kor::tool
