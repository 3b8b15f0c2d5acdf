#include "KORInterface/Status.h"

#include "params/file/Messages.h"

namespace kor {

const char* StatusText(int status)
{
    switch (status) {
    case kSuccess:
        return "done";
    case kBadArgument:
        return "a required pointer is null, or a count is out of range";
    case kCannotOpen:
        return "the parameter file cannot be opened";
    case kNotLoaded:
        return "no parameter file has been loaded";
    case kFormatError:
        return "the parameter file's format is wrong";
    case kNoMatrix:
        return "there is no valid orientation matrix";
    default:
        return "unknown status";
    }
}

const char* MessageText(unsigned int id)
{
    // The texts are literals, so that each ends in a null character.
    const std::string_view text = params::messageText(id);
    return text.empty() ? "" : text.data();
}

} // namespace kor
