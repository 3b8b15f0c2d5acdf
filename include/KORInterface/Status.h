// The results of the library's operations and the messages of the parameter file, by name and in words: additions
// beside the system's own interface.
#ifndef KORINTERFACE_STATUS_H
#define KORINTERFACE_STATUS_H

#include "KORInterface/Export.h"

namespace kor {

/// Results of the operations that can fail.
enum StatusCode {
    kSuccess = 0,       ///< done
    kBadArgument = 20,  ///< a required pointer is null, or a count is out of range
    kCannotOpen = 550,  ///< the parameter file cannot be opened
    kNotLoaded = 551,   ///< the parameter set, or the engine's parameter store, has not been loaded
    kFormatError = 553, ///< the parameter file's format is wrong
    kNoMatrix = 554     ///< the engine has no valid orientation matrix
};

/// A result in words.
/// Given     status  what an operation returned
/// Returned  text    one sentence without its full stop, ASCII, valid as long as the library is loaded; never null
/// Notes  1  A number that no operation returns gives "unknown status".
KORINTERFACE_API const char* StatusText(int status);

/// A message of the module's string table, the one that DisplayErrMsg loads.
/// Given     id    601 to 624
/// Returned  text  exactly as stored, ASCII, valid as long as the library is loaded; never null, empty for another id
KORINTERFACE_API const char* MessageText(unsigned int id);

} // namespace kor

#endif
