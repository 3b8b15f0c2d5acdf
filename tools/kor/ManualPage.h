// Manual pages, as troff's macros man(7) want them.
#pragma once

#include <string>

#include "tools/kor/Described.h"

namespace kor::tool {

/// The name of a command's page: kor-prm-show for kor prm show.
std::string manualName(const Described& command);

/// The page of a command. The program knows all others, which the text may name.
std::string manualPage(const Described& command, const Described& program);

} // namespace kor::tool
