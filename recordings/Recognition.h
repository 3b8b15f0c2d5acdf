// What a file seems to be, from the bytes that it begins with.
#pragma once

#include <string>
#include <string_view>

#include "recordings/Columns.h"
#include "recordings/Input.h"

namespace kor::recordings {

enum class Content {
    empty,
    recordingCsv,
    recordingBinary, ///< plausible records of raw samples
    resultsCsv,
    resultsBinary,
    truthCsv,
    wayPointsCsv,
    text, ///< other text, perhaps a CSV with a faulty header
    other,
    unknown ///< neither text nor plausible records nor a kind of file that has a name here
};

/// Whether a file of that content can be read as text; an empty one can.
constexpr bool isText(Content content)
{
    return content != Content::recordingBinary && content != Content::resultsBinary && content != Content::other &&
           content != Content::unknown;
}

struct Recognised {
    Content content = Content::other;
    std::string what;   ///< for "found ..."
    std::string advice; ///< what to do if this was to be read; may be empty
};

/// The bytes that a file is recognised by: its first line, or as many records as are there. Waits for no more than it
/// needs, and consumes nothing.
std::string_view beginning(Input& input);

/// Given  start  the beginning of a file, as beginning gives it
Recognised recognise(std::string_view start);

/// Without the mark that UTF-8 may begin with.
std::string_view withoutMark(std::string_view start);

/// Whether bytes are text: no zero byte and no control characters but those of text files.
bool looksText(std::string_view bytes);

} // namespace kor::recordings
