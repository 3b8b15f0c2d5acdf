// What --help prints.
#pragma once

#include <string>

#include "tools/kor/Described.h"

namespace kor::tool {

/// The help of a command, for a terminal of 80 columns.
std::string helpText(const Described& command);

} // namespace kor::tool
