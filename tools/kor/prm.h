// The commands of the group `kor prm`, a source file each.
#pragma once

#include <cstdint>
#include <string>

#include "tools/kor/Commands.h"
#include "tools/kor/PrmContent.h"

namespace kor::tool {

Command declarePrmCheck(const CommandGroup& group);
Command declarePrmDiff(const CommandGroup& group);
Command declarePrmFromJson(const CommandGroup& group);
Command declarePrmJson(const CommandGroup& group);
Command declarePrmNew(const CommandGroup& group);
Command declarePrmRewrite(const CommandGroup& group);
Command declarePrmShow(const CommandGroup& group);

/// Warns if a file holds more than its content says.
/// Given     unread, rest  what values that could not be read, and text behind the last block, are in the output
void warnOfLosses(const PrmContent& content, const std::string& path, const char* unread, const char* rest);

/// Warns if a file that was written is not named as the library looks for it.
void noteName(const std::string& path, std::int32_t id);

} // namespace kor::tool
