// Completion of the command line in bash.
#pragma once

#include <string>

#include "tools/kor/Described.h"

namespace kor::tool {

/// The script, to be sourced by bash or installed where bash-completion looks for it.
std::string bashCompletion(const Described& program);

} // namespace kor::tool
