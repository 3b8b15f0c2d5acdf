// The account of one replayed recording, for people and for programs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/kor/Message.h"
#include "tools/kor/Tally.h"

namespace kor::tool {

struct Summary {
    std::string recording; ///< fit for a terminal
    std::string results;   ///< the file that holds them, or "standard output"; empty if there are none
    bool complete = false; ///< the recording was read to its end
    std::int32_t mountMode = 0;
    std::string model;                ///< in words; empty if the run did not get as far as an engine
    bool oneNanSpoilsTheRest = false; ///< the model keeps what it is given: mount modes 9 and 10
    std::string place = "line";       ///< what the places of the tally count: "line" or "record"
    bool windowed = false;            ///< --from or --to was given
    bool skipsBad = false;            ///< --skip-bad was given
    bool repairs = false;             ///< --repair was given
    Tally tally;
};

/// Why the results hold no usable orientation, as the rest of a sentence behind the recording; empty if they hold one.
std::string whyNothingUsable(const Summary& summary);

/// Several lines, the first one the recording.
std::string textOf(const Summary& summary);

/// One line: an object of JSON, and the line's end.
std::string jsonOf(const Summary& summary, int status, const std::vector<Message>& messages);

} // namespace kor::tool
