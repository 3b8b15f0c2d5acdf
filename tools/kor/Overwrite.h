// Outputs that would take the place of something that is read, or of each other.
#pragma once

#include <string>
#include <vector>

#include "platform/Files.h"

namespace kor::tool {

/// A file that a command uses.
struct UsedFile {
    std::string path;                      ///< "-" is the standard stream
    std::string what;                      ///< as a message names it: "the recording itself"
    int stream = platform::kStandardInput; ///< kStandardOutput for another output
};

/// Throws Misuse when an output is one of the used files, also under another name.
void refuseToOverwrite(const std::string& option, const std::string& output, const std::vector<UsedFile>& used);

} // namespace kor::tool
